#include "Views/CleanupTabView.hpp"

#include "Findings/ByteFormat.hpp"
#include "Findings/ItemsTotal.hpp"
#include "Support/Text.hpp"
#include "Views/DiskBar.hpp"
#include "Views/EmptyTrashPrompt.hpp"
#include "Views/RemovalSheet.hpp"
#include "Views/RiskPill.hpp"
#include "Views/SectionWidgets.hpp"
#include "Views/WhyDialog.hpp"

#include <QComboBox>
#include <QDateTime>
#include <QDesktopServices>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSplitter>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <unordered_set>

namespace velmora {

namespace {

using SectionWidgets::qstr;
using SectionWidgets::shown;
using SectionWidgets::sizeText;

enum Role {
    kindRole = Qt::UserRole + 1, // RowKind
    entryRole,                   // index into the view's entries
    itemRole,                    // index into the finding's items
    riskRole,                    // Risk of a finding row, for the pill delegate
    populatedRole,               // a finding row's item rows exist
    itemIDRole,                  // the item's id, to find the row again after a rebuild
};

enum class RowKind { category, finding, item, more };

// How many item rows a finding gets at once; a "more" row adds the next ones.
constexpr std::size_t itemPage = 300;

QString appNames(const std::vector<AppRef>& apps) {
    QStringList names;
    for (const auto& app : apps)
        names << shown(app.displayName);
    names.removeDuplicates();
    return names.join(QStringLiteral(", "));
}

bool findingSelectable(const Finding& finding, bool kept) {
    return !kept && finding.risk != Risk::hintOnly && finding.method.kind() != RemovalKind::hint;
}

// Single items are ticked on their own only where the model takes them one by one.
bool itemsTickable(const Finding& finding, bool kept) {
    return findingSelectable(finding, kept) && finding.itemsSelectable &&
           finding.method.kind() != RemovalKind::tool;
}

RowKind kindOf(const QTreeWidgetItem* row) {
    return static_cast<RowKind>(row->data(0, kindRole).toInt());
}

// Unknown sizes go last when sorting by size.
bool biggerFirst(const std::optional<std::int64_t>& a, const std::optional<std::int64_t>& b) {
    return a.value_or(-1) > b.value_or(-1);
}

// The folder that holds a location, for "Im Dateimanager zeigen".
QUrl folderOf(const std::filesystem::path& location) {
    const auto parent = location.parent_path();
    return QUrl::fromLocalFile(QString::fromStdString((parent.empty() ? location : parent).string()));
}

class RiskDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const QVariant risk = index.data(riskRole);
        if (!risk.isValid())
            return QStyledItemDelegate::paint(painter, option, index);
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        option.widget->style()->drawControl(QStyle::CE_ItemViewItem, &background, painter, option.widget);
        RiskPill::paint(*painter, option.rect.adjusted(4, 2, -4, -2), static_cast<Risk>(risk.toInt()),
                        option.font);
    }
};

} // namespace

CleanupTabView::CleanupTabView(AppModel& model, AppTab tab, QWidget* parent)
    : QWidget(parent), model_(model), tab_(tab) {
    buildLayout();
    diskBar_->setSpace(model_.disk());
    rebuild();
    showSide();
    showProgress();
    showTrash();
    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        switch (property) {
        case P::report:
        case P::kept:
            rebuild();
            break;
        case P::selection:
            refreshChecks();
            break;
        case P::disk:
            diskBar_->setSpace(model_.disk());
            break;
        case P::isScanning:
        case P::scanProgress:
            showProgress();
            updateButtons();
            break;
        case P::bigChunks:
        case P::photos:
            showSide();
            break;
        case P::trashBytes:
        case P::isRemoving:
            showTrash();
            updateButtons();
            break;
        default:
            break;
        }
    });
}

