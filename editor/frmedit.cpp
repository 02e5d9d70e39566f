#include "editor/frmedit.h"

#include <QtGui/qguiapplication_platform.h>
#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QShortcut>
#include <QTabWidget>
#include <QTableView>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QWindow>

#include <signal.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>

#include "core/runtimefault.h"
#include "dialogs/dlgpreview.h"
#include "dialogs/dlgsettings.h"
#include "dialogs/dlgwarn.h"
#include "dialogs/frmabout.h"
#include "editor/gridmodels.h"
#include "editor/keywordedit.h"
#include "fileio/lm63file.h"
#include "fileio/safesave.h"
#include "host/exchange.h"

namespace kandor {

namespace {

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

// How often an embedded editor checks that the host's window is still there, and an editor in
// file mode that the process handing its file back is.
constexpr int kHostWatchMs = 500;

// True while the X11 window exists. Without an X11 connection nothing can be checked, and the
// window counts as present.
bool x11WindowExists(std::int64_t window) {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection()) return true;
    xcb_connection_t* c = x11->connection();
    const xcb_get_window_attributes_cookie_t cookie =
        xcb_get_window_attributes(c, static_cast<xcb_window_t>(window));
    xcb_generic_error_t* error = nullptr;
    xcb_get_window_attributes_reply_t* reply = xcb_get_window_attributes_reply(c, cookie, &error);
    const bool exists = reply != nullptr;
    free(reply);
    free(error);
    return exists;
}

}  // namespace

bool& copyAnnounced() {
    static bool announced = false;
    return announced;
}

frmEdit::frmEdit(EditorContext context, QWidget* parent)
    : QDialog(parent), ctx_(std::move(context)) {
    setObjectName("frmEdit");
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowMinMaxButtonsHint | Qt::WindowCloseButtonHint);
    setWindowTitle(qs(transfer_text::kCaptionPrefix));
    setSizeGripEnabled(true);

    SSTab1 = new QTabWidget;
    SSTab1->setObjectName("SSTab1");
    SSTab1->setDocumentMode(false);
    SSTab1->addTab(buildKeywordsTab(), tr("&Keywords"));
    SSTab1->addTab(buildLampTab(), tr("&Lamp && Luminaire"));
    SSTab1->addTab(buildAnglesTab(), tr("Photometric &Angles"));
    SSTab1->addTab(buildCandelaTab(), tr("&Candela"));
    connect(SSTab1, &QTabWidget::currentChanged, this, [this](int index) {
        if (index == 3) redrawPlot();
    });

    labFile = new QLabel;
    labFile->setObjectName("labFile");
    labFile->setTextInteractionFlags(Qt::TextSelectableByMouse);
    labFile->setToolTip(tr("The photometric file being edited"));

    // A word beside the file name rather than in it: the caption and labFile keep their texts.
    labModified = new QLabel(tr("modified"));
    labModified->setObjectName("labModified");
    labModified->setToolTip(tr("The form differs from the data as they arrived"));
    labModified->setStyleSheet(
        QStringLiteral("color: #8a4b00; background: #fff1d6; padding: 0 6px; border-radius: 3px;"));
    labModified->hide();
    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(labFile);
    fileRow->addWidget(labModified);
    fileRow->addStretch(1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(fileRow);
    layout->addWidget(buildFindingsBanner());
    layout->addWidget(SSTab1, 1);
    layout->addWidget(buildButtonRow());

    warn_ = new dlgWarn(this);
    hostWatch_.setInterval(kHostWatchMs);
    connect(&hostWatch_, &QTimer::timeout, this, [this] { watchHost(); });
    hostProcessWatch_.setInterval(kHostWatchMs);
    connect(&hostProcessWatch_, &QTimer::timeout, this, [this] { watchHostProcess(); });

    for (QTableView* view : {lmpGridTiltMultiplier, phoGridVert, phoGridHorz, cdaGridCd})
        if (view) view->installEventFilter(this);

    // Ctrl+Enter is OK from any control, the keyword text and the grids included.
    for (const QKeySequence& keys :
         {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}) {
        auto* ok = new QShortcut(keys, this);
        connect(ok, &QShortcut::activated, cmdOk, &QPushButton::click);
    }
    watchEdits();

    resize(1100, 760);
}

frmEdit::~frmEdit() = default;

