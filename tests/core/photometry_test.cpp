#include "core/photometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <numbers>

#include "core/editorstate.h"
#include "core/iesreader.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

constexpr double kPi = std::numbers::pi;
namespace why = photometry_reason;

std::vector<float> steps(double from, double to, double step) {
    std::vector<float> out;
    for (int i = 0; from + i * step <= to + 1e-9; ++i)
        out.push_back(static_cast<float>(from + i * step));
    return out;
}

// A distribution I(h, v) in degrees sampled on the given angles, with lamp data.
struct Web {
    std::vector<float> vert, horz;
    OneBased2D<double> cd;
    PhotometryInput in;
    Web(std::vector<float> v, std::vector<float> h, const std::function<double(double, double)>& f,
        int type = 1)
        : vert(std::move(v)), horz(std::move(h)) {
        cd.redim(static_cast<int>(horz.size()), static_cast<int>(vert.size()));
        for (int i = 1; i <= cd.rows(); ++i)
            for (int j = 1; j <= cd.cols(); ++j)
                cd(i, j) =
                    f(horz[static_cast<std::size_t>(i - 1)], vert[static_cast<std::size_t>(j - 1)]);
        in = {type, vert, horz, &cd, false, 1, 1, 1000, 10, true};
    }
    Photometry figures() const { return computePhotometry(in); }
};

double rad(double degrees) {
    return degrees * kPi / 180;
}

// Every figure is either a finite value or absent with a reason.
void expectSane(const Photometry& f) {
    const auto check = [](const auto& figure, bool finite) {
        if (figure)
            EXPECT_TRUE(finite);
        else
            EXPECT_FALSE(figure.reason.empty());
    };
    for (const auto* x : {&f.totalFlux, &f.downwardFlux, &f.upwardFlux, &f.lampFlux, &f.lorPercent,
                          &f.efficacy, &f.cieFluxCode[0], &f.cieFluxCode[4]})
        check(*x, !*x || std::isfinite(**x));
    check(f.zonalFlux, !f.zonalFlux || std::isfinite(f.zonalFlux->back()));
    check(f.peak, !f.peak || std::isfinite(f.peak->cd));
    for (const PairFigures& p : f.pairs)
        for (const auto* s : {&p.beam, &p.field})
            check(*s, !*s || std::isfinite((*s)->degrees));
    for (const auto* s : {&f.beamH, &f.beamV, &f.fieldH, &f.fieldV})
        check(*s, !*s || std::isfinite((*s)->degrees));
}

TEST(Photometry, FluxOfDistributionsKnownInClosedForm) {
    const auto uniform = [](double, double) { return 100.0; };
    struct Case {
        const char* name;
        Web web;
        double total, down, tolerance;
    } cases[] = {
        {"uniform sphere", Web(steps(0, 180, 5), {0}, uniform), 400 * kPi, 200 * kPi, 1e-12},
        {"hemisphere", Web(steps(0, 90, 7.5), steps(0, 360, 30), uniform), 200 * kPi, 200 * kPi,
         1e-12},
        {"lambertian",
         Web(steps(0, 90, 0.5), {0, 90}, [](double, double g) { return 100 * std::cos(rad(g)); }),
         100 * kPi, 100 * kPi, 1e-4},
        // Linear in gamma: the interpolant is exact, and so must the flux be.
        {"ramp", Web({0, 30, 45, 100, 180}, {0, 180}, [](double, double g) { return rad(g); }),
         2 * kPi * kPi, 2 * kPi * (1 - 0), 1e-12},
        {"Type B mirrored", Web(steps(0, 90, 10), steps(0, 90, 15), uniform, 2), 200 * kPi, 0,
         1e-12},
        {"Type B complete", Web(steps(-90, 90, 30), steps(-90, 90, 10), uniform, 2), 200 * kPi, 0,
         1e-12},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Photometry f = c.web.figures();
        ASSERT_TRUE(f.totalFlux) << f.totalFlux.reason;
        EXPECT_NEAR(*f.totalFlux / c.total, 1, c.tolerance);
        if (c.web.in.photometricType != 1) {
            EXPECT_EQ(f.downwardFlux.reason, why::kTypeB);
            continue;
        }
        EXPECT_NEAR(*f.downwardFlux / c.down, 1, c.tolerance);
        EXPECT_NEAR(*f.downwardFlux + *f.upwardFlux, *f.totalFlux, 1e-9 * *f.totalFlux);
        double zones = 0;
        for (double z : *f.zonalFlux)
            zones += z;
        EXPECT_NEAR(zones, *f.totalFlux, 1e-9 * *f.totalFlux);
        EXPECT_NEAR(*f.lorPercent, *f.totalFlux / 10, 1e-9 * *f.totalFlux);
    }
    // Uniform below the horizon: the flux code is the share of solid angle.
    const Photometry h = cases[1].web.figures();
    EXPECT_NEAR(*h.cieFluxCode[0], 100 * (1 - std::cos(rad(41.4))), 1e-9);
    EXPECT_NEAR(*h.cieFluxCode[3], 100, 1e-9);
    EXPECT_EQ(formatCieFluxCode(h.cieFluxCode), "25 50 75 100 63");
}

