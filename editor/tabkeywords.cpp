// The keywords tab: the header lines as coloured text, the standard keywords to drag in, and
// the user's keyword template.

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QStringDecoder>
#include <QTextEdit>
#include <QVBoxLayout>

#include "core/keywordtemplate.h"
#include "dialogs/widgettext.h"
#include "editor/frmedit.h"
#include "editor/keywordedit.h"

namespace kandor {

namespace {

bool isUtf8(std::string_view text) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    (void)utf8.decode(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
    return !utf8.hasError();
}

QString widgetString(std::string_view text, bool latin1) {
    const QByteArray bytes(text.data(), static_cast<qsizetype>(text.size()));
    QString out = latin1 ? QString::fromLatin1(bytes) : QString::fromUtf8(bytes);
    // The widget keeps its own paragraph breaks; the text it gives back has CRLF again.
    out.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return out;
}

void appendRuns(QTextEdit* edit, const std::vector<KeywordRun>& runs, bool latin1) {
    QTextCursor cursor(edit->document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    for (const KeywordRun& run : runs) {
        QTextCharFormat format;
        format.setFontWeight(run.bold ? QFont::Bold : QFont::Normal);
        format.setForeground(colorFromBgr(run.color));
        cursor.insertText(widgetString(run.text, latin1), format);
    }
    cursor.endEditBlock();
}

// The runs' texts one after another: the keyword text the runs show.
std::string runText(const std::vector<KeywordRun>& runs) {
    std::string text;
    for (const KeywordRun& run : runs)
        text += run.text;
    return text;
}

}  // namespace

QWidget* frmEdit::buildKeywordsTab() {
    auto* page = new QWidget;

    keyRtb = new KeywordTextEdit;
    keyRtb->setObjectName("keyRtb");
    keyRtb->setAcceptRichText(false);
    keyRtb->setLineWrapMode(QTextEdit::NoWrap);
    keyRtb->setTabChangesFocus(true);
    keyRtb->setToolTip(tr("The header lines of the file, one keyword line per line"));

    keyLegend = new QTextEdit;
    keyLegend->setObjectName("keyLegend");
    keyLegend->setReadOnly(true);
    keyLegend->setFocusPolicy(Qt::NoFocus);
    keyLegend->setFrameShape(QFrame::NoFrame);
    keyLegend->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    keyLegend->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    keyLegend->setFixedHeight(keyLegend->fontMetrics().lineSpacing() + 10);
    keyLegend->setStyleSheet(QStringLiteral("background: transparent;"));
    appendRuns(keyLegend, keywordLegendRuns(), false);

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    auto* textLabel = new QLabel(tr("Header l&ines:"));
    textLabel->setBuddy(keyRtb);
    leftLayout->addWidget(textLabel);
    leftLayout->addWidget(keyRtb, 1);
    leftLayout->addWidget(keyLegend);

    keyLstPos = new KeywordPicker;
    keyLstPos->setObjectName("keyLstPos");
    keyLstPos->setToolTip(
        tr("Drag a keyword onto a line of the text to insert it above; double-click to insert "
           "it above the cursor's line"));
    // What the user sees travel with the pointer while dragging a keyword.
    Label5 = new QLabel(page);
    Label5->setObjectName("Label5");
    Label5->setStyleSheet(QStringLiteral(
        "QLabel { font-weight: bold; background: #ffffe0; border: 1px solid #808080; "
        "padding: 1px 4px; }"));
    Label5->hide();
    keyLstPos->setDragLabel(Label5);
    connect(keyLstPos, &KeywordPicker::keywordChosen, this, [this](const QString& keyword) {
        keyRtb->dropKeyword(keyword, keyRtb->textCursor().blockNumber());
        keyRtb->setFocus();
    });

    keyCmdLoad = new QPushButton(tr("Loa&d Template"));
    keyCmdLoad->setObjectName("keyCmdLoad");
    keyCmdLoad->setToolTip(tr("Append your saved keyword template to the lines"));
    keyCmdLoad->setAutoDefault(false);
    keyCmdSave = new QPushButton(tr("Save as &Template"));
    keyCmdSave->setObjectName("keyCmdSave");
    keyCmdSave->setToolTip(tr("Keep these keyword lines as your template"));
    keyCmdSave->setAutoDefault(false);
    connect(keyCmdLoad, &QPushButton::clicked, this, [this] { keyCmdLoad_Click(); });
    connect(keyCmdSave, &QPushButton::clicked, this, [this] { keyCmdSave_Click(); });

    auto* right = new QWidget;
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    auto* pickLabel = new QLabel(tr("Standard key&words:"));
    pickLabel->setBuddy(keyLstPos);
    rightLayout->addWidget(pickLabel);
    rightLayout->addWidget(keyLstPos, 1);
    keyLabRequired = new QLabel;
    keyLabRequired->setObjectName("keyLabRequired");
    keyLabRequired->setWordWrap(true);
    keyLabRequired->hide();
    rightLayout->addWidget(keyLabRequired);
    rightLayout->addWidget(keyCmdLoad);
    rightLayout->addWidget(keyCmdSave);

    auto* splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(left);
    splitter->addWidget(right);
    splitter->setStretchFactor(0, 4);
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);

