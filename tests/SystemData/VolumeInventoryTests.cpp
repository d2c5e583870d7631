#include "SystemData/VolumeInventory.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "SystemData/VolumeListing.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;
using namespace velmora::test;

namespace {

std::string fixture(const std::string& name) {
    return velmora::testing::contentOf(std::filesystem::path(VELMORA_FIXTURES) / "systemdata/volumes" / name);
}

std::string plist(const std::string& top) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + top + "</plist>";
}

// One container with a data volume of `consumed` bytes, `extra` keys and `more` volumes.
std::string startContainer(const std::string& consumed, const std::string& extra = {},
                           const std::string& more = {}) {
    return plist("<dict><key>Containers</key><array><dict>" + extra +
                 "<key>Volumes</key><array><dict><key>Roles</key><array><string>Data</string></array>"
                 "<key>CapacityInUse</key>" +
                 consumed + "</dict>" + more + "</array></dict></array></dict>");
}

TEST(VolumeInventory, DividesTheStartContainerAndFindsSimulatorsElsewhere) {
    // The first container holds no data volume; a volume that is both data and system is the system;
    // a simulator without a role stays in the list; a name that is no text is empty and a role list
    // that is no list counts as none. Another container with the start's reference is the start.
    const auto xml = VolumeInventory::parse(fixture("start-in-second-container.plist"), "Data");
    ASSERT_TRUE(xml);
    EXPECT_EQ(std::pair(xml->containerSize, xml->containerFree), std::pair(994662584320, 412345678901));
    EXPECT_EQ(listed(xml->volumes), "Macintosh HD system 11245707264, Preboot preboot 7087546368, Recovery "
                                    "recovery 1042591744, VM vm 4294987776, Macintosh HD - Daten data "
                                    "475886841856, Xcode Simulator simulator 2000,  other 0");
    EXPECT_EQ(listed(xml->simulatorVolumes),
              "Old Simulator simulator 1000, iOS 17.2 Simulator simulator 18253611008");

    // Binary: two containers without a reference are one; absent sizes are 0.
    const auto binary = VolumeInventory::parse(fixture("unreferenced-containers.bplist"), "Data");
    ASSERT_TRUE(binary);
    EXPECT_EQ(
        nlohmann::json(*binary).dump(),
        R"({"containerFree":123456789012,"containerSize":500000000000,"simulatorVolumes":[{"consumed":)"
        R"(7700000000,"name":"watchOS 10 Simulator","role":"simulator"}],"volumes":[{"consumed":300000000000,)"
        R"("name":"Daten","role":"data"},{"consumed":0,"name":"VM","role":"vm"}]})");

    // A real Mac's output: three containers, the start one last, an update volume and one without roles.
    const auto real = VolumeInventory::parse(fixture("apfs-list-applesilicon-nixstore.plist"), "Data");
    ASSERT_TRUE(real);
    EXPECT_EQ(std::tuple(real->containerSize, real->containerFree, real->simulatorVolumes.size()),
              std::tuple(1995218165760, 1897427308544, 0u));
    EXPECT_EQ(listed(real->volumes),
              "Macintosh HD system 11245707264, Preboot preboot 7087546368, Recovery "
              "recovery 1042591744, Update other 3305472, Data data 75886841856, VM vm "
              "20480, Nix Store other 2225430528");
    // The role picks the start container: the first one with a recovery volume is the small one.
    EXPECT_EQ(
        VolumeInventory::parse(fixture("apfs-list-applesilicon-nixstore.plist"), "Recovery")->containerSize,
        524288000);
}

TEST(VolumeInventory, RefusesWhatIsNotAVolumeListAndSizesNoDiskCanHave) {
    using Consumed = std::expected<std::int64_t, VolumeInventoryError>;
    const Consumed bad = std::unexpected(VolumeInventoryError::invalidPlist),
                   noStart = std::unexpected(VolumeInventoryError::noStartContainer);
    std::string deep = "<string>x</string>";
    for (int i = 0; i < 5000; ++i)
        deep = "<array>" + deep + "</array>";
    const std::string max = "<integer>9223372036854775807</integer>", one = "<integer>1</integer>";
    const auto more = [](const std::string& value) {
        return "<dict><key>CapacityInUse</key>" + value + "</dict>";
    };
    const std::vector<std::pair<std::string, Consumed>> cases{
        {"Containers", bad},
        {plist("<array><dict><key>Containers</key><array/></dict></array>"), bad},
        {plist("<dict><key>Other</key><array/></dict>"), bad},
        {plist("<dict><key>Containers</key><array/></dict>"), noStart},
        {plist("<dict><key>Containers</key><dict/></dict>"), bad},
        {plist("<dict><key>Containers</key><array><string/></array></dict>"), bad},
        {plist("<dict><key>Containers</key><array><dict><key>Volumes</key><string/></dict></array></dict>"),
         bad},
        {plist("<dict><key>Containers</key><array><dict/></array></dict>"), noStart},
        {startContainer("<integer>5</integer>"), 5},
        {startContainer(max), INT64_MAX},
        {startContainer("<integer>-1</integer>"), bad},
        {startContainer("<integer>9223372036854775808</integer>"), bad},
        {startContainer("<string>5</string>"), bad},
        {startContainer(one, "<key>CapacityFree</key><integer>-4096</integer>"), bad},
        {startContainer(one, "<key>CapacityCeiling</key><real>1</real>"), bad},
        {startContainer(max, {}, more(max)), bad}, // the sum would wrap
        {startContainer(max, {}, "<string>volume</string>"), bad},
        {startContainer(one, {}, more(deep)), bad},
    };
    for (const auto& [data, expected] : cases) {
        const auto result = VolumeInventory::parse(data, "Data");
        EXPECT_EQ(result ? Consumed(result->volumes.at(0).consumed) : std::unexpected(result.error()),
                  expected)
            << data.substr(0, 300);
    }
    EXPECT_EQ(VolumeInventory::parse(startContainer(one), "data").error(),
              noStart.error()); // roles match exactly
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

    EXPECT_EQ(inventory.load(), VolumeInventory::parse(fixture("start-in-second-container.plist"), "Data"));
    EXPECT_EQ(inventory.load().error(), VolumeInventoryError::commandFailed);
    EXPECT_EQ(inventory.load().error(), VolumeInventoryError::commandFailed);
    EXPECT_EQ(volumeNoticeText(inventory.load().error()),
              "Die Volumes konnten nicht gelesen werden (die Liste der Volumes hat ein unerwartetes "
              "Format). Der nicht zugeordnete Anteil bleibt unbekannt.");
    EXPECT_EQ(runner->calls().at(3).timeout, std::chrono::seconds(30));
}

} // namespace
