#include "Scanning/Scanners/SimctlOutput.hpp"
#include "Scanning/Scanners/SimulatorRuntimesScanner.hpp"
#include "Scanning/Scanners/SimulatorsScanner.hpp"
#include "Scanning/Scanners/XcodeVersionsScanner.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"
#include "Support/IsoDate.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

using namespace velmora;
using velmora::testing::occupiedBytes;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;

std::string fixture(const std::string& name) {
    std::ifstream in(fs::path(VELMORA_FIXTURES) / "simctl" / name, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// A Mac-shaped tree for the home "/Users/lpusok" (the home of the recorded simctl output), with the
// given system tools present inside it.
struct MacTree {
    TempTree tree;
    ScanContext context;
    std::shared_ptr<test::ScriptedCommandRunner> runner = std::make_shared<test::ScriptedCommandRunner>();

    explicit MacTree(std::set<fs::path> tools = {"/usr/bin/xcrun", "/usr/bin/xcode-select"}) {
        SafetyGuard::Setup setup;
        setup.layout = PlatformLayout::macOS;
        setup.rootPrefix = tree.root();
        setup.home = "/Users/lpusok";
        context.home = tree.folder("Users/lpusok");
        context.safety = std::make_shared<const SafetyGuard>(setup);
        context.rootPrefix = tree.root();
        context.layout = PlatformLayout::macOS;
        context.sizer = std::make_shared<SizeMeter>();
        context.runner = runner;
        context.tools = std::make_shared<const ToolLocator>(
            ToolLocator{{}, [tools](const fs::path& path) { return tools.contains(path); }});
    }

    void xcodeApp(const std::string& name, const std::string& bundleID, const std::string& version) const {
        tree.file("Applications/" + name + "/Contents/Info.plist",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                  "<key>CFBundleIdentifier</key><string>" +
                      bundleID + "</string><key>CFBundleShortVersionString</key><string>" + version +
                      "</string></dict></plist>\n");
        tree.file("Applications/" + name + "/Contents/MacOS/Xcode", std::string(5000, 'x'));
    }
};

// What the size meter should count: the regular files below `folder`, each once.
std::int64_t filesBytes(const fs::path& folder) {
    std::int64_t total = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && !entry.is_symlink())
            total += occupiedBytes(entry.path());
    return total;
}

std::vector<std::string> names(const std::vector<FindingItem>& items) {
    std::vector<std::string> result;
    for (const auto& item : items)
        result.push_back(item.name);
    return result;
}

} // namespace

TEST(XcodeVersionsScanner, OffersOnlyXcodesBesideTheSelectedOneAndNothingWhenThatIsUnknown) {
    struct Case {
        const char* what;
        std::optional<std::string> printed; // nothing: xcode-select fails
        std::vector<std::string> offered;
    };
    const std::vector<Case> cases = {
        {"selected through a link", "/Applications/Xcode.app/Contents/Developer\n", {"Xcode-beta.app"}},
        {"selected directly", "/Applications/Xcode-beta.app/Contents/Developer", {"Xcode_15.4.app"}},
        {"selected outside /Applications",
         "/Users/lpusok/Applications/Xcode-old.app/Contents/Developer",
         {"Xcode-beta.app", "Xcode_15.4.app"}},
        {"Command Line Tools", "/Library/Developer/CommandLineTools\n", {}},
        {"selected app is gone", "/Applications/Xcode_14.app/Contents/Developer", {}},
        {"xcode-select fails", std::nullopt, {}},
    };
    for (const auto& c : cases) {
        MacTree mac;
        mac.xcodeApp("Xcode_15.4.app", "com.apple.dt.Xcode", "15.4");
        mac.xcodeApp("Xcode-beta.app", "com.apple.dt.Xcode", "16.0");
        mac.xcodeApp("XcodeHelper.app", "com.example.helper", "1.0"); // another app's name
        mac.tree.link("Applications/Xcode.app", "Xcode_15.4.app");    // a link is never an item itself
        mac.tree.file("Users/lpusok/Applications/Xcode-old.app/Contents/Info.plist",
                      "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>com.apple.dt.Xcode"
                      "</string></dict></plist>");
        auto& select = mac.runner->expect("/usr/bin/xcode-select", {"-p"});
        if (c.printed)
            select.returns(0, *c.printed);
        else
            select.returns(2, "", "xcode-select: error: unable to get active developer directory");

        const auto found = XcodeVersionsScanner().scan(mac.context, {});
        ASSERT_TRUE(found) << c.what;
        if (c.offered.empty()) {
            EXPECT_TRUE(found->empty()) << c.what;
            continue;
        }
        ASSERT_EQ(found->size(), 1u) << c.what;
        const Finding& finding = found->front();
        EXPECT_EQ(names(finding.items), c.offered) << c.what;
        EXPECT_EQ(finding.method, RemovalMethod::trash());
        EXPECT_EQ(finding.risk, Risk::review);
        EXPECT_EQ(finding.category, Category::xcode);
        ASSERT_EQ(finding.blockingApps.size(), 1u);
        EXPECT_EQ(finding.blockingApps.front().bundleID, "com.apple.dt.Xcode");
        std::int64_t total = 0;
        for (const auto& item : finding.items) {
            EXPECT_EQ(item.size, filesBytes(*item.url)) << item.name;
            total += *item.size;
        }
        EXPECT_EQ(finding.size, total);
        EXPECT_EQ(finding.items.front().detail,
                  c.offered.front() == "Xcode-beta.app" ? "Version 16.0" : "Version 15.4");
    }

    MacTree noTool({"/usr/bin/xcrun"});
    noTool.xcodeApp("Xcode-beta.app", "com.apple.dt.Xcode", "16.0");
    EXPECT_TRUE(XcodeVersionsScanner().scan(noTool.context, {}).value().empty());
    EXPECT_TRUE(noTool.runner->calls().empty());
}

