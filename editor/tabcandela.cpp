// The candela tab: the candela table, its copy and paste, and its polar plot.

#include <QClipboard>
#include <QEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>

#include "core/gridedit.h"
#include "core/numforms.h"
#include "core/polarplot.h"
#include "core/runtimefault.h"
#include "editor/frmedit.h"
#include "editor/gridmodels.h"
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
    picCda->setToolTip(
        tr("Polar candela distribution as the grid shows it, times the candela multiplier"));

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

    auto* splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(left);
    splitter->addWidget(picCda);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
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
    return picCda->setData(input);
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
    if (const auto cell = static_cast<std::size_t>(h - 1) *
                              static_cast<std::size_t>(state_.candela.cols()) +
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
