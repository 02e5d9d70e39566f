#include "fileio/lm63file.h"

#include <algorithm>
#include <cmath>

#include "core/iesreader.h"
#include "core/saveies.h"

namespace kandor::fileio {

namespace {

// The offset just past the TILT line, or npos when the text has none.
std::size_t afterTiltLine(std::string_view text) {
    std::size_t lineStart = 0;
    while (lineStart < text.size()) {
        std::size_t end = text.find('\n', lineStart);
        if (end == std::string_view::npos) end = text.size();
        if (startsWithTilt(text.substr(lineStart, end - lineStart)))
            return end < text.size() ? end + 1 : end;
        lineStart = end + 1;
    }
    return std::string_view::npos;
}

}  // namespace

RoundingReport candelaRounding(std::string_view text, const IesRecord& record) {
    RoundingReport report;
    std::size_t pos = afterTiltLine(text);
    if (pos == std::string_view::npos) return report;
    IesReader reader;
    reader.hooks.ReportIssue = [](int, int, const std::string&) {};
    const LampData& d = record.OtherData;
    const int numVert = d.numVertAngles;
    const int numHorz = d.numHorzAngles;
    if (numVert <= 0 || numHorz <= 0 || record.Candela.rows() != numHorz ||
        record.Candela.cols() != numVert)
        return report;
    try {
        int skip = 13 + numVert + numHorz;  // the numeric header and the angles
        if (record.TiltIncl) skip += 2 + 2 * record.TiltData.numPairs;
        for (int i = 0; i < skip; ++i)
            reader.gfnValueInput(text, pos);
        for (int h = 1; h <= numHorz; ++h) {
            for (int v = 1; v <= numVert; ++v) {
                const double inFile = reader.gfnValueInput(text, pos);
                const double change = std::fabs(inFile - record.Candela(h, v));
                if (change > 5e-10 * std::max(1.0, std::fabs(inFile))) {
                    ++report.count;
                    report.maxChange = std::max(report.maxChange, change);
                }
            }
        }
    } catch (...) {
        return {};
    }
    return report;
}

IesRecord withFileKeywords(IesRecord record) {
    OneBased<std::string> keywords;
    for (std::string line : record.Keywords) {
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
            line.pop_back();
        if (!line.empty()) keywords.append(std::move(line));
    }
    record.Keywords = std::move(keywords);
    return record;
}

std::string withLfLineEnds(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) out += text[i];
    return out;
}

std::string composeForFile(IesRecord record, bool lfOnly, Prompter& prompter) {
    record = withFileKeywords(std::move(record));
    // Counts the writer's fault boxes: after one, its text is not the record.
    class Counting final : public Prompter {
      public:
        explicit Counting(Prompter& inner) : inner_(inner) {}
        PromptAnswer ask(const std::string& text, const std::string& title,
                         PromptButtons buttons) override {
            ++shown;
            return inner_.ask(text, title, buttons);
        }
        int shown = 0;

      private:
        Prompter& inner_;
    } counting(prompter);
    SaveIES writer;
    writer.setCandelaPattern(SaveIES::kCandelaPatternExact);
    std::string text = writer.Compose(record, counting);
    if (counting.shown > 0 || text.empty()) return {};
    // The writer ends the table without a line break; files end with one.
    text += "\r\n";
    return lfOnly ? withLfLineEnds(text) : text;
}

std::filesystem::path copyPathFor(const std::filesystem::path& file) {
    return file.parent_path() / ("Copy_" + file.filename().string());
}

}  // namespace kandor::fileio
