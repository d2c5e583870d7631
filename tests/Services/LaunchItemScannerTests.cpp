#include "Services/LaunchItemScanner.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Services/LaunchTreeSupport.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <ranges>

#include <sys/stat.h>

using namespace velmora;
using namespace velmora::test;

namespace {

constexpr auto unreadable = "Die Datei konnte nicht gelesen werden. Velmora 2 fasst sie nicht an.";

std::vector<std::string> ids(const std::vector<LaunchItem>& items,
                             std::string LaunchItem::*field = &LaunchItem::id) {
    std::vector<std::string> result;
    for (const auto& item : items)
        result.push_back(item.*field);
    return result;
}

// One agent per verdict rule, in a tree where some programs, apps and volumes exist and others are gone.
class LaunchItemVerdicts : public ::testing::Test {
protected:
    void SetUp() override {
        const auto user = [&](const std::string& label, AgentPlist plist) {
            plist.label = label;
            tree.userAgent(label + ".plist", plist);
        };
        tree.app("/Applications/Present.app", "com.example.present", "Contents/MacOS/present");
        user("com.example.present",
             {.arguments = std::vector<std::string>{"/Applications/Present.app/Contents/MacOS/present", "-d"},
              .runAtLoad = true});
        user("com.example.gone", {.program = "/usr/local/bin/gone-tool"});
        user("com.example.deletedapp",
             {.program = "/Applications/Deleted.app/Contents/MacOS/helper", .binary = true});
        tree.app("/Applications/Moved Here.app", "com.example.moved");
        user("com.example.moved",
             {.program = "/Applications/Moved.app/Contents/MacOS/moved",
              .bundleIDs = std::vector<std::string>{"com.example.nothere", "com.example.moved"}});
        tree.app("/Applications/Broken.app", "com.example.broken");
        user("com.example.broken", {.program = "/Applications/Broken.app/Contents/MacOS/missing"});
        // A file where a folder of the program's path should be: the program is gone all the same.
        tree.scratch.file("opt/tools", "a file where a folder was");
        user("com.example.notdir", {.program = "/opt/tools/run"});
        // A connected volume is judged like any other place; one that is not connected never orphans.
        tree.scratch.folder("Volumes/External");
        user("com.example.ext", {.program = "/Volumes/External/tool"});
        user("com.example.offline", {.program = "/volumes/Offline/tool"});
        // System programs never orphan, in any spelling and whatever apps they declare.
        user("com.example.sysapp", {.arguments = std::vector<std::string>{"/usr/bin/true"},
                                    .bundleIDs = std::vector<std::string>{"com.example.deleted"}});
        user("com.example.sys", {.program = "/SYSTEM/Library/gone"});
        // Program paths keep their bytes (how the plist's text is decoded is the reader's test).
        tree.program("/opt/j\xF6rg/sync");
        tree.scratch.file("Users/anna/Library/LaunchAgents/org.example.raw.plist",
                          xmlPlist("org.example.raw", "Program", "<string>/opt/j\xF6rg/sync</string>", ""));
        tree.allUsersAgent("com.example.bundleonly.plist",
                           {.label = "com.example.bundleonly",
                            .bundleIDs = std::vector<std::string>{"com.example.uninstalled"},
                            .binary = true});
        tree.daemon("com.example.libexec.plist",
                    {.label = "com.example.libexec", .program = "/Usr/Libexec/not-there"});
        tree.daemon(
            "de.tobrenlux.velmora2.check.weekly.plist",
            {.label = "de.tobrenlux.velmora2.check.weekly", .program = "/Applications/Velmora 2.app/x"});
        tree.app("/Applications/Suite/Known Tool.app", "com.example.known");
        tree.daemon("com.example.known.helper.plist",
                    {.label = "com.example.known.helper",
                     .bundleIDs = std::vector<std::string>{"COM.EXAMPLE.KNOWN"},
                     .bundleProgram = "Contents/Library/helper"});
        items = LaunchItemScanner(tree.sources()).scan();
    }

    const LaunchItem& item(std::string_view id) const { return itemOf(items, id); }

