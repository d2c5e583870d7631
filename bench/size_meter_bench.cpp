// Measures one folder tree with SizeMeter and prints the total and the time taken, for
// compare_size_meter.sh.
//
// Usage: size_meter_bench TREE [--threads N] [--runs R] [--open-directories N] [--parallel-after N]
//                         [--one-file-system 0|1]
// Prints one line per run: "bytes=… files=… directories=… unreadable=… threads=… seconds=…".
#include "Platform/SizeMeter.hpp"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>

int main(int argc, char** argv) {
    if (argc < 2) {
        fmt::print(stderr,
                   "usage: {} TREE [--threads N] [--runs R] [--open-directories N] [--parallel-after N] "
                   "[--one-file-system 0|1]\n",
                   argv[0]);
        return 2;
    }
    std::string tree = argv[1];
    velmora::SizeMeter::Options options;
    int runs = 1;
    for (int i = 2; i + 1 < argc; i += 2) {
        const std::string_view flag = argv[i];
        const int value = std::atoi(argv[i + 1]);
        if (flag == "--threads" && value > 0)
            options.threads = static_cast<unsigned>(value);
        else if (flag == "--runs" && value > 0)
            runs = value;
        else if (flag == "--open-directories" && value > 0)
            options.openDirectoriesPerThread = static_cast<unsigned>(value);
        else if (flag == "--parallel-after" && value >= 0)
            options.parallelAfterDirectories = static_cast<unsigned>(value);
        else if (flag == "--one-file-system" && (value == 0 || value == 1))
            options.oneFileSystem = value == 1;
        else {
            fmt::print(stderr, "unknown or bad option: {} {}\n", flag, argv[i + 1]);
            return 2;
        }
    }
    const velmora::SizeMeter meter(options);
    for (int run = 0; run < runs; ++run) {
        const auto start = std::chrono::steady_clock::now();
        const auto result = meter.measure(tree);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        fmt::print("bytes={} files={} directories={} unreadable={} threads={} seconds={:.3f}\n", result.bytes,
                   result.files, result.directories, result.unreadable, options.threads, elapsed.count());
    }
    return 0;
}
