#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <QDialog>

#include "core/iesreader.h"
#include "core/iesrecord.h"
#include "core/prompter.h"

class QLabel;
class QListWidget;
class QListWidgetItem;
class QPlainTextEdit;
class QPushButton;

namespace kandor {

// What the preview needs from the editor, so that it knows nothing of the form's insides.
struct PreviewHooks {
    // Clears the warning list and checks the form; false (after the warnings were shown)
    // stops the preview.
    std::function<bool()> validate;
    // Copies the form into the record being edited; false when the transfer failed.
    std::function<bool()> saveForm;
    // The record being edited: composed on opening, parsed into on a good OK.
    std::function<IesRecord&()> record;
    // Copies the record into the form, after a good OK.
    std::function<void()> fill;
};

// The preview: the edited record as the LM-63 text that would be saved, open to an expert's
// edits, read back on OK. It owns the reader, so LineNumber and CurrentField run on across
// the two parses of one OK and from one OK to the next.
class dlgPreview final : public QDialog {
    Q_OBJECT

  public:
    static constexpr std::string_view kCaption = "Edit Raw file (Experts Only!)";
    static constexpr std::string_view kNoLongerValid = "This is no longer a valid file.";

    // One report of the reader from the last refused text; `line` as the reader counts.
    struct Finding {
        int line = 0;
        int code = 0;
        std::string message;
    };

    dlgPreview(Prompter& prompter, PreviewHooks hooks, QWidget* parent = nullptr);

    // The opening steps before the dialog shows: clear and validate, copy the form into the
    // record, put the writer's text into txtPreview. False when the check failed (the
    // preview must not open).
    bool loadPreview();
    // The Preview button: loadPreview, then the dialog modally until OK or Cancel.
    void showPreview();

    // Reads the text into a scratch record first; a text with any finding that makes it
    // invalid is refused with kNoLongerValid and stays as the user left it. A valid text is
    // read into the record being edited, the form is filled and the dialog hides.
    void OKButton_Click();
    // Hides the dialog; nothing is read back.
    void cmdCancel_Click();

    // txtPreview's text with CRLF line ends; the composed bytes while the user changed nothing.
    std::string previewText() const;
    IesReader& reader() { return reader_; }
    const std::vector<Finding>& findings() const { return findings_; }
    // Puts the cursor at the start of a 1-based line of the text and shows it.
    void goToLine(int line);

    QPlainTextEdit* txtPreview = nullptr;
    QPushButton* OKButton = nullptr;
    QPushButton* cmdCancel = nullptr;
    QLabel* labFindings = nullptr;
    QListWidget* lstFindings = nullptr;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void showFindings(std::int16_t status, std::string_view text);
    void clearFindings();

    Prompter& prompter_;
    PreviewHooks hooks_;
    IesReader reader_;
    std::string composed_;  // the text as the writer gave it
    QString shownRaw_;      // the widget's raw text right after it was filled
    bool latin1_ = false;
    std::vector<Finding> findings_;
};

}  // namespace kandor
