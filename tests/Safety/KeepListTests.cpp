#include "Safety/KeepList.hpp"

#include "Doubles/TempTree.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace velmora;
using namespace velmora::testing;

namespace {

// Makes every write to a regular file fail with EFBIG for as long as it lives; unlike a read-only
// folder this also works for root.
class NoFileGrowth {
public:
    NoFileGrowth() {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        savedHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, saved_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &none);
    }
    ~NoFileGrowth() {
        ::setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, savedHandler_);
    }

private:
    rlimit saved_{};
    void (*savedHandler_)(int) = nullptr;
};

const FindingID derivedData{"xcode.derivedData", ""};
const FindingID npmCache{"dev.npm", "/Users/anna/.npm"};

TEST(KeepList, WritesTheSortedPrettyPrintedFormReadsItAndOtherEncodersBackAndCreatesItsFolder) {
    TempTree tree;
    const auto file = tree("/Library/Application Support/Velmora2/keep.json");
    EXPECT_EQ(KeepList::defaultFile(tree("/Library/Application Support/Velmora2")), file);
    {
        KeepList list(file);
        EXPECT_TRUE(list.ids().empty());
        for (const auto& id : {derivedData, FindingID{"dev.npm", "b"}, FindingID{"dev.npm", "B"},
                               FindingID{"ai.models", "/Grüße \"zitiert\"\n"}})
            ASSERT_TRUE(list.add(id));
    }
    // Pretty-printed with sorted keys, entries in byte order of scanner and key, "/" escaped.
    const auto entry = [](const std::string& key, const std::string& scanner) {
        return "  {\n    \"key\" : \"" + key + "\",\n    \"scannerID\" : \"" + scanner + "\"\n  }";
    };
    EXPECT_EQ(contentOf(file), "[\n" + entry("\\/Grüße \\\"zitiert\\\"\\n", "ai.models") + ",\n" +
                                   entry("B", "dev.npm") + ",\n" + entry("b", "dev.npm") + ",\n" +
                                   entry("", "xcode.derivedData") + "\n]");

    KeepList reloaded(file);
    EXPECT_EQ(reloaded.ids().size(), 4u);
    EXPECT_TRUE(reloaded.contains(FindingID{"ai.models", "/Grüße \"zitiert\"\n"}));
    // Adding a kept id rewrites the same list; removing what is not there still saves and succeeds.
    ASSERT_TRUE(reloaded.add(derivedData));
    EXPECT_EQ(KeepList(file).ids().size(), 4u);
    for (const auto& id : reloaded.ids())
        ASSERT_TRUE(reloaded.remove(id));
    EXPECT_TRUE(reloaded.remove(npmCache));
    EXPECT_EQ(contentOf(file), "[\n\n]");
    EXPECT_TRUE(KeepList(file).ids().empty());
    EXPECT_FALSE(std::filesystem::exists(tree("/Library/Application Support/Velmora2/keep.json.bad")));

    // What other encoders write: extra keys, escaped slashes, duplicates.
    const auto ids =
        KeepList::decode(R"([{"scannerID":"dev.npm","key":"/x","extra":true},)"
                         R"( {"key":"\/y","scannerID":"dev.npm"}, {"key":"/x","scannerID":"dev.npm"}])");
    ASSERT_TRUE(ids);
    EXPECT_EQ(*ids, (KeepList::IDs{{"dev.npm", "/x"}, {"dev.npm", "/y"}}));
}

TEST(KeepList, UndecodableFileLoadsEmptyAndIsSetAsideBeforeTheFirstSave) {
    for (const auto& garbage : std::vector<std::string>{"{}", "garbage", "[{\"scannerID\":\"a\"}]",
                                                        "[{\"scannerID\":1,\"key\":\"k\"}]", "[5]", "[",
                                                        "\xFF\xFE[]", std::string(100'000, '[')}) {
        TempTree tree;
        const auto file = tree("/keep.json");
        tree.file("/keep.json", garbage);
        KeepList list(file);
        EXPECT_TRUE(list.ids().empty()) << garbage.substr(0, 20);
        EXPECT_TRUE(list.isDamaged() && KeepList::read(file).damaged);
        ASSERT_TRUE(list.add(derivedData));
        EXPECT_FALSE(list.isDamaged() || KeepList::read(file).damaged);
        EXPECT_EQ(KeepList(file).ids(), KeepList::IDs{derivedData});
        EXPECT_EQ(contentOf(tree("/keep.json.bad")), garbage);
        // Set aside once: the next save does not overwrite the copy with the new list.
        ASSERT_TRUE(list.add(npmCache));
        EXPECT_EQ(contentOf(tree("/keep.json.bad")), garbage);
    }

    // An empty file holds nothing worth keeping, and is not damaged.
    TempTree tree;
    tree.file("/keep.json", " \n");
    EXPECT_FALSE(KeepList::read(tree("/keep.json")).damaged);
    KeepList list(tree("/keep.json"));
    ASSERT_TRUE(list.add(derivedData));
    EXPECT_FALSE(std::filesystem::exists(tree("/keep.json.bad")));
}

TEST(KeepList, FailedSaveChangesNeitherTheFileNorTheList) {
    TempTree tree;
    const auto file = tree("/keep.json");
    KeepList list(file);
    ASSERT_TRUE(list.add(derivedData));
    const auto before = contentOf(file);
    // Stored in JSON, bytes that are not UTF-8 would come back altered and keep nothing.
    for (const auto& notText : {FindingID{"dev.npm", "/Users/j\xF6rg/.npm"}, FindingID{"dev.\xC3", ""}})
        EXPECT_EQ(list.add(notText), std::unexpected(KeepListError{KeepListError::Kind::invalidText, {}}));
    EXPECT_EQ(contentOf(file), before);
    {
        NoFileGrowth noGrowth;
        const auto added = list.add(npmCache);
        ASSERT_FALSE(added);
        EXPECT_EQ(added.error().kind, KeepListError::Kind::write);
        EXPECT_FALSE(list.remove(derivedData));
    }
    EXPECT_FALSE(list.contains(npmCache));
    EXPECT_TRUE(list.contains(derivedData));
    EXPECT_EQ(contentOf(file), before);
    EXPECT_EQ(namesIn(tree.root()).size(), 1u) << "no temporary file is left behind";

    // The folder cannot even be made: a file stands where it should be.
    tree.file("/blocked", "");
    KeepList blocked(tree("/blocked/Velmora2/keep.json"));
    EXPECT_FALSE(blocked.add(derivedData));
    EXPECT_FALSE(blocked.contains(derivedData));
}

TEST(KeepList, ConcurrentChangesAreNotLost) {
    TempTree tree;
    const auto file = tree("/keep.json");
    KeepList list(file);
    // A second list on the same file stands for another window or process.
    KeepList other(file);
    {
        std::vector<JoiningThread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&list, &other, t] {
                for (int i = 0; i < 10; ++i)
                    EXPECT_TRUE((t % 2 ? other : list)
                                    .add(FindingID{"thread." + std::to_string(t), std::to_string(i)}));
            });
    }
    EXPECT_EQ(KeepList(file).ids().size(), 40u);
    ASSERT_TRUE(other.remove(FindingID{"thread.0", "0"}));
    EXPECT_EQ(KeepList(file).ids().size(), 39u);
}

} // namespace
