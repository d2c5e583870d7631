#include "Findings/ShellQuote.hpp"

#include <array>

namespace velmora::ShellQuote {

namespace {

const std::array<bool, 256>& safeSet() {
    // Built once on first use; every byte of a non-ASCII character is outside it, so such text is quoted.
    static const std::array<bool, 256> set = [] {
        std::array<bool, 256> s{};
        for (unsigned char c :
             std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:@%+=,-"))
            s[c] = true;
        return s;
    }();
    return set;
}

} // namespace

std::string quote(std::string_view text) {
    const auto& safe = safeSet();
    bool allSafe = !text.empty();
    for (unsigned char c : text) {
        if (!safe[c]) {
            allSafe = false;
            break;
        }
    }
    if (allSafe)
        return std::string(text);
    std::string out;
    out.reserve(text.size() + 2);
    out.push_back('\'');
    for (char c : text) {
        if (c == '\'')
            out += "'\\''";
        else
            out.push_back(c);
    }
    out.push_back('\'');
    return out;
}

} // namespace velmora::ShellQuote