void CleanupTabView::buildLayout() {
    auto* layout = new QVBoxLayout(this);
    diskBar_ = new DiskBar(this);
    layout->addWidget(diskBar_);

    fdaBanner_ = new QFrame(this);
    fdaBanner_->setObjectName(QStringLiteral("fdaBanner"));
    fdaBanner_->setStyleSheet(
        QStringLiteral("QFrame#fdaBanner { background: rgba(216, 92, 0, 40); border: 1px "
                       "solid rgba(216, 92, 0, 150); border-radius: 8px; }"));
    auto* fdaLayout = new QHBoxLayout(fdaBanner_);
    auto* fdaText = new QLabel(fdaBanner_);
    fdaText->setWordWrap(true);
#ifdef Q_OS_MACOS
    fdaText->setText(
        QStringLiteral("<b>Volle Festplattenzugriff nötig</b> – einige Orte konnten nicht gelesen "
                       "werden. Mit vollem Festplattenzugriff findet Velmora 2 alles."));
    auto* fdaButton = new QPushButton(QStringLiteral("Einstellung öffnen …"), fdaBanner_);
    fdaButton->setAccessibleName(QStringLiteral("Einstellung für vollen Festplattenzugriff öffnen"));
    connect(fdaButton, &QPushButton::clicked, this, [] {
        QDesktopServices::openUrl(
            QUrl(QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles")));
    });
    fdaLayout->addWidget(fdaText, 1);
    fdaLayout->addWidget(fdaButton);
#else
    // There is no such switch here: what could not be read needs read permission for this user.
    fdaText->setText(
        QStringLiteral("<b>Volle Festplattenzugriff nötig</b> – einige Orte konnten nicht gelesen "
                       "werden. Auf diesem System gibt es dafür keine Einstellung; Velmora 2 "
                       "sieht nur, was dein Benutzer lesen darf."));
    fdaLayout->addWidget(fdaText, 1);
#endif
    fdaText->setAccessibleName(QStringLiteral("Hinweis: Volle Festplattenzugriff nötig"));
    layout->addWidget(fdaBanner_);

    auto* progressRow = new QHBoxLayout;
    progressText_ = new QLabel(this);
    progress_ = new QProgressBar(this);
    progress_->setRange(0, 1000);
    progress_->setTextVisible(false);
    progress_->setAccessibleName(QStringLiteral("Scanfortschritt"));
    progressRow->addWidget(progressText_);
    progressRow->addWidget(progress_, 1);
    layout->addLayout(progressRow);

    auto* toolRow = new QHBoxLayout;
    search_ = new QLineEdit(this);
    search_->setPlaceholderText(QStringLiteral("Suchen in Titeln, Erklärungen und Einträgen"));
    search_->setClearButtonEnabled(true);
    search_->setAccessibleName(QStringLiteral("Suche"));
    connect(search_, &QLineEdit::textChanged, this, [this] { applyFilter(); });
    sort_ = new QComboBox(this);
    sort_->addItem(QStringLiteral("Reihenfolge des Scans"));
    sort_->addItem(QStringLiteral("Größte zuerst"));
    sort_->setAccessibleName(QStringLiteral("Sortierung"));
    connect(sort_, &QComboBox::currentIndexChanged, this, [this] { rebuild(); });
    toolRow->addWidget(search_, 1);
    toolRow->addWidget(sort_);
    layout->addLayout(toolRow);

    auto* splitter = new QSplitter(Qt::Horizontal, this);
    auto* listSide = new QWidget(splitter);
    auto* listLayout = new QVBoxLayout(listSide);
    listLayout->setContentsMargins(0, 0, 0, 0);
    tree_ = new QTreeWidget(listSide);
    tree_->setAccessibleName(QStringLiteral("Funde"));
    tree_->setHeaderLabels({QStringLiteral("Fund"), QStringLiteral("Risiko"), QStringLiteral("Größe"),
                            QStringLiteral("Datum"), QStringLiteral("Erklärung")});
    tree_->headerItem()->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
    tree_->setUniformRowHeights(true);
    tree_->setItemDelegateForColumn(riskColumn, new RiskDelegate(tree_));
    tree_->setContextMenuPolicy(Qt::CustomContextMenu);
    const QFontMetrics metrics(font());
    tree_->setColumnWidth(nameColumn, metrics.horizontalAdvance(QLatin1Char('x')) * 38);
    tree_->setColumnWidth(riskColumn, metrics.horizontalAdvance(QStringLiteral("Nur Hinweis")) + 16);
    tree_->setColumnWidth(sizeColumn, metrics.horizontalAdvance(QStringLiteral("Größe unbekannt")) + 12);
    tree_->setColumnWidth(dateColumn, metrics.horizontalAdvance(QStringLiteral("00.00.0000")) + 16);
    connect(tree_, &QTreeWidget::itemChanged, this, &CleanupTabView::rowChanged);
    connect(tree_, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* row) {
        if (kindOf(row) == RowKind::finding) {
            populateItems(row);
            if (!search_->text().trimmed().isEmpty())
                applyFilter();
        }
    });
    connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { showDetails(); });
    const auto more = [this](QTreeWidgetItem* row) {
        if (row && kindOf(row) == RowKind::more) {
            QTreeWidgetItem* findingRow = row->parent();
            addItemRows(findingRow, static_cast<std::size_t>(row->data(0, itemRole).toULongLong()));
            applyFilter();
        }
    };
    connect(tree_, &QTreeWidget::itemClicked, this, more);
    connect(tree_, &QTreeWidget::itemActivated, this, more);
    connect(tree_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QTreeWidgetItem* row = tree_->itemAt(at);
        if (!row || kindOf(row) == RowKind::category)
            return;
        tree_->setCurrentItem(row);
        QMenu menu(this);
        if (keep_->isEnabled())
            menu.addAction(keep_->text(), this, &CleanupTabView::toggleKeep);
        if (reveal_->isEnabled())
            menu.addAction(reveal_->text(), this, &CleanupTabView::reveal);
        if (kindOf(row) != RowKind::more)
            menu.addAction(why_->accessibleName(), this, &CleanupTabView::explainCurrent);
        if (!menu.isEmpty())
            menu.exec(tree_->viewport()->mapToGlobal(at));
    });
    emptyText_ = new QLabel(listSide);
    emptyText_->setAlignment(Qt::AlignCenter);
    emptyText_->setWordWrap(true);
    listLayout->addWidget(emptyText_);
    listLayout->addWidget(tree_, 1);

    auto* side = new QWidget(splitter);
    auto* sideLayout = new QVBoxLayout(side);
    sideLayout->setContentsMargins(0, 0, 0, 0);
    auto* details = new QGroupBox(QStringLiteral("Einzelheiten"), side);
    auto* detailsLayout = new QVBoxLayout(details);
    auto* titleRow = new QHBoxLayout;
    detailTitle_ = new QLabel(details);
    detailTitle_->setWordWrap(true);
    QFont titleFont = detailTitle_->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.15);
    detailTitle_->setFont(titleFont);
    detailPill_ = new RiskPill(Risk::safe, details);
    titleRow->addWidget(detailTitle_, 1);
    titleRow->addWidget(detailPill_, 0, Qt::AlignTop);
    detailsLayout->addLayout(titleRow);
    detailBody_ = new QLabel(details);
    detailBody_->setWordWrap(true);
    detailBody_->setTextFormat(Qt::RichText);
    detailBody_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    detailBody_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    detailsLayout->addWidget(detailBody_, 1);
    auto* actions = new QHBoxLayout;
    keep_ = new QPushButton(QStringLiteral("Behalten"), details);
    keep_->setAccessibleName(QStringLiteral("Behalten"));
    connect(keep_, &QPushButton::clicked, this, &CleanupTabView::toggleKeep);
    reveal_ = new QPushButton(QStringLiteral("Im Dateimanager zeigen"), details);
    reveal_->setAccessibleName(QStringLiteral("Im Dateimanager zeigen"));
    connect(reveal_, &QPushButton::clicked, this, &CleanupTabView::reveal);
    hint_ = new QPushButton(details);
    hint_->hide();
    connect(hint_, &QPushButton::clicked, this, &CleanupTabView::followHint);
    why_ = new QPushButton(QStringLiteral("Warum?"), details);
    why_->setAccessibleName(QStringLiteral("Warum wird das vorgeschlagen?"));
    why_->setToolTip(why_->accessibleName());
    connect(why_, &QPushButton::clicked, this, &CleanupTabView::explainCurrent);
    actions->addWidget(hint_);
    actions->addWidget(keep_);
    actions->addWidget(reveal_);
    actions->addWidget(why_);
    actions->addStretch(1);
    detailsLayout->addLayout(actions);
    sideLayout->addWidget(details, 1);

    if (tab_ == AppTab::storage) {
        chunksBox_ = new QGroupBox(QStringLiteral("Große Brocken"), side);
        auto* chunksLayout = new QVBoxLayout(chunksBox_);
        chunks_ = new QTreeWidget(chunksBox_);
        chunks_->setAccessibleName(QStringLiteral("Große Brocken"));
        chunks_->setRootIsDecorated(false);
        chunks_->setHeaderLabels({QStringLiteral("Ort"), QStringLiteral("Größe")});
        chunks_->headerItem()->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
        chunks_->setToolTip(QStringLiteral("Große Ordner, die kein anderer Fund erklärt. Doppelklick zeigt "
                                           "den Ordner im Dateimanager."));
        connect(chunks_, &QTreeWidget::itemActivated, this, [](QTreeWidgetItem* row) {
            QDesktopServices::openUrl(folderOf(row->data(0, Qt::UserRole).toString().toStdString()));
        });
        photos_ = new QLabel(chunksBox_);
        photos_->setWordWrap(true);
        photos_->setTextFormat(Qt::PlainText);
        chunksLayout->addWidget(chunks_, 1);
        chunksLayout->addWidget(photos_);
        sideLayout->addWidget(chunksBox_, 1);
    }
    splitter->addWidget(listSide);
    splitter->addWidget(side);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    // The list needs the room for its five columns; the details need a readable line.
    splitter->setSizes({metrics.horizontalAdvance(QLatin1Char('x')) * 110,
                        metrics.horizontalAdvance(QLatin1Char('x')) * 45});
    layout->addWidget(splitter, 1);

    auto* bottom = new QHBoxLayout;
    if (tab_ == AppTab::storage) {
        trashText_ = new QLabel(this);
        emptyTrash_ = new QPushButton(QStringLiteral("Papierkorb leeren …"), this);
        emptyTrash_->setAccessibleName(QStringLiteral("Papierkorb leeren"));
        connect(emptyTrash_, &QPushButton::clicked, this, &CleanupTabView::emptyTrash);
        bottom->addWidget(trashText_);
        bottom->addWidget(emptyTrash_);
    }
    bottom->addStretch(1);
    selectionText_ = new QLabel(this);
    remove_ = new QPushButton(this);
    remove_->setDefault(true);
    remove_->setAccessibleName(QStringLiteral("Auswahl entfernen"));
    connect(remove_, &QPushButton::clicked, this, &CleanupTabView::openRemoval);
    bottom->addWidget(selectionText_);
    bottom->addWidget(remove_);
    layout->addLayout(bottom);
}

