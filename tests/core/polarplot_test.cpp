#include "core/polarplot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace kandor {
namespace {

// A table whose value tells its plane and vertical angle: plane h holds 1000 * h + vertical
// angle, so a mirrored or interpolated value is easy to read back.
struct Table {
    std::vector<float> vert;
    std::vector<float> horz;
    OneBased2D<double> cd;
    int type = 1;
    double multiplier = 1;

    Table(std::vector<float> v, std::vector<float> h, int photometricType = 1)
        : vert(std::move(v)), horz(std::move(h)), type(photometricType) {
        cd.redim(static_cast<int>(horz.size()), static_cast<int>(vert.size()));
        for (int i = 1; i <= cd.rows(); ++i)
            for (int j = 1; j <= cd.cols(); ++j)
                cd(i, j) = 1000.0 * i + vert[static_cast<std::size_t>(j - 1)];
    }
    PlotInput input() const { return {type, vert, horz, &cd, multiplier}; }
};

// The value a half plane plots at an angle; NaN when it has no sample there.
double at(const std::vector<PolarSample>& half, double degrees) {
    for (const PolarSample& s : half)
        if (s.degrees == degrees) return s.candela;
    return std::nan("");
}

TEST(PolarPlot, TypeCPlanesFollowTheSymmetryOfTheHorizontalAngles) {
    struct Case {
        const char* name;
        std::vector<float> horz;
        // The value at vertical angle 0 in C0, C90, C180, C270, and at C315.
        double c0, c90, c180, c270, c315;
    } cases[] = {
        {"quadrant", {0, 45, 90}, 1000, 3000, 1000, 3000, 2000},
        {"bilateral", {0, 90, 180}, 1000, 2000, 3000, 2000, 1500},
        {"about 90-270", {90, 180, 270}, 2000, 1000, 2000, 3000, 2500},
        {"interpolated", {0, 60, 120, 180}, 1000, 2500, 4000, 2500, 1750},
        {"full turn", {0, 90, 180, 270, 360}, 1000, 2000, 3000, 4000, 4500},
        {"open turn", {0, 90, 180, 270}, 1000, 2000, 3000, 4000, 2500},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Table t({0, 45, 90}, c.horz);
        const PolarPlot plot = polarPlot(t.input());
        ASSERT_EQ(plot.curves.size(), 2u);
        EXPECT_EQ(plot.curves[0].label, "C180 | C0");
        EXPECT_EQ(plot.curves[1].label, "C270 | C90");
        EXPECT_FALSE(plot.curves[0].dashed);
        EXPECT_TRUE(plot.curves[1].dashed);
        EXPECT_DOUBLE_EQ(at(plot.curves[0].right, 0), c.c0);
        EXPECT_DOUBLE_EQ(at(plot.curves[1].right, 0), c.c90);
        EXPECT_DOUBLE_EQ(at(plot.curves[0].left, 0), c.c180);
        EXPECT_DOUBLE_EQ(at(plot.curves[1].left, 0), c.c270);
        EXPECT_DOUBLE_EQ(typeCValue(t.input(), 315, 1), c.c315);
        EXPECT_DOUBLE_EQ(typeCValue(t.input(), -45, 1), c.c315);
        EXPECT_DOUBLE_EQ(at(plot.curves[0].right, 90), c.c0 + 90);
    }
}

TEST(PolarPlot, AChosenPlaneIsDrawnWithItsOppositeAndOfferedOncePerPair) {
    Table t({0, 45, 90}, {0, 90, 180, 270, 360});
    const PolarPlot plot = polarPlot({t.type, t.vert, t.horz, &t.cd, 1, 270});
    ASSERT_EQ(plot.curves.size(), 1u);
    EXPECT_EQ(plot.curves[0].label, "C90 | C270");
    EXPECT_DOUBLE_EQ(at(plot.curves[0].right, 45), 4045);
    EXPECT_EQ(pairPlanes(t.horz), (std::vector<double>{0, 90}));
    EXPECT_EQ(pairPlanes(std::vector<float>{90, 135, 180, 270}),
              (std::vector<double>{90, 135, 180}));
}

TEST(PolarPlot, OnePlaneIsOneCurveAllRound) {
    const Table t({0, 45, 90}, {0});
    const PolarPlot plot = polarPlot(t.input());
    ASSERT_EQ(plot.curves.size(), 1u);
    EXPECT_EQ(plot.curves[0].label, "All C planes (rotationally symmetric)");
    EXPECT_DOUBLE_EQ(at(plot.curves[0].left, 45), 1045);
    EXPECT_DOUBLE_EQ(at(plot.curves[0].right, 45), 1045);
    EXPECT_DOUBLE_EQ(typeCValue(t.input(), 222, 2), 1045);
}

TEST(PolarPlot, TypeBDrawsTheTwoPrincipalPlanes) {
    // Vertical angles as the grid holds Type B: highest first.
    Table t({90, 45, 0, -45, -90}, {-90, -30, 0, 30, 90}, 2);
    const PolarPlot plot = polarPlot(t.input());
    ASSERT_EQ(plot.curves.size(), 2u);
    const PolarCurve& h = plot.curves[0];
    const PolarCurve& v = plot.curves[1];
    EXPECT_EQ(h.label, "H\xE2\x88\x92 | H+ (V = 0\xC2\xB0)");
    // The horizontal plane at V = 0: plane 4 is H = 30, plane 2 is H = -30.
    EXPECT_DOUBLE_EQ(at(h.right, 30), 4000);
    EXPECT_DOUBLE_EQ(at(h.left, 30), 2000);
    // The vertical plane at H = 0 (plane 3), up to the right, down to the left.
    EXPECT_DOUBLE_EQ(at(v.right, 45), 3045);
    EXPECT_DOUBLE_EQ(at(v.left, 45), 2955);
    EXPECT_DOUBLE_EQ(at(v.right, 0), at(h.right, 0));
    // Ascending along each half whatever the grid's order.
    for (const auto* half : {&h.right, &h.left, &v.right, &v.left})
        for (std::size_t i = 1; i < half->size(); ++i)
            EXPECT_LT((*half)[i - 1].degrees, (*half)[i].degrees);

    // A table of one side (H from 0) is mirrored to the other.
    Table half({90, 0, -90}, {0, 45, 90}, 2);
    const PolarPlot mirrored = polarPlot(half.input());
    EXPECT_DOUBLE_EQ(at(mirrored.curves[0].left, 45), at(mirrored.curves[0].right, 45));
}

TEST(PolarPlot, ValuesAreTimesTheMultiplierOnARoundScale) {
    Table t({0, 90}, {0});
    t.multiplier = 0.5;
    const PolarPlot plot = polarPlot(t.input());
    EXPECT_DOUBLE_EQ(at(plot.curves[0].right, 90), 545);
    EXPECT_DOUBLE_EQ(plot.peak, 545);
    EXPECT_DOUBLE_EQ(plot.ringStep, 200);
    EXPECT_EQ(plot.ringCount, 3);

    struct Case {
        double peak, step;
        int rings;
    } cases[] = {{1000, 200, 5},  {1200, 250, 5},    {4000, 1000, 4}, {7.3, 2, 4},
                 {0.04, 0.01, 4}, {99999, 20000, 5}, {0, 1, 1},       {-5, 1, 1}};
    for (const Case& c : cases) {
        double step = 0;
        int rings = 0;
        roundScale(c.peak, step, rings);
        EXPECT_DOUBLE_EQ(step, c.step) << c.peak;
        EXPECT_EQ(rings, c.rings) << c.peak;
        EXPECT_GE(step * rings, c.peak);
    }
}

TEST(PolarPlot, AnyAnglesTheUserTypedStillGiveADrawableDiagram) {
    // Angles out of order, repeated or out of range, of any type: samples stay on the half
    // plane and finite, the scale covers them.
    std::mt19937 gen(11);
    std::uniform_int_distribution<int> count(0, 6);
    std::uniform_real_distribution<float> angle(-400, 400);
    std::uniform_real_distribution<double> value(0, 5000);
    for (int round = 0; round < 2000; ++round) {
        std::vector<float> v(static_cast<std::size_t>(count(gen)));
        std::vector<float> h(static_cast<std::size_t>(count(gen)));
        for (float& a : v)
            a = gen() % 3 ? std::round(angle(gen)) : 0.0f;
        for (float& a : h)
            a = gen() % 3 ? std::round(angle(gen)) : 90.0f;
        OneBased2D<double> cd(static_cast<int>(h.size()), static_cast<int>(v.size()));
        for (double& x : cd.values())
            x = value(gen);
        const PolarPlot plot = polarPlot({1 + round % 3, v, h, &cd, 1});
        for (const PolarCurve& c : plot.curves)
            for (const auto* half : {&c.right, &c.left})
                for (const PolarSample& s : *half) {
                    ASSERT_TRUE(std::isfinite(s.candela));
                    ASSERT_GE(s.degrees, plot.fromDegrees);
                    ASSERT_LE(s.degrees, plot.toDegrees);
                    ASSERT_LE(s.candela, plot.scaleMax());
                }
    }
}

TEST(PolarPlot, TheDiagramCoversTheHalfTheAnglesReachAndNamesItsSides) {
    struct Case {
        const char* name;
        std::vector<float> vert, horz;
        int type;
        double from, to;
        const char* rim;
    } cases[] = {
        {"road, 0-90", {0, 45, 90}, {0, 90, 180}, 1, 0, 90, "C180 | C0"},
        {"uplight, 90-180", {90, 135, 180}, {0, 90}, 1, 90, 180, "C180 | C0"},
        {"whole", {0, 90, 180}, {0, 90}, 1, 0, 180, "C180 | C0"},
        {"one plane", {0, 45, 90}, {0}, 1, 0, 90, ""},
        {"one angle", {90}, {0, 90}, 1, 0, 180, "C180 | C0"},
        {"flood, signed", {90, 0, -90}, {-60, 0, 60}, 2, 0, 90, "H\xE2\x88\x92 | H+"},
        {"flood beyond 90", {120, 0, -120}, {-60, 0, 60}, 2, 0, 180, "H\xE2\x88\x92 | H+"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Table t(c.vert, c.horz, c.type);
        const PolarPlot plot = polarPlot(t.input());
        EXPECT_EQ(plot.fromDegrees, c.from);
        EXPECT_EQ(plot.toDegrees, c.to);
        EXPECT_EQ(plot.rimLabel, c.rim);
    }
}

TEST(PolarPlot, TheCaptionSaysWhichFactorsTheValuesCarry) {
    struct Case {
        PlotCaptionInput in;
        const char* text;
    } cases[] = {
        {{false, 1.875, std::nullopt, 0.95, true},
         "cd = file values x multiplier 1.875 (ballast factor and tilt not applied)"},
        {{false, 1, std::nullopt, 1, false}, "cd = file values x multiplier 1"},
        {{true, 1, 2000, 1, true},
         "cd/klm = file values x multiplier 1 x 1000 / 2000 lamp lm (tilt not applied)"},
        {{false, std::nullopt, std::nullopt, std::nullopt, false},
         "cd = file values (multiplier not a number)"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(plotCaption(c.in), c.text);
}

TEST(PolarPlot, NothingToDrawWithoutATable) {
    Table t({0, 90}, {0});
    PlotInput in = t.input();
    in.candela = nullptr;
    EXPECT_TRUE(polarPlot(in).curves.empty());
    const OneBased2D<double> empty;
    in.candela = &empty;
    EXPECT_TRUE(polarPlot(in).curves.empty());
    in = t.input();
    in.vertAngles = {};
    EXPECT_TRUE(polarPlot(in).curves.empty());
}

}  // namespace
}  // namespace kandor