TEST(Photometry, BeamAndFieldOfCosinePowerBeams) {
    for (double n : {1.0, 4.0, 20.0}) {
        SCOPED_TRACE(n);
        const Web w(steps(0, 180, 0.1), {0, 90}, [n](double, double g) {
            return g < 90 ? 1000 * std::pow(std::cos(rad(g)), n) : 0;
        });
        const Photometry f = w.figures();
        for (const PairFigures& p : f.pairs) {
            ASSERT_TRUE(p.beam && p.field);
            EXPECT_NEAR(p.beam->degrees, 2 * std::acos(std::pow(0.5, 1 / n)) * 180 / kPi, 0.02);
            EXPECT_NEAR(p.field->degrees, 2 * std::acos(std::pow(0.1, 1 / n)) * 180 / kPi, 0.02);
            EXPECT_FALSE(p.beam->lowerBound || *p.batwing);
        }
    }
    // A batwing keeps the width of its whole beam; an uplight is measured about the zenith; a
    // beam still above half at the horizon is a lower bound.
    const Web bat({0, 30, 60, 90}, {0}, [](double, double g) { return g == 30 ? 100 : 40; });
    EXPECT_TRUE(*bat.figures().pairs[0].batwing);
    EXPECT_NEAR(bat.figures().pairs[0].beam->degrees, 2 * (30 + 30 * 50.0 / 60), 1e-9);
    const Web up({90, 120, 150, 180}, {0}, [](double, double g) { return g == 180 ? 100 : 0; });
    EXPECT_NEAR(up.figures().pairs[1].beam->degrees, 30, 1e-9);
    const Web flat(steps(0, 90, 10), {0}, [](double, double) { return 5.0; });
    EXPECT_NEAR(flat.figures().pairs[0].field->degrees, 180, 1e-9);
    EXPECT_TRUE(flat.figures().pairs[0].field->lowerBound);
}

