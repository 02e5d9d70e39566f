// kandor-lint: checks LM-63 (and EULUMDAT) photometric files with the editor's own reader, from
// a shell or a build, and shows what the editor would make of them.

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/iesreader.h"
#include "core/iesrecord.h"
#include "core/ldtreader.h"
#include "core/numforms.h"
#include "core/prompter.h"
#include "core/saveies.h"
#include "dialogs/version.h"
#include "tools/ldtlint.h"
#include "tools/lintphotometry.h"

namespace {

using kandor::IesReader;
using kandor::IesRecord;

constexpr int kExitUsage = 64;
constexpr int kExitUnreadable = 66;
constexpr int kExitOutput = 74;

constexpr std::string_view kPrefix = "kandor-lint: ";

constexpr std::string_view kUsage =
    "Usage: kandor-lint [--json | --summary | --roundtrip [--force]] [--] FILE...\n"
    "       kandor-lint --help | --version\n";

constexpr std::string_view kHelp =
    "\n"
    "Reads each LM-63 photometric file with Kandor's reader, exactly as the editor's raw-text\n"
    "preview reads its text: line ends are first made CR LF (files with LF or CR alone are\n"
    "common), and that text is also taken as the text Kandor composed last, which the keyword\n"
    "check consults (so bracketed keywords are only checked in a file that names \"IESNA\").\n"
    "Files are never changed.\n"
    "\n"
    "Output, by default, for each FILE:\n"
    "  FILE:LINE: CODE: MESSAGE   one line per problem the reader reports, in the order met;\n"
    "                             MESSAGE is the reader's text exactly (many begin with a blank)\n"
    "  FILE: stopped by run-time error N (DESCRIPTION)\n"
    "                             when a run-time error other than the end of the text ended\n"
    "                             the reading early\n"
    "  FILE: status N             the reader's status: 0 clean, 3 keyword problems only,\n"
    "                             1 value problems, 2 unusable\n"
    "\n"
    "Options:\n"
    "  --json       instead, one JSON object per file, each on one line: file, status, fault,\n"
    "               reports (line, code, message), keywords, tilt, header, verticalAngles,\n"
    "               horizontalAngles and candela (one array per horizontal angle, over the\n"
    "               vertical angles), and photometry: the photometric figures (total,\n"
    "               downward, upward and zonal flux, lamp flux, LOR, efficacy, peak, CIE flux\n"
    "               code, beam, field and batwing per plane pair, Type B spreads), numbers\n"
    "               unrounded, an absent figure null with its reason in photometry.reasons.\n"
    "               Bytes that are not UTF-8 are replaced by U+FFFD.\n"
    "  --summary    instead, one block per file: its name, then the photometric figures one\n"
    "               a line, rounded as the editor shows them\n"
    "  --roundtrip  instead, the LM-63 text Kandor writes for what it read, byte for byte\n"
    "               (CR LF line ends) on standard output; the report lines go to standard\n"
    "               error. A file the reader found unusable (status 2) is not written, since\n"
    "               its text would hold values that were never in the file; one line on\n"
    "               standard error says so\n"
    "  --force      with --roundtrip, write the text of an unusable file all the same\n"
    "  --help       this text\n"
    "  --version    the version and revision of this build\n"
    "  --           ends the options (for a FILE that begins with \"-\")\n"
    "\n"
    "Exit status: the worst reader status over all files, worst last in the order 0, 3, 1, 2;\n"
    "66 when a file could not be read (the other files are still checked); 64 for wrong\n"
    "usage; 74 when the output could not be written.\n";

constexpr std::string_view kUnknownOption = "unknown option ";
constexpr std::string_view kNoFiles = "no FILE given";
constexpr std::string_view kOneMode = "--json, --summary and --roundtrip exclude each other";
constexpr std::string_view kCannotRead = "cannot read ";
constexpr std::string_view kCannotWrite = "cannot write the output: ";
constexpr std::string_view kFailed = "could not be checked: ";
constexpr std::string_view kNotWritten =
    ": not written: the reader found the text unusable (status 2); --force writes it anyway";

enum class Mode { Reports, Json, Summary, Roundtrip };

struct Report {
    int line;
    int code;
    std::string message;
};

void put(std::FILE* out, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), out);
}

void complain(std::string_view text) {
    std::string line(kPrefix);
    line += text;
    line += '\n';
    put(stderr, line);
}

