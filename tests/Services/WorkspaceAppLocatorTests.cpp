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
