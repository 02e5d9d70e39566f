#pragma once

// plotCD: the polar candela diagram of the candela tab. The curves and the scale come from
// core/polarplot.h; this widget only places them in its own size and paints them.

#include <QFontMetricsF>
#include <QPointF>
#include <QSizeF>
#include <QWidget>

#include "core/polarplot.h"

namespace kandor {

// Where the diagram sits in a widget of a given size.
struct PlotFrame {
    QPointF centre;
    double radius = 0;    // of the outer ring, in widget coordinates
    double scaleMax = 1;  // candela at the outer ring
    int spokeStep = 30;   // degrees between spokes
    int labelStep = 30;   // degrees between labelled spokes
    QRectF legend;        // the band under the diagram that names the curves

    // The point of a value `degrees` from nadir, on the right half plane or the left one.
    QPointF map(double degrees, double candela, bool leftSide) const;
};

// The frame for a widget size, leaving room around the circle for the angle labels (in the
// font of `metrics`) and under it for the legend.
PlotFrame plotFrame(const QSizeF& size, const PolarPlot& plot, const QFontMetricsF& metrics);

class plotCD final : public QWidget {
    Q_OBJECT

  public:
    explicit plotCD(QWidget* parent = nullptr);

    // Computes the diagram from the data and schedules a repaint. False when there is nothing
    // to draw (an empty table): the caller stops what it was doing.
    bool setData(const PlotInput& input);
    // Forgets the data; the plot shows an empty frame.
    void clear();

    const PolarPlot& plot() const { return plot_; }
    // The frame for the widget's current size.
    PlotFrame frame() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    PolarPlot plot_;
};

}  // namespace kandor
