// Reshaping the web: identities that must hold on every kind of angle set, exact interpolated
// and averaged values, the refusals word for word, Type B held highest first, and every corpus
// file that passes the save check still passing it after each operation.

#include "core/webops.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <numbers>
#include <tuple>

#include "core/iesreader.h"
#include "core/validation.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using Values = std::function<double(double h, double v)>;

// A web over the angles as held (Type B vertical angles highest first) with value f(H, V).
Web makeWeb(int type, OneBased<float> vert, OneBased<float> horz, const Values& f) {
    Web w{type, std::move(vert), std::move(horz), {}};
    w.candela.redim(w.numHorz(), w.numVert());
    for (int h = 1; h <= w.numHorz(); ++h)
        for (int v = 1; v <= w.numVert(); ++v)
            w.candela(h, v) = f(w.horAngles(h), w.vertAngles(v));
    return w;
}

OneBased<float> steps(float from, float to, float step) {
    OneBased<float> out;
    for (float a = from; step > 0 ? a <= to : a >= to; a += step)
        out.append(a);
    return out;
}

// Values without any symmetry in C; a peak of about 1000.
double lopsided(double c, double g) {
    c = std::fmod(c, 360);
    return std::round(1000 *
                      (1.2 + std::cos((c - 30) * std::numbers::pi / 180) * 0.5 +
                       std::sin(c * std::numbers::pi / 90) * 0.2) *
                      std::cos(g * std::numbers::pi / 360)) /
           4;
}

Web expect(const WebResult& r) {
    EXPECT_TRUE(r.web) << r.refusal;
    return r.web.value_or(Web{});
}

struct Held {
    const char* name;
    Symmetry symmetry;
    Web web;
};

// A web held with each symmetry, its values exactly symmetric (built by expansion).
std::vector<Held> heldWebs() {
    const Web full = makeWeb(1, steps(0, 180, 22.5f), steps(0, 360, 15), lopsided);
    std::vector<Held> out;
    for (Symmetry s :
         {Symmetry::kRotational, Symmetry::kQuadrant, Symmetry::kC0C180, Symmetry::kC90C270})
        out.push_back({"C reduced", s, expect(symmetrise(full, s))});
    out.push_back({"C full", Symmetry::kNone, full});
    const Web fullB = makeWeb(2, steps(90, -90, -10), steps(-90, 90, 10), lopsided);
    out.push_back({"B lateral", Symmetry::kLateral, expect(symmetrise(fullB, Symmetry::kLateral))});
    out.push_back({"B full", Symmetry::kNone, fullB});
    return out;
}

TEST(WebOps, IdentitiesOnEveryHeldSet) {
    for (const Held& c : heldWebs()) {
        SCOPED_TRACE(std::string(c.name) + " " + std::to_string(static_cast<int>(c.symmetry)));
        const Web& w = c.web;
        ASSERT_EQ(heldSymmetry(w), c.symmetry);
        EXPECT_EQ(expect(symmetrise(w, c.symmetry)), w);
        EXPECT_EQ(expect(symmetrise(expect(symmetrise(w, Symmetry::kNone)), c.symmetry)), w);
        if (w.numVert() > 1) {
            const double mid = (w.vertAngles(1) + w.vertAngles(2)) / 2.0;
            const Web more = expect(insertAngle(w, Axis::kVertical, mid));
            EXPECT_EQ(more.numVert(), w.numVert() + 1);
            EXPECT_EQ(expect(removeAngle(more, Axis::kVertical, 2)), w);
            EXPECT_EQ(expect(resample(w, std::abs(w.vertAngles(2) - w.vertAngles(1)), {})), w);
        }
        if (w.numHorz() > 1) {
            const double mid = (w.horAngles(1) + w.horAngles(2)) / 2.0;
            EXPECT_EQ(expect(removeAngle(expect(insertAngle(w, Axis::kHorizontal, mid)),
                                         Axis::kHorizontal, 2)),
                      w);
        }
        if (w.photometricType != 1) continue;
        Web turned = w;
        for (int i = 0; i < 4; ++i)
            turned = expect(rotate(turned, 90));
        EXPECT_EQ(turned, w);
        EXPECT_EQ(expect(rotate(expect(rotate(w, 270)), 90)), w);
        EXPECT_EQ(expect(mirror(expect(mirror(w, MirrorPlane::kC90C270)), MirrorPlane::kC90C270)),
                  w);
    }
}