void CleanupTabView::rebuild() {
    std::unordered_set<FindingID> expanded;
    std::optional<std::pair<FindingID, std::string>> current;
    for (QTreeWidgetItemIterator it(tree_); *it; ++it) {
        QTreeWidgetItem* row = *it;
        if (kindOf(row) != RowKind::finding)
            continue;
        if (row->isExpanded())
            expanded.insert(entryOf(row)->id);
    }
    if (QTreeWidgetItem* row = tree_->currentItem(); row && kindOf(row) != RowKind::category)
        current.emplace(entryOf(row)->id, row->data(0, itemIDRole).toString().toStdString());

    const QSignalBlocker block(tree_);
    tree_->clear();
    entries_.clear();
    const bool bySize = sort_->currentIndex() == 1;
    const auto& report = model_.report();
    bool needsAccess = false;
    if (report) {
        // Every finding is listed once, in the order of the scan unless sorted; kept ones go last.
        for (const Category category : allCategories) {
            if (velmora::tab(category) != tab_)
                continue;
            std::vector<const Finding*> findings;
            for (const auto& finding : report->findings)
                if (finding.category == category)
                    findings.push_back(&finding);
            if (findings.empty())
                continue;
            const auto& kept = model_.kept();
            std::ranges::stable_sort(findings, [&](const Finding* a, const Finding* b) {
                const bool keptA = kept.contains(a->id);
                const bool keptB = kept.contains(b->id);
                if (keptA != keptB)
                    return keptB;
                return bySize && biggerFirst(a->size, b->size);
            });
            auto* categoryRow = new QTreeWidgetItem(tree_);
            categoryRow->setData(0, kindRole, static_cast<int>(RowKind::category));
            categoryRow->setText(nameColumn, qstr(title(category)));
            QFont bold = categoryRow->font(nameColumn);
            bold.setBold(true);
            categoryRow->setFont(nameColumn, bold);
            categoryRow->setFont(sizeColumn, bold);
            categoryRow->setFlags(Qt::ItemIsEnabled);
            std::int64_t total = 0;
            QList<QTreeWidgetItem*> rows;
            for (const Finding* finding : findings) {
                const bool isKept = kept.contains(finding->id);
                needsAccess = needsAccess || finding->needsFullDiskAccess;
                if (!isKept)
                    total += finding->size.value_or(0);
                entries_.push_back(Entry{finding->id, finding, isKept, {}, {}, false});
                auto* row = new QTreeWidgetItem;
                row->setData(0, kindRole, static_cast<int>(RowKind::finding));
                row->setData(0, entryRole, static_cast<int>(entries_.size() - 1));
                row->setText(nameColumn, shown(finding->title));
                row->setText(riskColumn, RiskPill::labelFor(finding->risk));
                row->setData(riskColumn, riskRole, static_cast<int>(finding->risk));
                row->setText(sizeColumn, sizeText(finding->size));
                row->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
                const QString summary = shown(finding->summary);
                row->setText(detailColumn, isKept ? QStringLiteral("Behalten – %1").arg(summary) : summary);
                row->setToolTip(nameColumn, summary);
                row->setToolTip(detailColumn, summary);
                Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
                if (findingSelectable(*finding, isKept))
                    flags |= Qt::ItemIsUserCheckable;
                row->setFlags(flags);
                if (isKept) {
                    const QBrush dim = palette().brush(QPalette::Disabled, QPalette::Text);
                    for (int column = 0; column <= detailColumn; ++column)
                        row->setForeground(column, dim);
                }
                if (!finding->items.empty())
                    row->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
                rows.push_back(row);
            }
            categoryRow->addChildren(rows);
            categoryRow->setText(sizeColumn, QString::fromStdString(ByteFormat::fileSize(total)));
            categoryRow->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
            categoryRow->setExpanded(true);
        }
    }
    fdaBanner_->setVisible(needsAccess);

    for (QTreeWidgetItemIterator it(tree_); *it; ++it) {
        QTreeWidgetItem* row = *it;
        if (kindOf(row) != RowKind::finding)
            continue;
        const Entry* entry = entryOf(row);
        if (expanded.contains(entry->id)) {
            populateItems(row);
            row->setExpanded(true);
        }
        if (current && current->first == entry->id) {
            QTreeWidgetItem* target = row;
            if (!current->second.empty()) {
                populateItems(row);
                const QString itemID = QString::fromStdString(current->second);
                for (int i = 0; i < row->childCount(); ++i)
                    if (row->child(i)->data(0, itemIDRole).toString() == itemID)
                        target = row->child(i);
            }
            tree_->setCurrentItem(target);
        }
    }
    if (!report)
        emptyText_->setText(model_.isScanning()
                                ? QStringLiteral("Scan läuft – die Funde erscheinen, sobald er "
                                                 "fertig ist.")
                                : QStringLiteral("Noch kein Scan."));
    else
        emptyText_->setText(QStringLiteral("Keine Funde in diesem Bereich."));
    emptyText_->setVisible(tree_->topLevelItemCount() == 0);
    tree_->setVisible(tree_->topLevelItemCount() > 0);
    refreshChecks();
    applyFilter();
    showDetails();
}

