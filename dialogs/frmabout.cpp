#include "dialogs/frmabout.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "dialogs/version.h"

namespace kandor {

frmAbout::frmAbout(QWidget* parent) : QDialog(parent) {
    setObjectName("frmAbout");
    setWindowTitle(tr("About %1").arg(QString::fromUtf8(build_info::kProductName)));
    setModal(true);

    lblProduct = new QLabel(QString::fromUtf8(build_info::kProductName));
    lblProduct->setObjectName("lblProduct");
    QFont big = lblProduct->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    lblProduct->setFont(big);

    lblVersion = new QLabel(versionText());
    lblVersion->setObjectName("lblVersion");
    lblRevision = new QLabel(revisionText());
    lblRevision->setObjectName("lblRevision");
    lblRevision->setTextInteractionFlags(Qt::TextSelectableByMouse);

    lblDescription = new QLabel(
        tr("The photometric editor of the Lumivex application: it edits the keyword lines, "
           "lamp and luminaire data, measurement angles and candela values of one IESNA "
           "LM-63 photometric file (LM-63-1986, 1991, 1995 and 2002), checks them against "
           "the rules of their revision, and hands the result back to Lumivex."));
    lblDescription->setObjectName("lblDescription");
    lblDescription->setWordWrap(true);
    // A wrapped label takes its height from its width; a fixed width lets the box fit it.
    lblDescription->setFixedWidth(400);

    OKButton = new QPushButton(tr("OK"));
    OKButton->setObjectName("OKButton");
    OKButton->setDefault(true);
    connect(OKButton, &QPushButton::clicked, this, &QDialog::accept);
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(OKButton, QDialogButtonBox::AcceptRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblProduct);
    layout->addWidget(lblVersion);
    layout->addWidget(lblRevision);
    layout->addSpacing(8);
    layout->addWidget(lblDescription);
    layout->addSpacing(8);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

QString frmAbout::versionText() {
    return tr("Version %1").arg(QString::fromUtf8(build_info::kVersion));
}

QString frmAbout::revisionText() {
    const QString revision = QString::fromUtf8(build_info::kRevision);
    return revision.isEmpty() ? tr("Revision not recorded") : tr("Revision %1").arg(revision);
}

}  // namespace kandor
