// Reading property lists (XML or binary) through libplist, with ownership and size limits handled once.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <plist/plist.h>

namespace velmora {

struct PlistDeleter {
    void operator()(plist_t node) const {
        if (node)
            plist_free(node);
    }
};
using PlistPtr = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistDeleter>;

// Parses XML or binary property list data; nothing for anything that is not one, and nothing for one
// nested or filled beyond PropertyListBounds (checked before libplist sees it). XML in another
// character set than UTF-8 (declared, or UTF-16 with a byte-order mark) is decoded first; text that
// does not fit its declared set is refused rather than repaired.
PlistPtr parsePropertyList(std::string_view data);
// Reads a property list file (not following a final symbolic link; larger than `maxBytes`: nothing).
PlistPtr readPropertyList(const std::filesystem::path& file, std::size_t maxBytes = 8 * 1024 * 1024);

// Typed lookups in a dictionary node; nothing when the key is missing or has another type.
std::optional<std::string> plistString(plist_t dict, const char* key);
std::optional<bool> plistBool(plist_t dict, const char* key);
std::optional<std::chrono::system_clock::time_point> plistDate(plist_t dict, const char* key);
// An array whose every element is a string; an array holding anything else yields nothing. Strings
// keep the bytes the file holds, valid UTF-8 or not.
std::optional<std::vector<std::string>> plistStringArray(plist_t dict, const char* key);
// The value under `key` of any type, still owned by `dict`; null when missing.
plist_t plistValue(plist_t dict, const char* key);
// Number of entries of a dictionary or array node; 0 for any other node.
std::size_t plistCount(plist_t node);

} // namespace velmora