void CleanupTabView::populateItems(QTreeWidgetItem* findingRow) {
    if (!findingRow || kindOf(findingRow) != RowKind::finding || findingRow->data(0, populatedRole).toBool())
        return;
    addItemRows(findingRow, 0);
}

// Item rows come a page at a time: a finding with thousands of entries must not hold up the window.
void CleanupTabView::addItemRows(QTreeWidgetItem* findingRow, std::size_t from) {
    const Entry* entry = entryOf(findingRow);
    if (!entry)
        return;
    const Finding& finding = *entry->finding;
    std::vector<int> order(finding.items.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = static_cast<int>(i);
    if (sort_->currentIndex() == 1)
        std::ranges::stable_sort(order, [&](int a, int b) {
            return biggerFirst(finding.items[static_cast<std::size_t>(a)].size,
                               finding.items[static_cast<std::size_t>(b)].size);
        });
    // While searching, the entries that match come first, so that they are on the first page.
    const QString needle = search_->text().trimmed();
    if (!needle.isEmpty())
        std::ranges::stable_partition(order, [&](int index) {
            return qstr(finding.items[static_cast<std::size_t>(index)].name)
                .contains(needle, Qt::CaseInsensitive);
        });
    const QSignalBlocker block(tree_);
    // The "more" row may be the one being clicked: it leaves the tree now and is deleted with the next
    // one taken, or with the view.
    if (const int last = findingRow->childCount() - 1;
        last >= 0 && kindOf(findingRow->child(last)) == RowKind::more)
        takenMoreRow_.reset(findingRow->takeChild(last));
    const bool tickable = itemsTickable(finding, entry->kept);
    const QLocale german(QLocale::German, QLocale::Germany);
    const std::size_t to = std::min(order.size(), from + itemPage);
    QList<QTreeWidgetItem*> rows;
    rows.reserve(static_cast<qsizetype>(to - std::min(from, to)));
    for (std::size_t position = from; position < to; ++position) {
        const int index = order[position];
        const FindingItem& item = finding.items[static_cast<std::size_t>(index)];
        auto* row = new QTreeWidgetItem;
        row->setData(0, kindRole, static_cast<int>(RowKind::item));
        row->setData(0, entryRole, findingRow->data(0, entryRole));
        row->setData(0, itemRole, index);
        row->setData(0, itemIDRole, QString::fromStdString(item.id));
        row->setText(nameColumn, shown(item.name));
        row->setText(sizeColumn, sizeText(item.size));
        row->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
        if (item.date) {
            const auto seconds =
                std::chrono::duration_cast<std::chrono::seconds>(item.date->time_since_epoch()).count();
            row->setText(dateColumn, german.toString(QDateTime::fromSecsSinceEpoch(seconds).date(),
                                                     QStringLiteral("dd.MM.yyyy")));
        }
        if (item.detail)
            row->setText(detailColumn, shown(*item.detail));
        if (item.url)
            row->setToolTip(nameColumn, shown(item.url->string()));
        row->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable |
                      (tickable ? Qt::ItemIsUserCheckable : Qt::NoItemFlags));
        if (tickable)
            row->setCheckState(nameColumn,
                               model_.isSelected(finding.id, item.id) ? Qt::Checked : Qt::Unchecked);
        if (entry->kept)
            for (int column = 0; column <= detailColumn; ++column)
                row->setForeground(column, palette().brush(QPalette::Disabled, QPalette::Text));
        rows.push_back(row);
    }
    if (to < order.size()) {
        auto* more = new QTreeWidgetItem;
        more->setData(0, kindRole, static_cast<int>(RowKind::more));
        more->setData(0, entryRole, findingRow->data(0, entryRole));
        more->setData(0, itemRole, static_cast<qulonglong>(to));
        more->setText(nameColumn, QStringLiteral("Weitere %1 Einträge zeigen …").arg(order.size() - to));
        more->setToolTip(nameColumn, QStringLiteral("Klicken, um die nächsten Einträge zu zeigen."));
        more->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        rows.push_back(more);
    }
    findingRow->addChildren(rows);
    findingRow->setData(0, populatedRole, true);
}

