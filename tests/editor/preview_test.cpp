// The preview: the writer's text in the widget and back byte for byte, the two parses of OK
// (a refused text never reaches the record), the findings of a refused text, and the same
// through the editor window on every corpus file.

#include "dialogs/dlgpreview.h"

#include <gtest/gtest.h>

#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextBlock>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/saveies.h"
#include "dialogs/widgettext.h"
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
    EXPECT_EQ(block.blockNumber() + 1, finding.line);
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

}  // namespace
}  // namespace kandor
