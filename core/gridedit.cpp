#include "core/gridedit.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "core/numforms.h"
#include "core/photometry.h"
#include "core/rescale.h"
#include "core/runtimefault.h"

namespace kandor {

namespace {

// A numeric text as a 32-bit float; none when it is not a number or beyond a float's range.
std::optional<float> singleFrom(std::string_view text) {
    // A pasted table is a million of these: plain digits go straight to the conversion, and
    // anything else (a sign, blanks, a word the conversion would take, a value out of range)
    // the general way.
    const auto plainStart = [](char c) { return (c >= '0' && c <= '9') || c == '.'; };
    if (!text.empty() && (plainStart(text.front()) ||
                          (text.size() > 1 && text.front() == '-' && plainStart(text[1])))) {
        double value = 0;
        const auto r = std::from_chars(text.data(), text.data() + text.size(), value);
        if (r.ec == std::errc() && r.ptr == text.data() + text.size() &&
            std::fabs(value) <= std::numeric_limits<float>::max())
            return static_cast<float>(value);
    }
    if (!isNumeric(text)) return std::nullopt;
    try {
        return toSingle(text);
    } catch (const RuntimeFault&) {
        return std::nullopt;
    }
}

CellEntry angleEntry(std::string_view text, std::string_view refusal) {
    CellEntry e;
    e.value = singleFrom(text);
    if (!e.value) e.message = refusal;
    return e;
}

bool startsNegative(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first != std::string_view::npos && text[first] == '-';
}

void appendShortest(std::string& out, double value) {
    char buffer[400];
    std::to_chars_result r;
    // Values typed or pasted are 32-bit floats; their own shortest form is what was typed.
    if (const auto single = static_cast<float>(value);
        std::fabs(value) <= std::numeric_limits<float>::max() &&
        static_cast<double>(single) == value)
        r = std::to_chars(buffer, buffer + sizeof buffer, single, std::chars_format::fixed);
    else
        r = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    out.append(buffer, r.ptr);
}

}  // namespace

CellEntry vertAngleEntry(std::string_view text) {
    return angleEntry(text, grid_text::kVertNotANumber);
}

CellEntry horzAngleEntry(std::string_view text) {
    return angleEntry(text, grid_text::kHorzNotANumber);
}

CellEntry candelaEntry(std::string_view text) {
    CellEntry e;
    if (!isNumeric(text)) {
        e.message = grid_text::kCandelaNotANumber;
        e.title = grid_text::kInvalidEntryTitle;
        return e;
    }
    double x = 0;
    try {
        x = toDouble(text);
    } catch (const RuntimeFault&) {
        // Beyond a double's range: as far out as a number gets, on its own side of zero.
        x = startsNegative(text) ? -HUGE_VAL : HUGE_VAL;
    }
    if (x < 0) {
        e.message = grid_text::kCandelaNegative;
    } else if (x >= grid_text::kCandelaLimit) {
        e.message = grid_text::kCandelaTooLarge;
    } else {
        e.value = static_cast<float>(x);
    }
    return e;
}

bool candelaDiffers(double shown, double stored) {
    const double tolerance = std::max(0.0005, 6e-8 * std::max(std::fabs(shown), std::fabs(stored)));
    return !(std::fabs(shown - stored) <= tolerance);
}

namespace {

void appendCell(std::string& out, const OneBased2D<double>& display,
                const std::vector<bool>& textCells, int h, int v) {
    const std::size_t cell =
        static_cast<std::size_t>(h - 1) * static_cast<std::size_t>(display.cols()) +
        static_cast<std::size_t>(v - 1);
    const bool anyText = textCells.size() == static_cast<std::size_t>(display.rows()) *
                                                 static_cast<std::size_t>(display.cols());
    if (anyText && textCells[cell])
        out += formatPattern(display(h, v), rescale_text::kRescaledPattern);
    else
        appendShortest(out, display(h, v));
}

}  // namespace

std::string candelaCopyText(const OneBased2D<double>& display, const std::vector<bool>& textCells) {
    std::string out;
    out.reserve(static_cast<std::size_t>(display.rows()) *
                static_cast<std::size_t>(display.cols()) * 9);
    for (int v = 1; v <= display.cols(); ++v) {
        for (int h = 1; h <= display.rows(); ++h) {
            if (h > 1) out += '\t';
            appendCell(out, display, textCells, h, v);
        }
        out += "\r\n";
    }
    return out;
}

std::string candelaSelectionText(const OneBased2D<double>& display,
                                 const std::vector<bool>& textCells,
                                 const std::vector<CandelaCell>& selected) {
    std::vector<CandelaCell> cells;
    for (const CandelaCell& c : selected)
        if (c.h >= 1 && c.h <= display.rows() && c.v >= 1 && c.v <= display.cols())
            cells.push_back(c);
    if (cells.empty()) return {};
    int h0 = cells.front().h, h1 = h0, v0 = cells.front().v, v1 = v0;
    for (const CandelaCell& c : cells) {
        h0 = std::min(h0, c.h);
        h1 = std::max(h1, c.h);
        v0 = std::min(v0, c.v);
        v1 = std::max(v1, c.v);
    }
    const int width = h1 - h0 + 1;
    std::vector<bool> in(static_cast<std::size_t>(width) * static_cast<std::size_t>(v1 - v0 + 1));
    for (const CandelaCell& c : cells)
        in[static_cast<std::size_t>((c.v - v0) * width + (c.h - h0))] = true;
    std::string out;
    for (int v = v0; v <= v1; ++v) {
        for (int h = h0; h <= h1; ++h) {
            if (h > h0) out += '\t';
            if (in[static_cast<std::size_t>((v - v0) * width + (h - h0))])
                appendCell(out, display, textCells, h, v);
        }
        out += "\r\n";
    }
    return out;
}

std::string_view angleAxisName(int photometricType, bool vertical) {
    if (photometricType == 1)
        return vertical ? "vertical angles (\xCE\xB3)" : "horizontal angles (C planes)";
    return vertical ? "vertical angles (V)" : "horizontal angles (H)";
}

std::string_view angleSymbol(int photometricType, bool vertical) {
    if (photometricType == 1) return vertical ? "\xCE\xB3" : "C";
    return vertical ? "V" : "H";
}

std::string candelaCellLine(int photometricType, float horAngle, float vertAngle,
                            std::string_view shown, double value,
                            std::optional<double> multiplier) {
    std::string line = std::string(angleSymbol(photometricType, false)) + " " +
                       generalSingle(horAngle) + "\xC2\xB0 " +
                       std::string(angleSymbol(photometricType, true)) + " " +
                       generalSingle(vertAngle) + "\xC2\xB0: " + std::string(shown);
    if (!multiplier || *multiplier == 1) return line + " cd";
    return line + " (x " + generalSingle(static_cast<float>(*multiplier)) + " = " +
           formatFigure(value * *multiplier) + " cd)";
}

CandelaPaste readCandelaPaste(std::string_view text, int numHorz, int numVert) {
    CandelaPaste out;
    // The line ends, then the trailing empty line dropped: what is left are the pieces, since
    // joining the lines with tabs and splitting at tabs makes every line end a tab.
    std::string_view body = text;
    if (body.ends_with("\r\n"))
        body.remove_suffix(2);
    else if (body.ends_with('\n'))
        body.remove_suffix(1);

    const long long need = static_cast<long long>(std::max(numHorz, 0)) * std::max(numVert, 0);
    std::vector<std::string_view> pieces;
    pieces.reserve(static_cast<std::size_t>(need) + 1);
    std::size_t start = 0;
    const std::size_t n = body.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char c = body[i];
        if (c > '\r') continue;  // digits and points, the bulk of a table
        const bool crlf = c == '\r' && i + 1 < n && body[i + 1] == '\n';
        if (c != '\t' && c != '\n' && !crlf) continue;
        pieces.push_back(body.substr(start, i - start));
        if (crlf) ++i;
        start = i + 1;
    }
    pieces.push_back(body.substr(start));

    if (static_cast<long long>(pieces.size()) != need) {
        out.message = std::to_string(static_cast<long long>(pieces.size()) - 1);
        out.message += grid_text::kValuesRead;
        out.message += std::to_string(need - 1);
        return out;
    }
    OneBased2D<double> values(numHorz, numVert);
    for (std::size_t k = 0; k < pieces.size(); ++k) {
        const std::optional<float> v = singleFrom(pieces[k]);
        if (!v) {
            out.message = grid_text::kCandelaNotANumber;
            out.title = grid_text::kInvalidEntryTitle;
            return out;
        }
        const int h = static_cast<int>(k % static_cast<std::size_t>(numHorz)) + 1;
        const int vert = static_cast<int>(k / static_cast<std::size_t>(numHorz)) + 1;
        values(h, vert) = *v;
    }
    out.values = std::move(values);
    return out;
}

}  // namespace kandor