TEST(WebOps, InterpolatedAndAveragedValues) {
    // Value 100 * C-index + V: planes 0, 90, 180, 270, 360 (the last equal to the first).
    const auto f = [](double c, double g) { return std::fmod(c, 360) / 90 * 100 + g; };
    const Web w = makeWeb(1, {0, 30, 90}, {0, 90, 180, 270, 360}, f);

    const Web v = expect(insertAngle(w, Axis::kVertical, 40));
    EXPECT_EQ(v.vertAngles, (OneBased<float>{0, 30, 40, 90}));
    EXPECT_DOUBLE_EQ(v.candela(2, 3), 140);  // linear in the angle between 30 and 90
    const Web h = expect(insertAngle(w, Axis::kHorizontal, 30));
    EXPECT_DOUBLE_EQ(h.candela(2, 2), 63.333);  // a third of the way, three decimals
    const Web r = expect(resample(w, 45, 120));
    EXPECT_EQ(r.vertAngles, (OneBased<float>{0, 45, 90}));
    EXPECT_EQ(r.horAngles, (OneBased<float>{0, 120, 240, 360}));
    EXPECT_DOUBLE_EQ(r.candela(2, 2), 178.333);  // 120 between 90 and 180 at 45 degrees

    // Quadrant: the planes C, 180 - C, 180 + C and 360 - C averaged.
    const Web q = expect(symmetrise(w, Symmetry::kQuadrant));
    EXPECT_EQ(q.horAngles, (OneBased<float>{0, 90}));
    EXPECT_DOUBLE_EQ(q.candela(1, 1), 100);  // 0, 200, 200, 0
    EXPECT_DOUBLE_EQ(q.candela(2, 3), 290);  // 100, 300, 100, 300 + 90
    EXPECT_DOUBLE_EQ(expect(symmetrise(w, Symmetry::kRotational)).candela(1, 2), 180);
    const Web c90 = expect(symmetrise(w, Symmetry::kC90C270));
    EXPECT_EQ(c90.horAngles, (OneBased<float>{90, 180, 270}));
    EXPECT_DOUBLE_EQ(c90.candela(2, 1), 100);  // 180 with 0

    const Web turned = expect(rotate(w, 90));
    EXPECT_DOUBLE_EQ(turned.candela(2, 1), 0);    // the plane at 0 is now at 90
    EXPECT_DOUBLE_EQ(turned.candela(1, 1), 300);  // and 270 at 0 and 360
    EXPECT_DOUBLE_EQ(turned.candela(5, 1), 300);
    EXPECT_DOUBLE_EQ(expect(mirror(w, MirrorPlane::kC0C180)).candela(2, 1), 300);
    EXPECT_DOUBLE_EQ(expect(mirror(w, MirrorPlane::kC90C270)).candela(1, 1), 200);

    const Web n = expect(equalNadir(w));
    for (int c = 1; c <= 5; ++c)
        EXPECT_DOUBLE_EQ(n.candela(c, 1), 120) << c;  // 0, 100, 200, 300, 0
    EXPECT_DOUBLE_EQ(n.candela(2, 2), 130);
    const std::vector<PoleValues> poles = poleValues(w);
    ASSERT_EQ(poles.size(), 1u);  // the web stops short of the zenith
    EXPECT_EQ(std::tie(poles[0].minimum, poles[0].maximum, poles[0].average),
              std::make_tuple(0.0, 300.0, 120.0));
    EXPECT_DOUBLE_EQ(expect(scale(w, 1.0 / 3)).candela(2, 2), 43.333);
    const double flux = webFlux(w, 2).value.value_or(0);
    EXPECT_DOUBLE_EQ(expect(scaleToFlux(w, flux / 2, 2)).candela(3, 3), 145);
}

