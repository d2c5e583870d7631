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

// A Mac-shaped tree with an agent for each thing the command shows: a running one of an installed app,
// an uninstalled one, one whose program path is not UTF-8, a damaged plist, and two orphaned daemons of
// which one has a name the administrator step refuses. Which verdict each rule gives is the scanner's
// business; here each must reach the output.
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
                       {.label = "com.example.gone", .program = "/opt/gone/bin/gone", .startInterval = true});
        tree.scratch.file("Users/anna/Library/LaunchAgents/com.example.broken.plist", "<plist><dict>nope");
        tree.daemon("com.example.daemon.plist", {.label = "com.example.daemon", .program = "/opt/daemon/d"});
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

    CliRun run(std::vector<std::string> words) const {
        return runInTree(std::move(words), tree.root(), "macos", "/Users/anna",
                         {.runner = runner, .executablePath = {}, .uid = LaunchTree::uid});
    }

    std::vector<std::string> callsOutsideTheRoot() const {
        auto lines = runner->commandLines();
        std::erase_if(lines, [&](const auto& line) { return line.starts_with(tree.root().string() + "/"); });
        return lines;
    }
};

const nlohmann::json* entry(const nlohmann::json& list, const std::string& id) {
    for (const auto& item : list)
        if (item.value("id", "") == id)
            return &item;
    return nullptr;
}

} // namespace

