#include "Platform/Trash.hpp"

#include "Platform/FileIdentity.hpp"
#include "Platform/SystemErrorText.hpp"

namespace velmora {

TrashError TrashError::make(Kind kind, int code) {
    std::string message;
    switch (kind) {
    case Kind::invalidPath:
        message = invalidTrashPathText;
        break;
    case Kind::notFound:
        message = trashNotFoundText;
        break;
    case Kind::otherVolume:
        message = otherVolumeText;
        break;
    case Kind::noTrash:
        message = noTrashText;
        if (code != 0)
            message += " (" + systemErrorText(code) + ")";
        break;
    case Kind::unsafeLocation:
        message = unsafeTrashText;
        break;
    case Kind::changed:
        message = changedSinceScanText;
        break;
    case Kind::nameUnavailable:
        message = noFreeNameText;
        break;
    case Kind::system:
        message = systemErrorText(code);
        break;
    }
    return TrashError{kind, code, std::move(message)};
}

namespace {

// The largest cut ≤ `length` that does not split a UTF-8 sequence of `text`.
std::size_t characterBoundary(const std::string& text, std::size_t length) {
    while (length > 0 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
        --length;
    return length;
}

} // namespace

std::string trashCandidateName(const std::string& name, std::size_t attempt, std::size_t maxBytes) {
    // Appended rather than `" " + to_string(…)`: GCC 12 at -O3 misreads that as an overlapping copy.
    std::string suffix;
    if (attempt > 1)
        suffix.append(" ").append(std::to_string(attempt));
    // A leading dot starts a hidden name, not an extension.
    const std::size_t dot = name.rfind('.');
    std::string stem = dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
    std::string extension = dot == std::string::npos || dot == 0 ? std::string() : name.substr(dot);
    if (stem.size() + suffix.size() + extension.size() > maxBytes) {
        // An extension too long to keep is given up before the stem shrinks to nothing.
        if (suffix.size() + extension.size() + 1 > maxBytes) {
            stem = name;
            extension.clear();
        }
        const std::size_t room =
            maxBytes > suffix.size() + extension.size() ? maxBytes - suffix.size() - extension.size() : 0;
        stem.resize(characterBoundary(stem, std::min(room, stem.size())));
    }
    return stem + suffix + extension;
}

} // namespace velmora
