#pragma once

// The editor's unbound grids: thin models that ask the form's working arrays for every cell
// and hand every edit back through a hook. No cell owns an object, so a table of a million
// values costs its array and nothing more.

#include <functional>

#include <QAbstractTableModel>
#include <QColor>

#include "core/editorstate.h"

namespace kandor {

// A cell edit as the grid hands it on: the model index and the text the user typed. The hook
// returns true when the value was taken.
using CellWriteHook = std::function<bool(const QModelIndex& index, const QString& text)>;

// The background of a candela cell whose value differs from the record's.
QColor changedCellShade();

// phoGridVert and phoGridHorz: one row, one column per angle.
class AngleRowModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    AngleRowModel(const EditorState& state, bool vertical, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

    void setWriteHook(CellWriteHook hook) { write_ = std::move(hook); }
    // The grid's unbound read of any column: nothing before a record is shown, the angle
    // within the count, beyond it a blank " " from the vertical grid and nothing from the
    // horizontal one. The view only asks within its columns; the rule holds for every column.
    QVariant unboundRead(int column) const;
    // The arrays or counts changed as a whole.
    void reload();
    // One angle changed.
    void angleChanged(int column);

  private:
    int count() const;
    const EditorState& state_;
    bool vertical_;
    int shownCount_ = 0;
    CellWriteHook write_;
    bool writing_ = false;  // a write is being handed to the form
};

// cdaGridCd: one row per vertical angle; column 0 the vertical angle, column c the candela
// values of horizontal angle c, headed by that angle.
class CandelaModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    explicit CandelaModel(const EditorState& state, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

    void setWriteHook(CellWriteHook hook) { write_ = std::move(hook); }
    // The record the shading compares against, asked for each time (it may be replaced
    // while the form is open); null for no shading.
    void setReference(std::function<const IesRecord*()> reference) {
        reference_ = std::move(reference);
    }
    void reload();
    void horizontalAngleChanged(int h);
    void verticalAngleChanged(int v);
    // Every candela cell may have changed (a rescale or a paste): one signal for all.
    void valuesChanged();

  private:
    bool changedAgainstRecord(int h, int v) const;
    const EditorState& state_;
    std::function<const IesRecord*()> reference_;
    int rows_ = 0;
    int cols_ = 0;
    CellWriteHook write_;
    bool writing_ = false;  // a write is being handed to the form
};

// lmpGridTiltMultiplier: row i the tilt pair i; column 0 the angle, column 1 the factor.
class TiltModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    explicit TiltModel(const EditorState& state, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

    void setWriteHook(CellWriteHook hook) { write_ = std::move(hook); }
    void reload();

  private:
    const EditorState& state_;
    int rows_ = 0;
    CellWriteHook write_;
    bool writing_ = false;  // a write is being handed to the form
};

}  // namespace kandor
