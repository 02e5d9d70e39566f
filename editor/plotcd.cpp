#include "editor/plotcd.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include <QContextMenuEvent>
#include <QImage>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QSvgGenerator>

namespace kandor {

namespace {

// Data-sheet colours: the first plane a strong red, the second a blue that stays apart from
// it for readers who confuse red and green.
const QColor kFirstCurve(200, 30, 30);
const QColor kSecondCurve(20, 80, 190);
const QColor kRing(190, 190, 190);
const QColor kOuterRing(120, 120, 120);
const QColor kSpoke(215, 215, 215);
const QColor kText(60, 60, 60);

QString degreesText(int degrees) {
    return QString::number(degrees) + QChar(0x00B0);
}

QString candelaText(double value) {
    return QString::number(value, 'g', 7);
}

// The curve as one path: the left half from its far end back to the axis, then the right half
// out again, so that a curve that starts at nadir is drawn without a break there.
QPainterPath curvePath(const PolarCurve& curve, const PlotFrame& f) {
    QPainterPath path;
    const auto& left = curve.left;
    const auto& right = curve.right;
    bool started = false;
    for (auto it = left.rbegin(); it != left.rend(); ++it) {
        const QPointF p = f.map(it->degrees, it->candela, true);
        if (!started)
            path.moveTo(p);
        else
            path.lineTo(p);
        started = true;
    }
    // Both halves meet only where they share the axis; an uplight's halves start at 90.
    const bool joined =
        !left.empty() && !right.empty() && left.front().degrees == 0 && right.front().degrees == 0;
    for (std::size_t i = 0; i < right.size(); ++i) {
        const QPointF p = f.map(right[i].degrees, right[i].candela, false);
        if (i == 0 && !(started && joined))
            path.moveTo(p);
        else
            path.lineTo(p);
    }
    return path;
}

QPen curvePen(const PolarCurve& curve, int index) {
    QPen pen(index == 0 ? kFirstCurve : kSecondCurve, 2);
    if (curve.dashed) pen.setDashPattern({5, 3});
    pen.setJoinStyle(Qt::RoundJoin);
    pen.setCapStyle(Qt::RoundCap);
    return pen;
}

struct LegendLayout {
    double sample = 0;    // the length of a line sample
    double gap = 0;       // between entries
    int rows = 1;         // one row, or one per curve
    double rowWidth = 0;  // the widest row
};

LegendLayout legendLayout(const PolarPlot& plot, const QFontMetricsF& fm, double available) {
    LegendLayout l;
    l.sample = fm.height() * 2.2;
    l.gap = fm.height();
    double total = 0;
    double widest = 0;
    for (const PolarCurve& c : plot.curves) {
        const double entry =
            l.sample + l.gap * 0.5 + fm.horizontalAdvance(QString::fromStdString(c.label));
        total += entry + (total > 0 ? l.gap : 0);
        widest = std::max(widest, entry);
    }
    const bool oneRow = total <= available - 8 || plot.curves.size() < 2;
    l.rows = oneRow ? 1 : static_cast<int>(plot.curves.size());
    l.rowWidth = oneRow ? total : widest;
    return l;
}

}  // namespace

QPointF PlotFrame::map(double degrees, double candela, bool leftSide) const {
    const double r = radius * std::max(candela, 0.0) / scaleMax;
    const double a = degrees * std::numbers::pi / 180.0;
    return {centre.x() + (leftSide ? -1 : 1) * r * std::sin(a), centre.y() + r * std::cos(a)};
}

std::optional<std::pair<double, bool>> PlotFrame::angleAt(const QPointF& point) const {
    const double dx = point.x() - centre.x();
    const double dy = point.y() - centre.y();
    if (std::hypot(dx, dy) > radius || radius <= 0) return std::nullopt;
    return std::make_pair(std::atan2(std::fabs(dx), dy) * 180 / std::numbers::pi, dx < 0);
}

PlotFrame plotFrame(const QSizeF& size, const PolarPlot& plot, const QFontMetricsF& metrics) {
    PlotFrame f;
    f.scaleMax = plot.scaleMax() > 0 ? plot.scaleMax() : 1;
    const double line = metrics.height();
    const double sideRoom = metrics.horizontalAdvance(QStringLiteral("180\u00B0")) + line * 0.6;
    const double legendHeight = line * (0.6 + legendLayout(plot, metrics, size.width()).rows);
    const double topRoom = line * 1.4;
    const double bottomRoom = line * 1.4 + legendHeight;
    const double w = std::max(size.width() - 2 * sideRoom, 10.0);
    const double h = std::max(size.height() - topRoom - bottomRoom, 10.0);
    f.radius = std::min(w, h) / 2;
    f.centre = QPointF(size.width() / 2, topRoom + h / 2);
    f.spokeStep = f.radius >= 140 ? 15 : 30;
    f.labelStep = f.radius >= 260 ? 15 : 30;
    f.legend = QRectF(0, size.height() - legendHeight, size.width(), legendHeight);
    return f;
}

plotCD::plotCD(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

bool plotCD::setData(const PlotInput& input) {
    plot_ = polarPlot(input);
    update();
    return !plot_.curves.empty();
}

void plotCD::clear() {
    plot_ = {};
    update();
}

void plotCD::setUnit(const QString& unit) {
    unit_ = unit;
    update();
}

QStringList plotCD::readoutAt(const QPointF& point) const {
    QStringList lines;
    const auto at = frame().angleAt(point);
    if (!at) return lines;
    // Half a degree apart is as fine as a pointer can aim.
    const double degrees = std::round(at->first * 2) / 2;
    for (const std::string& line : polarReadout(plot_, degrees, at->second, unit_.toStdString()))
        lines << QString::fromStdString(line);
    return lines;
}

bool plotCD::exportPng(const QString& path) const {
    QImage image(size() * 2, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(2);
    QPainter p(&image);
    paintDiagram(p, QSizeF(size()));
    p.end();
    return image.save(path, "PNG");
}

bool plotCD::exportSvg(const QString& path) const {
    QSvgGenerator svg;
    svg.setFileName(path);
    svg.setSize(size());
    svg.setViewBox(QRect(QPoint(0, 0), size()));
    svg.setResolution(logicalDpiX());  // text as large against the circle as on screen
    svg.setTitle(tr("Polar candela diagram"));
    svg.setDescription(
        QString::fromStdString(plot_.curves.empty() ? std::string() : plot_.curves.front().label));
    QPainter p;
    if (!p.begin(&svg)) return false;
    paintDiagram(p, QSizeF(size()));
    return p.end();
}

void plotCD::mouseMoveEvent(QMouseEvent* event) {
    hover_ = event->position();
    update();
    QWidget::mouseMoveEvent(event);
}

void plotCD::leaveEvent(QEvent* event) {
    hover_.reset();
    update();
    QWidget::leaveEvent(event);
}

void plotCD::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.addAction(tr("Export Diagram as &PNG..."), this, [this] { emit exportRequested(false); });
    menu.addAction(tr("Export Diagram as &SVG..."), this, [this] { emit exportRequested(true); });
    menu.exec(event->globalPos());
}

PlotFrame plotCD::frame() const {
    return plotFrame(QSizeF(size()), plot_, QFontMetricsF(font()));
}

QSize plotCD::sizeHint() const {
    return {420, 460};
}

QSize plotCD::minimumSizeHint() const {
    return {200, 220};
}

void plotCD::paintEvent(QPaintEvent*) {
    QPainter p(this);
    paintDiagram(p, QSizeF(size()));
    paintReadout(p, frame());
}

void plotCD::paintReadout(QPainter& p, const PlotFrame& f) const {
    if (plot_.curves.empty()) return;
    const QFontMetricsF fm(font());
    const QStringList reading = hover_ ? readoutAt(*hover_) : QStringList();
    const QStringList lines =
        reading.isEmpty() ? QStringList{tr("Point at the diagram to read values")} : reading;

    // Where the pointer aims: a faint ray, and a dot on each curve it crosses.
    p.setRenderHint(QPainter::Antialiasing);
    if (!reading.isEmpty()) {
        const auto at = f.angleAt(*hover_);
        const double degrees = std::round(at->first * 2) / 2;
        p.setPen(QPen(QColor(120, 120, 120, 160), 1, Qt::DotLine));
        p.drawLine(f.centre, f.map(degrees, f.scaleMax, at->second));
        p.setPen(Qt::NoPen);
        for (std::size_t i = 0; i < plot_.curves.size(); ++i) {
            const PolarCurve& c = plot_.curves[i];
            if (const auto v = halfPlaneValue(at->second ? c.left : c.right, degrees)) {
                p.setBrush(i == 0 ? kFirstCurve : kSecondCurve);
                p.drawEllipse(f.map(degrees, *v, at->second), 3.5, 3.5);
            }
        }
    }

    // The reading in the top right corner, on a light ground; a hint while there is none.
    double w = 0;
    for (const QString& line : lines)
        w = std::max(w, fm.horizontalAdvance(line));
    const QRectF box(width() - w - 14, 2, w + 10, fm.height() * lines.size() + 4);
    p.setPen(QColor(210, 210, 210));
    p.setBrush(QColor(255, 255, 255, 225));
    p.drawRoundedRect(box, 3, 3);
    p.setPen(reading.isEmpty() ? QColor(150, 150, 150) : kText);
    for (int i = 0; i < lines.size(); ++i)
        p.drawText(QRectF(box.left() + 5, box.top() + 2 + i * fm.height(), w, fm.height()),
                   Qt::AlignLeft | Qt::AlignVCenter, lines[i]);
}

void plotCD::paintDiagram(QPainter& p, const QSizeF& size) const {
    const QRectF area(QPointF(0, 0), size);
    p.fillRect(area, Qt::white);
    p.setRenderHint(QPainter::Antialiasing);
    const QFontMetricsF fm(font());
    const PlotFrame f = plotFrame(size, plot_, fm);
    p.setFont(font());

    // Spokes from the centre to the outer ring, on both sides.
    QPen spokePen(kSpoke, 1);
    p.setPen(spokePen);
    for (int d = 0; d <= 180; d += f.spokeStep) {
        p.drawLine(f.centre, f.map(d, f.scaleMax, false));
        p.drawLine(f.centre, f.map(d, f.scaleMax, true));
    }

    // Rings on the round scale; the outer one closes the diagram.
    for (int k = 1; k <= plot_.ringCount; ++k) {
        QPen ringPen(k == plot_.ringCount ? kOuterRing : kRing, 1);
        p.setPen(ringPen);
        p.setBrush(Qt::NoBrush);
        const double r = f.radius * k / plot_.ringCount;
        p.drawEllipse(f.centre, r, r);
    }

    // Angle labels outside the outer ring: 0 at the bottom, 180 at the top, 90 at the sides.
    p.setPen(kText);
    const double labelGap = fm.height() * 0.2;
    for (int d = 0; d <= 180; d += f.labelStep) {
        const QString text = degreesText(d);
        const QSizeF box(fm.horizontalAdvance(text), fm.height());
        for (bool left : {false, true}) {
            if (left && (d == 0 || d == 180)) continue;
            const double a = d * std::numbers::pi / 180.0;
            const double reach = f.radius + labelGap;
            const double dx = (left ? -1 : 1) * std::sin(a);
            const double dy = std::cos(a);
            // Anchor the label's nearest edge on the ring, whichever side it sits on.
            const QPointF anchor(f.centre.x() + dx * reach, f.centre.y() + dy * reach);
            const QPointF topLeft(anchor.x() - box.width() / 2 + dx * box.width() / 2,
                                  anchor.y() - box.height() / 2 + dy * box.height() / 2);
            p.drawText(QRectF(topLeft, box), Qt::AlignCenter, text);
        }
    }

    if (plot_.curves.empty()) {
        p.drawText(area, Qt::AlignCenter, tr("No candela values to plot"));
        return;
    }

    // The curves over the grid; the dashed second plane over the solid first one, so that
    // where the two coincide both still show.
    for (std::size_t i = 0; i < plot_.curves.size(); ++i) {
        const PolarCurve& curve = plot_.curves[i];
        p.setPen(curvePen(curve, static_cast<int>(i)));
        p.setBrush(Qt::NoBrush);
        p.drawPath(curvePath(curve, f));
    }

    // Ring values up the 180 axis, on a light ground so that a curve under them stays legible.
    p.setRenderHint(QPainter::Antialiasing, false);
    for (int k = 1; k <= plot_.ringCount; ++k) {
        const QString text = candelaText(plot_.ringStep * k);
        // Just inside its ring, so that the outer value keeps clear of the 180 label.
        const QPointF at = f.map(180, plot_.ringStep * k, false);
        QRectF box(at.x() + 3, at.y() + 1, fm.horizontalAdvance(text) + 4, fm.height());
        p.fillRect(box, QColor(255, 255, 255, 200));
        p.setPen(kText);
        p.drawText(box, Qt::AlignCenter, text);
    }
    p.setRenderHint(QPainter::Antialiasing);

    // The unit of the rings, in the corner where data sheets put it.
    p.setPen(kText);
    p.drawText(QRectF(4, 2, fm.horizontalAdvance(unit_) + 4, fm.height()),
               Qt::AlignLeft | Qt::AlignVCenter, unit_);

    // The legend: a sample of each line and the plane it stands for, in one row when it fits,
    // else one entry per row.
    const LegendLayout legend = legendLayout(plot_, fm, size.width());
    const double rowHeight = f.legend.height() / legend.rows;
    double x = f.legend.center().x() - legend.rowWidth / 2;
    double y = f.legend.top() + rowHeight / 2;
    for (std::size_t i = 0; i < plot_.curves.size(); ++i) {
        const PolarCurve& c = plot_.curves[i];
        p.setPen(curvePen(c, static_cast<int>(i)));
        p.drawLine(QPointF(x, y), QPointF(x + legend.sample, y));
        const QString label = QString::fromStdString(c.label);
        p.setPen(kText);
        const double labelX = x + legend.sample + legend.gap * 0.5;
        const double labelWidth = fm.horizontalAdvance(label);
        p.drawText(QRectF(labelX, y - fm.height() / 2, labelWidth + 2, fm.height()),
                   Qt::AlignVCenter, label);
        if (legend.rows == 1) {
            x = labelX + labelWidth + legend.gap;
        } else {
            y += rowHeight;
        }
    }
}

}  // namespace kandor
