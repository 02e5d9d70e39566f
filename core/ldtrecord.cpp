#include "core/ldtrecord.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace kandor {

int ldtStoredPlanes(int isym, int mc) {
    if (mc < 1) return -1;
    switch (isym) {
        case 0:
            return mc;
        case 1:
            return 1;
        case 2:
            return mc % 2 == 0 ? mc / 2 + 1 : -1;
        case 3:
            // C90 and C270 must both be in the list for the plane C90-C270 to be stored.
            return mc % 4 == 0 ? mc / 2 + 1 : -1;
        case 4:
            return mc % 4 == 0 ? mc / 4 + 1 : -1;
        default:
            return -1;
    }
}

int ldtFirstStoredPosition(int isym, int mc) {
    return isym == 3 && mc % 4 == 0 ? 3 * mc / 4 : 0;
}

double ldtStoredAngle(const LdtRecord& record, int j) {
    const std::size_t mc = record.cAngles.size();
    const auto first = static_cast<std::size_t>(ldtFirstStoredPosition(record.isym, record.mc));
    return record.cAngles[(first + static_cast<std::size_t>(j)) % mc];
}

bool ldtConsistent(const LdtRecord& record) {
    const int planes = ldtStoredPlanes(record.isym, record.mc);
    return planes > 0 && record.ng > 0 &&
           record.cAngles.size() == static_cast<std::size_t>(record.mc) &&
           record.gammaAngles.size() == static_cast<std::size_t>(record.ng) &&
           record.intensities.size() ==
               static_cast<std::size_t>(planes) * static_cast<std::size_t>(record.ng);
}

int ldtWorstStatus(const std::vector<LdtFinding>& findings) {
    int worst = kLdtClean;
    for (const LdtFinding& f : findings)
        worst = std::max(worst, f.status);
    return worst;
}

namespace {

// A number with a decimal comma ("123,45"), when the comma is its only separator.
[[gnu::noinline]] bool parseWithComma(std::string_view token, double& value) {
    char buffer[64];
    if (token.size() > sizeof buffer || std::count(token.begin(), token.end(), ',') != 1 ||
        token.find('.') != std::string_view::npos)
        return false;
    std::copy(token.begin(), token.end(), buffer);
    const std::size_t size = token.size();
    *std::find(buffer, buffer + size, ',') = '.';
    double parsed = 0;
    const auto res = std::from_chars(buffer, buffer + size, parsed);
    if (res.ec != std::errc() || res.ptr != buffer + size) return false;
    value = parsed;
    return true;
}

}  // namespace

bool parseLdtNumber(std::string_view token, double& value) {
    value = 0;
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    // Only digits, a point or a minus may begin a number: from_chars would take "inf" too,
    // and what it accepts then is always finite (a value out of range is an error).
    const std::size_t lead = token.starts_with('-') ? 1 : 0;
    if (token.size() <= lead) return false;
    const char first = token[lead];
    if (!(first >= '0' && first <= '9') && first != '.') return false;
    double parsed = 0;
    const char* const end = token.data() + token.size();
    const auto res = std::from_chars(token.data(), end, parsed);
    if (res.ec == std::errc() && res.ptr == end) {
        value = parsed;
        return true;
    }
    return parseWithComma(token, value);
}

std::string ldtNumberText(double value) {
    std::string text;
    appendLdtNumber(text, value);
    return text;
}

void appendLdtNumber(std::string& out, double value) {
    if (value == 0 || !std::isfinite(value)) {
        out += '0';
        return;
    }
    char buffer[400];
    const auto res = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    out.append(buffer, res.ptr);
}

double roundSignificant(double value, int digits) {
    if (value == 0 || !std::isfinite(value)) return value;
    char buffer[64];
    const auto res = std::to_chars(buffer, buffer + sizeof buffer, value,
                                   std::chars_format::scientific, digits - 1);
    double rounded = value;
    std::from_chars(buffer, res.ptr, rounded);
    return rounded;
}

}  // namespace kandor
