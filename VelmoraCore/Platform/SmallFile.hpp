// Reads a small file whole with plain read(2): the files of /proc and /sys are made when read, and a
// process that ends between open and read makes the read fail with ESRCH, which libstdc++'s filebuf
// turns into an exception that an istreambuf_iterator does not catch.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace velmora {

// The content, cut after the read that reaches `limit` bytes; nothing when the file cannot be opened
// or a read fails.
std::optional<std::string> readSmallFile(const std::filesystem::path& file, std::size_t limit = 64 * 1024);

// The same for `name` relative to the open directory `directory` (openat), so that several files are
// read from one process folder even when a new process has taken the same number meanwhile.
std::optional<std::string> readSmallFileAt(int directory, const char* name, std::size_t limit = 64 * 1024);

} // namespace velmora
