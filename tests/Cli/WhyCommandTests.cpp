#include "Cli/CliTestSupport.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;
using namespace velmora::testing;

namespace {

namespace fs = std::filesystem;

} // namespace

TEST(WhyCommand, ExplainsClaimedInsideDeniedAndUnclaimedPathsOnTheMacShapedTreeInTextAndJson) {
    TempTree tree;
    const auto script = fs::path(VELMORA_FIXTURES) / "../../scripts/mac-shaped-home.sh";
    ASSERT_EQ(std::system(("MAC_SHAPED_WITHOUT_BIG=1 bash '" + script.string() + "' '" +
                           tree.root().string() + "' >/dev/null")
                              .c_str()),
              0);
    const std::string derived = "/Users/anna/Library/Developer/Xcode/DerivedData/App-abc";
    const std::string photos = "/Users/anna/Pictures/Photos Library.photoslibrary";
    struct Case {
        std::string path;
        nlohmann::json findingID; // null: nothing claims it
        std::string method;
        std::optional<std::string> denied;
        std::string line; // what the text says about it
    };
    const std::vector<Case> cases = {
        {derived,
         {{"key", ""}, {"scannerID", "xcode.derivedData"}},
         "delete",
         {},
         "  Eintrag:    dieser Pfad selbst\n"},
        {derived + "/Build/Intermediates.noindex/a.o",
         {{"key", ""}, {"scannerID", "xcode.derivedData"}},
         "delete",
         {},
         "  Eintrag:    liegt in " + derived + "\n"},
        {photos + "/originals/0/IMG_0001.heic",
         {{"key", ""}, {"scannerID", "personal.photos"}},
         "hint",
         "Fotos-Mediathek wird nie angefasst",
         "  Sicherheitsprüfung: gesperrt (Fotos-Mediathek wird nie angefasst)\n"},
        {"/Users/anna/Documents/Brief.txt", nullptr, "", "Persönlicher Ordner – wird nie angefasst",
         "/Users/anna/Documents/Brief.txt\n  Kein Fund erfasst diesen Pfad.\n"},
        {"/Users/anna/Downloads/Neu.dmg",
         nullptr,
         "",
         {},
         "/Users/anna/Downloads/Neu.dmg\n  Kein Fund erfasst diesen Pfad.\n  Sicherheitsprüfung: erlaubt\n"},
    };
    std::vector<std::string> words = {"why"};
    for (const auto& c : cases)
        words.push_back(c.path);
    const auto text = runInTree(words, tree.root(), "macos", "/Users/anna");
    words.push_back("--json");
    const auto json = runInTree(words, tree.root(), "macos", "/Users/anna");
    ASSERT_EQ(text.status, 0) << text.err;
    ASSERT_EQ(json.status, 0) << json.err;
    const auto list = nlohmann::json::parse(json.out);
    ASSERT_EQ(list.size(), cases.size());
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const auto& c = cases[index];
        const auto& x = list[index];
        SCOPED_TRACE(c.path);
        EXPECT_THAT(text.out, HasSubstr(c.line));
        EXPECT_EQ(x["path"], c.path);
        EXPECT_EQ(x["findingID"], c.findingID);
        EXPECT_EQ(x["guard"]["allowed"], !c.denied);
        EXPECT_EQ(x["guard"]["reason"], c.denied ? nlohmann::json(*c.denied) : nlohmann::json());
        EXPECT_EQ(x["kept"], false);
        if (c.findingID.is_null()) {
            EXPECT_TRUE(x["title"].is_null() && x["risk"].is_null() && x["method"].is_null() &&
                        x["size"].is_null());
            continue;
        }
        EXPECT_EQ(x["method"], c.method);
        EXPECT_GT(x["size"].get<std::int64_t>(), 0);
        EXPECT_FALSE(x["title"].get<std::string>().empty());
    }
    EXPECT_THAT(text.out,
                HasSubstr("Pfadregel xcode.derivedData (Muster „Library/Developer/Xcode/DerivedData/*“)"));

    // A name that is no UTF-8 and moves the cursor is shown escaped, and JSON still parses.
    const std::string odd = "/Users/anna/Library/Caches/pip/\xff\x1b[2J";
    const auto oddText = runInTree({"why", odd}, tree.root(), "macos", "/Users/anna");
    EXPECT_THAT(oddText.out,
                HasSubstr("/Library/Caches/pip/\\xff\\x1b[2J (existiert nicht)\n  Fund:       pip-Cache"));
    const auto oddJson = runInTree({"why", odd, "--json"}, tree.root(), "macos", "/Users/anna");
    EXPECT_EQ(nlohmann::json::parse(oddJson.out)[0]["findingID"]["scannerID"], "languages.pip");

    // A relative path cannot be placed inside the tree: not examined, exit 1.
    const auto relative = runInTree({"why", "Library/Caches"}, tree.root(), "macos", "/Users/anna");
    EXPECT_EQ(relative.status, 1);
    EXPECT_THAT(relative.out, HasSubstr("Nicht geprüft: kein absoluter Pfad."));
}
