// The file systems and swap areas of the disk(s) holding "/" and the home folder on Linux, from the
// mount table, the swap list and statvfs, in the shape the Mac's volume inventory has.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"
#include "SystemData/MountInfo.hpp"
#include "SystemData/VolumeSource.hpp"

#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// Keeps nothing between calls.
//
// The container is the root file system: its capacity and free space. Each file system counted
// becomes one volume named after its mount point (bind mounts and btrfs subvolumes of one file system
// count once) whose `consumed` is its used bytes; each swap area becomes a `vm`
// volume named after its path whose `consumed` is its size, the room it takes whether in use or not
// (a swap file's bytes are in its file system's figure too). Counted are "/" whatever it is, the home
// folder's file system unless it lives in memory or on the network, and every disk-backed file system
// on the disk of "/" or of the home folder (for ZFS: every dataset of their pools). When the disk of "/"
// cannot be told (btrfs and ZFS show no disk, nor does a missing /sys), every disk-backed file system is
// counted, as `other` unless its role is clear. Memory file systems, images (loop devices, squashfs snaps),
// overlays and network mounts never count, nor does compressed swap in memory (zram). Volumes come in the
// mount table's order with the root file system first, then the swap areas in the swap list's order.
class LinuxVolumeInventory final : public VolumeSource {
public:
    // What a file system reports of itself. Used and free need not add up to the capacity: ext4 keeps
    // blocks for the administrator that are neither.
    struct Space {
        DiskSpace capacity; // free: what the user can still fill
        std::int64_t used = 0;
    };
    // The space of the file system mounted at a mount point (as the table names it).
    using CapacityFunction =
        std::function<std::expected<Space, DiskInfoError>(const std::filesystem::path& mountPoint)>;
    // The whole disk a file system's device lies on ("sda", "nvme0n1"); nothing when unknown.
    using DiskFunction = std::function<std::optional<std::string>(DeviceNumber device)>;

    // `home` as the mount table sees it. When `root` holds its own proc/self/mountinfo, that table, its
    // proc/swaps and sys folder, and statvfs below `root` are read instead of the live ones, and a
    // `home` below `root` is taken relative to it; otherwise the live files and mount points are read
    // whatever `root` is, since they describe this machine's disks either way.
    LinuxVolumeInventory(std::filesystem::path root, std::filesystem::path home);

    // `commandFailed` when the mount table cannot be read, the root file system reports no capacity,
    // or `stop` was triggered. An unreadable swap list counts as no swap.
    std::expected<VolumeInventoryResult, VolumeInventoryError> load(StopToken stop = {}) const override;

    // Pure but for the two functions. `invalidPlist` when the table holds no well-formed line or the
    // sizes add up beyond 2^63 - 1, `noStartContainer` when nothing is mounted at "/", `commandFailed`
    // when the root file system reports no capacity. A file system other than "/" that reports no
    // capacity is left out rather than shown as empty.
    static std::expected<VolumeInventoryResult, VolumeInventoryError>
    parse(std::string_view mountInfo, std::string_view swaps, const std::filesystem::path& home,
          const CapacityFunction& capacity, const DiskFunction& diskOf = {});

    // The live space of the file system holding `folder`: statvfs, free as DiskInfo counts it.
    static std::expected<Space, DiskInfoError> spaceOf(const std::filesystem::path& folder);

    // The disk below a device, through `sys` ("/sys"): device-mapper and RAID devices are followed to
    // the first device they are built on, a partition leads to its disk.
    static std::optional<std::string> diskOfDevice(const std::filesystem::path& sys, DeviceNumber device);

private:
    std::filesystem::path root_;
    std::filesystem::path home_;
};

} // namespace velmora
