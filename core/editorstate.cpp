#include "core/editorstate.h"
#include "core/keywords.h"

#include <algorithm>
#include <cmath>

#include "core/numforms.h"
#include "core/runtimefault.h"
#include "core/shapes.h"

namespace kandor {

namespace {

constexpr std::string_view kCrlf = "\r\n";

bool reversedVertical(std::int16_t photometricType) {
    // The editor shows every type but C highest angle first; SaveData and the validation use
    // the same test, so a Type A record goes back the way it came.
    return photometricType != 1;
}

// The lines of the keyword text, split at CRLF, without the empty ones.
std::vector<std::string> nonEmptyLines(std::string_view text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = text.find(kCrlf, start);
        const std::string_view line = text.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end - start);
        if (!line.empty()) lines.emplace_back(line);
        if (end == std::string_view::npos) break;
        start = end + kCrlf.size();
    }
    return lines;
}

// A number field the user left as Fill wrote it keeps the record's exact value: the form shows
// seven significant digits, a 32-bit float may need nine.
float keptOrTyped(const std::string& text, float current) {
    if (text == generalSingle(current)) return current;
    return toSingle(std::string_view(text));
}

}  // namespace

std::string fileTitle(std::string_view path) {
    const std::size_t cut = path.find_last_of("\\/");
    return std::string(cut == std::string_view::npos ? path : path.substr(cut + 1));
}

int revisionFromKeyword(std::string_view firstLine) {
    if (firstLine.find("2002") != std::string_view::npos) return 3;
    if (firstLine.find("1995") != std::string_view::npos) return 2;
    if (firstLine.find("91") != std::string_view::npos) return 1;
    return 0;
}

bool firstLineIsFormatLine(const IesRecord& record, int revisionIndex) {
    if (revisionIndex == 0 || record.Keywords.empty()) return false;
    return upperAscii(record.Keywords(1)).starts_with("IESNA");
}

double maxCandelaOf(const OneBased2D<double>& table) {
    const auto& values = table.values();
    if (values.empty()) return 0;
    return *std::max_element(values.begin(), values.end());
}

bool Fill(const IesRecord& record, EditorState& form, Prompter& prompter) {
    try {
        const LampData& d = record.OtherData;
        form.labFile = record.Filename;
        form.caption = std::string(transfer_text::kCaptionPrefix) + fileTitle(record.Filename);

        // A record without keyword lines (a host may send one) is a 1986 record.
        const std::string_view first =
            record.Keywords.empty() ? std::string_view() : std::string_view(record.Keywords(1));
        form.revision = revisionFromKeyword(first);

        form.txtNumLamps = plainInt(d.numLamps, true);
        form.txtLumPerLamp = generalSingle(d.lumensPerLamp);
        form.txtMultiplier = generalSingle(d.multiplier);
        form.txtBallast = generalSingle(d.ballastFactor);
        form.txtWatt = generalSingle(d.inputWatts);
        form.rdoFeet = unitsShowFeet(d.unitsType);

        form.lmpCmbShape = shapeFromDims(form.revision, storedDims(d));
        form.txtWidth = generalSingle(std::fabs(d.width));
        form.txtLength = generalSingle(std::fabs(d.length));
        form.txtHeight = generalSingle(std::fabs(d.height));
        // Fields the shape does not use show the "0" its encoding reads.
        if (const auto view = shapeFieldsView(form.lmpCmbShape)) {
            if (!view->width.enabled) form.txtWidth = kDisabledFieldText;
            if (!view->length.enabled) form.txtLength = kDisabledFieldText;
            if (!view->height.enabled) form.txtHeight = kDisabledFieldText;
        }

        form.shapeAsFilled = {form.lmpCmbShape, form.revision,  form.txtWidth,
                              form.txtLength,   form.txtHeight, form.rdoFeet};

        if (!record.TiltIncl) {
            form.tltChkTilt = 0;
        } else {
            const TiltTable& t = record.TiltData;
            form.tltChkTilt = 1;
            const int index = t.lampToLuminaire - 1;
            form.lmpCmbLampToLuminare =
                index >= 0 && index < static_cast<int>(kLampToLuminaireNames.size()) ? index : -1;
            form.lmpTxtNumAngles = plainInt(t.numPairs, true);
            form.tiltAngles.redim(t.numPairs);
            form.tiltFactors.redim(t.numPairs);
            for (int i = 1; i <= t.numPairs; ++i) {
                form.tiltAngles(i) = t.angles(i);
                form.tiltFactors(i) = t.factors(i);
            }
        }

        const bool skipFormatLine = firstLineIsFormatLine(record, form.revision);
        OneBased<std::string> shown;
        for (int i = skipFormatLine ? 2 : 1; i <= record.Keywords.ubound(); ++i)
            shown.append(record.Keywords(i));
        form.keyRuns.clear();
        form.keyRtb.clear();
        if (first.find("1986") != std::string_view::npos || form.revision != 0) {
            form.keyRuns = ColorKeywords(shown);
            for (const KeywordRun& run : form.keyRuns)
                form.keyRtb += run.text;
        } else {
            for (const std::string& line : shown) {
                form.keyRtb += line;
                form.keyRtb += kCrlf;
            }
        }

        form.photometricType = d.photometricType;
        form.label4 =
            std::string(d.photometricType == 1 ? transfer_text::kTypeC : transfer_text::kTypeB);

        const int numVert = std::max<int>(d.numVertAngles, 0);
        const int numHorz = std::max<int>(d.numHorzAngles, 0);
        form.numVert = d.numVertAngles;
        form.numHorz = d.numHorzAngles;
        form.vertAngles.redim(numVert);
        form.horAngles.redim(numHorz);
        form.candela.redim(numHorz, numVert);
        const bool reversed = reversedVertical(d.photometricType);
        for (int v = 1; v <= numVert; ++v)
            form.vertAngles(v) = record.VertAngles(reversed ? numVert - v + 1 : v);
        for (int h = 1; h <= numHorz; ++h)
            form.horAngles(h) = record.HorAngles(h);
        for (int h = 1; h <= numHorz; ++h)
            for (int v = 1; v <= numVert; ++v)
                form.candela(h, v) = record.Candela(h, reversed ? numVert - v + 1 : v);
        form.maxCandela = maxCandelaOf(form.candela);
        form.candelaText.clear();
        form.dataShown = true;
        return true;
    } catch (...) {
        const RuntimeFault fault = currentFault();
        prompter.tell(std::to_string(fault.number()) + " " + fault.description() +
                      std::string(transfer_text::kFillFailedTail));
        return false;
    }
}

