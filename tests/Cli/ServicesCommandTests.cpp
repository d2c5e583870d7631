#include "Cli/CliTestSupport.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Services/LaunchTreeSupport.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;
using namespace velmora::testing;
using velmora::test::LaunchTree;
using velmora::test::ScriptedCommandRunner;

namespace {

namespace fs = std::filesystem;

// A Mac-shaped tree with one agent for every verdict: a present program, an uninstalled one, one in a
// deleted app, one on a volume that is not connected, a missing system program, a damaged plist and
// Apple's own files.
struct ServicesTree {
    LaunchTree tree;
    std::shared_ptr<ScriptedCommandRunner> runner = std::make_shared<ScriptedCommandRunner>();

    ServicesTree() {
        tree.app("/Applications/Present.app", "com.example.present", "Contents/MacOS/present");
        tree.userAgent("com.example.present.plist",
                       {.label = "com.example.present",
                        .program = "/Applications/Present.app/Contents/MacOS/present",
                        .runAtLoad = true});
        tree.userAgent("com.example.gone.plist",
                       {.label = "com.example.gone", .program = "/opt/gone/bin/gone"});
        tree.userAgent("com.example.deleted.plist", {.label = "com.example.deleted",
                                                     .program = "/Applications/Deleted.app/Contents/MacOS/d",
                                                     .startInterval = true});
        tree.userAgent("com.example.volume.plist",
                       {.label = "com.example.volume", .program = "/Volumes/Backup/bin/tool"});
        tree.userAgent("com.example.system.plist",
                       {.label = "com.example.system", .program = "/usr/libexec/example-helper"});
        tree.scratch.file("Users/anna/Library/LaunchAgents/com.example.broken.plist", "<plist><dict>nope");
        tree.scratch.file("Users/anna/Library/LaunchAgents/com.apple.hidden.plist", "whatever");
        tree.userAgent("renamed.plist", {.label = "COM.APPLE.renamed", .program = "/opt/gone/x"});
        tree.daemon("com.example.daemon.plist", {.label = "com.example.daemon", .program = "/opt/daemon/d"});
        // The administrator step refuses to delete a start file whose name is no label.
        tree.daemon("odd name.plist", {.label = "com.example.oddfile", .program = "/opt/daemon/odd"});
        tree.userAgent("com.example.bytes.plist",
                       {.label = "com.example.bytes", .program = "/opt/gone/\xFF"});

        const auto launchctl = tree.root() / "bin/launchctl";
        runner->expect(launchctl, {"print", "gui/501/com.example.present"})
            .returns(0, "gui/501/com.example.present = {\n\tstate = running\n"
                        "\tprogram = /Applications/Present.app/Contents/MacOS/present\n}\n");
        runner->expect(launchctl, {"bootout", "gui/501/com.example.gone"}).returns(0);
        runner->expect(launchctl).returns(113);
        runner->expect(tree.root() / "usr/bin/sfltool").returns(1, "", "no access");
    }

    fs::path agent(const std::string& name) const { return tree.home() / "Library/LaunchAgents" / name; }

    CliRun run(std::vector<std::string> words, const char* platform = "macos") const {
        for (const char* common : {"--platform", platform, "--home", "/Users/anna", "--root"})
            words.push_back(common);
        words.push_back(tree.root().string());
        return runVelmora(
            words, cli::ServiceOverrides{.runner = runner, .executablePath = {}, .uid = LaunchTree::uid});
    }

    std::vector<std::string> callsOutsideTheRoot() const {
        auto lines = runner->commandLines();
        std::erase_if(lines, [&](const auto& line) { return line.starts_with(tree.root().string() + "/"); });
        return lines;
    }

    bool ranBootout() const {
        for (const auto& line : runner->commandLines())
            if (line.find("bootout") != std::string::npos)
                return true;
        return false;
    }
};

const nlohmann::json* entry(const nlohmann::json& list, const std::string& id) {
    for (const auto& item : list)
        if (item.value("id", "") == id)
            return &item;
    return nullptr;
}

} // namespace

