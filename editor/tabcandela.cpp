// The candela tab: the candela table, its copy and paste, and its polar plot.

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

#include "core/gridedit.h"
#include "core/numforms.h"
#include "core/photometry.h"
#include "core/polarplot.h"
#include "core/runtimefault.h"
#include "editor/frmedit.h"
#include "editor/gridmodels.h"
#include "editor/photometrypanel.h"
#include "editor/plotcd.h"

namespace kandor {

namespace {

// Every candela column is as wide as 1.1 times "1000000.00" in the form's font, so that the
// largest value a user may type fits without resizing.
int candelaColumnWidth(const QFontMetrics& metrics) {
    return static_cast<int>(1.1 * metrics.horizontalAdvance(QStringLiteral("1000000.00")));
}

// Keeps that width when the form's font changes (a new font reaches the grid too).
class CandelaColumnWidth final : public QObject {
  public:
    CandelaColumnWidth(QTableView* grid, QWidget* form) : QObject(grid), grid_(grid), form_(form) {}

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == grid_ && event->type() == QEvent::FontChange)
            grid_->horizontalHeader()->setDefaultSectionSize(
                candelaColumnWidth(form_->fontMetrics()));
        return QObject::eventFilter(watched, event);
    }

  private:
    QTableView* grid_;
    QWidget* form_;
};

}  // namespace

QWidget* frmEdit::buildCandelaTab() {
    auto* page = new QWidget;
    cdaGridCd = new QTableView;
    cdaGridCd->setObjectName("cdaGridCd");
    candelaModel_ = new CandelaModel(state_, this);
    candelaModel_->setReference(
        [this]() -> const IesRecord* { return ctx_.list.empty() ? nullptr : &ctx_.list(1); });
    candelaModel_->setWriteHook([this](const QModelIndex& index, const QString& text) {
        return cdaGridCd_Write(index.row(), index.column(), text);
    });
    cdaGridCd->setModel(candelaModel_);
    cdaGridCd->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    cdaGridCd->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    cdaGridCd->horizontalHeader()->setDefaultSectionSize(candelaColumnWidth(fontMetrics()));
    cdaGridCd->installEventFilter(new CandelaColumnWidth(cdaGridCd, this));
    cdaGridCd->verticalHeader()->setDefaultSectionSize(cdaGridCd->fontMetrics().height() + 6);
    cdaGridCd->verticalHeader()->hide();  // the first column names the row's angle
    cdaGridCd->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    cdaGridCd->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    cdaGridCd->setToolTip(
        tr("Candela values: one row per vertical angle, one column per "
           "horizontal angle. Ctrl+C copies and Ctrl+V pastes the whole table."));

    // Copy and paste work on the whole table, as spreadsheets exchange it.
    auto* copy = new QShortcut(QKeySequence::Copy, cdaGridCd);
    copy->setContext(Qt::WidgetWithChildrenShortcut);
    connect(copy, &QShortcut::activated, this, [this] { cmdCopy_Click(); });
    auto* paste = new QShortcut(QKeySequence::Paste, cdaGridCd);
    paste->setContext(Qt::WidgetWithChildrenShortcut);
    connect(paste, &QShortcut::activated, this, [this] { cdaCmdPaste_Click(); });

    cdaCmdPaste = new QPushButton(tr("Paste &Table"));
    cdaCmdPaste->setObjectName("cdaCmdPaste");
    cdaCmdPaste->setToolTip(
        tr("Replace the whole table with the clipboard's values, one line per vertical angle"));
    connect(cdaCmdPaste, &QPushButton::clicked, this, [this] { cdaCmdPaste_Click(); });
    cdaLabChanged = new QLabel(tr(" Shaded values differ from the record "));
    cdaLabChanged->setObjectName("cdaLabChanged");
    cdaLabChanged->setAutoFillBackground(true);
    QPalette shade = cdaLabChanged->palette();
    shade.setColor(QPalette::Window, changedCellShade());
    shade.setColor(QPalette::WindowText, Qt::black);
    cdaLabChanged->setPalette(shade);

    picCda = new plotCD;
    picCda->setObjectName("picCda");
    picCda->setMinimumSize(260, 280);
    connect(picCda, &plotCD::exportRequested, this, [this](bool svg) { exportPlot(svg); });

    // What the diagram shows, and its export.
    cdaCmbPlanes = new QComboBox;
    cdaCmbPlanes->setObjectName("cdaCmbPlanes");
    cdaCmbPlanes->setToolTip(
        tr("The planes the diagram shows: the two main plane pairs, or one "
           "measured C plane with its opposite"));
    cdaCmbPlanes->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    cdaCmbUnit = new QComboBox;
    cdaCmbUnit->setObjectName("cdaCmbUnit");
    cdaCmbUnit->addItems({QStringLiteral("cd"), QStringLiteral("cd/klm")});
    cdaCmbUnit->setToolTip(
        tr("Candela, or candela per 1000 lamp lumens (relative photometry "
           "only)"));
    cdaCmdExport = new QToolButton;
    cdaCmdExport->setObjectName("cdaCmdExport");
    cdaCmdExport->setText(tr("E&xport"));
    cdaCmdExport->setToolTip(tr("Save the diagram as a PNG image or an SVG drawing"));
    cdaCmdExport->setPopupMode(QToolButton::InstantPopup);
    auto* exportMenu = new QMenu(cdaCmdExport);
    exportMenu->addAction(tr("As &PNG Image..."), this, [this] { exportPlot(false); });
    exportMenu->addAction(tr("As &SVG Drawing..."), this, [this] { exportPlot(true); });
    cdaCmdExport->setMenu(exportMenu);
    auto* planesLabel = new QLabel(tr("&Planes:"));
    planesLabel->setBuddy(cdaCmbPlanes);
    auto* unitLabel = new QLabel(tr("&Unit:"));
    unitLabel->setBuddy(cdaCmbUnit);
    for (QComboBox* combo : {cdaCmbPlanes, cdaCmbUnit})
        connect(combo, &QComboBox::currentIndexChanged, this, [this] { redrawPlot(); });
    // The figures follow the lamp data as typed, as the plot follows the multiplier.
    for (QLineEdit* lamp : {txtNumLamps, txtLumPerLamp, txtWatt, txtBallast})
        if (lamp) connect(lamp, &QLineEdit::textChanged, this, [this] { redrawPlot(); });
    if (tltChkTilt) connect(tltChkTilt, &QCheckBox::toggled, this, [this] { redrawPlot(); });

    cdaFraPhotometry = new PhotometryPanel;

    auto* tools = new QHBoxLayout;
    tools->addWidget(cdaCmdPaste);
    tools->addSpacing(12);
    tools->addWidget(cdaLabChanged);
    tools->addStretch(1);

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    leftLayout->addLayout(tools);
    leftLayout->addWidget(cdaGridCd, 1);

    auto* plotTools = new QHBoxLayout;
    plotTools->addWidget(planesLabel);
    plotTools->addWidget(cdaCmbPlanes);
    plotTools->addSpacing(8);
    plotTools->addWidget(unitLabel);
    plotTools->addWidget(cdaCmbUnit);
    plotTools->addStretch(1);
    plotTools->addWidget(cdaCmdExport);
    auto* right = new QWidget;
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    rightLayout->addLayout(plotTools);
    rightLayout->addWidget(picCda, 1);
    rightLayout->addWidget(cdaFraPhotometry);

    auto* splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(left);
    splitter->addWidget(right);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(splitter);
    return page;
}

