#include "editor/plotcd.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include <QPainter>
#include <QPainterPath>

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
    p.fillRect(rect(), Qt::white);
    p.setRenderHint(QPainter::Antialiasing);
    const PlotFrame f = frame();
    const QFontMetricsF fm(font());

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
        p.drawText(rect(), Qt::AlignCenter, tr("No candela values to plot"));
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
    p.drawText(QRectF(4, 2, fm.horizontalAdvance(QStringLiteral("cd")) + 4, fm.height()),
               Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("cd"));

    // The legend: a sample of each line and the plane it stands for, in one row when it fits,
    // else one entry per row.
    const LegendLayout legend = legendLayout(plot_, fm, width());
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
