// The keywords tab: the header lines as coloured text, the standard keywords to drag in, and
// the user's keyword template.

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSplitter>
#include <QTextEdit>
#include <QVBoxLayout>

#include "editor/frmedit.h"

namespace kandor {

namespace {

// The core's colours are blue-green-red integers.
QColor fromBgr(std::int32_t bgr) {
    return QColor(bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
}

void appendRuns(QTextEdit* edit, const std::vector<KeywordRun>& runs) {
    QTextCursor cursor(edit->document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    for (const KeywordRun& run : runs) {
        QTextCharFormat format;
        format.setFontWeight(run.bold ? QFont::Bold : QFont::Normal);
        format.setForeground(fromBgr(run.color));
        QString text = QString::fromStdString(run.text);
        // The widget keeps its own paragraph breaks; the text it gives back has CRLF again.
        text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        cursor.insertText(text, format);
    }
    cursor.endEditBlock();
}

}  // namespace

QWidget* frmEdit::buildKeywordsTab() {
    auto* page = new QWidget;

    keyRtb = new QTextEdit;
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
    appendRuns(keyLegend, keywordLegendRuns());

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    auto* textLabel = new QLabel(tr("&Header lines:"));
    textLabel->setBuddy(keyRtb);
    leftLayout->addWidget(textLabel);
    leftLayout->addWidget(keyRtb, 1);
    leftLayout->addWidget(keyLegend);

    keyLstPos = new QListWidget;
    keyLstPos->setObjectName("keyLstPos");
    keyLstPos->setToolTip(tr("Drag a keyword onto a line of the text to insert it above"));
    Label5 = new QLabel;
    Label5->setObjectName("Label5");
    Label5->hide();

    keyCmdLoad = new QPushButton(tr("&Load Template"));
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
    auto* pickLabel = new QLabel(tr("&Standard keywords:"));
    pickLabel->setBuddy(keyLstPos);
    rightLayout->addWidget(pickLabel);
    rightLayout->addWidget(keyLstPos, 1);
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
    keyRtb->clear();
    if (state_.keyRuns.empty()) {
        QString text = QString::fromStdString(state_.keyRtb);
        text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        keyRtb->setPlainText(text);
    } else {
        appendRuns(keyRtb, state_.keyRuns);
    }
    keyRtb->document()->setModified(false);
}

std::string frmEdit::keywordText() const {
    // A text the user did not touch goes back as it came, byte for byte.
    if (!keyRtb->document()->isModified()) return state_.keyRtb;
    QString text = keyRtb->toPlainText();
    text.replace(QStringLiteral("\n"), QStringLiteral("\r\n"));
    if (!text.isEmpty() && !text.endsWith(QStringLiteral("\r\n"))) text += QStringLiteral("\r\n");
    return text.toStdString();
}

void frmEdit::keyCmdLoad_Click() {}

void frmEdit::keyCmdSave_Click() {}

}  // namespace kandor