void saveWeb(const ValidationInput& form, IesRecord& record) {
    const int numVert = form.numVert;
    const int numHorz = form.numHorz;
    const bool reversed = reversedVertical(record.OtherData.photometricType);
    record.resizeGrid(numVert, numHorz);
    for (int h = 1; h <= numHorz; ++h)
        record.HorAngles(h) = form.horAngles(h);
    for (int v = 1; v <= numVert; ++v)
        record.VertAngles(reversed ? numVert - v + 1 : v) = form.vertAngles(v);
    for (int h = 1; h <= numHorz; ++h)
        for (int v = 1; v <= numVert; ++v)
            record.Candela(h, reversed ? numVert - v + 1 : v) = form.candela(h, v);
}

bool SaveData(const EditorState& form, IesRecord& record, Prompter& prompter) {
    try {
        LampData& d = record.OtherData;
        d.numLamps = toInt16(std::string_view(form.txtNumLamps));
        d.lumensPerLamp = keptOrTyped(form.txtLumPerLamp, d.lumensPerLamp);
        d.multiplier = keptOrTyped(form.txtMultiplier, d.multiplier);
        d.ballastFactor = keptOrTyped(form.txtBallast, d.ballastFactor);
        d.inputWatts = keptOrTyped(form.txtWatt, d.inputWatts);
        if (form.rdoFeet != form.shapeAsFilled.feet) d.unitsType = unitsTypeFromForm(form.rdoFeet);

        const EditorState::ShapeAsFilled& filled = form.shapeAsFilled;
        const bool shapeUntouched =
            filled.shape == form.lmpCmbShape && filled.revision == form.revision &&
            filled.width == form.txtWidth && filled.length == form.txtLength &&
            filled.height == form.txtHeight;
        if (!shapeUntouched) {
            const LuminousDims entered{keptOrTyped(form.txtWidth, std::fabs(d.width)),
                                       keptOrTyped(form.txtLength, std::fabs(d.length)),
                                       keptOrTyped(form.txtHeight, std::fabs(d.height))};
            storeShape(d, form.revision, static_cast<std::int16_t>(form.lmpCmbShape), entered);
        }

        if (form.tltChkTilt != 1) {
            record.TiltIncl = false;
        } else {
            TiltTable& t = record.TiltData;
            record.TiltIncl = true;
            // No selection (a geometry the list does not know) keeps the record's value.
            if (form.lmpCmbLampToLuminare >= 0)
                t.lampToLuminaire = static_cast<std::int16_t>(form.lmpCmbLampToLuminare + 1);
            const std::int16_t pairs = toInt16(std::string_view(form.lmpTxtNumAngles));
            t.numPairs = pairs;
            t.angles.redim(pairs);
            t.factors.redim(pairs);
            for (int i = 1; i <= pairs; ++i) {
                t.angles(i) = form.tiltAngles(i);
                t.factors(i) = form.tiltFactors(i);
            }
        }

        const std::vector<std::string> lines = nonEmptyLines(form.keyRtb);
        OneBased<std::string> keywords;
        if (form.revision >= 1 && form.revision <= 3)
            keywords.append(std::string(kFormatLines[static_cast<std::size_t>(form.revision)]) +
                            std::string(kCrlf));
        for (const std::string& line : lines)
            keywords.append(line);
        record.Keywords = std::move(keywords);

        saveWeb(form, record);
        return true;
    } catch (...) {
        prompter.tell(std::string(transfer_text::kSaveDataFailed));
        return false;
    }
}

bool Backup(const IesRecord& record, IesRecord& backup, Prompter& prompter) {
    // The whole record is kept, not only the members the editor shows: Cancel and Undo must
    // give the host back exactly what it sent. One copy does it; the step only names it.
    const std::string_view step = transfer_text::kStepTransferValues;
    try {
        backup = record;
        return true;
    } catch (...) {
        prompter.tell(std::string(transfer_text::kBackupFailed) + std::string(step) +
                      std::string(transfer_text::kBackupExiting));
        return false;
    }
}

void Restore(const IesRecord& backup, IesRecord& record) {
    record = backup;
}

}  // namespace kandor
