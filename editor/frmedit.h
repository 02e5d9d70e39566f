#pragma once

// frmEdit: the editor window. It binds an EditorState to its controls; every rule of moving
// data lives in core/ (editorstate.h, validation.h, rescale.h), every hand-back goes through
// the host's channel. One file per tab builds and runs that tab (tab*.cpp); this class keeps
// the state and the lifecycle (frmedit.cpp).

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <QDialog>
#include <QPointer>
#include <QTimer>

#include "core/editorstate.h"
#include "core/iesrecord.h"
#include "core/prompter.h"
#include "core/validation.h"
#include "core/warnings.h"
#include "host/channel.h"
#include "host/settingsstore.h"
#include "host/startup.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class QTabWidget;
class QTableView;
class QTextEdit;
class QToolButton;
class QWindow;

namespace kandor {

class AngleRowModel;
class CandelaModel;
class TiltModel;
class KeywordTextEdit;
class KeywordPicker;
class ShapeSketch;
class plotCD;
class PhotometryPanel;
class dlgWarn;
class dlgPreview;
class dlgSettings;
class dlgReshape;
class frmAbout;
struct Web;

// Opens a help topic (402 keywords, 403 lamp, 404 angles, 405 candela, 406 settings). The
// application opens HTML pages beside the tool; tests record the topics.
class HelpOpener {
  public:
    virtual ~HelpOpener() = default;
    // False (after telling the user why) when the page could not be opened.
    virtual bool openTopic(int topic) = 0;
};

// What the window needs from the rest of the process. All references outlive the form.
struct EditorContext {
    SettingsStore& store;  // the per-user store: exchange, channel, settings, keyword template
    ToolState& state;
    RecordList& list;
    Prompter& prompter;
    HelpOpener& help;
    // Writes a command to the tool's outgoing key and waits for the host's acknowledgement.
    // Unset without a host: then nothing is written and closing commands end the tool.
    std::function<void(std::string_view command)> sendCommand;
    // Ends the program (after the form has been unloaded).
    std::function<void()> endProgram;
    // The host's window (command-line field 1): 0 without a host.
    std::int64_t hostWindow = 0;
    // File mode: the file a person at the desktop edits (kandor-host edit, kandorpe FILE);
    // empty under a host application, which owns every question about its data.
    std::string editedFile{};
    // The process that hands the file back; when it is gone, the edits are kept in a recovery
    // file. 0: nothing to watch (the file is handed back within this process).
    std::int64_t hostProcess = 0;
    // File mode: what the reader said of the file when it was opened (status 0: nothing).
    int openStatus = 0;
    std::vector<std::string> openFindings{};
};

// Help topics by tab.
inline constexpr int kHelpTopicKeywords = 402;
inline constexpr int kHelpTopicLamp = 403;
inline constexpr int kHelpTopicAngles = 404;
inline constexpr int kHelpTopicCandela = 405;
inline constexpr int kHelpTopicSettings = 406;

namespace editor_text {
inline constexpr std::string_view kCancelQuestion =
    "Do you really want to cancel (changes and refreshes will be lost)?";
inline constexpr std::string_view kCancelTitle = "Edit";
inline constexpr std::string_view kUndoQuestion = "Undo changes?";
inline constexpr std::string_view kUndoTitle = "Data has changed";
inline constexpr std::string_view kCouldNotSave = "error, could not save data. ";
inline constexpr std::string_view kCouldNotPreview = "error, could not show the preview. ";
inline constexpr std::string_view kCopyPrefix = "Copy_";
inline constexpr std::string_view kSendUpdatedDataClose = "SendUpdatedDataClose*,";
inline constexpr std::string_view kSendNewDataClose = "SendNewDataClose*,";
inline constexpr std::string_view kSendUpdatedData = "SendUpdatedData*,";
inline constexpr std::string_view kSendNewData = "SendNewData*,";
inline constexpr std::string_view kSendUpdatedDataCloseNoStar = "SendUpdatedDataClose,";
inline constexpr std::string_view kCloseRemove = "CloseRemove,";
inline constexpr std::string_view kReturnClose = "ReturnClose,";
inline constexpr std::string_view kDiscardLead = "Discard your changes to ";
inline constexpr std::string_view kDiscardTail = "?";
inline constexpr std::string_view kNoChildMode =
    "Child mode is not available on this display; the editor stays a window of its own.";
}  // namespace editor_text

// Where the window keeps its size and place for the user: the tool's own part of the store,
// apart from the host's exchange.
namespace window_store {
inline constexpr std::string_view kApp = "KandorPE";
inline constexpr std::string_view kSection = "Window";
inline constexpr std::string_view kGeometry = "Geometry";  // "left,top,width,height"
inline constexpr std::string_view kMaximized = "Maximized";
}  // namespace window_store

// The process-wide flag: the host has already been told of the copy as a new record.
bool& copyAnnounced();

class frmEdit final : public QDialog, public EditorForm {
    Q_OBJECT

