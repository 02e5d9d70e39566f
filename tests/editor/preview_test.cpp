// The preview: the writer's text in the widget and back byte for byte, the two parses of OK
// (a refused text never reaches the record), the findings of a refused text, and the same
// through the editor window on every corpus file.

#include "dialogs/dlgpreview.h"

#include <QTimer>

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTextBlock>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/saveies.h"
#include "dialogs/dlgwarn.h"
#include "dialogs/widgettext.h"
#include "editor/frmedit.h"
#include "host/samplerecord.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using testing::ScriptedPrompter;

std::vector<std::string> corpusFiles() {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR))
        if (entry.path().extension() == ".ies") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

IesRecord readCorpus(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    const std::string text = normaliseLineEnds(bytes);
    IesRecord record;
    IesReader reader;
    reader.ParseIes(record, text, false, text);
    record.Filename = path;
    return record;
}

// Replaces the first occurrence of `from` in the widget's text, as a user's edit would.
void editText(QPlainTextEdit* edit, const QString& from, const QString& to) {
    QTextCursor found = edit->document()->find(from);
    ASSERT_FALSE(found.isNull()) << from.toStdString();
    found.insertText(to);
}

// A preview over one record, with the editor's part played by counters.
struct StandalonePreview {
    explicit StandalonePreview(IesRecord start, bool valid = true)
        : record(std::move(start)),
          dialog(prompter,
                 PreviewHooks{[this, valid] {
                                  ++validations;
                                  return valid;
                              },
                              [this] {
                                  ++saves;
                                  return true;
                              },
                              [this]() -> IesRecord& { return record; }, [this] { ++fills; }}) {}

    IesRecord record;
    ScriptedPrompter prompter;
    int validations = 0, saves = 0, fills = 0;
    dlgPreview dialog;
};

TEST(Preview, OpensWithTheWritersTextInAFixedPitchUnwrappedBox) {
    StandalonePreview p(SampleRecord());
    ASSERT_TRUE(p.dialog.loadPreview());
    EXPECT_EQ(p.dialog.windowTitle().toStdString(), dlgPreview::kCaption);
    EXPECT_EQ(p.validations, 1);
    EXPECT_EQ(p.saves, 1);
    SaveIES reference;
    ScriptedPrompter quiet;
    EXPECT_EQ(p.dialog.previewText(), reference.Compose(p.record, quiet));
    QPlainTextEdit* text = p.dialog.txtPreview;
    EXPECT_EQ(text->lineWrapMode(), QPlainTextEdit::NoWrap);
    EXPECT_TRUE(QFontInfo(text->font()).fixedPitch());
    EXPECT_FALSE(text->toPlainText().contains(QLatin1Char('\r')));
}

TEST(Preview, AFailedCheckKeepsThePreviewClosedAndTheRecordAsItWas) {
    StandalonePreview p(SampleRecord(), false);
    EXPECT_FALSE(p.dialog.loadPreview());
    EXPECT_EQ(p.saves, 0);
    EXPECT_TRUE(p.dialog.txtPreview->toPlainText().isEmpty());
    EXPECT_EQ(p.record, SampleRecord());
}

// The widget's own line ends and back: every corpus text survives it byte for byte, even when
// an edit elsewhere makes the text go through the conversion.
TEST(Preview, EveryCorpusTextCrossesTheWidgetUnchanged) {
    const std::vector<std::string> files = corpusFiles();
    ASSERT_GE(files.size(), 20u);
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        StandalonePreview p(readCorpus(file));
        ASSERT_TRUE(p.dialog.loadPreview());
        SaveIES reference;
        reference.setCandelaPattern(SaveIES::kCandelaPatternExact);
        ScriptedPrompter quiet;
        const std::string composed = reference.Compose(p.record, quiet);
        const WidgetText shown = toWidgetText(composed);
        EXPECT_EQ(fromWidgetText(p.dialog.txtPreview->document()->toRawText(), shown.latin1),
                  composed);
        EXPECT_EQ(p.dialog.previewText(), composed);
    }
}

