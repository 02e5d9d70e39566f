// The window around the data: keys, findings shown where they are and led to, the reader's
// remarks, the "modified" word, and a size and place remembered through the store.

#include <QFrame>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTimer>
#include <QToolButton>

#include "dialogs/dlgwarn.h"
#include "editorfixture.h"

namespace kandor {
namespace {

class WindowTest : public testing::EditorFixture {
  protected:
    // Ended: the form asked for the end of the program (OK without a host).
    void startCounting(int status = 0, std::vector<std::string> findings = {}) {
        // A record that passes the check, so that OK hands it back at once.
        IesRecord record = testing::smallRecord();
        for (const char* line : {"[TESTLAB] L", "[MANUFAC] M", "[ISSUEDATE] 1"})
            record.Keywords.append(line);
        record.Candela(2, 1) = record.Candela(1, 1);  // one nadir value
        list_.add(std::move(record));
        EditorContext context{store_, state_, list_, prompter_, help_, {}, [this] { ++ended_; }, 0};
        context.openStatus = status;
        context.openFindings = std::move(findings);
        form_ = std::make_unique<frmEdit>(context);
        form_->loadForm();
        form_->backupRecord();
        form_->loadData();
        form_->showForm();
        QApplication::setActiveWindow(form_.get());
    }
    // The field that has the focus while the window is active.
    QWidget* focus() { return form_->focusWidget(); }
    int ended_ = 0;
};

TEST_F(WindowTest, EnterMovesOnInAFieldAndCtrlEnterIsOkFromAnywhere) {
    startCounting();
    child<QTabWidget>("SSTab1")->setCurrentIndex(1);
    edit("txtWatt")->setFocus();
    edit("txtWatt")->setText("9.5");
    QTest::keyClick(edit("txtWatt"), Qt::Key_Return);
    EXPECT_EQ(ended_, 0);
    EXPECT_NE(focus(), edit("txtWatt"));
    EXPECT_TRUE(form_->isVisible());

    child<QTabWidget>("SSTab1")->setCurrentIndex(0);
    child<QTextEdit>("keyRtb")->setFocus();
    QTest::keyClick(child<QTextEdit>("keyRtb"), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(ended_, 1);
    EXPECT_EQ(list_(1).OtherData.inputWatts, 9.5f);
}

TEST_F(WindowTest, EnterOnAButtonIsOk) {
    startCounting();
    child<QPushButton>("cmdAbout")->setFocus();
    QTest::keyClick(child<QPushButton>("cmdAbout"), Qt::Key_Return);
    EXPECT_EQ(ended_, 1);
}

TEST_F(WindowTest, AFieldTheCheckWillRefuseIsMarkedWhileTyping) {
    start(testing::smallRecord());
    const QString plainTip = edit("txtMultiplier")->toolTip();
    type("txtMultiplier", "abc");
    EXPECT_FALSE(edit("txtMultiplier")->styleSheet().isEmpty());
    EXPECT_EQ(edit("txtMultiplier")->toolTip(), "General:Candela Multiplier is not a number.");
    type("txtMultiplier", "2");
    EXPECT_TRUE(edit("txtMultiplier")->styleSheet().isEmpty());
    EXPECT_EQ(edit("txtMultiplier")->toolTip(), plainTip);
    EXPECT_TRUE(prompter_.calls().empty());
}

TEST_F(WindowTest, AWarningLeadsToItsPlace) {
    startCounting();
    type("txtNumLamps", "");
    child<QTextEdit>("keyRtb")->setPlainText("IESNA:LM-63-2002\n[TEST] 1\nfree text");
    // OK on the list: the first offending field; a double click: the line's own place.
    struct Case {
        int line;
        const char* widget;
    };
    for (const Case c : {Case{-1, "txtNumLamps"}, Case{1, "keyRtb"}}) {
        QTimer::singleShot(0, [&] {
            dlgWarn* warn = form_->warnDialog();
            ASSERT_TRUE(warn->isVisible());
            if (c.line < 0) {
                warn->OKButton->click();
                return;
            }
            QTextBlock block = warn->Text1->document()->findBlockByNumber(c.line);
            QTextCursor cursor(block);
            const QPoint at = warn->Text1->cursorRect(cursor).center();
            QTest::mouseDClick(warn->Text1->viewport(), Qt::LeftButton, {}, at);
        });
        child<QPushButton>("cmdOk")->click();
        EXPECT_FALSE(form_->warnDialog()->isVisible());
        EXPECT_EQ(focus(), form_->findChild<QWidget*>(c.widget)) << c.widget;
    }
    EXPECT_EQ(child<QTabWidget>("SSTab1")->currentIndex(), 0);
    EXPECT_EQ(child<QTextEdit>("keyRtb")->textCursor().blockNumber(), 2);  // "Keyword: 3 ..."
    EXPECT_EQ(ended_, 0);
}

TEST_F(WindowTest, TheNadirWarningShowsTheValuesFoundAndMakesThemEqual) {
    startCounting();
    write("cdaGridCd", 0, 2, "130");  // the nadir over two planes: 110 and 130
    QTimer::singleShot(0, [&] {
        dlgWarn* warn = form_->warnDialog();
        EXPECT_TRUE(warn->labNote->text().contains("minimum 110, maximum 130, average 120"));
        warn->cmdNoteAction->click();
        EXPECT_FALSE(warn->isVisible());  // nothing left to correct
    });
    child<QPushButton>("cmdRefresh")->click();
    EXPECT_EQ(cell("cdaGridCd", 0, 2), cell("cdaGridCd", 0, 1));
}

TEST_F(WindowTest, ThePickerMarksTheRequiredKeywordsPresentOrMissing) {
    start(testing::smallRecord());  // 2002, [TEST] only
    form_->fillKeywordPicker(kKeywordPickerNames);
    form_->markRequiredKeywords();
    auto* picker = child<QListWidget>("keyLstPos");
    auto tip = [&](const char* keyword) {
        return picker->findItems(keyword, Qt::MatchExactly).front()->toolTip().toStdString();
    };
    EXPECT_EQ(tip("[TEST]"), "Required by IESNA: LM-63-2002; present");
    EXPECT_EQ(tip("[MANUFAC]"), "Required by IESNA: LM-63-2002; missing");
    EXPECT_EQ(tip("[LAMP]"), "");
    child<QTextEdit>("keyRtb")->append("[MANUFAC] M");
    EXPECT_EQ(tip("[MANUFAC]"), "Required by IESNA: LM-63-2002; present");
}

TEST_F(WindowTest, TheModifiedWordFollowsTheForm) {
    start(testing::smallRecord());
    QLabel* modified = child<QLabel>("labModified");
    const QString file = child<QLabel>("labFile")->text();
    EXPECT_TRUE(modified->isHidden());
    type("txtWatt", "21");
    QCoreApplication::processEvents();
    EXPECT_FALSE(modified->isHidden());
    EXPECT_EQ(child<QLabel>("labFile")->text(), file);
    type("txtWatt", "20");
    QCoreApplication::processEvents();
    EXPECT_TRUE(modified->isHidden());
}

TEST_F(WindowTest, TheCommandLogTakesOneLineUntilTheHostSpeaks) {
    start(testing::smallRecord());
    auto* log = child<QPlainTextEdit>("txtCmds");
    form_->showCommandLog("START\r\n");
    const int one = log->height();
    form_->showCommandLog("START\r\nMOVEWIN,1,2,3,4\r\n");
    EXPECT_GT(log->height(), one * 2);
}

TEST_F(WindowTest, TheReadersRemarksShowAboveTheTabsUntilDismissed) {
    startCounting(1, {"Line 3: the ballast factor 0 is replaced by 1"});
    auto* banner = child<QFrame>("fraFindings");
    EXPECT_FALSE(banner->isHidden());
    EXPECT_TRUE(child<QLabel>("labFindings")->text().contains("ballast factor 0"));
    child<QToolButton>("cmdDismissFindings")->click();
    EXPECT_TRUE(banner->isHidden());
}

TEST_F(WindowTest, SizeAndPlaceComeBackThroughTheStore) {
    startCounting();
    const QSize size = form_->size();
    form_->unload();
    const std::string kept =
        store_.get(window_store::kApp, window_store::kSection, window_store::kGeometry);
    EXPECT_EQ(kept, std::to_string(form_->x()) + "," + std::to_string(form_->y()) + "," +
                        std::to_string(size.width()) + "," + std::to_string(size.height()));
    // Nothing of it lands in the host's exchange section.
    EXPECT_TRUE(store_.allEntries(state_.appName, state_.section).empty());

    const std::string moved = "30,40," + kept.substr(kept.find(',', kept.find(',') + 1) + 1);
    store_.save(window_store::kApp, window_store::kSection, window_store::kGeometry, moved);
    form_.reset();
    list_.clear();
    startCounting();
    EXPECT_EQ(form_->pos(), QPoint(30, 40));
    EXPECT_EQ(form_->size(), size);
}

}  // namespace
}  // namespace kandor
