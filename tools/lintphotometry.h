#pragma once

// kandor-lint's view of the photometric figures: the "photometry" object of --json and the
// block of --summary. The figures themselves come from core/photometry.h.

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/iesreader.h"
#include "core/photometry.h"

namespace kandor::lint {

struct ReaderReport {
    int code;
    std::string_view message;
};

// True when the reader got to the end of the record: no run-time fault ended it early (the end
// of the text included) and it found the TILT line and valid angle counts. A file that is
// unusable only because of negative candela values still has all its values.
inline bool readWhole(int lastFault, const std::vector<ReaderReport>& reports) {
    if (lastFault != 0) return false;
    for (const ReaderReport& r : reports) {
        if (r.code == iesreader_code::kTiltNeverFound || r.code == iesreader_code::kVertCount ||
            r.code == iesreader_code::kHorzCount)
            return false;
        if (r.code == iesreader_code::kMissingTilt && r.message == iesreader_msg::kMissingTilt)
            return false;
    }
    return true;
}

// The "photometry" object: every key always there, an absent figure null with its reason in
// "reasons" under its dotted path.
inline nlohmann::ordered_json photometryJson(const Photometry& f) {
    using Json = nlohmann::ordered_json;
    Json reasons = Json::object();
    const auto put = [&reasons](const std::string& key, const auto& figure, const auto& show) {
        if (figure) return Json(show(*figure));
        reasons[key] = std::string(figure.reason);
        return Json(nullptr);
    };
    const auto plain = [](const auto& v) { return v; };
    const auto spread = [](const SpreadAngle& s) {
        return Json{{"angle", s.degrees}, {"lowerBound", s.lowerBound}};
    };
    Json j;
    j["totalFlux"] = put("totalFlux", f.totalFlux, plain);
    j["downwardFlux"] = put("downwardFlux", f.downwardFlux, plain);
    j["upwardFlux"] = put("upwardFlux", f.upwardFlux, plain);
    j["zonalFlux"] = put("zonalFlux", f.zonalFlux, plain);
    j["lampFlux"] = put("lampFlux", f.lampFlux, plain);
    j["lorPercent"] = put("lorPercent", f.lorPercent, plain);
    j["efficacy"] = put("efficacy", f.efficacy, plain);
    j["peak"] = put("peak", f.peak, [](const PeakIntensity& p) {
        return Json{{"cd", p.cd}, {"h", p.h}, {"v", p.v}};
    });
    for (std::size_t n = 0; n < kCieNames.size(); ++n) {
        const std::string name(kCieNames[n]);
        j["cieFluxCode"][name] = put("cieFluxCode." + name, f.cieFluxCode[n], plain);
    }
    for (std::string_view kind : {"beam", "field", "batwing"}) {
        for (std::size_t p = 0; p < kPairNames.size(); ++p) {
            const std::string pair(kPairNames[p]);
            const std::string key = std::string(kind) + "." + pair;
            const PairFigures& figures = f.pairs[p];
            j[std::string(kind)][pair] = kind == "batwing" ? put(key, figures.batwing, plain)
                                         : kind == "beam"  ? put(key, figures.beam, spread)
                                                           : put(key, figures.field, spread);
        }
    }
    const std::pair<const char*, const Figure<SpreadAngle>*> spreads[] = {
        {"beamH", &f.beamH}, {"beamV", &f.beamV}, {"fieldH", &f.fieldH}, {"fieldV", &f.fieldV}};
    for (const auto& [name, figure] : spreads)
        j["typeBSpread"][name] = put(std::string("typeBSpread.") + name, *figure, spread);
    j["reasons"] = std::move(reasons);
    return j;
}

// The --summary block of one file: its name, then one figure a line, values in one column, and
// a blank line that parts it from the next.
inline std::string photometryBlock(const std::string& file, const Photometry& f, int type) {
    const auto rows = photometrySummary(f, type);
    std::size_t width = 0;
    for (const auto& row : rows)
        width = std::max(width, row.first.size());
    std::string out = file + "\n";
    for (const auto& [label, value] : rows) {
        std::string indent = "  " + std::string(width + 2, ' ');
        out += "  " + label + std::string(width + 2 - label.size(), ' ');
        for (char c : value)
            out += c == '\n' ? "\n" + indent : std::string(1, c);
        out += "\n";
    }
    return out + "\n";
}

}  // namespace kandor::lint
