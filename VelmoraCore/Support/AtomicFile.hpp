// Replacing a small file all at once: readers see the old contents or the new ones, never a mix, and
// a failed write leaves the old file as it was.
#pragma once

#include <expected>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

namespace velmora {

struct AtomicWriteError {
    enum class Step { createFolder, createTemporary, write, sync, replace };
    Step step;
    std::error_code code;

    bool operator==(const AtomicWriteError&) const = default;
};

// Creates the parent folder (with its parents) when missing, writes `data` to a temporary file in
// that folder, flushes it to disk and renames it over `file`. A new file gets mode 0644, an existing
// one keeps its mode; `mode`, when given, is taken in either case (the file is never readable by
// others in between). On failure the temporary file is gone and `file` is untouched.
std::expected<void, AtomicWriteError> writeFileAtomically(const std::filesystem::path& file,
                                                          std::string_view data,
                                                          std::optional<unsigned> mode = std::nullopt);

} // namespace velmora