// The box texts of the writer, for a tool without a person in front of it: shown on standard
// error and answered with the first button.
class StderrPrompter final : public kandor::Prompter {
  public:
    kandor::PromptAnswer ask(const std::string& text, const std::string& title,
                             kandor::PromptButtons buttons) override {
        complain(title.empty() ? text : title + ": " + text);
        return buttons == kandor::PromptButtons::YesNo ? kandor::PromptAnswer::Yes
                                                       : kandor::PromptAnswer::Ok;
    }
};

// Reads the whole file; false with errno set when it cannot.
bool readFile(const std::string& path, std::string& text) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    char buffer[65536];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        text.append(buffer, got);
    const bool failed = std::ferror(file) != 0;
    const int error = errno;
    std::fclose(file);
    errno = error;
    return !failed;
}

// Severity order of the statuses: clean, keywords only, value problems, unusable.
int severity(int status) {
    switch (status) {
        case kandor::kParseClean:
            return 0;
        case kandor::kParseKeywordProblems:
            return 1;
        case kandor::kParseValueProblems:
            return 2;
        default:
            return 3;
    }
}

// A float as the number its general form shows (0.1f reads 0.1, not 0.10000000149).
nlohmann::ordered_json number(float value) {
    if (!std::isfinite(value)) return nullptr;
    return kandor::readLenient(kandor::generalSingle(value));
}

nlohmann::ordered_json numbers(const kandor::OneBased<float>& values) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (float v : values)
        list.push_back(number(v));
    return list;
}

nlohmann::ordered_json toJson(const std::string& file, const IesRecord& r, int status,
                              const IesReader& reader, const std::vector<Report>& reports) {
    nlohmann::ordered_json j;
    j["file"] = file;
    j["status"] = status;
    if (reader.lastFaultNumber() != 0)
        j["fault"] = {{"number", reader.lastFaultNumber()},
                      {"description", reader.lastFaultDescription()}};
    else
        j["fault"] = nullptr;
    j["reports"] = nlohmann::ordered_json::array();
    for (const Report& rep : reports)
        j["reports"].push_back({{"line", rep.line}, {"code", rep.code}, {"message", rep.message}});
    j["keywords"] = r.Keywords.values();

    nlohmann::ordered_json tilt;
    tilt["included"] = r.TiltIncl;
    if (r.TiltIncl) {
        tilt["lampToLuminaire"] = r.TiltData.lampToLuminaire;
        tilt["numPairs"] = r.TiltData.numPairs;
        tilt["angles"] = numbers(r.TiltData.angles);
        tilt["factors"] = numbers(r.TiltData.factors);
    }
    j["tilt"] = tilt;

    const kandor::LampData& d = r.OtherData;
    j["header"] = {{"numLamps", d.numLamps},
                   {"lumensPerLamp", number(d.lumensPerLamp)},
                   {"multiplier", number(d.multiplier)},
                   {"numVertAngles", d.numVertAngles},
                   {"numHorzAngles", d.numHorzAngles},
                   {"photometricType", d.photometricType},
                   {"unitsType", d.unitsType},
                   {"width", number(d.width)},
                   {"length", number(d.length)},
                   {"height", number(d.height)},
                   {"ballastFactor", number(d.ballastFactor)},
                   {"inputWatts", number(d.inputWatts)}};
    j["verticalAngles"] = numbers(r.VertAngles);
    j["horizontalAngles"] = numbers(r.HorAngles);
    nlohmann::ordered_json candela = nlohmann::ordered_json::array();
    for (int h = 1; h <= r.Candela.rows(); ++h) {
        nlohmann::ordered_json row = nlohmann::ordered_json::array();
        for (int v = 1; v <= r.Candela.cols(); ++v) {
            const double value = r.Candela(h, v);
            row.push_back(std::isfinite(value) ? nlohmann::ordered_json(value)
                                               : nlohmann::ordered_json(nullptr));
        }
        candela.push_back(std::move(row));
    }
    j["candela"] = std::move(candela);
    return j;
}

