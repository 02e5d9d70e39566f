#include "core/numforms.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <system_error>

#include "core/runtimefault.h"

namespace kandor {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string nonFinite(double value) {
    if (std::isnan(value)) return "NaN";
    return value < 0 ? "-Infinity" : "Infinity";
}

// Near the largest double, 15 significant digits can round up past it ("1.79769313486232E+308"),
// and such a text no longer reads back as a number. Only there are more digits needed.
constexpr double kNearLargestDouble = 1.7976931348e308;
constexpr int kDoubleDigits = 15;
constexpr int kAllDoubleDigits = 17;

bool readsAsDouble(const char* first, const char* last) {
    double back = 0;
    return std::from_chars(first, last, back).ec == std::errc();
}

// %G-style text with a given precision, then the run time's own touches.
template <class F>
std::string plainFloating(F value, int precision, bool trim) {
    if (!std::isfinite(value)) return nonFinite(static_cast<double>(value));
    if (value == 0) return trim ? "0" : " 0";  // negative zero reads as plain zero
    char buf[64];
    auto res = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, precision);
    if (std::fabs(static_cast<double>(value)) > kNearLargestDouble && !readsAsDouble(buf, res.ptr))
        res = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general,
                            kAllDoubleDigits);
    std::string text(buf, res.ptr);
    for (char& c : text)
        if (c == 'e') c = 'E';
    if (text.starts_with("0."))
        text.erase(0, 1);
    else if (text.starts_with("-0."))
        text.erase(1, 1);
    if (!trim && value > 0) text.insert(text.begin(), ' ');
    return text;
}

// The decimal digits and exponent of |value| rounded to `digits` significant digits:
// |value| = 0.d1d2...dn x 10^(exponent + 1).
struct Decimal {
    std::string digits;
    int exponent = 0;
};

template <class F>
Decimal decimalDigits(F magnitude, int digits) {
    char buf[64];
    auto res =
        std::to_chars(buf, buf + sizeof buf, magnitude, std::chars_format::scientific, digits - 1);
    if (static_cast<double>(magnitude) > kNearLargestDouble && !readsAsDouble(buf, res.ptr))
        res = std::to_chars(buf, buf + sizeof buf, magnitude, std::chars_format::scientific,
                            kAllDoubleDigits - 1);
    std::string_view text(buf, static_cast<std::size_t>(res.ptr - buf));
    Decimal d;
    std::size_t e = text.find('e');
    for (char c : text.substr(0, e))
        if (isDigit(c)) d.digits.push_back(c);
    std::string_view exp = text.substr(e + 1);
    if (!exp.empty() && exp.front() == '+') exp.remove_prefix(1);
    std::from_chars(exp.data(), exp.data() + exp.size(), d.exponent);
    return d;
}

// Adds one unit in the last place of a string of decimal digits.
void incrementDigits(std::string& digits) {
    for (auto it = digits.rbegin(); it != digits.rend(); ++it) {
        if (*it != '9') {
            ++*it;
            return;
        }
        *it = '0';
    }
    digits.insert(digits.begin(), '1');
}

}  // namespace

std::string plainSingle(float value, bool trim) {
    return plainFloating(value, 7, trim);
}
std::string plainDouble(double value, bool trim) {
    return plainFloating(value, kDoubleDigits, trim);
}

std::string plainInt(long long value, bool trim) {
    std::string text = std::to_string(value);
    if (!trim && value >= 0) text.insert(text.begin(), ' ');
    return text;
}

std::string generalSingle(float value) {
    if (!std::isfinite(value)) return nonFinite(value);
    if (value == 0) return "0";
    Decimal d = decimalDigits(std::fabs(value), 7);
    while (d.digits.size() > 1 && d.digits.back() == '0')
        d.digits.pop_back();
    std::string text = value < 0 ? "-" : "";
    const int n = static_cast<int>(d.digits.size());
    if (d.exponent >= -15 && d.exponent <= 14) {
        if (d.exponent >= 0) {
            if (n <= d.exponent + 1) {
                text += d.digits;
                text.append(static_cast<std::size_t>(d.exponent + 1 - n), '0');
            } else {
                text += d.digits.substr(0, static_cast<std::size_t>(d.exponent + 1));
                text += '.';
                text += d.digits.substr(static_cast<std::size_t>(d.exponent + 1));
            }
        } else {
            text += "0.";
            text.append(static_cast<std::size_t>(-d.exponent - 1), '0');
            text += d.digits;
        }
        return text;
    }
    text += d.digits.front();
    if (n > 1) {
        text += '.';
        text += d.digits.substr(1);
    }
    text += 'E';
    text += std::to_string(d.exponent);
    return text;
}

