#include "Check/CheckRunner.hpp"
#include "Doubles/FakeScanner.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "SystemData/SystemDataScan.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace velmora;
using namespace velmora::testing;

namespace {

namespace fs = std::filesystem;
constexpr std::int64_t GB = 1'000'000'000;

// `onContainer` < 0: all of it lies on the container.
MeasuredArea area(std::string id, std::optional<std::int64_t> size, bool lowerBound = false,
                  std::int64_t onContainer = -1) {
    MeasuredArea measured;
    measured.area.id = std::move(id);
    measured.size = size;
    measured.lowerBound = lowerBound;
    measured.bytesOnContainer = onContainer < 0 ? size.value_or(0) : onContainer;
    return measured;
}

struct FailingVolumes final : VolumeSource {
    std::expected<VolumeInventoryResult, VolumeInventoryError> load(StopToken) const override {
        return std::unexpected(VolumeInventoryError::invalidPlist);
    }
};

} // namespace

// The remainder is what the used space leaves once the areas on the container (and on a Mac the
// volumes beside the data volume) are taken off; it never hides behind a negative number.
TEST(SystemDataScan, RemainderTakesOffOnlyWhatLiesOnTheContainer) {
    SystemDataReport mac;
    mac.containerSize = 200 * GB;
    mac.containerFree = 50 * GB;
    mac.containerUsed = 150 * GB;
    mac.volumes = {{"Macintosh HD", VolumeRole::system, 10 * GB},
                   {"Preboot", VolumeRole::preboot, 1 * GB},
                   {"VM", VolumeRole::vm, 2 * GB},
                   {"Data", VolumeRole::data, 137 * GB}};
    mac.areas = {area("systemdata.snapshots", std::nullopt, true, 0),
                 area("systemdata.home", 60 * GB),
                 area("systemdata.vm", 2 * GB, false, 0),
                 area("systemdata.libraryCaches", 5 * GB, true),
                 area("systemdata.applications", 10 * GB),
                 area("systemdata.otherUsers", 9 * GB, false, 4 * GB)};
    SystemDataScan::settle(mac, PlatformLayout::macOS);
    EXPECT_EQ(mac.unassigned, 150 * GB - 13 * GB - 79 * GB);
    EXPECT_TRUE(mac.unassignedUpperBound);
    std::vector<std::string> order;
    for (const auto& a : mac.areas)
        order.push_back(a.area.id);
    EXPECT_EQ(order, (std::vector<std::string>{"systemdata.home", "systemdata.applications",
                                               "systemdata.otherUsers", "systemdata.libraryCaches",
                                               "systemdata.vm", "systemdata.snapshots"}));

    // On Linux the volumes are other file systems, never part of the root's used space.
    SystemDataReport linux = mac;
    SystemDataScan::settle(linux, PlatformLayout::linux);
    EXPECT_EQ(linux.unassigned, 150 * GB - 79 * GB);

    // Explaining more than is used leaves nothing; unknown disk figures leave the remainder unknown.
    for (const auto used : {std::optional<std::int64_t>{1 * GB}, std::optional<std::int64_t>{}}) {
        SystemDataReport report;
        report.containerUsed = used;
        report.areas = {area("systemdata.programs", 3 * GB)};
        SystemDataScan::settle(report, PlatformLayout::linux);
        EXPECT_EQ(std::pair(report.unassigned, report.unassignedUpperBound),
                  std::pair(used ? std::optional<std::int64_t>{0} : std::nullopt, false));
    }
}

TEST(LocalSnapshots, NamesComeFromTheRecordedOutputAndNothingElse) {
    std::ifstream file(fs::path(VELMORA_FIXTURES) /
                       "systemdata/tmutil-listlocalsnapshots-volumegroup-2021.txt");
    std::stringstream recorded;
    recorded << file.rdbuf();
    const auto names = LocalSnapshots::parse(recorded.str() + "\r\n\nkein Name\nx\x01y\n");
    ASSERT_EQ(names.size(), 4u);
    EXPECT_EQ(names.front(), "com.apple.TimeMachine.2021-07-23-151043.local");
    EXPECT_EQ(names.back(), "com.apple.TimeMachine.2021-08-23-084026.local");

    auto runner = std::make_shared<test::ScriptedCommandRunner>();
    runner->expect("/usr/bin/tmutil", {"listlocalsnapshots", "/"}).returns(1, "", "No such volume");
    const auto failed = LocalSnapshots(runner).list();
    ASSERT_FALSE(failed);
    EXPECT_NE(failed.error().find("Exit 1"), std::string::npos);
}

