#include "dialogs/dlgwarn.h"

#include <QDialogButtonBox>
#include <QEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace kandor {

dlgWarn::dlgWarn(QWidget* parent) : QDialog(parent) {
    setObjectName("dlgWarn");
    setWindowTitle(QString::fromUtf8(kCaption.data(), static_cast<int>(kCaption.size())));
    setModal(true);

    auto* intro =
        new QLabel(tr("Please correct these entries before the data are handed on "
                      "(double-click a line to go to its place):"));
    intro->setWordWrap(true);

    Text1 = new QPlainTextEdit;
    Text1->setObjectName("Text1");
    Text1->setReadOnly(true);
    // A warning names a line of the header or a field; wrapping would split it across lines
    // that read like separate findings.
    Text1->setLineWrapMode(QPlainTextEdit::NoWrap);
    Text1->setMinimumSize(520, 180);
    Text1->setToolTip(tr("Double-click a line to go to its place on the form"));
    Text1->viewport()->installEventFilter(this);

    labNote = new QLabel;
    labNote->setObjectName("labNote");
    labNote->setWordWrap(true);
    labNote->setTextInteractionFlags(Qt::TextSelectableByMouse);
    cmdNoteAction = new QPushButton;
    cmdNoteAction->setObjectName("cmdNoteAction");
    cmdNoteAction->setAutoDefault(false);
    connect(cmdNoteAction, &QPushButton::clicked, this, [this] {
        // The action may replace the note, and with it itself.
        const std::function<void()> act = noteAction_;
        if (act) act();
    });
    auto* note = new QHBoxLayout;
    note->addWidget(labNote, 1);
    note->addWidget(cmdNoteAction, 0, Qt::AlignTop);
    setNote({}, {}, {});

    OKButton = new QPushButton(tr("OK"));
    OKButton->setObjectName("OKButton");
    OKButton->setDefault(true);
    connect(OKButton, &QPushButton::clicked, this, &QDialog::hide);

    auto* buttons = new QDialogButtonBox;
    buttons->addButton(OKButton, QDialogButtonBox::AcceptRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addWidget(Text1, 1);
    layout->addLayout(note);
    layout->addWidget(buttons);
}

void dlgWarn::refreshText() {
    // The widget shows its own line ends; the list keeps CRLF.
    QString text = QString::fromStdString(list_.text());
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    if (text.endsWith(QLatin1Char('\n'))) text.chop(1);
    Text1->setPlainText(text);
}

int dlgWarn::showModally() {
    activated_ = -1;
    refreshText();
    exec();
    return activated_;
}

void dlgWarn::activateLine(int line) {
    if (line < 0) return;
    activated_ = line;
    hide();
}

void dlgWarn::setNote(const QString& note, const QString& action, std::function<void()> act) {
    labNote->setText(note);
    labNote->setVisible(!note.isEmpty());
    cmdNoteAction->setText(action);
    cmdNoteAction->setVisible(!note.isEmpty() && act != nullptr);
    noteAction_ = std::move(act);
}

bool dlgWarn::eventFilter(QObject* watched, QEvent* event) {
    if (watched == Text1->viewport() && event->type() == QEvent::MouseButtonDblClick) {
        const QPoint at = static_cast<QMouseEvent*>(event)->position().toPoint();
        const QTextCursor cursor = Text1->cursorForPosition(at);
        // Below the last line is no line.
        if (Text1->cursorRect(cursor).bottom() >= at.y()) activateLine(cursor.blockNumber());
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void dlgWarn::showList() {
    refreshText();
    show();
}

}  // namespace kandor