TEST(Preview, AnEditedTextKeepsLatin1BytesAndCrlf) {
    IesRecord record = SampleRecord();
    record.Keywords.append(
        "[_MAKER] Leuchten M\xFC"
        "ller");  // Latin-1, not UTF-8
    StandalonePreview p(record);
    ASSERT_TRUE(p.dialog.loadPreview());
    editText(p.dialog.txtPreview, QStringLiteral("[MANUFAC]"),
             QStringLiteral("[LUMCAT] 7\n[MANUFAC]"));
    const std::string text = p.dialog.previewText();
    EXPECT_NE(text.find("[LUMCAT] 7\r\n[MANUFAC] Sample"), std::string::npos);
    EXPECT_NE(text.find("[_MAKER] Leuchten M\xFC"
                        "ller\r\n"),
              std::string::npos);
    EXPECT_EQ(text.find('\n', 0) - 1, text.find('\r', 0));
}

struct RefusedCase {
    const char* name;
    QString from, to;
    int code;
};

TEST(Preview, ARefusedTextNeverReachesTheRecord) {
    const RefusedCase cases[] = {
        {"TILT line emptied", QStringLiteral("TILT=NONE"), QString(),
         iesreader_code::kTiltNeverFound},
        {"unknown keyword", QStringLiteral("[MANUFAC]"), QStringLiteral("[FOO] x\n[MANUFAC]"),
         iesreader_code::kKeyword},
        {"negative candela", QStringLiteral(" 1642.20"), QStringLiteral(" -1642.20"),
         iesreader_code::kNegativeCandela},
    };
    for (const RefusedCase& c : cases) {
        SCOPED_TRACE(c.name);
        const IesRecord start = SampleRecord();
        StandalonePreview p(start);
        ASSERT_TRUE(p.dialog.loadPreview());
        editText(p.dialog.txtPreview, c.from, c.to);
        const QString asLeft = p.dialog.txtPreview->toPlainText();
        p.dialog.OKButton->click();

        ASSERT_FALSE(p.prompter.calls().empty());
        EXPECT_EQ(p.prompter.last().text, dlgPreview::kNoLongerValid);
        EXPECT_EQ(p.record, start);
        EXPECT_EQ(p.fills, 0);
        EXPECT_EQ(p.dialog.txtPreview->toPlainText(), asLeft);
        EXPECT_NE(p.dialog.result(), QDialog::Accepted);
        ASSERT_FALSE(p.dialog.findings().empty());
        bool named = false;
        for (const auto& f : p.dialog.findings())
            named = named || f.code == c.code;
        EXPECT_TRUE(named);
        EXPECT_EQ(p.dialog.lstFindings->count(), static_cast<int>(p.dialog.findings().size()));
        EXPECT_FALSE(p.dialog.lstFindings->isHidden());
    }
}

TEST(Preview, AClickOnAFindingPutsTheCursorOnItsLine) {
    StandalonePreview p(SampleRecord());
    ASSERT_TRUE(p.dialog.loadPreview());
    editText(p.dialog.txtPreview, QStringLiteral("[MANUFAC]"),
             QStringLiteral("[BAD] x\n[MANUFAC]"));
    p.dialog.OKButton->click();
    ASSERT_EQ(p.dialog.findings().size(), 1u);
    const dlgPreview::Finding& finding = p.dialog.findings().front();
    EXPECT_EQ(finding.code, iesreader_code::kKeyword);
    QListWidget* list = p.dialog.lstFindings;
    ASSERT_EQ(list->count(), 1);
    EXPECT_TRUE(list->item(0)->text().contains(QStringLiteral("code 27")));
    emit list->itemClicked(list->item(0));
    const QTextBlock block = p.dialog.txtPreview->textCursor().block();
    EXPECT_TRUE(block.text().startsWith(QStringLiteral("[BAD] x")));
}

