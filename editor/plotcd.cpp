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

// Type B's lateral angles are signed: negative to the left of the axis.
QString degreesText(int degrees, bool negative = false) {
    const QString number = QString::number(degrees) + QChar(0x00B0);
    return negative && degrees != 0 ? QChar(0x2212) + number : number;
}

// The two sides' names of the rim label, "C180 | C0": left first.
std::pair<QString, QString> rimNames(const PolarPlot& plot) {
    const QString rim = QString::fromStdString(plot.rimLabel);
    const qsizetype bar = rim.indexOf(QStringLiteral(" | "));
    if (bar < 0) return {};
    return {rim.left(bar), rim.mid(bar + 3)};
}

// The longest angle label, which sets the room beside the circle.
QString widestAngleLabel(const PolarPlot& plot) {
    return plot.typeB ? degreesText(90, true) : degreesText(180);
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
    const double degrees = std::atan2(std::fabs(dx), dy) * 180 / std::numbers::pi;
    // Half a degree of slack, so that the straight edge of a half diagram still reads.
    if (degrees < fromDegrees - 0.5 || degrees > toDegrees + 0.5) return std::nullopt;
    return std::make_pair(std::clamp(degrees, fromDegrees, toDegrees), dx < 0);
}

PlotFrame plotFrame(const QSizeF& size, const PolarPlot& plot, const QFontMetricsF& metrics,
                    const QString& caption) {
    PlotFrame f;
    f.scaleMax = plot.scaleMax() > 0 ? plot.scaleMax() : 1;
    f.fromDegrees = plot.fromDegrees;
    f.toDegrees = plot.toDegrees;
    const double line = metrics.height();
    const auto [leftName, rightName] = rimNames(plot);
    const double labelWidth =
        std::max({metrics.horizontalAdvance(widestAngleLabel(plot)),
                  metrics.horizontalAdvance(leftName), metrics.horizontalAdvance(rightName)});
    const double sideRoom = labelWidth + line * 0.6;
    const double legendHeight = line * (0.6 + legendLayout(plot, metrics, size.width()).rows);
    const double captionHeight =
        caption.isEmpty()
            ? 0
            : metrics.boundingRect(QRectF(0, 0, std::max(size.width() - 8, 10.0), 1e6),
                                   Qt::TextWordWrap, caption)
                      .height() +
                  line * 0.3;
    const double topRoom = line * 1.4;
    const double bottomRoom = line * 1.4 + legendHeight + captionHeight;
    const double w = std::max(size.width() - 2 * sideRoom, 10.0);
    const double h = std::max(size.height() - topRoom - bottomRoom, 10.0);
    const bool lowerHalf = f.toDegrees <= 90;
    const bool upperHalf = f.fromDegrees >= 90;
    if (lowerHalf || upperHalf) {
        // The straight edge carries the ring values and the sides' names on its far side.
        const double edgeRoom = line * 1.2;
        f.radius = std::max(std::min(w / 2, h - edgeRoom), 5.0);
        const double top = topRoom + (h - f.radius - edgeRoom) / 2;
        f.centre = QPointF(size.width() / 2, lowerHalf ? top + edgeRoom : top + f.radius);
    } else {
        f.radius = std::min(w, h) / 2;
        f.centre = QPointF(size.width() / 2, topRoom + h / 2);
    }
    f.spokeStep = f.radius >= 140 ? 15 : 30;
    f.labelStep = f.radius >= 260 ? 15 : 30;
    const double legendTop = size.height() - legendHeight - captionHeight;
    f.legend = QRectF(0, legendTop, size.width(), legendHeight);
    f.caption =
        QRectF(4, legendTop + legendHeight, std::max(size.width() - 8, 10.0), captionHeight);
    // The sides' names beside the horizontal axis, under its angle labels (over them on an
    // upper half, where the space under the axis belongs to the ring values).
    const double nameY = upperHalf ? f.centre.y() - 1.6 * line : f.centre.y() + 0.6 * line;
    f.rim = QRectF(f.centre.x() - f.radius - sideRoom, nameY, 2 * (f.radius + sideRoom), line);
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

void plotCD::setCaption(const QString& caption) {
    caption_ = caption;
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
    svg.setDescription(caption_);
    QPainter p;
    if (!p.begin(&svg)) return false;
    paintDiagram(p, QSizeF(size()));
    return p.end();
}

void plotCD::mouseMoveEvent(QMouseEvent* event) {
    // The reading and its marks change only by half degrees: no repaint in between.
    const PlotFrame f = frame();
    const auto aimAt = [&f](const std::optional<QPointF>& point) {
        std::optional<std::pair<double, bool>> aim;
        if (point) aim = f.angleAt(*point);
        if (aim) aim->first = std::round(aim->first * 2) / 2;
        return aim;
    };
    const auto before = aimAt(hover_);
    hover_ = event->position();
    if (aimAt(hover_) != before) update();
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
    return plotFrame(QSizeF(size()), plot_, QFontMetricsF(font()), caption_);
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
    const PlotFrame f = plotFrame(size, plot_, fm, caption_);
    p.setFont(font());
    const bool lowerHalf = f.toDegrees <= 90;
    const bool upperHalf = f.fromDegrees >= 90;
    const int firstSpoke = static_cast<int>(std::ceil(f.fromDegrees));
    const int lastSpoke = static_cast<int>(std::floor(f.toDegrees));

    // Spokes from the centre to the outer ring, on both sides.
    QPen spokePen(kSpoke, 1);
    p.setPen(spokePen);
    for (int d = firstSpoke; d <= lastSpoke; d += f.spokeStep) {
        p.drawLine(f.centre, f.map(d, f.scaleMax, false));
        p.drawLine(f.centre, f.map(d, f.scaleMax, true));
    }

    // Rings on the round scale; the outer one closes the diagram, and a half diagram is closed
    // by its horizontal axis.
    for (int k = 1; k <= plot_.ringCount; ++k) {
        QPen ringPen(k == plot_.ringCount ? kOuterRing : kRing, 1);
        p.setPen(ringPen);
        p.setBrush(Qt::NoBrush);
        const double r = f.radius * k / plot_.ringCount;
        const QRectF box(f.centre.x() - r, f.centre.y() - r, 2 * r, 2 * r);
        if (lowerHalf)
            p.drawArc(box, 180 * 16, 180 * 16);
        else if (upperHalf)
            p.drawArc(box, 0, 180 * 16);
        else
            p.drawEllipse(f.centre, r, r);
    }
    if (lowerHalf || upperHalf) {
        p.setPen(QPen(kOuterRing, 1));
        p.drawLine(f.map(90, f.scaleMax, true), f.map(90, f.scaleMax, false));
    }

    // Angle labels outside the outer ring: 0 at the bottom, 180 at the top, 90 at the sides;
    // Type B's left side counts negative.
    p.setPen(kText);
    const double labelGap = fm.height() * 0.2;
    for (int d = firstSpoke; d <= lastSpoke; d += f.labelStep) {
        for (bool left : {false, true}) {
            if (left && (d == 0 || d == 180)) continue;
            const QString text = degreesText(d, left && plot_.typeB);
            const QSizeF box(fm.horizontalAdvance(text), fm.height());
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

    // Which half plane lies on which side, at the rim beside the horizontal axis.
    const auto [leftName, rightName] = rimNames(plot_);
    if (!leftName.isEmpty()) {
        QFont bold = font();
        bold.setBold(true);
        p.setFont(bold);
        p.drawText(f.rim, Qt::AlignLeft | Qt::AlignVCenter, leftName);
        p.drawText(f.rim, Qt::AlignRight | Qt::AlignVCenter, rightName);
        p.setFont(font());
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

    // Ring values up the 180 axis of a whole diagram, along the straight edge of a half one,
    // on a light ground so that a curve under them stays legible; the outer one carries the
    // unit. Drawn from the outside in, a value that would cover its outer neighbour is left
    // out.
    p.setRenderHint(QPainter::Antialiasing, false);
    QRectF previous;
    for (int k = plot_.ringCount; k >= 1; --k) {
        QString text = candelaText(plot_.ringStep * k);
        if (k == plot_.ringCount) text += " " + unit_;
        const double tw = fm.horizontalAdvance(text) + 4;
        QRectF box;
        if (lowerHalf || upperHalf) {
            const QPointF at = f.map(90, plot_.ringStep * k, false);
            box = QRectF(at.x() - tw - 1, lowerHalf ? at.y() - fm.height() - 1 : at.y() + 1, tw,
                         fm.height());
        } else {
            // Just inside its ring, so that the outer value keeps clear of the 180 label.
            const QPointF at = f.map(180, plot_.ringStep * k, false);
            box = QRectF(at.x() + 3, at.y() + 1, tw, fm.height());
        }
        if (!previous.isNull() && box.intersects(previous)) continue;
        previous = box;
        p.fillRect(box, QColor(255, 255, 255, 200));
        p.setPen(kText);
        p.drawText(box, Qt::AlignCenter, text);
    }
    p.setRenderHint(QPainter::Antialiasing);

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

    // What the values are: the factors applied, and those that are not.
    if (!caption_.isEmpty()) {
        p.setPen(kText);
        p.drawText(f.caption, Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, caption_);
    }
}

}  // namespace kandor
