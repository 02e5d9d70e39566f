#pragma once

// A table whose first column stays put while the others scroll sideways: a second view over
// the same model and selection lies on top of the first column and scrolls only up and down,
// in step with the table under it.

#include <QTableView>

namespace kandor {

class FrozenColumnTableView final : public QTableView {
    Q_OBJECT

  public:
    explicit FrozenColumnTableView(QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;
    // The view over the first column; it takes no focus and edits nothing of its own.
    QTableView* frozenView() const { return frozen_; }

  protected:
    void updateGeometries() override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;

  private:
    // Shows only the first column, as wide and as high as the table's own cells.
    void followTable();

    QTableView* frozen_;
};

}  // namespace kandor
