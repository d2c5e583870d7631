// Small building blocks the system-data and services tabs share: headings, wrapped text, notice
// banners and risk labels, all drawn from the palette so they follow the light and dark appearance.
#pragma once

#include "Findings/Risk.hpp"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QString>
#include <QVBoxLayout>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace velmora::SectionWidgets {

enum class BannerKind { info, warning, error };

QString qstr(std::string_view text);
// Outside text (a name, a path) with control characters shown as escapes, never obeyed.
QString shown(std::string_view outside);
// "1,2 GB", or "Größe unbekannt" without a size.
QString sizeText(const std::optional<std::int64_t>& bytes);
// "24.11.2026 10:15", local time.
QString dateTime(std::chrono::system_clock::time_point date);

// A section heading, a little larger than the system font and bold.
QLabel* heading(const QString& text, QWidget* parent = nullptr);
// Body text that wraps and can be selected with the mouse.
QLabel* wrapped(const QString& text, QWidget* parent = nullptr);
// Secondary text: the palette's placeholder colour, slightly smaller.
QLabel* secondary(const QString& text, QWidget* parent = nullptr);
// A rounded frame with a tinted background and the message in the window's text colour.
QFrame* banner(BannerKind kind, const QString& text, QWidget* parent = nullptr);
// "Sicher" green, "Prüfen" orange, "Nur Hinweis" grey-blue.
QLabel* riskPill(Risk risk, QWidget* parent = nullptr);
// A small grey-blue pill for a marker such as the own check agent.
QLabel* badge(const QString& text, QWidget* parent = nullptr);

// The strip over a tab's content: its heading, then a status text, a progress bar `progressEms` wide
// and the tab's one action at the right.
struct TabHeader {
    QHBoxLayout* layout = nullptr;
    QLabel* status = nullptr;
    QProgressBar* progress = nullptr;
    QPushButton* action = nullptr;
};
TabHeader tabHeader(const QString& title, const QString& progressName, int progressEms,
                    const QString& actionText, const QString& actionName, QWidget* parent);

// A tab's scrolling content, rebuilt whole when its data changes: one widget above a stretch.
struct SwappableContent {
    QScrollArea* scroll = nullptr;
    QVBoxLayout* layout = nullptr;
    QWidget* current = nullptr;
};
SwappableContent swappableContent(QWidget* parent);
// Puts `fresh` where the current widget is. The old one may be the sender of what led here, so it goes
// once control is back in the event loop.
void swapIn(SwappableContent& content, QWidget* fresh);

} // namespace velmora::SectionWidgets
