#include "Services/WorkspaceAppLocator.hpp"

#include "Services/LaunchTreeSupport.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::test;

namespace {

TEST(WorkspaceAppLocator, IndexesAppBundlesInTheMacAppFolders) {
    LaunchTree tree;
    tree.app("/Applications/Foo.app", "com.example.Foo");
    tree.app("/Users/anna/Applications/Foo Copy.app", "com.example.foo");
    tree.app("/Users/anna/Applications/Bar.app", "com.example.bar", {}, true);
    tree.app("/Applications/Suite/Tools/Deep.app", "com.example.deep");
    tree.app("/Applications/A/B/C/D/TooDeep.app", "com.example.toodeep");
    tree.app("/System/Applications/Calculator.app", "com.apple.calculator");
    tree.app("/Applications/Foo.app/Contents/Helpers/Inner.app", "com.example.inner");
    tree.app("/Applications/Elsewhere/Real.app", "com.example.linked");
    tree.scratch.link("Applications/Link.app", "Elsewhere/Real.app");
    tree.scratch.file("Applications/Broken.app/Contents/Info.plist", "garbage");
    tree.scratch.file("Applications/NotAFolder.app", "x");
    // Linked in from elsewhere (Homebrew, a build folder): absolute links are read below the root.
    tree.app("/opt/Vendor/Away.app", "com.example.away");
    tree.scratch.link("Applications/Away.app", "/opt/Vendor/Away.app");
    tree.app("/opt/Vendor/Near.app", "com.example.near");
    tree.scratch.link("Users/anna/Applications/Near.app", "../../../opt/Vendor/Near.app");
    tree.scratch.link("Applications/Dangling.app", "/opt/nothing.app");

    const WorkspaceAppLocator locator(tree.root(), tree.home(), PlatformLayout::macOS);
    EXPECT_EQ(locator.find("COM.EXAMPLE.FOO"), (LocatedApp{tree.real("/Applications/Foo.app"), "Foo"}));
    EXPECT_EQ(locator.find("com.example.bar"),
              (LocatedApp{tree.real("/Users/anna/Applications/Bar.app"), "Bar"}));
    EXPECT_EQ(locator.find("com.example.deep")->name, "Deep");
    EXPECT_TRUE(locator.find("com.apple.calculator"));
    EXPECT_FALSE(locator.find("com.example.toodeep"));
    EXPECT_FALSE(locator.find("com.example.inner"));
    EXPECT_EQ(locator.find("com.example.linked")->url, tree.real("/Applications/Elsewhere/Real.app"));
    EXPECT_FALSE(locator.find(""));
    EXPECT_FALSE(locator.find("garbage"));
    EXPECT_EQ(locator.find("com.example.away"), (LocatedApp{tree.real("/Applications/Away.app"), "Away"}));
    EXPECT_EQ(locator.presence("com.example.near"), AppPresence::installed);
    // Broken.app could be any app: what the index lacks is unknown, not gone.
    EXPECT_EQ(locator.presence("com.example.nothere"), AppPresence::unknown);
    tree.scratch.file("Applications/Broken.app/Contents/Info.plist", nestedBinaryPlist(100'000));
    EXPECT_EQ(WorkspaceAppLocator(tree.root(), tree.home(), PlatformLayout::macOS).presence("x"),
              AppPresence::unknown);
    std::filesystem::remove_all(tree.real("/Applications/Broken.app/Contents"));
    EXPECT_EQ(WorkspaceAppLocator(tree.root(), tree.home(), PlatformLayout::macOS).presence("x"),
              AppPresence::notInstalled);
}

TEST(WorkspaceAppLocator, MatchesDesktopEntriesByNameOnLinux) {
    LaunchTree tree;
    tree.scratch.file("Users/anna/.local/share/applications/org.mozilla.firefox.desktop",
                      "[Desktop Entry]\nType=Application\nName=Firefox (eigene)\n");
    tree.scratch.file("usr/share/applications/org.mozilla.firefox.desktop",
                      "[Desktop Entry]\nName=Firefox\n");
    tree.scratch.file("usr/share/applications/org.gnome.Calculator.desktop",
                      "[Desktop Action new]\nName=Neu\n[Desktop Entry]\nName=Rechner\n");
    tree.scratch.file("usr/share/applications/nameless.desktop", "[Desktop Entry]\nExec=x\n");
    tree.scratch.link("var/lib/flatpak/exports/share/applications/org.example.Flat.desktop",
                      "/var/lib/flatpak/app/org.example.Flat/current/export.desktop");
    tree.scratch.file("usr/share/applications/readme.txt", "x");

    const WorkspaceAppLocator locator(tree.root(), tree.home(), PlatformLayout::linux);
    EXPECT_EQ(locator.find("org.mozilla.firefox")->name, "Firefox (eigene)");
    EXPECT_EQ(locator.find("org.gnome.calculator")->name, "Rechner");
    EXPECT_EQ(locator.find("nameless")->name, "nameless");
    EXPECT_EQ(locator.find("org.example.flat")->name, "org.example.Flat");
    EXPECT_FALSE(locator.find("readme"));
}

} // namespace