  public:
    frmEdit(EditorContext context, QWidget* parent = nullptr);
    ~frmEdit() override;

    // ---- EditorForm (start-up) and ToolForm (the host's commands) ----
    void loadForm() override;
    void fillKeywordPicker(std::span<const std::string_view> names) override;
    void backupRecord() override;
    void loadData() override;
    void applySettings(const UserSettings& settings) override;
    void showForm() override;
    void moveTo(int left, int top, int width, int height) override;
    void raiseToTop() override;
    void unload() override;
    void giveBackParents() override;
    void showCommandLog(const std::string& log) override;
    double dpiX() const override;
    double dpiY() const override;

    // ---- The buttons (public so that tests and the host's commands can press them) ----
    void cmdOk_Click();
    void cmdRefresh_Click();
    void cmdCancel_Click();
    void cmdUndo_Click();
    void cmdHelp_Click();
    void cmdCopy_Click();
    void cmdSettings_Click();
    void cmdPreview_Click();
    void cmdAbout_Click();
    void escapePressed();

    // ---- Transfer between the record and the controls ----
    // Fill: record 1 of the list into the state and the controls.
    bool fillFromRecord();
    // The controls' texts into the state (the arrays are the state's own already).
    void collectState();
    // The state into the controls, with the start-up flag set so nothing rescales.
    void showState();
    // Clears the warning list, commits open cell editors, validates; on failure shows
    // dlgWarn and returns false.
    bool validateForm(bool clearFirst = true);
    // SaveData into record 1 of the list.
    bool saveToRecord();
    // Where each line of the last check's warning list belongs on the form.
    const std::vector<WarningTarget>& warningTargets() const { return warnTargets_; }
    // Shows the tab of a finding and puts the focus on its field, cell or keyword line.
    void goToFinding(const WarningTarget& target);
    // The widget that shows a kind of field; null for none.
    QWidget* fieldWidget(FormField field) const;
    // A lamp field that the check will refuse gets a red frame and the finding as tooltip.
    void markField(FormField field);
    void markFields();
    // The "modified" label follows hasUnsavedEdits().
    void updateModified();
    // The record being edited (record 1 of the list).
    IesRecord& record();

    EditorState& state() { return state_; }
    const EditorState& state() const { return state_; }
    WarningList& warnings();
    dlgWarn* warnDialog() const { return warn_; }
    dlgSettings* settingsDialog() const { return settings_; }
    dlgPreview* previewDialog() const { return preview_; }
    const EditorContext& context() const { return ctx_; }
    bool refreshed() const { return refreshed_; }
    // True when the form differs from the record as it arrived (or as Undo brought it back).
    bool hasUnsavedEdits();
    // File mode: the program that hands the file back has ended. The edits, if any, are kept
    // as LM-63 text beside the file (or in the home folder) and the tool ends.
    void hostProcessGone();
    bool embedded() const { return embedded_; }

    // The "ChangingLamp" index as the settings dialog's combo shows it now (-1 for none).
    int changingLampIndex() const;
    // Shows or hides the lamp tab's hint for a "ChangingLamp" index (-1 leaves it).
    void showLampHint(int changingLampIndex);

    // ---- Keywords tab (tabkeywords.cpp) ----
    void showKeywords();              // state_.keyRuns / keyRtb into keyRtb
    std::string keywordText() const;  // keyRtb as CRLF text
    void keyCmdLoad_Click();
    void keyCmdSave_Click();
    // The picker marks the keywords the revision requires, present or missing.
    void markRequiredKeywords();
    // Creates the preview, settings and About dialogs (once), wired to this form.
    void loadDialogs();

    // ---- Lamp tab (tablamp.cpp) ----
    void showLamp();
    void collectLamp();
    void showShape(int shapeIndex, bool fromUser);
    void txtNumLamps_Change();
    void txtLumPerLamp_Change();
    void txtMultiplier_Change();
    void msbLampChanged(bool multiplierEdited);
    void tltChkTilt_Click();
    void lmpTxtNumAngles_Change();
    // The tilt grid's unbound write; false (after its message) when the text is no number.
    bool lmpGridTiltMultiplier_Write(int row, int column, const QString& text);

