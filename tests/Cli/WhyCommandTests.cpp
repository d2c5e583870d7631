#include "Cli/CliTestSupport.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;
using namespace velmora::testing;

TEST(WhyCommand, ExplainsClaimedInsideDeniedAndUnclaimedPathsOnTheMacShapedTreeInTextAndJson) {
    const CliTree mac;
    ASSERT_TRUE(mac.buildMacShapedHome());
    const auto why = [&](std::vector<std::string> words) {
        words.insert(words.begin(), "why");
        return mac.run(words);
    };
    const std::string dd = "/Users/anna/Library/Developer/Xcode/DerivedData/App-abc";
    const std::string photos = "/Users/anna/Pictures/Photos Library.photoslibrary/originals/0/IMG_0001.heic";
    const std::string fotos = "Fotos-Mediathek wird nie angefasst",
                      unclaimed = "\n  Kein Fund erfasst diesen Pfad.\n";
    struct Case {
        std::string path;
        std::string scannerID; // empty: nothing claims it
        std::string method;
        std::string denied; // empty: allowed
        std::string line;   // what the text says about it
    };
    const std::vector<Case> cases = {
        {dd, "xcode.derivedData", "delete", "", "  Eintrag:    dieser Pfad selbst\n"},
        {dd + "/Build/Intermediates.noindex/a.o", "xcode.derivedData", "delete", "",
         "  Eintrag:    liegt in " + dd},
        {photos, "personal.photos", "hint", fotos, "  Sicherheitsprüfung: gesperrt (" + fotos + ")\n"},
        {"/Users/anna/Documents/Brief.txt", "", "", "Persönlicher Ordner – wird nie angefasst", unclaimed},
        {"/Users/anna/Downloads/Neu.dmg", "", "", "", unclaimed + "  Sicherheitsprüfung: erlaubt\n"},
    };
    std::vector<std::string> words;
    for (const auto& c : cases)
        words.push_back(c.path);
    const auto text = why(words);
    words.push_back("--json");
    const auto json = why(words);
    ASSERT_EQ(text.status + json.status, 0) << text.err << json.err;
    const auto list = nlohmann::json::parse(json.out);
    ASSERT_EQ(list.size(), cases.size());
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const auto& c = cases[index];
        const auto& x = list[index];
        SCOPED_TRACE(c.path);
        EXPECT_THAT(text.out, HasSubstr(c.path + "\n")); // shown inside the root
        EXPECT_THAT(text.out.substr(text.out.find(c.path + "\n")), HasSubstr(c.line));
        EXPECT_EQ(x["path"], c.path);
        EXPECT_EQ(x["guard"]["allowed"], c.denied.empty());
        EXPECT_EQ(x["guard"]["reason"], c.denied.empty() ? nlohmann::json() : nlohmann::json(c.denied));
        EXPECT_EQ(x["kept"], false);
        if (c.scannerID.empty()) {
            EXPECT_TRUE(x["findingID"].is_null() && x["title"].is_null() && x["method"].is_null() &&
                        x["size"].is_null());
            continue;
        }
        EXPECT_EQ(x["findingID"], nlohmann::json({{"key", ""}, {"scannerID", c.scannerID}}));
        EXPECT_EQ(x["method"], c.method);
        EXPECT_GT(x["size"].get<std::int64_t>(), 0);
    }
    EXPECT_THAT(
        text.out,
        HasSubstr(
            "Pfadregel xcode.derivedData (Muster „/Users/anna/Library/Developer/Xcode/DerivedData/*“)"));

    // A name that is no UTF-8 and moves the cursor is shown escaped, and JSON still parses.
    const std::string odd = "/Users/anna/Library/Caches/pip/\xff\x1b[2J";
    EXPECT_THAT(why({odd}).out, HasSubstr("pip/\\xff\\x1b[2J (existiert nicht)\n  Fund:       pip-Cache"));
    EXPECT_EQ(nlohmann::json::parse(why({odd, "--json"}).out)[0]["findingID"]["scannerID"], "languages.pip");
    // A relative path cannot be placed inside the tree: not examined, exit 1.
    const auto relative = why({"Library/Caches"});
    EXPECT_EQ(relative.status, 1);
    EXPECT_THAT(relative.out, HasSubstr("Nicht geprüft: kein absoluter Pfad."));
}
