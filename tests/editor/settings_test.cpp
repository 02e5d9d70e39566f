// The settings dialog over a real store file: what it loads, what a click on the lamp choice
// does at once, what OK stores and Cancel does not, and the editor's own Work On buttons; the
// About box and the help pages the Help buttons open.

#include <gtest/gtest.h>

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>

#include <memory>
#include <string>
#include <vector>

#include "dialogs/dlgsettings.h"
#include "dialogs/frmabout.h"
#include "editor/frmedit.h"
#include "editor/helpopener.h"
#include "editorfixture.h"
#include "host/samplerecord.h"
#include "host/sqlitesettingsstore.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using testing::RecordingHelp;
using testing::ScriptedPrompter;

class SettingsDialog : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        std::string error;
        store_ = SqliteSettingsStore::open(dir_.filePath("settings.sqlite3").toStdString(), error);
        ASSERT_TRUE(store_) << error;
        list_.add(SampleRecord());
    }

    void start() {
        EditorContext context{*store_, state_, list_, prompter_, help_, {}, [] {}, 0};
        form_ = std::make_unique<frmEdit>(context);
        form_->loadForm();
        form_->backupRecord();
        form_->loadData();
        form_->applySettings(readUserSettings(*store_));
        form_->showForm();
        dialog_ = form_->settingsDialog();
        ASSERT_NE(dialog_, nullptr);
    }
    void TearDown() override {
        if (form_) form_->hide();
    }

    void store(std::string_view key, std::string_view value) {
        ASSERT_TRUE(store_->save("Lumivex32", "Kandor", key, value));
    }
    // What another process reads from the file.
    std::string stored(std::string_view key) {
        std::string error;
        auto other =
            SqliteSettingsStore::open(dir_.filePath("settings.sqlite3").toStdString(), error);
        return other ? other->get("Lumivex32", "Kandor", key, "<absent>") : error;
    }

    // Opens the dialog as the Settings button does and runs `inside` while it is shown.
    void openSettings(const std::function<void()>& inside) {
        QTimer::singleShot(0, [&] {
            EXPECT_TRUE(dialog_->isVisible());
            inside();
            if (dialog_->isVisible()) dialog_->CancelButton->click();
        });
        form_->findChild<QPushButton*>("cmdSettings")->click();
        EXPECT_FALSE(dialog_->isVisible());
    }

    bool hintMultiplier() { return !form_->findChild<QFrame*>("Line1")->isHidden(); }
    bool hintValues() { return !form_->findChild<QLabel*>("labCandelaChange")->isHidden(); }
    QRadioButton* editorCopy() {
        for (QRadioButton* b : form_->findChildren<QRadioButton*>("rdoCopy"))
            if (!dialog_->isAncestorOf(b)) return b;
        return nullptr;
    }

    QTemporaryDir dir_;
    std::unique_ptr<SettingsStore> store_;
    ToolState state_;
    RecordList list_;
    ScriptedPrompter prompter_;
    RecordingHelp help_;
    std::unique_ptr<frmEdit> form_;
    dlgSettings* dialog_ = nullptr;
};

TEST_F(SettingsDialog, LoadsTheStoredValues) {
    struct Case {
        const char* changingLamp;
        const char* workOn;
        int index;
        bool copy;
    };
    const Case cases[] = {
        {"ChangesCandelaMultiplier", "Original", 0, false},
        {"ChangesCandelaValues", "Copy", 1, true},
        {"ChangesNothing", "Copy", 2, true},
        {"changesnothing", "Original", -1, false},  // exact values only
        {"Scales Candela Values", "Original", -1, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.changingLamp);
        store("ChangingLamp", c.changingLamp);
        store("WorkOn", c.workOn);
        start();
        openSettings([&] {
            EXPECT_EQ(dialog_->windowTitle(), QStringLiteral("Edit Settings"));
            ASSERT_EQ(dialog_->cmbCandela->count(), 3);
            EXPECT_EQ(dialog_->cmbCandela->itemText(2), QStringLiteral("has No Effect"));
            EXPECT_EQ(dialog_->cmbCandela->currentIndex(), c.index);
            EXPECT_EQ(dialog_->rdoCopy->isChecked(), c.copy);
            EXPECT_EQ(editorCopy()->isChecked(), c.copy);
        });
        EXPECT_EQ(form_->changingLampIndex(), c.index);
    }
}

