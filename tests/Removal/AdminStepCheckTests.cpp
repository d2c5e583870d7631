#include "Removal/AdminStepCheck.hpp"

#include "Doubles/TempTree.hpp"
#include "Removal/RemovalTestSupport.hpp"
#include "Safety/SafetyGuard.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::test;
using velmora::testing::TempTree;

namespace {

constexpr const char* ok = nullptr;
constexpr const char* unknownTool = "Unbekanntes Admin-Werkzeug";
constexpr const char* badLabel = "Ungültiges Dienst-Label";
constexpr const char* badOption = "Unbekannte rm-Option";
constexpr const char* noTarget = "Kein Ziel angegeben";
constexpr const char* outside = "Liegt außerhalb der erlaubten Ordner";
constexpr const char* ambiguous = "Pfad nicht eindeutig";
constexpr const char* serviceFileOnly = "Nur rm -f auf eine einzelne Dienst-Datei erlaubt";

struct Case {
    AdminStep step;
    const char* expected;
};

// A guard that denies one folder and remembers every path it was asked about.
struct RecordingGuard {
    std::filesystem::path denied;
    std::shared_ptr<std::vector<std::filesystem::path>> asked =
        std::make_shared<std::vector<std::filesystem::path>>();

    SafetyCheck check() const {
        return
            [denied = denied, asked = asked](const std::filesystem::path& p) -> std::optional<std::string> {
                asked->push_back(p);
                if (p == denied)
                    return "Systemordner – wird nie angetastet";
                return std::nullopt;
            };
    }
};

void expectAll(const AdminStepCheck& check, const std::vector<Case>& cases) {
    for (const auto& c : cases)
        EXPECT_EQ(check.check(c.step), c.expected ? std::optional<std::string>(c.expected) : std::nullopt)
            << c.step.executable << ' ' << ::testing::PrintToString(c.step.arguments);
}

AdminStep rm(std::vector<std::string> arguments) {
    return step("/bin/rm", std::move(arguments));
}

} // namespace

TEST(AdminStepCheck, OnlyTheListedToolsWithTheirExactArgumentsPass) {
    RecordingGuard guard;
    AdminStepCheck check(guard.check(), PlatformLayout::macOS);
    expectAll(check,
              {
                  {bootout("org.example.daemon"), ok},
                  {bootout(std::string(201, 'a')), ok},
                  {bootout(std::string(202, 'a')), badLabel},
                  {bootout("com.apple.foo"), badLabel},
                  {bootout("de.tobrenlux.velmora2.check"), badLabel},
                  {bootout("Com.Apple.x"), badLabel},
                  {bootout(""), badLabel},
                  {bootout("org.example.x; reboot"), badLabel},
                  {step("/bin/launchctl", {"bootout", "gui/501/org.example.x"}), badLabel},
                  {step("/bin/launchctl", {"bootout", "org.example.x"}), badLabel},
                  {step("/bin/launchctl", {"bootstrap", "system/org.example.x"}), unknownTool},
                  {step("/bin/launchctl", {"bootout"}), unknownTool},
                  {step("/bin/launchctl", {"bootout", "system/org.example.x", "extra"}), unknownTool},
                  {step("/bin/launchctl", {}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01-123456"}), ok},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-5-1"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01-12345"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01-1234567"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01-123456\n"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01_123456"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "٢٠٢٤-05-01-123456"}), unknownTool},
                  {step("/usr/bin/tmutil", {"delete", "2024-05-01-123456"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "/"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01-123456;rm"}), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01-123456", "/"}), unknownTool},
                  {step("/usr/bin/log", {"erase", "--all"}), ok},
                  {step("/usr/bin/log", {"erase"}), unknownTool},
                  {step("/usr/bin/log", {"--all", "erase"}), unknownTool},
                  {step("/usr/bin/log", {"erase", "--all", "--ttl"}), unknownTool},
                  {step("/usr/bin/rm", {"-f", "/Library/Caches/x"}), unknownTool},
                  {step("rm", {"-f", "/Library/Caches/x"}), unknownTool},
                  {step("/bin/sh", {"-c", "true"}), unknownTool},
                  {step("/bin/launchctl ", {"bootout", "system/org.example.x"}), unknownTool},
                  // The Linux clean-up commands have no place on a Mac.
                  {step("/usr/bin/apt-get", {"clean"}), unknownTool},
                  {step("/usr/bin/journalctl", {"--vacuum-time=4weeks"}), unknownTool},
              });
    EXPECT_TRUE(guard.asked->empty()) << "only rm targets go to the guard";
    // Without a guard nothing may be removed at all.
    EXPECT_EQ(AdminStepCheck(SafetyCheck{}, PlatformLayout::macOS).check(rm({"-rf", "/Library/Caches/a"})),
              "Keine Sicherheitsprüfung verfügbar");
}

