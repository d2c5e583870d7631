#include "Cli/CliTestSupport.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <regex>
#include <set>
#include <sys/stat.h>

using namespace velmora;
using namespace velmora::testing;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;

// Allocated bytes of the regular files below a path, each hard-linked file once: what a finding
// item must report, counted independently of the size meter.
std::int64_t allocatedBytes(const fs::path& root) {
    std::set<std::pair<dev_t, ino_t>> seen;
    std::int64_t total = 0;
    const auto count = [&](const fs::path& p) {
        struct stat st {};
        if (::lstat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode) && seen.insert({st.st_dev, st.st_ino}).second)
            total += static_cast<std::int64_t>(st.st_blocks) * 512;
    };
    count(root);
    std::error_code ec;
    for (fs::recursive_directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec))
        count(it->path());
    return total;
}

struct MacTree {
    TempTree tree;
    fs::path home = tree / "Users/anna";

    MacTree() {
        tree.file("Users/anna/Library/Developer/Xcode/DerivedData/App-abc/Build/x.o",
                  std::string(70'000, 'x'));
        tree.file("Users/anna/Library/Developer/Xcode/DerivedData/Other-def/y.o", std::string(5'000, 'y'));
        tree.file("Users/anna/.npm/_cacache/content/a", std::string(20'000, 'n'));
        const auto blob = tree.file("Users/anna/.cache/huggingface/hub/models--org--model/blobs/b",
                                    std::string(90'000, 'h'));
        fs::create_directories(home / ".cache/huggingface/hub/models--org--model/snapshots");
        fs::create_hard_link(blob, home / ".cache/huggingface/hub/models--org--model/snapshots/weights");
        tree.file("Users/anna/.gem/credentials", "secret");
        tree.file("Users/anna/.gem/specs/s", std::string(3'000, 's'));
        tree.file("Users/anna/Documents/thesis.tex", "keep me");
        tree.link("Users/anna/Library/Caches/pip", tree / "Users/anna/Documents");
    }

    std::vector<std::string> args(std::vector<std::string> extra) const {
        std::vector<std::string> all{"--platform",         "macos",  "--root",
                                     tree.root().string(), "--home", "/Users/anna"};
        all.insert(all.begin(), extra.begin(), extra.begin() + 1);
        all.insert(all.end(), extra.begin() + 1, extra.end());
        return all;
    }
};

} // namespace

TEST(ScanCommand, JsonReportsExactlyTheCatalogFindingsWithAllocatedSizes) {
    MacTree mac;
    const auto run = runVelmora(mac.args({"scan", "--json"}));
    ASSERT_EQ(run.status, 0) << run.err;
    const auto report = nlohmann::json::parse(run.out);
    std::map<std::string, nlohmann::json> byID;
    for (const auto& finding : report["findings"])
        byID[finding["id"]["scannerID"]] = finding;
    EXPECT_EQ(byID.size(), 4u) << run.out;
    ASSERT_TRUE(byID.contains("xcode.derivedData"));
    ASSERT_TRUE(byID.contains("languages.npm"));
    ASSERT_TRUE(byID.contains("ai.huggingFace"));
    ASSERT_TRUE(byID.contains("languages.ruby"));
    EXPECT_FALSE(byID.contains("languages.pip")); // a link into Documents is never followed

    const auto& derived = byID["xcode.derivedData"];
    EXPECT_EQ(derived["category"], "xcode");
    EXPECT_EQ(derived["tab"], "developer");
    EXPECT_EQ(derived["risk"], "safe");
    EXPECT_EQ(derived["method"], nlohmann::json::parse(R"({"delete":{}})"));
    EXPECT_EQ(derived["blockingApps"][0]["bundleID"], "com.apple.dt.Xcode");
    ASSERT_EQ(derived["items"].size(), 2u);
    std::int64_t sum = 0;
    for (const auto& item : derived["items"]) {
        const fs::path url = item["url"].get<std::string>();
        EXPECT_EQ(item["size"].get<std::int64_t>(), allocatedBytes(url)) << url;
        sum += item["size"].get<std::int64_t>();
    }
    EXPECT_EQ(derived["size"], sum);
    EXPECT_TRUE(derived["commandPreview"].get<std::string>().starts_with("rm -rf "));

    // The hard-linked model blob counts once within its item.
    const auto& model = byID["ai.huggingFace"]["items"][0];
    EXPECT_EQ(model["name"], "org/model");
    EXPECT_EQ(model["size"].get<std::int64_t>(),
              allocatedBytes(mac.home / ".cache/huggingface/hub/models--org--model"));

    // No npm in the tree: the cache falls back to direct deletion.
    EXPECT_EQ(byID["languages.npm"]["method"], nlohmann::json::parse(R"({"delete":{}})"));
    for (const auto& item : byID["languages.ruby"]["items"])
        EXPECT_NE(item["name"], "credentials");

    std::int64_t total = 0;
    for (const auto& [id, finding] : byID)
        total += finding["size"].get<std::int64_t>();
    EXPECT_EQ(report["totalBytes"], total);
    EXPECT_TRUE(report["failures"].empty());
}

TEST(ScanCommand, TextReportGroupsByTabAndCategoryAndKeptFindingsLeaveTheTotal) {
    MacTree mac;
    auto run = runVelmora(mac.args({"scan"}));
    ASSERT_EQ(run.status, 0) << run.err;
    const auto developer = run.out.find("\nEntwickler\n");
    const auto storage = run.out.find("\nSpeicher\n");
    ASSERT_NE(developer, std::string::npos) << run.out;
    ASSERT_NE(storage, std::string::npos);
    EXPECT_LT(storage, developer); // tabs in display order
    EXPECT_NE(run.out.find("  KI-Reste\n    Hugging Face"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("DerivedData"), std::string::npos);
    EXPECT_NE(run.out.find("Freigebbar: "), std::string::npos);

    ASSERT_EQ(runVelmora(mac.args({"keep", "xcode.derivedData"})).status, 0);
    run = runVelmora(mac.args({"scan"}));
    EXPECT_TRUE(std::regex_search(
        run.out, std::regex(R"(DerivedData +[0-9,]+ kB +behalten +2 Einträge +\[xcode\.derivedData\])")))
        << run.out;
    const auto json = nlohmann::json::parse(runVelmora(mac.args({"scan", "--json"})).out);
    std::int64_t withoutKept = 0;
    for (const auto& finding : json["findings"]) {
        const bool kept = finding["kept"];
        EXPECT_EQ(kept, finding["id"]["scannerID"] == "xcode.derivedData");
        if (!kept)
            withoutKept += finding["size"].get<std::int64_t>();
    }
    EXPECT_EQ(json["totalBytes"], withoutKept);
}

TEST(ScanCommand, WrongUsageExitsWithTwoAndAGermanMessage) {
    MacTree mac;
    auto run = runVelmora({"scan", "--bogus"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("Unbekanntes Argument"), std::string::npos);
    run = runVelmora({"scan", "--root", (mac.tree / "missing").string()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("Die Wurzel existiert nicht"), std::string::npos);
    run = runVelmora({"scan", "--root", mac.tree.root().string(), "--home", "/Users/nobody"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("Der Benutzerordner existiert nicht"), std::string::npos);
    run = runVelmora({"scan", "--platform", "windows"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("Unbekannte Plattform"), std::string::npos);
    EXPECT_EQ(runVelmora({"--version"}).out, "Velmora 2 (" VELMORA_VERSION ")\n");
    EXPECT_NE(runVelmora({}).out.find("Aufruf: velmora"), std::string::npos);
}

TEST(GuardCommand, AnswersEveryPathInsideTheRoot) {
    MacTree mac;
    mac.tree.link("Users/anna/Library/Caches/sneaky", "/Users/anna/.ssh");
    mac.tree.folder("Users/anna/.ssh");
    const auto run =
        runVelmora(mac.args({"guard", "/Users/anna/Library/Caches/com.example", "/Users/anna/Documents/x",
                             "/Users/anna/Library/Caches/sneaky/id_rsa", "relative/path"}));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out,
              "/Users/anna/Library/Caches/com.example: erlaubt\n"
              "/Users/anna/Documents/x: gesperrt: Persönlicher Ordner – wird nie angefasst\n"
              "/Users/anna/Library/Caches/sneaky/id_rsa: gesperrt: Zugangsdaten werden nie angefasst\n"
              "relative/path: gesperrt: Liegt außerhalb der erlaubten Ordner\n");
    EXPECT_EQ(runVelmora(mac.args({"guard", "/Users/anna/Library/Caches/a"})).status, 0);
}

TEST(KeepCommand, SurvivesGarbageAndReadOnlyFoldersWithoutLosingData) {
    MacTree mac;
    const auto folder = mac.home / "Library/Application Support/Velmora2";
    EXPECT_EQ(runVelmora(mac.args({"kept"})).out, "Du behältst keine Funde.\n");
    mac.tree.file("Users/anna/Library/Application Support/Velmora2/keep.json", "{ garbage");
    auto run = runVelmora(mac.args({"keep", "xcode.archives", "ai.huggingFace//Users/anna/x"}));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(runVelmora(mac.args({"kept"})).out, "ai.huggingFace//Users/anna/x\nxcode.archives\n");
    // The unreadable original was set aside, not lost.
    EXPECT_TRUE(fs::exists(folder / "keep.json.bad"));

    EXPECT_EQ(runVelmora(mac.args({"unkeep", "xcode.archives"})).status, 0);
    EXPECT_EQ(runVelmora(mac.args({"kept"})).out, "ai.huggingFace//Users/anna/x\n");
    EXPECT_EQ(runVelmora(mac.args({"keep", ""})).status, 2);
    // Bytes that are not UTF-8 would be stored altered and keep nothing.
    EXPECT_EQ(runVelmora(mac.args({"keep", "xcode.derivedData", "dev.npm/Users/j\xF6rg"})).err,
              "velmora: Ungültige Kennung „dev.npm/Users/j\\xf6rg“: kein gültiger UTF-8-Text, so kann "
              "sie nicht behalten werden.\n");
    EXPECT_EQ(runVelmora(mac.args({"kept"})).out, "ai.huggingFace//Users/anna/x\n");

    if (::geteuid() == 0)
        GTEST_SKIP() << "root can write into read-only folders";
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    run = runVelmora(mac.args({"keep", "languages.npm"}));
    fs::permissions(folder, fs::perms::owner_all);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("Konnte die Behalten-Liste nicht speichern."), std::string::npos);
    EXPECT_EQ(runVelmora(mac.args({"kept"})).out, "ai.huggingFace//Users/anna/x\n");
}