TEST_F(SettingsDialog, AClickSwitchesTheHintAtOnceAndCancelStoresNothing) {
    store("ChangingLamp", "ChangesCandelaMultiplier");
    start();
    EXPECT_TRUE(hintMultiplier());
    EXPECT_FALSE(hintValues());
    openSettings([&] {
        dialog_->cmbCandela->setCurrentIndex(1);
        EXPECT_FALSE(hintMultiplier());
        EXPECT_TRUE(hintValues());
        dialog_->CancelButton->click();
    });
    EXPECT_EQ(stored("ChangingLamp"), "ChangesCandelaMultiplier");
    // The hint is not undone, and the lamp tab goes by what it shows.
    EXPECT_TRUE(hintValues());
    EXPECT_EQ(form_->changingLampIndex(), 1);

    openSettings([&] {
        dialog_->cmbCandela->setCurrentIndex(2);
        EXPECT_FALSE(hintMultiplier());
        EXPECT_FALSE(hintValues());
    });
}

TEST_F(SettingsDialog, OkStoresTheExactValues) {
    start();
    openSettings([&] {
        dialog_->cmbCandela->setCurrentIndex(2);
        dialog_->rdoCopy->setChecked(true);
        dialog_->OKButton->click();
    });
    EXPECT_EQ(stored("ChangingLamp"), "ChangesNothing");
    EXPECT_EQ(stored("WorkOn"), "Copy");
    // The editor's own button shows the choice the next time the dialog loads.
    EXPECT_FALSE(editorCopy()->isChecked());
    openSettings([&] { EXPECT_TRUE(editorCopy()->isChecked()); });

    openSettings([&] {
        dialog_->cmbCandela->setCurrentIndex(0);
        dialog_->rdoOriginal->setChecked(true);
        dialog_->OKButton->click();
    });
    EXPECT_EQ(stored("ChangingLamp"), "ChangesCandelaMultiplier");
    EXPECT_EQ(stored("WorkOn"), "Original");
}

TEST_F(SettingsDialog, OkWithoutASelectionKeepsAnUnknownStoredValue) {
    store("ChangingLamp", "SomethingElse");
    start();
    openSettings([&] {
        EXPECT_EQ(dialog_->cmbCandela->currentIndex(), -1);
        dialog_->OKButton->click();
    });
    EXPECT_EQ(stored("ChangingLamp"), "SomethingElse");
    EXPECT_EQ(stored("WorkOn"), "Original");
}

TEST_F(SettingsDialog, HelpOpensTheSettingsPage) {
    start();
    openSettings([&] { dialog_->cmdHelp->click(); });
    EXPECT_EQ(help_.topics, std::vector<int>{kHelpTopicSettings});
}

// A store that refuses every write, as a read-only settings file does.
class RefusingStore final : public SettingsStore {
  public:
    std::string get(std::string_view, std::string_view, std::string_view,
                    std::string_view d) override {
        return std::string(d);
    }
    bool save(std::string_view, std::string_view, std::string_view, std::string_view) override {
        lastError_ = "Cannot write to the settings store /x: the file is read-only";
        return false;
    }
    bool deleteKey(std::string_view, std::string_view, std::string_view) override { return false; }
    bool deleteSection(std::string_view, std::string_view) override { return false; }
    Entries allEntries(std::string_view, std::string_view) override { return {}; }
};

TEST(SettingsDialogAlone, AStoreThatRefusesTheWriteIsToldAndTheDialogStaysOpen) {
    RefusingStore store;
    ScriptedPrompter prompter;
    dlgSettings dialog(store, prompter, {});
    dialog.Load();
    dialog.show();
    dialog.OKButton->click();
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text, "Cannot write to the settings store /x: the file is read-only");
    EXPECT_TRUE(dialog.isVisible());
    dialog.hide();
}

