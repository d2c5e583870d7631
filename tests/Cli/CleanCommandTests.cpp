#include "Cli/CleanCommand.hpp"
#include "Cli/CliTestSupport.hpp"
#include "Doubles/TempTree.hpp"
#include "Safety/KeepList.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <functional>
#include <streambuf>

using namespace velmora;
using namespace velmora::testing;

namespace {

namespace fs = std::filesystem;

// A Mac-shaped home with safe findings (DerivedData: delete; old-style trash rows: Trash) and
// findings that need review, plus personal files that must never move.
struct CleanTree : CliTree {
    CleanTree() {
        tree.file("Users/anna/Library/Developer/Xcode/DerivedData/App-abc/Build/x.o", std::string(7000, 'x'));
        tree.file("Users/anna/Library/Developer/Xcode/DerivedData/Other-def/y.o", std::string(500, 'y'));
        tree.file("Users/anna/Library/Logs/CoreSimulator/sim.log", "simulator log");
        tree.file("Users/anna/Library/Application Support/Spotify/PersistentCache/Storage/a", "music");
        tree.file("Users/anna/.cache/huggingface/hub/models--org--model/w", std::string(9000, 'h'));
        tree.file("Users/anna/Documents/thesis.tex", "keep me");
        tree.file("Users/anna/Library/Application Support/Spotify/prefs", "settings");
    }
};

// Standard input that answers "j" to "Fortfahren? [j/N]", but first does what another window does
// while the question is open.
struct AnswerAfter : std::streambuf {
    std::function<void()> meanwhile;
    std::string answer = "j\n";
    int_type underflow() override {
        if (meanwhile)
            std::exchange(meanwhile, {})(), setg(answer.data(), answer.data(), answer.data() + answer.size());
        return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
    }
};

CliRun cleanAtTerminal(const CleanTree& t, std::vector<std::string> ids, std::function<void()> meanwhile) {
    const auto setting =
        cli::resolveSetting({t.tree.root().string(), "/Users/anna", "macos", false}, std::nullopt);
    AnswerAfter answer;
    answer.meanwhile = std::move(meanwhile);
    std::istream in(&answer);
    std::ostringstream out, err;
    const cli::CleanOptions options{std::move(ids), {}, false, false, false, false, false};
    const int status = cli::runCleanCommand(options, *setting, in, out, err, true);
    return {status, out.str(), err.str()};
}

} // namespace

