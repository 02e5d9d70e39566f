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

void ShapeSketch::drawAxisNotes(QPainter& p, const QString& axis, const QRectF& labelBox) const {
    const QString value = axis == QLatin1String("W")   ? width_
                          : axis == QLatin1String("L") ? length_
                          : axis == QLatin1String("H") ? height_
                                                       : QString();
    const QFontMetricsF valueMetrics(font());
    if (!value.isEmpty() && axis == QLatin1String("H")) {
        // Height's axis runs up the middle: its value sits beside the letter.
        p.setFont(font());
        p.setPen(QColor(30, 30, 30));
        const double w = valueMetrics.horizontalAdvance(value) + 2;
        p.drawText(QRectF(std::min(labelBox.right() + 4, width() - w - 2), labelBox.top(), w,
                          labelBox.height()),
                   Qt::AlignLeft | Qt::AlignVCenter, value);
    }
    // Under L, whose axis runs level, and over W, whose axis comes up from below: the entered
    // value next to the letter, then the planes the number is measured in.
    const bool upward = axis == QLatin1String("W");
    double edge = upward ? labelBox.top() : labelBox.bottom();
    const auto line = [&](const QString& text, const QFont& f, const QColor& colour) {
        p.setFont(f);
        p.setPen(colour);
        const QFontMetricsF fm(f);
        const double w = fm.horizontalAdvance(text) + 2;
        // Right-aligned on the letter, kept inside the picture.
        const double left = std::max(std::min(labelBox.right() - w, width() - w - 2.0), 2.0);
        const double top = upward ? edge - fm.height() : edge;
        p.drawText(QRectF(left, top, w, fm.height()), Qt::AlignCenter, text);
        edge = upward ? top : top + fm.height();
    };
    if (axis == QLatin1String("H")) return;
    if (!value.isEmpty()) line(value, font(), QColor(30, 30, 30));
    const QString note = planeNote(axis);
    if (note.isEmpty()) return;
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.8);
    line(note, small, QColor(110, 110, 110));
}

void ShapeSketch::setDimensionTexts(const QString& width, const QString& length,
                                    const QString& height) {
    width_ = width;
    length_ = length;
    height_ = height;
    update();
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
                drawAxisNotes(p, text, labelBox);
                p.setFont(labelFont);
                break;
            }
        }
    }
}

}  // namespace kandor
