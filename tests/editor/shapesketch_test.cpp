// The shape sketch in its widget: the picture keeps its proportions, fits any size, and every
// shape paints at double scale.

#include "editor/shapesketch.h"

#include <gtest/gtest.h>

#include <QImage>

namespace kandor {
namespace {

TEST(ShapeSketchWidget, ThePictureFitsCentredWithItsProportions) {
    ShapeSketch sketch;
    for (const QSize size : {QSize(240, 200), QSize(500, 180), QSize(150, 400)}) {
        sketch.resize(size);
        const QTransform t = sketch.sketchTransform();
        EXPECT_DOUBLE_EQ(t.m11(), t.m22()) << size.width();  // no stretching
        const QRectF picture = t.mapRect(QRectF(0, 0, kSketchWidth, kSketchHeight));
        EXPECT_TRUE(QRectF(0, 0, size.width(), size.height()).contains(picture));
        EXPECT_NEAR(picture.center().x(), size.width() / 2.0, 1e-9);
        EXPECT_NEAR(picture.center().y(), size.height() / 2.0, 1e-9);
        // One side fills the widget but for its margin.
        EXPECT_GT(std::max(picture.width() / size.width(), picture.height() / size.height()), 0.9);
    }
}

TEST(ShapeSketchWidget, EveryShapePaints) {
    ShapeSketch sketch;
    sketch.resize(240, 200);
    QImage image(480, 400, QImage::Format_ARGB32);
    image.setDevicePixelRatio(2);
    for (int shape = 0; shape <= 15; ++shape) {
        sketch.setShape(shape);
        EXPECT_EQ(sketch.primitives(), shapeSketch(shape));
        image.fill(Qt::transparent);
        sketch.render(&image);
        // The H axis runs up from the picture's centre: some black is painted on it.
        const QPointF up = sketch.sketchTransform().map(QPointF(56, 30)) * 2;
        EXPECT_LT(image.pixelColor(up.toPoint()).lightness(), 128) << shape;
    }
}

}  // namespace
}  // namespace kandor
