#pragma once

#include <optional>
#include <string_view>

#include <QDialog>

#include "core/webops.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace kandor {

namespace reshape_text {
inline constexpr std::string_view kCaption = "Reshape";
inline constexpr std::string_view kNoStep = "Type a vertical step, a horizontal step or both.";
inline constexpr std::string_view kNoFactor = "The factor must be a number greater than zero.";
inline constexpr std::string_view kNoTarget = "The total flux must be a number greater than zero.";
inline constexpr std::string_view kTypeOrSelect =
    "Type an angle, or select the column of the grid first.";
inline constexpr std::string_view kNothingChanges = "Nothing changes.";
inline constexpr std::string_view kApplies = "OK applies this to the data being edited.";
}  // namespace reshape_text

// One reshaping of the measurement web chosen, with its outcome shown before OK applies it:
// the counts before and after, the symmetry the data have now and would have after, or why
// the choice does not apply. The operations are the core's; the dialog offers and shows them.
class dlgReshape final : public QDialog {
    Q_OBJECT

  public:
    explicit dlgReshape(QWidget* parent = nullptr);

    // Starts on this web; the choices made before stay, the outcome is computed again.
    void setWeb(Web web);
    // The candela multiplier the total flux is computed with (NaN while it is no number).
    void setMultiplier(double multiplier);
    // The outcome of the choice as it stands.
    const WebResult& outcome() const { return outcome_; }

    QRadioButton* optResample = nullptr;
    QLineEdit* txtVertStep = nullptr;
    QLineEdit* txtHorzStep = nullptr;
    QRadioButton* optSymmetrise = nullptr;
    QComboBox* cmbSymmetry = nullptr;
    QRadioButton* optRotate = nullptr;
    QComboBox* cmbRotate = nullptr;
    QRadioButton* optMirror = nullptr;
    QComboBox* cmbMirror = nullptr;
    QRadioButton* optEqualNadir = nullptr;
    QRadioButton* optScale = nullptr;
    QRadioButton* optScaleFactor = nullptr;
    QLineEdit* txtFactor = nullptr;
    QRadioButton* optScaleFlux = nullptr;
    QLineEdit* txtFlux = nullptr;
    QLabel* labFluxNow = nullptr;  // the total flux the data give now, or why there is none
    QLineEdit* txtTolerance = nullptr;
    QLabel* labVertCount = nullptr;
    QLabel* labHorzCount = nullptr;
    QLabel* labSymmetryNow = nullptr;
    QLabel* labSymmetryAfter = nullptr;
    QLabel* labOutcome = nullptr;
    QPushButton* OKButton = nullptr;
    QPushButton* CancelButton = nullptr;

  private:
    WebResult compute() const;
    void recompute();
    void fillSymmetries();
    double tolerance() const;

    Web web_;
    WebResult outcome_;
    double multiplier_ = 1;
    QGroupBox* fraChoice_ = nullptr;
    QGroupBox* fraOutcome_ = nullptr;
};

}  // namespace kandor