TEST(SimulatorsScanner, ListsTheRecordedUnavailableDevicesMeasuredInTheirOwnFolders) {
    MacTree mac;
    // The iPod touch is unavailable under an installed runtime, the Apple TV under a missing one.
    const std::string ipod = "5984A2C4-7E65-4F41-B3B6-700A813EF83D";
    const auto device = mac.tree.folder("Users/lpusok/Library/Developer/CoreSimulator/Devices/" + ipod);
    mac.tree.file(device / "data/x", std::string(9000, 'd'));
    mac.tree.file(device / "device.plist", std::string(300, 'p'));
    mac.runner->expect("/usr/bin/xcrun", {"simctl", "list", "-j"})
        .returns(0, fixture("simctl-list-json-xcode14beta.json"));

    const auto found = SimulatorsScanner().scan(mac.context, {});
    ASSERT_TRUE(found);
    ASSERT_EQ(found->size(), 1u);
    const Finding& finding = found->front();
    EXPECT_EQ(finding.items.size(), 30u);
    EXPECT_EQ(finding.items[0].name, "iPod touch (7th generation)");
    EXPECT_EQ(finding.items[0].detail, "iOS 16.0 – device type not supported by runtime");
    EXPECT_EQ(finding.items[1].name, "Apple TV");
    EXPECT_EQ(finding.items[1].detail, "tvOS 13.3 – runtime profile not found");
    EXPECT_EQ(finding.method, RemovalMethod::tool(ToolCommand{
                                  "xcrun", {"simctl", "delete", "unavailable"}, std::chrono::seconds{120}}));
    EXPECT_EQ(finding.risk, Risk::safe);
    EXPECT_EQ(finding.category, Category::simulators);
    // Only the folders that are there are measured; the finding's total is then unknown.
    std::vector<std::string> measured;
    for (const auto& item : finding.items)
        if (item.size)
            measured.push_back(item.id);
    EXPECT_EQ(measured, std::vector<std::string>{ipod});
    EXPECT_EQ(finding.items[0].size, filesBytes(device));
    EXPECT_EQ(finding.items[0].url, device);
    EXPECT_EQ(finding.size, std::nullopt);

    // Without a CoreSimulator folder, or without xcrun, the tool is not asked.
    MacTree bare;
    EXPECT_TRUE(SimulatorsScanner().scan(bare.context, {}).value().empty());
    MacTree noXcrun({"/usr/bin/xcode-select"});
    noXcrun.tree.folder("Users/lpusok/Library/Developer/CoreSimulator");
    EXPECT_TRUE(SimulatorsScanner().scan(noXcrun.context, {}).value().empty());
    EXPECT_TRUE(bare.runner->calls().empty() && noXcrun.runner->calls().empty());
}