TEST(ServicesCommand, JsonAndListCarryEveryVerdict) {
    ServicesTree t;
    const auto run = t.run({"services", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto list = nlohmann::json::parse(run.out);
    const std::map<std::string, std::pair<bool, bool>> orphanedAndRemovable{
        {"user/com.example.present", {false, false}},  {"user/com.example.gone", {true, true}},
        {"user/com.example.broken", {false, false}},   {"system/com.example.daemon", {true, true}},
        {"system/com.example.oddfile", {true, false}}, {"user/com.example.bytes", {true, true}}};
    ASSERT_TRUE(list.is_array());
    EXPECT_EQ(list.size(), orphanedAndRemovable.size()) << run.out;
    for (const auto& [id, want] : orphanedAndRemovable) {
        const auto* item = entry(list, id);
        ASSERT_NE(item, nullptr) << id << "\n" << run.out;
        EXPECT_EQ(item->at("isOrphaned"), want.first) << id;
        EXPECT_EQ(item->at("removable"), want.second) << id;
        EXPECT_EQ(item->at("blockReason").is_null(), want.second) << id;
        EXPECT_TRUE(item->contains("plistURL") && item->contains("label"));
    }
    EXPECT_EQ(entry(list, "user/com.example.bytes")->at("programPath"), "/opt/gone/\uFFFD");
    EXPECT_EQ(entry(list, "user/com.example.present")->at("isRunning"), true);
    EXPECT_EQ(entry(list, "user/com.example.gone")->at("startKind"), "scheduled");

    const auto text = t.run({"services"});
    ASSERT_EQ(text.status, 0) << text.err;
    for (const char* line :
         {"Eigene Agenten\n", "Agenten für alle Benutzer\n  Keine Hintergrunddienste dieser Art.",
          "System-Dienste\n", "Anmeldeobjekte\n  Die Anmeldeobjekte konnten nicht gelesen werden.",
          "startet zeitgesteuert, läuft nicht", "startet bei der Anmeldung, läuft",
          "Verwaist, entfernbar: velmora services remove com.example.gone",
          "Verwaist, nicht entfernbar: Ungewöhnlicher Name – Velmora 2 fasst diesen Dienst nicht an.",
          "4 verwaiste Hintergrunddienste"})
        EXPECT_THAT(text.out, HasSubstr(line)) << line << "\n" << text.out;
    EXPECT_EQ(t.callsOutsideTheRoot(), std::vector<std::string>{});
}

TEST(ServicesCommand, RemoveNeedsConsentKnownLabelsAndAReadableKeepListRefusesBlockedAndTrashesTheOrphan) {
    ServicesTree t;
    auto run = t.run({"services", "remove", "com.example.gone"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("nur mit --yes"));

    run = t.run({"services", "remove", "com.example.nosuch", "--yes"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("Kein solcher Hintergrunddienst: com.example.nosuch"));

    run = t.run({"services", "remove", "com.example.gone", "--dry-run"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("com.example.gone: übersprungen: Trockenlauf"));

    const auto keep = t.tree.home() / "Library/Application Support/Velmora2/keep.json";
    t.tree.scratch.file(keep.lexically_relative(t.tree.root()), "{ kaputt");
    run = t.run({"services", "remove", "com.example.gone", "--yes"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("Eine Kopie liegt in " + keep.string() + ".bad."));

    EXPECT_TRUE(fs::exists(t.agent("com.example.gone.plist")));
    EXPECT_THAT(t.runner->commandLines(), ::testing::Each(Not(HasSubstr("bootout"))));
    std::filesystem::remove(keep);

    // The daemon goes through the administrator prompt, which is not there in the tree.
    run = t.run({"services", "remove", "com.example.gone", "com.example.present", "com.example.broken",
                 "com.example.daemon", "--yes"});
    ASSERT_EQ(run.status, 1) << run.out << run.err;
    EXPECT_THAT(run.out, HasSubstr("com.example.daemon: fehlgeschlagen"));
    EXPECT_THAT(run.out, HasSubstr("com.example.present: nicht entfernt – Der Dienst ist nicht verwaist."));
    EXPECT_THAT(run.out, HasSubstr("com.example.gone: entfernt"));
    EXPECT_TRUE(fs::exists(t.tree.home() / ".Trash/com.example.gone.plist"));
    EXPECT_EQ(t.callsOutsideTheRoot(), std::vector<std::string>{});
}

TEST(ServicesCommand, LinuxHomeHasNoLaunchFoldersAndNoLoginItems) {
    auto runner = std::make_shared<ScriptedCommandRunner>();
    const auto run =
        CliTree("linux", {.runner = runner, .executablePath = {}, .uid = 1000}).run({"services"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Eigene Agenten\n  Keine Hintergrunddienste dieser Art."));
    EXPECT_THAT(run.out, HasSubstr("Anmeldeobjekte werden auf dieser Plattform nicht gelesen."));
    EXPECT_TRUE(runner->calls().empty());
}

TEST(ServicesCommand, TheOldAutomationHasItsOwnSectionAndGoesToTheTrashWithRemoveLegacy) {
    LaunchTree tree;
    const std::string logical = "/Users/anna/Library/Application Support/Velmora/cleanup.sh";
    const auto script = tree.real(logical);
    tree.program(logical);
    const auto plist = tree.userAgent(
        "de.tobrenlux.velmora.cleanup.plist",
        {.label = "de.tobrenlux.velmora.cleanup", .arguments = std::vector<std::string>{"/bin/sh", logical}});
    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect(tree.root() / "bin/launchctl", {"bootout", "gui/501/de.tobrenlux.velmora.cleanup"})
        .returns(113);
    const auto run = [&](std::vector<std::string> words) {
        return runInTree(std::move(words), tree.root(), "macos", "/Users/anna",
                         {runner, std::nullopt, LaunchTree::uid});
    };
    auto result = run({"services"});
    EXPECT_THAT(result.out, HasSubstr("Alte Automatik\n  Ein monatlicher"));
    EXPECT_THAT(result.out, HasSubstr("    Skript: " + script.string() +
                                      "\n  Entfernen: velmora services remove --legacy"));
    const auto list = nlohmann::json::parse(run({"services", "--json"}).out);
    ASSERT_NE(entry(list, "legacy/de.tobrenlux.velmora.cleanup"), nullptr) << list;
    EXPECT_EQ(entry(list, "legacy/de.tobrenlux.velmora.cleanup")->at("script"), script.string());

    EXPECT_EQ(run({"services", "remove", "--legacy"}).status, 2); // no terminal, no --yes
    EXPECT_EQ(run({"services", "remove", "--legacy", "de.example"}).status, 2);
    EXPECT_EQ(run({"services", "remove", "--legacy", "--dry-run"}).status, 0);
    EXPECT_TRUE(fs::exists(plist) && fs::exists(script));
    result = run({"services", "remove", "--legacy", "--yes"});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_TRUE(fs::exists(tree.home() / ".Trash/cleanup.sh") && !fs::exists(plist));
    EXPECT_THAT(run({"services"}).out, HasSubstr("Alte Automatik\n  Keine alte Automatik gefunden."));
}
