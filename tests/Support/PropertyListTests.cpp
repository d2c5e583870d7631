#include "Support/PropertyList.hpp"

#include "Services/LaunchTreeSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>

using namespace velmora;
using namespace velmora::test;

namespace {

// Files an attacker can drop into a launch-agent folder or an app bundle: each must come back as
// "no property list", quickly and without libplist recursing into it. Fair files around the limits
// still parse, and text in another character set arrives decoded, never repaired.
TEST(PropertyList, HostileDataIsRefusedFairDataParsesWithItsBytes) {
    const std::string deepXML = repeated("<array>", 100'000) + repeated("</array>", 100'000);
    const std::string latin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
    struct Case {
        std::string name;
        std::string data;
        std::optional<std::string> program; // "Program" as parsed; nothing: refused
    };
    const std::vector<Case> cases{
        {"binary 100,000 deep", nestedBinaryPlist(100'000), std::nullopt},
        {"binary cycle", nestedBinaryPlist(3, 1, true), std::nullopt},
        {"binary 2^60 expansion", nestedBinaryPlist(60, 2), std::nullopt},
        {"xml 100,000 deep", xmlPlist("a", "X", deepXML), std::nullopt},
        {"xml wide", xmlPlist("a", "X", "<array>" + repeated("<string>a</string>", 300'000) + "</array>"),
         std::nullopt},
        {"xml closes inside comments",
         xmlPlist("a", "X", repeated("<array><!-- </array> -->", 100) + repeated("</array>", 100)),
         std::nullopt},
        {"unknown character set",
         xmlPlist("a", "Program", "<string>x</string>", "<?xml encoding=\"x-nix\"?>"), std::nullopt},
        {"binary 60 deep", nestedBinaryPlist(60), ""},
        {"xml 60 deep", xmlPlist("a", "X", repeated("<array>", 60) + repeated("</array>", 60)), ""},
        {"latin-1", xmlPlist("a", "Program", "<string>/Users/j\xF6rg/bin/sync</string>", latin1),
         "/Users/j\xC3\xB6rg/bin/sync"},
        {"raw bytes kept", xmlPlist("a", "Program", "<string>/opt/j\xF6rg</string>"), "/opt/j\xF6rg"},
    };
    for (const auto& c : cases) {
        const auto plist = parsePropertyList(c.data);
        EXPECT_EQ(plist != nullptr, c.program.has_value()) << c.name;
        if (plist && c.program && !c.program->empty()) {
            EXPECT_EQ(plistString(plist.get(), "Program"), c.program) << c.name;
        }
    }

    // Just inside the bounds; read through libplist's element index this took many seconds.
    plist_t arguments = plist_new_dict();
    plist_dict_set_item(arguments, "Arguments", stringArray(std::vector<std::string>(90'000, "a")));
    const auto wide = parsePropertyList(plistBytes(arguments, true));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(plistStringArray(wide.get(), "Arguments").value_or(std::vector<std::string>{}).size(), 90'000u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

} // namespace
