#include "Doubles/FakeRunningApps.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Removal/BrewCommand.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalTestSupport.hpp"
#include "Removal/ToolRemover.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <set>

using namespace velmora;
using namespace velmora::removaltest;
using namespace std::chrono_literals;
using velmora::test::ScriptedCommandRunner;

namespace {

ToolLocator locatorWith(std::set<fs::path> present) {
    return ToolLocator{ToolLocator::defaultSearchPaths("/Users/anna"),
                       [present](const fs::path& p) { return present.contains(p); }};
}

Finding toolFinding(std::string tool, std::vector<std::string> arguments, std::vector<FindingItem> items,
                    std::string scannerID = "languages.npm") {
    return findingOf(std::move(scannerID),
                     RemovalMethod::tool(ToolCommand{std::move(tool), std::move(arguments), 60s}),
                     std::move(items));
}

std::vector<FindingItem> twoItems() {
    return {itemWithoutPath("cache", 700), itemWithoutPath("logs")};
}

std::vector<std::string> outcomeTexts(const std::vector<ItemResult>& results) {
    std::vector<std::string> texts;
    for (const auto& result : results)
        texts.push_back(result.outcome.text());
    return texts;
}

struct Fixture {
    std::shared_ptr<ScriptedCommandRunner> runner = std::make_shared<ScriptedCommandRunner>();
    std::shared_ptr<FakeRunningApps> apps = std::make_shared<FakeRunningApps>();

    std::vector<ItemResult> remove(const Finding& finding, const std::set<fs::path>& present,
                                   bool dryRun = false, RemovalOptions options = {}) {
        options.dryRun = dryRun;
        const auto plan = RemovalPlan::build({allOf(finding)}, options);
        ToolRemover remover(runner, locatorWith(present), apps);
        return remover.remove(plan.toolSteps, dryRun);
    }
};

} // namespace

TEST(ToolRemover, MissingToolsAndWrongMethodsFailEveryItemWithoutRunningAnything) {
    Fixture f;
    const auto npm = toolFinding("npm", {"cache", "clean", "--force"}, twoItems());
    EXPECT_EQ(outcomeTexts(f.remove(npm, {})),
              (std::vector<std::string>{"fehlgeschlagen: Werkzeug nicht gefunden: npm",
                                        "fehlgeschlagen: Werkzeug nicht gefunden: npm"}));
    // Also in a dry run: the preview must not promise a command that cannot run.
    EXPECT_EQ(outcomeTexts(f.remove(npm, {}, true))[0], "fehlgeschlagen: Werkzeug nicht gefunden: npm");

    // xcrun counts only in /usr/bin, wherever else the search path would find one.
    const auto simctl = toolFinding("xcrun", {"simctl", "delete", "unavailable"}, twoItems(), "simulators.x");
    EXPECT_EQ(outcomeTexts(f.remove(simctl, {"/opt/homebrew/bin/xcrun", "/usr/local/bin/xcrun"}))[1],
              "fehlgeschlagen: Werkzeug nicht gefunden: xcrun");
    // A relative path is never searched for.
    EXPECT_EQ(outcomeTexts(f.remove(toolFinding("bin/npm", {}, twoItems()), {"/usr/bin/bin/npm"}))[0],
              "fehlgeschlagen: Werkzeug nicht gefunden: bin/npm");

    const auto trashFinding = findingOf("languages.npm", RemovalMethod::trash(), twoItems());
    ToolRemover remover(f.runner, locatorWith({"/usr/bin/npm"}));
    EXPECT_EQ(
        outcomeTexts(remover.remove({RemovalStep::capture(trashFinding, trashFinding.items)}, false)),
        (std::vector<std::string>{"fehlgeschlagen: Falsche Methode", "fehlgeschlagen: Falsche Methode"}));
    EXPECT_TRUE(f.runner->calls().empty());
}

TEST(ToolRemover, RunsTheCommandOnceAndSharesItsOutcome) {
    const auto npm = toolFinding("npm", {"cache", "clean", "--force"}, twoItems());
    const std::set<fs::path> installed = {"/usr/local/bin/npm", "/usr/bin/npm", "/usr/bin/xcrun"};
    {
        Fixture f;
        f.runner->expect("/usr/local/bin/npm", {"cache", "clean", "--force"}).returns(0);
        const auto results = f.remove(npm, installed);
        ASSERT_EQ(results.size(), 2u);
        EXPECT_EQ(results[0], (ItemResult{npm.id, "cache", ItemOutcome::removed(700)}));
        EXPECT_EQ(results[1], (ItemResult{npm.id, "logs", ItemOutcome::removed(1000)}));
        ASSERT_EQ(f.runner->calls().size(), 1u);
        EXPECT_EQ(f.runner->calls()[0].timeout, 60s);
    }
    // Every other end of the one run is every item's end; a dry run runs nothing.
    auto slow = npm;
    std::get<RemovalMethod::Tool>(slow.method.value).command.timeout = 150ms;
    const auto simctl = toolFinding("xcrun", {"simctl", "delete", "unavailable"}, twoItems(), "simulators.x");
    const struct {
        Finding finding;
        std::function<void(ScriptedCommandRunner&)> script;
        std::string expected;
        bool dryRun = false;
    } cases[] = {
        {simctl, [](auto& r) { r.expect("/usr/bin/xcrun").returns(3, "", "Error"); },
         "fehlgeschlagen: Exit 3"},
        {slow, [](auto& r) { r.expect("/usr/local/bin/npm").hangs(); }, "fehlgeschlagen: Zeitüberschreitung"},
        {npm,
         [](auto& r) {
             r.expect("/usr/local/bin/npm").fails(CommandError::Kind::launchFailed, "Zugriff verweigert");
         },
         "fehlgeschlagen: Zugriff verweigert"},
        {npm, [](auto&) {}, "übersprungen: Trockenlauf", true},
    };
    for (const auto& c : cases) {
        Fixture f;
        c.script(*f.runner);
        EXPECT_EQ(outcomeTexts(f.remove(c.finding, installed, c.dryRun)),
                  (std::vector<std::string>{c.expected, c.expected}));
        EXPECT_EQ(f.runner->calls().size(), c.dryRun ? 0u : 1u);
    }
}