namespace {

struct PatternShape {
    int required = 0;  // "0" decimals, always shown
    int optional = 0;  // "#" decimals, shown unless zero
};

PatternShape patternShape(std::string_view pattern) {
    PatternShape shape;
    if (std::size_t point = pattern.find('.'); point != std::string_view::npos) {
        for (char c : pattern.substr(point + 1)) {
            if (c == '0') ++shape.required;
            if (c == '#') ++shape.optional;
        }
    }
    return shape;
}

// Writes the integer part and the decimals of `scaled` (the number times 10^decimals, as a
// string of digits of at least decimals + 1 characters) the way the pattern shows them.
void appendScaled(std::string& out, std::string_view scaled, PatternShape shape, bool negative) {
    const std::size_t decimals = static_cast<std::size_t>(shape.required + shape.optional);
    std::string_view integer = scaled.substr(0, scaled.size() - decimals);
    std::string_view fraction = scaled.substr(integer.size());
    while (integer.size() > 1 && integer.front() == '0')
        integer.remove_prefix(1);
    while (fraction.size() > static_cast<std::size_t>(shape.required) && fraction.back() == '0')
        fraction.remove_suffix(1);
    if (negative) out += '-';
    out += integer;
    if (!fraction.empty()) {
        out += '.';
        out += fraction;
    }
}

// The tables hold whole thousandths (the reader rounds candela values to three decimals). For
// those below 1E12 the 15-significant-digit form is exactly the thousandths, so rounding at
// the pattern's last decimal is integer arithmetic; the result is the same text as the general
// route below, without its temporaries. Returns false when the value is not such a number.
bool appendThousandths(std::string& out, double value, PatternShape shape) {
    const int decimals = shape.required + shape.optional;
    if (!(std::fabs(value) < 1e12) || decimals > 6) return false;
    const double scaled = std::nearbyint(value * 1000.0);
    if (scaled / 1000.0 != value) return false;
    unsigned long long units = static_cast<unsigned long long>(std::fabs(scaled));
    static constexpr unsigned long long kPowers[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    if (decimals < 3) {
        const unsigned long long unit = kPowers[3 - decimals];
        units = (units + unit / 2) / unit;  // half away from zero
    } else {
        units *= kPowers[decimals - 3];
    }
    char digits[32];
    char* end = std::to_chars(digits, digits + sizeof digits, units).ptr;
    std::size_t length = static_cast<std::size_t>(end - digits);
    char padded[32];
    const std::size_t minimum = static_cast<std::size_t>(decimals) + 1;
    const char* text = digits;
    if (length < minimum) {
        std::memset(padded, '0', minimum - length);
        std::memcpy(padded + (minimum - length), digits, length);
        text = padded;
        length = minimum;
    }
    appendScaled(out, std::string_view(text, length), shape, value < 0);
    return true;
}

}  // namespace

void appendPattern(std::string& out, double value, std::string_view pattern) {
    const PatternShape shape = patternShape(pattern);
    if (!std::isfinite(value)) {
        out += nonFinite(value);
        return;
    }
    if (appendThousandths(out, value, shape)) return;

    // The number rounded to the pattern's decimals, as a string of digits with the point
    // implied `decimals` places from the right.
    const int decimals = shape.required + shape.optional;
    std::string scaled;
    if (value != 0) {
        Decimal d = decimalDigits(std::fabs(value), kDoubleDigits);
        const int keep = d.exponent + 1 + decimals;
        bool roundUp = false;
        if (keep >= static_cast<int>(d.digits.size())) {
            scaled = d.digits;
            scaled.append(static_cast<std::size_t>(keep) - d.digits.size(), '0');
        } else if (keep >= 0) {
            scaled = d.digits.substr(0, static_cast<std::size_t>(keep));
            roundUp = d.digits[static_cast<std::size_t>(keep)] >= '5';
        }
        if (roundUp) incrementDigits(scaled);
    }
    if (scaled.size() < static_cast<std::size_t>(decimals) + 1)
        scaled.insert(0, static_cast<std::size_t>(decimals) + 1 - scaled.size(), '0');
    appendScaled(out, scaled, shape, value < 0);
}

std::string formatPattern(double value, std::string_view pattern) {
    std::string text;
    appendPattern(text, value, pattern);
    return text;
}

void appendPlainDouble(std::string& out, double value) {
    // Whole thousandths below 1E11 have at most 14 significant digits, so their plain form is
    // just their decimal digits; everything else takes the general route.
    if (std::fabs(value) < 1e11) {
        const double scaled = std::nearbyint(value * 1000.0);
        if (scaled / 1000.0 == value) {
            if (scaled == 0) {
                out += '0';
                return;
            }
            unsigned long long units = static_cast<unsigned long long>(std::fabs(scaled));
            if (value < 0) out += '-';
            char digits[24];
            if (units >= 1000)
                out.append(digits, std::to_chars(digits, digits + 24, units / 1000).ptr);
            if (const unsigned fraction = static_cast<unsigned>(units % 1000); fraction != 0) {
                char tail[4] = {'.', static_cast<char>('0' + fraction / 100),
                                static_cast<char>('0' + fraction / 10 % 10),
                                static_cast<char>('0' + fraction % 10)};
                std::size_t n = 4;
                while (tail[n - 1] == '0')
                    --n;
                out.append(tail, n);
            }
            return;
        }
    }
    out += plainDouble(value, true);
}

double readLenient(std::string_view text) {
    std::size_t i = 0;
    const std::size_t n = text.size();
    while (i < n && isBlank(text[i]))
        ++i;
    bool negative = false;
    if (i < n && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    const std::size_t mantissa = i;
    std::size_t digits = 0;
    int magnitude = 0;  // decimal position of the first non-zero digit, relative to the point
    bool seenNonZero = false;
    bool afterPoint = false;
    while (i < n && (isDigit(text[i]) || (text[i] == '.' && !afterPoint))) {
        if (text[i] == '.') {
            afterPoint = true;
        } else {
            ++digits;
            if (!seenNonZero && text[i] != '0') seenNonZero = true;
            if (!afterPoint && seenNonZero) ++magnitude;
            if (afterPoint && !seenNonZero) --magnitude;
        }
        ++i;
    }
    if (digits == 0) return 0;
    std::size_t end = i;
    long long exponent = 0;
    if (i < n && (text[i] == 'E' || text[i] == 'e')) {
        std::size_t j = i + 1;
        bool expNegative = false;
        if (j < n && (text[j] == '+' || text[j] == '-')) expNegative = text[j++] == '-';
        if (j < n && isDigit(text[j])) {
            while (j < n && isDigit(text[j])) {
                if (exponent < 100000) exponent = exponent * 10 + (text[j] - '0');
                ++j;
            }
            if (expNegative) exponent = -exponent;
            end = j;
        }
    }
    // from_chars takes no "+" sign; strip it and re-apply the sign ourselves.
    std::string token(text.substr(mantissa, end - mantissa));
    if (std::size_t plus = token.find('+'); plus != std::string::npos) token.erase(plus, 1);
    double value = 0;
    auto res = std::from_chars(token.data(), token.data() + token.size(), value);
    if (res.ec == std::errc::result_out_of_range) {
        if (seenNonZero && magnitude + exponent > 0) raiseFault(fault::kOverflow);
        value = 0;
    } else if (res.ec != std::errc()) {
        value = 0;
    }
    return negative ? -value : value;
}

bool isNumeric(std::string_view text) {
    std::size_t i = 0;
    const std::size_t n = text.size();
    while (i < n && isBlank(text[i]))
        ++i;
    if (i < n && (text[i] == '+' || text[i] == '-')) ++i;
    std::size_t digits = 0;
    while (i < n && isDigit(text[i]))
        ++i, ++digits;
    if (i < n && text[i] == '.') {
        ++i;
        while (i < n && isDigit(text[i]))
            ++i, ++digits;
    }
    if (digits == 0) return false;
    if (i < n && (text[i] == 'E' || text[i] == 'e')) {
        ++i;
        if (i < n && (text[i] == '+' || text[i] == '-')) ++i;
        if (i >= n || !isDigit(text[i])) return false;
        while (i < n && isDigit(text[i]))
            ++i;
    }
    while (i < n && isBlank(text[i]))
        ++i;
    return i == n;
}

namespace {
template <class I>
I roundToInteger(double value) {
    if (std::isnan(value)) raiseFault(fault::kOverflow);
    const double r = std::nearbyint(value);  // the default rounding mode: halves to even
    if (r < static_cast<double>(std::numeric_limits<I>::min()) ||
        r > static_cast<double>(std::numeric_limits<I>::max()))
        raiseFault(fault::kOverflow);
    return static_cast<I>(r);
}
}  // namespace

std::int16_t toInt16(double value) {
    return roundToInteger<std::int16_t>(value);
}
std::int32_t toInt32(double value) {
    return roundToInteger<std::int32_t>(value);
}

float toSingle(double value) {
    if (std::isnan(value)) return std::numeric_limits<float>::quiet_NaN();
    if (std::fabs(value) > static_cast<double>(FLT_MAX)) raiseFault(fault::kOverflow);
    return static_cast<float>(value);
}

double shortestDecimal(float value) {
    char buffer[32];
    const char* end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    double back = 0;
    std::from_chars(buffer, end, back);
    return back;
}

double toDouble(std::string_view text) {
    if (!isNumeric(text)) raiseFault(fault::kTypeMismatch);
    return readLenient(text);
}

float toSingle(std::string_view text) {
    return toSingle(toDouble(text));
}
std::int16_t toInt16(std::string_view text) {
    return toInt16(toDouble(text));
}

}  // namespace kandor
