// The lamp and luminaire tab: lamp numbers, revision, luminous shape and dimensions, units and
// the tilt table.

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTableView>
#include <QVBoxLayout>

#include "core/numforms.h"
#include "core/shapes.h"
#include "editor/frmedit.h"
#include "editor/gridmodels.h"

namespace kandor {

namespace {

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

QLineEdit* numberField(const char* name, const QString& tip) {
    auto* edit = new QLineEdit;
    edit->setObjectName(name);
    edit->setToolTip(tip);
    edit->setAlignment(Qt::AlignRight);
    edit->setMaximumWidth(160);
    return edit;
}

QFrame* hintLine(const char* name, QFrame::Shape shape) {
    auto* line = new QFrame;
    line->setObjectName(name);
    line->setFrameShape(shape);
    line->setFrameShadow(QFrame::Plain);
    line->setStyleSheet(QStringLiteral("color: #2a6fb0;"));
    return line;
}

}  // namespace

QWidget* frmEdit::buildLampTab() {
    auto* page = new QWidget;

    // Lamp and photometry
    auto* lampBox = new QGroupBox(tr("Lamp and photometry"));
    lmpCmbVersion = new QComboBox;
    lmpCmbVersion->setObjectName("lmpCmbVersion");
    lmpCmbVersion->setToolTip(tr("The LM-63 revision the file follows"));
    for (std::string_view name : kRevisionNames)
        lmpCmbVersion->addItem(qs(name));
    txtNumLamps = numberField("txtNumLamps", tr("Number of lamps in the luminaire"));
    txtLumPerLamp =
        numberField("txtLumPerLamp", tr("Rated lumens per lamp; -1 for absolute photometry"));
    txtMultiplier =
        numberField("txtMultiplier", tr("Factor applied to every candela value of the table"));
    txtBallast = numberField("txtBallast", tr("Ballast factor"));
    txtWatt = numberField("txtWatt", tr("Input power of the luminaire in watts"));

    Line1 = hintLine("Line1", QFrame::HLine);
    Line2 = hintLine("Line2", QFrame::VLine);
    Line3 = hintLine("Line3", QFrame::HLine);
    Line4 = hintLine("Line4", QFrame::VLine);
    Label11 = new QLabel(tr("scales"));
    Label11->setObjectName("Label11");
    Label11->setStyleSheet(QStringLiteral("color: #2a6fb0;"));
    labCandelaChange = new QLabel(tr("Candela Values Tab Will Reflect Changes"));
    labCandelaChange->setObjectName("labCandelaChange");
    labCandelaChange->setStyleSheet(QStringLiteral("color: #2a6fb0;"));
    labCandelaChange->setWordWrap(true);
    labCandelaChange->hide();

    auto* lampGrid = new QGridLayout(lampBox);
    int row = 0;
    auto addRow = [&](const QString& text, QWidget* field, const QString& unit = {}) {
        auto* label = new QLabel(text);
        label->setBuddy(field);
        lampGrid->addWidget(label, row, 0);
        lampGrid->addWidget(field, row, 1);
        if (!unit.isEmpty()) lampGrid->addWidget(new QLabel(unit), row, 2);
        ++row;
    };
    addRow(tr("LM-63 re&vision:"), lmpCmbVersion);
    addRow(tr("&Number of lamps:"), txtNumLamps);
    const int lumensRow = row;
    addRow(tr("Lumens per lam&p:"), txtLumPerLamp, tr("lm"));
    const int multiplierRow = row;
    addRow(tr("Candela &multiplier:"), txtMultiplier);
    addRow(tr("&Ballast factor:"), txtBallast);
    addRow(tr("Input &watts:"), txtWatt, tr("W"));
    // The hint: a bracket from lumens to multiplier saying which one a lamp edit changes.
    auto* bracket = new QGridLayout;
    bracket->setSpacing(0);
    bracket->addWidget(Line1, 0, 0);
    bracket->addWidget(Line2, 0, 1, 3, 1);
    bracket->addWidget(Line3, 2, 0);
    bracket->addWidget(Line4, 1, 2);
    bracket->addWidget(Label11, 1, 3);
    lampGrid->addLayout(bracket, lumensRow, 3, multiplierRow - lumensRow + 1, 1);
    lampGrid->addWidget(labCandelaChange, row++, 0, 1, 4);
    lampGrid->setColumnStretch(4, 1);
    lampGrid->setRowStretch(row, 1);

    // Luminous opening
    auto* shapeBox = new QGroupBox(tr("Luminous opening"));
    lmpCmbShape = new QComboBox;
    lmpCmbShape->setObjectName("lmpCmbShape");
    lmpCmbShape->setToolTip(
        tr("The shape of the luminous opening; the signs of width, length "
           "and height stored in the file encode it"));
    for (std::string_view name : kShapeNames)
        lmpCmbShape->addItem(qs(name));
    connect(lmpCmbShape, &QComboBox::activated, this,
            [this](int index) { showShape(index, true); });
    rdoFeet = new QRadioButton(tr("&Feet"));
    rdoFeet->setObjectName("rdoFeet");
    rdoMeters = new QRadioButton(tr("M&eters"));
    rdoMeters->setObjectName("rdoMeters");
    auto* units = new QButtonGroup(page);
    units->addButton(rdoFeet);
    units->addButton(rdoMeters);
    rdoFeet->setChecked(true);
    lmpLabWidth = new QLabel(tr("Width"));
    lmpLabWidth->setObjectName("lmpLabWidth");
    lmpLabLength = new QLabel(tr("Length"));
    lmpLabLength->setObjectName("lmpLabLength");
    lmpLabHeight = new QLabel(tr("Height"));
    lmpLabHeight->setObjectName("lmpLabHeight");
    txtWidth = numberField("txtWidth", tr("Width of the luminous opening"));
    txtLength = numberField("txtLength", tr("Length of the luminous opening"));
    txtHeight = numberField("txtHeight", tr("Height of the luminous opening"));
    lmpLabWidth->setBuddy(txtWidth);
    lmpLabLength->setBuddy(txtLength);
    lmpLabHeight->setBuddy(txtHeight);
    lmpPicHousing = new QWidget;
    lmpPicHousing->setObjectName("lmpPicHousing");
    lmpPicHousing->setMinimumSize(180, 150);

    auto* unitsRow = new QHBoxLayout;
    unitsRow->addWidget(rdoFeet);
    unitsRow->addWidget(rdoMeters);
    unitsRow->addStretch();
    auto* shapeGrid = new QGridLayout(shapeBox);
    auto* shapeLabel = new QLabel(tr("S&hape:"));
    shapeLabel->setBuddy(lmpCmbShape);
    shapeGrid->addWidget(shapeLabel, 0, 0);
    shapeGrid->addWidget(lmpCmbShape, 0, 1, 1, 2);
    shapeGrid->addWidget(new QLabel(tr("Units:")), 1, 0);
    shapeGrid->addLayout(unitsRow, 1, 1, 1, 2);
    shapeGrid->addWidget(lmpLabWidth, 2, 0);
    shapeGrid->addWidget(txtWidth, 2, 1);
    shapeGrid->addWidget(lmpLabLength, 3, 0);
    shapeGrid->addWidget(txtLength, 3, 1);
    shapeGrid->addWidget(lmpLabHeight, 4, 0);
    shapeGrid->addWidget(txtHeight, 4, 1);
    shapeGrid->addWidget(lmpPicHousing, 2, 2, 4, 1);
    shapeGrid->setColumnStretch(2, 1);
    shapeGrid->setRowStretch(5, 1);

    // Tilt
    auto* tiltBox = new QGroupBox(tr("Tilt"));
    tltChkTilt = new QCheckBox(tr("&Tilt table included (TILT=INCLUDE)"));
    tltChkTilt->setObjectName("tltChkTilt");
    lmpLabTltLampToLum = new QLabel(tr("Lamp-to-luminaire &geometry:"));
    lmpLabTltLampToLum->setObjectName("lmpLabTltLampToLum");
    lmpCmbLampToLuminare = new QComboBox;
    lmpCmbLampToLuminare->setObjectName("lmpCmbLampToLuminare");
    for (std::string_view name : kLampToLuminaireNames)
        lmpCmbLampToLuminare->addItem(qs(name));
    lmpLabTltLampToLum->setBuddy(lmpCmbLampToLuminare);
    lmpLabNumTiltAngles = new QLabel(tr("Number of tilt an&gles:"));
    lmpLabNumTiltAngles->setObjectName("lmpLabNumTiltAngles");
    lmpTxtNumAngles = numberField("lmpTxtNumAngles", tr("Number of tilt angle/factor pairs"));
    lmpLabNumTiltAngles->setBuddy(lmpTxtNumAngles);
    lmpGridTiltMultiplier = new QTableView;
    lmpGridTiltMultiplier->setObjectName("lmpGridTiltMultiplier");
    tiltModel_ = new TiltModel(state_, this);
    lmpGridTiltMultiplier->setModel(tiltModel_);
    lmpGridTiltMultiplier->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    lmpGridTiltMultiplier->verticalHeader()->setDefaultSectionSize(
        lmpGridTiltMultiplier->fontMetrics().height() + 6);

    auto* tiltGrid = new QGridLayout(tiltBox);
    tiltGrid->addWidget(tltChkTilt, 0, 0, 1, 2);
    tiltGrid->addWidget(lmpLabTltLampToLum, 1, 0);
    tiltGrid->addWidget(lmpCmbLampToLuminare, 1, 1);
    tiltGrid->addWidget(lmpLabNumTiltAngles, 2, 0);
    tiltGrid->addWidget(lmpTxtNumAngles, 2, 1);
    tiltGrid->addWidget(lmpGridTiltMultiplier, 3, 0, 1, 2);
    tiltGrid->setRowStretch(3, 1);

    auto* layout = new QGridLayout(page);
    layout->addWidget(lampBox, 0, 0);
    layout->addWidget(shapeBox, 0, 1);
    layout->addWidget(tiltBox, 1, 0, 1, 2);
    layout->setColumnStretch(0, 1);
    layout->setColumnStretch(1, 1);
    layout->setRowStretch(1, 1);
    return page;
}

void frmEdit::showLamp() {
    lmpCmbVersion->setCurrentIndex(state_.revision);
    txtNumLamps->setText(QString::fromStdString(state_.txtNumLamps));
    txtLumPerLamp->setText(QString::fromStdString(state_.txtLumPerLamp));
    txtMultiplier->setText(QString::fromStdString(state_.txtMultiplier));
    txtBallast->setText(QString::fromStdString(state_.txtBallast));
    txtWatt->setText(QString::fromStdString(state_.txtWatt));
    (state_.rdoFeet ? rdoFeet : rdoMeters)->setChecked(true);
    lmpCmbShape->setCurrentIndex(state_.lmpCmbShape);
    txtWidth->setText(QString::fromStdString(state_.txtWidth));
    txtLength->setText(QString::fromStdString(state_.txtLength));
    txtHeight->setText(QString::fromStdString(state_.txtHeight));
    showShape(state_.lmpCmbShape, false);
    const bool tilt = state_.tltChkTilt == 1;
    tltChkTilt->setChecked(tilt);
    lmpCmbLampToLuminare->setEnabled(tilt);
    lmpTxtNumAngles->setEnabled(tilt);
    lmpGridTiltMultiplier->setEnabled(tilt);
    lmpCmbLampToLuminare->setCurrentIndex(state_.lmpCmbLampToLuminare);
    lmpTxtNumAngles->setText(QString::fromStdString(state_.lmpTxtNumAngles));
    tiltModel_->reload();
}

void frmEdit::collectLamp() {
    state_.revision = lmpCmbVersion->currentIndex();
    state_.txtNumLamps = txtNumLamps->text().toStdString();
    state_.txtLumPerLamp = txtLumPerLamp->text().toStdString();
    state_.txtMultiplier = txtMultiplier->text().toStdString();
    state_.txtBallast = txtBallast->text().toStdString();
    state_.txtWatt = txtWatt->text().toStdString();
    state_.rdoFeet = rdoFeet->isChecked();
    state_.lmpCmbShape = lmpCmbShape->currentIndex();
    state_.txtWidth = txtWidth->text().toStdString();
    state_.txtLength = txtLength->text().toStdString();
    state_.txtHeight = txtHeight->text().toStdString();
    state_.tltChkTilt = tltChkTilt->isChecked() ? 1 : 0;
    state_.lmpCmbLampToLuminare = lmpCmbLampToLuminare->currentIndex();
    state_.lmpTxtNumAngles = lmpTxtNumAngles->text().toStdString();
}

void frmEdit::showShape(int shapeIndex, bool fromUser) {
    const int revision = fromUser ? lmpCmbVersion->currentIndex() : state_.revision;
    const LuminousShapeView view =
        luminousShapeView(static_cast<std::int16_t>(shapeIndex), revision);
    if (fromUser && !view.message.empty()) ctx_.prompter.tell(std::string(view.message));
    if (view.shapeIndex != shapeIndex) lmpCmbShape->setCurrentIndex(view.shapeIndex);
    if (!view.fields) return;
    auto apply = [](QLabel* label, QLineEdit* edit, const DimensionFieldView& field) {
        label->setText(qs(field.caption));
        edit->setEnabled(field.enabled);
        label->setEnabled(field.enabled);
        if (!field.enabled) edit->setText(qs(kDisabledFieldText));
    };
    apply(lmpLabWidth, txtWidth, view.fields->width);
    apply(lmpLabLength, txtLength, view.fields->length);
    apply(lmpLabHeight, txtHeight, view.fields->height);
}

void frmEdit::txtNumLamps_Change() {}
void frmEdit::txtLumPerLamp_Change() {}
void frmEdit::txtMultiplier_Change() {}
void frmEdit::msbLampChanged(bool) {}
void frmEdit::tltChkTilt_Click() {}
void frmEdit::lmpTxtNumAngles_Change() {}

}  // namespace kandor
