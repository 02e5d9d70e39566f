#include "dialogs/dlgreshape.h"

#include <algorithm>

#include <QButtonGroup>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "core/numforms.h"
#include "core/runtimefault.h"

namespace kandor {

namespace {

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

// A typed number as the core reads it, whatever the desktop's locale; none when it is not one.
std::optional<double> numberIn(const QLineEdit* edit) {
    const std::string text = edit->text().trimmed().toStdString();
    if (text.empty() || !isNumeric(text)) return std::nullopt;
    try {
        return toDouble(text);
    } catch (const RuntimeFault&) {
        return std::nullopt;
    }
}

QLineEdit* numberField(const char* name, const QString& placeholder, const QString& tip) {
    auto* edit = new QLineEdit;
    edit->setObjectName(name);
    edit->setPlaceholderText(placeholder);
    edit->setToolTip(tip);
    edit->setMinimumWidth(80);
    edit->setMaximumWidth(110);
    return edit;
}

QComboBox* choiceList(const char* name, const QString& tip) {
    auto* combo = new QComboBox;
    combo->setObjectName(name);
    combo->setToolTip(tip);
    return combo;
}

QLabel* caption(const char* name, const QString& text, QWidget* buddy = nullptr) {
    auto* label = new QLabel(text);
    label->setObjectName(name);
    if (buddy) label->setBuddy(buddy);
    return label;
}

QLabel* outcomeLabel(const char* name) {
    auto* label = new QLabel;
    label->setObjectName(name);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

}  // namespace

dlgReshape::dlgReshape(QWidget* parent) : QDialog(parent) {
    setObjectName("dlgReshape");
    setWindowTitle(qs(reshape_text::kCaption));
    setModal(true);

    fraChoice_ = new QGroupBox(tr("Change"));
    fraChoice_->setObjectName("fraChoice");
    auto* choices = new QButtonGroup(this);
    auto option = [&](QRadioButton*& button, const char* name, const QString& text,
                      const QString& tip) {
        button = new QRadioButton(text);
        button->setObjectName(name);
        button->setToolTip(tip);
        choices->addButton(button);
    };
    option(optResample, "optResample", tr("&Resample to a regular step"),
           tr("Replace the angles by a regular step over the same range; every value is "
              "interpolated from its neighbours"));
    txtVertStep = numberField("txtVertStep", tr("unchanged"), tr("Vertical step in degrees"));
    txtHorzStep = numberField("txtHorzStep", tr("unchanged"), tr("Horizontal step in degrees"));
    option(optSymmetrise, "optSymmetrise", tr("&Symmetrise or expand"),
           tr("Average the measured planes into a symmetry and keep its range, or complete "
              "symmetric data to a full set"));
    cmbSymmetry = choiceList("cmbSymmetry", tr("The symmetry to average into, or the full set"));
    option(optRotate, "optRotate", tr("R&otate the C planes"),
           tr("The plane at C becomes the plane at C plus the angle"));
    cmbRotate = choiceList("cmbRotate", tr("Angle to turn the C planes by"));
    cmbRotate->addItems({tr("by 90 degrees"), tr("by 180 degrees"), tr("by 270 degrees")});
    option(optMirror, "optMirror", tr("&Mirror the C planes"),
           tr("Swap the planes on either side of a plane through the luminaire"));
    cmbMirror = choiceList("cmbMirror", tr("The plane to mirror about"));
    cmbMirror->addItems({tr("about the C0-C180 plane"), tr("about the C90-C270 plane")});
    option(optEqualNadir, "optEqualNadir", tr("Make the &nadir and zenith values equal"),
           tr("Every plane's value at 0 degrees (and at 180) becomes their average"));
    option(optScale, "optScale", tr("S&cale the candela values"),
           tr("Multiply every candela value; the multiplier stays as it is"));
    optScaleFactor = new QRadioButton(tr("by &factor"));
    optScaleFactor->setObjectName("optScaleFactor");
    optScaleFactor->setChecked(true);
    txtFactor = numberField("txtFactor", tr("e.g. 1.1"), tr("Every value is multiplied by this"));
    optScaleFlux = new QRadioButton(tr("to total f&lux (lm)"));
    optScaleFlux->setObjectName("optScaleFlux");
    optScaleFlux->setToolTip(
        tr("Scale so that the values, times the candela multiplier, give "
           "this total flux"));
    txtFlux = numberField("txtFlux", tr("lumens"), tr("The total flux the values are to give"));
    labFluxNow = caption("labFluxNow", {});
    auto* scaleBy = new QButtonGroup(this);
    scaleBy->addButton(optScaleFactor);
    scaleBy->addButton(optScaleFlux);

    auto* grid = new QGridLayout(fraChoice_);
    auto row = [&](int r, QRadioButton* button, std::initializer_list<QWidget*> details) {
        grid->addWidget(button, r, 0);
        auto* line = new QHBoxLayout;
        for (QWidget* w : details)
            line->addWidget(w);
        line->addStretch(1);
        grid->addLayout(line, r, 1);
    };
    row(0, optResample,
        {caption("labVertStep", tr("&vertical:"), txtVertStep), txtVertStep,
         caption("labHorzStep", tr("&horizontal:"), txtHorzStep), txtHorzStep});
    row(1, optSymmetrise, {cmbSymmetry});
    row(2, optRotate, {cmbRotate});
    row(3, optMirror, {cmbMirror});
    row(4, optEqualNadir, {});
    row(5, optScale, {optScaleFactor, txtFactor});
    auto* fluxLine = new QHBoxLayout;
    for (QWidget* w : std::initializer_list<QWidget*>{optScaleFlux, txtFlux, labFluxNow})
        fluxLine->addWidget(w);
    fluxLine->addStretch(1);
    grid->addLayout(fluxLine, 6, 1);
    grid->setColumnStretch(1, 1);

    fraOutcome_ = new QGroupBox(tr("What will change"));
    fraOutcome_->setObjectName("fraOutcome");
    labVertCount = outcomeLabel("labVertCount");
    labHorzCount = outcomeLabel("labHorzCount");
    labSymmetryNow = outcomeLabel("labSymmetryNow");
    labSymmetryAfter = outcomeLabel("labSymmetryAfter");
    labOutcome = outcomeLabel("labOutcome");
    QFont bold = labOutcome->font();
    bold.setBold(true);
    labOutcome->setFont(bold);
    txtTolerance = numberField("txtTolerance", {},
                               tr("How far planes may differ and still count as symmetric"));
    txtTolerance->setText(QStringLiteral("1"));
    auto* tolerance = new QHBoxLayout;
    tolerance->addWidget(txtTolerance);
    tolerance->addWidget(caption("labTolerancePercent", tr("% of the peak")));
    tolerance->addStretch(1);
    auto* outcome = new QFormLayout(fraOutcome_);
    outcome->addRow(caption("labVertCaption", tr("Vertical angles:")), labVertCount);
    outcome->addRow(caption("labHorzCaption", tr("Horizontal angles:")), labHorzCount);
    outcome->addRow(caption("labNowCaption", tr("Symmetry now:")), labSymmetryNow);
    outcome->addRow(caption("labAfterCaption", tr("Symmetry after:")), labSymmetryAfter);
    outcome->addRow(caption("labTolerance", tr("S&ymmetry tolerance:"), txtTolerance), tolerance);
    outcome->addRow(labOutcome);

    OKButton = new QPushButton(tr("OK"));
    OKButton->setObjectName("OKButton");
    OKButton->setDefault(true);
    CancelButton = new QPushButton(tr("Cancel"));
    CancelButton->setObjectName("CancelButton");
    CancelButton->setAutoDefault(false);
    connect(OKButton, &QPushButton::clicked, this, [this] {
        if (outcome_) accept();
    });
    connect(CancelButton, &QPushButton::clicked, this, &QDialog::reject);
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(OKButton, QDialogButtonBox::AcceptRole);
    buttons->addButton(CancelButton, QDialogButtonBox::RejectRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(fraChoice_);
    layout->addWidget(fraOutcome_);
    layout->addStretch(1);
    layout->addWidget(buttons);
    setMinimumWidth(760);

    // Working in an option's field chooses that option.
    auto chooses = [this](QWidget* field, QRadioButton* button) {
        if (auto* edit = qobject_cast<QLineEdit*>(field))
            connect(edit, &QLineEdit::textEdited, button, [button] { button->setChecked(true); });
        if (auto* combo = qobject_cast<QComboBox*>(field))
            connect(combo, &QComboBox::activated, button, [button] { button->setChecked(true); });
    };
    chooses(txtVertStep, optResample);
    chooses(txtHorzStep, optResample);
    chooses(cmbSymmetry, optSymmetrise);
    chooses(cmbRotate, optRotate);
    chooses(cmbMirror, optMirror);
    chooses(txtFactor, optScaleFactor);
    chooses(txtFlux, optScaleFlux);
    connect(optScaleFactor, &QRadioButton::toggled, optScale, [this](bool on) {
        if (on) optScale->setChecked(true);
    });
    connect(optScaleFlux, &QRadioButton::toggled, optScale, [this](bool on) {
        if (on) optScale->setChecked(true);
    });

    connect(choices, &QButtonGroup::buttonToggled, this, [this] { recompute(); });
    connect(scaleBy, &QButtonGroup::buttonToggled, this, [this] { recompute(); });
    for (QLineEdit* edit : {txtVertStep, txtHorzStep, txtFactor, txtFlux, txtTolerance})
        connect(edit, &QLineEdit::textChanged, this, [this] { recompute(); });
    for (QComboBox* combo : {cmbSymmetry, cmbRotate, cmbMirror})
        connect(combo, &QComboBox::currentIndexChanged, this, [this] { recompute(); });

    optSymmetrise->setChecked(true);
}

void dlgReshape::setMultiplier(double multiplier) {
    multiplier_ = multiplier;
    recompute();
}

void dlgReshape::fillSymmetries() {
    const QSignalBlocker quiet(cmbSymmetry);
    const int before = cmbSymmetry->currentIndex();
    cmbSymmetry->clear();
    if (web_.photometricType == 1) {
        cmbSymmetry->addItem(tr("Quadrant (0 to 90)"), int(Symmetry::kQuadrant));
        cmbSymmetry->addItem(tr("Bilateral about C0-C180 (0 to 180)"), int(Symmetry::kC0C180));
        cmbSymmetry->addItem(tr("Bilateral about C90-C270 (90 to 270)"), int(Symmetry::kC90C270));
        cmbSymmetry->addItem(tr("Rotational (one plane)"), int(Symmetry::kRotational));
        cmbSymmetry->addItem(tr("Expand to a full set (0 to 360)"), int(Symmetry::kNone));
    } else {
        cmbSymmetry->addItem(tr("Lateral (0 to 90)"), int(Symmetry::kLateral));
        cmbSymmetry->addItem(tr("Expand to a full set (-90 to 90)"), int(Symmetry::kNone));
    }
    cmbSymmetry->setCurrentIndex(std::clamp(before, 0, cmbSymmetry->count() - 1));
}

void dlgReshape::setWeb(Web web) {
    web_ = std::move(web);
    fillSymmetries();
    // Turning and mirroring C planes mean nothing to the other types.
    const bool typeC = web_.photometricType == 1;
    for (QWidget* w : std::initializer_list<QWidget*>{optRotate, cmbRotate, optMirror, cmbMirror})
        w->setEnabled(typeC);
    if (!typeC && (optRotate->isChecked() || optMirror->isChecked()))
        optSymmetrise->setChecked(true);
    recompute();
}

double dlgReshape::tolerance() const {
    const std::optional<double> percent = numberIn(txtTolerance);
    return percent && *percent >= 0 ? *percent / 100 : 0.01;
}

WebResult dlgReshape::compute() const {
    const auto refusal = [](std::string_view why) { return WebResult{{}, std::string(why)}; };
    if (optResample->isChecked()) {
        const bool vert = !txtVertStep->text().trimmed().isEmpty();
        const bool horz = !txtHorzStep->text().trimmed().isEmpty();
        if (!vert && !horz) return refusal(reshape_text::kNoStep);
        // A text that is no number is no step greater than zero either.
        const std::optional<double> v =
            vert ? numberIn(txtVertStep).value_or(-1) : std::optional<double>();
        const std::optional<double> h =
            horz ? numberIn(txtHorzStep).value_or(-1) : std::optional<double>();
        return resample(web_, v, h);
    }
    if (optSymmetrise->isChecked())
        return symmetrise(web_, static_cast<Symmetry>(cmbSymmetry->currentData().toInt()));
    if (optRotate->isChecked()) return rotate(web_, 90 * (cmbRotate->currentIndex() + 1));
    if (optMirror->isChecked())
        return mirror(
            web_, cmbMirror->currentIndex() == 1 ? MirrorPlane::kC90C270 : MirrorPlane::kC0C180);
    if (optEqualNadir->isChecked()) return equalNadir(web_);
    if (optScale->isChecked()) {
        if (optScaleFlux->isChecked()) {
            const std::optional<double> target = numberIn(txtFlux);
            if (!target) return refusal(reshape_text::kNoTarget);
            return scaleToFlux(web_, *target, multiplier_);
        }
        const std::optional<double> factor = numberIn(txtFactor);
        if (!factor) return refusal(reshape_text::kNoFactor);
        return scale(web_, *factor);
    }
    return refusal({});
}

void dlgReshape::recompute() {
    if (!optResample) return;  // still being built
    outcome_ = compute();
    const double within = tolerance();
    const auto counts = [](int before, std::optional<int> after) {
        if (!after || *after == before) return QString::number(before);
        return QStringLiteral("%1 \u2192 %2").arg(before).arg(*after);
    };
    const Web* after = outcome_.web ? &*outcome_.web : nullptr;
    labVertCount->setText(
        counts(web_.numVert(), after ? std::optional(after->numVert()) : std::nullopt));
    labHorzCount->setText(
        counts(web_.numHorz(), after ? std::optional(after->numHorz()) : std::nullopt));
    labSymmetryNow->setText(qs(detectSymmetry(web_, within).text));
    labSymmetryAfter->setText(after ? qs(detectSymmetry(*after, within).text) : QString());
    if (!after)
        labOutcome->setText(qs(outcome_.refusal));
    else if (*after == web_)
        labOutcome->setText(qs(reshape_text::kNothingChanges));
    else
        labOutcome->setText(qs(reshape_text::kApplies));
    OKButton->setEnabled(after != nullptr);

    const Figure<double> flux = webFlux(web_, multiplier_);
    labFluxNow->setText(flux ? tr("now %1 lm").arg(qs(formatFigure(*flux)))
                             : tr("(no flux: %1)").arg(qs(flux.reason)));
}

}  // namespace kandor