TEST(SimulatorRuntimesScanner, OffersDeletableRuntimesNoDeviceNamesOneFindingEach) {
    MacTree mac;
    const auto legacy = mac.tree.file("Library/Developer/CoreSimulator/Profiles/Runtimes/iOS 12.4.simruntime/"
                                      "Contents/Info.plist",
                                      std::string(7000, 'r'));
    mac.runner->expect("/usr/bin/xcrun", {"simctl", "list", "-j"})
        .returns(0, fixture("simctl-list-json-xcode14beta.json"));
    mac.runner->expect("/usr/bin/xcrun", {"simctl", "runtime", "list", "-j"})
        .returns(0, fixture("runtime-list-mixed.json"));

    const auto found = SimulatorRuntimesScanner().scan(mac.context, {});
    ASSERT_TRUE(found);
    // tvOS 15.0 has only unavailable devices and still counts as used; the bundled, the "all" and the
    // wrongly typed entries are never offered.
    ASSERT_EQ(found->size(), 2u);
    const Finding& ios = (*found)[0];
    EXPECT_EQ(ios.id, (FindingID{"sim.runtimes", "0A1B2C3D-1111-4A4A-8B8B-000000000001"}));
    EXPECT_EQ(ios.title, "Simulator-Runtimes – iOS 12.4");
    EXPECT_EQ(ios.items.front().detail, "Version 12.4 (16G73)");
    EXPECT_EQ(ios.size, filesBytes(legacy.parent_path().parent_path()));
    EXPECT_EQ(ios.commandPreview, "xcrun simctl runtime delete 0A1B2C3D-1111-4A4A-8B8B-000000000001");
    EXPECT_EQ(ios.risk, Risk::review);
    const Finding& tv = (*found)[1];
    EXPECT_EQ(tv.items.front().name, "tvOS 16.1");
    EXPECT_EQ(tv.size, 3363890340); // an image in the system's asset store: simctl's own figure
    EXPECT_EQ(tv.items.front().date, parseIsoDate("2024-10-24T11:01:41Z"));
    EXPECT_EQ(
        std::get<RemovalMethod::Tool>(tv.method.value).command.arguments,
        (std::vector<std::string>{"simctl", "runtime", "delete", "0A1B2C3D-3333-4A4A-8B8B-000000000003"}));

    // A simctl without runtime images offers nothing; one whose listing fails is a failure.
    MacTree old;
    old.tree.folder("Library/Developer/CoreSimulator");
    old.runner->expect("/usr/bin/xcrun", {"simctl", "list", "-j"})
        .returns(0, fixture("simctl-list-devices-booted-json-xcode15.json"));
    old.runner->expect("/usr/bin/xcrun", {"simctl", "runtime", "list", "-j"})
        .returns(64, "", "unknown subcommand");
    EXPECT_TRUE(SimulatorRuntimesScanner().scan(old.context, {}).value().empty());
    MacTree broken;
    broken.tree.folder("Library/Developer/CoreSimulator");
    broken.runner->expect("/usr/bin/xcrun").fails(CommandError::Kind::timeout);
    EXPECT_EQ(SimulatorRuntimesScanner().scan(broken.context, {}).error().message,
              "/usr/bin/xcrun: Zeitüberschreitung");
}

TEST(SimctlOutput, HostileOrMistypedOutputIsRefusedOrReadAgainstRemoval) {
    struct Case {
        std::string text;
        bool readable;
        std::size_t unavailable; // devices whose isAvailable is literally false
        std::set<std::string> used;
    };
    const std::vector<Case> cases = {
        {"[]", false, 0, {}},
        {R"({"devices": []})", false, 0, {}},
        {R"({"devices": {"r": [)", false, 0, {}},
        {std::string(5000, '[') + std::string(5000, ']'), false, 0, {}},
        {R"({"devices": {"r": 5, "s": [], "t": [7]}})", true, 0, {"r", "t"}},
        {R"({"devices": {"r": [{"udid": 5, "isAvailable": false}, {"udid": "U", "isAvailable": "false"}]}})",
         true,
         0,
         {"r"}},
        {R"({"devices": {"r": [{"udid": "U", "isAvailable": false}]}, "runtimes": {"x": 1}})",
         true,
         1,
         {"r"}},
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