// A Mac-shaped tree whose volumes cannot be read: the areas are still measured, the remainder stays
// unknown and the notice says why, word for word.
TEST(SystemDataScan, UnreadableVolumesLeaveTheRemainderUnknownAndSaySo) {
    TempTree tree;
    tree.file("Users/anna/Documents/a.txt", std::string(40'000, 'a'));
    tree.file("Library/Caches/com.example/cache.db", std::string(300'000, 'c'));
    auto runner = std::make_shared<test::ScriptedCommandRunner>();
    runner->expect("/usr/bin/tmutil")
        .returns(0, "Snapshots for disk /:\ncom.apple.TimeMachine.2026-11-01-100000.local\n");
    SystemDataScan scan({std::make_shared<FailingVolumes>(), std::make_shared<LocalSnapshots>(runner),
                         std::make_shared<SystemDataMeasurer>(std::make_shared<SizeMeter>()), nullptr});
    ScanContext context;
    context.layout = PlatformLayout::macOS;
    context.rootPrefix = tree.root();
    context.home = tree / "Users/anna";
    context.sizer = std::make_shared<SizeMeter>();
    std::vector<double> shares;
    const auto report = scan.run(context, {}, [&](double share) { shares.push_back(share); });

    EXPECT_EQ(report.notices,
              (std::vector<SystemDataNotice>{
                  {"systemdata.volumes", volumeNoticeText(VolumeInventoryError::invalidPlist)}}));
    EXPECT_EQ(report.unassigned, std::nullopt);
    std::map<std::string, MeasuredArea> byID; // `at` fails the test for an area not measured
    for (const auto& measured : report.areas)
        byID.emplace(measured.area.id, measured);
    EXPECT_GE(byID.at("systemdata.libraryCaches").size.value_or(0), 300'000);
    EXPECT_EQ(byID.at("systemdata.snapshots").size, std::nullopt);
    EXPECT_TRUE(byID.at("systemdata.snapshots").detail.starts_with("1 lokaler Schnappschuss"));
    EXPECT_TRUE(std::ranges::is_sorted(shares) && shares.back() == 1.0);
}

// Area sizes are watched for growth but never counted as cleanable; their lower bounds are kept.
TEST(CheckRunner, SystemAreasEnterTheSnapshotButNotTheCleanableTotal) {
    TempTree tree;
    auto engine =
        std::make_shared<const ScanEngine>(std::vector<std::shared_ptr<Scanner>>{FakeScanner::returning(
                                               "languages.npm", {makeFinding("languages.npm", {"/n"}, GB)})},
                                           std::chrono::seconds{5});
    auto history = std::make_shared<CheckHistory>(tree / "history.json");
    const CheckRunner runner(
        engine, std::make_shared<KeepList>(tree / "keep.json"), history,
        [](const ScanContext&, StopToken) {
            CheckRunner::SystemRoots roots;
            roots.findings = {makeFinding("systemdata.oldTempFiles", {"/t"}, 2 * GB)};
            roots.areaSizes = {{"systemdata.logs", 7 * GB}};
            roots.areaTitles = {{"systemdata.logs", "Protokolle"}};
            roots.lowerBoundIDs = {"systemdata.logs"};
            return roots;
        },
        nullptr, nullptr);
    ScanContext context;
    context.home = tree.root();
    const auto snapshot = runner.run(context);
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->cleanableTotal, 3 * GB);
    EXPECT_EQ(snapshot->sizes.at("systemdata.logs"), 7 * GB);
    EXPECT_EQ(snapshot->sizes.at("systemdata.oldTempFiles"), 2 * GB);
    EXPECT_EQ(snapshot->titles.at("systemdata.logs"), "Protokolle");
    EXPECT_TRUE(snapshot->lowerBoundIDs.contains("systemdata.logs"));
}