QWidget* frmEdit::buildButtonRow() {
    auto* row = new QWidget;
    auto* outer = new QHBoxLayout(row);
    outer->setContentsMargins(0, 0, 0, 0);

    fraWorkOn = new QGroupBox(tr("Work On"));
    fraWorkOn->setObjectName("fraWorkOn");
    rdoOriginal = new QRadioButton(tr("&Original"));
    rdoOriginal->setObjectName("rdoOriginal");
    rdoCopy = new QRadioButton(tr("Cop&y"));
    rdoCopy->setObjectName("rdoCopy");
    rdoOriginal->setChecked(true);
    rdoOriginal->setToolTip(tr("Hand the edited data back as the host's own file"));
    rdoCopy->setToolTip(tr("Hand the edited data back as a new file named Copy_..."));
    auto* workOn = new QHBoxLayout(fraWorkOn);
    workOn->addWidget(rdoOriginal);
    workOn->addWidget(rdoCopy);

    txtCmds = new QPlainTextEdit;
    txtCmds->setObjectName("txtCmds");
    txtCmds->setReadOnly(true);
    txtCmds->setLineWrapMode(QPlainTextEdit::NoWrap);
    txtCmds->setPlaceholderText(tr("Commands from the host"));
    txtCmds->setToolTip(tr("Commands received from the host application"));
    const int lineHeight = txtCmds->fontMetrics().lineSpacing();
    txtCmds->setFixedHeight(lineHeight + 12);
    txtCmds->setMinimumWidth(160);
    txtCmds->setFocusPolicy(Qt::NoFocus);

    auto makeButton = [this](QPushButton*& button, const char* name, const QString& text,
                             const QString& tip, void (frmEdit::*slot)()) {
        button = new QPushButton(text);
        button->setObjectName(name);
        button->setToolTip(tip);
        connect(button, &QPushButton::clicked, this, [this, slot] { (this->*slot)(); });
    };
    makeButton(cmdOk, "cmdOk", tr("OK"),
               tr("Check the data, hand them to the host and close (Ctrl+Enter)"),
               &frmEdit::cmdOk_Click);
    makeButton(cmdCancel, "cmdCancel", tr("Cancel"), tr("Close without handing anything back"),
               &frmEdit::cmdCancel_Click);
    makeButton(cmdRefresh, "cmdRefresh", tr("&Refresh"),
               tr("Check the data and hand them to the host, staying open"),
               &frmEdit::cmdRefresh_Click);
    makeButton(cmdUndo, "cmdUndo", tr("&Undo"), tr("Go back to the data as they arrived"),
               &frmEdit::cmdUndo_Click);
    makeButton(cmdPreview, "cmdPreview", tr("&Preview..."),
               tr("Show and edit the data as LM-63 text"), &frmEdit::cmdPreview_Click);
    makeButton(cmdCopy, "cmdCopy", tr("Copy Table"),
               tr("Copy the candela table to the clipboard as tab-separated text"),
               &frmEdit::cmdCopy_Click);
    makeButton(cmdSettings, "cmdSettings", tr("&Settings..."),
               tr("What a change of lamp data does, and what the editor works on"),
               &frmEdit::cmdSettings_Click);
    makeButton(cmdHelp, "cmdHelp", tr("&Help"), tr("Help on the tab shown (F1)"),
               &frmEdit::cmdHelp_Click);
    makeButton(cmdAbout, "cmdAbout", tr("About..."), tr("Version and revision"),
               &frmEdit::cmdAbout_Click);
    cmdHelp->setShortcut(QKeySequence::HelpContents);

    for (QPushButton* b :
         {cmdCancel, cmdRefresh, cmdUndo, cmdPreview, cmdCopy, cmdSettings, cmdHelp, cmdAbout})
        b->setAutoDefault(false);
    cmdOk->setAutoDefault(true);
    cmdOk->setDefault(true);

    auto* tools = new QGridLayout;
    tools->addWidget(cmdPreview, 0, 0);
    tools->addWidget(cmdCopy, 0, 1);
    tools->addWidget(cmdSettings, 0, 2);
    tools->addWidget(cmdHelp, 1, 0);
    tools->addWidget(cmdAbout, 1, 1);

    auto* handBack = new QGridLayout;
    handBack->addWidget(cmdRefresh, 0, 0);
    handBack->addWidget(cmdUndo, 0, 1);
    handBack->addWidget(cmdOk, 1, 0);
    handBack->addWidget(cmdCancel, 1, 1);

    outer->addWidget(txtCmds, 1);
    outer->addWidget(fraWorkOn);
    outer->addLayout(tools);
    outer->addSpacing(12);
    outer->addLayout(handBack);
    return row;
}

