#pragma once

// What the fuzz targets share: cutting an input into pieces, the record's invariants, and the
// one way a target says that an invariant broke (libFuzzer keeps the input that did it).

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "core/iesrecord.h"

namespace kandor::fuzz {

// Cuts the input into pieces at every `separator`; a value can hold any other byte.
inline std::vector<std::string_view> pieces(std::string_view input, char separator = '\x1e') {
    std::vector<std::string_view> out;
    std::size_t from = 0;
    while (true) {
        const std::size_t at = input.find(separator, from);
        out.push_back(input.substr(from, at == std::string_view::npos ? at : at - from));
        if (at == std::string_view::npos) return out;
        from = at + 1;
    }
}

// Ends the run as a crash, which makes libFuzzer keep the input, with a line saying what broke.
[[noreturn]] inline void broken(std::string_view what) {
    std::fprintf(stderr, "invariant broken: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
}

inline void require(bool holds, std::string_view what) {
    if (!holds) broken(what);
}

// The record's invariants as every consumer relies on them: counts equal the lengths of the
// angle arrays (a count below 0 with an empty array), Candela is H by V (empty when either is
// 0 or less), and with TiltIncl the pair count equals the length of both tilt arrays.
inline void requireShape(const IesRecord& r) {
    const int v = r.OtherData.numVertAngles < 0 ? 0 : r.OtherData.numVertAngles;
    const int h = r.OtherData.numHorzAngles < 0 ? 0 : r.OtherData.numHorzAngles;
    require(r.VertAngles.ubound() == v, "vertical count differs from the vertical angles");
    require(r.HorAngles.ubound() == h, "horizontal count differs from the horizontal angles");
    const bool table = v > 0 && h > 0;
    require(r.Candela.rows() == (table ? h : 0) && r.Candela.cols() == (table ? v : 0),
            "Candela is not H by V");
    require(r.Candela.values().size() == static_cast<std::size_t>(r.Candela.rows()) *
                                             static_cast<std::size_t>(r.Candela.cols()),
            "Candela holds more or fewer cells than its size");
    if (r.TiltIncl) {
        const int pairs = r.TiltData.numPairs < 0 ? 0 : r.TiltData.numPairs;
        require(r.TiltData.angles.ubound() == pairs && r.TiltData.factors.ubound() == pairs,
                "tilt pair count differs from the tilt arrays");
    }
}

}  // namespace kandor::fuzz
