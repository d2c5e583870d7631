#include "SystemData/LinuxVolumeInventory.hpp"

#include "Doubles/TempTree.hpp"
#include "Platform/VolumeCapacity.hpp"
#include "SystemData/VolumeListing.hpp"

#include <gtest/gtest.h>

#include <map>

using namespace velmora;
using velmora::test::listed;

namespace {

// A laptop: root, EFI, home and a data partition (a blank in its name) on one disk, a USB stick, a snap,
// memory and network file systems, a bind mount of home, and malformed lines.
constexpr std::string_view laptop =
    "22 1 8:2 / / rw - ext4 /dev/sda2 rw\n23 22 8:1 / /boot/efi rw shared:2 - vfat /dev/sda1 rw\n"
    "24 22 8:3 / /home rw shared:3 master:1 - ext4 /dev/sda3 rw\n"
    "25 22 8:17 / /media/u/Stick rw - vfat /dev/sdb1 rw\n26 22 7:0 / /snap/a ro - squashfs /dev/loop0 ro\n"
    "27 22 0:25 / /tmp rw - tmpfs tmpfs rw\n28 22 8:4 / /srv/My\\040Data rw - xfs /dev/sda4 rw\n"
    "29 22 8:3 /u/p /home/u/Projekte rw - ext4 /dev/sda3 rw\n30 22 0:40 / /var/o rw - overlay overlay rw\n"
    "31 22 0:45 / /mnt/nas rw - nfs4 srv:/e rw\nmalformed line\n32 22 x:y / /bad rw - ext4 /dev/sda9 rw\n"
    "33 22 8:6 / /no-separator rw ext4 /dev/sda6 rw\n";

constexpr std::string_view laptopSwaps =
    "Filename\tType\tSize\tUsed\tPriority\n/dev/sda5 partition 1048576 0 -2\n"
    "/swap\\040file file 2048 1024 -3\n/dev/zram0 partition 4096 0 100\n"
    "/media/u/Stick/swap file 1024 0 -4\n/broken file -5 0 -5\n";

// Every file system listed holds 1000 bytes, 5 of them kept for the administrator, and uses what the
// table says; the others report nothing.
LinuxVolumeInventory::CapacityFunction capacities(std::map<std::string, std::int64_t> used) {
    return [used](const std::filesystem::path& mountPoint)
               -> std::expected<LinuxVolumeInventory::Space, DiskInfoError> {
        const auto found = used.find(mountPoint.string());
        if (found == used.end())
            return std::unexpected(DiskInfoError::capacityUnavailable);
        return LinuxVolumeInventory::Space{{1000 - 5 - found->second, 1000}, found->second};
    };
}

std::optional<std::string> sdDisks(DeviceNumber device) {
    if (device.major != 8)
        return std::nullopt;
    return device.minor < 16 ? "sda" : "sdb";
}

TEST(LinuxVolumeInventory, CountsTheFileSystemsOfTheSystemDiskAndItsSwap) {
    const auto capacity = capacities({{"/", 55},
                                      {"/boot/efi", 100},
                                      {"/home", 500},
                                      {"/media/u/Stick", 7},
                                      {"/srv/My Data", 2000},
                                      {"/boot", 1},
                                      {"/var/log", 3},
                                      {"/tank", 4}}); // /srv: more than it holds
    const auto found = LinuxVolumeInventory::parse(laptop, laptopSwaps, "/home/u/", capacity, sdDisks);
    ASSERT_TRUE(found);
    EXPECT_EQ(std::pair(found->containerSize, found->containerFree), std::pair(1000l, 940l));
    EXPECT_EQ(listed(found->volumes),
              "/ system 55, /boot/efi preboot 100, /home data 500, "
              "/srv/My Data data 1000, /dev/sda5 vm 1073741824, /swap file vm 2097152");
    // Without knowing the disks every disk-backed file system counts; the stick's only as `other`.
    EXPECT_EQ(
        listed(LinuxVolumeInventory::parse(laptop, laptopSwaps, "/home/u", capacity)->volumes),
        "/ system 55, /boot/efi preboot 100, /home data 500, /media/u/Stick other 7, "
        "/srv/My Data other 1000, /dev/sda5 vm 1073741824, /swap file vm 2097152, /media/u/Stick/swap vm "
        "1048576");

    // btrfs subvolumes (root and home) are one file system, counted once, as the system; a container's
    // overlay over "/" hides the disk below it, and a network home is no part of the disk; ZFS datasets
    // count by their pool. Root alone measured: the rest is left out, not shown as empty.
    const std::vector<std::tuple<std::string_view, LinuxVolumeInventory::CapacityFunction, std::string>>
        layouts{
            {"1 0 0:31 /@ / rw - btrfs /dev/nvme0n1p2 rw\n"
             "2 1 0:31 /@home /home rw - btrfs /dev/nvme0n1p2 rw\n3 1 259:1 / /boot rw - ext4 /dev/nvme0n1p1 "
             "rw\n",
             capacity, "/ system 55, /boot preboot 1"},
            {"1 0 8:2 / / rw - ext4 /dev/sda2 rw\n2 1 0:60 / /home rw - nfs4 server:/home rw\n"
             "3 1 0:50 / / rw - overlay overlay rw\n",
             capacity, "/ system 55"},
            {"1 0 0:40 / / rw - zfs rpool/ROOT/u rw\n2 1 0:41 / /home rw - zfs rpool/USERDATA/u rw\n"
             "3 1 0:42 / /var/log rw - zfs rpool/ROOT/u/var/log rw\n4 1 0:43 / /tank rw - zfs tank/d rw\n",
             capacity, "/ system 55, /home data 500, /var/log data 3"},
            {laptop, capacities({{"/", 9}}), "/ system 9, /dev/sda5 vm 1073741824, /swap file vm 2097152"},
        };
    for (const auto& [table, measured, expected] : layouts)
        EXPECT_EQ(listed(LinuxVolumeInventory::parse(table, table == laptop ? laptopSwaps : "", "/home/u",
                                                     measured, sdDisks)
                             ->volumes),
                  expected);
}

TEST(LinuxVolumeInventory, FailsOnlyWithoutARootFileSystemToMeasure) {
    using enum VolumeInventoryError;
    const auto rootOnly = capacities({{"/", 9}});
    const auto hugeSwaps =
        "Filename\n/dev/sda5 partition 9007199254740991 0 -2\n/f file 9007199254740991 0 -2\n";
    const std::vector<std::tuple<std::string_view, std::string_view, LinuxVolumeInventory::CapacityFunction,
                                 VolumeInventoryError>>
        cases{
            {"", "", rootOnly, invalidPlist},
            {"no mount table at all\n", "", rootOnly, invalidPlist},
            {"24 22 8:3 / /home rw - ext4 /dev/sda3 rw\n", "", rootOnly, noStartContainer},
            {laptop, "", capacities({}), commandFailed},
            {laptop, hugeSwaps, rootOnly, invalidPlist}, // swap sizes adding up beyond 64 bits
        };
    for (const auto& [table, swaps, capacity, expected] : cases)
        EXPECT_EQ(LinuxVolumeInventory::parse(table, swaps, "/home/u", capacity, sdDisks),
                  std::unexpected(expected))
            << table;
}

TEST(LinuxVolumeInventory, DecodesMountFieldsAndFollowsDevicesToTheirDisk) {
    EXPECT_EQ(decodeMountField("/a\\040b\\011c\\012d\\134e"), "/a b\tc\nd\\e");
    EXPECT_EQ(decodeMountField("\\04\\x\\999\\"), "\\04\\x\\999\\");

    // sysfs: a partition, a whole disk, encryption on LVM on a partition, and a device with no entry.
    velmora::testing::TempTree sys;
    sys.file("devices/pci/sda/sda3/partition", "3");
    for (const auto folder : {"dev/block", "devices/dm-0/slaves", "devices/dm-1/slaves"})
        sys.folder(folder);
    for (const auto& [link, target] : {std::pair{"dev/block/8:3", "../../devices/pci/sda/sda3"},
                                       {"dev/block/8:0", "../../devices/pci/sda"},
                                       {"dev/block/253:1", "../../devices/dm-1"},
                                       {"devices/dm-1/slaves/dm-0", "../../dm-0"},
                                       {"devices/dm-0/slaves/sda3", "../../pci/sda/sda3"}})
        std::filesystem::create_directory_symlink(target, sys / link);
    std::vector<std::optional<std::string>> disks;
    for (const DeviceNumber device : {DeviceNumber{8, 3}, {8, 0}, {253, 1}, {0, 31}})
        disks.push_back(LinuxVolumeInventory::diskOfDevice(sys / "", device));
    EXPECT_EQ(disks, (std::vector<std::optional<std::string>>{"sda", "sda", "sda", std::nullopt}));
}

TEST(LinuxVolumeInventory, LoadsTheTableInsideARootOrElseThisMachines) {
    // A root with its own table: read there, mount points measured below it, the home mapped into it.
    velmora::testing::TempTree root;
    root.file("proc/self/mountinfo",
              "1 0 8:2 / / rw - ext4 /dev/sda2 rw\n2 1 8:3 / /home rw - ext4 /dev/sda3 rw\n");
    root.file("proc/swaps", "Filename Type Size Used Priority\n/dev/sda5 partition 8 0 -2\n");
    root.folder("home/u");
    const auto inside = LinuxVolumeInventory(root / "", root / "home/u").load();
    ASSERT_TRUE(inside);
    EXPECT_EQ(inside->containerSize, statvfsCapacity(root / "")->total);
    ASSERT_EQ(inside->volumes.size(), 3u);
    EXPECT_EQ(listed({inside->volumes[2]}), "/dev/sda5 vm 8192");
    EXPECT_EQ(std::pair(inside->volumes[1].name, inside->volumes[1].role),
              std::pair(std::string("/home"), VolumeRole::data));

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