TEST(ServicesCommand, JsonGivesEveryAgentItsVerdict) {
    ServicesTree t;
    const auto run = t.run({"services", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto list = nlohmann::json::parse(run.out);
    ASSERT_TRUE(list.is_array());

    struct Expected {
        std::string id;
        std::string explanation;
        bool orphaned;
        bool removable;
    };
    const std::vector<Expected> expected{
        {"user/com.example.present", "Gehört zu Present.", false, false},
        {"user/com.example.gone",
         "Das Programm fehlt: /opt/gone/bin/gone. Es wurde vermutlich deinstalliert.", true, true},
        {"user/com.example.deleted",
         "Das Programm fehlt: /Applications/Deleted.app/Contents/MacOS/d. Die App wurde vermutlich gelöscht.",
         true, true},
        {"user/com.example.volume", "Das Programm liegt auf einem nicht verbundenen Laufwerk.", false, false},
        {"user/com.example.system", "Gehört zu keiner erkennbaren App.", false, false},
        {"user/com.example.broken", "Die Datei konnte nicht gelesen werden. Velmora 2 fasst sie nicht an.",
         false, false},
        {"system/com.example.daemon", "Das Programm fehlt: /opt/daemon/d. Es wurde vermutlich deinstalliert.",
         true, true},
        {"system/com.example.oddfile",
         "Das Programm fehlt: /opt/daemon/odd. Es wurde vermutlich deinstalliert.", true, false},
        {"user/com.example.bytes", "Das Programm fehlt: /opt/gone/\uFFFD. Es wurde vermutlich deinstalliert.",
         true, true},
    };
    EXPECT_EQ(list.size(), expected.size()) << run.out;
    for (const auto& want : expected) {
        const auto* item = entry(list, want.id);
        ASSERT_NE(item, nullptr) << want.id << "\n" << run.out;
        EXPECT_EQ(item->at("explanation"), want.explanation) << want.id;
        EXPECT_EQ(item->at("isOrphaned"), want.orphaned) << want.id;
        EXPECT_EQ(item->at("removable"), want.removable) << want.id;
        EXPECT_EQ(item->at("blockReason").is_null(), want.removable) << want.id;
        EXPECT_TRUE(item->contains("startKind") && item->contains("plistURL") && item->contains("label"));
    }
    EXPECT_EQ(entry(list, "user/com.example.present")->at("isRunning"), true);
    EXPECT_EQ(entry(list, "user/com.example.present")->at("blockReason"), "Der Dienst ist nicht verwaist.");
    EXPECT_EQ(entry(list, "user/com.example.deleted")->at("startKind"), "scheduled");
    EXPECT_EQ(t.callsOutsideTheRoot(), std::vector<std::string>{});
}

TEST(ServicesCommand, ListGroupsByScopeAndSaysWhatCanGo) {
    ServicesTree t;
    const auto run = t.run({"services"});
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char* text :
         {"Eigene Agenten\n", "Agenten für alle Benutzer\n  Keine Hintergrunddienste dieser Art.",
          "System-Dienste\n", "Anmeldeobjekte\n  Die Anmeldeobjekte konnten nicht gelesen werden.",
          "startet zeitgesteuert, läuft nicht", "startet bei der Anmeldung, läuft",
          "Verwaist, entfernbar: velmora services remove com.example.gone",
          "Verwaist, nicht entfernbar: Ungewöhnlicher Name – Velmora 2 fasst diesen Dienst nicht an.",
          "5 verwaiste Hintergrunddienste"})
        EXPECT_NE(run.out.find(text), std::string::npos) << text << "\n" << run.out;
    EXPECT_EQ(run.out.find("com.apple"), std::string::npos);
    EXPECT_EQ(run.out.find("COM.APPLE"), std::string::npos);
}

TEST(ServicesCommand, RemoveRefusesBlockedServicesAndTrashesTheOrphan) {
    ServicesTree t;
    // The daemon goes through the administrator prompt, which is not there in the tree.
    const auto run = t.run({"services", "remove", "com.example.gone", "com.example.present",
                            "com.example.volume", "com.example.broken", "com.example.daemon", "--yes"});
    ASSERT_EQ(run.status, 1) << run.out << run.err;
    EXPECT_NE(run.out.find("com.example.daemon: fehlgeschlagen"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("com.example.present: nicht entfernt – Der Dienst ist nicht verwaist."),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("com.example.volume: nicht entfernt – Der Dienst ist nicht verwaist."),
              std::string::npos);
    EXPECT_NE(run.out.find("com.example.gone: entfernt"), std::string::npos) << run.out;

    EXPECT_FALSE(fs::exists(t.agent("com.example.gone.plist")));
    EXPECT_TRUE(fs::exists(t.tree.home() / ".Trash/com.example.gone.plist"));
    for (const char* kept :
         {"com.example.present.plist", "com.example.volume.plist", "com.example.broken.plist"})
        EXPECT_TRUE(fs::exists(t.agent(kept))) << kept;
    const auto lines = t.runner->commandLines();
    EXPECT_NE(std::ranges::find(lines, (t.tree.root() / "bin/launchctl").string() +
                                           " bootout gui/501/com.example.gone"),
              lines.end());
    EXPECT_EQ(t.callsOutsideTheRoot(), std::vector<std::string>{});
}

TEST(ServicesCommand, RemoveNeedsConsentKnownLabelsAndAReadableKeepList) {
    ServicesTree t;
    auto run = t.run({"services", "remove", "com.example.gone"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("nur mit --yes"), std::string::npos) << run.err;

    run = t.run({"services", "remove", "com.example.nosuch", "--yes"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("Kein solcher Hintergrunddienst: com.example.nosuch"), std::string::npos);

    run = t.run({"services", "remove", "com.example.gone", "--dry-run"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("com.example.gone: übersprungen: Trockenlauf"), std::string::npos) << run.out;

    const auto keep = t.tree.home() / "Library/Application Support/Velmora2/keep.json";
    t.tree.scratch.file(keep.lexically_relative(t.tree.root()), "{ kaputt");
    run = t.run({"services", "remove", "com.example.gone", "--yes"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("Eine Kopie liegt in " + keep.string() + ".bad."), std::string::npos) << run.err;

    EXPECT_TRUE(fs::exists(t.agent("com.example.gone.plist")));
    EXPECT_FALSE(t.ranBootout());
}

TEST(ServicesCommand, LinuxHomeHasNoLaunchFoldersAndNoLoginItems) {
    velmora::testing::TempTree tree;
    tree.folder("home/anna/.config");
    auto runner = std::make_shared<ScriptedCommandRunner>();
    const auto run = runVelmora(
        {"services", "--platform", "linux", "--home", "/home/anna", "--root", tree.root().string()},
        cli::ServiceOverrides{.runner = runner, .executablePath = {}, .uid = 1000});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("Eigene Agenten\n  Keine Hintergrunddienste dieser Art."), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("System-Dienste\n  Keine Hintergrunddienste dieser Art."), std::string::npos);
    EXPECT_NE(run.out.find("Anmeldeobjekte werden auf dieser Plattform nicht gelesen."), std::string::npos);
    EXPECT_NE(run.out.find("Keine verwaisten Hintergrunddienste"), std::string::npos);
    EXPECT_TRUE(runner->calls().empty());
}
