#include "Views/SystemDataTabView.hpp"

#include "Findings/ByteFormat.hpp"
#include "Support/Text.hpp"
#include "SystemData/SystemDataText.hpp"
#include "SystemData/VolumeInventoryError.hpp"
#include "Views/RemovalSheet.hpp"
#include "Views/SectionWidgets.hpp"
#include "Views/SystemDataChart.hpp"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QShowEvent>
#include <QVBoxLayout>

#include <algorithm>

namespace velmora {

using namespace SectionWidgets;

namespace {

// Locations beyond these are counted, not listed: a long list would bury the verdict.
constexpr std::size_t shownLocations = 5;
// Items of one finding listed for choosing one by one.
constexpr std::size_t shownItems = 30;

QString outside(std::string_view text) {
    return qstr(Text::printable(text));
}

QString areaSizeText(const MeasuredArea& area) {
    if (!area.size)
        return QStringLiteral("unbekannt");
    return (area.lowerBound ? QStringLiteral("mindestens ") : QString()) +
           qstr(ByteFormat::fileSize(*area.size));
}

QLabel* sizeLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QFrame* card(QWidget* parent) {
    auto* frame = new QFrame(parent);
    frame->setFrameShape(QFrame::StyledPanel);
    frame->setAutoFillBackground(true);
    frame->setBackgroundRole(QPalette::Base);
    return frame;
}

QString volumeLine(const APFSVolume& volume) {
    return (volume.name.empty() ? QStringLiteral("(ohne Namen)") : outside(volume.name)) +
           QStringLiteral(" – ") + qstr(title(volume.role)) + QStringLiteral(", ") +
           qstr(ByteFormat::fileSize(volume.consumed));
}

} // namespace

SystemDataTabView::SystemDataTabView(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    auto* outer = new QVBoxLayout(this);

    const auto header = tabHeader(QStringLiteral("Woraus die Systemdaten bestehen"),
                                  QStringLiteral("Fortschritt der Messung"), 14, QStringLiteral("Neu messen"),
                                  QStringLiteral("Systemdaten neu messen"), this);
    status_ = header.status;
    progress_ = header.progress;
    progress_->setRange(0, 100);
    remeasure_ = header.action;
    connect(remeasure_, &QPushButton::clicked, this, [this] { model_.measureSystemData(); });
    outer->addLayout(header.layout);

    content_ = swappableContent(this);
    outer->addWidget(content_.scroll, 1);

    auto* footer = new QHBoxLayout;
    footer->addStretch(1);
    remove_ = new QPushButton(QStringLiteral("Auswahl entfernen …"), this);
    remove_->setAccessibleName(QStringLiteral("Ausgewählte Systemdaten entfernen"));
    connect(remove_, &QPushButton::clicked, this, &SystemDataTabView::openRemovalSheet);
    footer->addWidget(remove_);
    outer->addLayout(footer);
    setTabOrder(remeasure_, content_.scroll);
    setTabOrder(content_.scroll, remove_);

    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        switch (property) {
        case P::systemData:
        case P::kept:
            showReport();
            break;
        case P::isMeasuringSystemData:
            showProgress();
            if (!model_.systemData())
                showReport();
            break;
        case P::systemDataProgress:
            showProgress();
            break;
        case P::selection:
        case P::isRemoving:
            showSelection();
            break;
        default:
            break;
        }
    });
    showProgress();
    showReport();
}

void SystemDataTabView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous())
        model_.systemDataTabShown();
}

void SystemDataTabView::showProgress() {
    const bool measuring = model_.isMeasuringSystemData();
    progress_->setVisible(measuring);
    progress_->setValue(
        static_cast<int>(std::clamp(model_.systemDataProgress().value_or(0), 0.0, 1.0) * 100));
    status_->setText(measuring ? QStringLiteral("Wird gemessen …") : QString());
    remeasure_->setEnabled(!measuring);
}

void SystemDataTabView::showReport() {
    boxes_.clear();
    chart_ = nullptr;
    auto* fresh = new QWidget;
    auto* layout = new QVBoxLayout(fresh);
    layout->setContentsMargins(0, 0, 0, 0);
    const auto& data = model_.systemData();
    if (!data) {
        layout->addWidget(secondary(model_.isMeasuringSystemData()
                                        ? QStringLiteral("Die Systemdaten werden gemessen – das dauert einen "
                                                         "Moment.")
                                        : QStringLiteral("Noch nicht gemessen."),
                                    fresh));
    } else {
        for (const auto& notice : data->notices)
            layout->addWidget(banner(notice.id == volumeNoticeID ? BannerKind::warning : BannerKind::info,
                                     qstr(notice.text), fresh));
        if (const auto storage = SystemDataText::storageLine(*data))
            layout->addWidget(wrapped(qstr(*storage), fresh));
        if (auto slices = systemDataSlices(*data); !slices.empty()) {
            chart_ = new SystemDataChart(fresh);
            chart_->setSlices(std::move(slices));
            layout->addWidget(chart_);
        }
        layout->addWidget(secondary(qstr(SystemDataText::unassignedSentence(*data)), fresh));
        if (!data->volumes.empty() || !data->simulatorVolumes.empty()) {
            QStringList lines;
            for (const auto& volume : data->volumes)
                lines << volumeLine(volume);
            for (const auto& volume : data->simulatorVolumes)
                lines << volumeLine(volume) + QStringLiteral(" (eigener Container)");
            auto* volumes = secondary(QStringLiteral("Volumes: ") + lines.join(QStringLiteral("; ")), fresh);
            volumes->setAccessibleName(QStringLiteral("Volumes"));
            layout->addWidget(volumes);
        }

        layout->addSpacing(fontMetrics().height() / 2);
        layout->addWidget(heading(QStringLiteral("Bereiche, nach Größe"), fresh));
        for (const auto& area : data->areas)
            layout->addWidget(areaRow(area, fresh));

        layout->addSpacing(fontMetrics().height() / 2);
        layout->addWidget(heading(QStringLiteral("Aufräumen"), fresh));
        if (data->findings.empty())
            layout->addWidget(
                secondary(QStringLiteral("Nichts, was sich gefahrlos entfernen ließe."), fresh));
        for (const auto& finding : data->findings)
            layout->addWidget(findingRow(finding, fresh));
        for (const auto& failure : data->failures)
            layout->addWidget(
                banner(BannerKind::info, outside(failure.scannerID + ": " + failure.message), fresh));
    }
    swapIn(content_, fresh);
    showSelection();
}

