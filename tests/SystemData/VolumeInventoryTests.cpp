#include "SystemData/VolumeInventory.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::test;

namespace {

std::string fixture(const std::string& name) {
    return velmora::testing::contentOf(std::filesystem::path(VELMORA_FIXTURES) / "systemdata/volumes" / name);
}

std::string plist(const std::string& top) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + top + "</plist>";
}

// One start container holding a data volume and `extra`, a dictionary body of its own.
std::string startContainer(const std::string& consumed, const std::string& extra = {},
                           const std::string& second = {}) {
    return plist("<dict><key>Containers</key><array><dict>" + extra +
                 "<key>Volumes</key><array><dict><key>Roles</key><array><string>Data</string></array>"
                 "<key>CapacityInUse</key>" +
                 consumed + "</dict>" + second + "</array></dict></array></dict>");
}

std::string volume(const std::string& consumed) {
    return "<dict><key>CapacityInUse</key>" + consumed + "</dict>";
}

TEST(VolumeInventory, DividesTheStartContainerAndFindsSimulatorsElsewhere) {
    using enum VolumeRole;
    // The first container holds no data volume; a volume that is both data and system is the system;
    // a simulator without a role stays in the list; a name that is no text is empty and a role list
    // that is no list counts as none. Another container with the start's reference is the start.
    const auto xml = VolumeInventory::parse(fixture("start-in-second-container.plist"), "Data");
    ASSERT_TRUE(xml);
    EXPECT_EQ(*xml, (VolumeInventoryResult{994662584320,
                                           412345678901,
                                           {{"Macintosh HD", system, 11245707264},
                                            {"Preboot", preboot, 7087546368},
                                            {"Recovery", recovery, 1042591744},
                                            {"VM", vm, 4294987776},
                                            {"Macintosh HD - Daten", data, 475886841856},
                                            {"Xcode Simulator", simulator, 2000},
                                            {"", other, 0}},
                                           {{"Old Simulator", simulator, 1000},
                                            {"iOS 17.2 Simulator", simulator, 18253611008}}}));

    // Binary: two containers without a reference are one; absent sizes are 0.
    const auto binary = VolumeInventory::parse(fixture("unreferenced-containers.bplist"), "Data");
    ASSERT_TRUE(binary);
    EXPECT_EQ(*binary, (VolumeInventoryResult{500000000000,
                                              123456789012,
                                              {{"Daten", data, 300000000000}, {"VM", vm, 0}},
                                              {{"watchOS 10 Simulator", simulator, 7700000000}}}));

    // Output of a real Mac: three containers, the start one third, an update volume and one without roles.
    const auto real = VolumeInventory::parse(fixture("apfs-list-applesilicon-nixstore.plist"), "Data");
    ASSERT_TRUE(real);
    EXPECT_EQ(real->containerSize, 1995218165760);
    EXPECT_EQ(real->containerFree, 1897427308544);
    EXPECT_EQ(real->volumes, (std::vector<APFSVolume>{{"Macintosh HD", system, 11245707264},
                                                      {"Preboot", preboot, 7087546368},
                                                      {"Recovery", recovery, 1042591744},
                                                      {"Update", other, 3305472},
                                                      {"Data", data, 75886841856},
                                                      {"VM", vm, 20480},
                                                      {"Nix Store", other, 2225430528}}));
    EXPECT_TRUE(real->simulatorVolumes.empty());
    // The role picks the start container: the first one with a recovery volume is the small one.
    EXPECT_EQ(
        VolumeInventory::parse(fixture("apfs-list-applesilicon-nixstore.plist"), "Recovery")->containerSize,
        524288000);
}

