#include "Scanning/Scanners/SimctlOutput.hpp"
#include "Scanning/Scanners/SimulatorRuntimesScanner.hpp"
#include "Scanning/Scanners/SimulatorsScanner.hpp"
#include "Scanning/Scanners/XcodeVersionsScanner.hpp"

#include "Doubles/ScanTree.hpp"
#include "Support/IsoDate.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace velmora;
using velmora::testing::filesBytes;
using velmora::testing::occupiedBytes;

namespace {

namespace fs = std::filesystem;

std::string fixture(const std::string& name) {
    return test::recording("simctl/" + name);
}

// A Mac-shaped tree for the home "/Users/lpusok" (the home of the recorded simctl output), with the
// given system tools present inside it.
struct MacTree : test::ScanTree {
    explicit MacTree(std::set<fs::path> tools = {"/usr/bin/xcrun", "/usr/bin/xcode-select"})
        : ScanTree(PlatformLayout::macOS, "/Users/lpusok") {
        installed = std::move(tools);
    }

    void app(const std::string& folder, const std::string& bundleID, const std::string& version) const {
        tree.file(folder + "/Contents/Info.plist",
                  "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" + bundleID +
                      "</string><key>CFBundleShortVersionString</key><string>" + version +
                      "</string></dict></plist>");
        tree.file(folder + "/Contents/MacOS/Xcode", std::string(5000, 'x'));
    }
};

} // namespace

TEST(XcodeVersionsScanner, OffersOnlyXcodesBesideTheSelectedOneAndNothingWhenThatIsUnknown) {
    struct Case {
        const char* what;
        int exitCode;
        std::string printed;
        std::vector<std::string> offered;
    };
    const std::vector<Case> cases = {
        {"selected through a link", 0, "/Applications/Xcode.app/Contents/Developer\n", {"Xcode-beta.app"}},
        {"selected directly", 0, "/Applications/Xcode-beta.app/Contents/Developer", {"Xcode_15.4.app"}},
        {"elsewhere",
         0,
         "/Users/lpusok/Applications/Xcode-old.app/Contents/Developer",
         {"Xcode-beta.app", "Xcode_15.4.app"}},
        {"Command Line Tools", 0, "/Library/Developer/CommandLineTools\n", {}},
        {"selected app is gone", 0, "/Applications/Xcode_14.app/Contents/Developer", {}},
        {"xcode-select fails", 2, "", {}},
    };
    for (const auto& c : cases) {
        MacTree mac;
        mac.app("Applications/Xcode_15.4.app", "com.apple.dt.Xcode", "15.4");
        mac.app("Applications/Xcode-beta.app", "com.apple.dt.Xcode", "16.0");
        mac.app("Applications/XcodeHelper.app", "com.example.helper", "1.0"); // another app's name
        mac.tree.link("Applications/Xcode.app", "Xcode_15.4.app"); // a link is never an item itself
        mac.app("Users/lpusok/Applications/Xcode-old.app", "com.apple.dt.Xcode", "13.0");
        mac.runner->expect("/usr/bin/xcode-select", {"-p"}).returns(c.exitCode, c.printed);

        const auto found = XcodeVersionsScanner().scan(mac.context, {});
        std::vector<std::string> offered;
        std::int64_t total = 0;
        for (const auto& item : found.value().empty() ? std::vector<FindingItem>{} : found->front().items) {
            offered.push_back(item.name);
            EXPECT_EQ(item.size, filesBytes(*item.url)) << item.name;
            total += *item.size;
        }
        EXPECT_EQ(offered, c.offered) << c.what;
        if (offered.empty())
            continue;
        EXPECT_EQ(found->front().size, total);
        EXPECT_EQ(found->front().method, RemovalMethod::trash());
        EXPECT_EQ(found->front().blockingApps.at(0).bundleID, "com.apple.dt.Xcode");
        EXPECT_EQ(found->front().items[0].detail,
                  c.offered[0] == "Xcode-beta.app" ? "Version 16.0" : "Version 15.4");
    }
}

