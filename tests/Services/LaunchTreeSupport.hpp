// A Mac-shaped tree in a temp folder for the services tests: launchd plists (XML or binary, written
// with libplist), app bundles with an Info.plist, and programs, all below a root that stands for "/".
#pragma once

#include "Doubles/TempTree.hpp"
#include "Services/LaunchItemScanner.hpp"
#include "Services/WorkspaceAppLocator.hpp"

#include <plist/plist.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmora::test {

struct AgentPlist {
    std::optional<std::string> label = std::nullopt;
    std::optional<std::string> program = std::nullopt;                // "Program"
    std::optional<std::vector<std::string>> arguments = std::nullopt; // "ProgramArguments"
    std::optional<std::vector<std::string>> bundleIDs = std::nullopt; // "AssociatedBundleIdentifiers"
    std::optional<std::string> bundleProgram = std::nullopt;          // "BundleProgram"
    std::optional<bool> runAtLoad = std::nullopt;
    std::optional<bool> keepAlive = std::nullopt;
    std::optional<std::map<std::string, bool>> keepAliveConditions = std::nullopt;
    bool startInterval = false;
    bool startCalendarInterval = false;
    bool binary = false;
};

inline plist_t stringArray(const std::vector<std::string>& values) {
    plist_t array = plist_new_array();
    for (const auto& value : values)
        plist_array_append_item(array, plist_new_string(value.c_str()));
    return array;
}

// The bytes of a property list holding `root` (which this takes over), XML or binary.
inline std::string plistBytes(plist_t root, bool binary) {
    char* data = nullptr;
    uint32_t length = 0;
    if (binary)
        plist_to_bin(root, &data, &length);
    else
        plist_to_xml(root, &data, &length);
    std::string bytes(data, length);
    std::free(data);
    plist_free(root);
    return bytes;
}

inline std::string plistBytes(const AgentPlist& plist) {
    plist_t dict = plist_new_dict();
    for (const auto& [key, text] : {std::pair{"Label", &plist.label},
                                    {"Program", &plist.program},
                                    {"BundleProgram", &plist.bundleProgram}})
        if (*text)
            plist_dict_set_item(dict, key, plist_new_string((*text)->c_str()));
    for (const auto& [key, list] :
         {std::pair{"ProgramArguments", &plist.arguments}, {"AssociatedBundleIdentifiers", &plist.bundleIDs}})
        if (*list)
            plist_dict_set_item(dict, key, stringArray(**list));
    for (const auto& [key, flag] :
         {std::pair{"RunAtLoad", &plist.runAtLoad}, {"KeepAlive", &plist.keepAlive}})
        if (*flag)
            plist_dict_set_item(dict, key, plist_new_bool(**flag));
    if (plist.keepAliveConditions) {
        plist_t conditions = plist_new_dict();
        for (const auto& [key, value] : *plist.keepAliveConditions)
            plist_dict_set_item(conditions, key.c_str(), plist_new_bool(value));
        plist_dict_set_item(dict, "KeepAlive", conditions);
    }
    if (plist.startInterval)
        plist_dict_set_item(dict, "StartInterval", plist_new_uint(3600));
    if (plist.startCalendarInterval) {
        plist_t calendar = plist_new_dict();
        plist_dict_set_item(calendar, "Hour", plist_new_uint(3));
        plist_dict_set_item(dict, "StartCalendarInterval", calendar);
    }
    return plistBytes(dict, plist.binary);
}

