// The findings the user marked "Behalten", keyed by FindingID and stored in keep.json so that the
// marks outlive the program. An actor: every public method takes the one internal lock, so saves
// never race each other.
#pragma once

#include "Findings/FindingID.hpp"

#include <expected>
#include <filesystem>
#include <functional>
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
        // The id is not valid UTF-8: stored in JSON it would come back altered and match nothing.
        invalidText,
    };
    Kind kind;
    std::error_code code;

    // What the user is shown.
    std::string_view message() const {
        return kind == Kind::invalidText
                   ? "Die Kennung ist kein gültiger UTF-8-Text und kann nicht behalten werden."
                   : "Konnte die Behalten-Liste nicht speichern.";
    }
    bool operator==(const KeepListError&) const = default;
};

class KeepList {
public:
    using IDs = std::unordered_set<FindingID>;

    // keep.json as it is at one moment.
    struct Contents {
        IDs ids;
        // The file exists but could not be read or decoded: it counts as empty, and nothing may be
        // removed on its word, since what the user kept is unknown.
        bool damaged = false;
    };

    // Reads the file; a missing, unreadable or undecodable file gives an empty list. When the file
    // holds something that is not a keep list, the first save copies it to "<file>.bad" before it
    // writes the new list, so that nothing the user had is lost.
    explicit KeepList(std::filesystem::path fileURL);

    // Reads the file now; removal asks this right before it starts, so that a mark made meanwhile
    // (in another window, by another process) counts.
    static Contents read(const std::filesystem::path& file);

    // <appDataFolder>/keep.json (see appDataFolder).
    static std::filesystem::path defaultFile(const std::filesystem::path& appDataFolder);

    const std::filesystem::path& fileURL() const { return fileURL_; }
    IDs ids() const;
    bool contains(const FindingID& id) const;
    // As loaded, until a save replaced the file: see Contents::damaged.
    bool isDamaged() const;
    // "<file>.bad", where a damaged file is kept before anything overwrites it.
    std::filesystem::path badCopyURL() const;
    // Copies the file as it is now to badCopyURL().
    std::expected<void, KeepListError> copyToBad() const;
    // Both save a changed copy first and adopt it only when the save succeeded. An id that is not valid
    // UTF-8 is not added (invalidText).
    std::expected<void, KeepListError> add(const FindingID& id);
    std::expected<void, KeepListError> remove(const FindingID& id);

    // The file's text: a JSON array sorted by scanner id, then key, pretty-printed with sorted keys
    // the way the macOS JSON encoder does it (two blanks, " : ", "/" written as "\/", no final
    // newline; an empty list is "[", an empty line and "]").
    static std::string encode(const IDs& ids);
    // Nothing unless the text is an array of objects with the text members "scannerID" and "key".
    static std::optional<IDs> decode(std::string_view text);

private:
    // Applies edit to the list as the file holds it now and saves the result, under a lock on the
    // folder so that two processes never lose each other's marks.
    std::expected<void, KeepListError> change(const std::function<void(IDs&)>& edit);
    std::expected<void, KeepListError> save(const IDs& ids);

    const std::filesystem::path fileURL_;
    IDs ids_;
    bool preserveBeforeSaving_ = false;
    mutable std::mutex mutex_;
};

} // namespace velmora