    auto* layout = new QVBoxLayout(page);
    layout->addWidget(splitter);
    return page;
}

void frmEdit::showKeywords() {
    // Keyword lines from older systems are often Latin-1; shown so, they go back so.
    keyLatin1_ = !isUtf8(state_.keyRtb);
    keyRtb->clear();
    keyRtb->setCurrentCharFormat(QTextCharFormat());
    if (state_.keyRuns.empty()) {
        keyRtb->setPlainText(widgetString(state_.keyRtb, keyLatin1_));
    } else {
        appendRuns(keyRtb, state_.keyRuns, keyLatin1_);
    }
    keyRtb->document()->setModified(false);
    keyShownRaw_ = keyRtb->document()->toRawText();
}

std::string frmEdit::keywordText() const {
    // A text the user did not touch goes back as it came, byte for byte.
    const QString raw = keyRtb->document()->toRawText();
    if (raw == keyShownRaw_) return state_.keyRtb;
    std::string text = fromWidgetText(raw, keyLatin1_);
    if (!text.empty() && !text.ends_with("\r\n")) text += "\r\n";
    return text;
}

void frmEdit::keyCmdLoad_Click() {
    using namespace keyword_template_text;
    // The lines as the user sees them now, typed or not; the template goes below them.
    const std::vector<std::string> lines = splitKeywordLines(keywordText());
    const TemplateEntries entries = ctx_.store.allEntries(startup_text::kUserApp, kSection);
    bool usedDefaults = false;
    OneBased<std::string> all;
    for (std::string& line : appendTemplate(lines, entries, usedDefaults))
        all.append(std::move(line));
    state_.keyRuns = ColorKeywords(all);
    state_.keyRtb = runText(state_.keyRuns);
    showKeywords();
    if (usedDefaults) ctx_.prompter.tell(std::string(kNoDefaults));
}

void frmEdit::keyCmdSave_Click() {
    using namespace keyword_template_text;
    using startup_text::kUserApp;
    if (ctx_.prompter.ask(std::string(kSaveQuestion), {}, PromptButtons::OkCancel) !=
        PromptAnswer::Ok)
        return;
    if (!validateForm()) return;
    if (!saveToRecord()) return;

    // The template holds the lines the tab shows, not the format line the record starts with:
    // the revision is the lamp tab's choice.
    const IesRecord& r = record();
    std::vector<std::string> lines;
    const int first = state_.revision >= 1 && state_.revision <= 3 ? 2 : 1;
    for (int i = first; i <= r.Keywords.ubound(); ++i)
        lines.push_back(r.Keywords(i));
    bool ok = false;
    const TemplateEntries entries = templateEntries(lines, ok);
    if (!ok) {
        ctx_.prompter.tell(std::string(kTooManyAlike));
        return;
    }

    SettingsStore& store = ctx_.store;
    const TemplateEntries previous = store.allEntries(kUserApp, kSection);
    auto saveAll = [&store](const TemplateEntries& list) {
        for (const auto& [key, value] : list)
            if (!store.save(kUserApp, kSection, key, value)) return false;
        return true;
    };
    if ((previous.empty() || store.deleteSection(kUserApp, kSection)) && saveAll(entries)) return;
    // A store that failed halfway must not cost the user the template saved before.
    const std::string error = store.lastError();
    store.deleteSection(kUserApp, kSection);
    saveAll(previous);
    ctx_.prompter.tell(error);
}

}  // namespace kandor