TEST(Photometry, EverySymmetryEqualsItsExpandedTwin) {
    const auto shape = [](double g) { return 500 * std::pow(std::cos(rad(g) / 2), 6) + 20; };
    struct Case {
        const char* name;
        std::vector<float> horz;
        std::function<double(double)> inC;  // the symmetric variation across planes
    } cases[] = {
        {"one plane", {0}, [](double) { return 1.0; }},
        {"quadrants", steps(0, 90, 15), [](double c) { return 1 + 0.5 * std::cos(2 * rad(c)); }},
        {"about C0-C180", steps(0, 180, 15), [](double c) { return 1 + 0.3 * std::cos(rad(c)); }},
        {"about C90-C270", steps(90, 270, 15), [](double c) { return 1 + 0.3 * std::sin(rad(c)); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto f = [&](double h, double v) { return c.inC(h) * shape(v); };
        const Photometry part = Web(steps(0, 180, 5), c.horz, f).figures();
        const Photometry full = Web(steps(0, 180, 5), steps(0, 360, 15), f).figures();
        const auto same = [](double a, double b) { EXPECT_NEAR(a, b, 1e-9 * std::fabs(b)); };
        same(*part.totalFlux, *full.totalFlux);
        same(*part.upwardFlux, *full.upwardFlux);
        for (int z = 0; z < kZoneCount; ++z)
            same((*part.zonalFlux)[static_cast<std::size_t>(z)],
                 (*full.zonalFlux)[static_cast<std::size_t>(z)]);
        for (int n = 0; n < 5; ++n)
            same(*part.cieFluxCode[static_cast<std::size_t>(n)],
                 *full.cieFluxCode[static_cast<std::size_t>(n)]);
        for (std::size_t p = 0; p < 2; ++p) {
            same(part.pairs[p].beam->degrees, full.pairs[p].beam->degrees);
            same(part.pairs[p].field->degrees, full.pairs[p].field->degrees);
        }
    }
}

TEST(Photometry, LampDataGiveLorAndEfficacyOrTheirReasons) {
    struct Case {
        double lamps, lumens, watts;
        std::string_view lampReason, wattReason;
    } cases[] = {
        {2, 500, 10, {}, {}},
        {1, -1, 10, why::kAbsolute, {}},
        {0, 1000, 0, why::kNoLamps, why::kNoWatts},
        {std::nan(""), 1000, std::nan(""), why::kNoLamps, why::kNoWatts},
    };
    Web w(steps(0, 180, 10), {0}, [](double, double) { return 1000 / (4 * kPi); });
    for (const Case& c : cases) {
        w.in.numLamps = c.lamps;
        w.in.lumensPerLamp = c.lumens;
        w.in.inputWatts = c.watts;
        const Photometry f = w.figures();
        EXPECT_EQ(f.lampFlux.reason, c.lampReason);
        EXPECT_EQ(f.lorPercent.reason, c.lampReason);
        EXPECT_EQ(f.cieFluxCode[4].reason, c.lampReason);
        EXPECT_EQ(f.efficacy.reason, c.wattReason);
        EXPECT_NEAR(f.lorPercent.value.value_or(100), 100, 1e-9);
        EXPECT_NEAR(f.efficacy.value.value_or(100), 100, 1e-9);
    }
}

TEST(Photometry, HostileTablesGiveReasonsNeverNaN) {
    const auto some = [](double h, double v) { return 10 + h + v; };
    struct Case {
        const char* name;
        Web web;
        std::string_view totalReason, beamReason;
    } cases[] = {
        {"one angle", Web({0}, {0}, some), why::kOneVert, why::kOneVert},
        {"vertical back and forth", Web({0, 50, 40, 90}, {0}, some), why::kVertNotAscending,
         why::kVertNotAscending},
        {"horizontal back and forth", Web({0, 90}, {0, 60, 30, 90}, some), why::kIncompletePlanes,
         why::kIncompletePlanes},
        {"planes 0 to 45", Web({0, 90}, {0, 45}, some), why::kIncompletePlanes,
         why::kIncompletePlanes},
        {"vertical beyond 180", Web({0, 90, 200}, {0}, some), why::kVertOutside, why::kVertOutside},
        {"no pole", Web({10, 90}, {0}, some), {}, why::kNoPole},
        {"all zero",
         Web({0, 90, 180}, {0, 90}, [](double, double) { return 0.0; }),
         {},
         why::kNoIntensity},
        {"huge",
         Web({0, 90, 180}, {0, 360}, [](double, double) { return 1e307; }),
         why::kOutOfRange,
         {}},
        {"Type B one plane", Web({0}, {-90, 0, 90}, some, 2), why::kOneVert, why::kTypeB},
        {"Type B lateral beyond 90", Web({0, 90}, {0, 120}, some, 2), why::kOutside90, why::kTypeB},
        {"Type A", Web({0, 90}, {0, 90}, some, 3), why::kTypeA, why::kTypeA},
        {"empty", Web({}, {}, some), why::kNoValues, why::kNoValues},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.name);
        c.web.in.multiplier = std::string_view(c.name) == "huge" ? 1e10 : 1;
        const Photometry f = c.web.figures();
        expectSane(f);
        EXPECT_EQ(f.totalFlux.reason, c.totalReason);
        EXPECT_EQ(f.pairs[0].beam.reason, c.beamReason);
    }
    Web w({0, 90}, {0}, some);
    w.in.multiplier = std::nan("");
    EXPECT_EQ(w.figures().peak.reason, why::kNoMultiplier);
    w.in.readWhole = false;
    EXPECT_EQ(w.figures().lampFlux.reason, why::kNotRead);
}

TEST(Photometry, TypeBSpreadsThroughThePeakAndTheEditorsReversedTwin) {
    // A floodlight aimed at H = 40, V = 0, falling off linearly by 2 % a degree.
    IesRecord r;
    r.OtherData = {1, 1000, 2, 19, 13, 2, 2, 0, 0, 0, 1, 50};
    r.resizeGrid(19, 13);
    for (int v = 1; v <= 19; ++v)
        r.VertAngles(v) = static_cast<float>(-90 + 10 * (v - 1));
    for (int h = 1; h <= 13; ++h)
        r.HorAngles(h) = static_cast<float>(-60 + 10 * (h - 1));
    for (int h = 1; h <= 13; ++h)
        for (int v = 1; v <= 19; ++v)
            r.Candela(h, v) = std::max(
                0.0, 100 - 2.0 * (std::fabs(r.HorAngles(h) - 40) + std::fabs(r.VertAngles(v))));
    const Photometry f = computePhotometry(photometryInput(r));
    EXPECT_DOUBLE_EQ(f.peak->cd, 200);
    EXPECT_EQ(std::make_pair(f.peak->h, f.peak->v), std::make_pair(40.0, 0.0));
    EXPECT_NEAR(f.beamH->degrees, 60 - 15, 1e-9);
    EXPECT_TRUE(f.beamH->lowerBound);  // still 60 % at H = 60, the last angle
    EXPECT_NEAR(f.fieldV->degrees, 90, 1e-9);
    EXPECT_FALSE(f.fieldV->lowerBound);

    EditorState form;
    testing::ScriptedPrompter prompter;
    ASSERT_TRUE(Fill(r, form, prompter));
    const Photometry e = computePhotometry(photometryInput(form));
    EXPECT_EQ(*e.totalFlux, *f.totalFlux);
    EXPECT_EQ(e.peak->v, f.peak->v);
    EXPECT_EQ(e.fieldV->degrees, f.fieldV->degrees);
}

TEST(Photometry, EveryCorpusFileGivesSaneFiguresWhoseZonesAddUp) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR)) {
        if (entry.path().extension() != ".ies") continue;
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(in)), {});
        IesRecord r;
        IesReader().ParseIes(r, normaliseLineEnds(text), false, "");
        const Photometry f = computePhotometry(photometryInput(r));
        expectSane(f);
        ASSERT_TRUE(f.totalFlux) << f.totalFlux.reason;
        EXPECT_EQ(*totalFlux(r), *f.totalFlux);
        if (f.zonalFlux) {
            double zones = 0;
            for (double z : *f.zonalFlux)
                zones += z;
            EXPECT_NEAR(zones, *f.totalFlux, 1e-9 * *f.totalFlux);
        }
        ++files;
    }
    EXPECT_GE(files, 30);
}

TEST(Photometry, FiguresAreShownToTheirPrecision) {
    EXPECT_EQ(formatFigure(3254.7), "3255");
    EXPECT_EQ(formatFigure(0.012345), "0.01235");
    EXPECT_EQ(formatFigure(123456), "123500");
    EXPECT_EQ(formatFigure(-0.00001), "-0.00001000");
    EXPECT_EQ(formatSpread({62.449, true}), "\xE2\x89\xA5 62.4\xC2\xB0");
    EXPECT_EQ(formatPercent(81.26), "81.3 %");
}

}  // namespace
}  // namespace kandor
