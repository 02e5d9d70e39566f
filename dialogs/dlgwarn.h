#pragma once

#include <QDialog>

#include "core/warnings.h"

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

    // Shows the list modally over the owner; returns when the user pressed OK.
    void showModally();
    // Shows the list without blocking (tests read Text1 and press OKButton themselves).
    void showList();

    QPlainTextEdit* Text1 = nullptr;
    QPushButton* OKButton = nullptr;

  private:
    void refreshText();
    WarningList list_;
};

}  // namespace kandor
