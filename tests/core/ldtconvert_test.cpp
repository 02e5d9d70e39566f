#include "core/ldtconvert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/ldtreader.h"
#include "core/ldtwriter.h"
#include "core/prompter.h"
#include "core/saveies.h"
#include "core/shapes.h"

namespace kandor {
namespace {

// An EULUMDAT record with mc planes of even spacing, gamma 0 and 90, and stored plane j
// holding 100 + j at the nadir and j at 90, so that a plane can be told by its value.
LdtRecord sample(int isym, int mc, std::vector<double> gamma = {0, 90}) {
    LdtRecord r;
    r.isym = isym;
    r.mc = mc;
    r.dc = 360.0 / mc;
    r.ng = static_cast<int>(gamma.size());
    r.gammaAngles = gamma;
    for (int k = 0; k < mc; ++k)
        r.cAngles.push_back(k * r.dc);
    for (int j = 0; j < ldtStoredPlanes(isym, mc); ++j)
        for (std::size_t g = 0; g < gamma.size(); ++g)
            r.intensities.push_back(g == 0 ? 100.0 + j : j);
    r.lampSets = {{1, "LED", 2000, "3000", "80", 20}};
    return r;
}

IesRecord ies(std::vector<float> horizontal, std::vector<float> vertical = {0, 90}) {
    IesRecord r;
    r.Keywords = {"IESNA:LM-63-2002"};
    r.resizeGrid(static_cast<int>(vertical.size()), static_cast<int>(horizontal.size()));
    r.OtherData = {1, 1000, 1, r.OtherData.numVertAngles, r.OtherData.numHorzAngles, 1, 2, 0, 0,
                   0, 1,    10};
    for (int v = 1; v <= r.VertAngles.ubound(); ++v)
        r.VertAngles(v) = vertical[static_cast<std::size_t>(v - 1)];
    for (int h = 1; h <= r.HorAngles.ubound(); ++h) {
        r.HorAngles(h) = horizontal[static_cast<std::size_t>(h - 1)];
        r.Candela(h, 1) = 500;  // the same at the nadir in every plane
        for (int v = 2; v <= r.VertAngles.ubound(); ++v)
            r.Candela(h, v) = h;
    }
    return r;
}

std::vector<float> horizontal(const IesRecord& r) {
    return r.HorAngles.values();
}

TEST(LdtToIes, CandelaAreTheCdKlmValuesAndTheMultiplierCarriesTheFlux) {
    struct Case {
        int lamps;
        double flux, factor;
        LampData expected;  // lamps, lumens per lamp, multiplier
    };
    const Case cases[] = {
        {1, 2000, 1, {1, 2000, 2}},   {2, 2000, 1, {2, 1000, 2}},
        {-1, 500, 1, {1, -1, 0.5f}},                         // absolute photometry
        {1, 2000, 1.5, {1, 2000, 3}}, {1, 0, 1, {1, 0, 1}},  // no flux: cd/klm taken as candela
    };
    for (const Case& k : cases) {
        LdtRecord ldt = sample(1, 1);
        ldt.lampSets[0].numLamps = k.lamps;
        ldt.lampSets[0].flux = k.flux;
        ldt.conversionFactor = k.factor;
        const IesRecord r = ldtToIes(ldt).record;
        const LampData& d = r.OtherData;
        EXPECT_EQ((std::vector<float>{float(d.numLamps), d.lumensPerLamp, d.multiplier}),
                  (std::vector<float>{float(k.expected.numLamps), k.expected.lumensPerLamp,
                                      k.expected.multiplier}));
        EXPECT_EQ(r.Candela(1, 1), 100);

        // Back: the flux and the count as they were; the factor now inside the values.
        const LdtRecord back = iesToLdt(r).record;
        EXPECT_EQ(back.lampSets[0].numLamps, k.lamps);
        EXPECT_EQ(back.lampSets[0].flux, k.flux);
        EXPECT_EQ(back.intensities[0], 100 * k.factor);
        EXPECT_EQ(back.conversionFactor, 1);
    }
}

TEST(LdtToIes, SymmetryGivesTheHorizontalRangeAndComesBack) {
    struct Case {
        int isym, mc;
        bool turn;
        std::vector<float> h;
        std::vector<double> planes;  // the stored plane at each H
    };
    const Case cases[] = {
        {1, 8, false, {0}, {0}},
        {4, 8, false, {0, 45, 90}, {0, 1, 2}},
        {4, 8, true, {0, 45, 90}, {2, 1, 0}},
        {2, 8, false, {0, 45, 90, 135, 180}, {0, 1, 2, 3, 4}},
        {2, 8, true, {90, 135, 180, 225, 270}, {0, 1, 2, 3, 4}},
        // stored from C270: C270, C315, C0, C45, C90
        {3, 8, false, {90, 135, 180, 225, 270}, {4, 3, 2, 1, 0}},
        {3, 8, true, {0, 45, 90, 135, 180}, {0, 1, 2, 3, 4}},
        {0, 4, false, {0, 90, 180, 270, 360}, {0, 1, 2, 3, 0}},
        {0, 4, true, {0, 90, 180, 270, 360}, {3, 0, 1, 2, 3}},
    };
    for (const Case& k : cases) {
        const LdtRecord ldt = sample(k.isym, k.mc);
        const IesRecord r = ldtToIes(ldt, {k.turn, true}).record;
        EXPECT_EQ(horizontal(r), k.h) << k.isym << k.turn;
        std::vector<double> planes;
        for (int h = 1; h <= r.HorAngles.ubound(); ++h)
            planes.push_back(r.Candela(h, 1) - 100);
        EXPECT_EQ(planes, k.planes) << k.isym << k.turn;
        EXPECT_EQ(iesToLdt(r).record.intensities, ldt.intensities) << k.isym << k.turn;
    }
}

TEST(IesToLdt, SymmetryFollowsTheHorizontalAngles) {
    namespace c = ldtconvert_code;
    struct Case {
        std::vector<float> h;
        int isym, mc;
        double dc;
        int code;  // of the first finding, 0 for none
    };
    const Case cases[] = {
        {{0}, 1, 1, 0, 0},
        {{0, 30, 60, 90}, 4, 12, 30, 0},
        {{0, 45, 90, 135, 180}, 2, 8, 45, 0},
        {{90, 180, 270}, 3, 4, 90, 0},
        {{0, 90, 180, 270, 360}, 0, 4, 90, c::k360Differs},
        {{0, 120, 240}, 0, 3, 120, 0},                   // a full circle without its 360
        {{0, 10, 90}, 4, 8, 0, 0},                       // unequal steps: Dc 0
        {{90, 150, 210, 270}, 0, 6, 60, c::kAllPlanes},  // C270 is not a plane
        {{0, 45}, -1, 0, 0, c::kNoSymmetry},
        {{0, 90, 45}, -1, 0, 0, c::kBadAngles},
    };
    for (const Case& k : cases) {
        const IesToLdtResult ldt = iesToLdt(ies(k.h));
        EXPECT_EQ(ldt.findings.empty() ? 0 : ldt.findings[0].code, k.code) << k.h.size();
        if (k.isym < 0) {
            EXPECT_EQ(ldt.status, kLdtUnusable);
            continue;
        }
        const LdtRecord& r = ldt.record;
        EXPECT_EQ((std::vector<double>{double(r.isym), double(r.mc), r.dc}),
                  (std::vector<double>{double(k.isym), double(k.mc), k.dc}));
        EXPECT_TRUE(ldtConsistent(r));
        EXPECT_EQ(r.intensities[0], 500);
    }
    IesRecord typeB = ies({0});
    typeB.OtherData.photometricType = 2;
    EXPECT_EQ(iesToLdt(typeB).findings.at(0).code, c::kNotTypeC);
}

TEST(Conversions, LuminousAreaInMetresBothWays) {
    struct Case {
        double length, width, height;  // mm, EULUMDAT
        bool turn;
        LuminousDims lm63;
    };
    const Case cases[] = {
        {500, 200, 20, false, {0.5f, 0.2f, 0.02f}},  // the luminous length across C0
        {500, 200, 20, true, {0.2f, 0.5f, 0.02f}},
        {120, 0, 0, false, {-0.12f, -0.12f, 0}},  // round: the 2002 circle
        {120, 0, 30, false, {-0.12f, -0.12f, 0.03f}},
        {0, 0, 0, false, {0, 0, 0}},
    };
    for (const Case& k : cases) {
        LdtRecord ldt = sample(1, 1);
        ldt.luminousLength = k.length;
        ldt.luminousWidth = k.width;
        ldt.luminousHeights = {k.height / 2, k.height, k.height / 2, 0};
        const IesRecord r = ldtToIes(ldt, {k.turn, false}).record;
        EXPECT_EQ(storedDims(r.OtherData), k.lm63) << k.length << k.turn;
        // Without the original the four heights become the largest.
        const LdtRecord back = iesToLdt(r, nullptr, {k.turn, ""}).record;
        EXPECT_EQ((std::vector<double>{back.luminousLength, back.luminousWidth,
                                       back.luminousHeights[3], back.length}),
                  (std::vector<double>{k.length, k.width, k.height, k.length}));
        EXPECT_EQ(iesToLdt(r, &ldt, {k.turn, ""}).record.luminousHeights, ldt.luminousHeights);
    }

    IesRecord feet = ies({0});
    feet.OtherData.unitsType = 1;
    feet.OtherData.width = 2;
    feet.OtherData.length = 1;
    const LdtRecord fromFeet = iesToLdt(feet).record;
    EXPECT_EQ(fromFeet.luminousLength, 609.6);
    EXPECT_EQ(fromFeet.luminousWidth, 304.8);
    feet.OtherData.width = feet.OtherData.length = feet.OtherData.height = -0.5f;  // a sphere
    const IesToLdtResult sphere = iesToLdt(feet);
    EXPECT_EQ(sphere.findings.at(0).code, ldtconvert_code::kShape);
    EXPECT_EQ(sphere.record.luminousHeights[0], 152.4);
}

TEST(Conversions, GammaIsPaddedForLm63AndThePaddingTakenAwayAgain) {
    const std::vector<std::vector<double>> gammas = {{0, 70, 140}, {10, 50, 80}, {90, 135, 180}};
    const std::vector<std::vector<float>> vertical = {
        {0, 70, 140, 180}, {0, 10, 50, 80, 90}, {90, 135, 180}};
    for (std::size_t i = 0; i < gammas.size(); ++i) {
        const LdtRecord ldt = sample(1, 1, gammas[i]);
        for (bool keywords : {false, true}) {
            const IesRecord r = ldtToIes(ldt, {false, keywords}).record;
            EXPECT_EQ(r.VertAngles.values(), vertical[i]);
            EXPECT_EQ(iesToLdt(r, keywords ? nullptr : &ldt).record.gammaAngles, gammas[i]);
        }
    }
}

TEST(Conversions, DescriptiveFieldsGoToKeywordsAndBack) {
    LdtRecord ldt = sample(1, 1);
    ldt.company = "ACME";
    ldt.report = "R-1";
    ldt.luminaireName = "Lum";
    ldt.luminaireNumber = "L-1";
    ldt.dateUser = "2024 [TESTLAB] Lab [MORE] more [_X] x";
    const IesRecord r = ldtToIes(ldt, {false, false}).record;
    EXPECT_EQ(r.Keywords.values(),
              (std::vector<std::string>{"IESNA:LM-63-2002", "[TEST] R-1", "[TESTLAB] Lab",
                                        "[ISSUEDATE] 2024", "[MANUFAC] ACME", "[LUMCAT] L-1",
                                        "[LUMINAIRE] Lum", "[LAMP] LED", "[MORE] more", "[_X] x"}));
    const LdtRecord back = iesToLdt(r, &ldt).record;
    EXPECT_EQ(back.dateUser, ldt.dateUser);
    EXPECT_EQ(back.company + back.report + back.luminaireName + back.luminaireNumber,
              "ACMER-1LumL-1");
}

TEST(IesToLdt, DerivesWhatLm63DoesNotHold) {
    // A Lambertian plane of 1000 cd at the nadir: 1000 pi lm, all of it downward.
    std::vector<float> gamma;
    for (int g = 0; g <= 90; g += 5)
        gamma.push_back(static_cast<float>(g));
    IesRecord r = ies({0}, gamma);
    for (int v = 1; v <= r.VertAngles.ubound(); ++v)
        r.Candela(1, v) = 1000 * std::cos(r.VertAngles(v) * 3.14159265358979 / 180);
    r.OtherData.lumensPerLamp = 3141.59f;
    r.OtherData.width = 1.0f;
    r.OtherData.length = 0.2f;

    LdtRecord ldt = iesToLdt(r).record;
    EXPECT_EQ(ldt.dff, 100);
    EXPECT_NEAR(ldt.lorl, 100, 0.1);
    EXPECT_EQ(ldt.ityp, 2);       // more than twice as long as wide: linear
    EXPECT_EQ(ldt.length, 1000);  // the luminaire's size from the luminous area
    EXPECT_EQ(ldt.directRatios, (std::array<double, 10>{}));

    r.OtherData.lumensPerLamp = -1;  // absolute: the flux from the table
    ldt = iesToLdt(r).record;
    EXPECT_EQ(ldt.lampSets[0].numLamps, -1);
    EXPECT_NEAR(ldt.lampSets[0].flux, 3141.59, 3);
    EXPECT_NEAR(ldt.intensities[0], 1000 * 1000 / ldt.lampSets[0].flux, 1e-3);
    EXPECT_EQ(ldt.lorl, 100);
}

TEST(LdtDocument, EditsReachTheFileAndTheRestIsKept) {
    LdtRecord original = sample(2, 4);
    original.lampSets.push_back({1, "LED 2", 2200, "4000", "90", 22});
    original.directRatios[0] = 0.5;
    original.dff = 99;
    original.lorl = 64;
    const std::string text = composeLdt(original);
    LdtDocument doc = openLdtDocument(text);
    EXPECT_EQ(saveLdtDocument(doc.record, doc.original).text, text);

    doc.record.Keywords(5) = "[MANUFAC] Other";
    for (double& cd : doc.record.Candela.values())
        cd *= 2;
    const LdtRecord saved = readLdt(saveLdtDocument(doc.record, doc.original).text).record;
    EXPECT_EQ(saved.company, "Other");
    EXPECT_EQ(saved.lampSets, original.lampSets);
    EXPECT_EQ(saved.directRatios, original.directRatios);
    EXPECT_EQ(saved.intensities[0], 2 * original.intensities[0]);
    EXPECT_NE(saved.lorl, original.lorl);  // the table changed: computed anew
}

}  // namespace
}  // namespace kandor
