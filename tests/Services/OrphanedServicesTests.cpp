#include "Services/OrphanedServices.hpp"

#include "Removal/AdminStepCheck.hpp"
#include "Services/LaunchTreeSupport.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::test;

namespace {

constexpr auto shared = "Ein gleichnamiger, intakter Dienst läuft – bitte über die zugehörige App entfernen.";
constexpr auto own = "Gehört zu Velmora 2 und bleibt erhalten.";
constexpr auto notOrphaned = "Der Dienst ist nicht verwaist.";
constexpr auto macOS = "Gehört zu macOS.";
constexpr auto oddName = "Ungewöhnlicher Name – Velmora 2 fasst diesen Dienst nicht an.";
constexpr auto misplaced = "Die Startdatei liegt nicht am erwarteten Ort.";

// Orphans in every scope, beside services that must stay.
class OrphanedServicesTree : public ::testing::Test {
protected:
    void SetUp() override {
        const AgentPlist gone{.program = "/opt/gone/tool"};
        auto agent = [&](std::string label) {
            AgentPlist plist = gone;
            plist.label = std::move(label);
            return plist;
        };
        tree.userAgent("org.example.orphan.plist", agent("org.example.orphan"));
        tree.allUsersAgent("org.example.everyone.plist", agent("org.example.everyone"));
        tree.daemon("org.example.daemon.plist", agent("org.example.daemon"));
        // The same label as an intact daemon: stopping it would stop the daemon too.
        tree.userAgent("org.example.twin.plist", agent("Org.Example.Twin"));
        tree.program("/opt/present/tool");
        tree.daemon("org.example.twin.plist", {.label = "org.example.twin", .program = "/opt/present/tool"});
        // Two orphans with one label: neither is kept, so both may go.
        tree.userAgent("org.example.pair.plist", agent("org.example.pair"));
        tree.daemon("org.example.pair.plist", agent("org.example.pair"));
        tree.userAgent("org.cups.thing.plist", agent("org.cups.thing"));
        tree.userAgent("odd.plist", agent("odd label"));
        tree.userAgent("de.tobrenlux.velmora2.check.monthly.plist",
                       agent("de.tobrenlux.velmora2.check.monthly"));
        tree.userAgent("org.example.kept.plist",
                       {.label = "org.example.kept", .program = "/opt/present/tool"});

        items = scanner.scan();
    }

    const LaunchItem& item(std::string_view id) const { return itemOf(items, id); }