TEST(ToolRemover, ARunningAppSkipsTheWholeFindingBeforeAnythingRuns) {
    Fixture f;
    auto finding = toolFinding("brew", {"uninstall", "--cask", "slack"}, twoItems(), "brew.cask");
    finding.items[1].blockingApp = AppRef{"com.tinyspeck.slackmacgap", "Slack", "Slack"};
    f.apps->setApps({RunningAppInfo{42, "com.tinyspeck.slackmacgap", "Slack"}});
    for (const bool dryRun : {false, true})
        EXPECT_EQ(outcomeTexts(f.remove(finding, {"/opt/homebrew/bin/brew"}, dryRun)),
                  (std::vector<std::string>{"übersprungen: Slack läuft – vorher beenden",
                                            "übersprungen: Slack läuft – vorher beenden"}));
    EXPECT_TRUE(f.runner->calls().empty());

    f.apps->setApps({});
    f.runner->expect("/opt/homebrew/bin/brew").returns(0);
    EXPECT_EQ(outcomeTexts(f.remove(finding, {"/opt/homebrew/bin/brew"}))[1], "entfernt");
}

TEST(ToolRemover, HomebrewTrustProblemsGiveTheTwoCommandsToRun) {
    const std::string hint =
        "fehlgeschlagen: Homebrew vertraut diesem Tap nicht. Führe nacheinander aus: brew "
        "trust acme/tools · brew ";
    const auto cask = toolFinding("brew", {"uninstall", "--cask", "widget"}, twoItems(), "brew.cask");
    const auto cleanup = toolFinding("brew", {"cleanup", "--prune=all"}, twoItems());
    struct Case {
        Finding finding;
        std::string out, err;
        std::string expected;
        RemovalOptions options = {};
    };
    const std::vector<Case> cases = {
        {cask, "", "Error: Refusing to load cask from untrusted tap   acme/tools\n",
         hint + "uninstall --cask widget"},
        {cask, "Warning: tap acme/tools is not trusted.\n", "", hint + "uninstall --cask widget"},
        // With zap the command carries --zap; the hint still names the plain uninstall.
        {cask, "", "untrusted tap acme/tools", hint + "uninstall --cask widget", {.zap = true}},
        // Not a cask uninstall: the second command is the failed one.
        {cleanup, "", "untrusted tap acme/tools", hint + "cleanup --prune=all"},
        // Other tools and a tap name without owner keep the exit status.
        {toolFinding("npm", {"x"}, twoItems()), "", "untrusted tap acme/tools", "fehlgeschlagen: Exit 1"},
        {cask, "", "Error: untrusted tap acme", "fehlgeschlagen: Exit 1"},
    };
    for (const auto& c : cases) {
        Fixture f;
        f.runner->expect("/usr/bin/npm").returns(1, c.out, c.err);
        f.runner->expect("/opt/homebrew/bin/brew").returns(1, c.out, c.err);
        const auto texts =
            outcomeTexts(f.remove(c.finding, {"/opt/homebrew/bin/brew", "/usr/bin/npm"}, false, c.options));
        EXPECT_EQ(texts, (std::vector<std::string>{c.expected, c.expected})) << c.err;
        if (c.options.zap) {
            EXPECT_EQ(f.runner->calls().at(0).arguments,
                      (std::vector<std::string>{"uninstall", "--cask", "--zap", "widget"}));
        }
    }
}

TEST(BrewCommand, ZapGoesOnlyIntoCaskUninstallsAndOnlyOnce) {
    const auto zap = [](std::string tool, std::vector<std::string> args) {
        return BrewCommand::withZap(ToolCommand{std::move(tool), std::move(args), 1s}).arguments;
    };
    using Args = std::vector<std::string>;
    EXPECT_EQ(zap("brew", {"uninstall", "--cask", "widget"}),
              (Args{"uninstall", "--cask", "--zap", "widget"}));
    EXPECT_EQ(zap("/usr/local/bin/brew", {"uninstall", "--force", "--cask", "w"}),
              (Args{"uninstall", "--force", "--cask", "--zap", "w"}));
    EXPECT_EQ(zap("brew", {"uninstall", "--cask", "--zap", "w"}),
              (Args{"uninstall", "--cask", "--zap", "w"}));
    EXPECT_EQ(zap("brew", {"uninstall", "wget"}), (Args{"uninstall", "wget"}));
    EXPECT_EQ(zap("brew", {"cleanup", "--cask"}), (Args{"cleanup", "--cask"}));
    EXPECT_EQ(zap("npm", {"uninstall", "--cask", "x"}), (Args{"uninstall", "--cask", "x"}));

    EXPECT_EQ(BrewCommand::caskName(ToolCommand{"brew", {"uninstall", "--cask", "--zap", "w"}, 1s}), "w");
    EXPECT_FALSE(BrewCommand::caskName(ToolCommand{"brew", {"uninstall", "--cask"}, 1s}));
}