void CleanupTabView::refreshChecks() {
    std::unordered_set<FindingID> partly;
    for (const auto& entry : model_.selection())
        if (!entry.item.empty())
            partly.insert(entry.finding);
    {
        const QSignalBlocker block(tree_);
        for (QTreeWidgetItemIterator it(tree_); *it; ++it) {
            QTreeWidgetItem* row = *it;
            if (!(row->flags() & Qt::ItemIsUserCheckable))
                continue;
            const Entry* entry = entryOf(row);
            const FindingID& id = entry->finding->id;
            if (kindOf(row) == RowKind::finding)
                row->setCheckState(nameColumn, model_.isSelected(id) ? Qt::Checked
                                               : partly.contains(id) ? Qt::PartiallyChecked
                                                                     : Qt::Unchecked);
            else if (const FindingItem* item = itemOf(row))
                row->setCheckState(nameColumn, model_.isSelected(id, item->id) ? Qt::Checked : Qt::Unchecked);
        }
    }
    const auto bytes = selectionBytes();
    diskBar_->setWouldFree(bytes);
    const QString total = QString::fromStdString(ByteFormat::fileSize(bytes));
    remove_->setText(QStringLiteral("Auswahl entfernen … (%1)").arg(total));
    std::unordered_set<FindingID> chosen;
    for (const auto& entry : model_.selection())
        chosen.insert(entry.finding);
    selectionText_->setText(chosen.size() == 1 ? QStringLiteral("1 Fund ausgewählt")
                                               : QStringLiteral("%1 Funde ausgewählt").arg(chosen.size()));
    updateButtons();
}