void frmEdit::showCandela() {
    cdaGridCd->horizontalHeader()->setDefaultSectionSize(candelaColumnWidth(fontMetrics()));
    candelaModel_->reload();
    redrawPlot();
}

bool frmEdit::redrawPlot() {
    // The figures from the working arrays and the lamp fields as typed, saved or not.
    PhotometryInput figuresInput = photometryInput(state_);
    const auto typed = [](const QLineEdit* edit, double& value, auto read) {
        if (edit) value = read(edit->text().toStdString());
    };
    typed(txtMultiplier, figuresInput.multiplier, lampFieldValue);
    typed(txtNumLamps, figuresInput.numLamps, lampCountValue);
    typed(txtLumPerLamp, figuresInput.lumensPerLamp, lampFieldValue);
    typed(txtWatt, figuresInput.inputWatts, lampFieldValue);
    const Photometry figures = computePhotometry(figuresInput);
    cdaFraPhotometry->showFigures(figures, state_.photometricType);

    // The multiplier as shown; while it is no number the values are drawn as they stand.
    double multiplier = 1;
    if (txtMultiplier) {
        const std::string text = txtMultiplier->text().toStdString();
        if (isNumeric(text)) {
            try {
                multiplier = toDouble(text);
            } catch (const RuntimeFault&) {
                multiplier = 1;
            }
        }
    }
    const auto& vert = state_.vertAngles.values();
    const auto& horz = state_.horAngles.values();
    PlotInput input;
    input.photometricType = state_.photometricType;
    input.vertAngles = std::span<const float>(vert).first(
        static_cast<std::size_t>(std::clamp(state_.numVert, 0, static_cast<int>(vert.size()))));
    input.horAngles = std::span<const float>(horz).first(
        static_cast<std::size_t>(std::clamp(state_.numHorz, 0, static_cast<int>(horz.size()))));
    input.candela = &state_.candela;
    input.multiplier = multiplier;

    // The plane choices follow the horizontal angles; a choice that is still there stays.
    QList<QVariant> planes{QVariant()};
    if (state_.photometricType == 1 && input.horAngles.size() > 1)
        for (double c : pairPlanes(input.horAngles))
            planes << c;
    QList<QVariant> offered;
    for (int i = 0; i < cdaCmbPlanes->count(); ++i)
        offered << cdaCmbPlanes->itemData(i);
    if (offered != planes) {
        const QVariant chosen = cdaCmbPlanes->currentData();
        const QSignalBlocker block(cdaCmbPlanes);
        cdaCmbPlanes->clear();
        cdaCmbPlanes->addItem(state_.photometricType == 1 ? tr("C0 - C180 and C90 - C270")
                                                          : tr("Principal planes"));
        for (qsizetype i = 1; i < planes.size(); ++i)
            cdaCmbPlanes->addItem(QString::fromStdString(pairLabel(planes[i].toDouble())),
                                  planes[i]);
        cdaCmbPlanes->setCurrentIndex(std::max(0, cdaCmbPlanes->findData(chosen)));
    }
    cdaCmbPlanes->setEnabled(planes.size() > 1);
    if (cdaCmbPlanes->currentData().isValid()) input.plane = cdaCmbPlanes->currentData().toDouble();

    // cd/klm needs lamp lumens: with absolute photometry the diagram stays in cd.
    {
        const QSignalBlocker block(cdaCmbUnit);
        if (!figures.lampFlux) cdaCmbUnit->setCurrentIndex(0);
        cdaCmbUnit->setEnabled(figures.lampFlux.value.has_value());
    }
    const bool perKilolumen = cdaCmbUnit->currentIndex() == 1;
    if (perKilolumen) input.multiplier *= 1000 / *figures.lampFlux;
    picCda->setUnit(cdaCmbUnit->currentText());

    PlotCaptionInput caption;
    caption.perKilolumen = perKilolumen;
    if (txtMultiplier && isNumeric(txtMultiplier->text().toStdString()))
        caption.multiplier = multiplier;
    else if (!txtMultiplier)
        caption.multiplier = 1;
    if (perKilolumen) caption.lampLumens = figures.lampFlux.value;
    if (txtBallast) {
        const std::string ballast = txtBallast->text().toStdString();
        if (isNumeric(ballast)) caption.ballastFactor = lampFieldValue(ballast);
    }
    caption.tilt = tltChkTilt && tltChkTilt->isChecked();
    picCda->setCaption(QString::fromStdString(plotCaption(caption)));
    return picCda->setData(input);
}

