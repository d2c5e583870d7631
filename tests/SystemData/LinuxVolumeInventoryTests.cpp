#include "SystemData/LinuxVolumeInventory.hpp"

#include "Doubles/TempTree.hpp"
#include "Platform/VolumeCapacity.hpp"

#include <gtest/gtest.h>

#include <array>
#include <map>

using namespace velmora;

namespace velmora {
void PrintTo(const APFSVolume& volume, std::ostream* out) {
    *out << volume.name << " " << rawValue(volume.role) << " " << volume.consumed;
}
} // namespace velmora

namespace {

constexpr std::int64_t GB = 1'000'000'000;

// A laptop: root, EFI and home partitions and a data partition with a blank in its name on one disk,
// a USB stick, a snap, memory and network file systems, a bind mount of the home file system, a
// malformed line and one whose device is no number.
constexpr std::string_view laptop = "22 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
                                    "23 22 8:1 / /boot/efi rw shared:2 - vfat /dev/sda1 rw\n"
                                    "24 22 8:3 / /home rw shared:3 master:1 - ext4 /dev/sda3 rw\n"
                                    "25 22 8:17 / /media/u/Stick rw - vfat /dev/sdb1 rw\n"
                                    "26 22 7:0 / /snap/core/1 ro - squashfs /dev/loop0 ro\n"
                                    "27 22 0:25 / /tmp rw - tmpfs tmpfs rw\n"
                                    "28 22 8:4 / /srv/My\\040Data rw - xfs /dev/sda4 rw\n"
                                    "29 22 8:3 /u/p /home/u/Projekte rw - ext4 /dev/sda3 rw\n"
                                    "30 22 0:40 / /var/lib/docker/x/merged rw - overlay overlay rw\n"
                                    "31 22 0:45 / /mnt/nas rw - nfs4 server:/export rw\n"
                                    "malformed line\n"
                                    "32 22 x:y / /bad rw - ext4 /dev/sda9 rw\n"
                                    "33 22 8:6 / /no-separator rw ext4 /dev/sda6 rw\n";

constexpr std::string_view laptopSwaps = "Filename\tType\tSize\tUsed\tPriority\n"
                                         "/dev/sda5  partition  1048576  0  -2\n"
                                         "/swap\\040file  file  2048  1024  -3\n"
                                         "/dev/zram0  partition  4096  0  100\n"
                                         "/media/u/Stick/swap  file  1024  0  -4\n"
                                         "/broken  file  -5  0  -5\n";

// Every mount point gets {free, total, used} from this table, or nothing.
LinuxVolumeInventory::CapacityFunction capacities(std::map<std::string, std::array<std::int64_t, 3>> table) {
    return [table = std::move(table)](const std::filesystem::path& mountPoint)
               -> std::expected<LinuxVolumeInventory::Space, DiskInfoError> {
        const auto found = table.find(mountPoint.string());
        if (found == table.end())
            return std::unexpected(DiskInfoError::capacityUnavailable);
        const auto [free, total, used] = found->second;
        return LinuxVolumeInventory::Space{{free, total}, used};
    };
}

std::optional<std::string> sdDisks(DeviceNumber device) {
    if (device.major != 8)
        return std::nullopt;
    return device.minor < 16 ? "sda" : "sdb";
}

TEST(LinuxVolumeInventory, CountsTheFileSystemsOfTheSystemDiskAndItsSwap) {
    using enum VolumeRole;
    // Root keeps 5 GB for the administrator: neither free nor used.
    const auto capacity = capacities({{"/", {40 * GB, 100 * GB, 55 * GB}},
                                      {"/boot/efi", {400, 500, 100}},
                                      {"/home", {300 * GB, 800 * GB, 500 * GB}},
                                      {"/media/u/Stick", {1, 8, 7}},
                                      {"/srv/My Data", {0, 3, 9}}}); // a use beyond the capacity
    const auto found = LinuxVolumeInventory::parse(laptop, laptopSwaps, "/home/u/", capacity, sdDisks);
    ASSERT_TRUE(found);
    EXPECT_EQ(*found, (VolumeInventoryResult{100 * GB,
                                             40 * GB,
                                             {{"/", system, 55 * GB},
                                              {"/boot/efi", preboot, 100},
                                              {"/home", data, 500 * GB},
                                              {"/srv/My Data", data, 3},
                                              {"/dev/sda5", vm, 1073741824},
                                              {"/swap file", vm, 2097152}},
                                             {}}));

    // Without knowing the disks every disk-backed file system counts; the stick's only as `other`.
    const auto anyDisk = LinuxVolumeInventory::parse(laptop, laptopSwaps, "/home/u", capacity);
    ASSERT_TRUE(anyDisk);
    std::vector<std::pair<std::string, VolumeRole>> roles;
    for (const auto& volume : anyDisk->volumes)
        roles.emplace_back(volume.name, volume.role);
    EXPECT_EQ(roles, (std::vector<std::pair<std::string, VolumeRole>>{{"/", system},
                                                                      {"/boot/efi", preboot},
                                                                      {"/home", data},
                                                                      {"/media/u/Stick", other},
                                                                      {"/srv/My Data", other},
                                                                      {"/dev/sda5", vm},
                                                                      {"/swap file", vm},
                                                                      {"/media/u/Stick/swap", vm}}));

    // btrfs subvolumes (root and home) are one file system, counted once, as the system; a container's
    // overlay over "/" hides the disk below it, and a network home is no part of the disk; ZFS datasets
    // count by their pool.
    const auto all = capacities({{"/", {1, 10, 9}},
                                 {"/boot", {1, 2, 1}},
                                 {"/home", {1, 50, 40}},
                                 {"/var/log", {1, 50, 3}},
                                 {"/tank", {1, 5, 4}}});
    const std::vector<std::pair<std::string_view, std::vector<APFSVolume>>> layouts{
        {"1 0 0:31 /@ / rw - btrfs /dev/nvme0n1p2 rw\n"
         "2 1 0:31 /@home /home rw - btrfs /dev/nvme0n1p2 rw\n"
         "3 1 259:1 / /boot rw - ext4 /dev/nvme0n1p1 rw\n",
         {{"/", system, 9}, {"/boot", preboot, 1}}},
        {"1 0 8:2 / / rw - ext4 /dev/sda2 rw\n"
         "2 1 0:60 / /home rw - nfs4 server:/home rw\n"
         "3 1 0:50 / / rw - overlay overlay rw\n",
         {{"/", system, 9}}},
        {"1 0 0:40 / / rw - zfs rpool/ROOT/ubuntu rw\n"
         "2 1 0:41 / /home rw - zfs rpool/USERDATA/u rw\n"
         "3 1 0:42 / /var/log rw - zfs rpool/ROOT/ubuntu/var/log rw\n"
         "4 1 0:43 / /tank rw - zfs tank/data rw\n",
         {{"/", system, 9}, {"/home", data, 40}, {"/var/log", data, 3}}},
    };
    for (const auto& [table, expected] : layouts) {
        const auto found = LinuxVolumeInventory::parse(table, "", "/home/u", all, sdDisks);
        ASSERT_TRUE(found) << table;
        EXPECT_EQ(found->volumes, expected) << table;
    }
}

TEST(LinuxVolumeInventory, FailsOnlyWithoutARootFileSystemToMeasure) {
    using enum VolumeInventoryError;
    const auto rootOnly = capacities({{"/", {1, 10, 9}}});
    const std::vector<std::tuple<std::string_view, LinuxVolumeInventory::CapacityFunction,
                                 std::expected<std::size_t, VolumeInventoryError>>>
        cases{
            {"", rootOnly, std::unexpected(invalidPlist)},
            {"no mount table at all\n", rootOnly, std::unexpected(invalidPlist)},
            {"24 22 8:3 / /home rw - ext4 /dev/sda3 rw\n", rootOnly, std::unexpected(noStartContainer)},
            {laptop, capacities({}), std::unexpected(commandFailed)},
            // Home has no capacity: left out, not shown as empty.
            {laptop, rootOnly, 3},
        };
    for (const auto& [table, capacity, expected] : cases) {
        const auto result = LinuxVolumeInventory::parse(table, laptopSwaps, "/home/u", capacity, sdDisks);
        ASSERT_EQ(result.has_value(), expected.has_value()) << table;
        if (result)
            EXPECT_EQ(result->volumes.size(), *expected) << table;
        else
            EXPECT_EQ(result.error(), expected.error()) << table;
    }
    // Swap sizes that add up beyond 64 bits are refused, not wrapped.
    const std::string hugeSwap = "Filename Type Size Used Priority\n"
                                 "/dev/sda5 partition 9007199254740991 0 -2\n"
                                 "/dev/sda6 partition 9007199254740991 0 -2\n";
    EXPECT_EQ(LinuxVolumeInventory::parse(laptop, hugeSwap, "/home/u", rootOnly, sdDisks).error(),
              invalidPlist);
}

TEST(LinuxVolumeInventory, DecodesMountFieldsAndFollowsDevicesToTheirDisk) {
    EXPECT_EQ(decodeMountField("/a\\040b\\011c\\012d\\134e"), "/a b\tc\nd\\e");
    EXPECT_EQ(decodeMountField("\\04\\x\\999\\"), "\\04\\x\\999\\");

    // sysfs: a partition, a whole disk, encryption on LVM on a partition, and a device with no entry.
    velmora::testing::TempTree sys;
    const auto disk = sys.folder("devices/pci0/block/sda");
    sys.file("devices/pci0/block/sda/sda3/partition", "3");
    sys.folder("devices/virtual/block/dm-0/slaves");
    sys.folder("devices/virtual/block/dm-1/slaves");
    std::filesystem::create_directory_symlink(disk / "sda3", sys / "devices/virtual/block/dm-0/slaves/sda3");
    std::filesystem::create_directory_symlink(sys / "devices/virtual/block/dm-0",
                                              sys / "devices/virtual/block/dm-1/slaves/dm-0");
    sys.folder("dev/block");
    for (const auto& [number, target] : {std::pair{"8:3", "pci0/block/sda/sda3"},
                                         {"8:0", "pci0/block/sda"},
                                         {"253:1", "virtual/block/dm-1"}})
        std::filesystem::create_directory_symlink(std::filesystem::path("../../devices") / target,
                                                  sys / "dev/block" / number);
    EXPECT_EQ(LinuxVolumeInventory::diskOfDevice(sys / "", {8, 3}), "sda");
    EXPECT_EQ(LinuxVolumeInventory::diskOfDevice(sys / "", {8, 0}), "sda");
    EXPECT_EQ(LinuxVolumeInventory::diskOfDevice(sys / "", {253, 1}), "sda");
    EXPECT_EQ(LinuxVolumeInventory::diskOfDevice(sys / "", {0, 31}), std::nullopt);
}

TEST(LinuxVolumeInventory, LoadsTheTableInsideARootOrElseThisMachines) {
    // A root with its own table: read there, mount points measured below it, the home mapped into it.
    velmora::testing::TempTree root;
    root.file("proc/self/mountinfo", "1 0 8:2 / / rw - ext4 /dev/sda2 rw\n"
                                     "2 1 8:3 / /home rw - ext4 /dev/sda3 rw\n");
    root.file("proc/swaps", "Filename Type Size Used Priority\n/dev/sda5 partition 8 0 -2\n");
    root.folder("home/u");
    const auto inside = LinuxVolumeInventory(root / "", root / "home/u").load();
    ASSERT_TRUE(inside);
    EXPECT_EQ(inside->containerSize, statvfsCapacity(root / "")->total);
    ASSERT_EQ(inside->volumes.size(), 3u);
    EXPECT_EQ(inside->volumes[1].name, "/home");
    EXPECT_EQ(inside->volumes[1].role, VolumeRole::data);
    EXPECT_EQ(inside->volumes[2].consumed, 8192);

    // This machine's table: only that it reads and holds a root file system.
    velmora::testing::TempTree empty;
    if (!std::filesystem::exists("/proc/self/mountinfo"))
        GTEST_SKIP() << "no /proc here";
    const auto live = LinuxVolumeInventory(empty / "", "/").load();
    ASSERT_TRUE(live);
    EXPECT_GT(live->containerSize, 0);
    EXPECT_TRUE(std::ranges::any_of(live->volumes, [](const APFSVolume& v) { return v.name == "/"; }));
}

} // namespace
