#pragma once

#include <QDialog>

#include <functional>

#include "core/warnings.h"

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace kandor {

// The one shared warning list and the dialog that shows it. The list is the core's
// WarningList; Text1 shows it whenever the dialog is shown.
class dlgWarn final : public QDialog {
    Q_OBJECT

  public:
    static constexpr std::string_view kCaption = "  Data incomplete!";

    explicit dlgWarn(QWidget* parent = nullptr);

    void Add(std::string_view message) { list_.Add(message); }
    void Clear() { list_.Clear(); }
    bool Clean() const { return list_.Clean(); }
    WarningList& list() { return list_; }

    // Shows the list modally over the owner; returns when the user pressed OK (-1) or
    // double-clicked a line to go to its place (the 0-based line).
    int showModally();
    // Shows the list without blocking (tests read Text1 and press OKButton themselves).
    void showList();
    // The list as it is now into Text1, after the owner changed it while it is shown.
    void refreshText();
    // A double click on a line of Text1: the dialog closes and answers that line.
    void activateLine(int line);

    // A note under the list with a button that acts on it; an empty note hides both.
    void setNote(const QString& note, const QString& action, std::function<void()> act);

    QPlainTextEdit* Text1 = nullptr;
    QPushButton* OKButton = nullptr;
    QLabel* labNote = nullptr;
    QPushButton* cmdNoteAction = nullptr;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    WarningList list_;
    int activated_ = -1;
    std::function<void()> noteAction_;
};

}  // namespace kandor