// A binary plist {Label: label, ProgramArguments: [[[…]]]} with arrays nested `depth` deep, written
// byte by byte as an attacker would: with `fanOut` 2 every level names the next one twice (a few bytes
// that expand to 2^depth values), with `cycle` the innermost array names the outermost again.
inline std::string nestedBinaryPlist(std::uint32_t depth, std::uint32_t fanOut = 1, bool cycle = false,
                                     std::string_view label = "org.example.nested") {
    const auto be32 = [](std::size_t v) {
        return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    };
    const auto text = [](std::string_view s) {
        return std::string{char(0x5F), 0x10, char(s.size())} + std::string(s);
    };
    std::vector<std::string> objects{char(0xD2) + be32(1) + be32(3) + be32(2) + be32(4), text("Label"),
                                     text(label), text("ProgramArguments")};
    for (std::uint32_t level = 1; level <= depth; ++level) {
        const std::uint32_t references = level < depth ? fanOut : cycle ? 1 : 0;
        std::string array(1, char(0xA0 | references));
        for (std::uint32_t i = 0; i < references; ++i)
            array += be32(level < depth ? 4 + level : 4);
        objects.push_back(std::move(array));
    }
    std::string data = "bplist00", table;
    for (const auto& object : objects) {
        table += be32(data.size());
        data += object;
    }
    const std::size_t tableStart = data.size();
    const std::string zeros(4, '\0');
    return data + table + std::string(6, '\0') + "\x04\x04" + zeros + be32(objects.size()) + zeros + be32(0) +
           zeros + be32(tableStart);
}

// An XML plist {Label: label, key: value} where `value` is written as given.
inline std::string xmlPlist(std::string_view label, std::string_view key, std::string_view value,
                            std::string_view declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>") {
    return std::string(declaration) + "\n<plist version=\"1.0\"><dict><key>Label</key><string>" +
           std::string(label) + "</string><key>" + std::string(key) + "</key>" + std::string(value) +
           "</dict></plist>\n";
}

inline std::string repeated(std::string_view piece, std::size_t times) {
    std::string result;
    result.reserve(piece.size() * times);
    while (times-- > 0)
        result += piece;
    return result;
}

class LaunchTree {
public:
    static constexpr std::uint32_t uid = 501;

    LaunchTree() { scratch.folder("Users/anna/Library/LaunchAgents"); }

    const std::filesystem::path& root() const { return scratch.root(); }
    std::filesystem::path home() const { return scratch / "Users/anna"; }
    std::filesystem::path real(std::string_view logical) const {
        return scratch / std::filesystem::path(logical).relative_path();
    }

    std::filesystem::path userAgent(const std::string& fileName, const AgentPlist& plist) const {
        return scratch.file("Users/anna/Library/LaunchAgents/" + fileName, plistBytes(plist));
    }
    std::filesystem::path allUsersAgent(const std::string& fileName, const AgentPlist& plist) const {
        return scratch.file("Library/LaunchAgents/" + fileName, plistBytes(plist));
    }
    std::filesystem::path daemon(const std::string& fileName, const AgentPlist& plist) const {
        return scratch.file("Library/LaunchDaemons/" + fileName, plistBytes(plist));
    }

    // An app bundle at a logical path ("/Applications/Foo.app") with its bundle identifier and,
    // optionally, a program inside it.
    void app(std::string_view logical, const std::string& bundleID, std::optional<std::string> program = {},
             bool binaryInfo = false) const {
        plist_t info = plist_new_dict();
        plist_dict_set_item(info, "CFBundleIdentifier", plist_new_string(bundleID.c_str()));
        scratch.file(real(logical) / "Contents/Info.plist", plistBytes(info, binaryInfo));
        if (program)
            scratch.file(real(logical) / *program, "#!/bin/sh\n");
    }
    void program(std::string_view logical) const { scratch.file(real(logical), "#!/bin/sh\n"); }

    LaunchItemScanner::Sources sources(std::shared_ptr<CommandRunner> runner = nullptr,
                                       bool includeLoginItems = false) const {
        auto sources =
            LaunchItemScanner::Sources::live(root(), home(), uid, std::move(runner), PlatformLayout::macOS);
        sources.includeLoginItems = includeLoginItems;
        return sources;
    }

    velmora::testing::TempTree scratch;
};

// The item with this id; a test that names one the scan did not list fails with its id.
inline const LaunchItem& itemOf(const std::vector<LaunchItem>& items, std::string_view id) {
    for (const auto& item : items)
        if (item.id == id)
            return item;
    throw std::runtime_error("no item " + std::string(id));
}

} // namespace velmora::test
