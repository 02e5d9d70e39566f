// The keywords tab in the editor window: keywords dropped from the picker, the colours typing
// gives a keyword, and the keyword template in a real store file, saved by one run and loaded
// by the next.

#include <gtest/gtest.h>

#include <QAbstractItemModel>
#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTimer>

#include <memory>
#include <string>
#include <vector>

#include "core/keywords.h"
#include "core/keywordtemplate.h"
#include "dialogs/dlgwarn.h"
#include "editor/frmedit.h"
#include "editor/keywordedit.h"
#include "host/samplerecord.h"
#include "host/sqlitesettingsstore.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using testing::ScriptedPrompter;

class NoHelp final : public HelpOpener {
  public:
    bool openTopic(int) override { return true; }
};

IesRecord recordWith(std::vector<std::string> lines) {
    IesRecord r = SampleRecord();
    r.Keywords.clear();
    for (std::string& line : lines)
        r.Keywords.append(std::move(line));
    return r;
}

// One run of the tool: a form over one record, its store a real file shared between runs.
struct ToolRun {
    ToolRun(const QString& storeFile, IesRecord record) {
        std::string error;
        store = SqliteSettingsStore::open(storeFile.toStdString(), error);
        EXPECT_TRUE(store) << error;
        list.add(std::move(record));
        EditorContext context{*store, state, list, prompter, help, {}, [] {}, 0};
        form = std::make_unique<frmEdit>(context);
        form->loadForm();
        form->fillKeywordPicker(kKeywordPickerNames);
        form->backupRecord();
        form->loadData();
        form->showForm();
        rtb = form->findChild<KeywordTextEdit*>("keyRtb");
        EXPECT_NE(rtb, nullptr);
    }
    ~ToolRun() { form->hide(); }

    void click(const char* name) { form->findChild<QPushButton*>(name)->click(); }

    std::unique_ptr<SettingsStore> store;
    ToolState state;
    RecordList list;
    ScriptedPrompter prompter;
    NoHelp help;
    std::unique_ptr<frmEdit> form;
    KeywordTextEdit* rtb = nullptr;
};

class KeywordsTab : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(dir_.isValid()); }
    QString storeFile() const { return dir_.filePath("settings.sqlite3"); }
    QTemporaryDir dir_;
};

// Types as a user would, one key event per character; "\n" is the Enter key.
void typeKeys(QWidget* target, const QString& text) {
    for (const QChar c : text) {
        const bool enter = c == QLatin1Char('\n');
        const int key = enter ? static_cast<int>(Qt::Key_Return) : c.toUpper().unicode();
        const Qt::KeyboardModifiers mods =
            c == QLatin1Char('_') ? Qt::ShiftModifier : Qt::NoModifier;
        QKeyEvent press(QEvent::KeyPress, key, mods, enter ? QStringLiteral("\r") : QString(c));
        QApplication::sendEvent(target, &press);
    }
}

QStringList lines(const QTextEdit* edit) {
    return edit->toPlainText().split(QLatin1Char('\n'));
}

// The format of the character at a 0-based offset of a line.
QTextCharFormat formatAt(const QTextEdit* edit, int line, int offset) {
    QTextCursor cursor(edit->document()->findBlockByNumber(line));
    cursor.setPosition(cursor.position() + offset + 1);
    return cursor.charFormat();
}

