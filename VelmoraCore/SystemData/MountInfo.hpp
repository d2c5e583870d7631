// The lines of the Linux mount table (/proc/self/mountinfo) and of the swap list (/proc/swaps).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct DeviceNumber {
    unsigned major = 0;
    unsigned minor = 0;

    bool operator==(const DeviceNumber&) const = default;
};

struct MountEntry {
    DeviceNumber device;    // of the file system; every mount of one file system shares it
    std::string root;       // the folder of the file system mounted here, "/" for all of it
    std::string mountPoint; // decoded
    std::string options;    // this mount's options, "rw,relatime"
    std::string type;       // "ext4", "tmpfs", "fuse.sshfs"
    std::string source;     // decoded, "/dev/nvme0n1p2", "tmpfs"

    bool operator==(const MountEntry&) const = default;
};

struct SwapEntry {
    std::string name;      // decoded path of the partition or file
    bool isFile = false;   // a swap file (inside a file system) rather than a partition
    std::int64_t size = 0; // bytes
    std::int64_t used = 0; // bytes

    bool operator==(const SwapEntry&) const = default;
};

// The kernel writes blanks, tabs, line breaks and backslashes in these fields as "\ooo"; anything
// else after a backslash is kept as it stands.
std::string decodeMountField(std::string_view field);

// Every well-formed line, in the table's order; a line with too few fields, without the "-" that ends
// the optional fields, or with a device number that is no number is skipped.
std::vector<MountEntry> parseMountInfo(std::string_view text);

// Every well-formed line after the heading; sizes are given in KiB, and a line whose size or use is
// no number, negative, or does not fit in bytes is skipped.
std::vector<SwapEntry> parseSwaps(std::string_view text);

} // namespace velmora