TEST(AdminStepCheck, RmRulesAnswerInTheirOrder) {
    RecordingGuard guard{"/Library/Caches/Protected"};
    AdminStepCheck check(guard.check(), PlatformLayout::macOS);
    expectAll(
        check,
        {
            {rm({"-rf", "/Library/Caches/com.example.app"}), ok},
            {rm({"-r", "-f", "/Library/Caches/com.example.app"}), ok},
            {rm({"-fR", "--", "/Library/Caches/com.example.app"}), ok},
            {rm({"/Library/Caches/com.example.app"}), ok},
            {rm({"-rfv", "/Library/Caches/x"}), badOption},
            {rm({"--force", "/Library/Caches/x"}), badOption},
            {rm({"-", "/Library/Caches/x"}), badOption},
            {rm({"/Library/Caches/x", "-P"}), badOption}, // options after a target still count
            {rm({"-x"}), badOption},                      // the option is judged before the target
            {rm({}), noTarget},
            {rm({"-rf"}), noTarget},
            {rm({"-rf", "--"}), noTarget},
            {rm({"-f", "--", "-x"}), outside},
            {rm({"-rf", "Library/Caches/x"}), outside},
            {rm({"-rf", "~/Library/Caches/x"}), outside},
            {rm({"-rf", ""}), outside},
            {rm({"-rf", "/"}), ambiguous},
            {rm({"-rf", "/Library/Caches/x/"}), ambiguous},
            {rm({"-rf", "//Library/Caches/x"}), ambiguous},
            {rm({"-rf", "/Library//Caches"}), ambiguous},
            {rm({"-rf", "/Library/./Caches/x"}), ambiguous},
            {rm({"-rf", "/Library/Caches/x/.."}), ambiguous},
            {rm({"-rf", "/Library/Caches/../.."}), ambiguous},
            {rm({"-rf", std::string("/Library/Caches/x\0y", 19)}), ambiguous},
            {rm({"-rf", "/Library/Caches"}), ok}, // the guard has the last word on the folder itself
            {rm({"-rf", "/Library/Caches/a/b"}), ambiguous},
            {rm({"-rf", "/library/CACHES/a/b/c"}), ambiguous},
            {rm({"-rf", "/Library/Caches/a..b"}), ok},
            {rm({"-f", "/Library/LaunchDaemons/org.example.x.plist"}), ok},
            {rm({"-f", "--", "/Library/LaunchAgents/org.example.x.plist"}), ok},
            {rm({"-f", "/library/launchagents/Org.Example.X.PLIST"}), ok},
            {rm({"-rf", "/Library/LaunchDaemons/org.example.x.plist"}), serviceFileOnly},
            {rm({"/Library/LaunchDaemons/org.example.x.plist"}), serviceFileOnly},
            {rm({"-f", "-f", "/Library/LaunchDaemons/org.example.x.plist"}), serviceFileOnly},
            {rm({"-f", "/Library/LaunchDaemons"}), serviceFileOnly},
            {rm({"-f", "/Library/LaunchDaemons/org.example.x"}), serviceFileOnly},
            {rm({"-f", "/Library/LaunchDaemons/sub/org.example.x.plist"}), serviceFileOnly},
            {rm({"-f", "/Library/LaunchDaemons/a.plist", "/Library/LaunchDaemons/b.plist"}), serviceFileOnly},
            {rm({"-f", "/Library/LaunchDaemons/com.apple.x.plist"}), badLabel},
            {rm({"-f", "/Library/LaunchAgents/Com.Apple.X.plist"}), badLabel},
            {rm({"-f", "/Library/LaunchDaemons/de.tobrenlux.velmora2.check.weekly.plist"}), badLabel},
            {rm({"-f", "/Library/LaunchDaemons/.plist"}), badLabel},
            {rm({"-f", "/Library/LaunchDaemons/bad name.plist"}), badLabel},
            {rm({"-rf", "/Library/Caches/Protected"}), "Systemordner – wird nie angetastet"},
            {rm({"-rf", "/Library/Caches/a", "/Library/Caches/Protected"}),
             "Systemordner – wird nie angetastet"},
            {rm({"-rf", "/Library/Caches/a", "relative"}), outside},
        });
}

TEST(AdminStepCheck, BelowARootPrefixTheRulesSeeTheSystemPathAndOnlyPassingPathsReachTheGuard) {
    TempTree root;
    const std::string r = root.root().string();
    RecordingGuard guard{root / "/Library/Caches/Protected"};
    for (const auto& prefix : {root.root(), std::filesystem::path(r + "/")}) {
        guard.asked->clear();
        AdminStepCheck check(guard.check(), PlatformLayout::macOS, prefix);
        expectAll(
            check,
            {
                {rm({"-rf", r + "/Library/Caches/a"}), ok},
                {rm({"-rf", r + "/Library/Caches/a/b"}), ambiguous},
                {rm({"-rf", r + "/Library/Caches/Protected"}), "Systemordner – wird nie angetastet"},
                {rm({"-rf", r + "/Library/LaunchDaemons/org.example.x.plist"}), serviceFileOnly},
                {rm({"-f", r + "/Library/LaunchDaemons/com.apple.x.plist"}), badLabel},
                {rm({"-f", r + "/Library/LaunchDaemons/org.example.x.plist"}), ok},
                {rm({"-rf", r}), ambiguous}, // the stand-in for "/" itself
                {rm({"-rf", r + "/"}), ambiguous},
                {rm({"-rf", "/Library/Caches/a"}), outside},
                {rm({"-rf", r + "x/Library/Caches/a"}), outside}, // a sibling whose name only starts alike
                {rm({"-rf", root.root().parent_path().string()}), outside},
            });
        EXPECT_EQ(*guard.asked, (std::vector<std::filesystem::path>{
                                    r + "/Library/Caches/a", r + "/Library/Caches/Protected",
                                    r + "/Library/LaunchDaemons/org.example.x.plist"}));
    }
}