void dropOn(KeywordTextEdit* rtb, const QString& keyword, QPoint at) {
    QMimeData mime;
    mime.setData(QLatin1String(KeywordTextEdit::kKeywordMime), keyword.toUtf8());
    // A drop arrives as the end of a drag that entered and moved over the text.
    QDragEnterEvent enter(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(rtb->viewport(), &enter);
    QDragMoveEvent move(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(rtb->viewport(), &move);
    QDropEvent drop(QPointF(at), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(rtb->viewport(), &drop);
    EXPECT_TRUE(drop.isAccepted());
}

QPoint middleOfLine(KeywordTextEdit* rtb, int line) {
    QTextCursor cursor(rtb->document()->findBlockByNumber(line));
    return rtb->cursorRect(cursor).center() + QPoint(20, 0);
}

TEST_F(KeywordsTab, ADroppedKeywordBecomesANewLineAboveTheLineDroppedOn) {
    ToolRun run(storeFile(), recordWith({"IESNA:LM-63-2002", "[TEST] 1", "[TESTLAB] 2"}));
    dropOn(run.rtb, QStringLiteral("[MANUFAC]"), middleOfLine(run.rtb, 1));
    typeKeys(run.rtb, QStringLiteral("ACME"));
    EXPECT_EQ(lines(run.rtb), (QStringList{"[TEST] 1", "[MANUFAC] ACME", "[TESTLAB] 2", ""}));
    EXPECT_EQ(formatAt(run.rtb, 1, 0).fontWeight(), QFont::Bold);     // the keyword
    EXPECT_EQ(formatAt(run.rtb, 1, 10).fontWeight(), QFont::Normal);  // the value typed
    EXPECT_EQ(run.form->keywordText(), "[TEST] 1\r\n[MANUFAC] ACME\r\n[TESTLAB] 2\r\n");
}

TEST_F(KeywordsTab, ADropBelowTheLastLineAppends) {
    ToolRun run(storeFile(), recordWith({"IESNA:LM-63-2002", "[TEST] 1", "[TESTLAB] 2"}));
    ASSERT_EQ(run.rtb->lineAt(QPoint(10, run.rtb->viewport()->height() - 2)), -1);
    dropOn(run.rtb, QStringLiteral("[LAMP]"), QPoint(10, run.rtb->viewport()->height() - 2));
    typeKeys(run.rtb, QStringLiteral("LED"));
    EXPECT_EQ(lines(run.rtb), (QStringList{"[TEST] 1", "[TESTLAB] 2", "[LAMP] LED", ""}));

    // A last line without a line end is kept whole: the keyword starts a line of its own.
    run.rtb->setPlainText(QStringLiteral("[TEST] 1"));
    dropOn(run.rtb, QStringLiteral("[MORE]"), QPoint(10, run.rtb->viewport()->height() - 2));
    EXPECT_EQ(lines(run.rtb), (QStringList{"[TEST] 1", "[MORE] ", ""}));
}

TEST_F(KeywordsTab, ThePickerOffersTheStandardKeywordsAsDragData) {
    ToolRun run(storeFile(), SampleRecord());
    auto* picker = run.form->findChild<KeywordPicker*>("keyLstPos");
    ASSERT_EQ(picker->count(), static_cast<int>(kKeywordPickerNames.size()));
    EXPECT_EQ(picker->item(0)->text(), QStringLiteral("[TEST]"));
    EXPECT_EQ(picker->item(18)->text(), QStringLiteral("[MORE]"));
    // Without a mouse: Enter or a double click puts the keyword above the caret's line.
    run.rtb->setTextCursor(QTextCursor(run.rtb->document()->findBlockByNumber(1)));
    emit picker->itemActivated(picker->item(2));
    EXPECT_EQ(lines(run.rtb).mid(0, 3), (QStringList{"[TEST] KPE-0001", "[ISSUEDATE] ",
                                                     "[TESTLAB] Kandor sample photometry"}));
    QAbstractItemModel* model = picker->model();
    std::unique_ptr<QMimeData> mime(model->mimeData({model->index(1, 0)}));
    EXPECT_EQ(mime->data(QLatin1String(KeywordTextEdit::kKeywordMime)), "[TESTLAB]");
}

TEST_F(KeywordsTab, TypingColoursEachKeywordByItsClass) {
    ToolRun run(storeFile(), recordWith({"IESNA:LM-63-2002"}));
    run.rtb->setFocus();
    run.rtb->clear();
    typeKeys(run.rtb, QStringLiteral("[TEST] 1\n[_MINE] 2\n[FOO] 3\nfree A_B\n"));
    EXPECT_EQ(lines(run.rtb), (QStringList{"[TEST] 1", "[_MINE] 2", "[FOO] 3", "free A_B", ""}));
    struct Expect {
        int line, offset;
        bool bold;
        std::int32_t color;
    };
    const Expect expected[] = {
        {0, 0, true, kColorBlack},  {0, 5, true, kColorBlack},  // [TEST]
        {0, 7, false, kColorBlack},                             // its value
        {1, 0, true, kColorBlue},   {1, 1, true, kColorBlue},   {1, 6, true, kColorBlue},
        {1, 8, false, kColorBlack}, {2, 0, true, kColorRed},    {2, 4, true, kColorRed},
        {2, 6, false, kColorBlack}, {3, 0, false, kColorBlack}, {3, 6, false, kColorBlack},
    };
    for (const Expect& e : expected) {
        const QTextCharFormat f = formatAt(run.rtb, e.line, e.offset);
        EXPECT_EQ(f.fontWeight() == QFont::Bold, e.bold) << e.line << ":" << e.offset;
        EXPECT_EQ(f.foreground().color(), colorFromBgr(e.color)) << e.line << ":" << e.offset;
    }
    EXPECT_FALSE(run.rtb->keywordClosed());
}

// A header of 500 lines must not make typing sluggish: each keystroke stays far below what a
// typist would notice.
TEST_F(KeywordsTab, TypingStaysFluentOnALongHeader) {
    std::vector<std::string> header = {"IESNA:LM-63-2002"};
    for (int i = 0; i < 500; ++i)
        header.push_back("[OTHER] line " + std::to_string(i) + " of a long near-field header");
    ToolRun run(storeFile(), recordWith(header));
    QTextCursor middle(run.rtb->document()->findBlockByNumber(250));
    run.rtb->setTextCursor(middle);
    const QString typed = QStringLiteral("[_NOTE] typed in the middle [MORE] more\n").repeated(5);
    QElapsedTimer clock;
    clock.start();
    typeKeys(run.rtb, typed);
    const double perKey = static_cast<double>(clock.elapsed()) / typed.size();
    std::printf("typing on a 500-line header: %.2f ms per key\n", perKey);
    EXPECT_LT(perKey, 15.0);
    EXPECT_EQ(run.rtb->document()->blockCount(), 500 + 5 + 1);
}

TEST_F(KeywordsTab, ASavedTemplateIsLoadedByTheNextRun) {
    {
        ToolRun first(storeFile(), recordWith({"IESNA:LM-63-1995", "[TEST] 123", "[LAMP] X"}));
        first.prompter.queue(PromptAnswer::Cancel);
        first.click("keyCmdSave");
        EXPECT_TRUE(first.store->allEntries("Lumivex32", "Tool_DefaultKeywords").empty());

        first.click("keyCmdSave");
        ASSERT_EQ(first.prompter.calls().size(), 2u);
        EXPECT_EQ(first.prompter.last().text, keyword_template_text::kSaveQuestion);
        EXPECT_EQ(first.prompter.last().buttons, PromptButtons::OkCancel);
    }
    // Read back through a store of its own, as another process would.
    std::string error;
    auto store = SqliteSettingsStore::open(storeFile().toStdString(), error);
    ASSERT_TRUE(store) << error;
    const SettingsStore::Entries expected = {{"B[TEST]", " 123"}, {"C[LAMP]", " X"}};
    EXPECT_EQ(store->allEntries("Lumivex32", "Tool_DefaultKeywords"), expected);

    ToolRun next(storeFile(), recordWith({"IESNA:LM-63-1995"}));
    EXPECT_EQ(next.form->keywordText(), "");
    next.click("keyCmdLoad");
    EXPECT_TRUE(next.prompter.calls().empty());
    EXPECT_EQ(next.form->keywordText(), "[TEST] 123\r\n[LAMP] X\r\n");
    EXPECT_EQ(lines(next.rtb), (QStringList{"[TEST] 123", "[LAMP] X", ""}));

    // Loading appends: the lines stay, the template follows them again.
    next.click("keyCmdLoad");
    EXPECT_EQ(next.form->keywordText(), "[TEST] 123\r\n[LAMP] X\r\n[TEST] 123\r\n[LAMP] X\r\n");
}

TEST_F(KeywordsTab, SavingReplacesTheWholeTemplate) {
    ToolRun run(storeFile(), recordWith({"IESNA:LM-63-1995", "[TEST] 1", "[LAMP] 2", "[OTHER] 3"}));
    run.click("keyCmdSave");
    run.rtb->setPlainText(QStringLiteral("Lamp data sheet 7\n"));
    run.click("keyCmdSave");
    const SettingsStore::Entries expected = {{"B", "Lamp data sheet 7"}};
    EXPECT_EQ(run.store->allEntries("Lumivex32", "Tool_DefaultKeywords"), expected);
}

TEST_F(KeywordsTab, LoadingWithoutATemplateAddsTheTenDefaults) {
    ToolRun run(storeFile(),
                recordWith({"IESNA:LM-63-2002", "[TEST] 1", "[TESTLAB] 2", "[MANUFAC] 3"}));
    run.click("keyCmdLoad");
    ASSERT_EQ(run.prompter.calls().size(), 1u);
    EXPECT_EQ(run.prompter.last().text, keyword_template_text::kNoDefaults);
    EXPECT_EQ(run.form->keywordText(),
              "[TEST] 1\r\n[TESTLAB] 2\r\n[MANUFAC] 3\r\n"
              "IESNA:LM-63-2002\r\n\r\n[TEST]\r\n[TESTLAB]\r\n[ISSUEDATE]\r\n[MANUFAC]\r\n"
              "[LUMCAT]\r\n[LUMINAIRE]\r\n[LAMPCAT]\r\n[LAMP]\r\n\r\n");
    // The revision line among them is shown as one, bold.
    EXPECT_EQ(formatAt(run.rtb, 3, 0).fontWeight(), QFont::Bold);
}

TEST_F(KeywordsTab, AFormThatFailsItsCheckSavesNoTemplate) {
    ToolRun run(storeFile(), recordWith({"IESNA:LM-63-1995", "[TEST] 1"}));
    run.store->save("Lumivex32", "Tool_DefaultKeywords", "B[OLD]", " kept");
    run.rtb->setPlainText(QStringLiteral("[TEST] 1\n[FOO] not a keyword\n"));
    QTimer::singleShot(0, [&run] {
        dlgWarn* warn = run.form->warnDialog();
        ASSERT_TRUE(warn->isVisible());
        EXPECT_TRUE(warn->Text1->toPlainText().startsWith(QStringLiteral("Keyword: 2 is invalid")));
        warn->OKButton->click();
    });
    run.click("keyCmdSave");
    const SettingsStore::Entries kept = {{"B[OLD]", " kept"}};
    EXPECT_EQ(run.store->allEntries("Lumivex32", "Tool_DefaultKeywords"), kept);
}

}  // namespace
}  // namespace kandor
