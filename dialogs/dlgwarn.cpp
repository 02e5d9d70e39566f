#include "dialogs/dlgwarn.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace kandor {

dlgWarn::dlgWarn(QWidget* parent) : QDialog(parent) {
    setObjectName("dlgWarn");
    setWindowTitle(QString::fromUtf8(kCaption.data(), static_cast<int>(kCaption.size())));
    setModal(true);

    auto* intro = new QLabel(tr("Please correct these entries before the data are handed on:"));
    intro->setWordWrap(true);

    Text1 = new QPlainTextEdit;
    Text1->setObjectName("Text1");
    Text1->setReadOnly(true);
    // A warning names a line of the header or a field; wrapping would split it across lines
    // that read like separate findings.
    Text1->setLineWrapMode(QPlainTextEdit::NoWrap);
    Text1->setMinimumSize(520, 180);

    OKButton = new QPushButton(tr("OK"));
    OKButton->setObjectName("OKButton");
    OKButton->setDefault(true);
    connect(OKButton, &QPushButton::clicked, this, &QDialog::hide);

    auto* buttons = new QDialogButtonBox;
    buttons->addButton(OKButton, QDialogButtonBox::AcceptRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addWidget(Text1, 1);
    layout->addWidget(buttons);
}

void dlgWarn::refreshText() {
    // The widget shows its own line ends; the list keeps CRLF.
    QString text = QString::fromStdString(list_.text());
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    if (text.endsWith(QLatin1Char('\n'))) text.chop(1);
    Text1->setPlainText(text);
}

void dlgWarn::showModally() {
    refreshText();
    exec();
}

void dlgWarn::showList() {
    refreshText();
    show();
}

}  // namespace kandor
