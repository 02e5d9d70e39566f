#include "editor/gridmodels.h"

#include <algorithm>

#include <QFont>

#include "core/gridedit.h"
#include "core/numforms.h"

namespace kandor {

namespace {

QString qs(const std::string& text) {
    return QString::fromStdString(text);
}

QString angleText(float value) {
    return qs(generalSingle(value));
}

// Hands a typed value to the form once. A refusal's message box takes the focus from the cell
// editor, whose focus-out would commit the same text again from inside the first commit; that
// second commit is the same edit, so it is ignored rather than refused a second time.
bool writeOnce(const CellWriteHook& write, bool& writing, const QModelIndex& index,
               const QVariant& value) {
    if (writing) return false;
    writing = true;
    struct Reset {
        bool& flag;
        ~Reset() { flag = false; }
    } reset{writing};
    return write(index, value.toString());
}

}  // namespace

// ---- AngleRowModel ----

AngleRowModel::AngleRowModel(const EditorState& state, bool vertical, QObject* parent)
    : QAbstractTableModel(parent), state_(state), vertical_(vertical) {}

int AngleRowModel::count() const {
    const int n = vertical_ ? state_.numVert : state_.numHorz;
    const int held = vertical_ ? state_.vertAngles.ubound() : state_.horAngles.ubound();
    return std::clamp(n, 0, held);
}

int AngleRowModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 1;
}

int AngleRowModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : shownCount_;
}

QVariant AngleRowModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() != 0) return {};
    if (role == Qt::TextAlignmentRole) return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && role != Qt::EditRole) return {};
    return unboundRead(index.column());
}

QVariant AngleRowModel::unboundRead(int c) const {
    if (!state_.dataShown) return {};
    if (c >= 0 && c < count()) {
        return angleText(vertical_ ? state_.vertAngles(c + 1) : state_.horAngles(c + 1));
    }
    // The vertical grid answers a column past its angles with a blank, the horizontal with
    // nothing.
    return vertical_ ? QVariant(QStringLiteral(" ")) : QVariant();
}

QVariant AngleRowModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole) return {};
    if (orientation == Qt::Horizontal) return section + 1;
    return qs(std::string(angleSymbol(state_.photometricType, vertical_))) + " (°)";
}

Qt::ItemFlags AngleRowModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable;
}

bool AngleRowModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || role != Qt::EditRole || !write_) return false;
    if (!writeOnce(write_, writing_, index, value)) return false;
    emit dataChanged(index, index);
    return true;
}

void AngleRowModel::reload() {
    beginResetModel();
    shownCount_ = count();
    endResetModel();
}

void AngleRowModel::angleChanged(int column) {
    const QModelIndex i = index(0, column);
    emit dataChanged(i, i);
}

// ---- CandelaModel ----

CandelaModel::CandelaModel(const EditorState& state, QObject* parent)
    : QAbstractTableModel(parent), state_(state) {}

int CandelaModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

int CandelaModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : cols_;
}

QColor changedCellShade() {
    return {255, 226, 150};
}

bool CandelaModel::changedAgainstRecord(int h, int v) const {
    const IesRecord* record = reference_ ? reference_() : nullptr;
    if (!record) return false;
    const IesRecord& r = *record;
    const int numVert = r.OtherData.numVertAngles;
    if (h > r.Candela.rows() || numVert != state_.candela.cols() || v > r.Candela.cols())
        return false;
    const int rv = r.OtherData.photometricType != 1 ? numVert - v + 1 : v;
    return candelaDiffers(state_.candela(h, v), r.Candela(h, rv));
}