QWidget* SystemDataTabView::areaRow(const MeasuredArea& area, QWidget* parent) {
    auto* row = card(parent);
    auto* layout = new QVBoxLayout(row);
    auto* top = new QHBoxLayout;
    auto* name = new QLabel(qstr(area.area.title), row);
    QFont bold = name->font();
    bold.setBold(true);
    name->setFont(bold);
    top->addWidget(name, 1);
    auto* size = sizeLabel(areaSizeText(area), row);
    size->setObjectName(QStringLiteral("areaSize"));
    top->addWidget(size);
    layout->addLayout(top);
    layout->addWidget(wrapped(qstr(area.area.verdict), row));
    if (!area.detail.empty())
        layout->addWidget(secondary(outside(area.detail), row));
    if (area.lowerBound && area.size)
        layout->addWidget(secondary(qstr(SystemDataText::lowerBoundNote), row));
    if (const auto note = SystemDataText::placementNote(area))
        layout->addWidget(secondary(qstr(*note), row));
    if (!area.area.locations.empty()) {
        QStringList places;
        for (std::size_t i = 0; i < area.area.locations.size() && i < shownLocations; ++i)
            places << outside(area.area.locations[i].string());
        if (area.area.locations.size() > shownLocations)
            places << QStringLiteral("… und %1 weitere").arg(area.area.locations.size() - shownLocations);
        layout->addWidget(secondary(places.join(QLatin1Char('\n')), row));
    }
    row->setAccessibleName(qstr(area.area.title) + QStringLiteral(", ") + areaSizeText(area));
    return row;
}

QCheckBox* SystemDataTabView::selectionBox(const QString& text, const SelectionEntry& entry, bool selectable,
                                           QWidget* parent) {
    auto* box = new QCheckBox(text, parent);
    box->setAccessibleName(text);
    box->setEnabled(selectable);
    // `clicked` comes only from the person, not from showSelection() setting the state.
    connect(box, &QCheckBox::clicked, this, [this, entry](bool checked) {
        if (entry.item.empty())
            checked ? model_.select(entry.finding) : model_.deselect(entry.finding);
        else
            checked ? model_.selectItem(entry.finding, entry.item)
                    : model_.deselectItem(entry.finding, entry.item);
    });
    boxes_.push_back({entry, box});
    return box;
}

QWidget* SystemDataTabView::findingRow(const Finding& finding, QWidget* parent) {
    auto* row = card(parent);
    auto* layout = new QVBoxLayout(row);
    const bool kept = model_.kept().contains(finding.id);
    const bool selectable = !kept && finding.risk != Risk::hintOnly;
    auto* top = new QHBoxLayout;
    auto* box = selectionBox(qstr(finding.title), {finding.id, {}}, selectable, row);
    if (!selectable)
        box->setToolTip(kept ? QStringLiteral("Steht auf der Behalten-Liste.")
                             : QStringLiteral("Nur ein Hinweis – Velmora 2 entfernt hier nichts."));
    top->addWidget(box, 1);
    if (kept)
        top->addWidget(badge(QStringLiteral("Behalten"), row));
    top->addWidget(sizeLabel(sizeText(finding.size), row));
    top->addWidget(riskPill(finding.risk, row));
    layout->addLayout(top);
    if (!finding.summary.empty())
        layout->addWidget(secondary(qstr(finding.summary), row));
    if (selectable && finding.itemsSelectable && finding.items.size() > 1) {
        auto* items = new QVBoxLayout;
        items->setContentsMargins(fontMetrics().height() * 3 / 2, 0, 0, 0);
        for (std::size_t i = 0; i < finding.items.size() && i < shownItems; ++i) {
            const auto& item = finding.items[i];
            auto* line = new QHBoxLayout;
            line->addWidget(
                selectionBox(outside(item.name.empty() && item.url ? item.url->string() : item.name),
                             {finding.id, item.id}, true, row),
                1);
            if (item.size)
                line->addWidget(sizeLabel(qstr(ByteFormat::fileSize(*item.size)), row));
            items->addLayout(line);
        }
        if (finding.items.size() > shownItems)
            items->addWidget(
                secondary(QStringLiteral("… und %1 weitere").arg(finding.items.size() - shownItems), row));
        layout->addLayout(items);
    }
    return row;
}

void SystemDataTabView::showSelection() {
    for (const auto& [entry, box] : boxes_)
        box->setChecked(model_.isSelected(entry.finding, entry.item));
    bool any = false;
    for (const auto& entry : model_.selection())
        any = any || model_.systemFindingsByID().contains(entry.finding);
    remove_->setEnabled(any && !model_.isRemoving());
}

void SystemDataTabView::openRemovalSheet() {
    auto* sheet = new RemovalSheet(model_, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
}

} // namespace velmora
