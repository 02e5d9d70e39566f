#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

namespace kandor {

// The About box: the product's name, its version and revision as the build recorded them, and
// a line on what the tool is.
class frmAbout final : public QDialog {
    Q_OBJECT

  public:
    explicit frmAbout(QWidget* parent = nullptr);

    // "Version 0.1.0" and "Revision 1a2b3c4d5e6f" ("Revision not recorded" for a build from
    // sources outside git).
    static QString versionText();
    static QString revisionText();

    QLabel* lblProduct = nullptr;
    QLabel* lblVersion = nullptr;
    QLabel* lblRevision = nullptr;
    QLabel* lblDescription = nullptr;
    QPushButton* OKButton = nullptr;
};

}  // namespace kandor