TEST(WebOps, Refusals) {
    const Web w = makeWeb(1, {0, 45, 90}, {0, 90, 180}, lopsided);
    const Web b = makeWeb(2, {90, 45, 0, -45, -90}, {0, 45, 90}, lopsided);
    Web unordered = w;
    unordered.vertAngles = {0, 50, 45};
    Web seam = makeWeb(1, {0, 90}, {0, 180, 360}, lopsided);
    seam.candela(3, 1) += 1;
    struct Case {
        const char* what;
        WebResult result;
        std::string refusal;
    } cases[] = {
        {"outside", insertAngle(w, Axis::kVertical, 95),
         "The angle 95 lies outside the vertical angles, 0 to 90."},
        {"there", insertAngle(w, Axis::kHorizontal, 90),
         "There is a horizontal angle of 90 already."},
        {"order", insertAngle(unordered, Axis::kVertical, 10),
         "The vertical angles are not in order; put them in order first."},
        {"only", removeAngle(makeWeb(1, {0, 90}, {0}, lopsided), Axis::kHorizontal, 1),
         "The only angle cannot be removed."},
        {"first C", removeAngle(w, Axis::kVertical, 1),
         "Removing this angle would break a rule of saving: Photometric: First vertical angle "
         "must be 0 or 90"},
        {"last B", removeAngle(b, Axis::kVertical, 1),
         "Removing this angle would break a rule of saving: Photometric: Last vertical angle "
         "must be 0 or 90"},
        {"step", resample(w, 7, {}),
         "A step of 7 does not divide the vertical angles 0 to 90 evenly."},
        {"zero step", resample(w, {}, 0), "The step must be a number greater than zero."},
        {"many", resample(w, 0.001, {}), "A step of 0.001 gives more than 32767 vertical angles."},
        {"values", resample(w, 0.01, 0.01),
         "That step would give more than 4,000,000 candela values."},
        {"range", symmetrise(makeWeb(1, {0, 90}, {0, 90, 270}, lopsided), Symmetry::kQuadrant),
         "The horizontal angles 0 to 270 are neither a full set nor a symmetric part of one."},
        {"type", symmetrise(b, Symmetry::kQuadrant), "This symmetry does not apply to this type."},
        {"turn B", rotate(b, 90), "C planes are turned and mirrored in Type C only."},
        {"turn 45", rotate(w, 45), "The C planes turn by 90, 180 or 270 degrees."},
        {"seam", rotate(seam, 90),
         "The planes at 0 and 360 degrees differ; make them equal (symmetrise) first."},
        {"nadir", equalNadir(makeWeb(1, {90, 180}, {0, 90}, lopsided)), ""},
        {"no nadir", equalNadir(makeWeb(1, {90, 120}, {0, 90}, lopsided)),
         "There is no nadir (0) or zenith (180) vertical angle with values to make equal."},
        {"one plane", equalNadir(makeWeb(1, {0, 90}, {0}, lopsided)),
         "With one horizontal angle there is one nadir value."},
        {"factor", scale(w, -2), "The factor must be a number greater than zero."},
        {"huge", scale(w, 1e307), "The factor makes the values too large."},
        {"no flux", scaleToFlux(w, 1000, NAN),
         "The data give no flux to scale from (no candela multiplier)."},
        {"no target", scaleToFlux(w, 0, 1), "The total flux must be a number greater than zero."},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.result.refusal, c.refusal) << c.what;
        EXPECT_EQ(c.result.web.has_value(), c.refusal.empty()) << c.what;
    }
}

TEST(WebOps, TypeBIsHeldHighestFirst) {
    const Web b = makeWeb(2, {90, 0, -90}, {-90, 0, 90},
                          [](double h, double v) { return 100 + v + (h > 0 ? h : 0); });
    const Web v = expect(insertAngle(b, Axis::kVertical, -45));
    EXPECT_EQ(v.vertAngles, (OneBased<float>{90, 0, -45, -90}));
    EXPECT_DOUBLE_EQ(v.candela(1, 3), 55);
    EXPECT_EQ(expect(resample(b, 45, {})).vertAngles, (OneBased<float>{90, 45, 0, -45, -90}));
    const Web lateral = expect(symmetrise(b, Symmetry::kLateral));
    EXPECT_EQ(lateral.horAngles, (OneBased<float>{0, 90}));
    EXPECT_DOUBLE_EQ(lateral.candela(2, 1), 235);  // 280 and 190 averaged
    const Web full = expect(symmetrise(lateral, Symmetry::kNone));
    EXPECT_EQ(full.horAngles, (OneBased<float>{-90, 0, 90}));
    EXPECT_EQ(full.candela(1, 1), full.candela(3, 1));
    EXPECT_EQ(detectSymmetry(b, 0.01).text,
              "No symmetry found; the data hold a full set, -90 to 90.");
}

