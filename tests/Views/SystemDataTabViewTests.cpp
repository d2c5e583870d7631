#include "ViewFixture.hpp"

#include "SystemData/VolumeInventoryError.hpp"
#include "Views/SystemDataChart.hpp"
#include "Views/SystemDataTabView.hpp"

#include <QCheckBox>
#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>

namespace velmora {
namespace {

// Where the tick box is: a check box takes clicks on its box and text, not on the room it stretches to.
QPoint indicator(const QWidget* box) {
    return {box->height() / 2, box->height() / 2};
}

MeasuredArea area(std::string id, std::optional<std::int64_t> size, bool lowerBound, std::int64_t onDisk) {
    MeasuredArea measured;
    measured.area = {std::move(id), "Bereich", "Urteil.", {"/private/var/folders"}, AreaKind::system};
    measured.size = size;
    measured.lowerBound = lowerBound;
    measured.bytesOnContainer = onDisk;
    return measured;
}

struct SystemDataTabTest : testing::ViewFixture {
    int measurements = 0;
    SystemDataReport report;

    SystemDataTabTest() {
        report.areas = {area("systemdata.logs", 3'000'000'000, true, 3'000'000'000),
                        area("systemdata.snapshots", std::nullopt, false, 0)};
        report.findings = {testing::demoFinding("system.oldLogs", "Alte Protokolle", Risk::safe,
                                                {"/private/var/log/a"}, 800)};
        deps.measureSystemData = [this](const ScanContext&, StopToken, const std::function<void(double)>&) {
            ++measurements;
            return report;
        };
    }
    QStringList texts(QWidget& view, const QString& objectName = {}) {
        QStringList all;
        // Replaced rows linger hidden until the event loop deletes them.
        for (auto* label : view.findChildren<QLabel*>(objectName))
            if (label->isVisibleTo(&view))
                all << label->text();
        return all;
    }
};

TEST_F(SystemDataTabTest, MeasuresOnFirstShowAndOnRequestOnly) {
    auto& model = make();
    SystemDataTabView view(model);
    EXPECT_EQ(measurements, 0); // built but never shown
    view.show();
    ASSERT_TRUE(settle());
    EXPECT_EQ(measurements, 1);
    view.hide();
    view.show();
    ASSERT_TRUE(settle());
    EXPECT_EQ(measurements, 1);
    auto* again = view.findChild<QPushButton*>();
    ASSERT_EQ(again->text(), "Neu messen");
    QTest::mouseClick(again, Qt::LeftButton);
    ASSERT_TRUE(settle());
    EXPECT_EQ(measurements, 2);
}

TEST_F(SystemDataTabTest, ALowerBoundIsShownAsAtLeastAndAnUnknownSizeAsUnknown) {
    auto& model = make();
    SystemDataTabView view(model);
    view.show();
    ASSERT_TRUE(settle());
    EXPECT_EQ(texts(view, "areaSize"), (QStringList{"mindestens 3 GB", "unbekannt"}));
}

TEST_F(SystemDataTabTest, TheVolumesNoticeAndAFindingThatCanBeChosen) {
    report.notices = {{std::string(volumeNoticeID), "Die Volumes konnten nicht gelesen werden (x)."}};
    auto& model = make();
    SystemDataTabView view(model);
    view.show();
    ASSERT_TRUE(settle());
    EXPECT_TRUE(texts(view).contains("Die Volumes konnten nicht gelesen werden (x)."));
    QPushButton* remove = nullptr;
    for (auto* button : view.findChildren<QPushButton*>())
        if (button->text() == "Auswahl entfernen …")
            remove = button;
    ASSERT_NE(remove, nullptr);
    EXPECT_FALSE(remove->isEnabled());
    QCheckBox* box = nullptr;
    for (auto* candidate : view.findChildren<QCheckBox*>())
        if (candidate->isVisibleTo(&view) && candidate->text() == "Alte Protokolle")
            box = candidate;
    ASSERT_NE(box, nullptr);
    QCoreApplication::processEvents(); // lays the new rows out, as before anyone could click them
    QTest::mouseClick(box, Qt::LeftButton, {}, indicator(box));
    EXPECT_TRUE(model.isSelected(report.findings[0].id));
    EXPECT_TRUE(remove->isEnabled());
}

TEST(SystemDataSlices, SplitTheContainerByHowTheDiskIsShared) {
    SystemDataReport mac;
    mac.containerSize = 1000'000'000'000;
    mac.containerFree = 400'000'000'000;
    mac.containerUsed = 600'000'000'000;
    mac.volumes = {{"Macintosh HD", VolumeRole::system, 10'000'000'000},
                   {"VM", VolumeRole::vm, 2'000'000'000},
                   {"Data", VolumeRole::data, 588'000'000'000}};
    mac.areas = {area("systemdata.home", 500'000'000'000, false, 500'000'000'000),
                 area("systemdata.logs", 3'000'000'000, true, 3'000'000'000),
                 area("systemdata.cache", 2'000'000'000, false, 2'000'000'000)};
    mac.unassigned = 83'000'000'000;
    mac.unassignedUpperBound = true;
    using K = SystemDataSlice::Kind;
    const auto slices = systemDataSlices(mac);
    struct Expected {
        K kind;
        std::string title;
        std::int64_t bytes;
        bool atLeast, atMost;
    };
    const std::vector<Expected> expected = {{K::volume, "Volume System", 10'000'000'000, false, false},
                                            {K::volume, "Volume Auslagerung", 2'000'000'000, false, false},
                                            {K::area, "Bereich", 500'000'000'000, false, false},
                                            {K::area, "Weitere Bereiche", 5'000'000'000, true, false},
                                            {K::unassigned, "Nicht zugeordnet", 83'000'000'000, false, true},
                                            {K::free, "Frei", 400'000'000'000, false, false}};
    ASSERT_EQ(slices.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(slices[i].kind, expected[i].kind) << i;
        EXPECT_EQ(slices[i].title, expected[i].title) << i;
        EXPECT_EQ(slices[i].bytes, expected[i].bytes) << i;
        EXPECT_EQ(slices[i].atLeast, expected[i].atLeast) << i;
        EXPECT_EQ(slices[i].atMost, expected[i].atMost) << i;
    }

    // A root file system holds all its used space itself: its volume and the swap are no part of it.
    auto rootFs = mac;
    rootFs.volumes = {{"/", VolumeRole::system, 600'000'000'000},
                      {"/swapfile", VolumeRole::vm, 2'000'000'000}};
    const auto rootSlices = systemDataSlices(rootFs);
    EXPECT_TRUE(std::ranges::none_of(rootSlices, [](const auto& s) { return s.kind == K::volume; }));
    EXPECT_EQ(rootSlices.size(), 4U);

    rootFs.containerUsed.reset();
    EXPECT_TRUE(systemDataSlices(rootFs).empty());
}

} // namespace
} // namespace velmora
