#pragma once

// plotCD: the polar candela diagram of the candela tab. The curves and the scale come from
// core/polarplot.h; this widget only places them in its own size and paints them.

#include <optional>

#include <QFontMetricsF>
#include <QPointF>
#include <QSizeF>
#include <QStringList>
#include <QWidget>

#include "core/polarplot.h"

namespace kandor {

// Where the diagram sits in a widget of a given size.
struct PlotFrame {
    QPointF centre;
    double radius = 0;       // of the outer ring, in widget coordinates
    double scaleMax = 1;     // candela at the outer ring
    int spokeStep = 30;      // degrees between spokes
    int labelStep = 30;      // degrees between labelled spokes
    double fromDegrees = 0;  // the part of the circle drawn (PolarPlot's)
    double toDegrees = 180;
    QRectF rim;      // the line over the diagram that names the sides
    QRectF legend;   // the band under the diagram that names the curves
    QRectF caption;  // under the legend: what the values are

    // The point of a value `degrees` from nadir, on the right half plane or the left one.
    QPointF map(double degrees, double candela, bool leftSide) const;
    // The other way: the angle from nadir of a point and its side; none beyond the outer ring
    // or outside the part drawn.
    std::optional<std::pair<double, bool>> angleAt(const QPointF& point) const;
};

// The frame for a widget size, leaving room around the circle (or half circle) for the angle
// labels (in the font of `metrics`), over it for the sides' names and under it for the legend
// and the caption, word-wrapped to the width.
PlotFrame plotFrame(const QSizeF& size, const PolarPlot& plot, const QFontMetricsF& metrics,
                    const QString& caption = {});

class plotCD final : public QWidget {
    Q_OBJECT

  public:
    explicit plotCD(QWidget* parent = nullptr);

    // Computes the diagram from the data and schedules a repaint. False when there is nothing
    // to draw (an empty table): the caller stops what it was doing.
    bool setData(const PlotInput& input);
    // Forgets the data; the plot shows an empty frame.
    void clear();
    // The unit the values are drawn in: "cd", or "cd/klm" when the caller scaled them so.
    void setUnit(const QString& unit);
    const QString& unit() const { return unit_; }
    // The line under the diagram that says what its values are (plotCaption's text).
    void setCaption(const QString& caption);
    const QString& caption() const { return caption_; }

    // What the diagram reads at a point of the widget, one line per curve; empty outside it.
    QStringList readoutAt(const QPointF& point) const;

    // The diagram as the widget shows it, without the reading under the mouse: a PNG at twice
    // the widget's resolution, or an SVG drawing. False when the file could not be written.
    bool exportPng(const QString& path) const;
    bool exportSvg(const QString& path) const;

    const PolarPlot& plot() const { return plot_; }
    // The frame for the widget's current size.
    PlotFrame frame() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  signals:
    // The user asked for an export from the context menu: the owner asks for a file name.
    void exportRequested(bool svg);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    void paintDiagram(QPainter& p, const QSizeF& size) const;
    void paintReadout(QPainter& p, const PlotFrame& f) const;

    PolarPlot plot_;
    QString unit_ = QStringLiteral("cd");
    QString caption_;
    std::optional<QPointF> hover_;  // the mouse over the widget
};

}  // namespace kandor