bool frmEdit::exportPlot(bool svg) {
    const QString suffix = svg ? QStringLiteral("svg") : QStringLiteral("png");
    const QFileInfo file(QString::fromStdString(state_.labFile));
    const QString base =
        file.completeBaseName().isEmpty() ? QStringLiteral("candela") : file.completeBaseName();
    const QString suggested = QDir(file.absolutePath()).filePath(base + "-polar." + suffix);
    QString path =
        QFileDialog::getSaveFileName(this, tr("Export Polar Diagram"), suggested,
                                     svg ? tr("SVG drawing (*.svg)") : tr("PNG image (*.png)"));
    if (path.isEmpty()) return false;
    if (QFileInfo(path).suffix().isEmpty()) path += "." + suffix;
    if (svg ? picCda->exportSvg(path) : picCda->exportPng(path)) return true;
    ctx_.prompter.tell(tr("Could not write %1.").arg(QDir::toNativeSeparators(path)).toStdString());
    return false;
}

std::string frmEdit::candelaCopyText() const {
    return kandor::candelaCopyText(state_.candela, state_.candelaText);
}

bool frmEdit::pasteCandela(std::string_view text) {
    CandelaPaste paste = readCandelaPaste(text, state_.candela.rows(), state_.candela.cols());
    if (!paste.values) {
        ctx_.prompter.tell(paste.message, std::string(paste.title));
        return false;
    }
    // The display array only: the record takes the values when the form is saved.
    state_.candela = std::move(*paste.values);
    state_.candelaText.clear();
    state_.maxCandela = maxCandelaOf(state_.candela);
    refreshCandela();
    redrawPlot();
    return true;
}

void frmEdit::refreshCandela() {
    candelaModel_->valuesChanged();
}

bool frmEdit::cdaGridCd_Write(int row, int column, const QString& text) {
    const int h = column;
    const int v = row + 1;
    if (!state_.dataShown || h < 1 || h > state_.candela.rows() || v < 1 ||
        v > state_.candela.cols())
        return false;
    const CellEntry entry = candelaEntry(text.toStdString());
    if (!entry.value) {
        ctx_.prompter.tell(std::string(entry.message), std::string(entry.title));
        return false;
    }
    const double old = state_.candela(h, v);
    const double value = *entry.value;
    state_.candela(h, v) = value;
    if (const auto cell =
            static_cast<std::size_t>(h - 1) * static_cast<std::size_t>(state_.candela.cols()) +
            static_cast<std::size_t>(v - 1);
        cell < state_.candelaText.size())
        state_.candelaText[cell] = false;
    // The maximum moves up with a larger value; lowering the peak itself needs a new search.
    const double oldMax = state_.maxCandela;
    if (value > state_.maxCandela)
        state_.maxCandela = value;
    else if (old >= state_.maxCandela)
        state_.maxCandela = maxCandelaOf(state_.candela);
    if (state_.maxCandela != oldMax) refreshCandela();
    redrawPlot();
    return true;
}

void frmEdit::cdaCmdPaste_Click() {
    pasteCandela(QGuiApplication::clipboard()->text().toStdString());
}

}  // namespace kandor
