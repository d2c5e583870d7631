#include "SystemData/LinuxVolumeInventory.hpp"

#include "Platform/VolumeCapacity.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <set>
#include <span>
#include <system_error>
#include <vector>

#include <sys/statvfs.h>

namespace velmora {

namespace {

using Result = std::expected<VolumeInventoryResult, VolumeInventoryError>;

constexpr std::string_view bootMounts[]{"/boot", "/boot/efi", "/efi"};

// Disk-backed types that still hold no data of this machine's disk: read-only images and media.
constexpr std::string_view imageTypes[]{"squashfs", "erofs", "iso9660", "udf", "overlay"};

// Block devices that live in memory or in a file, not on a disk.
constexpr std::string_view memoryDevices[]{"/dev/loop", "/dev/zram", "/dev/ram", "/dev/nbd"};

bool startsWithAny(std::string_view text, std::span<const std::string_view> prefixes) {
    return std::ranges::any_of(prefixes, [&](std::string_view prefix) { return text.starts_with(prefix); });
}

bool isDiskBacked(const MountEntry& mount) {
    return mount.source.starts_with("/dev/") && !startsWithAny(mount.source, memoryDevices) &&
           std::ranges::find(imageTypes, mount.type) == std::end(imageTypes);
}

// Memory, kernel and network file systems: no space on this machine's disk, even when the home folder
// lies on one. FUSE mounts are mostly remote (sshfs, rclone, gvfs); "fuseblk" (NTFS) is a disk.
bool isElsewhere(const MountEntry& mount) {
    static constexpr std::string_view types[]{
        "tmpfs",  "devtmpfs", "ramfs", "proc", "sysfs", "cgroup", "cgroup2", "devpts", "mqueue",
        "autofs", "nfs",      "nfs4",  "cifs", "smb3",  "smbfs",  "9p",      "ceph",   "glusterfs"};
    return mount.type.starts_with("fuse.") || std::ranges::find(types, mount.type) != std::end(types);
}

// ZFS datasets name their pool ("rpool/USERDATA/u") instead of a device.
std::optional<std::string> zfsPool(const MountEntry& mount) {
    if (mount.type != "zfs")
        return std::nullopt;
    return mount.source.substr(0, mount.source.find('/'));
}

bool isBootMount(std::string_view mountPoint) {
    return std::ranges::find(bootMounts, mountPoint) != std::end(bootMounts);
}

// Whether `path` lies in `folder` (both absolute), compared by whole components.
bool isWithin(std::string_view path, std::string_view folder) {
    if (folder == "/")
        return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// The visible mount holding `path`: the deepest mount point above it.
const MountEntry* holderOf(const std::vector<MountEntry>& mounts, std::string_view path) {
    const MountEntry* best = nullptr;
    for (const auto& mount : mounts)
        if (isWithin(path, mount.mountPoint) && (!best || mount.mountPoint.size() > best->mountPoint.size()))
            best = &mount;
    return best;
}

// A later mount on the same point hides the earlier one.
std::vector<MountEntry> visibleMounts(std::vector<MountEntry> mounts) {
    std::vector<MountEntry> visible;
    for (std::size_t i = 0; i < mounts.size(); ++i) {
        const auto hidden =
            std::any_of(mounts.begin() + static_cast<std::ptrdiff_t>(i) + 1, mounts.end(),
                        [&](const MountEntry& later) { return later.mountPoint == mounts[i].mountPoint; });
        if (!hidden)
            visible.push_back(std::move(mounts[i]));
    }
    return visible;
}

std::string normalHome(const std::filesystem::path& home) {
    auto text = home.lexically_normal().string();
    while (text.size() > 1 && text.ends_with('/'))
        text.pop_back();
    return text.starts_with('/') ? text : "/";
}

// One file system, however often it is mounted.
struct FileSystem {
    DeviceNumber device;
    std::vector<const MountEntry*> mounts;
};

std::optional<std::string> readFile(const std::filesystem::path& file) {
    // /proc files report no size, so they are read to their end, within a bound no table reaches.
    constexpr std::size_t limit = 16 * 1024 * 1024;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return std::nullopt;
    std::string text;
    std::array<char, 65536> buffer{};
    while (stream && text.size() < limit) {
        stream.read(buffer.data(), buffer.size());
        text.append(buffer.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (stream.bad() || text.size() >= limit)
        return std::nullopt;
    return text;
}

} // namespace

LinuxVolumeInventory::LinuxVolumeInventory(std::filesystem::path root, std::filesystem::path home)
    : root_(std::move(root)), home_(std::move(home)) {}

Result LinuxVolumeInventory::parse(std::string_view mountInfo, std::string_view swaps,
                                   const std::filesystem::path& home, const CapacityFunction& capacity,
                                   const DiskFunction& diskOf) {
    const auto all = parseMountInfo(mountInfo);
    if (all.empty())
        return std::unexpected(VolumeInventoryError::invalidPlist);
    const auto mounts = visibleMounts(all);
    const auto rootMount = std::ranges::find(mounts, std::string("/"), &MountEntry::mountPoint);
    if (rootMount == mounts.end())
        return std::unexpected(VolumeInventoryError::noStartContainer);
    const auto rootCapacity = capacity("/");
    if (!rootCapacity)
        return std::unexpected(VolumeInventoryError::commandFailed);

    const MountEntry* homeMount = holderOf(mounts, normalHome(home));
    const auto disk = [&](DeviceNumber device) { return diskOf ? diskOf(device) : std::nullopt; };
    const auto rootDisk = disk(rootMount->device);
    std::set<std::string> disks, pools;
    for (const auto& known : {rootDisk, disk(homeMount->device)})
        if (known)
            disks.insert(*known);
    for (const auto& known : {zfsPool(*rootMount), zfsPool(*homeMount)})
        if (known)
            pools.insert(*known);

    std::vector<FileSystem> fileSystems;
    for (const auto& mount : mounts) {
        auto found = std::ranges::find(fileSystems, mount.device, &FileSystem::device);
        if (found == fileSystems.end())
            found = fileSystems.insert(fileSystems.end(), FileSystem{mount.device, {}});
        found->mounts.push_back(&mount);
    }

    // The root file system leads even when it was mounted last (a container's overlay over "/").
    std::ranges::stable_partition(fileSystems,
                                  [&](const FileSystem& fs) { return fs.device == rootMount->device; });

    VolumeInventoryResult result;
    result.containerSize = rootCapacity->capacity.total;
    result.containerFree = rootCapacity->capacity.free;
    std::set<std::string> countedMountPoints;
    for (const auto& fileSystem : fileSystems) {
        const auto holds = [&](const auto& test) { return std::ranges::any_of(fileSystem.mounts, test); };
        const auto isRoot = holds([](const MountEntry* m) { return m->mountPoint == "/"; });
        const auto isHome = !isElsewhere(*homeMount) && fileSystem.device == homeMount->device;
        const auto isBoot =
            holds([](const MountEntry* m) { return isBootMount(m->mountPoint) && isDiskBacked(*m); });
        const auto diskBacked = holds([](const MountEntry* m) { return isDiskBacked(*m); });
        const auto ownDisk = disk(fileSystem.device);
        const auto pool = zfsPool(*fileSystem.mounts.front());
        const auto onOwnDisk =
            (diskBacked && ownDisk && disks.contains(*ownDisk)) || (pool && pools.contains(*pool));
        const auto general = diskBacked && !rootDisk;
        if (!isRoot && !isHome && !isBoot && !onOwnDisk && !general)
            continue;

        const auto role = isRoot      ? VolumeRole::system
                          : isHome    ? VolumeRole::data
                          : isBoot    ? VolumeRole::preboot
                          : onOwnDisk ? VolumeRole::data
                                      : VolumeRole::other;
        // The mount point that gave the role names the volume; otherwise the first one.
        const MountEntry* named = fileSystem.mounts.front();
        for (const MountEntry* mount : fileSystem.mounts)
            if ((isRoot && mount->mountPoint == "/") || (!isRoot && isHome && mount == homeMount) ||
                (!isRoot && !isHome && isBoot && isBootMount(mount->mountPoint)))
                named = mount;
        const auto space = isRoot ? rootCapacity : capacity(named->mountPoint);
        if (!space)
            continue;
        // A use beyond the capacity (or below zero) is a report to distrust, not a size to add up.
        const auto used =
            std::clamp<std::int64_t>(space->used, 0, std::max<std::int64_t>(space->capacity.total, 0));
        result.volumes.push_back(APFSVolume{named->mountPoint, role, used});
        for (const MountEntry* mount : fileSystem.mounts)
            countedMountPoints.insert(mount->mountPoint);
    }

    for (const auto& swap : parseSwaps(swaps)) {
        if (startsWithAny(swap.name, memoryDevices))
            continue;
        if (swap.isFile) {
            const MountEntry* holder = holderOf(mounts, swap.name);
            if (!holder || !countedMountPoints.contains(holder->mountPoint))
                continue;
        }
        result.volumes.push_back(APFSVolume{swap.name, VolumeRole::vm, swap.size});
    }
    if (!totalConsumed(result.volumes))
        return std::unexpected(VolumeInventoryError::invalidPlist);
    return result;
}

Result LinuxVolumeInventory::load(StopToken stop) const {
    std::error_code error;
    const bool ownTable = std::filesystem::exists(root_ / "proc/self/mountinfo", error);
    const std::filesystem::path base = ownTable ? root_ : std::filesystem::path("/");
    const auto mountInfo = readFile(base / "proc/self/mountinfo");
    if (!mountInfo || stop.stop_requested())
        return std::unexpected(VolumeInventoryError::commandFailed);
    const auto swaps = readFile(base / "proc/swaps").value_or(std::string{});

    auto home = home_;
    if (ownTable) {
        const auto relative = home_.lexically_normal().lexically_relative(root_.lexically_normal());
        if (!relative.empty() && *relative.begin() != "..")
            home = std::filesystem::path("/") / relative;
    }
    const auto capacity = [&](const std::filesystem::path& mountPoint) {
        return spaceOf(base / mountPoint.relative_path());
    };
    const auto diskOf = [&](DeviceNumber device) { return diskOfDevice(base / "sys", device); };
    auto result = parse(*mountInfo, swaps, home, capacity, diskOf);
    if (stop.stop_requested())
        return std::unexpected(VolumeInventoryError::commandFailed);
    return result;
}

std::expected<LinuxVolumeInventory::Space, DiskInfoError>
LinuxVolumeInventory::spaceOf(const std::filesystem::path& folder) {
    const auto capacity = statvfsCapacity(folder);
    struct statvfs counts {};
    if (!capacity || ::statvfs(folder.c_str(), &counts) != 0)
        return std::unexpected(DiskInfoError::capacityUnavailable);
    const std::uint64_t blockSize = counts.f_frsize != 0 ? counts.f_frsize : counts.f_bsize;
    const std::uint64_t blocks = counts.f_blocks >= counts.f_bfree ? counts.f_blocks - counts.f_bfree : 0;
    std::uint64_t used = 0;
    if (__builtin_mul_overflow(blocks, blockSize, &used) ||
        used > static_cast<std::uint64_t>(capacity->total))
        used = static_cast<std::uint64_t>(capacity->total);
    return Space{*capacity, static_cast<std::int64_t>(used)};
}

std::optional<std::string> LinuxVolumeInventory::diskOfDevice(const std::filesystem::path& sys,
                                                              DeviceNumber device) {
    std::error_code error;
    auto folder = std::filesystem::canonical(
        sys / "dev/block" / (std::to_string(device.major) + ":" + std::to_string(device.minor)), error);
    if (error)
        return std::nullopt;
    // Stacks (encryption on LVM on RAID) are a few levels deep; a cycle would not be.
    for (int level = 0; level < 8; ++level) {
        std::vector<std::filesystem::path> below;
        for (std::filesystem::directory_iterator entry(folder / "slaves", error), end; !error && entry != end;
             entry.increment(error))
            below.push_back(entry->path());
        if (below.empty())
            break;
        std::ranges::sort(below);
        folder = std::filesystem::canonical(below.front(), error);
        if (error)
            return std::nullopt;
    }
    if (std::filesystem::exists(folder / "partition", error))
        folder = folder.parent_path();
    const auto name = folder.filename().string();
    if (name.empty())
        return std::nullopt;
    return name;
}

} // namespace velmora