std::int64_t CleanupTabView::selectionBytes() const {
    const auto lookup = [this](const FindingID& id) -> const Finding* {
        if (const auto found = model_.findingsByID().find(id); found != model_.findingsByID().end())
            return &found->second;
        if (const auto found = model_.systemFindingsByID().find(id);
            found != model_.systemFindingsByID().end())
            return &found->second;
        return nullptr;
    };
    std::int64_t total = 0;
    std::unordered_set<FindingID> partly;
    for (const auto& entry : model_.selection()) {
        const Finding* finding = lookup(entry.finding);
        if (!finding)
            continue;
        if (entry.item.empty())
            total += finding->size.value_or(itemsTotal(finding->items));
        else
            partly.insert(entry.finding);
    }
    for (const auto& id : partly) {
        if (model_.isSelected(id))
            continue;
        const Finding* finding = lookup(id);
        if (!finding)
            continue;
        for (const auto& item : finding->items)
            if (model_.selection().contains(SelectionEntry{id, item.id}))
                total += item.size.value_or(0);
    }
    return total;
}

void CleanupTabView::applyFilter() {
    const QString needle = search_->text().trimmed();
    // A search that hits entries everywhere opens only the first few findings.
    constexpr int maxOpenedBySearch = 20;
    int opened = 0;
    for (int c = 0; c < tree_->topLevelItemCount(); ++c) {
        QTreeWidgetItem* categoryRow = tree_->topLevelItem(c);
        bool anyShown = false;
        for (int f = 0; f < categoryRow->childCount(); ++f) {
            QTreeWidgetItem* row = categoryRow->child(f);
            auto& entry = entries_[static_cast<std::size_t>(row->data(0, entryRole).toInt())];
            bool ownMatch = needle.isEmpty();
            bool itemMatch = false;
            if (!needle.isEmpty()) {
                if (!entry.textReady) {
                    entry.ownText =
                        qstr(entry.finding->title) + QLatin1Char('\n') + qstr(entry.finding->summary);
                    for (const auto& item : entry.finding->items)
                        entry.itemNames << qstr(item.name);
                    entry.textReady = true;
                }
                ownMatch = entry.ownText.contains(needle, Qt::CaseInsensitive);
                itemMatch = std::ranges::any_of(entry.itemNames, [&](const QString& name) {
                    return name.contains(needle, Qt::CaseInsensitive);
                });
            }
            row->setHidden(!ownMatch && !itemMatch);
            anyShown = anyShown || ownMatch || itemMatch;
            // A finding found only through its entries opens so that the matching ones show.
            if (!ownMatch && itemMatch && !row->isExpanded() && ++opened <= maxOpenedBySearch) {
                populateItems(row);
                const QSignalBlocker block(tree_);
                row->setExpanded(true);
            }
            for (int i = 0; i < row->childCount(); ++i) {
                QTreeWidgetItem* child = row->child(i);
                child->setHidden(kindOf(child) != RowKind::more && !ownMatch &&
                                 !child->text(nameColumn).contains(needle, Qt::CaseInsensitive));
            }
        }
        categoryRow->setHidden(!anyShown);
    }
}

const CleanupTabView::Entry* CleanupTabView::entryOf(const QTreeWidgetItem* row) const {
    const QVariant index = row ? row->data(0, entryRole) : QVariant();
    if (!index.isValid() || index.toInt() < 0 || static_cast<std::size_t>(index.toInt()) >= entries_.size())
        return nullptr;
    return &entries_[static_cast<std::size_t>(index.toInt())];
}

const FindingItem* CleanupTabView::itemOf(const QTreeWidgetItem* row) const {
    const Entry* entry = entryOf(row);
    if (!entry || kindOf(row) != RowKind::item)
        return nullptr;
    const auto index = static_cast<std::size_t>(row->data(0, itemRole).toInt());
    return index < entry->finding->items.size() ? &entry->finding->items[index] : nullptr;
}

