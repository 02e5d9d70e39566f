// The polar candela plot placed in its widget: where a known distribution's peak lands, how
// the frame follows the widget's size, and when the plot reports that it cannot draw.

#include "editor/plotcd.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <cmath>
#include <fstream>
#include <iterator>
#include <numbers>
#include <string>

#include "core/iesreader.h"

namespace kandor {
namespace {

IesRecord corpusRecord(const std::string& name) {
    std::ifstream in(std::string(KANDOR_CORPUS_DIR) + "/" + name, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    IesRecord r;
    EXPECT_NE(IesReader().ParseIes(r, normaliseLineEnds(text), false, ""), kParseUnusable) << name;
    return r;
}

struct Plotted {
    IesRecord record;
    PlotInput input() const {
        return {record.OtherData.photometricType, record.VertAngles.values(),
                record.HorAngles.values(), &record.Candela, record.OtherData.multiplier};
    }
};

// The sample of a half plane farthest from the centre.
const PolarSample& peakOf(const std::vector<PolarSample>& half) {
    return *std::max_element(half.begin(), half.end(),
                             [](const auto& a, const auto& b) { return a.candela < b.candela; });
}

TEST(PlotCd, StreetLightPeakLandsRightAndBelowTheCentre) {
    // A road luminaire: its C0 plane throws light across the road at about 60 degrees.
    const Plotted data{corpusRecord("eulumdat-rs-aec-italo-181x73.ies")};
    plotCD plot;
    plot.resize(600, 640);
    ASSERT_TRUE(plot.setData(data.input()));
    const PolarPlot& p = plot.plot();
    ASSERT_EQ(p.curves.size(), 2u);

    // The record's own C0 peak.
    double peak = 0, peakAngle = 0;
    const int c0 = 1;  // horizontal angle 0 is the first plane
    ASSERT_EQ(data.record.HorAngles(c0), 0.0f);
    for (int v = 1; v <= data.record.VertAngles.ubound(); ++v)
        if (data.record.Candela(c0, v) > peak) {
            peak = data.record.Candela(c0, v);
            peakAngle = data.record.VertAngles(v);
        }
    const PolarSample& s = peakOf(p.curves[0].right);
    EXPECT_DOUBLE_EQ(s.candela, peak * data.record.OtherData.multiplier);
    EXPECT_DOUBLE_EQ(s.degrees, peakAngle);
    EXPECT_GT(peakAngle, 45);
    EXPECT_LT(peakAngle, 75);

    const PlotFrame f = plot.frame();
    const QPointF at = f.map(s.degrees, s.candela, false);
    const double a = peakAngle * std::numbers::pi / 180;
    const double r = f.radius * s.candela / p.scaleMax();
    EXPECT_NEAR(at.x(), f.centre.x() + r * std::sin(a), 1e-9);  // right of the axis
    EXPECT_NEAR(at.y(), f.centre.y() + r * std::cos(a), 1e-9);  // below the centre
    EXPECT_GT(at.x(), f.centre.x());
    EXPECT_GT(at.y(), f.centre.y());
    EXPECT_LE(r, f.radius);
    EXPECT_GE(r, f.radius * 0.5);  // the scale is tight enough to read
    // The house side (C180, drawn to the left) is much weaker.
    EXPECT_LT(peakOf(p.curves[0].left).candela, 0.5 * s.candela);
    // The whole diagram stays inside the widget.
    EXPECT_GE(f.centre.x() - f.radius, 0);
    EXPECT_LE(f.centre.y() + f.radius, f.legend.top());
}

TEST(PlotCd, NadirAtTheBottomZenithAtTheTopFollowingTheSize) {
    plotCD plot;
    for (const QSize size : {QSize(300, 300), QSize(1000, 1000), QSize(900, 400)}) {
        plot.resize(size);
        const PlotFrame f = plot.frame();
        EXPECT_NEAR(f.map(0, f.scaleMax, false).y(), f.centre.y() + f.radius, 1e-9);
        EXPECT_NEAR(f.map(180, f.scaleMax, false).y(), f.centre.y() - f.radius, 1e-9);
        EXPECT_NEAR(f.map(90, f.scaleMax, true).x(), f.centre.x() - f.radius, 1e-9);
        EXPECT_GT(f.radius, 0.3 * std::min(size.width(), size.height()));
        EXPECT_EQ(f.spokeStep, f.radius >= 140 ? 15 : 30);
    }
}

TEST(PlotCd, OnlyAnEmptyTableIsAFailure) {
    plotCD plot;
    plot.resize(400, 400);
    const OneBased2D<double> empty;
    EXPECT_FALSE(plot.setData({1, {}, {}, &empty, 1}));
    // All zeros still draw: a frame with a flat curve.
    OneBased2D<double> zeros(1, 2);
    const std::vector<float> v{0, 90}, h{0};
    EXPECT_TRUE(plot.setData({1, v, h, &zeros, 1}));
    QImage image(400, 400, QImage::Format_ARGB32);
    plot.render(&image);
}

TEST(PlotCd, PaintsTheCurvesWhereTheGeometrySaysAtDoubleScale) {
    const Plotted data{corpusRecord("appleseed-iesparser-5-ael-typeB.ies")};
    plotCD plot;
    plot.resize(500, 540);
    ASSERT_TRUE(plot.setData(data.input()));
    QImage image(1000, 1080, QImage::Format_ARGB32);
    image.setDevicePixelRatio(2);
    image.fill(Qt::transparent);
    plot.render(&image);
    const PlotFrame f = plot.frame();
    const PolarSample& s = peakOf(plot.plot().curves[0].right);
    const QPointF at = f.map(s.degrees, s.candela, false) * 2;
    // The curve's pen is painted at the peak: a strong red there, not the white ground.
    const QColor c = image.pixelColor(at.toPoint());
    EXPECT_GT(c.red(), 120);
    EXPECT_LT(c.green(), 120);
}

TEST(PlotCd, AHalfDiagramKeepsToItsHalfAndTheCaptionFits) {
    // A Type B flood within +-90: the lower half, the straight edge through the centre.
    const Plotted data{corpusRecord("appleseed-iesparser-5-ael-typeB.ies")};
    plotCD plot;
    plot.resize(500, 400);
    plot.setCaption("cd = file values x multiplier 1.875 (ballast factor and tilt not applied)");
    ASSERT_TRUE(plot.setData(data.input()));
    const PlotFrame f = plot.frame();
    EXPECT_EQ(f.toDegrees, 90);
    EXPECT_TRUE(plot.readoutAt(f.centre - QPointF(0, f.radius / 2)).isEmpty());  // above
    EXPECT_FALSE(plot.readoutAt(f.map(30, f.scaleMax / 4, true)).isEmpty());
    EXPECT_GE(f.centre.y() - 2 * QFontMetricsF(plot.font()).height(), 0);  // ring values' room
    EXPECT_LE(f.centre.y() + f.radius, f.legend.top());
    // The caption wraps under the legend, inside the widget.
    EXPECT_GE(f.caption.top(), f.legend.bottom());
    EXPECT_LE(f.caption.bottom(), plot.height() + 1e-9);
    EXPECT_GT(f.caption.height(), 0);
}

}  // namespace
}  // namespace kandor
