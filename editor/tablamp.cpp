// The lamp and luminaire tab: lamp numbers, revision, luminous shape and dimensions, units and
// the tilt table.

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
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
#include <QTimer>
#include <QVBoxLayout>

#include "core/gridedit.h"
#include "core/numforms.h"
#include "core/photometry.h"
#include "core/rescale.h"
#include "core/shapes.h"
#include "editor/frmedit.h"
#include "editor/gridmodels.h"
#include "editor/shapesketch.h"

namespace kandor {

namespace {

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

// The sketch of a shape in the proportions of the sizes entered, each written with its unit;
// a size the shape does not use (its field disabled) is neither drawn nor written.
void sketchOpening(ShapeSketch* sketch, int shapeIndex, const QLineEdit* width,
                   const QLineEdit* length, const QLineEdit* height, bool feet) {
    const QString unit = feet ? QStringLiteral(" ft") : QStringLiteral(" m");
    const auto text = [&](const QLineEdit* edit) {
        const QString t = edit->text().trimmed();
        return edit->isEnabled() && !t.isEmpty() ? t + unit : QString();
    };
    const auto value = [](const QLineEdit* edit) {
        return edit->isEnabled() ? lampFieldValue(edit->text().toStdString()) : 0.0;
    };
    sketch->setPrimitives(shapeSketch(shapeIndex, {value(width), value(length), value(height)}));
    sketch->setDimensionTexts(text(width), text(length), text(height));
}

QLineEdit* numberField(const char* name, const QString& tip) {
    auto* edit = new QLineEdit;
    edit->setObjectName(name);
    edit->setToolTip(tip);
    edit->setAlignment(Qt::AlignRight);
    edit->setMaximumWidth(160);
    return edit;
}

// The lamp and dimension fields select their whole text on receiving the focus, so that a
// typed number replaces the old one. A click that gave the focus would place the cursor after
// the selection was made, so it is made once more when the click is done.
class SelectAllOnFocus final : public QObject {
  public:
    using QObject::QObject;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::FocusIn) {
            if (auto* edit = qobject_cast<QLineEdit*>(watched)) {
                edit->selectAll();
                QTimer::singleShot(0, edit, [edit] {
                    if (edit->hasFocus()) edit->selectAll();
                });
            }
        }
        return QObject::eventFilter(watched, event);
    }
};

