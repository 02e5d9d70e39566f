#include "editor/photometrypanel.h"

#include <QFont>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>

namespace kandor {

namespace {

QString qs(const std::string& text) {
    return QString::fromStdString(text);
}

QString lumensWithShare(double lm, const Figure<double>& total) {
    QString text = qs(formatFigure(lm)) + QStringLiteral(" lm");
    if (total && *total > 0)
        text += QStringLiteral("  (") + qs(formatPercent(100 * lm / *total)) + QStringLiteral(")");
    return text;
}

// The flux of every ten-degree zone, for the total's tooltip.
QString zonesTip(const Figure<std::array<double, kZoneCount>>& zones) {
    QString tip = QObject::tr(
        "Luminous flux of the luminaire: the intensities integrated over "
        "the whole sphere.");
    if (!zones) return tip;
    tip = QStringLiteral("<p>") + tip + QStringLiteral("</p><table cellspacing=\"0\">");
    for (int z = 0; z < kZoneCount; ++z)
        tip += QStringLiteral(
                   "<tr><td>%1\u2013%2\u00B0</td><td align=\"right\">&nbsp;&nbsp;%3 "
                   "lm</td></tr>")
                   .arg(10 * z)
                   .arg(10 * z + 10)
                   .arg(qs(formatFigure((*zones)[static_cast<std::size_t>(z)])));
    return tip + QStringLiteral("</table>");
}

}  // namespace

PhotometryPanel::PhotometryPanel(QWidget* parent) : QGroupBox(tr("Photometry"), parent) {
    setObjectName("cdaFraPhotometry");
    // Two columns of figures, each its own grid, so that a row one type lacks leaves no gap.
    auto* columns = new QHBoxLayout(this);
    columns->setSpacing(24);
    for (QGridLayout*& grid : grids_) {
        grid = new QGridLayout;
        grid->setHorizontalSpacing(10);
        grid->setVerticalSpacing(3);
        grid->setAlignment(Qt::AlignTop);
        columns->addLayout(grid, 1);
    }
    grids_[0]->setColumnStretch(1, 1);
    grids_[1]->setColumnStretch(1, 1);
    grids_[1]->setColumnStretch(2, 1);

    total_ = addRow(0, 0, tr("Luminaire flux"), "cdaLabTotalFlux", nullptr, {});
    downward_ = addRow(1, 0, tr("Downward"), "cdaLabDownward", nullptr,
                       tr("Flux below the horizon (0\u201390\u00B0) and its share of the total"));
    upward_ = addRow(2, 0, tr("Upward"), "cdaLabUpward", nullptr,
                     tr("Flux above the horizon (90\u2013180\u00B0) and its share of the total"));
    lampFlux_ = addRow(3, 0, tr("Lamp flux"), "cdaLabLampFlux", nullptr,
                       tr("Number of lamps \u00D7 lumens per lamp"));
    lor_ = addRow(4, 0, tr("LOR"), "cdaLabLor", nullptr,
                  tr("Light output ratio: luminaire flux / lamp flux"));
    efficacy_ = addRow(5, 0, tr("Efficacy"), "cdaLabEfficacy", nullptr,
                       tr("Luminaire flux per input watt"));

    peak_ = addRow(0, 1, tr("Peak intensity"), "cdaLabPeak", nullptr,
                   tr("The largest intensity of the table and where it is first reached"));
    pairs_ = addRow(1, 1, QString(), "cdaLabPair1", "cdaLabPair2", {});
    beam_ = addRow(2, 1, tr("Beam (50 %)"), "cdaLabBeam1", "cdaLabBeam2",
                   tr("Width of the beam between the outermost angles where the intensity "
                      "falls to half its maximum; \u2265 when it never falls that low"));
    field_ = addRow(3, 1, tr("Field (10 %)"), "cdaLabField1", "cdaLabField2",
                    tr("The same at a tenth of the maximum"));
    batwing_ = addRow(4, 1, tr("Batwing"), "cdaLabBatwing1", "cdaLabBatwing2",
                      tr("The intensity at the centre of the beam is below 95 % of its maximum"));
    cie_ = addRow(5, 1, tr("CIE flux code"), "cdaLabCie", nullptr,
                  tr("N1\u2013N3: flux within 41.4\u00B0, 60\u00B0, 75.5\u00B0 as a percentage "
                     "of the downward flux; N4: downward / total; N5: downward / lamp flux"));
    for (QLabel* header : {pairs_.value, pairs_.second}) {
        QFont bold = header->font();
        bold.setBold(true);
        header->setFont(bold);
    }
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    showFigures(Photometry{}, 1);
}

PhotometryPanel::Row PhotometryPanel::addRow(int row, int column, const QString& caption,
                                             const char* name, const char* secondName,
                                             const QString& tip) {
    QGridLayout* grid = grids_[static_cast<std::size_t>(column)];
    Row r;
    r.caption = new QLabel(caption);
    r.caption->setForegroundRole(QPalette::PlaceholderText);
    r.value = new QLabel;
    r.value->setObjectName(name);
    r.value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    grid->addWidget(r.caption, row, 0);
    if (secondName != nullptr) {
        r.second = new QLabel;
        r.second->setObjectName(secondName);
        r.second->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(r.value, row, 1);
        grid->addWidget(r.second, row, 2);
    } else {
        grid->addWidget(r.value, row, 1, 1, column == 1 ? 2 : 1);
    }
    for (QLabel* label : {r.caption, r.value, r.second})
        if (label != nullptr) label->setToolTip(tip);
    return r;
}

void PhotometryPanel::showValue(QLabel* label, const QString& text) {
    label->setText(text);
    label->setForegroundRole(QPalette::WindowText);
    QFont font = label->font();
    font.setItalic(false);
    label->setFont(font);
}

void PhotometryPanel::showAbsent(QLabel* label, std::string_view reason) {
    label->setText(QString::fromUtf8(reason.data(), static_cast<int>(reason.size())));
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont font = label->font();
    font.setItalic(true);
    label->setFont(font);
}

void PhotometryPanel::setRowVisible(const Row& row, bool visible) {
    for (QLabel* label : {row.caption, row.value, row.second})
        if (label != nullptr) label->setVisible(visible);
}

void PhotometryPanel::showFigures(const Photometry& f, int photometricType) {
    figures_ = f;
    const bool typeB = photometricType == 2;
    const auto show = [](QLabel* label, const auto& figure, const auto& text) {
        if (figure)
            showValue(label, text(*figure));
        else
            showAbsent(label, figure.reason);
    };
    const auto lumens = [](double lm) { return qs(formatFigure(lm)) + QStringLiteral(" lm"); };
    const auto share = [&f](double lm) { return lumensWithShare(lm, f.totalFlux); };
    const auto spread = [](const SpreadAngle& s) { return qs(formatSpread(s)); };

    show(total_.value, f.totalFlux, lumens);
    total_.value->setToolTip(zonesTip(f.zonalFlux));
    total_.caption->setToolTip(total_.value->toolTip());
    show(downward_.value, f.downwardFlux, share);
    show(upward_.value, f.upwardFlux, share);
    show(lampFlux_.value, f.lampFlux, lumens);
    show(lor_.value, f.lorPercent, [](double p) { return qs(formatPercent(p)); });
    show(efficacy_.value, f.efficacy,
         [](double e) { return qs(formatFigure(e)) + QStringLiteral(" lm/W"); });
    show(peak_.value, f.peak, [typeB](const PeakIntensity& p) {
        return qs(formatFigure(p.cd)) + QStringLiteral(" cd  at ") +
               (typeB ? QStringLiteral("H ") : QStringLiteral("C ")) + qs(formatAngle(p.h)) +
               (typeB ? QStringLiteral(", V ") : QStringLiteral(", \u03B3 ")) +
               qs(formatAngle(p.v));
    });

    // Type C: the two plane pairs; Type B: the spreads along H and V through the peak.
    if (typeB) {
        pairs_.value->setText(tr("Horizontal"));
        pairs_.second->setText(tr("Vertical"));
        show(beam_.value, f.beamH, spread);
        show(beam_.second, f.beamV, spread);
        show(field_.value, f.fieldH, spread);
        show(field_.second, f.fieldV, spread);
    } else {
        pairs_.value->setText(QString::fromUtf8(kPairNames[0].data()));
        pairs_.second->setText(QString::fromUtf8(kPairNames[1].data()));
        show(beam_.value, f.pairs[0].beam, spread);
        show(beam_.second, f.pairs[1].beam, spread);
        show(field_.value, f.pairs[0].field, spread);
        show(field_.second, f.pairs[1].field, spread);
        const auto yesNo = [](bool b) { return b ? tr("yes") : tr("no"); };
        show(batwing_.value, f.pairs[0].batwing, yesNo);
        show(batwing_.second, f.pairs[1].batwing, yesNo);
        if (f.cieFluxCode[0])
            showValue(cie_.value, qs(formatCieFluxCode(f.cieFluxCode)));
        else
            showAbsent(cie_.value, f.cieFluxCode[0].reason);
    }
    beam_.caption->setText(typeB ? tr("Beam spread (50 %)") : tr("Beam (50 %)"));
    field_.caption->setText(typeB ? tr("Field spread (10 %)") : tr("Field (10 %)"));
    for (const Row* row : {&downward_, &upward_, &batwing_, &cie_})
        setRowVisible(*row, !typeB);
}

}  // namespace kandor