    // ---- Photometric tab (tabangles.cpp) ----
    void showAngles();
    // The angle grids' unbound writes: false (after the grid's message) when refused.
    bool phoGridVert_Write(int column, const QString& text);
    bool phoGridHorz_Write(int column, const QString& text);
    // Insert: at the typed angle, else midway after the selected column. Remove: the typed
    // angle, else the selected column. False (after the refusal) when nothing changed.
    bool phoCmdInsert_Click(bool vertical);
    bool phoCmdRemove_Click(bool vertical);
    // The reshape dialog over the working data; OK applies its outcome.
    void phoCmdReshape_Click();
    dlgReshape* reshapeDialog() const { return reshape_; }
    // A reshaped web into the working data and the record; counts, grids and plot follow.
    void applyWeb(Web web);

    // ---- Candela tab (tabcandela.cpp) ----
    void showCandela();
    // Redraws the polar plot from the candela display array and recomputes the photometric
    // figures; false when it cannot draw.
    bool redrawPlot();
    // Asks for a file name and exports the polar diagram; false when nothing was written.
    bool exportPlot(bool svg);
    // The candela table as copy text; the paste of such a text (false when refused).
    std::string candelaCopyText() const;
    // The selected candela cells as copy text; empty when nothing is selected.
    std::string candelaSelectionCopyText() const;
    bool pasteCandela(std::string_view text);
    // Refreshes the candela grid after the display array changed as a whole.
    void refreshCandela();
    // The candela grid's unbound write of a typed value; false (after its message) if refused.
    bool cdaGridCd_Write(int row, int column, const QString& text);
    // Pastes the whole table from the clipboard (copying is the button row's cmdCopy).
    void cdaCmdPaste_Click();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

  private:
    QWidget* buildKeywordsTab();
    QWidget* buildLampTab();
    QWidget* buildAnglesTab();
    QWidget* buildCandelaTab();
    QWidget* buildButtonRow();
    void send(std::string_view verb, bool closing);
    // Writes record 1 into slot 1; false (nothing to send) when the store refused it.
    bool writeSlot1();
    // OK and Refresh: steps 1 to 4 of the hand-back. Returns the command to send, empty when
    // nothing is to be sent.
    std::string prepareHandBack(bool closing);
    void embedInHost();
    void watchHost();
    void watchHostProcess();
    void finishUnload();
    QWidget* buildFindingsBanner();
    // The warning list over the form; then the focus on the line chosen, else the first.
    void showWarnings();
    // The window's size and place: remembered ones, else the default one that fits the screen.
    void placeWindow();
    void rememberPlace();
    // txtCmds grows from one line once it holds more than the start.
    void fitCommandLog();
    // Connects every edit of the form to the live marks and the "modified" label.
    void watchEdits();
    // The record the form would hand back now, without touching the record being edited.
    IesRecord recordFromForm();
    // Remembers the form as it is now as the state without edits.
    void markClean();
    // File mode: asks before edits that were never handed back are dropped; false keeps the
    // window open.
    bool mayDiscardEdits();

    EditorContext ctx_;
    EditorState state_;
    IesRecord backup_;
    bool loaded_ = false;
    bool refreshed_ = false;
    bool loadingFlag_ = false;  // Cancel restores: the lamp fields must not rescale
    bool startupFlag_ = true;   // the program writes the lamp fields
    bool busyFlag_ = false;     // the lamp-change routine is writing
    bool unloading_ = false;
    bool closeAccepted_ = false;
    bool embedded_ = false;
    bool keywordClosed_ = false;
    int changingLamp_ = 0;  // the "ChangingLamp" index while no settings dialog is loaded
    QWindow* hostWindow_ = nullptr;
    QTimer hostWatch_;
    QTimer hostProcessWatch_;
    IesRecord cleanRecord_;  // recordFromForm() right after the record arrived
    std::vector<WarningTarget> warnTargets_;
    QTimer modifiedCheck_;  // collects a burst of edits into one comparison
    bool placed_ = false;

    // Shared controls
    QTabWidget* SSTab1 = nullptr;
    QLabel* labFile = nullptr;
    QLabel* labModified = nullptr;
    QFrame* fraFindings = nullptr;  // the reader's findings on the file, above the tabs
    QLabel* labFindings = nullptr;
    QToolButton* cmdDismissFindings = nullptr;
    QPlainTextEdit* txtCmds = nullptr;
    QGroupBox* fraWorkOn = nullptr;
    QRadioButton* rdoOriginal = nullptr;
    QRadioButton* rdoCopy = nullptr;
    QPushButton* cmdOk = nullptr;
    QPushButton* cmdCancel = nullptr;
    QPushButton* cmdRefresh = nullptr;
    QPushButton* cmdUndo = nullptr;
    QPushButton* cmdHelp = nullptr;
    QPushButton* cmdCopy = nullptr;
    QPushButton* cmdSettings = nullptr;
    QPushButton* cmdPreview = nullptr;
    QPushButton* cmdAbout = nullptr;

