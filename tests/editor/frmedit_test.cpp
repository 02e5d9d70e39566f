// The editor window's hand-back: every button's command, what reaches the host's slot in a
// real store file, validation that stops a hand-back, and the close box.

#include "editor/frmedit.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "dialogs/dlgwarn.h"
#include "editorfixture.h"
#include "host/exchange.h"
#include "host/samplerecord.h"
#include "host/sqlitesettingsstore.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using testing::RecordingHelp;
using testing::ScriptedPrompter;

class FrmEditTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        std::string error;
        store_ = SqliteSettingsStore::open(dir_.filePath("settings.sqlite3").toStdString(), error);
        ASSERT_TRUE(store_) << error;
        state_.section = "EditorTest";
        state_.instanceId = "7";
        state_.outgoingKey = "HostIn";
        copyAnnounced() = false;
        IesRecord sample = SampleRecord();
        sample.Filename = "C:\\photometry\\a.ies";
        list_.add(sample);
    }

    // Builds and starts the form as start-up does; without `hosted` there is no host.
    void start(bool hosted = true, bool childMode = false, std::string editedFile = {}) {
        state_.childMode = childMode;
        EditorContext context{*store_, state_, list_, prompter_, help_, {}, {}, 0};
        context.editedFile = std::move(editedFile);
        if (hosted) {
            context.sendCommand = [this](std::string_view command) {
                sent_.emplace_back(command);
                store_->save(state_.appName, state_.section, state_.outgoingKey, command);
            };
        }
        context.endProgram = [this] { ++ended_; };
        form_ = std::make_unique<frmEdit>(context);
        form_->loadForm();
        form_->fillKeywordPicker(kKeywordPickerNames);
        form_->backupRecord();
        form_->loadData();
        state_.oldName = list_(1).Filename;
        form_->showForm();
    }

    template <class T>
    T* child(const char* name) {
        T* w = form_->findChild<T*>(name);
        EXPECT_NE(w, nullptr) << name;
        return w;
    }

    void setText(const char* name, const QString& text) { child<QLineEdit>(name)->setText(text); }
    void click(const char* name) { child<QPushButton>(name)->click(); }

    // Record 1 as the host would read it from slot 1.
    IesRecord slot1() {
        RecordList list;
        ScriptedPrompter quiet;
        ExchangeSlots exchange(*store_, state_.appName, state_.section, list, quiet);
        IesRecord record;
        std::string error;
        EXPECT_EQ(exchange.readSlot(1, record, error), 0) << error;
        return record;
    }

    std::string command(std::string_view verb) { return std::string(verb) + "KandorPE,7"; }

    QTemporaryDir dir_;
    std::unique_ptr<SettingsStore> store_;
    ToolState state_;
    RecordList list_;
    ScriptedPrompter prompter_;
    RecordingHelp help_;
    std::unique_ptr<frmEdit> form_;
    std::vector<std::string> sent_;
    int ended_ = 0;
};

TEST_F(FrmEditTest, OkHandsTheEditedRecordBackUnderItsOldName) {
    start();
    setText("txtNumLamps", "3");
    click("cmdOk");
    ASSERT_EQ(sent_, std::vector<std::string>{command("SendUpdatedDataClose*,")});
    const IesRecord back = slot1();
    EXPECT_EQ(back.OtherData.numLamps, 3);
    EXPECT_EQ(back.Filename, "C:\\photometry\\a.ies");
    EXPECT_EQ(back.Candela, SampleRecord().Candela);
    // The format line keeps its CRLF; the slot shows it as an empty line after it.
    EXPECT_EQ(back.Keywords(1), "IESNA:LM-63-2002");
    EXPECT_EQ(back.Keywords(2), "");
    EXPECT_EQ(back.Keywords(3), "[TEST] KPE-0001");
    // The host closes the tool; OK itself does not.
    EXPECT_EQ(ended_, 0);
    EXPECT_TRUE(prompter_.calls().empty());
}

TEST_F(FrmEditTest, WorkingOnACopyAnnouncesItOnce) {
    start();
    child<QRadioButton>("rdoCopy")->setChecked(true);
    click("cmdRefresh");
    click("cmdRefresh");
    click("cmdOk");
    EXPECT_EQ(sent_,
              (std::vector<std::string>{command("SendNewData*,"), command("SendUpdatedData*,"),
                                        command("SendUpdatedDataClose*,")}));
    EXPECT_EQ(slot1().Filename, "Copy_a.ies");
    EXPECT_TRUE(copyAnnounced());
}

TEST_F(FrmEditTest, OkOnANewCopyAnnouncesItWithTheClosingCommand) {
    start();
    child<QRadioButton>("rdoCopy")->setChecked(true);
    click("cmdOk");
    EXPECT_EQ(sent_, std::vector<std::string>{command("SendNewDataClose*,")});
}