// ---- Start-up (EditorForm) ----

void frmEdit::loadForm() {
    if (loaded_) return;
    loaded_ = true;
    loadDialogs();
    embedInHost();
    if (ctx_.hostProcess > 0 && !ctx_.editedFile.empty()) hostProcessWatch_.start();
    loadingFlag_ = false;
    startupFlag_ = false;
}

void frmEdit::fillKeywordPicker(std::span<const std::string_view> names) {
    keyLstPos->clear();
    for (std::string_view name : names)
        keyLstPos->addItem(qs(name));
}

void frmEdit::backupRecord() {
    Backup(record(), backup_, ctx_.prompter);
}

void frmEdit::loadData() {
    fillFromRecord();
    markClean();
}

void frmEdit::applySettings(const UserSettings& settings) {
    using namespace startup_text;
    int index = -1;
    if (settings.changingLamp == kChangesCandelaMultiplier) index = 0;
    if (settings.changingLamp == kChangesCandelaValues) index = 1;
    if (settings.changingLamp == kChangesNothing) index = 2;
    if (index >= 0) changingLamp_ = index;
    // The settings dialog's controls are the settings; its hooks set the lamp tab's hint and
    // the editor's own Work On buttons.
    if (settings_) {
        settings_->apply(settings.changingLamp, settings.workOn);
        return;
    }
    showLampHint(index);
    if (settings.workOn == kWorkOnOriginal) rdoOriginal->setChecked(true);
    if (settings.workOn == kWorkOnCopy) rdoCopy->setChecked(true);
}

void frmEdit::showForm() {
    placeWindow();
    show();
    raise();
    activateWindow();
}

int frmEdit::changingLampIndex() const {
    return settings_ ? settings_->cmbCandela->currentIndex() : changingLamp_;
}

void frmEdit::showLampHint(int index) {
    if (index < 0 || index > 2) return;
    const bool multiplier = index == 0;
    for (QWidget* w : std::initializer_list<QWidget*>{Line1, Line2, Line3, Line4, Label11})
        if (w) w->setVisible(multiplier);
    if (labCandelaChange) labCandelaChange->setVisible(index == 1);
}

// ---- The host's commands (ToolForm) ----

void frmEdit::moveTo(int left, int top, int width, int height) {
    setGeometry(left, top, std::max(width, 1), std::max(height, 1));
    repaint();
}

void frmEdit::raiseToTop() {
    raise();
}

void frmEdit::unload() {
    if (unloading_) return;
    unloading_ = true;
    hostWatch_.stop();
    hostProcessWatch_.stop();
    // The warnings, preview and settings dialogs go with the form.
    for (QDialog* d : findChildren<QDialog*>())
        d->hide();
    rememberPlace();
    if (embedded_) giveBackParents();
    hide();
    if (ctx_.endProgram) ctx_.endProgram();
}

void frmEdit::giveBackParents() {
    if (!embedded_) return;
    embedded_ = false;
    if (QWindow* w = windowHandle()) w->setParent(nullptr);
}

void frmEdit::showCommandLog(const std::string& log) {
    QString text = QString::fromStdString(log);
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    if (text.endsWith(QLatin1Char('\n'))) text.chop(1);
    txtCmds->setPlainText(text);
    txtCmds->moveCursor(QTextCursor::End);
    fitCommandLog();
}

double frmEdit::dpiX() const {
    return logicalDpiX();
}

double frmEdit::dpiY() const {
    return logicalDpiY();
}

// ---- Child mode ----

void frmEdit::embedInHost() {
    if (!ctx_.state.childMode || ctx_.hostWindow == 0) return;
    if (QGuiApplication::platformName() != QLatin1String("xcb") ||
        !x11WindowExists(ctx_.hostWindow)) {
        txtCmds->appendPlainText(qs(editor_text::kNoChildMode));
        fitCommandLog();
        return;
    }
    hostWindow_ = QWindow::fromWinId(static_cast<WId>(ctx_.hostWindow));
    if (!hostWindow_) {
        txtCmds->appendPlainText(qs(editor_text::kNoChildMode));
        fitCommandLog();
        return;
    }
    // A child window has no frame of its own; the host places it with "MOVEWIN".
    setWindowFlags(Qt::FramelessWindowHint);
    winId();
    windowHandle()->setParent(hostWindow_);
    embedded_ = true;
    hostWatch_.start();
}

