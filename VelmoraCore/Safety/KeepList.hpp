// The findings the user marked "Behalten", keyed by FindingID and stored in keep.json so that the
// marks outlive the program. An actor: every public method takes the one internal lock, so saves
// never race each other.
#pragma once

#include "Findings/FindingID.hpp"

#include <expected>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_set>

namespace velmora {

struct KeepListError {
    enum class Kind {
        // An unreadable keep.json could not be set aside as keep.json.bad, so it was not overwritten.
        preserveUnreadable,
        // The new file could not be written; the old one is unchanged.
        write,
    };
    Kind kind;
    std::error_code code;

    // What the user is shown.
    std::string_view message() const { return "Konnte die Behalten-Liste nicht speichern."; }
    bool operator==(const KeepListError&) const = default;
};

class KeepList {
public:
    using IDs = std::unordered_set<FindingID>;

    // Reads the file; a missing, unreadable or undecodable file gives an empty list. When the file
    // holds something that is not a keep list, the first save copies it to "<file>.bad" before it
    // writes the new list, so that nothing the user had is lost.
    explicit KeepList(std::filesystem::path fileURL);

    // <appDataFolder>/keep.json (see appDataFolder).
    static std::filesystem::path defaultFile(const std::filesystem::path& appDataFolder);

    const std::filesystem::path& fileURL() const { return fileURL_; }
    IDs ids() const;
    bool contains(const FindingID& id) const;
    // Both save a changed copy first and adopt it only when the save succeeded.
    std::expected<void, KeepListError> add(const FindingID& id);
    std::expected<void, KeepListError> remove(const FindingID& id);

    // The file's text: a JSON array sorted by scanner id, then key, pretty-printed with sorted keys
    // the way the macOS JSON encoder does it (two blanks, " : ", "/" written as "\/", no final
    // newline; an empty list is "[", an empty line and "]").
    static std::string encode(const IDs& ids);
    // Nothing unless the text is an array of objects with the text members "scannerID" and "key".
    static std::optional<IDs> decode(std::string_view text);

private:
    std::expected<void, KeepListError> save(const IDs& ids);

    const std::filesystem::path fileURL_;
    IDs ids_;
    bool preserveBeforeSaving_ = false;
    mutable std::mutex mutex_;
};

} // namespace velmora