// Checks one file; returns its status, or -1 when it could not be read.
int lintFile(const std::string& path, Mode mode, bool force) {
    std::string raw;
    if (!readFile(path, raw)) {
        complain(std::string(kCannotRead) + path + ": " + std::strerror(errno));
        return -1;
    }
    if (kandor::photometricFormat(raw, path) == kandor::PhotometricFormat::Eulumdat) {
        using kandor::lint::LdtOutput;
        return kandor::lint::lintLdt(path, raw,
                                     mode == Mode::Json        ? LdtOutput::Json
                                     : mode == Mode::Summary   ? LdtOutput::Summary
                                     : mode == Mode::Roundtrip ? LdtOutput::Roundtrip
                                                               : LdtOutput::Reports,
                                     force);
    }
    const std::string text = kandor::normaliseLineEnds(raw);
    kandor::writer().setLastText(text);

    IesRecord record;
    IesReader reader;  // a fresh reader: line 0, no field
    std::vector<Report> reports;
    reader.hooks.ReportIssue = [&](int code, int line, const std::string& message) {
        reports.push_back({line, code, message});
    };
    const int status = reader.ParseIes(record, text, false, kandor::writer().lastText());

    if (mode == Mode::Json || mode == Mode::Summary) {
        std::vector<kandor::lint::ReaderReport> codes;
        for (const Report& rep : reports)
            codes.push_back({rep.code, rep.message});
        kandor::PhotometryInput input = kandor::photometryInput(record);
        input.readWhole = kandor::lint::readWhole(reader.lastFaultNumber(), codes);
        const kandor::Photometry figures = kandor::computePhotometry(input);
        if (mode == Mode::Summary) {
            put(stdout,
                kandor::lint::photometryBlock(path, figures, record.OtherData.photometricType));
            return status;
        }
        nlohmann::ordered_json j = toJson(path, record, status, reader, reports);
        j["photometry"] = kandor::lint::photometryJson(figures);
        const std::string json = j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        put(stdout, json);
        put(stdout, "\n");
        return status;
    }

    std::string listing;
    for (const Report& rep : reports) {
        listing += path + ":" + std::to_string(rep.line) + ": " + std::to_string(rep.code) + ": " +
                   rep.message + "\n";
    }
    if (reader.lastFaultNumber() != 0 && reader.lastFaultNumber() != 62) {
        listing += path + ": stopped by run-time error " +
                   std::to_string(reader.lastFaultNumber()) + " (" + reader.lastFaultDescription() +
                   ")\n";
    }
    listing += path + ": status " + std::to_string(status) + "\n";

    if (mode == Mode::Roundtrip) {
        // An unusable text's record holds zeros for everything the reader never got to; a
        // script that redirects this output must not get a plausible file made of them.
        if (status == kandor::kParseUnusable && !force) {
            put(stderr, listing);
            complain(path + std::string(kNotWritten));
            return status;
        }
        StderrPrompter prompter;
        put(stdout, kandor::writer().Compose(record, prompter));
        put(stderr, listing);
    } else {
        put(stdout, listing);
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    Mode mode = Mode::Reports;
    std::vector<std::string> files;
    bool optionsEnded = false;
    bool jsonAsked = false;
    bool roundtripAsked = false;
    bool summaryAsked = false;
    bool force = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (!optionsEnded && arg.starts_with("-") && arg.size() > 1) {
            if (arg == "--") {
                optionsEnded = true;
            } else if (arg == "--help" || arg == "-h") {
                put(stdout, kUsage);
                put(stdout, kHelp);
                put(stdout, kandor::lint::kLdtHelp);
                return 0;
            } else if (arg == "--version") {
                put(stdout, kandor::build_info::versionText("kandor-lint"));
                return 0;
            } else if (arg == "--json") {
                jsonAsked = true;
                mode = Mode::Json;
            } else if (arg == "--summary") {
                summaryAsked = true;
                mode = Mode::Summary;
            } else if (arg == "--force") {
                force = true;
            } else if (arg == "--roundtrip") {
                roundtripAsked = true;
                mode = Mode::Roundtrip;
            } else {
                complain(std::string(kUnknownOption) + std::string(arg));
                put(stderr, kUsage);
                return kExitUsage;
            }
            continue;
        }
        files.emplace_back(arg);
    }
    if (jsonAsked + summaryAsked + roundtripAsked > 1) {
        complain(kOneMode);
        put(stderr, kUsage);
        return kExitUsage;
    }
    if (files.empty()) {
        complain(kNoFiles);
        put(stderr, kUsage);
        return kExitUsage;
    }

    int worst = kandor::kParseClean;
    bool unreadable = false;
    for (const std::string& file : files) {
        int status = kandor::kParseUnusable;
        try {
            status = lintFile(file, mode, force);
        } catch (const std::exception& e) {  // never leave a file half-reported without a word
            complain(file + ": " + std::string(kFailed) + e.what());
        }
        if (status < 0)
            unreadable = true;
        else if (severity(status) > severity(worst))
            worst = status;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        complain(std::string(kCannotWrite) + std::strerror(errno));
        return kExitOutput;
    }
    return unreadable ? kExitUnreadable : worst;
}
