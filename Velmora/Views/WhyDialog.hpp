// "Warum wird das vorgeschlagen?": the answer `velmora why` gives, for the items of one finding – which
// rule or scanner claims each path, what the safety guard says and whether it is kept.
#pragma once

#include "App/AppModel.hpp"

#include <QDialog>

class QLabel;
class QProgressBar;
class QTextBrowser;

namespace velmora {

class WhyDialog : public QDialog {
    Q_OBJECT
public:
    // Asks the model about `finding` (only `itemID` when given) and shows the answer when it comes.
    WhyDialog(AppModel& model, const FindingID& finding, const std::string& itemID = {},
              QWidget* parent = nullptr);
    ~WhyDialog() override;

    QTextBrowser* answerView() const { return answer_; }
    QProgressBar* progressBar() const { return progress_; }

private:
    void showAnswer();

    AppModel& model_;
    FindingID finding_;
    std::string itemID_;
    QLabel* heading_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QTextBrowser* answer_ = nullptr;
    AppModel::Observation observation_;
};

// The answer as HTML: one section per path, every outside text escaped.
QString explanationHtml(const FindingExplanation& explanation, const Finding& finding);

} // namespace velmora