TEST(Preview, AValidEditReachesTheRecordThroughTwoParsesOfOneReader) {
    StandalonePreview p(SampleRecord());
    ASSERT_TRUE(p.dialog.loadPreview());
    const std::string before = p.dialog.previewText();
    IesReader fresh;
    IesRecord ignored;
    fresh.ParseIes(ignored, before, false, before);
    ASSERT_GT(fresh.LineNumber, 0);

    editText(p.dialog.txtPreview, QStringLiteral("[MANUFAC]"),
             QStringLiteral("[LUMCAT] NEW-1\n[MANUFAC]"));
    p.dialog.OKButton->click();
    EXPECT_TRUE(p.prompter.calls().empty());
    EXPECT_EQ(p.fills, 1);
    EXPECT_EQ(p.dialog.result(), QDialog::Accepted);
    bool found = false;
    for (const std::string& line : p.record.Keywords)
        found = found || line == "[LUMCAT] NEW-1";
    EXPECT_TRUE(found);
    // The dialog's reader counted both parses, one line more each time.
    EXPECT_EQ(p.dialog.reader().LineNumber, 2 * (fresh.LineNumber + 1));
}

TEST(Preview, CancelReadsNothingBack) {
    StandalonePreview p(SampleRecord());
    ASSERT_TRUE(p.dialog.loadPreview());
    editText(p.dialog.txtPreview, QStringLiteral("[MANUFAC]"),
             QStringLiteral("[LUMCAT] NEW\n[MANUFAC]"));
    p.dialog.cmdCancel->click();
    EXPECT_EQ(p.record, SampleRecord());
    EXPECT_EQ(p.fills, 0);
    EXPECT_EQ(p.dialog.result(), QDialog::Rejected);
    // The next opening shows fresh writer output.
    ASSERT_TRUE(p.dialog.loadPreview());
    EXPECT_FALSE(p.dialog.txtPreview->toPlainText().contains(QStringLiteral("NEW")));
}

TEST(Preview, ThreeDecimalsSurviveAnUntouchedOk) {
    IesRecord record = SampleRecord();
    record.Candela(1, 1) = 4660.115;
    StandalonePreview p(record);
    ASSERT_TRUE(p.dialog.loadPreview());
    EXPECT_TRUE(p.dialog.txtPreview->toPlainText().contains(QStringLiteral("4660.115")));
    p.dialog.OKButton->click();
    EXPECT_EQ(p.dialog.result(), QDialog::Accepted);
    EXPECT_EQ(p.record.Candela(1, 1), 4660.115);
}

TEST(Preview, EnterAndTabBelongToTheTextAndCtrlReachesTheButtons) {
    StandalonePreview p(SampleRecord());
    ASSERT_TRUE(p.dialog.loadPreview());
    p.dialog.show();
    p.dialog.activateWindow();
    p.dialog.txtPreview->setFocus();
    QTest::keyClick(p.dialog.txtPreview, Qt::Key_Tab, Qt::ControlModifier);
    EXPECT_FALSE(p.dialog.txtPreview->hasFocus());
    p.dialog.txtPreview->setFocus();
    QTest::keyClick(p.dialog.txtPreview, Qt::Key_Escape);
    EXPECT_FALSE(p.dialog.isVisible());
    EXPECT_EQ(p.fills, 0);

    ASSERT_TRUE(p.dialog.loadPreview());
    p.dialog.show();
    p.dialog.activateWindow();
    p.dialog.txtPreview->setFocus();
    QTest::keyClick(p.dialog.txtPreview, Qt::Key_Return, Qt::ControlModifier);
    EXPECT_FALSE(p.dialog.isVisible());
    EXPECT_EQ(p.fills, 1);
}

// ---- Through the editor window ----

class NoHelp final : public HelpOpener {
  public:
    bool openTopic(int) override { return true; }
};

class PreviewInEditor : public ::testing::Test {
  protected:
    void start(IesRecord record) {
        form_.reset();
        list_.clear();
        prompter_.reset();
        list_.add(std::move(record));
        EditorContext context{store_, state_, list_, prompter_, help_, {}, [] {}, 0};
        form_ = std::make_unique<frmEdit>(context);
        form_->loadForm();
        form_->backupRecord();
        form_->loadData();
        form_->showForm();
    }
    void TearDown() override {
        if (form_) form_->hide();
    }

    // Presses Preview and runs `inside` while the preview is shown; a warnings dialog that
    // stops the preview is closed. False when the preview did not open.
    bool openPreview(const std::function<void(dlgPreview&)>& inside) {
        bool opened = false;
        QTimer::singleShot(0, [&] {
            if (dlgWarn* warn = form_->warnDialog(); warn->isVisible()) {
                warn->OKButton->click();
                return;
            }
            dlgPreview* preview = form_->previewDialog();
            opened = preview->isVisible();
            inside(*preview);
            if (preview->isVisible()) preview->cmdCancel->click();
        });
        form_->findChild<QPushButton*>("cmdPreview")->click();
        return opened;
    }

