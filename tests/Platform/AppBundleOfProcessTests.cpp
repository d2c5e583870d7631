#include "Platform/AppBundleOfProcess.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <fstream>

using namespace velmora;
using App = AppBundleOfProcess::App;

TEST(AppBundleOfProcess, OnlyTheMainExecutableOfTheInnermostBundleIsItsApp) {
    velmora::testing::TempTree tree;
    const auto text = [](const std::string& key, const std::string& value) {
        return "<key>" + key + "</key><string>" + value + "</string>";
    };
    const auto id = [&](const std::string& value) { return text("CFBundleIdentifier", value); };
    const std::string xcode = "Applications/Xcode.app";
    const std::pair<std::string, std::string> infoPlists[] = {
        {xcode,
         id("com.apple.dt.Xcode") + text("CFBundleName", "Xcode") + text("CFBundleExecutable", "Xcode")},
        {xcode + "/Contents/Developer/Applications/Simulator.app",
         id("com.apple.iphonesimulator") + text("CFBundleExecutable", "Simulator")},
        {"Applications/Plain.app", id("org.example.plain") + text("CFBundleDisplayName", "Schlicht")},
        {"Applications/Odd.APP", id("org.example.odd") + "<key>CFBundleExecutable</key><integer>7</integer>"},
        {"Applications/Slash.app", id("org.example.slash") + text("CFBundleExecutable", "../MacOS/Slash")},
        {"Applications/Up.app", id("org.example.up") + text("CFBundleExecutable", "..")},
        {"Applications/Anonymous.app", text("CFBundleExecutable", "Anonymous")},
    };
    for (const auto& [bundle, entries] : infoPlists)
        std::ofstream(tree.folder(bundle + "/Contents") / "Info.plist")
            << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" << entries
            << "</dict></plist>\n";
    tree.folder(xcode + "/Contents/Frameworks/Helper.app/Contents"); // a nested app without an Info.plist
    tree.filledFile("Applications/Garbage.app/Contents/Info.plist", 300);

    const App xcodeApp{"com.apple.dt.Xcode", "Xcode"};
    const struct {
        std::string executable;
        std::optional<App> app;
    } cases[] = {
        {"/Applications/Xcode.app/Contents/MacOS/Xcode", xcodeApp},
        {"/Applications/Xcode.app/Contents/MacOS/xcode", xcodeApp}, // APFS ignores case
        {"/Applications/Xcode.app/Contents/Developer/Toolchains/XcodeDefault.xctoolchain/usr/bin/clang", {}},
        {"/Applications/Xcode.app/Contents/MacOS/XCBBuildService", {}},
        {"/Applications/Xcode.app/Contents/Developer/Applications/Simulator.app/Contents/MacOS/Simulator",
         App{"com.apple.iphonesimulator", ""}},
        {"/Applications/Xcode.app/Contents/Frameworks/Helper.app/Contents/MacOS/Helper", {}},
        {"/Applications/Plain.app/Contents/MacOS/Plain",
         App{"org.example.plain", "Schlicht"}},                                   // no key: the bundle's name
        {"/Applications/Odd.APP/Contents/MacOS/Odd", App{"org.example.odd", ""}}, // not text: the same
        {"/Applications/Slash.app/Contents/MacOS/Slash", {}},
        {"/Applications/Up.app/Contents/MacOS/..", {}},
        {"/Applications/Anonymous.app/Contents/MacOS/Anonymous", {}},
        {"/Applications/Garbage.app/Contents/MacOS/Garbage", {}},
        {"Applications/Xcode.app/Contents/MacOS/Xcode", {}},
        {"", {}},
    };
    AppBundleOfProcess bundles(tree.root());
    for (const auto& c : cases)
        EXPECT_EQ(bundles.appOf(c.executable), c.app) << c.executable;
}