TEST(WebOps, DetectsSymmetryWithinTheTolerance) {
    Web w = expect(
        symmetrise(makeWeb(1, steps(0, 90, 10), steps(0, 360, 30), lopsided), Symmetry::kC0C180));
    w = expect(symmetrise(w, Symmetry::kNone));
    EXPECT_EQ(detectSymmetry(w, 0.001).text,
              "Symmetric about the C0-C180 plane within 0.1 % of the peak; the data hold a full "
              "set, 0 to 360.");
    w.candela(3, 4) *= 1.005;
    EXPECT_EQ(detectSymmetry(w, 0.001).found, Symmetry::kNone);
    EXPECT_EQ(detectSymmetry(w, 0.01).found, Symmetry::kC0C180);
    const Web one = makeWeb(1, {0, 90}, {0}, lopsided);
    EXPECT_EQ(detectSymmetry(one, 0).text,
              "Rotationally symmetric within 0 % of the peak; the data hold one plane "
              "(rotational).");
}

// A file that passes the save check passes it after any operation that applies; the record
// built from the result has the counts and arrays of the web.
TEST(WebOps, CorpusFilesStaySavable) {
    using Op = std::function<WebResult(const Web&)>;
    const std::vector<Op> ops = {
        [](const Web& w) { return symmetrise(w, Symmetry::kNone); },
        [](const Web& w) { return symmetrise(w, Symmetry::kQuadrant); },
        [](const Web& w) { return symmetrise(w, Symmetry::kC90C270); },
        [](const Web& w) { return symmetrise(w, Symmetry::kRotational); },
        [](const Web& w) { return symmetrise(w, Symmetry::kLateral); },
        [](const Web& w) { return rotate(w, 90); },
        [](const Web& w) { return mirror(w, MirrorPlane::kC0C180); },
        [](const Web& w) { return resample(w, 5, 5); },
        [](const Web& w) { return equalNadir(w); },
        [](const Web& w) { return removeAngle(w, Axis::kVertical, w.numVert()); },
    };
    int applied = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR)) {
        if (entry.path().extension() != ".ies") continue;
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(in), {});
        IesRecord record;
        IesReader().ParseIes(record, normaliseLineEnds(text), false, "");
        EditorState form;
        testing::ScriptedPrompter prompter;
        ASSERT_TRUE(Fill(record, form, prompter));
        WarningList before;
        Validate(form, before);
        // The flux the dialog scales to is the one the figures show.
        if (const Figure<double> flux = totalFlux(record)) {
            EXPECT_NEAR(*webFlux(expect(webOf(form)), record.OtherData.multiplier), *flux,
                        1e-9 * *flux);
        }
        for (const Op& op : ops) {
            const WebResult r = op(expect(webOf(form)));
            if (!r.web) continue;
            ++applied;
            EditorState after = form;
            after.candelaText.assign(1, true);  // a lamp change's texts, stale once reshaped
            putWeb(*r.web, after);
            EXPECT_TRUE(after.candelaText.empty());
            WarningList warnings;
            Validate(after, warnings);
            // Nothing new: an operation may only take findings away (the nadir's, say).
            EXPECT_NE(before.text().find(warnings.text()), std::string::npos) << warnings.text();
            IesRecord saved = record;
            ASSERT_TRUE(SaveData(after, saved, prompter));
            EXPECT_EQ(saved.OtherData.numHorzAngles, r.web->numHorz());
            EXPECT_EQ(saved.Candela.rows(), r.web->numHorz());
        }
    }
    EXPECT_GT(applied, 100);
}

}  // namespace
}  // namespace kandor