    MemorySettingsStore store_;
    ToolState state_;
    RecordList list_;
    ScriptedPrompter prompter_;
    NoHelp help_;
    std::unique_ptr<frmEdit> form_;
};

// Open the preview, OK without an edit, open it again: the same text, byte for byte, for
// every corpus file the editor's check lets through.
TEST_F(PreviewInEditor, OkWithoutAnEditGivesTheSameTextAgain) {
    int opened = 0;
    const std::vector<std::string> files = corpusFiles();
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        start(readCorpus(file));
        std::string first, second;
        bool refused = false;
        if (!openPreview([&](dlgPreview& p) {
                first = p.previewText();
                const IesRecord beforeOk = list_(1);
                p.OKButton->click();
                refused = p.isVisible();
                // A refused text leaves the record as the preview composed it.
                if (refused) {
                    EXPECT_EQ(prompter_.last().text, dlgPreview::kNoLongerValid);
                    EXPECT_EQ(list_(1), beforeOk);
                }
            }))
            continue;
        ++opened;
        ASSERT_TRUE(openPreview([&](dlgPreview& p) { second = p.previewText(); }));
        EXPECT_EQ(second, first);
        EXPECT_NE(first.find("\r\n"), std::string::npos);
    }
    std::printf("preview round trip: %d of %zu corpus files pass the editor's check\n", opened,
                files.size());
    EXPECT_GE(opened, static_cast<int>(files.size()) / 2);
}

TEST_F(PreviewInEditor, AValidEditReachesTheForm) {
    start(SampleRecord());
    ASSERT_TRUE(openPreview([](dlgPreview& p) {
        editText(p.txtPreview, QStringLiteral("[LUMCAT] SL-22-LED-5700"),
                 QStringLiteral("[LUMCAT] SL-33"));
        editText(p.txtPreview, QStringLiteral("2 2850 1 19 5"), QStringLiteral("3 2850 1 19 5"));
        p.OKButton->click();
        EXPECT_FALSE(p.isVisible());
    }));
    EXPECT_TRUE(prompter_.calls().empty());
    EXPECT_EQ(form_->findChild<QLineEdit*>("txtNumLamps")->text(), QStringLiteral("3"));
    EXPECT_NE(form_->keywordText().find("[LUMCAT] SL-33\r\n"), std::string::npos);
    EXPECT_EQ(list_(1).OtherData.numLamps, 3);
}

TEST_F(PreviewInEditor, AnInvalidTextNeverTouchesTheRecordOrTheForm) {
    start(SampleRecord());
    const std::string keywordsBefore = form_->keywordText();
    IesRecord recordInPreview;
    ASSERT_TRUE(openPreview([&](dlgPreview& p) {
        recordInPreview = list_(1);  // the form as the preview composed it
        editText(p.txtPreview, QStringLiteral("[LUMCAT]"), QStringLiteral("[FOO] x\n[LUMCAT]"));
        editText(p.txtPreview, QStringLiteral("2 2850 1 19 5"), QStringLiteral("3 2850 1 19 5"));
        p.OKButton->click();
        EXPECT_TRUE(p.isVisible());
        EXPECT_EQ(prompter_.last().text, dlgPreview::kNoLongerValid);
        // The finding names the line as the text shows it, below the format line's blank.
        ASSERT_EQ(p.lstFindings->count(), 1);
        emit p.lstFindings->itemClicked(p.lstFindings->item(0));
        EXPECT_TRUE(p.txtPreview->textCursor().block().text().startsWith(QStringLiteral("[FOO]")));
    }));
    EXPECT_EQ(list_(1), recordInPreview);
    EXPECT_EQ(form_->findChild<QLineEdit*>("txtNumLamps")->text(), QStringLiteral("2"));
    EXPECT_EQ(form_->keywordText(), keywordsBefore);
}

}  // namespace
}  // namespace kandor