TEST(SimulatorScanners, RecordedListingGivesUnavailableDevicesAndRuntimesNoDeviceNames) {
    MacTree mac;
    // The iPod touch is unavailable under an installed runtime, the Apple TV under a missing one.
    const std::string ipod = "5984A2C4-7E65-4F41-B3B6-700A813EF83D";
    const auto device = mac.tree.folder("Users/lpusok/Library/Developer/CoreSimulator/Devices/" + ipod);
    mac.tree.file(device / "data/x", std::string(9000, 'd'));
    mac.tree.file(device / "device.plist", std::string(300, 'p'));
    const auto legacy =
        mac.tree.folder("Library/Developer/CoreSimulator/Profiles/Runtimes/iOS 12.4.simruntime");
    mac.tree.file(legacy / "Contents/Info.plist", std::string(7000, 'r'));
    mac.runner->expect("/usr/bin/xcrun", {"simctl", "list", "-j"})
        .returns(0, fixture("simctl-list-json-xcode14beta.json"));
    mac.runner->expect("/usr/bin/xcrun", {"simctl", "runtime", "list", "-j"})
        .returns(0, fixture("runtime-list-mixed.json"));

    const auto devices = SimulatorsScanner().scan(mac.context, {});
    ASSERT_EQ(devices.value().size(), 1u);
    const Finding& finding = devices->front();
    EXPECT_EQ(finding.items.size(), 30u);
    EXPECT_EQ(finding.items[0].name, "iPod touch (7th generation)");
    EXPECT_EQ(finding.items[0].detail, "iOS 16.0 – device type not supported by runtime");
    EXPECT_EQ(finding.items[1].name, "Apple TV");
    EXPECT_EQ(finding.items[1].detail, "tvOS 13.3 – runtime profile not found");
    EXPECT_EQ(finding.method, RemovalMethod::tool(ToolCommand{
                                  "xcrun", {"simctl", "delete", "unavailable"}, std::chrono::seconds{120}}));
    // Only folders that are there are measured (the Apple TV's is not); the total is then unknown.
    EXPECT_EQ(finding.items[0].size, filesBytes(device));
    EXPECT_EQ(finding.items[1].size, std::nullopt);
    EXPECT_EQ(finding.size, std::nullopt);

    const auto found = SimulatorRuntimesScanner().scan(mac.context, {});
    // tvOS 15.0 has only unavailable devices and still counts as used; the bundled, the "all" and the
    // wrongly typed entries are never offered.
    ASSERT_EQ(found.value().size(), 2u);
    const Finding& ios = (*found)[0];
    EXPECT_EQ(ios.id, (FindingID{"sim.runtimes", "0A1B2C3D-1111-4A4A-8B8B-000000000001"}));
    EXPECT_EQ(ios.title, "Simulator-Runtimes – iOS 12.4");
    EXPECT_EQ(ios.items.front().detail, "Version 12.4 (16G73)");
    EXPECT_EQ(ios.size, filesBytes(legacy));
    EXPECT_EQ(ios.commandPreview, "xcrun simctl runtime delete 0A1B2C3D-1111-4A4A-8B8B-000000000001");
    const Finding& tv = (*found)[1];
    EXPECT_EQ(tv.items.front().name, "tvOS 16.1");
    EXPECT_EQ(tv.size, 3363890340); // an image in the system's asset store: simctl's own figure
    EXPECT_EQ(tv.items.front().date, parseIsoDate("2024-10-24T11:01:41Z"));
    EXPECT_EQ(tv.commandPreview, "xcrun simctl runtime delete 0A1B2C3D-3333-4A4A-8B8B-000000000003");

    // Without xcrun the tool is not asked; a simctl that cannot list is a failure.
    MacTree other({"/usr/bin/xcode-select"});
    other.tree.folder("Users/lpusok/Library/Developer/CoreSimulator");
    EXPECT_TRUE(SimulatorsScanner().scan(other.context, {}).value().empty());
    other.context.tools = mac.context.tools;
    other.runner->expect("/usr/bin/xcrun").fails(CommandError::Kind::timeout);
    EXPECT_EQ(SimulatorRuntimesScanner().scan(other.context, {}).error().message,
              "/usr/bin/xcrun: Zeitüberschreitung");
}

TEST(SimctlOutput, HostileOrMistypedOutputIsRefusedOrReadAgainstRemoval) {
    struct Case {
        std::string text;
        bool readable;
        std::size_t unavailable; // devices whose isAvailable is literally false
        std::set<std::string> used;
    };
    const std::string booted = "com.apple.CoreSimulator.SimRuntime.iOS-17-0"; // the `[\n\n]` lists are empty
    const std::vector<Case> cases = {
        {"[]", false, 0, {}},
        {R"({"devices": []})", false, 0, {}},
        {R"({"devices": {"r": [)", false, 0, {}},
        {R"({"devices":{"r":)" + std::string(5000, '[') + std::string(5000, ']') + "}}", false, 0, {}},
        {R"({"devices": {"r": 5, "s": [], "t": [7]}})", true, 0, {"r", "t"}},
        {fixture("simctl-list-devices-booted-json-xcode15.json"), true, 0, {booted}},
        {R"({"devices":{"r":[{"udid":5,"isAvailable":false},{"udid":"U","isAvailable":0}]}})",
         true,
         0,
         {"r"}},
        {R"({"devices":{"r":[{"udid":"U","isAvailable":false}]},"runtimes":{"x":1}})", true, 1, {"r"}},
    };
    for (const auto& c : cases) {
        const auto listing = simctl::parseListing(c.text);
        ASSERT_EQ(listing.has_value(), c.readable) << c.text.substr(0, 80);
        if (!listing) {
            EXPECT_EQ(listing.error().message, "Die Ausgabe von „xcrun simctl list -j“ ist nicht lesbar.");
            continue;
        }
        EXPECT_EQ(std::ranges::count(listing->devices, std::optional(false), &simctl::Device::available),
                  static_cast<std::ptrdiff_t>(c.unavailable))
            << c.text;
        EXPECT_EQ(listing->usedRuntimes, c.used) << c.text;
    }
    EXPECT_FALSE(simctl::parseRuntimeImages(R"(["a"])"));
    EXPECT_EQ(simctl::runtimeDisplayName("com.apple.CoreSimulator.SimRuntime.watchOS-7-2"), "watchOS 7.2");
    EXPECT_EQ(simctl::runtimeDisplayName("custom"), "custom");
}
