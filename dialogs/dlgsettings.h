#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <QDialog>

#include "core/prompter.h"
#include "host/settingsstore.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QRadioButton;

namespace kandor {

// What the settings dialog tells the editor, so that it knows nothing of the form's insides.
struct SettingsHooks {
    // cmbCandela's selection changed (also while loading): the lamp tab's hint follows at once.
    // -1 means no selection.
    std::function<void(int changingLampIndex)> lampHint;
    // Loading selected "Original" (true) or "Copy" (false): the editor's own pair follows.
    std::function<void(bool original)> workOnShown;
    // The Help button.
    std::function<void()> help;
};

// The user's two persisted preferences: what a change of lamp data does to the candela data,
// and whether the editor starts on the host's file or on a copy.
class dlgSettings final : public QDialog {
    Q_OBJECT

  public:
    static constexpr std::string_view kCaption = "Edit Settings";

    dlgSettings(SettingsStore& store, Prompter& prompter, SettingsHooks hooks,
                QWidget* parent = nullptr);

    // Fills the controls from the stored "ChangingLamp" and "WorkOn".
    void Load();
    // Fills the controls from these values: cmbCandela's three items with the matching one
    // selected (none for an unknown value), and the option buttons here and on the editor
    // for "Original" or "Copy" (neither changes for anything else).
    void apply(std::string_view changingLamp, std::string_view workOn);
    // The Settings button: Load, then the dialog modally until OK or Cancel.
    void showSettings();

    // Stores "ChangingLamp" (nothing without a selection) and "WorkOn", and closes. A store
    // that refuses the write is reported and the dialog stays open.
    void OKButton_Click();
    // Closes without storing; the lamp tab's hint stays as the last selection left it.
    void CancelButton_Click();
    void cmdHelp_Click();

    QGroupBox* Frame1 = nullptr;
    QLabel* labChange = nullptr;
    QComboBox* cmbCandela = nullptr;
    QGroupBox* fraWorkOn = nullptr;
    QRadioButton* rdoOriginal = nullptr;
    QRadioButton* rdoCopy = nullptr;
    QPushButton* OKButton = nullptr;
    QPushButton* CancelButton = nullptr;
    QPushButton* cmdHelp = nullptr;

  private:
    SettingsStore& store_;
    Prompter& prompter_;
    SettingsHooks hooks_;
};

}  // namespace kandor