TEST_F(FrmEditTest, ValidationFailureShowsTheWarningsAndSendsNothing) {
    start();
    setText("txtNumLamps", "");
    setText("txtMultiplier", "abc");
    QTimer::singleShot(0, [this] {
        dlgWarn* warn = form_->warnDialog();
        ASSERT_TRUE(warn->isVisible());
        EXPECT_EQ(warn->Text1->toPlainText().toStdString(),
                  "General:Number of Lamps is empty.\nGeneral:Candela Multiplier is not a number.");
        warn->OKButton->click();
    });
    click("cmdOk");
    EXPECT_TRUE(sent_.empty());
    EXPECT_EQ(store_->get(state_.appName, state_.section, "Filename1"), "");
    EXPECT_FALSE(form_->warnDialog()->isVisible());
}

TEST_F(FrmEditTest, CancelBeforeAnyRefreshClosesWithoutAQuestion) {
    start();
    setText("txtNumLamps", "5");
    click("cmdCancel");
    EXPECT_EQ(sent_, std::vector<std::string>{command("CloseRemove,")});
    EXPECT_TRUE(prompter_.calls().empty());
    EXPECT_EQ(ended_, 1);
}

TEST_F(FrmEditTest, CancelAfterARefreshAsksAndNoKeepsEverything) {
    start();
    click("cmdRefresh");
    prompter_.queue(PromptAnswer::No);
    click("cmdCancel");
    EXPECT_EQ(prompter_.last().text,
              "Do you really want to cancel (changes and refreshes will be lost)?");
    EXPECT_EQ(prompter_.last().title, "Edit");
    EXPECT_EQ(sent_.size(), 1u);
    EXPECT_EQ(ended_, 0);
    EXPECT_TRUE(form_->isVisible());
}

TEST_F(FrmEditTest, CancelYesRestoresAndInChildModeHandsTheOriginalBack) {
    start(true, /*childMode=*/true);
    setText("txtNumLamps", "4");
    click("cmdRefresh");
    EXPECT_EQ(slot1().OtherData.numLamps, 4);
    prompter_.queue(PromptAnswer::Yes);
    click("cmdCancel");
    EXPECT_EQ(sent_.back(), command("SendUpdatedDataClose,"));
    EXPECT_EQ(slot1().OtherData.numLamps, SampleRecord().OtherData.numLamps);
    EXPECT_EQ(list_(1).OtherData.numLamps, SampleRecord().OtherData.numLamps);
    EXPECT_EQ(ended_, 1);
}

TEST_F(FrmEditTest, CancelYesOutsideChildModeRemoves) {
    start();
    click("cmdRefresh");
    prompter_.queue(PromptAnswer::Yes);
    click("cmdCancel");
    EXPECT_EQ(sent_.back(), command("CloseRemove,"));
    EXPECT_EQ(ended_, 1);
}

TEST_F(FrmEditTest, UndoAsksThenRestoresTheFormAndTheHostsSlot) {
    start();
    setText("txtNumLamps", "9");
    click("cmdRefresh");
    prompter_.queue(PromptAnswer::No);
    click("cmdUndo");
    EXPECT_EQ(prompter_.last().text, "Undo changes?");
    EXPECT_EQ(prompter_.last().title, "Data has changed");
    EXPECT_EQ(child<QLineEdit>("txtNumLamps")->text(), "9");

    prompter_.queue(PromptAnswer::Yes);
    click("cmdUndo");
    EXPECT_EQ(child<QLineEdit>("txtNumLamps")->text(), "2");
    EXPECT_EQ(sent_.back(), command("SendUpdatedData*,"));
    EXPECT_EQ(slot1().OtherData.numLamps, 2);
    EXPECT_EQ(ended_, 0);
}

TEST_F(FrmEditTest, EscapeAsksTheHostToCloseWithoutData) {
    start();
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(form_.get(), &escape);
    EXPECT_EQ(sent_, std::vector<std::string>{command("ReturnClose,")});
}

// A person editing a file is asked before edits that never reached it are dropped; a host
// application is never asked on its behalf.
TEST_F(FrmEditTest, InFileModeEscapeCancelAndTheCloseBoxAskBeforeDroppingEdits) {
    const std::string file = dir_.filePath("lamp.ies").toStdString();
    start(true, false, file);
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    const QString lamps = child<QLineEdit>("txtNumLamps")->text();
    setText("txtNumLamps", "3");
    for (int i = 0; i < 3; ++i)
        prompter_.queue(PromptAnswer::No);
    QApplication::sendEvent(form_.get(), &escape);
    click("cmdCancel");
    EXPECT_FALSE(form_->close());
    EXPECT_TRUE(sent_.empty());
    ASSERT_EQ(prompter_.calls().size(), 3u);
    EXPECT_EQ(prompter_.last().text, "Discard your changes to lamp.ies?");
    EXPECT_EQ(prompter_.last().title, "KandorPE");
    EXPECT_EQ(prompter_.last().buttons, PromptButtons::YesNo);
    prompter_.queue(PromptAnswer::Yes);
    QApplication::sendEvent(form_.get(), &escape);
    EXPECT_EQ(sent_, std::vector<std::string>{command("ReturnClose,")});

    // The same value typed back is no edit: no question.
    prompter_.reset();
    setText("txtNumLamps", lamps);
    click("cmdCancel");
    EXPECT_TRUE(prompter_.calls().empty());
    EXPECT_EQ(sent_.back(), command("CloseRemove,"));
}

