// The error banner's text when the Trash could not be emptied.
#pragma once

#include "Removal/EmptyTrashError.hpp"

#include <string>
#include <string_view>

namespace velmora {

inline constexpr std::string_view emptyTrashFailurePrefix = "Papierkorb konnte nicht geleert werden: ";
// Anything that is neither a refusal nor a failure with a message of its own.
inline constexpr std::string_view emptyTrashUnknownFailure = "Papierkorb konnte nicht geleert werden.";
inline constexpr std::string_view emptyTrashAutomationDenied =
    "Papierkorb konnte nicht geleert werden: Velmora 2 braucht die Erlaubnis, den Finder zu steuern. Du "
    "erteilst sie unter Systemeinstellungen → Datenschutz & Sicherheit → Automation.";

// The refusal explains where the permission is given; a failure carries its own message after the
// prefix (the emptier has already shortened it); a failure without any message gets the bare sentence.
std::string emptyTrashErrorText(const EmptyTrashError& error);

} // namespace velmora