void frmEdit::watchHost() {
    if (!embedded_ || x11WindowExists(ctx_.hostWindow)) return;
    // The host's window is gone and took ours with it: there is nobody to hand anything to
    // and no parent to give back.
    embedded_ = false;
    unload();
}

void frmEdit::watchHostProcess() {
    // A host that ends leaves its child to another parent.
    if (::getppid() == static_cast<pid_t>(ctx_.hostProcess)) return;
    hostProcessGone();
}

void frmEdit::hostProcessGone() {
    hostProcessWatch_.stop();
    if (unloading_) return;
    const std::string name = fileTitle(ctx_.editedFile);
    if (!hasUnsavedEdits()) {
        std::fprintf(stderr,
                     "kandorpe: the program that opened %s has ended; nothing was left "
                     "unsaved.\n",
                     ctx_.editedFile.c_str());
        unload();
        return;
    }
    std::string text;
    try {
        SilentPrompter quiet;
        text = fileio::composeForFile(recordFromForm(), false, quiet);
    } catch (...) {
        text.clear();
    }
    if (text.empty()) {
        // Nothing can be written; the window stays, so that the user can still copy values.
        ctx_.prompter.tell("The program that opened " + name +
                           " has ended, and your changes cannot be written as an LM-63 text. "
                           "The editor stays open; nothing you do in it can be saved.");
        return;
    }
    std::string error;
    std::filesystem::path kept = fileio::recoveryPathFor(ctx_.editedFile);
    if (!fileio::writeNewFile(kept, text, error)) {
        const char* home = std::getenv("HOME");
        std::string second;
        kept = fileio::recoveryPathFor(std::filesystem::path(home && *home ? home : "/tmp") / name);
        if (!fileio::writeNewFile(kept, text, second)) {
            ctx_.prompter.tell("The program that opened " + name +
                               " has ended, and your changes could not be kept (" + error + "; " +
                               second + "). The editor stays open.");
            return;
        }
    }
    std::fprintf(stderr,
                 "kandorpe: the program that opened %s has ended; the changes were "
                 "kept in %s\n",
                 ctx_.editedFile.c_str(), kept.c_str());
    ctx_.prompter.tell("The program that opened " + name +
                       " has ended. Your changes were kept in " + kept.string() + ".");
    unload();
}

// ---- Transfer ----

IesRecord frmEdit::recordFromForm() {
    collectState();
    IesRecord r = record();
    SilentPrompter quiet;
    SaveData(state_, r, quiet);
    return r;
}

void frmEdit::markClean() {
    try {
        cleanRecord_ = recordFromForm();
    } catch (...) {
        cleanRecord_ = record();
    }
    updateModified();
}

bool frmEdit::hasUnsavedEdits() {
    try {
        return recordFromForm() != cleanRecord_;
    } catch (...) {
        return true;
    }
}

bool frmEdit::mayDiscardEdits() {
    if (ctx_.editedFile.empty() || !hasUnsavedEdits()) return true;
    const std::string question = std::string(editor_text::kDiscardLead) +
                                 fileTitle(ctx_.editedFile) +
                                 std::string(editor_text::kDiscardTail);
    return ctx_.prompter.ask(question, "KandorPE", PromptButtons::YesNo) == PromptAnswer::Yes;
}

IesRecord& frmEdit::record() {
    return ctx_.list(1);
}

WarningList& frmEdit::warnings() {
    return warn_->list();
}

bool frmEdit::fillFromRecord() {
    const bool ok = Fill(record(), state_, ctx_.prompter);
    showState();
    return ok;
}

void frmEdit::showState() {
    const bool wasStartup = startupFlag_;
    const bool wasBusy = busyFlag_;
    startupFlag_ = true;
    busyFlag_ = true;
    setWindowTitle(QString::fromStdString(state_.caption));
    labFile->setText(QString::fromStdString(state_.labFile));
    showKeywords();
    showLamp();
    showAngles();
    showCandela();
    startupFlag_ = wasStartup;
    busyFlag_ = wasBusy;
    markFields();
    markRequiredKeywords();
}

void frmEdit::collectState() {
    state_.keyRtb = keywordText();
    collectLamp();
}

