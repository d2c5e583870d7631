#include "Views/EmptyTrashPrompt.hpp"

#include "Views/SectionWidgets.hpp"

#include <QMessageBox>
#include <QPushButton>

namespace velmora {

bool askToEmptyTrash(AppModel& model, QWidget* parent) {
    const QString size = SectionWidgets::sizeText(model.trashBytes());
    QMessageBox ask(QMessageBox::Question, QStringLiteral("Papierkorb leeren?"),
                    model.isDryRun()
                        ? QStringLiteral("Trockenlauf: es wird nichts gelöscht, nur gezeigt, was geschähe.")
                        : QStringLiteral("Der Papierkorb (%1) wird endgültig geleert. Das lässt sich nicht "
                                         "rückgängig machen.")
                              .arg(size),
                    QMessageBox::NoButton, parent);
    QPushButton* confirm = ask.addButton(QStringLiteral("Papierkorb leeren"), QMessageBox::DestructiveRole);
    // Enter never empties the Trash.
    ask.setDefaultButton(ask.addButton(QStringLiteral("Abbrechen"), QMessageBox::RejectRole));
    ask.exec();
    if (ask.clickedButton() != confirm)
        return false;
    model.emptyTrash();
    return true;
}

} // namespace velmora