TEST(AboutBox, ShowsTheProductVersionAndRevision) {
    frmAbout about;
    EXPECT_EQ(about.lblProduct->text(), QStringLiteral("KandorPE"));
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^Version \\d+\\.\\d+\\.\\d+$"))
                    .match(about.lblVersion->text())
                    .hasMatch())
        << about.lblVersion->text().toStdString();
    EXPECT_TRUE(about.lblRevision->text().startsWith(QStringLiteral("Revision ")));
    EXPECT_TRUE(about.lblDescription->text().contains(QStringLiteral("LM-63")));
}

TEST(HelpPages, EveryTopicHasAPageAndEveryLinkResolves) {
    const QString index = QStringLiteral(KANDOR_SOURCE_DIR "/help/Lumivex_PE-HTML/index.html");
    for (int topic : {kHelpTopicKeywords, kHelpTopicLamp, kHelpTopicAngles, kHelpTopicCandela,
                      kHelpTopicSettings}) {
        const QString page = PageHelpOpener::pagePath(index.toStdString(), topic);
        QFile file(page);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << page.toStdString();
        const QString html = QString::fromUtf8(file.readAll());
        const QRegularExpression link(QStringLiteral("href=\"([^\"#]+)"));
        for (auto m = link.globalMatch(html); m.hasNext();) {
            const QString target = m.next().captured(1);
            EXPECT_TRUE(QFile::exists(QFileInfo(page).absolutePath() + "/" + target))
                << page.toStdString() << " -> " << target.toStdString();
        }
    }
}

TEST(HelpPages, APageIsOpenedOrAClearMessageGiven) {
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkpath(QStringLiteral("help")));
    QFile page(dir.filePath(QStringLiteral("help/topic-403.html")));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.close();
    const std::string index = dir.filePath(QStringLiteral("help/index.html")).toStdString();

    ScriptedPrompter prompter;
    std::vector<QUrl> opened;
    PageHelpOpener help(prompter, index, [&](const QUrl& url) {
        opened.push_back(url);
        return true;
    });
    EXPECT_TRUE(help.openTopic(403));
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0], QUrl::fromLocalFile(page.fileName()));
    EXPECT_TRUE(prompter.calls().empty());

    EXPECT_FALSE(help.openTopic(405));
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text,
              std::string(help_text::kMissingPage) +
                  dir.filePath(QStringLiteral("help/topic-405.html")).toStdString() +
                  std::string(help_text::kMissingPageTail));

    // Without a browser the page opens in the tool's own viewer.
    PageHelpOpener noBrowser(prompter, index, [](const QUrl&) { return false; });
    EXPECT_TRUE(noBrowser.openTopic(403));
    ASSERT_NE(noBrowser.viewer(), nullptr);
    EXPECT_TRUE(noBrowser.viewer()->isVisible());
    EXPECT_EQ(noBrowser.viewer()->source(), QUrl::fromLocalFile(page.fileName()));
    EXPECT_EQ(prompter.calls().size(), 1u);

    // A desktop whose opener finds no browser: the viewer, not only the terminal.
    QFile opener(dir.filePath(QStringLiteral("xdg-open")));
    ASSERT_TRUE(opener.open(QIODevice::WriteOnly));
    opener.write("#!/bin/sh\necho 'no method available' >&2\nexit 3\n");
    opener.close();
    opener.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", dir.path().toLocal8Bit() + ":" + path);
    PageHelpOpener desktop(prompter, index);
    EXPECT_TRUE(desktop.openTopic(403));
    for (int i = 0; i < 200 && !desktop.viewer(); ++i)
        QTest::qWait(10);
    qputenv("PATH", path);
    ASSERT_NE(desktop.viewer(), nullptr);
    EXPECT_TRUE(desktop.viewer()->isVisible());
    EXPECT_EQ(prompter.calls().size(), 1u);
}

}  // namespace
}  // namespace kandor
