#pragma once

// The candela tab's read-only panel of photometric figures. It only shows what
// core/photometry.h computed; the form decides when to recompute.

#include <array>

#include <QGroupBox>

#include "core/photometry.h"

class QGridLayout;
class QLabel;

namespace kandor {

class PhotometryPanel final : public QGroupBox {
    Q_OBJECT

  public:
    explicit PhotometryPanel(QWidget* parent = nullptr);

    // Shows the figures of a distribution of the given photometric type.
    void showFigures(const Photometry& figures, int photometricType);
    const Photometry& figures() const { return figures_; }

  private:
    struct Row {
        QLabel* caption = nullptr;
        QLabel* value = nullptr;
        QLabel* second = nullptr;  // the second plane pair's (or the vertical) value
    };
    // A caption and its value (two for a plane pair) in row `row` of grid `column`.
    Row addRow(int row, int column, const QString& caption, const char* name,
               const char* secondName, const QString& tip);
    static void showValue(QLabel* label, const QString& text);
    static void showAbsent(QLabel* label, std::string_view reason);
    static void setRowVisible(const Row& row, bool visible);

    Photometry figures_;
    std::array<QGridLayout*, 2> grids_{};  // the flux figures; the intensity and beam figures
    Row total_, downward_, upward_, lampFlux_, lor_, efficacy_;
    Row peak_, pairs_, beam_, field_, batwing_, cie_;
};

}  // namespace kandor
