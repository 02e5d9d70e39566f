// The candela tab: the candela table, its copy and paste, and its polar plot.

#include <cmath>
#include <functional>
#include <optional>

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
#include <QKeyEvent>
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
#include "editor/frozentable.h"
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

// Ctrl+C on the grid (and the standard copy keys of the platform) runs `copy` instead of the
// view's own copy of the current cell.
class CopyKeyFilter final : public QObject {
  public:
    CopyKeyFilter(QObject* parent, std::function<void()> copy)
        : QObject(parent), copy_(std::move(copy)) {}

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::KeyPress &&
            static_cast<QKeyEvent*>(event)->matches(QKeySequence::Copy)) {
            copy_();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    std::function<void()> copy_;
};

}  // namespace

QWidget* frmEdit::buildCandelaTab() {
    auto* page = new QWidget;
    cdaGridCd = new FrozenColumnTableView;
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
        tr("Candela values: one row per vertical angle, one column per horizontal angle. "
           "Ctrl+C copies the selected cells (the whole table when none is selected), "
           "Ctrl+V pastes a whole table."));

    // Copy takes what the user selected, as spreadsheets do; with nothing selected, the whole
    // table as the Copy Table button does. Paste always replaces the whole table.
    // The grid's own key handling, not a shortcut: a view copies its current cell on Ctrl+C
    // itself, and a shortcut only wins over that while the window is active.
    cdaGridCd->installEventFilter(new CopyKeyFilter(cdaGridCd, [this] {
        const std::string selection = candelaSelectionCopyText();
        if (selection.empty()) return cmdCopy_Click();
        QClipboard* clipboard = QGuiApplication::clipboard();
        clipboard->clear();
        clipboard->setText(QString::fromStdString(selection));
    }));
    auto* paste = new QShortcut(QKeySequence::Paste, cdaGridCd);
    paste->setContext(Qt::WidgetWithChildrenShortcut);
    connect(paste, &QShortcut::activated, this, [this] { cdaCmdPaste_Click(); });

    // The current cell read out in full: its two angles, its value and what the multiplier
    // makes of it.
    auto* cellLine = new QLabel;
    cellLine->setObjectName("cdaLabCell");
    cellLine->setTextInteractionFlags(Qt::TextSelectableByMouse);
    const auto showCell = [this, cellLine] {
        const QModelIndex at = cdaGridCd->currentIndex();
        const int h = at.column();
        const int v = at.row() + 1;
        if (!at.isValid() || h < 1 || h > state_.horAngles.ubound() ||
            v > state_.vertAngles.ubound() || h > state_.candela.rows() ||
            v > state_.candela.cols()) {
            cellLine->setText(tr("Select a cell to read its angles and value."));
            return;
        }
        std::optional<double> multiplier;
        if (txtMultiplier && isNumeric(txtMultiplier->text().toStdString())) {
            const double m = lampFieldValue(txtMultiplier->text().toStdString());
            if (std::isfinite(m)) multiplier = m;
        }
        cellLine->setText(QString::fromStdString(
            candelaCellLine(state_.photometricType, state_.horAngles(h), state_.vertAngles(v),
                            at.data().toString().toStdString(), state_.candela(h, v), multiplier)));
    };
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
    auto* maxLegend = new QLabel(tr("<b>Bold</b>: the maximum"));
    maxLegend->setObjectName("cdaLabMax");

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
    // The figures and the caption follow the lamp data as typed (the lamp count and lumens
    // redraw through their own handlers); a fill redraws once when it ends.
    const auto follow = [this] {
        if (!busyFlag_) redrawPlot();
    };
    for (QLineEdit* lamp : {txtWatt, txtBallast})
        if (lamp) connect(lamp, &QLineEdit::textChanged, this, follow);
    if (tltChkTilt) connect(tltChkTilt, &QCheckBox::toggled, this, follow);

    cdaFraPhotometry = new PhotometryPanel;

    auto* tools = new QHBoxLayout;
    tools->addWidget(cdaCmdPaste);
    tools->addSpacing(12);
    tools->addWidget(cdaLabChanged);
    tools->addSpacing(8);
    tools->addWidget(maxLegend);
    tools->addStretch(1);

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    leftLayout->addLayout(tools);
    leftLayout->addWidget(cdaGridCd, 1);
    leftLayout->addWidget(cellLine);
    connect(cdaGridCd->selectionModel(), &QItemSelectionModel::currentChanged, cellLine, showCell);
    connect(candelaModel_, &QAbstractItemModel::dataChanged, cellLine, showCell);
    connect(candelaModel_, &QAbstractItemModel::headerDataChanged, cellLine, showCell);
    connect(candelaModel_, &QAbstractItemModel::modelReset, cellLine, showCell);
    if (txtMultiplier) connect(txtMultiplier, &QLineEdit::textChanged, cellLine, showCell);
    showCell();

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
    ++plotDraws_;
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

std::string frmEdit::candelaSelectionCopyText() const {
    std::vector<CandelaCell> cells;
    for (const QModelIndex& i : cdaGridCd->selectionModel()->selectedIndexes())
        if (i.column() > 0) cells.push_back({i.column(), i.row() + 1});
    return candelaSelectionText(state_.candela, state_.candelaText, cells);
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
