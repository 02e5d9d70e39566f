#include "dialogs/dlgpreview.h"

#include <algorithm>
#include <string>
#include <vector>

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTextBlock>
#include <QVBoxLayout>

#include "core/saveies.h"
#include "dialogs/widgettext.h"

namespace kandor {

namespace {

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

// What a refused text's status means, for the head of the findings list.
QString statusMeaning(std::int16_t status) {
    switch (status) {
        case kParseValueProblems:
            return dlgPreview::tr("status 1: header values the format does not allow");
        case kParseUnusable:
            return dlgPreview::tr("status 2: the data cannot be read as photometric data");
        case kParseKeywordProblems:
            return dlgPreview::tr("status 3: keyword lines the revision does not allow");
        default:
            return dlgPreview::tr("status %1").arg(status);
    }
}

constexpr int kLineRole = Qt::UserRole;

bool isSeparator(char c) {
    return c == ' ' || c == '\r' || c == '\n' || c == ',' || c == '\t';
}

// The line of the text a reader's line number stands for. The reader counts the header lines
// it reads and skips blank ones uncounted (the empty line after a format line, for one), so
// its numbers fall behind the text's lines by the blank lines of the header. Walks the header
// as the reader does and maps its numbers back.
int textLine(std::string_view text, int readerLine) {
    if (readerLine <= 0) return 1;
    std::vector<int> headerLines;  // text line of each header line the reader reads
    int lineOfPos = 1;
    std::size_t pos = 0;
    auto advanceTo = [&](std::size_t to) {
        for (; pos < to; ++pos)
            if (text[pos] == '\n') ++lineOfPos;
    };
    while (pos < text.size()) {
        headerLines.push_back(lineOfPos);
        std::size_t end = text.find('\r', pos);
        if (end == std::string_view::npos) end = text.size();
        std::string head(text.substr(pos, std::min<std::size_t>(4, end - pos)));
        for (char& c : head)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        std::size_t next = end;
        while (next < text.size() && isSeparator(text[next]))
            ++next;
        advanceTo(next);
        if (head == "TILT") {
            const int tiltNumber = static_cast<int>(headerLines.size());
            if (readerLine <= tiltNumber)
                return headerLines[static_cast<std::size_t>(readerLine - 1)];
            // After the TILT line the reader counts one line, then every line end it passes.
            return lineOfPos + (readerLine - tiltNumber - 1);
        }
    }
    return readerLine <= static_cast<int>(headerLines.size())
               ? headerLines[static_cast<std::size_t>(readerLine - 1)]
               : readerLine;
}

}  // namespace

dlgPreview::dlgPreview(Prompter& prompter, PreviewHooks hooks, QWidget* parent)
    : QDialog(parent), prompter_(prompter), hooks_(std::move(hooks)) {
    setObjectName("dlgPreview");
    setWindowTitle(qs(kCaption));
    setModal(true);
    setSizeGripEnabled(true);

    auto* intro = new QLabel(
        tr("The data as the LM-63 text that would be saved. OK reads the text back into the "
           "editor; a text that no longer reads as a valid file is refused and left as it is."));
    intro->setWordWrap(true);

    txtPreview = new QPlainTextEdit;
    txtPreview->setObjectName("txtPreview");
    // One screen line per line of the file: the reader counts lines, and the findings name
    // them.
    txtPreview->setLineWrapMode(QPlainTextEdit::NoWrap);
    txtPreview->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    txtPreview->setTabChangesFocus(false);

    labFindings = new QLabel;
    labFindings->setObjectName("labFindings");
    labFindings->setWordWrap(true);
    lstFindings = new QListWidget;
    lstFindings->setObjectName("lstFindings");
    lstFindings->setToolTip(tr("Click a finding to go to its line"));
    connect(lstFindings, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { goToLine(item->data(kLineRole).toInt()); });
    connect(lstFindings, &QListWidget::itemActivated, this,
            [this](QListWidgetItem* item) { goToLine(item->data(kLineRole).toInt()); });
    auto* findingsBox = new QWidget;
    auto* findingsLayout = new QVBoxLayout(findingsBox);
    findingsLayout->setContentsMargins(0, 0, 0, 0);
    findingsLayout->addWidget(labFindings);
    findingsLayout->addWidget(lstFindings, 1);

    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(txtPreview);
    splitter->addWidget(findingsBox);
    splitter->setStretchFactor(0, 4);
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);
    clearFindings();