TEST(VolumeInventory, RefusesWhatIsNotAVolumeListAndSizesNoDiskCanHave) {
    constexpr auto invalid = VolumeInventoryError::invalidPlist;
    constexpr auto noStart = VolumeInventoryError::noStartContainer;
    std::string deep = "<string>x</string>";
    for (int i = 0; i < 5000; ++i)
        deep = "<array>" + deep + "</array>";
    const std::string max = "<integer>9223372036854775807</integer>";
    const std::vector<std::pair<std::string, std::expected<std::int64_t, VolumeInventoryError>>> cases{
        {"", std::unexpected(invalid)},
        {"Containers", std::unexpected(invalid)},
        {plist("<dict/>"), std::unexpected(invalid)},
        {plist("<array><dict><key>Containers</key><array/></dict></array>"), std::unexpected(invalid)},
        {plist("<dict><key>Other</key><array/></dict>"), std::unexpected(invalid)},
        {plist("<dict><key>Containers</key><array/></dict>"), std::unexpected(noStart)},
        {plist("<dict><key>Containers</key><dict/></dict>"), std::unexpected(invalid)},
        {plist("<dict><key>Containers</key><array><string>disk3</string></array></dict>"),
         std::unexpected(invalid)},
        {plist("<dict><key>Containers</key><array><dict><key>Volumes</key><string/></dict></array></dict>"),
         std::unexpected(invalid)},
        {plist("<dict><key>Containers</key><array><dict/></array></dict>"), std::unexpected(noStart)},
        {startContainer("<integer>5</integer>"), 5},
        {startContainer(max), INT64_MAX},
        {startContainer("<integer>-1</integer>"), std::unexpected(invalid)},
        {startContainer("<integer>9223372036854775808</integer>"), std::unexpected(invalid)},
        {startContainer("<integer>18446744073709551615</integer>"), std::unexpected(invalid)},
        {startContainer("<integer>99999999999999999999999</integer>"), std::unexpected(invalid)},
        {startContainer("<string>5</string>"), std::unexpected(invalid)},
        {startContainer("<real>5.0</real>"), std::unexpected(invalid)},
        {startContainer("<integer>1</integer>", "<key>CapacityFree</key><integer>-4096</integer>"),
         std::unexpected(invalid)},
        {startContainer("<integer>1</integer>",
                        "<key>CapacityCeiling</key><date>2024-01-01T00:00:00Z</date>"),
         std::unexpected(invalid)},
        {startContainer(max, {}, volume(max)), std::unexpected(invalid)}, // the sum would wrap
        {startContainer(max, {}, "<string>volume</string>"), std::unexpected(invalid)},
        {startContainer("<integer>1</integer>", {}, volume(deep)), std::unexpected(invalid)},
    };
    for (const auto& [data, expected] : cases) {
        const auto result = VolumeInventory::parse(data, "Data");
        ASSERT_EQ(result.has_value(), expected.has_value()) << data.substr(0, 300);
        if (result)
            EXPECT_EQ(result->volumes.at(0).consumed, *expected) << data;
        else
            EXPECT_EQ(result.error(), expected.error()) << data.substr(0, 300);
    }
    // Roles are matched exactly.
    EXPECT_EQ(VolumeInventory::parse(startContainer("<integer>1</integer>"), "data").error(), noStart);
}

TEST(VolumeInventory, LoadsThroughDiskutilAndTurnsEveryFailureIntoANotice) {
    const std::filesystem::path diskutil = "/root/usr/sbin/diskutil";
    const std::vector<std::string> arguments{"apfs", "list", "-plist"};
    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect(diskutil, arguments).once().returns(0, fixture("start-in-second-container.plist"));
    runner->expect(diskutil, arguments).once().returns(1, fixture("start-in-second-container.plist"));
    runner->expect(diskutil, arguments).once().fails(CommandError::Kind::timeout);
    runner->expect(diskutil, arguments).once().returns(0, "Unable to run");
    const VolumeInventory inventory(runner, diskutil);

    const auto loaded = inventory.load();
    ASSERT_TRUE(loaded);
    EXPECT_EQ(*loaded, *VolumeInventory::parse(fixture("start-in-second-container.plist"), "Data"));
    EXPECT_EQ(inventory.load().error(), VolumeInventoryError::commandFailed);
    EXPECT_EQ(inventory.load().error(), VolumeInventoryError::commandFailed);
    const auto broken = inventory.load();
    EXPECT_EQ(broken.error(), VolumeInventoryError::invalidPlist);
    EXPECT_EQ(volumeNoticeText(broken.error()),
              "Die Volumes konnten nicht gelesen werden (die Liste der Volumes hat ein unerwartetes "
              "Format). Der nicht zugeordnete Anteil bleibt unbekannt.");
    for (const auto& call : runner->calls())
        EXPECT_EQ(call.timeout, std::chrono::seconds(30));
    EXPECT_EQ(runner->calls().size(), 4u);
}

} // namespace