    // Keywords tab
    KeywordTextEdit* keyRtb = nullptr;
    QTextEdit* keyLegend = nullptr;
    KeywordPicker* keyLstPos = nullptr;
    QLabel* keyLabRequired = nullptr;  // the legend of the required keywords' marks
    QLabel* Label5 = nullptr;
    QPushButton* keyCmdLoad = nullptr;
    QPushButton* keyCmdSave = nullptr;
    bool keyLatin1_ = false;  // keyRtb shows Latin-1 lines, and gives them back so
    QString keyShownRaw_;     // keyRtb's raw text as last filled, to tell an untouched text

    // Lamp tab
    QComboBox* lmpCmbVersion = nullptr;
    QLineEdit* txtNumLamps = nullptr;
    QLineEdit* txtLumPerLamp = nullptr;
    QLineEdit* txtMultiplier = nullptr;
    QLineEdit* txtBallast = nullptr;
    QLineEdit* txtWatt = nullptr;
    QFrame* Line1 = nullptr;
    QFrame* Line2 = nullptr;
    QFrame* Line3 = nullptr;
    QFrame* Line4 = nullptr;
    QLabel* Label11 = nullptr;
    QLabel* labCandelaChange = nullptr;
    QComboBox* lmpCmbShape = nullptr;
    QRadioButton* rdoFeet = nullptr;
    QRadioButton* rdoMeters = nullptr;
    QLabel* lmpLabWidth = nullptr;
    QLabel* lmpLabLength = nullptr;
    QLabel* lmpLabHeight = nullptr;
    QLineEdit* txtWidth = nullptr;
    QLineEdit* txtLength = nullptr;
    QLineEdit* txtHeight = nullptr;
    ShapeSketch* lmpPicHousing = nullptr;
    QCheckBox* tltChkTilt = nullptr;
    QLabel* lmpLabTltLampToLum = nullptr;
    QComboBox* lmpCmbLampToLuminare = nullptr;
    QLabel* lmpLabNumTiltAngles = nullptr;
    QLineEdit* lmpTxtNumAngles = nullptr;
    QTableView* lmpGridTiltMultiplier = nullptr;
    TiltModel* tiltModel_ = nullptr;
    int plotDraws_ = 0;  // redraws so far: a handler redraws only when nothing it ran did

    // Photometric tab
    QLabel* Label4 = nullptr;
    QLineEdit* phoTxtVert = nullptr;
    QLineEdit* phoTxtHorz = nullptr;
    QTableView* phoGridVert = nullptr;
    QTableView* phoGridHorz = nullptr;
    AngleRowModel* vertModel_ = nullptr;
    AngleRowModel* horzModel_ = nullptr;
    QLineEdit* phoTxtVertAngle = nullptr;
    QLineEdit* phoTxtHorzAngle = nullptr;
    QPushButton* phoCmdInsertVert = nullptr;
    QPushButton* phoCmdRemoveVert = nullptr;
    QPushButton* phoCmdInsertHorz = nullptr;
    QPushButton* phoCmdRemoveHorz = nullptr;
    QPushButton* phoCmdReshape = nullptr;
    dlgReshape* reshape_ = nullptr;

    // Candela tab
    QTableView* cdaGridCd = nullptr;
    CandelaModel* candelaModel_ = nullptr;
    plotCD* picCda = nullptr;
    QPushButton* cdaCmdPaste = nullptr;
    QLabel* cdaLabChanged = nullptr;  // the legend of the shading of changed cells
    PhotometryPanel* cdaFraPhotometry = nullptr;
    QComboBox* cdaCmbPlanes = nullptr;  // the plane pairs the plot shows
    QComboBox* cdaCmbUnit = nullptr;    // cd, or cd/klm for relative photometry
    QToolButton* cdaCmdExport = nullptr;

    // Dialogs, loaded with the form
    dlgWarn* warn_ = nullptr;
    dlgPreview* preview_ = nullptr;
    dlgSettings* settings_ = nullptr;
    frmAbout* about_ = nullptr;

    friend class FrmEditTestAccess;
};

}  // namespace kandor