QTreeWidgetItem* CleanupTabView::findingRow(const FindingID& id) const {
    for (QTreeWidgetItemIterator it(tree_); *it; ++it)
        if (kindOf(*it) == RowKind::finding && entryOf(*it)->finding->id == id)
            return *it;
    return nullptr;
}

void CleanupTabView::rowChanged(QTreeWidgetItem* row, int column) {
    if (column != nameColumn || !(row->flags() & Qt::ItemIsUserCheckable))
        return;
    const Entry* entry = entryOf(row);
    if (!entry)
        return;
    const bool on = row->checkState(nameColumn) == Qt::Checked;
    const FindingID id = entry->finding->id;
    if (kindOf(row) == RowKind::finding) {
        on ? model_.select(id) : model_.deselect(id);
    } else if (const FindingItem* item = itemOf(row)) {
        const std::string itemID = item->id;
        on ? model_.selectItem(id, itemID) : model_.deselectItem(id, itemID);
    }
    // The model may have taken more or less than the click asked for (whole findings, kept ones).
    refreshChecks();
}

void CleanupTabView::showDetails() {
    QTreeWidgetItem* row = tree_->currentItem();
    const Entry* entry = row && kindOf(row) != RowKind::category ? entryOf(row) : nullptr;
    if (!entry) {
        detailTitle_->setText(QStringLiteral("Kein Fund gewählt"));
        detailPill_->hide();
        detailBody_->setText(QStringLiteral("Wähle einen Fund in der Liste, um zu sehen, was er enthält und "
                                            "warum er Platz belegt."));
        keep_->setText(QStringLiteral("Behalten"));
        keep_->setEnabled(false);
        reveal_->setEnabled(false);
        why_->setEnabled(false);
        hint_->hide();
        return;
    }
    const Finding& finding = *entry->finding;
    const FindingItem* item = itemOf(row);
    const auto esc = [](const QString& text) { return text.toHtmlEscaped(); };
    QStringList lines;
    if (item) {
        detailTitle_->setText(shown(item->name));
        lines << QStringLiteral("Größe: %1").arg(esc(sizeText(item->size)));
        if (item->date)
            lines << QStringLiteral("Datum: %1").arg(esc(row->text(dateColumn)));
        if (item->detail)
            lines << esc(shown(*item->detail));
        if (item->url)
            lines << QStringLiteral("Ort: %1").arg(esc(shown(item->url->string())));
        if (item->blockingApp)
            lines << QStringLiteral("Vor dem Entfernen beenden: %1")
                         .arg(esc(shown(item->blockingApp->displayName)));
        if (item->watchedApp)
            lines << QStringLiteral("Beobachtet von: %1").arg(esc(shown(item->watchedApp->displayName)));
        lines << QStringLiteral("Gehört zu: %1").arg(esc(shown(finding.title)));
    } else {
        detailTitle_->setText(shown(finding.title));
        lines << QStringLiteral("Größe: %1").arg(esc(sizeText(finding.size)));
        lines << esc(shown(finding.summary));
        if (!finding.blockingApps.empty())
            lines << QStringLiteral("Vor dem Entfernen beenden: %1").arg(esc(appNames(finding.blockingApps)));
        if (!finding.watchedApps.empty())
            lines << QStringLiteral("Beobachtet von: %1").arg(esc(appNames(finding.watchedApps)));
        if (finding.keepSuggested)
            lines << QStringLiteral("Empfehlung: behalten.");
        if (finding.needsFullDiskAccess)
            lines << QStringLiteral("<b>Volle Festplattenzugriff nötig</b>");
        if (!finding.items.empty())
            lines << (finding.items.size() == 1 ? QStringLiteral("1 Eintrag")
                                                : QStringLiteral("%1 Einträge").arg(finding.items.size()));
    }
    if (entry->kept)
        lines << QStringLiteral("<i>Du behältst diesen Fund; er wird nicht ausgewählt.</i>");
    detailPill_->setRisk(finding.risk);
    detailPill_->show();
    detailBody_->setText(lines.join(QStringLiteral("<br>")));
    keep_->setText(entry->kept ? QStringLiteral("Nicht mehr behalten") : QStringLiteral("Behalten"));
    keep_->setAccessibleName(keep_->text());
    keep_->setEnabled(true);
    const bool located =
        item ? item->url.has_value()
             : std::ranges::any_of(finding.items, [](const FindingItem& i) { return i.url.has_value(); });
    const auto* hint = std::get_if<RemovalMethod::Hint>(&finding.method.value);
    const auto* link = hint ? std::get_if<HintAction::OpenURL>(&hint->action.value) : nullptr;
    hint_->setVisible(link != nullptr);
    if (link) {
        const bool web = QUrl(qstr(link->url)).scheme().startsWith(QStringLiteral("http"));
        hint_->setText(web ? QStringLiteral("Webseite öffnen") : QStringLiteral("Einstellung öffnen"));
        hint_->setAccessibleName(hint_->text());
    }
    reveal_->setEnabled(located || (hint && !link));
    why_->setEnabled(true);
}

