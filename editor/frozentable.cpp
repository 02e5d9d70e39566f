#include "editor/frozentable.h"

#include <QHeaderView>
#include <QScrollBar>

namespace kandor {

FrozenColumnTableView::FrozenColumnTableView(QWidget* parent)
    : QTableView(parent), frozen_(new QTableView(this)) {
    frozen_->setObjectName("frozenColumn");
    frozen_->setFocusPolicy(Qt::NoFocus);
    frozen_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    frozen_->verticalHeader()->hide();
    frozen_->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    frozen_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    frozen_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    frozen_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    frozen_->setVerticalScrollMode(ScrollPerPixel);
    frozen_->setFrameShape(QFrame::NoFrame);
    // The fixed column reads as a heading, not as values that could be typed over.
    QPalette shade = frozen_->palette();
    shade.setColor(QPalette::Base, palette().color(QPalette::Window));
    frozen_->setPalette(shade);
    viewport()->stackUnder(frozen_);

    connect(verticalScrollBar(), &QAbstractSlider::valueChanged, frozen_->verticalScrollBar(),
            &QAbstractSlider::setValue);
    connect(frozen_->verticalScrollBar(), &QAbstractSlider::valueChanged, verticalScrollBar(),
            &QAbstractSlider::setValue);
    connect(verticalHeader(), &QHeaderView::sectionResized, this,
            [this](int row, int, int size) { frozen_->setRowHeight(row, size); });
    connect(horizontalHeader(), &QHeaderView::sectionResized, this, [this](int column, int, int) {
        if (column == 0) updateGeometries();
    });
}

void FrozenColumnTableView::setModel(QAbstractItemModel* model) {
    QTableView::setModel(model);
    frozen_->setModel(model);
    frozen_->setSelectionModel(selectionModel());
    if (model) {
        // A reset or new columns bring back columns the overlay must not show.
        connect(model, &QAbstractItemModel::modelReset, this, [this] { followTable(); });
        connect(model, &QAbstractItemModel::layoutChanged, this, [this] { followTable(); });
        connect(model, &QAbstractItemModel::columnsInserted, this, [this] { followTable(); });
    }
    followTable();
}

void FrozenColumnTableView::followTable() {
    if (!model()) return;
    for (int c = 1; c < model()->columnCount(); ++c)
        frozen_->setColumnHidden(c, true);
    frozen_->setColumnHidden(0, false);
    updateGeometries();
}

void FrozenColumnTableView::updateGeometries() {
    QTableView::updateGeometries();
    frozen_->verticalHeader()->setDefaultSectionSize(verticalHeader()->defaultSectionSize());
    frozen_->horizontalHeader()->setFixedHeight(horizontalHeader()->height());
    frozen_->setColumnWidth(0, columnWidth(0));
    frozen_->setVisible(model() && model()->columnCount() > 0);
    frozen_->setGeometry(
        frameWidth() + (verticalHeader()->isVisible() ? verticalHeader()->width() : 0),
        frameWidth(), columnWidth(0), viewport()->height() + horizontalHeader()->height());
    frozen_->verticalScrollBar()->setValue(verticalScrollBar()->value());
}

QModelIndex FrozenColumnTableView::moveCursor(CursorAction action,
                                              Qt::KeyboardModifiers modifiers) {
    const QModelIndex current = QTableView::moveCursor(action, modifiers);
    // Moving left onto a cell hidden under the fixed column scrolls it out from under it.
    if (current.isValid() && current.column() > 0) {
        const int hidden = frozen_->columnWidth(0) - visualRect(current).left();
        if (hidden > 0) horizontalScrollBar()->setValue(horizontalScrollBar()->value() - hidden);
    }
    return current;
}

void FrozenColumnTableView::scrollTo(const QModelIndex& index, ScrollHint hint) {
    // The first column is always in view; scrolling to it would only jump sideways.
    if (index.column() > 0) QTableView::scrollTo(index, hint);
}

}  // namespace kandor