    LaunchTree tree;
    LaunchItemScanner scanner{tree.sources()};
    std::vector<LaunchItem> items;
};

TEST_F(OrphanedServicesTree,
       BlockReasonsFollowTheirOrderBlockedOrphansMakeNoFindingAndFindingsSplitUserFromAdmin) {
    std::map<std::string, std::optional<std::string>> reasons;
    for (const auto& item : items)
        reasons[item.id] = scanner.removalBlockReason(item);
    const std::optional<std::string> none;
    EXPECT_EQ(reasons, (std::map<std::string, std::optional<std::string>>{
                           {"user/org.example.orphan", none},
                           {"allUsers/org.example.everyone", none},
                           {"system/org.example.daemon", none},
                           {"user/Org.Example.Twin", shared},
                           {"system/org.example.twin", notOrphaned},
                           {"user/org.example.pair", none},
                           {"system/org.example.pair", none},
                           {"user/org.cups.thing", macOS},
                           {"user/odd label", oddName},
                           {"user/de.tobrenlux.velmora2.check.monthly", own},
                           {"user/org.example.kept", notOrphaned},
                       }));
    EXPECT_EQ(OrphanedServices::countText(1), "1 verwaister Hintergrunddienst");

    // The start file must lie in its scope's folder.
    LaunchItem moved = item("user/org.example.orphan");
    moved.plistURL = tree.home() / "Library/LaunchAgents/Old/org.example.orphan.plist";
    EXPECT_EQ(scanner.removalBlockReason(moved), misplaced);
    moved.plistURL = tree.root() / "Library/LaunchAgents/org.example.orphan.plist";
    EXPECT_EQ(scanner.removalBlockReason(moved), misplaced);
    moved.plistURL = tree.home() / "library/launchAGENTS/org.example.orphan.plist";
    EXPECT_EQ(scanner.removalBlockReason(moved), std::nullopt);
    moved.plistURL.reset();
    EXPECT_EQ(scanner.removalBlockReason(moved), misplaced);

    LaunchItem daemon = item("system/org.example.daemon");
    daemon.scope = LaunchScope::allUsers;
    EXPECT_EQ(scanner.removalBlockReason(daemon), misplaced);

    const auto findings = OrphanedServices::findings(scanner, items);
    ASSERT_EQ(findings.size(), 2u);

    const Finding& user = findings[0];
    EXPECT_EQ(user.id, (FindingID{"services.orphaned", ""}));
    EXPECT_EQ(user.category, Category::services);
    EXPECT_EQ(user.title, "Verwaiste Hintergrunddienste");
    EXPECT_EQ(user.summary,
              "Die zugehörige App wurde gelöscht. Der Dienst wird gestoppt und seine Startdatei in "
              "den Papierkorb gelegt.");
    EXPECT_EQ(user.method, RemovalMethod::trash());
    // Only the orphans without a block reason: the twin, macOS's, the oddly named and our own make none.
    const auto ids = [](const Finding& finding) {
        std::vector<std::string> result;
        for (const auto& item : finding.items)
            result.push_back(item.id);
        return result;
    };
    ASSERT_EQ(ids(user), (std::vector<std::string>{"user/org.example.orphan", "user/org.example.pair"}));
    for (const auto& item : user.items) {
        EXPECT_EQ(item.url, itemOf(items, item.id).plistURL);
        EXPECT_GT(item.size.value_or(0), 0);
    }
    EXPECT_EQ(user.items[0].detail, "Das Programm fehlt: /opt/gone/tool. Es wurde vermutlich deinstalliert.");
    EXPECT_EQ(user.commandPreview, "/bin/launchctl bootout gui/501/org.example.orphan\n"
                                   "/bin/launchctl bootout gui/501/org.example.pair");

    const Finding& admin = findings[1];
    EXPECT_EQ(admin.id, (FindingID{"services.orphaned", "admin"}));
    EXPECT_EQ(admin.title, "Verwaiste Hintergrunddienste (Admin)");
    EXPECT_EQ(admin.summary,
              "Die zugehörige App wurde gelöscht. Der Dienst wird gestoppt und seine Startdatei mit "
              "deinem Admin-Passwort gelöscht – nicht über den Papierkorb.");
    EXPECT_EQ(ids(admin), (std::vector<std::string>{"allUsers/org.example.everyone",
                                                    "system/org.example.daemon", "system/org.example.pair"}));
    const auto& steps = std::get<RemovalMethod::Admin>(admin.method.value).steps;
    ASSERT_EQ(steps.size(), 6u);
    EXPECT_EQ(
        steps[2],
        (AdminStep{
            "/bin/launchctl", {"bootout", "system/org.example.daemon"}, "system/org.example.daemon", false}));
    EXPECT_EQ(steps[3],
              (AdminStep{"/bin/rm",
                         {"-f", (tree.root() / "Library/LaunchDaemons/org.example.daemon.plist").string()},
                         "system/org.example.daemon",
                         true}));

    // Every step passes the administrator allow-list.
    const AdminStepCheck check([](const std::filesystem::path&) { return std::nullopt; },
                               PlatformLayout::macOS, tree.root());
    for (const auto& step : steps)
        EXPECT_EQ(check.check(step), std::nullopt) << step.executable << " " << step.arguments.back();
}

} // namespace
