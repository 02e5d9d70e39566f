#include "tools/ldtlint.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "core/ldtconvert.h"
#include "core/ldtreader.h"
#include "core/ldtwriter.h"
#include "core/photometry.h"
#include "tools/lintphotometry.h"

namespace kandor::lint {
namespace {

using Json = nlohmann::ordered_json;

void put(std::FILE* out, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), out);
}

Json recordJson(const LdtRecord& r) {
    Json sets = Json::array();
    for (const LdtLampSet& s : r.lampSets)
        sets.push_back({{"numLamps", s.numLamps},
                        {"type", s.type},
                        {"flux", s.flux},
                        {"colour", s.colour},
                        {"rendering", s.rendering},
                        {"watts", s.watts}});
    Json planes = Json::array();
    const auto ng = static_cast<std::size_t>(r.ng > 0 ? r.ng : 1);
    for (std::size_t i = 0; i < r.intensities.size(); i += ng)
        planes.push_back(std::vector<double>(
            r.intensities.begin() + static_cast<std::ptrdiff_t>(i),
            r.intensities.begin() +
                static_cast<std::ptrdiff_t>(std::min(i + ng, r.intensities.size()))));
    return {{"company", r.company},
            {"ityp", r.ityp},
            {"isym", r.isym},
            {"mc", r.mc},
            {"dc", r.dc},
            {"ng", r.ng},
            {"dg", r.dg},
            {"report", r.report},
            {"luminaireName", r.luminaireName},
            {"luminaireNumber", r.luminaireNumber},
            {"fileName", r.fileName},
            {"dateUser", r.dateUser},
            {"length", r.length},
            {"width", r.width},
            {"height", r.height},
            {"luminousLength", r.luminousLength},
            {"luminousWidth", r.luminousWidth},
            {"luminousHeights", r.luminousHeights},
            {"dff", r.dff},
            {"lorl", r.lorl},
            {"conversionFactor", r.conversionFactor},
            {"tilt", r.tilt},
            {"lampSets", std::move(sets)},
            {"directRatios", r.directRatios},
            {"cAngles", r.cAngles},
            {"gammaAngles", r.gammaAngles},
            {"intensities", std::move(planes)},
            {"trailingText", r.trailingText}};
}

}  // namespace

int lintLdt(const std::string& path, std::string_view text, LdtOutput mode, bool force) {
    const LdtReadResult read = readLdt(text);
    if (mode == LdtOutput::Json || mode == LdtOutput::Summary) {
        // The figures of the record the editor would show; an unusable reading has none.
        const IesRecord converted = ldtToIes(read.record, {false, false}).record;
        PhotometryInput input = photometryInput(converted);
        input.readWhole = read.status != kLdtUnusable;
        const Photometry figures = computePhotometry(input);
        if (mode == LdtOutput::Summary) {
            put(stdout, photometryBlock(path, figures, converted.OtherData.photometricType));
            return read.status;
        }
        Json j;
        j["file"] = path;
        j["format"] = "eulumdat";
        j["status"] = read.status;
        j["reports"] = Json::array();
        for (const LdtFinding& f : read.findings)
            j["reports"].push_back(
                {{"line", f.line}, {"code", f.code}, {"status", f.status}, {"message", f.message}});
        j["record"] = recordJson(read.record);
        j["photometry"] = photometryJson(figures);
        put(stdout, j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
        put(stdout, "\n");
        return read.status;
    }
    std::string listing;
    for (const LdtFinding& f : read.findings)
        listing += path + ":" + std::to_string(f.line) + ": " + std::to_string(f.code) + ": " +
                   f.message + "\n";
    listing += path + ": status " + std::to_string(read.status) + "\n";
    if (mode == LdtOutput::Roundtrip) {
        put(stderr, listing);
        // An unusable reading lacks values the file declares; its text would not be the file.
        if (read.status == kLdtUnusable && !force) {
            put(stderr, "kandor-lint: " + path +
                            ": not written: the reader found the text unusable (status 2); "
                            "--force writes it anyway\n");
            return read.status;
        }
        put(stdout, composeLdt(read.record));
    } else {
        put(stdout, listing);
    }
    return read.status;
}

}  // namespace kandor::lint