    LaunchTree tree;
    std::vector<LaunchItem> items;
};

TEST_F(LaunchItemVerdicts,
       TheFirstRuleThatHoldsGivesTheSentenceOnlyGoneProgramsOrphanAndItemsNameTheirAppAndFiles) {
    const std::string uninstalled = ". Es wurde vermutlich deinstalliert.",
                      deleted = ". Die App wurde vermutlich gelöscht.";
    const std::string missing = "Das Programm fehlt: ", noApp = "Gehört zu keiner erkennbaren App.";
    const std::vector<std::tuple<std::string, bool, std::string>> expected{
        {"user/com.example.present", false, "Gehört zu Present."},
        {"user/com.example.gone", true, missing + "/usr/local/bin/gone-tool" + uninstalled},
        {"user/com.example.deletedapp", true,
         missing + "/Applications/Deleted.app/Contents/MacOS/helper" + deleted},
        {"user/com.example.moved", false,
         "Das Programm liegt nicht mehr am erwarteten Ort, die App ist aber installiert."},
        {"user/com.example.broken", false,
         "Das Programm fehlt in der installierten App. Nicht entfernbar – bitte die App neu installieren."},
        {"user/com.example.notdir", true, missing + "/opt/tools/run" + uninstalled},
        {"user/com.example.ext", true, missing + "/Volumes/External/tool" + uninstalled},
        {"user/com.example.offline", false, "Das Programm liegt auf einem nicht verbundenen Laufwerk."},
        {"user/com.example.sysapp", false, noApp},
        {"user/com.example.sys", false, noApp},
        {"user/org.example.raw", false, noApp},
        {"allUsers/com.example.bundleonly", true,
         "Die zugehörige App ist nicht mehr installiert. Die App wurde vermutlich gelöscht."},
        {"system/com.example.libexec", false, noApp},
        {"system/de.tobrenlux.velmora2.check.weekly", false,
         "Das ist der automatische Check von Velmora 2. Er bleibt immer erhalten."},
        {"system/com.example.known.helper", false, "Gehört zu Known Tool."},
    };
    EXPECT_EQ(items.size(), expected.size());
    for (const auto& [id, orphaned, explanation] : expected) {
        EXPECT_EQ(item(id).isOrphaned, orphaned) << id;
        EXPECT_EQ(item(id).explanation, explanation) << id;
        EXPECT_EQ(item(id).hasNoKnownApp, explanation == noApp) << id;
        EXPECT_EQ(item(id).isOwnAgent, id.ends_with("velmora2.check.weekly")) << id;
    }

    const auto& present = item("user/com.example.present");
    EXPECT_EQ(present.appURL, tree.real("/Applications/Present.app"));
    EXPECT_EQ(present.programPath, "/Applications/Present.app/Contents/MacOS/present");

    EXPECT_EQ(item("user/org.example.raw").programPath, "/opt/j\xF6rg/sync");
    EXPECT_EQ(item("user/com.example.moved").appURL, tree.real("/Applications/Moved Here.app"));
    EXPECT_EQ(item("system/de.tobrenlux.velmora2.check.weekly").displayName,
              "Velmora 2 – automatischer Check");
    const auto& known = item("system/com.example.known.helper");
    EXPECT_EQ(known.appURL, tree.real("/Applications/Suite/Known Tool.app"));
    EXPECT_EQ(known.programPath, "/Applications/Suite/Known Tool.app/Contents/Library/helper");
}

// Files of macOS, links and folders are not listed; unreadable files are, read-only.
TEST(LaunchItemScanner, SystemFilesLinksAndFoldersAreNotListedUnreadableFilesAreListedReadOnly) {
    LaunchTree tree;
    tree.userAgent("COM.Apple.Foo.plist", {.label = "org.example.byfile", .program = "/opt/gone"});
    tree.allUsersAgent("com.apple.bar.plist", {.label = "org.example.byfile2"});
    tree.daemon("Com.apple.baz.PLIST", {.label = "org.example.byfile3"});
    tree.userAgent("org.example.sneaky.plist", {.label = "COM.APPLE.sneaky", .program = "/opt/gone"});
    tree.daemon("org.example.sneaky2.plist", {.label = "com.Apple.sneaky2"});
    tree.userAgent("real.plist", {.label = "org.example.real", .program = "/opt/gone"});
    tree.scratch.link("Users/anna/Library/LaunchAgents/link.plist", "real.plist");
    tree.scratch.link("Users/anna/Library/LaunchAgents/dangling.plist", "/nowhere.plist");
    tree.scratch.folder("Library/LaunchAgents/folder.plist");
    tree.scratch.file("Library/LaunchAgents/notes.txt", "x");
    tree.scratch.file("Library/LaunchDaemons/upper.PLIST",
                      plistBytes(AgentPlist{.label = "org.example.upper"}));

    tree.scratch.file("Users/anna/Library/LaunchAgents/garbage.plist", "<?xml nothing like a plist");
    tree.scratch.file("Users/anna/Library/LaunchAgents/empty.plist", "");
    plist_t array = plist_new_array();
    plist_array_append_item(array, plist_new_string("x"));
    tree.scratch.file("Library/LaunchAgents/array.plist", plistBytes(array, true));
    tree.daemon("nolabel.plist", {.program = "/opt/gone"});
    tree.scratch.file("Library/LaunchDaemons/bad\xff.plist", "\xff\xfe");
    // Nested past any sane depth, which crashed inside libplist.
    tree.scratch.file("Users/anna/Library/LaunchAgents/deep.plist", nestedBinaryPlist(100'000));

    auto runner = std::make_shared<ScriptedCommandRunner>();
    const auto items = LaunchItemScanner(tree.sources(runner)).scan();
    ASSERT_EQ(items.size(), 8u);
    for (const auto& item : items | std::views::filter([](auto& i) { return !i.label.starts_with("org.e"); }))
        EXPECT_EQ(std::tuple(item.explanation,
                             item.isOrphaned || item.isRunning || item.isOwnAgent || item.hasNoKnownApp ||
                                 item.programPath || !item.plistURL,
                             item.displayName, item.startKind),
                  std::tuple(unreadable, false, item.label, StartKind::onDemand))
            << item.id;
    EXPECT_EQ(ids(items),
              (std::vector<std::string>{"user/deep", "user/empty", "user/org.example.real", "user/garbage",
                                        "allUsers/array", "system/bad\xEF\xBF\xBD",
                                        "system/org.example.upper", "system/nolabel"}));
    // Nothing unreadable is asked about at launchd.
    EXPECT_EQ(runner->calls().size(), 2u);
}

// Neither a program that cannot be tested nor a start file nobody may read ever makes an orphan.
TEST(LaunchItemScanner, AnUntestableProgramOrUnreadableFileNeverMakesAnOrphan) {
    LaunchTree tree;
    tree.scratch.link("opt/loop", "loop");
    tree.userAgent("org.example.loop.plist", {.label = "org.example.loop",
                                              .program = "/opt/loop/tool",
                                              .bundleIDs = std::vector<std::string>{"org.example.gone"}});
    tree.scratch.folder("opt/locked");
    tree.userAgent("org.example.locked.plist",
                   {.label = "org.example.locked", .program = "/opt/locked/tool"});
    tree.app("/Applications/Locked.app", "org.example.lockedapp");
    tree.userAgent(
        "org.example.lockedapp.plist",
        {.label = "org.example.lockedapp", .program = "/Applications/Locked.app/Contents/MacOS/tool"});
    // An app whose Info.plist cannot be read may be the one a service declares.
    tree.scratch.file("Applications/Damaged.app/Contents/Info.plist", nestedBinaryPlist(1000));
    tree.userAgent("org.example.idonly.plist", {.label = "org.example.idonly",
                                                .bundleIDs = std::vector<std::string>{"org.example.gone"}});
    tree.userAgent("org.example.moved.plist", {.label = "org.example.moved",
                                               .program = "/opt/gone/tool",
                                               .bundleIDs = std::vector<std::string>{"org.example.gone"}});
    ::chmod(tree.real("/opt/locked").c_str(), 0);
    ::chmod(tree.real("/Applications/Locked.app/Contents").c_str(), 0);
    const auto file = tree.userAgent("unread.plist", {.label = "org.example.unread", .program = "/opt/gone"});
    ::chmod(file.c_str(), 0);

    std::vector<LaunchItem> items = LaunchItemScanner(tree.sources()).scan();
    for (const char* id : {"user/org.example.loop", "user/org.example.idonly", "user/org.example.moved"}) {
        EXPECT_FALSE(itemOf(items, id).isOrphaned) << id;
        EXPECT_EQ(itemOf(items, id).explanation, "Gehört zu keiner erkennbaren App.") << id;
    }

    const bool bound =
        velmora::testing::runBoundByPermissions([&] { items = LaunchItemScanner(tree.sources()).scan(); });
    ::chmod(tree.real("/opt/locked").c_str(), 0755);
    ::chmod(tree.real("/Applications/Locked.app/Contents").c_str(), 0755);
    if (!bound)
        GTEST_SKIP() << "file permissions do not bind here";
    for (const auto& item : items)
        EXPECT_FALSE(item.isOrphaned) << item.id << ": " << item.explanation;
    EXPECT_EQ(itemOf(items, "user/org.example.lockedapp").explanation, "Gehört zu Locked.");
    EXPECT_EQ(itemOf(items, "user/unread").explanation, unreadable);
}

// The start kind follows the first rule that holds; the running state comes from launchctl, asked in
// the domain of the file's scope.
TEST(LaunchItemScanner, StartKindAndRunningStateInTheRightDomain) {
    LaunchTree tree;
    auto runner = std::make_shared<ScriptedCommandRunner>();
    using Write = std::filesystem::path (LaunchTree::*)(const std::string&, const AgentPlist&) const;
    const auto agent = &LaunchTree::userAgent, everyone = &LaunchTree::allUsersAgent,
               daemon = &LaunchTree::daemon;
    using enum StartKind;
    const AgentPlist keepWhen{.keepAliveConditions = std::map<std::string, bool>{{"SuccessfulExit", false}}},
        keepEmpty{.keepAliveConditions = std::map<std::string, bool>{}, .startCalendarInterval = true};
    const std::vector<std::tuple<Write, std::string, std::string, StartKind, bool, AgentPlist>> cases{
        {agent, "run", "running", atLogin, true, {.runAtLoad = true, .startInterval = true}},
        {everyone, "keep", "", atLogin, false, {.keepAlive = true}},
        {daemon, "when", "running", atLogin, true, keepWhen},
        {daemon, "empty", "not running", scheduled, false, keepEmpty},
        {agent, "interval", "", scheduled, false, {.startInterval = true, .binary = true}},
        {agent, "demand", "", onDemand, false, {.runAtLoad = false, .keepAlive = false}}};
    for (auto [write, label, state, kind, running, plist] : cases) {
        plist.label = "org.example." + label;
        (tree.*write)(*plist.label + ".plist", plist);
        const std::string target = write == daemon ? "system/" : "gui/501/";
        runner->expect("/bin/launchctl", {"print", target + *plist.label})
            .returns(state.empty() ? 113 : 0,
                     state.empty() ? "" : target + " = {\n\tstate = " + state + "\n\tpid = 12\n}\n");
    }
    const auto items = LaunchItemScanner(tree.sources(runner)).scan();
    ASSERT_EQ(items.size(), cases.size());
    for (const auto& [write, label, state, kind, running, plist] : cases) {
        const auto& item = *std::ranges::find(items, "org.example." + label, &LaunchItem::label);
        EXPECT_EQ(std::pair(item.startKind, item.isRunning), std::pair(kind, running)) << label;
    }
    EXPECT_EQ(runner->calls().size(), cases.size());
    for (const auto& call : runner->calls())
        EXPECT_EQ(call.timeout, std::chrono::seconds{5});
    EXPECT_EQ(title(onDemand), "startet bei Bedarf");
}

TEST(LaunchItemScanner, SortsByScopeThenFinderOrderOfNamesThenLabel) {
    LaunchTree tree;
    int n = 0;
    for (const std::string name : {"Agent 10", "zebra", "Äpfel", "Banane", "Agent 2"}) {
        const std::string label = "org.example.n" + std::to_string(n++);
        tree.app("/Applications/" + name + ".app", label);
        tree.userAgent(label + ".plist", {.label = label, .bundleIDs = std::vector<std::string>{label}});
    }
    tree.daemon("org.example.b.plist", {.label = "org.example.b"});
    tree.daemon("org.example.a.plist",
                {.label = "org.example.a", .bundleIDs = std::vector<std::string>{"x"}});
    tree.allUsersAgent("org.example.z.plist", {.label = "org.example.z"});
    // Two files that share one label: both listed, with ids told apart.
    tree.scratch.file("Library/LaunchDaemons/zz-copy.plist",
                      plistBytes(AgentPlist{.label = "org.example.b"}));

    const auto items = LaunchItemScanner(tree.sources()).scan();
    EXPECT_EQ(ids(items, &LaunchItem::displayName),
              (std::vector<std::string>{"Agent 2", "Agent 10", "Äpfel", "Banane", "zebra", "Example Z",
                                        "Example A", "Example B", "Example B"}));
    EXPECT_EQ(items[6].label, "org.example.a");
    EXPECT_EQ(items[7].id, "system/org.example.b");
    EXPECT_EQ(items[8].id, "system/org.example.b (zz-copy.plist)");
}

// That a failed read is flagged shows in the command line's output.
TEST(LaunchItemScanner, LoginItemsJoinTheList) {
    LaunchTree tree;
    tree.app("/Applications/Dropbox.app", "com.getdropbox.dropbox");
    tree.userAgent("org.example.u.plist", {.label = "org.example.u"});
    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect("/usr/bin/sfltool", {"dumpbtm"})
        .once()
        .returns(0, "Records for UID 501 : X\n\n#1:\nName: Dropbox\nType: login item (0x4)\n"
                    "Disposition: [enabled, allowed, visible] (0x3)\nIdentifier: 2.com.getdropbox.dropbox\n"
                    "Bundle Identifier: com.getdropbox.dropbox\n\n#2:\nName: Stray\nType: login item (0x4)\n"
                    "Identifier: 2.org.stray\nBundle Identifier: (null)\n");
    const LaunchItemScanner scanner(tree.sources(runner, true));

    const auto load = scanner.load();
    EXPECT_FALSE(load.loginItemsFailed);
    ASSERT_EQ(load.items.size(), 3u);
    EXPECT_EQ(load.items[1].id, "loginItem/com.getdropbox.dropbox");
    EXPECT_EQ(load.items[1].appURL, tree.real("/Applications/Dropbox.app"));
    EXPECT_FALSE(load.items[1].hasNoKnownApp);
    EXPECT_EQ(load.items[2].id, "loginItem/2.org.stray");
    EXPECT_TRUE(load.items[2].hasNoKnownApp);
    EXPECT_EQ(scanner.removalBlockReason(load.items[1]),
              "Anmeldeobjekte schaltest du in den Systemeinstellungen aus.");

    // A stop request ends the scan without asking anything further.
    const auto asked = runner->calls().size();
    StopSource stop;
    stop.request_stop();
    EXPECT_TRUE(scanner.load(stop.get_token()).items.empty());
    EXPECT_EQ(runner->calls().size(), asked);
}

TEST(LaunchItemScanner, ReadableLabels) {
    EXPECT_EQ(readableLabel("com.example.syncHelper-agent"), "Example Sync Helper Agent");
    EXPECT_EQ(readableLabel("org.XPCService.v2"), "XPC Service V2");
    EXPECT_EQ(readableLabel("homebrew.mxcl.redis"), "Homebrew Mxcl Redis");
    EXPECT_EQ(readableLabel("com"), "Com");
    EXPECT_EQ(readableLabel("..."), "...");
}

} // namespace
