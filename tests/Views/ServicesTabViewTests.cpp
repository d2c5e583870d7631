#include "ViewFixture.hpp"

#include "Services/ServicesLoad.hpp"
#include "Views/ServicesTabView.hpp"

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

namespace velmora {
namespace {

// Where the tick box is: a check box takes clicks on its box and text, not on the room it stretches to.
QPoint indicator(const QWidget* box) {
    return {box->height() / 2, box->height() / 2};
}

using testing::qs;

LaunchItem service(LaunchScope scope, std::string label, bool orphaned) {
    LaunchItem item;
    item.id = std::string(rawValue(scope)) + "/" + label;
    item.label = label;
    item.scope = scope;
    item.displayName = "Dienst " + label;
    item.explanation = orphaned ? "Die zugehörige App ist nicht mehr installiert." : "Gehört zu Foo.";
    item.isOrphaned = orphaned;
    return item;
}

struct ServicesTabTest : testing::ViewFixture {
    ServicesLoad load{{service(LaunchScope::user, "com.gone.agent", true),
                       service(LaunchScope::user, "com.kept.agent", false),
                       service(LaunchScope::allUsers, "com.shared.agent", true)},
                      false,
                      {{"allUsers/com.shared.agent", "Ein gleichnamiger, intakter Dienst läuft."},
                       {"user/com.kept.agent", "Der Dienst ist nicht verwaist."}}};
    std::vector<std::vector<std::string>> removed; // the ids of each removal request

    ServicesTabTest() {
        deps.loadServices = [this](const std::filesystem::path&, StopToken) { return load; };
        deps.removeServices = [this](const std::vector<LaunchItem>& items, bool, const auto&, StopToken) {
            std::vector<std::string> ids;
            std::vector<ServiceOutcome> outcomes;
            for (const auto& item : items) {
                ids.push_back(item.id);
                outcomes.push_back(
                    {{"services.orphaned", ""}, item.id, "user", item.label, "weg", ItemOutcome::removed(0)});
            }
            removed.push_back(ids);
            return outcomes;
        };
    }
    QCheckBox* box(QWidget& view, const std::string& label) {
        for (auto* candidate : view.findChildren<QCheckBox*>())
            if (candidate->isVisibleTo(&view) && candidate->text() == qs("Dienst " + label))
                return candidate;
        return nullptr;
    }
    QPushButton* button(QWidget& view, const QString& text) {
        for (auto* candidate : view.findChildren<QPushButton*>())
            if (candidate->text() == text)
                return candidate;
        return nullptr;
    }
    bool shows(QWidget& view, const QString& text) {
        for (auto* label : view.findChildren<QLabel*>())
            if (label->isVisibleTo(&view) && label->text().contains(text))
                return true;
        return false;
    }
};

TEST_F(ServicesTabTest, AnOrphanedServiceIsChosenConfirmedAndRemovedAlone) {
    auto& model = make();
    ServicesTabView view(model);
    view.show();
    ASSERT_TRUE(settle());
    ASSERT_TRUE(model.hasLoadedServices());
    auto* remove = button(view, "Ausgewählte Dienste entfernen …");
    ASSERT_NE(remove, nullptr);
    EXPECT_FALSE(remove->isEnabled());
    auto* gone = box(view, "com.gone.agent");
    ASSERT_NE(gone, nullptr);
    QTest::mouseClick(gone, Qt::LeftButton, {}, indicator(gone));
    EXPECT_EQ(model.selectedServices(), std::set<std::string>{"user/com.gone.agent"});
    ASSERT_TRUE(remove->isEnabled());

    QTest::mouseClick(remove, Qt::LeftButton);
    auto* confirm = view.findChild<QMessageBox*>("confirmServices");
    ASSERT_NE(confirm, nullptr);
    EXPECT_TRUE(confirm->text().contains("Papierkorb"));
    EXPECT_TRUE(removed.empty()); // nothing before the confirmation
    for (auto* candidate : confirm->buttons())
        if (candidate->text() == "Entfernen")
            QTest::mouseClick(candidate, Qt::LeftButton, {}, indicator(candidate));
    ASSERT_TRUE(settle());
    EXPECT_EQ(removed, (std::vector<std::vector<std::string>>{{"user/com.gone.agent"}}));
    EXPECT_TRUE(model.lastRemovalWasServices());
    EXPECT_TRUE(shows(view, "Dienst com.gone.agent: "));
}

TEST_F(ServicesTabTest, WhatIsNotOrphanedOrIsBlockedCannotBeChosenAndSaysWhy) {
    auto& model = make();
    ServicesTabView view(model);
    view.show();
    ASSERT_TRUE(settle());
    EXPECT_EQ(box(view, "com.kept.agent"), nullptr); // not orphaned: nothing to tick
    auto* shared = box(view, "com.shared.agent");
    ASSERT_NE(shared, nullptr);
    EXPECT_FALSE(shared->isEnabled());
    QTest::mouseClick(shared, Qt::LeftButton, {}, indicator(shared));
    model.toggleService("user/com.kept.agent");
    EXPECT_TRUE(model.selectedServices().empty());
    model.toggleService("allUsers/com.shared.agent"); // the model refuses it too
    EXPECT_TRUE(model.selectedServices().empty());
    EXPECT_TRUE(shows(view, "Nicht entfernbar: Ein gleichnamiger, intakter Dienst läuft."));
    EXPECT_FALSE(shows(view, qs(loginItemsFailedText)));
}

TEST_F(ServicesTabTest, SaysWhenTheLoginItemsCouldNotBeRead) {
    load.loginItemsFailed = true;
    auto& model = make();
    ServicesTabView view(model);
    view.show();
    ASSERT_TRUE(settle());
    EXPECT_TRUE(shows(view, qs(loginItemsFailedText)));
}

} // namespace
} // namespace velmora
