#pragma once

// What a change of the lamp data does to the candela multiplier or to the candela values.
// The lamp tab hands over the record and its three texts as typed; everything is computed
// from the record, never from what the text boxes showed before, so that repeated edits do
// not accumulate rounding.

#include <optional>
#include <string>
#include <string_view>

#include "core/iesrecord.h"
#include "core/onebased.h"

namespace kandor {

// The "ChangingLamp" choice: the list index of the settings dialog's combo.
enum ChangingLamp : int {
    kLampScalesMultiplier = 0,
    kLampScalesValues = 1,
    kLampChangesNothing = 2,
};

namespace rescale_text {
// Then the step, " : ", the fault number and its description with nothing between them.
inline constexpr std::string_view kRanOutOfFingers = "Ran out of fingers and toes to count on at ";
inline constexpr std::string_view kStepStart = "start";
inline constexpr std::string_view kStepIsMult = "ismult";
inline constexpr std::string_view kStepNotMult = "not mult";
inline constexpr std::string_view kStepBuiltMult = "built mult";
inline constexpr std::string_view kStepChangeMult = "change mult";
inline constexpr std::string_view kStepChangeCda = "change cda";
inline constexpr std::string_view kStepSetMaxx = "set maxx";
inline constexpr std::string_view kMultiplierPattern = "#0.00000";
inline constexpr std::string_view kRescaledPattern = "#0.00#";
}  // namespace rescale_text

// The lamp tab's three texts as they stand when the routine runs.
struct LampTexts {
    std::string_view numLamps;
    std::string_view lumPerLamp;
    std::string_view multiplier;
};

// What the lamp-change routine did. The caller applies it: the multiplier text into
// txtMultiplier, or (the display array having been written already) the new maximum, the grid
// refresh and the plot redraw; and shows `faultMessage` in an OK-only box when it is set.
struct LampChange {
    std::string_view step;         // how far the routine came
    std::optional<double> factor;  // none: the data gave no factor, nothing was changed
    std::string multiplierText;    // set under "ChangesCandelaMultiplier"
    bool candelaChanged = false;   // the display array was rescaled
    double maxCandela = 0;         // the new current maximum, with candelaChanged
    std::string faultMessage;      // a run-time fault ended the routine
};

// msbLampChanged over plain data. Under "ChangesCandelaValues" it writes the display array
// (horizontal index first, as the candela grid holds it; Type B with the vertical order
// reversed) cell by cell; a fault part way keeps what was written. Non-numeric texts make it
// do nothing; a typed multiplier of 0 or less, or lumens per lamp of -1 on a lamp edit, give
// no factor and leave everything as it is.
LampChange lampChanged(const IesRecord& record, const LampTexts& texts, bool multiplierEdited,
                       int changingLamp, OneBased2D<double>& display);

// The value that factor x candela shows once written with "#0.00#": rounded to three decimals,
// halves away from zero on its 15-digit decimal form. Raises fault 6 when the product is not
// a finite number.
double rescaledValue(double factor, double candela);

// The text of a rescaled candela multiplier: "#0.00000" when that reads back as the same 32-bit
// value, otherwise its general form (seven significant digits). A value beyond the 32-bit range
// raises fault 6.
std::string multiplierText(double multiplier);

// The whole-number conversion of txtNumLamps' handler: none for an empty, non-numeric or
// out-of-range text, which the handler takes as "do nothing".
std::optional<std::int16_t> wholeLampCount(std::string_view text);

}  // namespace kandor
