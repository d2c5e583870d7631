#include "Views/Banner.hpp"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace velmora {

namespace {

// `accent` laid over `base` with the given share, so the tint follows a light or a dark window.
QColor tint(const QColor& base, const QColor& accent, double share) {
    const auto mix = [share](int under, int over) {
        return static_cast<int>(under + (over - under) * share + 0.5);
    };
    return QColor(mix(base.red(), accent.red()), mix(base.green(), accent.green()),
                  mix(base.blue(), accent.blue()));
}

QStyle::StandardPixmap iconOf(Banner::Kind kind) {
    switch (kind) {
    case Banner::Kind::info:
        return QStyle::SP_MessageBoxInformation;
    case Banner::Kind::warning:
        return QStyle::SP_MessageBoxWarning;
    case Banner::Kind::error:
        return QStyle::SP_MessageBoxCritical;
    case Banner::Kind::success:
        return QStyle::SP_DialogApplyButton;
    }
    return QStyle::SP_MessageBoxInformation;
}

} // namespace

Banner::Banner(Kind kind, QWidget* parent) : QFrame(parent), kind_(kind) {
    setFrameShape(QFrame::NoFrame);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);

    icon_ = new QLabel(this);
    icon_->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    title_ = new QLabel(this);
    title_->setTextFormat(Qt::PlainText);
    title_->setWordWrap(true);
    QFont bold = title_->font();
    bold.setBold(true);
    title_->setFont(bold);
    body_ = new QLabel(this);
    body_->setTextFormat(Qt::PlainText);
    body_->setWordWrap(true);
    body_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    for (auto* label : {title_, body_})
        label->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(4);
    texts->addWidget(title_);
    texts->addWidget(body_);
    buttons_ = new QHBoxLayout;
    buttons_->setSpacing(6);
    buttons_->addStretch(1);
    texts->addLayout(buttons_);

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 10, 12, 10);
    row->setSpacing(10);
    row->addWidget(icon_, 0, Qt::AlignTop);
    row->addLayout(texts, 1);

    updateIcon();
    updateTexts();
}

void Banner::setKind(Kind kind) {
    if (kind == kind_)
        return;
    kind_ = kind;
    updateIcon();
    update();
}

QString Banner::title() const {
    return title_->text();
}

void Banner::setTitle(const QString& title) {
    title_->setText(title);
    updateTexts();
}

void Banner::setLines(const QStringList& lines) {
    lines_ = lines;
    body_->setText(lines.join(QLatin1Char('\n')));
    updateTexts();
}

QString Banner::text() const {
    QStringList all;
    if (!title_->text().isEmpty())
        all << title_->text();
    all << lines_;
    return all.join(QLatin1Char('\n'));
}

void Banner::setContent(const Content& content) {
    setKind(content.kind);
    setTitle(content.title);
    setLines(content.lines);
}

QPushButton* Banner::addButton(const QString& text) {
    auto* button = new QPushButton(text, this);
    button->setAccessibleName(text);
    // Before the trailing stretch would push them apart; the buttons sit together at the left.
    buttons_->insertWidget(buttons_->count() - 1, button);
    return button;
}

void Banner::clearButtons() {
    while (buttons_->count() > 1) {
        auto* entry = buttons_->takeAt(0);
        delete entry->widget();
        delete entry;
    }
}

QColor Banner::accent(Kind kind) {
    switch (kind) {
    case Kind::info:
        return QColor(0x2f, 0x7d, 0xe1);
    case Kind::warning:
        return QColor(0xe8, 0x89, 0x0c);
    case Kind::error:
        return QColor(0xd9, 0x3a, 0x3a);
    case Kind::success:
        return QColor(0x2e, 0x9e, 0x4f);
    }
    return QColor(0x2f, 0x7d, 0xe1);
}

void Banner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = accent(kind_);
    const QColor base = palette().color(QPalette::Window);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    painter.fillPath(shape, tint(base, color, 0.16));
    painter.setPen(QPen(tint(base, color, 0.6), 1));
    painter.drawPath(shape);
}

void Banner::changeEvent(QEvent* event) {
    QFrame::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange ||
        event->type() == QEvent::FontChange)
        updateIcon();
}

void Banner::updateTexts() {
    title_->setVisible(!title_->text().isEmpty());
    body_->setVisible(!lines_.isEmpty());
    setAccessibleName(title_->text().isEmpty() && !lines_.isEmpty() ? lines_.front() : title_->text());
    setAccessibleDescription(lines_.join(QLatin1Char('\n')));
}

void Banner::updateIcon() {
    const int size = fontMetrics().height() + 4;
    icon_->setPixmap(style()->standardIcon(iconOf(kind_), nullptr, this).pixmap(size, size));
    icon_->setFixedWidth(size);
}

} // namespace velmora
