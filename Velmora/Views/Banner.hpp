// A rounded notice inside a view: information, a warning, an error or a success, with a bold title,
// lines of text below it and optional buttons. The accent colour marks the kind; the text keeps the
// palette's colour, so the banner reads in light and dark appearance alike.
#pragma once

#include <QFrame>
#include <QString>
#include <QStringList>

class QLabel;
class QHBoxLayout;
class QPushButton;

namespace velmora {

class Banner : public QFrame {
    Q_OBJECT
public:
    enum class Kind { info, warning, error, success };
    // Everything a banner says, built apart from the widget (and tested without one).
    struct Content {
        Kind kind = Kind::success;
        QString title;
        QStringList lines;
    };

    explicit Banner(Kind kind, QWidget* parent = nullptr);

    Kind kind() const { return kind_; }
    void setKind(Kind kind);
    QString title() const;
    // An empty title hides the title line.
    void setTitle(const QString& title);
    QStringList lines() const { return lines_; }
    // Each line a paragraph of its own; plain text, never interpreted as markup.
    void setLines(const QStringList& lines);
    void setContent(const Content& content);
    // Title and lines at once; what a screen reader hears.
    QString text() const;

    // A button in the banner's bottom row, in the order added; the banner owns it.
    QPushButton* addButton(const QString& text);
    void clearButtons();

    // The accent of a kind: blue, orange, red or green.
    static QColor accent(Kind kind);

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void updateTexts();
    void updateIcon();

    Kind kind_;
    QStringList lines_;
    QLabel* icon_ = nullptr;
    QLabel* title_ = nullptr;
    QLabel* body_ = nullptr;
    QHBoxLayout* buttons_ = nullptr;
};

} // namespace velmora
