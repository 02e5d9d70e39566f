#include "editor/shapesketch.h"

#include <algorithm>

#include <QPainter>
#include <QPainterPath>

namespace kandor {

namespace {

Qt::PenStyle penStyle(SketchLineStyle style) {
    switch (style) {
        case SketchLineStyle::Dash:
            return Qt::DashLine;
        case SketchLineStyle::Dot:
            return Qt::DotLine;
        case SketchLineStyle::Solid:
            break;
    }
    return Qt::SolidLine;
}

// Under the letters of length and width, the photometric planes they are measured in, as the
// field captions name them; the sketch then says which way each number runs.
QString planeNote(const QString& axis) {
    if (axis == QLatin1String("L")) return QStringLiteral("0\u00B0-180\u00B0");
    if (axis == QLatin1String("W")) return QStringLiteral("90\u00B0-270\u00B0");
    return {};
}

}  // namespace

void ShapeSketch::drawPlaneNote(QPainter& p, const QString& axis, const QRectF& labelBox) const {
    const QString note = planeNote(axis);
    if (note.isEmpty()) return;
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.8);
    p.setFont(small);
    p.setPen(QColor(110, 110, 110));
    const QFontMetricsF fm(small);
    const double w = fm.horizontalAdvance(note) + 2;
    // Right-aligned on the letter, kept inside the picture: under L, whose axis runs level,
    // and over W, whose axis comes up from below.
    double left = std::min(labelBox.right() - w, width() - w - 2.0);
    left = std::max(left, 2.0);
    const double top =
        axis == QLatin1String("W") ? labelBox.top() - fm.height() : labelBox.bottom();
    p.drawText(QRectF(left, top, w, fm.height()), Qt::AlignCenter, note);
}

ShapeSketch::ShapeSketch(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    primitives_ = shapeSketch(kShapePoint);
}

void ShapeSketch::setShape(int shapeIndex) {
    setPrimitives(shapeSketch(shapeIndex));
}

void ShapeSketch::setPrimitives(std::vector<SketchPrimitive> primitives) {
    primitives_ = std::move(primitives);
    update();
}

QTransform ShapeSketch::sketchTransform() const {
    const double margin = 4;
    const double scale = std::max(0.1, std::min((width() - 2 * margin) / kSketchWidth,
                                                (height() - 2 * margin) / kSketchHeight));
    QTransform t;
    t.translate((width() - kSketchWidth * scale) / 2, (height() - kSketchHeight * scale) / 2);
    t.scale(scale, scale);
    return t;
}

QSize ShapeSketch::sizeHint() const {
    return {240, 200};
}

QSize ShapeSketch::minimumSizeHint() const {
    return {120, 100};
}

void ShapeSketch::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), Qt::white);
    p.setPen(QColor(200, 200, 200));
    p.drawRect(rect().adjusted(0, 0, -1, -1));
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);

    // Geometry is mapped by hand rather than through the painter's transform, so that pen
    // widths stay 1 and 2 screen points at every size of the picture.
    const QTransform t = sketchTransform();
    const double scale = t.m11();
    QFont labelFont = font();
    labelFont.setBold(true);
    p.setFont(labelFont);
    for (const SketchPrimitive& s : primitives_) {
        QPen pen(Qt::black, s.penWidth, penStyle(s.style));
        pen.setCapStyle(s.style == SketchLineStyle::Solid ? Qt::RoundCap : Qt::FlatCap);
        pen.setJoinStyle(Qt::RoundJoin);
        p.setPen(pen);
        p.setBrush(Qt::NoBrush);
        switch (s.kind) {
            case SketchKind::Line:
                p.drawLine(t.map(QPointF(s.from.x, s.from.y)), t.map(QPointF(s.to.x, s.to.y)));
                break;
            case SketchKind::Ellipse: {
                const QPointF c = t.map(QPointF(s.centre.x, s.centre.y));
                const QRectF box(c.x() - s.radiusX * scale, c.y() - s.radiusY * scale,
                                 2 * s.radiusX * scale, 2 * s.radiusY * scale);
                if (s.spanDegrees >= 360) {
                    p.drawEllipse(box);
                } else {
                    QPainterPath arc;
                    arc.arcMoveTo(box, s.startDegrees);
                    arc.arcTo(box, s.startDegrees, s.spanDegrees);
                    p.drawPath(arc);
                }
                break;
            }
            case SketchKind::Label: {
                const QPointF c = t.map(QPointF(s.centre.x, s.centre.y));
                const QString text =
                    QString::fromUtf8(s.text.data(), static_cast<int>(s.text.size()));
                const QFontMetricsF fm(labelFont);
                const QSizeF box(fm.horizontalAdvance(text) + 2, fm.height());
                const QRectF labelBox(c - QPointF(box.width() / 2, box.height() / 2), box);
                p.drawText(labelBox, Qt::AlignCenter, text);
                drawPlaneNote(p, text, labelBox);
                p.setFont(labelFont);
                break;
            }
        }
    }
}

}  // namespace kandor
