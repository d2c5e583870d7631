#include "Services/LaunchItem.hpp"

#include "Support/Text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace velmora {

namespace {

// Top-level domains that start most labels and say nothing about the service.
constexpr std::array<std::string_view, 16> topLevelPieces{
    "com", "org", "net", "io", "de", "ch", "at", "co", "app", "dev", "me", "uk", "us", "eu", "fr", "info"};

bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}
bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// "syncHelper" → "sync", "Helper"; "XPCService" → "XPC", "Service"; digits stay with their word.
void splitAtCaseChanges(std::string_view piece, std::vector<std::string>& words) {
    std::string word;
    for (std::size_t i = 0; i < piece.size(); ++i) {
        const char c = piece[i];
        if (c == '-' || c == '_' || c == ' ') {
            if (!word.empty())
                words.push_back(std::exchange(word, {}));
            continue;
        }
        if (isUpper(c) && !word.empty()) {
            const char previous = word.back();
            const bool nextLower = i + 1 < piece.size() && isLower(piece[i + 1]);
            if (isLower(previous) || isDigit(previous) || (isUpper(previous) && nextLower))
                words.push_back(std::exchange(word, {}));
        }
        word.push_back(c);
    }
    if (!word.empty())
        words.push_back(std::move(word));
}

std::string pathText(const std::filesystem::path& path) {
    return Text::repairUTF8(path.string());
}

} // namespace

std::string readableLabel(std::string_view label) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    while (start <= label.size()) {
        const auto end = std::min(label.find('.', start), label.size());
        if (end > start)
            pieces.push_back(label.substr(start, end - start));
        start = end + 1;
    }
    if (pieces.size() > 1 &&
        std::ranges::find(topLevelPieces, Text::lowercased(pieces.front())) != topLevelPieces.end())
        pieces.erase(pieces.begin());

    std::vector<std::string> words;
    for (auto piece : pieces)
        splitAtCaseChanges(piece, words);
    std::string name;
    for (auto& word : words) {
        if (isLower(word.front()))
            word.front() = static_cast<char>(word.front() - 'a' + 'A');
        if (!name.empty())
            name += ' ';
        name += word;
    }
    return name.empty() ? std::string(label) : name;
}

void to_json(nlohmann::json& j, const LaunchItem& item) {
    j = nlohmann::json::object();
    j["id"] = item.id;
    j["label"] = item.label;
    j["scope"] = rawValue(item.scope);
    if (item.plistURL)
        j["plistURL"] = pathText(*item.plistURL);
    if (item.programPath)
        j["programPath"] = *item.programPath;
    j["associatedBundleIDs"] = item.associatedBundleIDs;
    if (item.appURL)
        j["appURL"] = pathText(*item.appURL);
    j["startKind"] = rawValue(item.startKind);
    j["isRunning"] = item.isRunning;
    j["isOrphaned"] = item.isOrphaned;
    j["isOwnAgent"] = item.isOwnAgent;
    j["displayName"] = item.displayName;
    j["explanation"] = item.explanation;
    j["hasNoKnownApp"] = item.hasNoKnownApp;
    j["sharesLabelWithKeptService"] = item.sharesLabelWithKeptService;
}

} // namespace velmora