bool frmEdit::validateForm(bool clearFirst) {
    // A cell still being typed in belongs to the form as the user sees it.
    if (QWidget* focus = QApplication::focusWidget()) {
        for (QTableView* view : {lmpGridTiltMultiplier, phoGridVert, phoGridHorz, cdaGridCd}) {
            if (view && view->isAncestorOf(focus) && focus != view) {
                view->setFocus();
                break;
            }
        }
    }
    if (clearFirst) warn_->Clear();
    collectState();
    // Lines that callers added before the check have no place on the form.
    const std::size_t before = warnings().lines().size();
    std::vector<WarningTarget> targets;
    const bool clean = Validate(state_, warnings(), targets);
    warnTargets_.assign(before, WarningTarget{});
    warnTargets_.insert(warnTargets_.end(), targets.begin(), targets.end());
    if (clean) return true;
    showWarnings();
    return false;
}

bool frmEdit::saveToRecord() {
    return SaveData(state_, record(), ctx_.prompter);
}

bool frmEdit::writeSlot1() {
    if (!ctx_.sendCommand) return true;
    ExchangeSlots exchange(ctx_.store, ctx_.state.appName, ctx_.state.section, ctx_.list,
                           ctx_.prompter);
    if (exchange.WriteExchangeRecords(1, 1, 1) >= 1) return true;
    if (!exchange.lastError().empty()) ctx_.prompter.tell(exchange.lastError());
    return false;
}

void frmEdit::send(std::string_view verb, bool closing) {
    const std::string command =
        std::string(verb) + ctx_.state.toolTag + "," + ctx_.state.instanceId;
    if (ctx_.sendCommand) {
        ctx_.sendCommand(command);
        return;
    }
    // Without a host nobody reads the command; a closing one ends the tool as the host's
    // "CLOSE" would.
    if (closing) unload();
}

std::string frmEdit::prepareHandBack(bool closing) {
    using namespace editor_text;
    IesRecord& r = record();
    std::string_view verb;
    bool announce = false;
    if (!rdoCopy->isChecked()) {
        r.Filename = ctx_.state.oldName;
        verb = closing ? kSendUpdatedDataClose : kSendUpdatedData;
    } else {
        r.Filename = std::string(kCopyPrefix) + fileTitle(ctx_.state.oldName);
        if (copyAnnounced()) {
            verb = closing ? kSendUpdatedDataClose : kSendUpdatedData;
        } else {
            verb = closing ? kSendNewDataClose : kSendNewData;
            announce = true;
        }
    }
    if (!writeSlot1()) return {};
    if (announce) copyAnnounced() = true;
    return std::string(verb);
}

// ---- Buttons ----

void frmEdit::cmdOk_Click() {
    try {
        if (!validateForm()) return;
        if (!saveToRecord()) return;
        const std::string verb = prepareHandBack(true);
        if (verb.empty()) return;
        send(verb, true);
    } catch (...) {
        const RuntimeFault fault = currentFault();
        ctx_.prompter.tell(std::string(editor_text::kCouldNotSave) +
                           std::to_string(fault.number()) + ": " + fault.description());
    }
}

void frmEdit::cmdRefresh_Click() {
    try {
        warn_->Clear();
        if (!validateForm(false)) return;
        if (!saveToRecord()) return;
        const std::string verb = prepareHandBack(false);
        if (verb.empty()) return;
        send(verb, false);
        refreshed_ = true;
    } catch (...) {
        const RuntimeFault fault = currentFault();
        ctx_.prompter.tell(std::string(editor_text::kCouldNotSave) +
                           std::to_string(fault.number()) + ": " + fault.description());
    }
}

void frmEdit::escapePressed() {
    if (!mayDiscardEdits()) return;
    send(editor_text::kReturnClose, true);
}

void frmEdit::cmdCancel_Click() {
    using namespace editor_text;
    if (!mayDiscardEdits()) return;
    if (!refreshed_) {
        send(kCloseRemove, false);
        unload();
        return;
    }
    const PromptAnswer answer = ctx_.prompter.ask(std::string(kCancelQuestion),
                                                  std::string(kCancelTitle), PromptButtons::YesNo);
    if (answer != PromptAnswer::Yes) return;
    if (rdoCopy->isChecked()) {
        send(kCloseRemove, false);
        unload();
        return;
    }
    loadingFlag_ = true;
    Restore(backup_, record());
    if (!ctx_.state.childMode) {
        send(kCloseRemove, false);
    } else if (writeSlot1()) {
        send(kSendUpdatedDataCloseNoStar, false);
    }
    unload();
}

