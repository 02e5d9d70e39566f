#pragma once

// The luminous-shape sketch of the lamp tab (lmpPicHousing): paints the primitives that
// core/shapes.h returns for a shape, scaled into the widget with the picture's proportions.

#include <vector>

#include <QTransform>
#include <QWidget>

#include "core/shapes.h"

class QPainter;

namespace kandor {

class ShapeSketch final : public QWidget {
    Q_OBJECT

  public:
    explicit ShapeSketch(QWidget* parent = nullptr);

    // Shows the sketch of a shape index (any other index: the axes alone).
    void setShape(int shapeIndex);
    // Shows these primitives, as gsbShowLuminousShape hands them over.
    void setPrimitives(std::vector<SketchPrimitive> primitives);

    // The entered sizes with their unit ("0.12 m"), written beside the letters W, L and H;
    // an empty text writes none (a size the shape does not use).
    void setDimensionTexts(const QString& width, const QString& length, const QString& height);

    const std::vector<SketchPrimitive>& primitives() const { return primitives_; }
    // The map from the picture's own scale to the widget, proportions kept, centred.
    QTransform sketchTransform() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void drawAxisNotes(QPainter& p, const QString& axis, const QRectF& labelBox) const;
    std::vector<SketchPrimitive> primitives_;
    QString width_, length_, height_;
};

}  // namespace kandor
