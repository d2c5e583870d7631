#include "Views/WhyDialog.hpp"

#include "Scanning/PathExplanationText.hpp"
#include "Views/SectionWidgets.hpp"

#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace velmora {

namespace {

using SectionWidgets::qstr;

// Text from the disk or a rule, made safe twice: escapes for control characters, then HTML escaping.
QString html(const std::string& text) {
    return SectionWidgets::shown(text).toHtmlEscaped();
}

} // namespace

QString explanationHtml(const FindingExplanation& explanation, const Finding& finding) {
    QString out;
    if (explanation.paths.empty()) {
        out += QStringLiteral("<p>Dieser Fund nennt keinen Pfad: %1</p>")
                   .arg(html(finding.method.rowText().value_or("Nur Hinweis – wird nicht entfernt")));
        if (!finding.summary.empty())
            out += QStringLiteral("<p>%1</p>").arg(html(finding.summary));
        if (finding.commandPreview)
            out += QStringLiteral("<p><b>Befehl:</b> <code>%1</code></p>").arg(html(*finding.commandPreview));
        return out;
    }
    for (const auto& path : explanation.paths) {
        const auto text = PathExplanationText::of(path);
        // The texts are printable already; only the HTML characters need escaping.
        out += QStringLiteral("<h4>%1</h4><table cellspacing=\"2\">").arg(qstr(text.heading).toHtmlEscaped());
        for (const auto& line : text.lines)
            out += line.label.empty()
                       ? QStringLiteral("<tr><td colspan=\"2\">%1</td></tr>")
                             .arg(qstr(line.text).toHtmlEscaped())
                       : QStringLiteral("<tr><td><b>%1:</b></td><td>%2</td></tr>")
                             .arg(qstr(line.label).toHtmlEscaped(), qstr(line.text).toHtmlEscaped());
        out += QStringLiteral("</table>");
    }
    if (explanation.omitted > 0)
        out += QStringLiteral(
                   "<p><i>Gezeigt werden die ersten %1 Einträge; %2 weitere sind nicht aufgeführt.</i></p>")
                   .arg(explanation.paths.size())
                   .arg(explanation.omitted);
    return out;
}

WhyDialog::WhyDialog(AppModel& model, const FindingID& finding, const std::string& itemID, QWidget* parent)
    : QDialog(parent), model_(model), finding_(finding), itemID_(itemID) {
    setWindowTitle(QStringLiteral("Warum wird das vorgeschlagen?"));
    setAccessibleName(windowTitle());
    resize(640, 480);
    auto* layout = new QVBoxLayout(this);
    const Finding* known = model_.findingFor(finding_);
    heading_ = SectionWidgets::heading(known ? SectionWidgets::shown(known->title) : QString(), this);
    heading_->setWordWrap(true);
    layout->addWidget(heading_);
    progress_ = new QProgressBar(this);
    progress_->setRange(0, 0);
    progress_->setFormat(QStringLiteral("Wird geprüft …"));
    progress_->setTextVisible(true);
    progress_->setAccessibleName(QStringLiteral("Wird geprüft"));
    layout->addWidget(progress_);
    answer_ = new QTextBrowser(this);
    answer_->setAccessibleName(QStringLiteral("Antwort"));
    answer_->setOpenLinks(false);
    layout->addWidget(answer_, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->button(QDialogButtonBox::Close)->setText(QStringLiteral("Schließen"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);

    observation_ = model_.observe([this](AppModel::Property property) {
        if (property == AppModel::Property::explanation || property == AppModel::Property::isExplaining ||
            property == AppModel::Property::lastError)
            showAnswer();
    });
    model_.explain(finding_, itemID_);
    showAnswer();
}

WhyDialog::~WhyDialog() {
    observation_.stop();
    // The answer belongs to this dialog; a later question starts afresh.
    if (const auto& shownAnswer = model_.explanation();
        !shownAnswer || (shownAnswer->finding == finding_ && shownAnswer->item == itemID_))
        model_.dismissExplanation();
}

void WhyDialog::showAnswer() {
    const auto& answer = model_.explanation();
    const bool mine = answer && answer->finding == finding_ && answer->item == itemID_;
    progress_->setVisible(model_.isExplaining() && !mine);
    const Finding* finding = model_.findingFor(finding_);
    if (mine && finding)
        answer_->setHtml(explanationHtml(*answer, *finding));
    else if (!model_.isExplaining())
        answer_->setPlainText(!finding ? QStringLiteral("Dieser Fund ist nicht mehr in der Liste.")
                              : model_.lastError() ? SectionWidgets::shown(*model_.lastError())
                                                   : QString());
}

} // namespace velmora