QFrame* hintLine(const char* name, QFrame::Shape shape) {
    auto* line = new QFrame;
    line->setObjectName(name);
    line->setFrameShape(shape);
    line->setFrameShadow(QFrame::Plain);
    line->setLineWidth(2);
    line->setStyleSheet(QStringLiteral("color: #2a6fb0;"));
    // The bracket's arms: short strokes from the two fields to the upright and on to the word.
    if (shape == QFrame::HLine) line->setFixedWidth(12);
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
    // The same shade as the changed cells of the candela tab, which it announces.
    labCandelaChange->setStyleSheet(QStringLiteral("color: #1d4f80; background: %1; padding: 2px;")
                                        .arg(changedCellShade().name()));
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
    addRow(tr("Lu&mens per lamp:"), txtLumPerLamp, tr("lm"));
    const int multiplierRow = row;
    addRow(tr("Candela mult&iplier:"), txtMultiplier);
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
    rdoMeters = new QRadioButton(tr("Me&ters"));
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
    lmpPicHousing = new ShapeSketch;
    lmpPicHousing->setObjectName("lmpPicHousing");
    lmpPicHousing->setMinimumSize(220, 180);
    lmpPicHousing->setToolTip(
        tr("The luminous opening: L along the 0-180 plane, W along the 90-270 plane, H up"));

    auto* unitsRow = new QHBoxLayout;
    unitsRow->addWidget(rdoFeet);
    unitsRow->addWidget(rdoMeters);
    unitsRow->addStretch();
    auto* shapeGrid = new QGridLayout(shapeBox);
    auto* shapeLabel = new QLabel(tr("Shap&e:"));
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
    tltChkTilt = new QCheckBox(tr("Tilt table inclu&ded (TILT=INCLUDE)"));
    tltChkTilt->setObjectName("tltChkTilt");
    lmpLabTltLampToLum = new QLabel(tr("Lamp-to-luminaire &geometry:"));
    lmpLabTltLampToLum->setObjectName("lmpLabTltLampToLum");
    lmpCmbLampToLuminare = new QComboBox;
    lmpCmbLampToLuminare->setObjectName("lmpCmbLampToLuminare");
    for (std::string_view name : kLampToLuminaireNames)
        lmpCmbLampToLuminare->addItem(qs(name));
    lmpLabTltLampToLum->setBuddy(lmpCmbLampToLuminare);
    lmpLabNumTiltAngles = new QLabel(tr("Number of tilt angles:"));
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
    // The pairs beside the controls that shape them.
    tiltGrid->addWidget(lmpGridTiltMultiplier, 0, 2, 4, 1);
    tiltGrid->setColumnStretch(2, 1);
    tiltGrid->setRowStretch(3, 1);

    auto* layout = new QGridLayout(page);
    layout->addWidget(lampBox, 0, 0);
    layout->addWidget(shapeBox, 0, 1);
    layout->addWidget(tiltBox, 1, 0, 1, 2);
    layout->setColumnStretch(0, 1);
    layout->setColumnStretch(1, 1);
    // The opening's sketch gets the room; the tilt table is seldom long.
    layout->setRowStretch(0, 3);
    layout->setRowStretch(1, 2);

    auto* selectAll = new SelectAllOnFocus(page);
    for (QLineEdit* edit : {txtNumLamps, txtLumPerLamp, txtMultiplier, txtWatt, txtBallast,
                            txtWidth, txtLength, txtHeight})
        edit->installEventFilter(selectAll);
    // The figures follow the lamps and lumens as typed; the lamp-change routine has often
    // redrawn already, through the multiplier it wrote or the values it rescaled.
    connect(txtNumLamps, &QLineEdit::textChanged, this, [this] {
        const int drawn = plotDraws_;
        txtNumLamps_Change();
        if (!busyFlag_ && plotDraws_ == drawn) redrawPlot();
    });
    connect(txtLumPerLamp, &QLineEdit::textChanged, this, [this] {
        const int drawn = plotDraws_;
        txtLumPerLamp_Change();
        if (!busyFlag_ && plotDraws_ == drawn) redrawPlot();
    });
    connect(txtMultiplier, &QLineEdit::textChanged, this, [this] {
        const int drawn = plotDraws_;
        txtMultiplier_Change();
        // The plot shows the values times the multiplier shown, whatever the setting did.
        if (plotDraws_ == drawn) redrawPlot();
    });
    connect(tltChkTilt, &QCheckBox::toggled, this, [this] { tltChkTilt_Click(); });
    const auto resketch = [this] {
        const int shape =
            checkShapeForRevision(static_cast<std::int16_t>(lmpCmbShape->currentIndex()),
                                  lmpCmbVersion->currentIndex())
                .shapeIndex;
        sketchOpening(lmpPicHousing, shape, txtWidth, txtLength, txtHeight, rdoFeet->isChecked());
    };
    for (QLineEdit* size : {txtWidth, txtLength, txtHeight})
        connect(size, &QLineEdit::textChanged, this, resketch);
    connect(rdoFeet, &QRadioButton::toggled, this, resketch);
    connect(lmpTxtNumAngles, &QLineEdit::textChanged, this, [this] { lmpTxtNumAngles_Change(); });
    tiltModel_->setWriteHook([this](const QModelIndex& index, const QString& text) {
        return lmpGridTiltMultiplier_Write(index.row(), index.column(), text);
    });
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
    // A 2002-only shape under an older revision: the fields behave as for "Point" while the
    // combo keeps showing what the user chose.
    if (fromUser && !view.message.empty()) ctx_.prompter.tell(std::string(view.message));
    if (view.fields) {
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
    sketchOpening(lmpPicHousing, view.shapeIndex, txtWidth, txtLength, txtHeight,
                  rdoFeet->isChecked());
}

void frmEdit::txtNumLamps_Change() {
    // Only a whole number goes on; an empty or non-numeric text is left for the save-time
    // check to report, and so is a count beyond the 16-bit range.
    if (!wholeLampCount(txtNumLamps->text().toStdString())) return;
    msbLampChanged(false);
}

void frmEdit::txtLumPerLamp_Change() {
    if (startupFlag_ || !isNumeric(txtLumPerLamp->text().toStdString())) return;
    msbLampChanged(false);
}

void frmEdit::txtMultiplier_Change() {
    if (changingLampIndex() == kLampScalesMultiplier || startupFlag_) return;
    msbLampChanged(true);
}

void frmEdit::msbLampChanged(bool multiplierEdited) {
    if (busyFlag_ || ctx_.list.empty()) return;  // no record yet: nothing to scale against
    const std::string numLamps = txtNumLamps->text().toStdString();
    const std::string lumPerLamp = txtLumPerLamp->text().toStdString();
    const std::string multiplier = txtMultiplier->text().toStdString();
    const LampChange change = lampChanged(record(), {numLamps, lumPerLamp, multiplier},
                                          multiplierEdited, changingLampIndex(), state_.candela);

    if (!change.multiplierText.empty()) {
        // The program writes the multiplier: its own change handler must not rescale again.
        const bool wasBusy = busyFlag_;
        busyFlag_ = true;
        txtMultiplier->setText(QString::fromStdString(change.multiplierText));
        state_.txtMultiplier = change.multiplierText;
        busyFlag_ = wasBusy;
    }
    if (change.candelaChanged) {
        state_.candelaText.assign(static_cast<std::size_t>(state_.candela.rows()) *
                                      static_cast<std::size_t>(state_.candela.cols()),
                                  true);
        // After a fault part way the written cells stay; the maximum is then what they hold.
        state_.maxCandela =
            change.faultMessage.empty() ? change.maxCandela : maxCandelaOf(state_.candela);
        refreshCandela();
        if (change.faultMessage.empty() && !redrawPlot()) return;
    }
    if (!change.faultMessage.empty()) ctx_.prompter.tell(change.faultMessage);
}

void frmEdit::tltChkTilt_Click() {
    const bool tilt = tltChkTilt->isChecked();
    lmpCmbLampToLuminare->setEnabled(tilt);
    lmpTxtNumAngles->setEnabled(tilt);
    lmpGridTiltMultiplier->setEnabled(tilt);
    state_.tltChkTilt = tilt ? 1 : 0;
    if (!ctx_.list.empty()) record().TiltIncl = tilt;
    // A tilt table needs a lamp-to-luminaire geometry; none chosen would be saved as 0, which
    // no reader accepts. The first one is the common case.
    if (tilt && !startupFlag_ && !busyFlag_ && lmpCmbLampToLuminare->currentIndex() < 0) {
        lmpCmbLampToLuminare->setCurrentIndex(0);
        state_.lmpCmbLampToLuminare = 0;
    }
}

void frmEdit::lmpTxtNumAngles_Change() {
    // Filling the form writes the count after the tilt pairs are in place; only the user's
    // count starts a new, empty table.
    if (startupFlag_ || busyFlag_) return;
    const std::string text = lmpTxtNumAngles->text().toStdString();
    if (text.empty() || !isNumeric(text)) return;
    const std::optional<std::int16_t> count = wholeLampCount(text);
    if (!count || readLenient(text) <= 0) return;
    state_.lmpTxtNumAngles = text;
    state_.tiltAngles.redim(*count);
    state_.tiltFactors.redim(*count);
    tiltModel_->reload();
}

bool frmEdit::lmpGridTiltMultiplier_Write(int row, int column, const QString& text) {
    const int i = row + 1;
    if (i < 1 || i > state_.tiltAngles.ubound() || i > state_.tiltFactors.ubound()) return false;
    const CellEntry entry = horzAngleEntry(text.toStdString());
    if (!entry.value) {
        ctx_.prompter.tell(std::string(entry.message), std::string(entry.title));
        return false;
    }
    (column == 0 ? state_.tiltAngles : state_.tiltFactors)(i) = *entry.value;
    return true;
}

}  // namespace kandor
