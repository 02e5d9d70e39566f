// The candela tab: the candela table and its polar plot.

#include <QHeaderView>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>

#include "core/numforms.h"
#include "editor/frmedit.h"
#include "editor/gridmodels.h"

namespace kandor {

QWidget* frmEdit::buildCandelaTab() {
    auto* page = new QWidget;
    cdaGridCd = new QTableView;
    cdaGridCd->setObjectName("cdaGridCd");
    candelaModel_ = new CandelaModel(state_, this);
    cdaGridCd->setModel(candelaModel_);
    cdaGridCd->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    cdaGridCd->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    cdaGridCd->horizontalHeader()->setDefaultSectionSize(
        static_cast<int>(1.1 * cdaGridCd->fontMetrics().horizontalAdvance("1000000.00")));
    cdaGridCd->verticalHeader()->setDefaultSectionSize(cdaGridCd->fontMetrics().height() + 6);
    cdaGridCd->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    cdaGridCd->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);

    picCda = new QWidget;
    picCda->setObjectName("picCda");
    picCda->setMinimumSize(240, 240);

    auto* splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(cdaGridCd);
    splitter->addWidget(picCda);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    splitter->setChildrenCollapsible(false);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(splitter);
    return page;
}

void frmEdit::showCandela() {
    candelaModel_->reload();
}

bool frmEdit::redrawPlot() {
    return state_.numVert > 0 && state_.numHorz > 0;
}

std::string frmEdit::candelaCopyText() const {
    std::string out;
    for (int v = 1; v <= state_.candela.cols(); ++v) {
        for (int h = 1; h <= state_.candela.rows(); ++h) {
            if (h > 1) out += '\t';
            out += generalSingle(static_cast<float>(state_.candela(h, v)));
        }
        out += "\r\n";
    }
    return out;
}

bool frmEdit::pasteCandela(std::string_view) {
    return false;
}

void frmEdit::refreshCandela() {
    candelaModel_->valuesChanged();
}

}  // namespace kandor