    OKButton = new QPushButton(tr("OK"));
    OKButton->setObjectName("OKButton");
    OKButton->setAutoDefault(false);
    cmdCancel = new QPushButton(tr("Cancel"));
    cmdCancel->setObjectName("cmdCancel");
    cmdCancel->setAutoDefault(false);
    connect(OKButton, &QPushButton::clicked, this, [this] { OKButton_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(OKButton, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addWidget(splitter, 1);
    layout->addWidget(buttons);
    resize(900, 640);

    // Enter and Tab belong to the text; the buttons are reached with Ctrl.
    for (const QKeySequence& keys :
         {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}) {
        auto* ok = new QShortcut(keys, this);
        connect(ok, &QShortcut::activated, OKButton, &QPushButton::click);
    }
    OKButton->setToolTip(tr("Read the text back into the editor (Ctrl+Enter)"));
    cmdCancel->setToolTip(tr("Close without reading the text back (Escape)"));
    txtPreview->installEventFilter(this);
}

bool dlgPreview::eventFilter(QObject* watched, QEvent* event) {
    if (watched == txtPreview && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() & Qt::ControlModifier) {
            if (key->key() == Qt::Key_Tab) return focusNextChild();
            if (key->key() == Qt::Key_Backtab) return focusPreviousChild();
            if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
                OKButton->click();
                return true;
            }
        }
    }
    return QDialog::eventFilter(watched, event);
}

bool dlgPreview::loadPreview() {
    if (hooks_.validate && !hooks_.validate()) return false;
    if (hooks_.saveForm && !hooks_.saveForm()) return false;
    // Values the reader kept with three decimals are shown with them, so that OK on this text
    // hands back the values it was composed from.
    SaveIES& w = writer();
    w.setCandelaPattern(SaveIES::kCandelaPatternExact);
    composed_ = w.Compose(hooks_.record(), prompter_);
    w.setCandelaPattern(SaveIES::kCandelaPattern);
    WidgetText shown = toWidgetText(composed_);
    latin1_ = shown.latin1;
    txtPreview->setPlainText(shown.text);
    shownRaw_ = txtPreview->document()->toRawText();
    clearFindings();
    return true;
}

void dlgPreview::showPreview() {
    if (!loadPreview()) return;
    txtPreview->setFocus();
    exec();
}

std::string dlgPreview::previewText() const {
    const QString raw = txtPreview->document()->toRawText();
    // A text the user did not touch goes back byte for byte, whatever its line ends held.
    if (raw == shownRaw_) return composed_;
    return fromWidgetText(raw, latin1_);
}

void dlgPreview::OKButton_Click() {
    const std::string text = previewText();
    findings_.clear();
    reader_.hooks.ReportIssue = [this](int code, int line, const std::string& message) {
        findings_.push_back({line, code, message});
    };
    IesRecord scratch;
    const std::int16_t status = reader_.ParseIes(scratch, text, false, text);
    reader_.hooks.ReportIssue = nullptr;
    if (status != kParseClean) {
        showFindings(status, text);
        prompter_.tell(std::string(kNoLongerValid));
        return;
    }
    reader_.ParseIes(hooks_.record(), text, false, text);
    clearFindings();
    if (hooks_.fill) hooks_.fill();
    accept();
}

void dlgPreview::cmdCancel_Click() {
    reject();
}

void dlgPreview::clearFindings() {
    findings_.clear();
    lstFindings->clear();
    labFindings->clear();
    labFindings->setVisible(false);
    lstFindings->setVisible(false);
}

void dlgPreview::showFindings(std::int16_t status, std::string_view text) {
    lstFindings->clear();
    if (findings_.empty() && reader_.lastFaultNumber() != 0)
        findings_.push_back({reader_.LineNumber, 0, reader_.lastFaultDescription()});
    labFindings->setText(tr("Why the text was refused (%1):").arg(statusMeaning(status)));
    for (const Finding& f : findings_) {
        const int line = textLine(text, f.line);
        const QString where = f.line > 0 ? tr("Line %1").arg(line) : tr("Whole file");
        auto* item =
            new QListWidgetItem(tr("%1, code %2: %3").arg(where).arg(f.code).arg(qs(f.message)));
        item->setData(kLineRole, line);
        lstFindings->addItem(item);
    }
    labFindings->setVisible(true);
    lstFindings->setVisible(true);
}

void dlgPreview::goToLine(int line) {
    const QTextBlock block = txtPreview->document()->findBlockByNumber(std::max(line, 1) - 1);
    QTextCursor cursor(block.isValid() ? block : txtPreview->document()->lastBlock());
    txtPreview->setTextCursor(cursor);
    txtPreview->centerCursor();
    txtPreview->setFocus();
}

}  // namespace kandor