void frmEdit::cmdUndo_Click() {
    using namespace editor_text;
    const PromptAnswer answer = ctx_.prompter.ask(std::string(kUndoQuestion),
                                                  std::string(kUndoTitle), PromptButtons::YesNo);
    if (answer != PromptAnswer::Yes) return;
    Restore(backup_, record());
    fillFromRecord();
    markClean();
    if (!ctx_.sendCommand) return;
    send(writeSlot1() ? kSendUpdatedData : kReturnClose, false);
}

void frmEdit::cmdHelp_Click() {
    static constexpr int kTopics[] = {kHelpTopicKeywords, kHelpTopicLamp, kHelpTopicAngles,
                                      kHelpTopicCandela};
    const int tab = SSTab1->currentIndex();
    if (tab < 0 || tab > 3) return;
    ctx_.help.openTopic(kTopics[tab]);
}

void frmEdit::cmdCopy_Click() {
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(QString::fromStdString(candelaCopyText()));
}

void frmEdit::loadDialogs() {
    if (!preview_) {
        preview_ = new dlgPreview(
            ctx_.prompter,
            PreviewHooks{[this] { return validateForm(); }, [this] { return saveToRecord(); },
                         [this]() -> IesRecord& { return record(); }, [this] { fillFromRecord(); }},
            this);
    }
    if (!settings_) {
        SettingsHooks hooks;
        hooks.lampHint = [this](int index) { showLampHint(index); };
        hooks.workOnShown = [this](bool original) {
            (original ? rdoOriginal : rdoCopy)->setChecked(true);
        };
        hooks.help = [this] { ctx_.help.openTopic(kHelpTopicSettings); };
        settings_ = new dlgSettings(ctx_.store, ctx_.prompter, std::move(hooks), this);
    }
    if (!about_) about_ = new frmAbout(this);
}

void frmEdit::cmdSettings_Click() {
    loadDialogs();
    settings_->showSettings();
}

void frmEdit::cmdPreview_Click() {
    // The check before the preview opens traps nothing of its own: a record whose counts
    // disagree with its arrays (a forced parse, a damaged exchange) faults there.
    try {
        loadDialogs();
        preview_->showPreview();
    } catch (...) {
        const RuntimeFault fault = currentFault();
        if (preview_ && preview_->isVisible()) preview_->hide();
        ctx_.prompter.tell(std::string(editor_text::kCouldNotPreview) +
                           std::to_string(fault.number()) + ": " + fault.description());
    }
}

void frmEdit::cmdAbout_Click() {
    loadDialogs();
    about_->exec();
}

// ---- Window events ----

void frmEdit::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        escapePressed();
        return;
    }
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (enter && modifiers == Qt::ControlModifier) {
        cmdOk->click();
        return;
    }
    if (enter && modifiers == Qt::NoModifier) {
        // In a field Enter commits the value and moves on, as in a spreadsheet; the value is
        // the form's already. Enter that no control took, on a button, is OK.
        QWidget* focus = QApplication::focusWidget();
        if (qobject_cast<QLineEdit*>(focus) || qobject_cast<QComboBox*>(focus)) {
            focusNextChild();
            return;
        }
        cmdOk->click();
        return;
    }
    QDialog::keyPressEvent(event);
}

bool frmEdit::eventFilter(QObject* watched, QEvent* event) {
    // Enter in a grid edits or commits the cell; it must not press OK and close the tool.
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        auto* view = qobject_cast<QTableView*>(watched);
        if (view && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)) {
            // From a cell editor the key only commits it; on the grid itself it opens one.
            const bool fromEditor = view->viewport()->isAncestorOf(QApplication::focusWidget());
            if (!fromEditor && view->currentIndex().isValid()) view->edit(view->currentIndex());
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void frmEdit::closeEvent(QCloseEvent* event) {
    if (unloading_) {
        event->accept();
        return;
    }
    // The close box is Cancel, with its question; a No keeps the window.
    cmdCancel_Click();
    if (unloading_)
        event->accept();
    else
        event->ignore();
}

void frmEdit::reject() {
    // Escape and the close box have their own handling; QDialog's would only hide the form.
}

}  // namespace kandor
