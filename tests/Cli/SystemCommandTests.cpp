#include "Cli/CliTestSupport.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

using namespace velmora;
using namespace velmora::testing;

namespace {

namespace fs = std::filesystem;

// A Mac-shaped tree whose diskutil prints `plist`, the way a recorded output stands in for the tool.
void fillMacTree(const TempTree& tree, const fs::path& plist) {
    tree.file("Users/anna/Documents/a.txt");
    tree.file("Library/Caches/com.example/cache.db", std::string(100'000, 'c'));
    fs::copy_file(plist, tree.file("recorded/apfs.plist"), fs::copy_options::overwrite_existing);
    const auto tool = tree.file("usr/sbin/diskutil", "#!/bin/sh\nexec /bin/cat \"" +
                                                         (tree / "recorded/apfs.plist").string() + "\"\n");
    ::chmod(tool.c_str(), 0755);
}

} // namespace

TEST(SystemCommand, RecordedVolumesAreReadThroughTheStandInAndABrokenPlistBecomesTheNotice) {
    const auto recorded =
        fs::path(VELMORA_FIXTURES) / "systemdata/volumes/apfs-list-applesilicon-nixstore.plist";
    const CliTree mac;
    const auto& tree = mac.tree;
    fillMacTree(tree, recorded);
    auto run = mac.run({"system", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["containerSize"], 1995218165760);
    EXPECT_EQ(json["containerFree"], 1897427308544);
    std::vector<std::string> volumes;
    for (const auto& volume : json["volumes"])
        volumes.push_back(volume["name"].get<std::string>() + ":" + volume["role"].get<std::string>());
    EXPECT_EQ(volumes,
              (std::vector<std::string>{"Macintosh HD:system", "Preboot:preboot", "Recovery:recovery",
                                        "Update:other", "Data:data", "VM:vm", "Nix Store:other"}));
    EXPECT_TRUE(json["simulatorVolumes"].empty());
    EXPECT_TRUE(json["unassigned"].is_number());
    bool cachesListed = false;
    for (const auto& area : json["areas"])
        cachesListed = cachesListed || (area["id"] == "systemdata.libraryCaches" && area["size"] >= 100'000);
    EXPECT_TRUE(cachesListed) << run.out;

    // Clean-up findings exist only once the system data is measured; clean does that for their ids.
    run = mac.run({"clean", "systemdata.clearLibraryCaches", "--dry-run", "--yes"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Braucht dein Admin-Passwort"));
    EXPECT_THAT(run.out, HasSubstr("com.example: übersprungen: Trockenlauf"));

    tree.file("recorded/apfs.plist", "<?xml version=\"1.0\"?><plist><dict><key>Containers</key>");
    run = mac.run({"system"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Die Volumes konnten nicht gelesen werden ("));
    EXPECT_THAT(run.out, HasSubstr("). Der nicht zugeordnete Anteil bleibt unbekannt."));
    EXPECT_THAT(run.out, HasSubstr("Nicht zugeordnet: unbekannt."));
}
