#include "editor/qtprompter.h"

#include <QMessageBox>

namespace kandor {

PromptAnswer QtPrompter::ask(const std::string& text, const std::string& title,
                             PromptButtons buttons) {
    const QString caption =
        QString::fromStdString(title.empty() ? std::string(kDefaultTitle) : title);
    QMessageBox box(owner_ && owner_->isVisible() ? owner_.data() : nullptr);
    box.setWindowTitle(caption);
    box.setText(QString::fromStdString(text));
    switch (buttons) {
        case PromptButtons::Ok:
            box.setIcon(QMessageBox::Information);
            box.setStandardButtons(QMessageBox::Ok);
            break;
        case PromptButtons::OkCancel:
            box.setIcon(QMessageBox::Question);
            box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
            box.setDefaultButton(QMessageBox::Ok);
            break;
        case PromptButtons::YesNo:
            box.setIcon(QMessageBox::Question);
            box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
            box.setDefaultButton(QMessageBox::Yes);
            break;
    }
    switch (box.exec()) {
        case QMessageBox::Cancel:
            return PromptAnswer::Cancel;
        case QMessageBox::Yes:
            return PromptAnswer::Yes;
        case QMessageBox::No:
            return PromptAnswer::No;
        default:
            return buttons == PromptButtons::YesNo ? PromptAnswer::No : PromptAnswer::Ok;
    }
}

}  // namespace kandor