TEST(AdminStepCheck, TheLinuxListAddsExactlyTheCleanUpCommandsAndSingleCrashDumps) {
    TempTree tree;
    tree.folder("home/anna");
    const std::string r = tree.root().string();
    const std::string dumps = tree.folder("var/lib/systemd/coredump").string();
    SafetyGuard::Setup setup;
    setup.layout = PlatformLayout::linux;
    setup.rootPrefix = tree.root();
    setup.home = "/home/anna";
    const auto guard = std::make_shared<const SafetyGuard>(setup);
    const AdminStepCheck check([guard](const std::filesystem::path& p) { return guard->check(p); },
                               PlatformLayout::linux, tree.root());
    const std::string core = dumps + "/core.bash.1000.b00t.42.1700000000000000.zst";
    const std::vector<std::string> flatpak{"uninstall", "--unused", "--system", "--assumeyes",
                                           "--noninteractive"};
    auto flatpakWith = [&](std::string extra) {
        auto arguments = flatpak;
        arguments.push_back(std::move(extra));
        return step("/usr/bin/flatpak", arguments);
    };
    const char* onlyCore = "Nur rm -f auf ein einzelnes Absturzabbild erlaubt";
    const char* systemFolder = "Geschützter Systemordner";
    expectAll(check,
              {
                  {step("/usr/bin/apt-get", {"clean"}), ok},
                  {step("/usr/bin/apt-get", {"autoclean"}), unknownTool},
                  {step("/usr/bin/apt-get", {"clean", "-y"}), unknownTool},
                  {step("/bin/apt-get", {"clean"}), unknownTool},
                  {step("/usr/bin/journalctl", {"--vacuum-time=4weeks"}), ok},
                  {step("/usr/bin/journalctl", {"--vacuum-time=1s"}), unknownTool},
                  {step("/usr/bin/journalctl", {"--vacuum-time=4weeks", "--rotate"}), unknownTool},
                  {step("/usr/bin/flatpak", flatpak), ok},
                  {step("/usr/bin/flatpak", {"uninstall", "--unused"}), unknownTool},
                  {flatpakWith("--delete-data"), unknownTool},
                  {flatpakWith("org.example.App"), unknownTool},
                  {bootout("org.example.daemon"), unknownTool},
                  {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-05-01-123456"}), unknownTool},
                  {step("/usr/bin/log", {"erase", "--all"}), unknownTool},
                  {rm({"-f", core}), ok},
                  {rm({"-f", "--", core}), ok},
                  {rm({"-rf", core}), onlyCore},
                  {rm({"-f", "-f", core}), onlyCore},
                  {rm({core, "-f"}), onlyCore},
                  {rm({"-f", core, dumps + "/core.b"}), onlyCore},
                  {rm({"-f", dumps + "/sub/core.x"}), onlyCore},
                  {rm({"-f", dumps + "/x.core.zst"}), onlyCore},
                  {rm({"-f", dumps + "/core."}), onlyCore},
                  {rm({"-f", dumps}), onlyCore},
                  {rm({"-f", dumps + "/../core.x"}), ambiguous},
                  {rm({"-f", r + "/var/lib/systemd/other/core.x"}), systemFolder},
                  {rm({"-f", r + "/var/lib/systemd/Coredump/core.x"}), systemFolder},
                  {rm({"-f", "/var/lib/systemd/coredump/core.x"}), outside},
                  {rm({"-rf", r + "/home/anna/.cache/x"}), ok}, // the guard still rules the home
              });
    // With the macOS layout the crash-dump rule does not exist: the guard decides.
    EXPECT_EQ(AdminStepCheck(RecordingGuard{core}.check(), PlatformLayout::macOS, tree.root())
                  .check(rm({"-f", core})),
              "Systemordner – wird nie angetastet");
    // A link on the way could lead the removal anywhere.
    std::filesystem::rename(dumps, dumps + "-real");
    tree.link("var/lib/systemd/coredump", dumps + "-real");
    EXPECT_EQ(check.check(rm({"-f", core})), "Symlink zeigt aus dem erlaubten Ordner heraus");
    std::filesystem::remove(dumps);
    EXPECT_EQ(check.check(rm({"-f", core})), "Pfad lässt sich nicht sicher auflösen");
}
