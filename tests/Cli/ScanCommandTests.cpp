#include "Cli/CliTestSupport.hpp"
#include "Cli/ScanPresentation.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <regex>

using namespace velmora;
using namespace velmora::testing;

namespace {

namespace fs = std::filesystem;

struct MacTree : CliTree {
    MacTree() {
        tree.file("Users/anna/Library/Developer/Xcode/DerivedData/App-abc/Build/x.o",
                  std::string(70'000, 'x'));
        tree.file("Users/anna/Library/Developer/Xcode/DerivedData/Other-def/y.o", std::string(5'000, 'y'));
        tree.file("Users/anna/.npm/_cacache/content/a", std::string(20'000, 'n'));
        const auto blob = tree.file("Users/anna/.cache/huggingface/hub/models--org--model/blobs/b",
                                    std::string(90'000, 'h'));
        fs::create_directories(home / ".cache/huggingface/hub/models--org--model/snapshots");
        fs::create_hard_link(blob, home / ".cache/huggingface/hub/models--org--model/snapshots/weights");
        tree.file("Users/anna/Documents/thesis.tex", "keep me");
    }
};

} // namespace

// Which rows match what is the catalogue's business; here the report must carry every field, with
// the sizes the real meter gives.
TEST(ScanCommand, JsonAndTextReportTheFindingsWithAllocatedSizesAndKeptOnesLeaveTheTotal) {
    MacTree mac;
    auto run = mac.run({"scan", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto report = nlohmann::json::parse(run.out);
    std::map<std::string, nlohmann::json> byID;
    for (const auto& finding : report["findings"])
        byID[finding["id"]["scannerID"]] = finding;
    std::vector<std::string> ids;
    for (const auto& [id, finding] : byID)
        ids.push_back(id);
    ASSERT_EQ(ids, (std::vector<std::string>{"ai.huggingFace", "languages.npm", "xcode.derivedData"}))
        << run.out;

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
        EXPECT_EQ(item["size"].get<std::int64_t>(), filesBytes(url)) << url;
        sum += item["size"].get<std::int64_t>();
    }
    EXPECT_EQ(derived["size"], sum);
    EXPECT_TRUE(derived["commandPreview"].get<std::string>().starts_with("rm -rf "));
    EXPECT_EQ(byID["ai.huggingFace"]["items"][0]["name"], "org/model");
    // A script must know which findings go only as a whole.
    EXPECT_TRUE(derived["itemsSelectable"]);
    EXPECT_FALSE(byID["languages.npm"]["itemsSelectable"]);

    std::int64_t total = 0;
    for (const auto& [id, finding] : byID)
        total += finding["size"].get<std::int64_t>();
    EXPECT_EQ(report["totalBytes"], total);
    EXPECT_TRUE(report["failures"].empty());

    // The text groups by tab and category; kept findings leave the total.
    run = mac.run({"scan"});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto developer = run.out.find("\nEntwickler\n");
    const auto storage = run.out.find("\nSpeicher\n");
    ASSERT_NE(developer, std::string::npos) << run.out;
    ASSERT_NE(storage, std::string::npos);
    EXPECT_LT(storage, developer); // tabs in display order
    EXPECT_THAT(run.out, HasSubstr("  KI-Reste\n    Hugging Face"));
    EXPECT_THAT(run.out, HasSubstr("DerivedData"));
    EXPECT_THAT(run.out, HasSubstr("Freigebbar: "));

    ASSERT_EQ(mac.run({"keep", "xcode.derivedData"}).status, 0);
    run = mac.run({"scan"});
    EXPECT_TRUE(std::regex_search(
        run.out, std::regex(R"(DerivedData +[0-9,]+ kB +behalten +2 Einträge +\[xcode\.derivedData\])")))
        << run.out;
    const auto json = nlohmann::json::parse(mac.run({"scan", "--json"}).out);
    std::int64_t withoutKept = 0;
    for (const auto& finding : json["findings"]) {
        const bool kept = finding["kept"];
        EXPECT_EQ(kept, finding["id"]["scannerID"] == "xcode.derivedData");
        if (!kept)
            withoutKept += finding["size"].get<std::int64_t>();
    }
    EXPECT_EQ(json["totalBytes"], withoutKept);
}

TEST(ScanCommand, BigChunksAndThePhotosLibraryAreListedApartFromTheFindings) {
    const ScanReport report{
        {}, {}, {{"/h/Movies", 3'000'000'000}, {"/h/alt", 1'200'000'000}}, PhotosInfo{"/h/P", {}}};
    const auto json = cli::scanReportJSON(report, {});
    EXPECT_EQ(json["bigChunks"][1].dump(), R"({"bytes":1200000000,"path":"/h/alt"})");
    EXPECT_EQ(json["photos"].dump(), R"({"bytes":null,"library":"/h/P"})");
    std::ostringstream text;
    cli::printScanReport(text, report, {});
    EXPECT_THAT(text.str(),
                HasSubstr("Große Brocken (von keiner Regel erklärt, nur zum Ansehen):\n        3 GB  "
                          "/h/Movies\n      1,2 GB  /h/alt\n\nFotomediathek: Größe unbekannt  /h/P\n"))
        << text.str();
}

TEST(ScanCommand, WrongUsageExitsWithTwoAndAGermanMessage) {
    MacTree mac;
    const std::vector<std::pair<std::vector<std::string>, std::string>> misuses{
        {{"scan", "--bogus"}, "Unbekanntes Argument"},
        {{"scan", "--root", (mac.tree / "missing").string()}, "Die Wurzel existiert nicht"},
        {{"scan", "--root", mac.tree.root().string(), "--home", "/Users/nobody"},
         "Der Benutzerordner existiert nicht"},
        {{"scan", "--platform", "windows"}, "Unbekannte Plattform"}};
    for (const auto& [words, message] : misuses) {
        const auto run = runVelmora(words);
        EXPECT_EQ(run.status, 2) << message;
        EXPECT_THAT(run.err, HasSubstr(message));
    }
    EXPECT_EQ(runVelmora({"--version"}).out, "Velmora 2 (" VELMORA_VERSION ")\n");
    EXPECT_THAT(runVelmora({}).out, HasSubstr("Aufruf: velmora"));
}

// Which path gets which answer is the guard's business; here each path is answered inside the root.
TEST(GuardAndKeepCommands, GuardAnswersInsideTheRootKeepKeepsUnkeepsAndRefusesWhatItCannotStore) {
    MacTree mac;
    auto run = mac.run({"guard", "/Users/anna/Library/Caches/com.example", "/Users/anna/Documents/x"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "/Users/anna/Library/Caches/com.example: erlaubt\n"
                       "/Users/anna/Documents/x: gesperrt: Persönlicher Ordner – wird nie angefasst\n");
    EXPECT_EQ(mac.run({"guard", "/Users/anna/Library/Caches/a"}).status, 0);

    EXPECT_EQ(mac.run({"kept"}).out, "Du behältst keine Funde.\n");
    run = mac.run({"keep", "xcode.archives", "ai.huggingFace//Users/anna/x"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(mac.run({"kept"}).out, "ai.huggingFace//Users/anna/x\nxcode.archives\n");
    EXPECT_EQ(mac.run({"unkeep", "xcode.archives"}).status, 0);
    EXPECT_EQ(mac.run({"kept"}).out, "ai.huggingFace//Users/anna/x\n");
    EXPECT_EQ(mac.run({"keep", ""}).status, 2);
    // Bytes that are not UTF-8 would be stored altered and keep nothing.
    EXPECT_EQ(mac.run({"keep", "xcode.derivedData", "dev.npm/Users/j\xF6rg"}).err,
              "velmora: Ungültige Kennung „dev.npm/Users/j\\xf6rg“: kein gültiger UTF-8-Text, so kann "
              "sie nicht behalten werden.\n");
    EXPECT_EQ(mac.run({"kept"}).out, "ai.huggingFace//Users/anna/x\n");

    // A file where the list's folder belongs: the list cannot be stored, also for root.
    fs::remove_all(mac.home / "Library/Application Support/Velmora2");
    mac.tree.file("Users/anna/Library/Application Support/Velmora2", "");
    run = mac.run({"keep", "languages.npm"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("Konnte die Behalten-Liste nicht speichern."));
}
