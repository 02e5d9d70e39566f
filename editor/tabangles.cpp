// The photometric angles tab: the vertical and horizontal angles of the measurement web.

#include <QFormLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QStyle>
#include <QTableView>
#include <QVBoxLayout>

#include "core/gridedit.h"
#include "editor/frmedit.h"
#include "editor/gridmodels.h"

namespace kandor {

namespace {

QTableView* angleRow(const char* name, AngleRowModel* model) {
    auto* view = new QTableView;
    view->setObjectName(name);
    view->setModel(model);
    view->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    view->horizontalHeader()->setDefaultSectionSize(
        view->fontMetrics().horizontalAdvance("-180.00") + 16);
    view->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    const int row = view->fontMetrics().height() + 8;
    view->verticalHeader()->setDefaultSectionSize(row);
    // One row: header, the row and the scroll bar, nothing more. The header has no sections
    // yet, so its height comes from the font rather than from its size hint.
    const int header = view->fontMetrics().height() + 10;
    view->horizontalHeader()->setFixedHeight(header);
    const int scrollBar = view->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, view);
    view->setFixedHeight(header + row + scrollBar + 2 * view->frameWidth() + 2);
    return view;
}

QLineEdit* countField(const char* name, const QString& tip) {
    auto* edit = new QLineEdit;
    edit->setObjectName(name);
    edit->setReadOnly(true);
    edit->setToolTip(tip);
    edit->setAlignment(Qt::AlignRight);
    edit->setMaximumWidth(80);
    return edit;
}

}  // namespace

QWidget* frmEdit::buildAnglesTab() {
    auto* page = new QWidget;
    Label4 = new QLabel;
    Label4->setObjectName("Label4");
    QFont bold = Label4->font();
    bold.setBold(true);
    Label4->setFont(bold);

    phoTxtVert = countField("phoTxtVert", tr("Number of vertical angles"));
    phoTxtHorz = countField("phoTxtHorz", tr("Number of horizontal angles"));
    vertModel_ = new AngleRowModel(state_, true, this);
    horzModel_ = new AngleRowModel(state_, false, this);
    phoGridVert = angleRow("phoGridVert", vertModel_);
    phoGridHorz = angleRow("phoGridHorz", horzModel_);

    auto* vertBox = new QGroupBox(tr("Vertical angles (degrees)"));
    auto* vertForm = new QFormLayout;
    vertForm->addRow(tr("Count:"), phoTxtVert);
    auto* vertLayout = new QVBoxLayout(vertBox);
    vertLayout->addLayout(vertForm);
    vertLayout->addWidget(phoGridVert);

    auto* horzBox = new QGroupBox(tr("Horizontal angles (degrees)"));
    auto* horzForm = new QFormLayout;
    horzForm->addRow(tr("Count:"), phoTxtHorz);
    auto* horzLayout = new QVBoxLayout(horzBox);
    horzLayout->addLayout(horzForm);
    horzLayout->addWidget(phoGridHorz);

    auto* layout = new QVBoxLayout(page);
    layout->addWidget(Label4);
    layout->addWidget(vertBox);
    layout->addWidget(horzBox);
    layout->addStretch(1);

    vertModel_->setWriteHook([this](const QModelIndex& index, const QString& text) {
        return phoGridVert_Write(index.column(), text);
    });
    horzModel_->setWriteHook([this](const QModelIndex& index, const QString& text) {
        return phoGridHorz_Write(index.column(), text);
    });
    return page;
}

void frmEdit::showAngles() {
    Label4->setText(QString::fromStdString(state_.label4));
    phoTxtVert->setText(QString::number(state_.numVert));
    phoTxtHorz->setText(QString::number(state_.numHorz));
    vertModel_->reload();
    horzModel_->reload();
}

namespace {

// The record's element that a grid column shows: the editor holds every type but C with the
// vertical angles highest first, so an edit reaches the record at the mirrored index.
int recordVertIndex(const IesRecord& record, int shown) {
    const int n = record.VertAngles.ubound();
    return record.OtherData.photometricType != 1 ? n - shown + 1 : shown;
}

}  // namespace

bool frmEdit::phoGridVert_Write(int column, const QString& text) {
    const int i = column + 1;
    if (!state_.dataShown || i < 1 || i > state_.vertAngles.ubound()) return false;
    const CellEntry entry = vertAngleEntry(text.toStdString());
    if (!entry.value) {
        ctx_.prompter.tell(std::string(entry.message), std::string(entry.title));
        return false;
    }
    state_.vertAngles(i) = *entry.value;
    IesRecord& r = record();
    if (const int ri = recordVertIndex(r, i); ri >= 1 && ri <= r.VertAngles.ubound())
        r.VertAngles(ri) = *entry.value;
    candelaModel_->verticalAngleChanged(i);
    redrawPlot();
    return true;
}

bool frmEdit::phoGridHorz_Write(int column, const QString& text) {
    const int i = column + 1;
    if (!state_.dataShown || i < 1 || i > state_.horAngles.ubound()) return false;
    const CellEntry entry = horzAngleEntry(text.toStdString());
    if (!entry.value) {
        ctx_.prompter.tell(std::string(entry.message), std::string(entry.title));
        return false;
    }
    state_.horAngles(i) = *entry.value;
    IesRecord& r = record();
    if (i <= r.HorAngles.ubound()) r.HorAngles(i) = *entry.value;
    candelaModel_->horizontalAngleChanged(i);
    redrawPlot();
    return true;
}

}  // namespace kandor