TEST(CleanCommand, DryRunChangesNothingThenSafeFindingsGoByTheirMethodAndNothingElseChanges) {
    CleanTree t;
    const auto before = snapshot(t.tree.root());
    auto run = t.run({"clean", "--safe", "--dry-run"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Trockenlauf – es wird nichts entfernt."));
    EXPECT_THAT(run.out, HasSubstr("App-abc: übersprungen: Trockenlauf"));
    EXPECT_THAT(run.out, Not(HasSubstr(": entfernt")));
    EXPECT_THAT(run.out, HasSubstr("Freigegeben: Null kB"));

    ::setenv("VELMORA_DRY_RUN", "1", 1);
    run = t.run({"clean", "ai.huggingFace", "--yes"});
    ::unsetenv("VELMORA_DRY_RUN");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("org/model: übersprungen: Trockenlauf"));
    EXPECT_EQ(snapshot(t.tree.root()), before);

    run = t.run({"clean", "--safe", "--yes", "--show-commands"});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_THAT(run.out, HasSubstr("Wird direkt gelöscht – nicht im Papierkorb"));
    EXPECT_THAT(run.out, HasSubstr("Befehle anzeigen:"));
    EXPECT_THAT(run.out, HasSubstr("App-abc: entfernt"));

    const std::vector<fs::path> removed{t.home / "Library/Developer/Xcode/DerivedData/App-abc",
                                        t.home / "Library/Developer/Xcode/DerivedData/Other-def",
                                        t.home / "Library/Logs/CoreSimulator",
                                        t.home / "Library/Application Support/Spotify/PersistentCache"};
    auto after = snapshot(t.tree.root());
    // What went to the Trash is there under its own name; everything else is exactly as before.
    EXPECT_EQ(after["Users/anna/.Trash/CoreSimulator/sim.log"], "file:simulator log");
    EXPECT_EQ(after["Users/anna/.Trash/PersistentCache/Storage/a"], "file:music");
    EXPECT_FALSE(after.contains("Users/anna/.Trash/App-abc"));            // deleted directly, not trashed
    const auto journal = t.home / "Library/Application Support/Velmora2"; // records the run
    EXPECT_EQ(without(after, t.tree.root(), {t.home / ".Trash", journal}),
              without(before, t.tree.root(), removed));
}

TEST(CleanCommand, SingleItemsKeptFindingsAndMissingConsent) {
    CleanTree t;
    // Without a terminal and without --yes nothing happens.
    auto run = t.run({"clean", "--safe"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("Ohne Terminal wird nur mit --yes entfernt"));
    EXPECT_TRUE(fs::exists(t.home / "Library/Developer/Xcode/DerivedData/App-abc"));

    // One item of a finding, and a kept finding that is never selected.
    ASSERT_EQ(t.run({"keep", "simulators.logs"}).status, 0);
    const auto item = (t.home / "Library/Developer/Xcode/DerivedData/Other-def").string();
    run = t.run({"clean", "--item", item, "simulators.logs", "--yes"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("simulators.logs: wird behalten – nicht ausgewählt"));
    EXPECT_FALSE(fs::exists(item));
    EXPECT_TRUE(fs::exists(t.home / "Library/Developer/Xcode/DerivedData/App-abc"));
    EXPECT_TRUE(fs::exists(t.home / "Library/Logs/CoreSimulator/sim.log"));

    // A finding whose items only go together refuses to give one of them away.
    const auto whole = (t.home / "Library/Application Support/Spotify/PersistentCache").string();
    run = t.run({"clean", "--item", whole, "--yes"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr(whole + ": gehört zu „Spotify – Offline-Cache“ und wird nur als Ganzes "
                                           "entfernt – wähle dafür den Fund appCaches.spotify"));
    EXPECT_TRUE(fs::exists(whole));

    run = t.run({"clean", "languages.cobol", "--yes"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("Kein solcher Fund oder Eintrag: languages.cobol"));
    EXPECT_EQ(t.run({"clean"}).status, 2);
}

TEST(CleanCommand, TheKeepListCountsAsItIsWhenTheAnswerComes) {
    CleanTree t;
    const auto keepFile = t.home / "Library/Application Support/Velmora2/keep.json";

    // Kept in another window while the question was open.
    auto run = cleanAtTerminal(t, {"simulators.logs", "xcode.derivedData"}, [&] {
        EXPECT_TRUE(KeepList(keepFile).add(FindingID{"simulators.logs", ""}));
    });
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_THAT(run.out, HasSubstr(": übersprungen: Steht auf der Behalten-Liste"));
    EXPECT_FALSE(fs::exists(t.home / "Library/Developer/Xcode/DerivedData/App-abc"));

    // Damaged meanwhile, or before: nothing goes, and the message names the file and its copy.
    const std::string damage = "[{\"scannerID\": \"ai.huggingFace\",";
    run = cleanAtTerminal(t, {"ai.huggingFace"},
                          [&] { t.tree.file(keepFile.lexically_relative(t.tree.root()), damage); });
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("org/model: fehlgeschlagen: Die Behalten-Liste ist beschädigt"));
    EXPECT_THAT(run.out, HasSubstr("\n1 Eintrag konnte nicht entfernt werden.\n"));
    const std::string message =
        "Die Behalten-Liste ist beschädigt und wird als leer gelesen: " + keepFile.string() +
        "\nEine Kopie liegt in " + keepFile.string() + ".bad.";
    EXPECT_THAT(run.err, HasSubstr(message));
    EXPECT_EQ(contentOf(keepFile.string() + ".bad"), damage);
    const auto before = t.run({"clean", "--safe", "--yes"});
    EXPECT_EQ(before.status, 1);
    EXPECT_EQ(before.out, "") << "not even a plan";
    EXPECT_THAT(before.err, HasSubstr(message));
    for (const char* stays :
         {"Library/Logs/CoreSimulator/sim.log", ".cache/huggingface/hub/models--org--model/w"})
        EXPECT_TRUE(fs::exists(t.home / stays)) << stays;
}

TEST(CleanCommand, HostileNamesAreShownEscapedAndJsonKeepsThemExact) {
    TempTree tree;
    const std::string home = "/Users/an\x1b[2Kna", evil = "Build\n    Documents  0 B\x1b[1A\u202E";
    tree.file(fs::path(home).relative_path() / "Library/Developer/Xcode/DerivedData" / evil / "x.o", "x");
    const auto run = [&](std::vector<std::string> words) {
        return runInTree(words, tree.root(), "macos", home);
    };
    const auto scan = run({"scan"}),
               clean = run({"clean", "xcode.derivedData", "--dry-run", "--show-commands"});
    const std::string shown = "Build\\n    Documents  0 B\\x1b[1A\\u202e";
    for (const auto& [out, line] : std::vector<std::pair<std::string, std::string>>{
             {scan.out, "Scan von " + tree.root().string() + "/Users/an\\x1b[2Kna\n"},
             {clean.out, "\n    " + shown + "  "},         // the plan
             {clean.out, "/DerivedData/" + shown + "'\n"}, // the command it runs
             {clean.out, "\n" + shown + ": übersprungen: Trockenlauf\n"}}) {
        EXPECT_THAT(out, HasSubstr(line)) << line << "\n" << out;
        EXPECT_TRUE(out.find_first_of("\x1b\r") == out.npos && out.find("\u202E") == out.npos) << out;
        EXPECT_THAT(out, Not(HasSubstr("\n    Documents"))); // no line of its own
    }
    EXPECT_EQ(nlohmann::json::parse(run({"scan", "--json"}).out)["findings"][0]["items"][0]["name"], evil);
}

TEST(CleanCommand, EachDeveloperFindingGoesByItsOwnMethodOnTheMacShapedTree) {
    const CliTree mac;
    ASSERT_TRUE(mac.buildMacShapedHome());
    const auto& tree = mac.tree;
    const auto calls = tree / ".recorded/calls.log";
    struct Case {
        std::string finding;
        std::string gone;    // what no longer lies where it was
        std::string trashed; // where it lies now, if it went to the Trash
        std::string command; // the line the stand-in logged, if a tool removed it
    };
    const std::vector<Case> cases = {
        {"xcode.versions", "Applications/Xcode-beta.app", "Users/anna/.Trash/Xcode-beta.app", ""},
        {"languages.nvm", "Users/anna/.nvm/versions/node/v18.20.4", "Users/anna/.Trash/v18.20.4", ""},
        {"brew.cleanup", "", "", "brew cleanup --prune=all"},
        {"sim.unavailable", "", "", "xcrun simctl delete unavailable"},
        {"ai.ollama/llama3.1:8b", "", "", "ollama rm llama3.1:8b"},
        {"toolchains.rustup/nightly-aarch64-apple-darwin", "", "",
         "rustup toolchain uninstall nightly-aarch64-apple-darwin"},
        {"toolchains.dockerPrune", "", "", "docker system prune -f"},
        // Through the administrator script, which the osascript stand-in runs as this user.
        {"toolchains.texLive", "usr/local/texlive/2022", "", ""},
    };
    for (const auto& c : cases) {
        const auto run = mac.run({"clean", c.finding, "--yes"});
        EXPECT_EQ(run.status, 0) << c.finding << run.out << run.err;
        EXPECT_THAT(run.out, HasSubstr(": entfernt")) << c.finding << run.out;
        EXPECT_TRUE(c.gone.empty() || !present(tree / c.gone)) << c.finding;
        EXPECT_TRUE(c.trashed.empty() || present(tree / c.trashed)) << c.finding;
        EXPECT_THAT(contentOf(calls), HasSubstr("\n" + c.command + (c.command.empty() ? "" : "\n")))
            << c.finding;
    }
    EXPECT_TRUE(present(tree / "usr/local/texlive/2024"));
    EXPECT_TRUE(present(tree / "Users/anna/.nvm/versions/node/v20.12.0"));
    EXPECT_TRUE(present(tree / "Applications/Xcode.app"));
}
