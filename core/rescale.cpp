#include "core/rescale.h"

#include <algorithm>
#include <cmath>

#include "core/numforms.h"
#include "core/runtimefault.h"

namespace kandor {

namespace {

double divide(double numerator, double denominator) {
    if (denominator == 0) raiseFault(fault::kDivisionByZero);
    const double q = numerator / denominator;
    if (!std::isfinite(q)) raiseFault(fault::kOverflow);
    return q;
}

std::string faultText(std::string_view step, const RuntimeFault& f) {
    std::string text(rescale_text::kRanOutOfFingers);
    text += step;
    text += " : ";
    text += std::to_string(f.number());
    text += f.description();
    return text;
}

double maxOf(const OneBased2D<double>& table) {
    const auto& values = table.values();
    return values.empty() ? 0 : *std::max_element(values.begin(), values.end());
}

}  // namespace

double rescaledValue(double factor, double candela) {
    const double x = factor * candela;
    if (!std::isfinite(x)) raiseFault(fault::kOverflow);
    // Away from a half-thousandth the nearest thousandth is what the text shows, and n / 1000
    // is the same double the text reads back as. Near a half only the decimal form can tell:
    // its 15 digits may already have rounded the value onto the half (large values keep few
    // decimals), so the margin grows with the value.
    const double scaled = std::fabs(x * 1000.0);
    if (scaled < 1e14) {
        const double whole = std::floor(scaled);
        const double rest = scaled - whole;
        if (std::fabs(rest - 0.5) > 1e-6 + scaled * 1e-14)
            return std::copysign(std::round(scaled), x) / 1000.0;
        // Exactly on the half (halving a table of thousandths lands there for every odd one):
        // below 1E11 the decimal form is that half too, and goes away from zero.
        if (rest == 0.5 && scaled < 1e11) return std::copysign(whole + 1, x) / 1000.0;
    }
    return readLenient(formatPattern(x, rescale_text::kRescaledPattern));
}

std::string multiplierText(double multiplier) {
    // Five decimals are the form's own; a value they would round off (0.000139147 to 0.00014,
    // or anything small to 0.00000) keeps its seven significant digits instead.
    std::string fixed = formatPattern(multiplier, rescale_text::kMultiplierPattern);
    if (toSingle(std::string_view(fixed)) == static_cast<float>(multiplier)) return fixed;
    return generalSingle(static_cast<float>(multiplier));
}

std::optional<std::int16_t> wholeLampCount(std::string_view text) {
    if (!isNumeric(text)) return std::nullopt;
    try {
        return toInt16(text);
    } catch (const RuntimeFault&) {
        return std::nullopt;
    }
}

LampChange lampChanged(const IesRecord& record, const LampTexts& texts, bool multiplierEdited,
                       int changingLamp, OneBased2D<double>& display) {
    namespace t = rescale_text;
    LampChange out;
    out.step = t::kStepStart;
    try {
        if (texts.multiplier.empty()) return out;
        const LampData& d = record.OtherData;
        if (multiplierEdited) {
            out.step = t::kStepIsMult;
            if (!isNumeric(texts.multiplier)) return out;
            const double m = toDouble(texts.multiplier);
            if (m > 0) out.factor = divide(d.multiplier, m);
        } else {
            out.step = t::kStepNotMult;
            if (!isNumeric(texts.numLamps) || !isNumeric(texts.lumPerLamp)) return out;
            const double n = toDouble(texts.numLamps);
            const double p = toDouble(texts.lumPerLamp);
            // Absolute photometry on either side (the record's -1, or a -1 being typed), and a
            // zero or negative total on the way to another number, scale nothing: a negative or
            // zero multiplier would only fail the check on a field the user did not type in.
            if (d.lumensPerLamp != -1.0f && p != -1.0) {
                const double factor =
                    divide(p * n, static_cast<double>(d.numLamps) * d.lumensPerLamp);
                if (factor > 0) out.factor = factor;
            }
            out.step = t::kStepBuiltMult;
        }
        // Without a factor the safe choice is to change nothing at all.
        if (!out.factor) return out;
        const double factor = *out.factor;

        switch (changingLamp) {
            case kLampScalesMultiplier:
                out.step = t::kStepChangeMult;
                out.multiplierText = multiplierText(d.multiplier * factor);
                break;
            case kLampScalesValues: {
                out.step = t::kStepChangeCda;
                // The display holds every type but C highest angle first, as the form fills it;
                // reading the record the same way keeps a rescaled Type A table the right way up.
                const bool reversed = d.photometricType != 1;
                const int numVert = display.cols();
                for (int h = 1; h <= display.rows(); ++h)
                    for (int v = 1; v <= numVert; ++v) {
                        display(h, v) = rescaledValue(
                            factor, record.Candela(h, reversed ? numVert - v + 1 : v));
                        out.candelaChanged = true;
                    }
                out.step = t::kStepSetMaxx;
                out.maxCandela = factor * maxOf(record.Candela);
                if (!std::isfinite(out.maxCandela)) raiseFault(fault::kOverflow);
                out.candelaChanged = true;
                break;
            }
            default:
                break;
        }
    } catch (...) {
        out.faultMessage = faultText(out.step, currentFault());
    }
    return out;
}

}  // namespace kandor
