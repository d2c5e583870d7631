// The one place where text meets Unicode rules (ICU): white space, case, marks, UTF-8 repair.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora::Text {

// Every white-space character (no-break and narrow spaces included) becomes a plain blank.
std::string plainSpaces(std::string_view utf8);

// Invalid UTF-8 sequences are replaced by U+FFFD; valid text comes back unchanged.
std::string repairUTF8(std::string_view bytes);

// Unicode lower-casing, independent of the locale.
std::string lowercased(std::string_view utf8);

// Drops every combining mark (general categories Mn, Mc and Me), so that "au\u0301th" reads as "auth".
// Bytes that are not valid UTF-8 are kept as they are.
std::string removingMarks(std::string_view utf8);

// Text for a one-line message handed to another program: invalid UTF-8 repaired, every control
// character (line breaks, tabs, NUL, DEL) turned into a blank.
std::string singleLine(std::string_view bytes);

// Outside text (a file name, a path, a label) as it may be shown on a terminal: whatever could move
// the cursor, erase or fake a line, or reorder what follows is written as a visible escape – "\n",
// "\r", "\t", "\x1b" for the other C0 controls and DEL, "\xff" for every byte that is not UTF-8,
// "\u0085" for C1 controls, line and paragraph separators and the bidirectional marks, embeddings,
// overrides and isolates. Everything else, umlauts included, stays as it is.
std::string printable(std::string_view bytes);

// The bytes, written in the character set an IANA or ICU name gives ("ISO-8859-1", "UTF-16"), as UTF-8;
// nothing for a character set ICU does not know or for bytes that set cannot hold, so that nothing is
// ever silently replaced.
std::optional<std::string> toUTF8(std::string_view bytes, const std::string& encoding);

// True when the bytes are well-formed UTF-8.
bool isValidUTF8(std::string_view bytes);

// Without the white space (Unicode White_Space, no-break spaces included) at either end.
std::string_view trimmed(std::string_view utf8);

// The order the Finder lists names in: German collation with numbers compared by value, so that
// "Agent 2" comes before "Agent 10" and "Äpfel" before "Banane". Negative, zero or positive.
int finderCompare(std::string_view a, std::string_view b);

} // namespace velmora::Text