// A hint removes nothing; its button hands over to a web page or a settings pane.
void CleanupTabView::followHint() {
    const Entry* entry = entryOf(tree_->currentItem());
    const auto* hint = entry ? std::get_if<RemovalMethod::Hint>(&entry->finding->method.value) : nullptr;
    if (const auto* link = hint ? std::get_if<HintAction::OpenURL>(&hint->action.value) : nullptr)
        QDesktopServices::openUrl(QUrl(qstr(link->url)));
}

void CleanupTabView::toggleKeep() {
    const Entry* entry = entryOf(tree_->currentItem());
    if (!entry)
        return;
    const FindingID id = entry->finding->id;
    entry->kept ? model_.unkeep(id) : model_.keep(id);
}

void CleanupTabView::reveal() {
    QTreeWidgetItem* row = tree_->currentItem();
    const Entry* entry = entryOf(row);
    if (!entry)
        return;
    const FindingItem* item = itemOf(row);
    const auto* hint = std::get_if<RemovalMethod::Hint>(&entry->finding->method.value);
    const auto* shownFile = hint ? std::get_if<HintAction::RevealInFinder>(&hint->action.value) : nullptr;
    if (!item && shownFile) {
        QDesktopServices::openUrl(folderOf(shownFile->path));
        return;
    }
    if (!item)
        for (const auto& candidate : entry->finding->items)
            if (candidate.url) {
                item = &candidate;
                break;
            }
    if (item && item->url)
        QDesktopServices::openUrl(folderOf(*item->url));
}

void CleanupTabView::showSide() {
    if (!chunks_)
        return;
    chunks_->clear();
    for (const auto& chunk : model_.bigChunks()) {
        auto* row = new QTreeWidgetItem(chunks_);
        row->setText(0, shown(chunk.location.string()));
        row->setData(0, Qt::UserRole, QString::fromStdString(chunk.location.string()));
        row->setToolTip(0, row->text(0));
        row->setText(1, QString::fromStdString(ByteFormat::fileSize(chunk.bytes)));
        row->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    }
    chunks_->resizeColumnToContents(1);
    chunks_->setColumnWidth(0, std::max(120, chunks_->viewport()->width() - chunks_->columnWidth(1) - 8));
    QStringList lines;
    if (model_.bigChunks().empty())
        lines << QStringLiteral("Keine großen Ordner gefunden.");
    if (const auto& photos = model_.photos())
        lines << QStringLiteral("Fotos-Mediathek: %1 – %2. Velmora 2 misst sie nur und rührt sie nie an.")
                     .arg(shown(photos->library.filename().string()), sizeText(photos->bytes));
    chunks_->setVisible(!model_.bigChunks().empty());
    photos_->setText(lines.join(QLatin1Char('\n')));
    photos_->setVisible(!photos_->text().isEmpty());
}

void CleanupTabView::showProgress() {
    const bool scanning = model_.isScanning();
    progress_->setVisible(scanning);
    progressText_->setVisible(scanning);
    const int permille = static_cast<int>(std::clamp(model_.scanProgress(), 0.0, 1.0) * 1000);
    progress_->setValue(permille);
    progressText_->setText(QStringLiteral("Scan läuft … %1 %").arg(permille / 10));
    if (!model_.report())
        emptyText_->setText(scanning
                                ? QStringLiteral("Scan läuft – die Funde erscheinen, sobald er fertig ist.")
                                : QStringLiteral("Noch kein Scan."));
}

void CleanupTabView::showTrash() {
    if (!trashText_)
        return;
    const auto bytes = model_.trashBytes();
    trashText_->setText(QStringLiteral("Papierkorb: %1").arg(sizeText(bytes)));
    emptyTrash_->setEnabled(bytes.value_or(1) > 0 && !model_.isRemoving() && !model_.isScanning());
}

void CleanupTabView::updateButtons() {
    const bool busy = model_.isRemoving() || model_.isScanning();
    remove_->setEnabled(!busy && !model_.selection().empty());
    if (emptyTrash_)
        emptyTrash_->setEnabled(model_.trashBytes().value_or(1) > 0 && !busy);
}

void CleanupTabView::explainCurrent() {
    QTreeWidgetItem* row = tree_->currentItem();
    const Entry* entry = entryOf(row);
    if (!entry)
        return;
    const FindingItem* item = itemOf(row);
    auto* dialog = new WhyDialog(model_, entry->id, item ? item->id : std::string(), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

void CleanupTabView::emptyTrash() {
    askToEmptyTrash(model_, this);
}

void CleanupTabView::openRemoval() {
    if (model_.selection().empty())
        return;
    auto* sheet = new RemovalSheet(model_, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
}

} // namespace velmora
