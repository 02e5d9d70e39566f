#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kandor {

// Every conversion between numbers and text goes through here, so that the forms are the same
// in the exchange, the writer, the messages and the form fields, and never depend on the
// user's locale: "." is always the decimal point.

// The run time's plain form: up to 7 significant digits for a 32-bit float, 15 for a 64-bit
// one, no zero before the point (".5", "-.25"), exponent form at the magnitudes where C's %G
// switches ("1E+20", "1.5E-07"), and one leading blank for a non-negative number unless
// trimmed. Every such text reads back: a 64-bit value whose 15 digits would round beyond the
// largest double is written with 17.
std::string plainSingle(float value, bool trim = false);
std::string plainDouble(double value, bool trim = false);
std::string plainInt(long long value, bool trim = false);

// The general form of a 32-bit float, used by the writer, in messages and in form fields: at
// most 7 significant digits, no trailing zeros, no point for whole values ("0", "90", "22.5",
// "-1"), no leading blank. Positional for 1E-15 <= |x| < 1E+15, beyond that an exponent
// without a plus sign ("1E20", "1.5E-20"), because the reader ends a token at "+".
std::string generalSingle(float value);

// A fixed pattern of the form "#0." followed by required "0" and optional "#" decimals:
// "#0.00", "#0.00000", "#0.00#". Rounds half away from zero on the value's 15-significant-digit
// decimal form (2.675 -> "2.68"), or on 17 digits where 15 would round beyond the largest
// double; a tiny negative value keeps its sign ("-0.00").
std::string formatPattern(double value, std::string_view pattern);
// Appends formatPattern(value, pattern) to `out`; tables of whole thousandths take no
// temporaries.
void appendPattern(std::string& out, double value, std::string_view pattern);
// Appends plainDouble(value, true) to `out`, the same way.
void appendPlainDouble(std::string& out, double value);

// Lenient reading: leading spaces and tabs skipped, the longest numeric prefix counts,
// anything else reads as 0. A value beyond the range of a double raises fault 6.
double readLenient(std::string_view text);

// The numeric test: optional blanks, an optional sign, digits with an optional point, an
// optional exponent ("E" or "e", optional sign, digits), optional blanks; nothing else.
bool isNumeric(std::string_view text);

// Conversions with halves rounded to even; a result out of range raises fault 6 (overflow).
std::int16_t toInt16(double value);
std::int32_t toInt32(double value);
float toSingle(double value);

// The decimal a 32-bit float was typed or read as: its shortest text read as a double, so that
// 0.12f gives 0.12 and not 0.119999997. Sums and differences of such decimals give back the
// same floats, so that turning planes four times ends exactly where it began.
double shortestDecimal(float value);

// Strict conversions of text: a text that fails the numeric test raises fault 13 (type
// mismatch); a value out of range raises fault 6.
double toDouble(std::string_view text);
float toSingle(std::string_view text);
std::int16_t toInt16(std::string_view text);

}  // namespace kandor