QVariant CandelaModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || !state_.dataShown) return {};
    const int r = index.row();
    const int c = index.column();
    if (r < 0 || r >= rows_ || c < 0 || c >= cols_) return {};
    switch (role) {
        case Qt::DisplayRole:
        case Qt::EditRole:
            if (c == 0) return angleText(state_.vertAngles(r + 1));
            return qs(formatPattern(state_.candela(c, r + 1), grid_text::kCandelaCellPattern));
        case Qt::TextAlignmentRole:
            return int(Qt::AlignRight | Qt::AlignVCenter);
        case Qt::BackgroundRole:
            if (c > 0 && changedAgainstRecord(c, r + 1)) return changedCellShade();
            return {};
        case Qt::FontRole:
            // The current maximum stands out, so that the peak is found in a large table.
            if (c > 0 && state_.maxCandela > 0 && state_.candela(c, r + 1) == state_.maxCandela) {
                QFont bold;
                bold.setBold(true);
                return bold;
            }
            return {};
        default:
            return {};
    }
}

QVariant CandelaModel::headerData(int section, Qt::Orientation orientation, int role) const {
    // The corner says which way each kind of angle runs.
    const int type = state_.photometricType;
    if (role == Qt::ToolTipRole && orientation == Qt::Horizontal && section == 0)
        return tr("Rows: %1; columns: %2")
            .arg(qs(std::string(angleAxisName(type, true))),
                 qs(std::string(angleAxisName(type, false))));
    if (role != Qt::DisplayRole) return {};
    if (orientation == Qt::Vertical) return section + 1;
    if (section == 0)
        return qs(std::string(angleSymbol(type, true))) + " ↓  " +
               qs(std::string(angleSymbol(type, false))) + " →";
    if (section <= state_.horAngles.ubound()) return angleText(state_.horAngles(section)) + "°";
    return {};
}

Qt::ItemFlags CandelaModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    // The angle column is edited on the angles tab.
    if (index.column() == 0) return Qt::ItemIsEnabled;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable;
}

bool CandelaModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || role != Qt::EditRole || !write_) return false;
    if (!writeOnce(write_, writing_, index, value)) return false;
    emit dataChanged(index, index);
    return true;
}

void CandelaModel::reload() {
    beginResetModel();
    rows_ =
        std::clamp(state_.numVert, 0, std::min(state_.vertAngles.ubound(), state_.candela.cols()));
    const int h =
        std::clamp(state_.numHorz, 0, std::min(state_.horAngles.ubound(), state_.candela.rows()));
    cols_ = rows_ > 0 || h > 0 ? h + 1 : 0;
    endResetModel();
}

void CandelaModel::horizontalAngleChanged(int h) {
    emit headerDataChanged(Qt::Horizontal, h, h);
}

void CandelaModel::verticalAngleChanged(int v) {
    const QModelIndex i = index(v - 1, 0);
    emit dataChanged(i, i);
}

void CandelaModel::valuesChanged() {
    if (rows_ == 0 || cols_ < 2) return;
    emit dataChanged(index(0, 1), index(rows_ - 1, cols_ - 1));
}

// ---- TiltModel ----

TiltModel::TiltModel(const EditorState& state, QObject* parent)
    : QAbstractTableModel(parent), state_(state) {}

int TiltModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

int TiltModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 2;
}

QVariant TiltModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rows_) return {};
    if (role == Qt::TextAlignmentRole) return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && role != Qt::EditRole) return {};
    const int i = index.row() + 1;
    return angleText(index.column() == 0 ? state_.tiltAngles(i) : state_.tiltFactors(i));
}

QVariant TiltModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole) return {};
    if (orientation == Qt::Vertical) return section + 1;
    return section == 0 ? tr("Angle (°)") : tr("Multiplying factor");
}

Qt::ItemFlags TiltModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable;
}

bool TiltModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || role != Qt::EditRole || !write_) return false;
    if (!writeOnce(write_, writing_, index, value)) return false;
    emit dataChanged(index, index);
    return true;
}

void TiltModel::reload() {
    beginResetModel();
    rows_ = std::min(state_.tiltAngles.ubound(), state_.tiltFactors.ubound());
    endResetModel();
}

}  // namespace kandor