TEST_F(FrmEditTest, AHostThatDiesLeavesTheEditsInARecoveryFile) {
    const std::string file = dir_.filePath("lamp.ies").toStdString();
    start(true, false, file);
    setText("txtNumLamps", "3");
    form_->hostProcessGone();
    const std::string kept = file + ".recovered.ies";
    EXPECT_EQ(
        prompter_.last().text,
        "The program that opened lamp.ies has ended. Your changes were kept in " + kept + ".");
    EXPECT_EQ(ended_, 1);
    std::ifstream in(kept, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    IesRecord back;
    EXPECT_EQ(IesReader().ParseIes(back, text, false, text), kParseClean);
    EXPECT_EQ(back.OtherData.numLamps, 3);
    EXPECT_EQ(back.Candela, list_(1).Candela);
}

TEST_F(FrmEditTest, CloseBoxRunsCancelAndNoKeepsTheWindow) {
    start();
    click("cmdRefresh");
    prompter_.queue(PromptAnswer::No);
    EXPECT_FALSE(form_->close());
    EXPECT_TRUE(form_->isVisible());
    prompter_.queue(PromptAnswer::Yes);
    EXPECT_TRUE(form_->close());
    EXPECT_EQ(ended_, 1);
}

TEST_F(FrmEditTest, WithoutAHostNothingReachesTheStoreAndOkEndsTheTool) {
    start(/*hosted=*/false);
    click("cmdRefresh");
    EXPECT_EQ(ended_, 0);
    click("cmdOk");
    EXPECT_EQ(ended_, 1);
    EXPECT_TRUE(store_->allEntries(state_.appName, state_.section).empty());
}

TEST_F(FrmEditTest, HelpOpensTheTopicOfTheTabShown) {
    start();
    auto* tabs = child<QTabWidget>("SSTab1");
    for (int tab = 0; tab < 4; ++tab) {
        tabs->setCurrentIndex(tab);
        click("cmdHelp");
    }
    EXPECT_EQ(help_.topics, (std::vector<int>{402, 403, 404, 405}));
}

TEST_F(FrmEditTest, FormShowsTheRecord) {
    start();
    EXPECT_EQ(form_->windowTitle(), "Edit: a.ies");
    EXPECT_EQ(child<QLineEdit>("txtLumPerLamp")->text(), "2850");
    EXPECT_EQ(child<QLineEdit>("phoTxtVert")->text(), "19");
    auto* grid = child<QTableView>("cdaGridCd");
    EXPECT_EQ(grid->model()->rowCount(), 19);
    EXPECT_EQ(grid->model()->columnCount(), 6);
    EXPECT_EQ(grid->model()->index(0, 1).data().toString(), "1650.00");
    EXPECT_EQ(grid->model()->index(2, 0).data().toString(), "10");
    EXPECT_EQ(grid->model()->headerData(2, Qt::Horizontal).toString(), "22.5°");
    auto* vert = child<QTableView>("phoGridVert");
    EXPECT_EQ(vert->model()->columnCount(), 19);
    EXPECT_EQ(vert->model()->index(0, 18).data().toString(), "90");
}

TEST_F(FrmEditTest, ANearFieldTableStaysVirtual) {
    IesRecord& big = list_(1);
    big.resizeGrid(721, 1441);
    for (int v = 1; v <= 721; ++v)
        big.VertAngles(v) = static_cast<float>(v - 1) * 0.25f;
    for (int h = 1; h <= 1441; ++h)
        big.HorAngles(h) = static_cast<float>(h - 1) * 0.25f;
    start();
    auto* grid = child<QTableView>("cdaGridCd");
    EXPECT_EQ(grid->model()->rowCount(), 721);
    EXPECT_EQ(grid->model()->columnCount(), 1442);
    // No cell owns a widget of its own.
    EXPECT_LT(grid->findChildren<QWidget*>().size(), 40);
    child<QTabWidget>("SSTab1")->setCurrentIndex(3);
    grid->scrollToBottom();
    QApplication::processEvents();
}

}  // namespace
}  // namespace kandor
