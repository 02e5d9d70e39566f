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
    const double legendHeight = line * 1.6;
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

    // The curves over the grid, the first plane on top.
    for (int i = static_cast<int>(plot_.curves.size()) - 1; i >= 0; --i) {
        const PolarCurve& curve = plot_.curves[static_cast<std::size_t>(i)];
        p.setPen(curvePen(curve, i));
        p.setBrush(Qt::NoBrush);
        p.drawPath(curvePath(curve, f));
    }

    // Ring values up the 180 axis, on a light ground so that a curve under them stays legible.
    p.setRenderHint(QPainter::Antialiasing, false);
    for (int k = 1; k <= plot_.ringCount; ++k) {
        QString text = candelaText(plot_.ringStep * k);
        if (k == plot_.ringCount) text += QStringLiteral(" cd");
        // Just inside its ring, so that the outer value keeps clear of the 180 label.
        const QPointF at = f.map(180, plot_.ringStep * k, false);
        QRectF box(at.x() + 3, at.y() + 1, fm.horizontalAdvance(text) + 4, fm.height());
        p.fillRect(box, QColor(255, 255, 255, 200));
        p.setPen(kText);
        p.drawText(box, Qt::AlignCenter, text);
    }
    p.setRenderHint(QPainter::Antialiasing);

    // The legend: a sample of each line and the plane it stands for.
    double total = 0;
    const double sample = fm.height() * 2.2;
    const double gap = fm.height();
    for (const PolarCurve& c : plot_.curves)
        total += sample + gap * 0.5 + fm.horizontalAdvance(QString::fromStdString(c.label)) + gap;
    double x = f.legend.center().x() - (total - gap) / 2;
    const double y = f.legend.center().y();
    for (std::size_t i = 0; i < plot_.curves.size(); ++i) {
        const PolarCurve& c = plot_.curves[i];
        p.setPen(curvePen(c, static_cast<int>(i)));
        p.drawLine(QPointF(x, y), QPointF(x + sample, y));
        x += sample + gap * 0.5;
        const QString label = QString::fromStdString(c.label);
        p.setPen(kText);
        const double width = fm.horizontalAdvance(label);
        p.drawText(QRectF(x, y - fm.height() / 2, width + 2, fm.height()), Qt::AlignVCenter, label);
        x += width + gap;
    }
}

}  // namespace kandor
