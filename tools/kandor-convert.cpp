// kandor-convert: makes the changes a user would make in the editor, and the conversions
// between LM-63 and EULUMDAT, on many files at once. Every change goes through the function
// the editor uses for it, and every file is written with the editor's safe saving, so that a
// batch stopped at any point leaves each file whole, old or new.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/editorstate.h"
#include "core/iesreader.h"
#include "core/iesrecord.h"
#include "core/keywords.h"
#include "core/ldtconvert.h"
#include "core/ldtreader.h"
#include "core/ldtwriter.h"
#include "core/numforms.h"
#include "core/prompter.h"
#include "core/rescale.h"
#include "core/runtimefault.h"
#include "core/webops.h"
#include "dialogs/version.h"
#include "fileio/lm63file.h"
#include "fileio/safesave.h"

namespace {

namespace fs = std::filesystem;
using kandor::IesRecord;

constexpr int kExitAllWritten = 0;
constexpr int kExitSomeSkipped = 1;
constexpr int kExitUsage = 2;

constexpr std::string_view kPrefix = "kandor-convert: ";

constexpr std::string_view kUsage =
    "Usage: kandor-convert [--to ies|ldt] [--lumens-per-lamp N] [--lamps N] [--watts N]\n"
    "           [--multiplier N | --scale F] [--scale-values] [--keyword '[KEY] value' ...]\n"
    "           [--remove-keyword KEY ...] [--symmetrise quadrant|c0-c180|c90-c270|rotational|"
    "expand]\n"
    "           [--resample V,H] [--equal-nadir] [--revision 1995|2002] [--line-ends crlf|lf]\n"
    "           (-o DIR | --in-place [--backup]) [--dry-run] [--] FILE...\n"
    "       kandor-convert --help | --version\n";

constexpr std::string_view kHelp =
    "\n"
    "Changes LM-63 (.ies) and EULUMDAT (.ldt) photometric files as the editor would, and\n"
    "converts them from one format to the other. Each file is read with the editor's reader\n"
    "(the format is told by the content, else by the extension), changed, and written whole\n"
    "through a temporary file, so that it holds either its old or its new contents, never a\n"
    "part. A file the reader finds unusable (status 2) is skipped with the reader's findings.\n"
    "\n"
    "Changes (the planes averaged, resampled and their nadir made equal in this order):\n"
    "  --lamps N, --lumens-per-lamp N\n"
    "                    the lamp data, as the lamp tab changes them: the candela multiplier\n"
    "                    is scaled with the lamp flux (with --scale-values the candela values\n"
    "                    instead); absolute photometry (lumens per lamp -1) scales nothing\n"
    "  --multiplier N    the candela multiplier; with --scale-values the candela values are\n"
    "                    scaled the other way, so that the intensities stay as they were\n"
    "  --scale F         the intensities times F: through the multiplier, or with\n"
    "                    --scale-values through the candela values\n"
    "  --watts N         the input watts\n"
    "  --remove-keyword KEY\n"
    "                    every line of the keyword [KEY], with the [MORE] lines after it\n"
    "  --keyword '[KEY] value'\n"
    "                    the lines of [KEY] replaced by this one (by all given for the same\n"
    "                    KEY, in order), or added after the others when the file has none\n"
    "  --revision 1995|2002\n"
    "                    the LM-63 revision the file declares (LM-63 output only)\n"
    "  --symmetrise S    the planes averaged into a symmetry: quadrant, c0-c180, c90-c270,\n"
    "                    rotational (Type B: quadrant means 0 to 90); expand makes a full set\n"
    "                    of planes out of the symmetry the file holds\n"
    "  --resample V,H    regular steps of V degrees vertically and H horizontally, the values\n"
    "                    interpolated; either may be left empty (\"5,\" keeps the horizontal)\n"
    "  --equal-nadir     the nadir (and Type C zenith) values made equal to their average\n"
    "  --to ies|ldt      the format written; without it a file keeps its own (an EULUMDAT\n"
    "                    file is changed through its LM-63 form and saved back into its own\n"
    "                    fields, which keeps those LM-63 has no place for)\n"
    "  --line-ends crlf|lf\n"
    "                    the line ends written; by default the file's own\n"
    "\n"
    "Where the files go:\n"
    "  -o DIR            into DIR (made when missing), under the file's own name, with the\n"
    "                    extension of the new format when --to changes it. A file that would\n"
    "                    land on an input of the run, or on a file written earlier in it, is\n"
    "                    skipped: use --in-place to change files where they are\n"
    "  --in-place        over the file itself; with --to changing the format, beside it under\n"
    "                    the new extension, the original kept. A file whose data come out as\n"
    "                    they were is left untouched\n"
    "  --backup          with --in-place, keep what a file held as FILE.bak first\n"
    "  --dry-run         write nothing; say what would be written\n"
    "  --help            this text\n"
    "  --version         the version and revision of this build\n"
    "  --                ends the options (for a FILE that begins with \"-\")\n"
    "\n"
    "Output: on standard output one line per file, what changed and where it was written or\n"
    "why it was skipped, then the count; the reader's and the conversion's findings go to\n"
    "standard error as FILE: line N: (CODE) MESSAGE. A read-only file or a backup that cannot\n"
    "be made is not overwritten: the file is skipped.\n"
    "\n"
    "Exit status: 0 when every file was written, 1 when some were skipped, 2 for wrong usage\n"
    "(nothing is written then).\n";

using Format = kandor::PhotometricFormat;

struct Options {
    std::optional<Format> to;
    std::optional<std::string> lamps, lumensPerLamp, watts, multiplier;
    std::optional<double> scale;
    bool scaleValues = false;
    std::vector<std::string> keywords;  // whole lines, "[KEY] value"
    std::vector<std::string> removeKeywords;
    std::optional<kandor::Symmetry> symmetry;  // kNone expands
    std::optional<double> vertStep, horzStep;  // --resample: at least one
    bool equalNadir = false;
    std::optional<int> revision;  // the revision index: 2 for 1995, 3 for 2002
    std::optional<bool> lfOnly;
    std::optional<fs::path> outDir;
    bool inPlace = false;
    bool backup = false;
    bool dryRun = false;
    std::vector<fs::path> files;

    bool resample() const { return vertStep || horzStep; }
    bool changesRecord() const {
        return lamps || lumensPerLamp || watts || multiplier || scale || !keywords.empty() ||
               !removeKeywords.empty() || symmetry || resample() || equalNadir || revision;
    }
};

void put(std::FILE* out, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), out);
}

// Message boxes of the editor's functions, for a run without a person in front of it: the
// texts are kept to say why a file was skipped, and every question is answered no.
class KeepingPrompter final : public kandor::Prompter {
  public:
    kandor::PromptAnswer ask(const std::string& text, const std::string& title,
                             kandor::PromptButtons buttons) override {
        if (!said.empty()) said += "; ";
        said += title.empty() ? text : title + ": " + text;
        switch (buttons) {
            case kandor::PromptButtons::YesNo:
                return kandor::PromptAnswer::No;
            case kandor::PromptButtons::OkCancel:
                return kandor::PromptAnswer::Cancel;
            default:
                return kandor::PromptAnswer::Ok;
        }
    }
    std::string said;
};

// The key of a keyword line ("[TEST] 12" gives "TEST"), upper case; empty for other lines.
std::string keyOf(std::string_view line) {
    if (!line.starts_with('[')) return {};
    const std::size_t close = line.find(']');
    if (close == std::string_view::npos || close < 2) return {};
    return kandor::upperAscii(line.substr(1, close - 1));
}

// ---- the command line ----

struct UsageError {
    std::string text;
};

// A number as the editor's text boxes take it, finite.
double numberArg(std::string_view option, const std::string& text) {
    if (!kandor::isNumeric(text)) throw UsageError{std::string(option) + ": not a number: " + text};
    const double value = kandor::readLenient(text);
    if (!std::isfinite(value)) throw UsageError{std::string(option) + ": not a number: " + text};
    return value;
}

Options parseArgs(int argc, char** argv, bool& done) {
    Options o;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (optionsEnded || !arg.starts_with("-") || arg.size() == 1) {
            o.files.emplace_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "--help" || arg == "-h") {
            put(stdout, kUsage);
            put(stdout, kHelp);
            done = true;
            return o;
        }
        if (arg == "--version") {
            put(stdout, kandor::build_info::versionText("kandor-convert"));
            done = true;
            return o;
        }
        // "--option=value" as well as "--option value".
        std::optional<std::string> attached;
        if (const std::size_t eq = arg.find('=');
            arg.starts_with("--") && eq != std::string::npos) {
            attached = arg.substr(eq + 1);
            arg.resize(eq);
        }
        auto value = [&]() -> std::string {
            if (attached) return *std::exchange(attached, std::nullopt);
            if (i + 1 >= argc) throw UsageError{arg + " needs a value"};
            return argv[++i];
        };
        if (arg == "--to") {
            const std::string v = value();
            if (v != "ies" && v != "ldt") throw UsageError{"--to takes ies or ldt, not " + v};
            o.to = v == "ies" ? Format::Lm63 : Format::Eulumdat;
        } else if (arg == "--lamps") {
            const std::string v = value();
            const double n = numberArg(arg, v);
            if (n < 1 || n > 32767 || n != std::floor(n))
                throw UsageError{"--lamps takes a whole number from 1 to 32767, not " + v};
            o.lamps = v;
        } else if (arg == "--lumens-per-lamp") {
            const std::string v = value();
            const double n = numberArg(arg, v);
            if (n <= 0 && n != -1)
                throw UsageError{"--lumens-per-lamp takes a number above 0, or -1, not " + v};
            o.lumensPerLamp = v;
        } else if (arg == "--watts") {
            const std::string v = value();
            if (numberArg(arg, v) < 0) throw UsageError{"--watts cannot be negative: " + v};
            o.watts = v;
        } else if (arg == "--multiplier") {
            const std::string v = value();
            if (numberArg(arg, v) <= 0)
                throw UsageError{"--multiplier takes a number above 0, not " + v};
            o.multiplier = v;
        } else if (arg == "--scale") {
            const std::string v = value();
            o.scale = numberArg(arg, v);
            if (*o.scale <= 0) throw UsageError{"--scale takes a number above 0, not " + v};
        } else if (arg == "--scale-values") {
            o.scaleValues = true;
        } else if (arg == "--keyword") {
            const std::string v = value();
            if (keyOf(v).empty() || v.find_first_of("\r\n") != std::string::npos)
                throw UsageError{"--keyword takes one line '[KEY] value', not " + v};
            o.keywords.push_back(v);
        } else if (arg == "--remove-keyword") {
            std::string v = value();
            if (!v.starts_with('[')) v = "[" + v + "]";
            if (keyOf(v).empty() || keyOf(v).size() + 2 != v.size())
                throw UsageError{"--remove-keyword takes a KEY, not " + v};
            o.removeKeywords.push_back(keyOf(v));
        } else if (arg == "--symmetrise") {
            using kandor::Symmetry;
            const std::string v = value();
            if (v == "quadrant")
                o.symmetry = Symmetry::kQuadrant;
            else if (v == "c0-c180")
                o.symmetry = Symmetry::kC0C180;
            else if (v == "c90-c270")
                o.symmetry = Symmetry::kC90C270;
            else if (v == "rotational")
                o.symmetry = Symmetry::kRotational;
            else if (v == "expand")
                o.symmetry = Symmetry::kNone;
            else
                throw UsageError{
                    "--symmetrise takes quadrant, c0-c180, c90-c270, rotational or expand, not " +
                    v};
        } else if (arg == "--resample") {
            const std::string v = value();
            const std::size_t comma = v.find(',');
            if (comma == std::string::npos)
                throw UsageError{"--resample takes V,H (either may be empty), not " + v};
            const std::string vert = v.substr(0, comma), horz = v.substr(comma + 1);
            if (!vert.empty()) o.vertStep = numberArg(arg, vert);
            if (!horz.empty()) o.horzStep = numberArg(arg, horz);
            if ((!o.vertStep && !o.horzStep) || o.vertStep.value_or(1) <= 0 ||
                o.horzStep.value_or(1) <= 0)
                throw UsageError{"--resample takes steps above 0, not " + v};
        } else if (arg == "--equal-nadir") {
            o.equalNadir = true;
        } else if (arg == "--revision") {
            const std::string v = value();
            if (v != "1995" && v != "2002")
                throw UsageError{"--revision takes 1995 or 2002, not " + v};
            o.revision = v == "1995" ? 2 : 3;
        } else if (arg == "--line-ends") {
            const std::string v = value();
            if (v != "crlf" && v != "lf")
                throw UsageError{"--line-ends takes crlf or lf, not " + v};
            o.lfOnly = v == "lf";
        } else if (arg == "-o" || arg == "--output") {
            o.outDir = fs::path(value());
        } else if (arg == "--in-place") {
            o.inPlace = true;
        } else if (arg == "--backup") {
            o.backup = true;
        } else if (arg == "--dry-run") {
            o.dryRun = true;
        } else {
            throw UsageError{"unknown option " + arg};
        }
        if (attached) throw UsageError{arg + " takes no value"};
    }
    if (o.outDir && o.inPlace) throw UsageError{"-o and --in-place exclude each other"};
    if (!o.outDir && !o.inPlace) throw UsageError{"say where to write: -o DIR or --in-place"};
    if (o.backup && !o.inPlace) throw UsageError{"--backup goes with --in-place"};
    if (o.multiplier && o.scale) throw UsageError{"--multiplier and --scale exclude each other"};
    if (o.files.empty()) throw UsageError{"no FILE given"};
    return o;
}

// ---- one file ----

struct Loaded {
    Format format = Format::Lm63;
    IesRecord record;
    std::optional<kandor::LdtRecord> original;  // saved back into, for EULUMDAT kept EULUMDAT
    std::vector<std::string> findings;          // "line N: (CODE) MESSAGE"
    bool unusable = false;
    std::string roundingNote;
};

// A finding as the editor lists it; findings of the conversions concern no line.
std::string finding(int code, int line, std::string_view message) {
    return (line > 0 ? "line " + std::to_string(line) + ": " : std::string()) + "(" +
           std::to_string(code) + ") " + std::string(message);
}

void addLdtFindings(const std::vector<kandor::LdtFinding>& from, std::vector<std::string>& to) {
    for (const kandor::LdtFinding& f : from)
        to.push_back(finding(f.code, f.line, f.message));
}

Loaded load(const std::string& bytes, const fs::path& file, std::optional<Format> to) {
    Loaded in;
    int status = 0;
    if (kandor::photometricFormat(bytes, file.filename().string()) ==
        kandor::PhotometricFormat::Eulumdat) {
        in.format = Format::Eulumdat;
        // Kept EULUMDAT, the fields LM-63 cannot hold stay in the original record to save
        // into; made LM-63, they travel in keywords, so that converting back restores them.
        const bool keptLdt = to.value_or(Format::Eulumdat) == Format::Eulumdat;
        kandor::LdtDocument doc = kandor::openLdtDocument(bytes, {false, !keptLdt});
        addLdtFindings(doc.findings, in.findings);
        status = doc.status;
        in.record = std::move(doc.record);
        if (keptLdt) in.original = std::move(doc.original);
        in.unusable = status == kandor::kLdtUnusable;
        return in;
    }
    const std::string text = kandor::normaliseLineEnds(bytes);
    kandor::IesReader reader;
    reader.hooks.ReportIssue = [&in](int code, int line, const std::string& message) {
        in.findings.push_back(finding(code, line, message));
    };
    status = reader.ParseIes(in.record, text, false, text);
    in.unusable = status == kandor::kParseUnusable;
    if (!in.unusable) {
        const kandor::fileio::RoundingReport rounding =
            kandor::fileio::candelaRounding(text, in.record);
        if (rounding.count > 0)
            in.roundingNote = std::to_string(rounding.count) +
                              " candela values kept to three decimals (largest change " +
                              kandor::generalSingle(static_cast<float>(rounding.maxChange)) +
                              " cd)";
    }
    return in;
}

// The changes, made on the editor's working state as its tabs make them. Empty `refusal`
// when every change could be made.
struct Applied {
    std::vector<std::string> changes;
    std::string refusal;
};

constexpr std::array<std::string_view, 4> kRevisionYears = {"1986", "1991", "1995", "2002"};

std::string arrow(std::string_view what, std::string_view from, std::string_view to) {
    return std::string(what) + " " + std::string(from) + " -> " + std::string(to);
}

// Replaces and removes keyword lines of the state's keyword text.
void editKeywords(const Options& o, kandor::EditorState& state, std::vector<std::string>& changes) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < state.keyRtb.size();) {
        std::size_t end = state.keyRtb.find("\r\n", start);
        if (end == std::string::npos) end = state.keyRtb.size();
        if (end > start) lines.push_back(state.keyRtb.substr(start, end - start));
        start = end + 2;
    }
    // Removes every line of `key` with its continuation lines; the position of the first, or
    // the end when there was none.
    auto removeKey = [&lines](const std::string& key, bool& found) {
        std::size_t first = lines.size();
        found = false;
        for (std::size_t i = 0; i < lines.size();) {
            if (keyOf(lines[i]) != key) {
                ++i;
                continue;
            }
            if (!found) first = i;
            found = true;
            std::size_t end = i + 1;
            while (end < lines.size() && keyOf(lines[end]) == "MORE" && key != "MORE")
                ++end;
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(i),
                        lines.begin() + static_cast<std::ptrdiff_t>(end));
        }
        return std::min(first, lines.size());
    };
    for (const std::string& key : o.removeKeywords) {
        bool found = false;
        removeKey(key, found);
        if (found) changes.push_back("[" + key + "] removed");
    }
    std::vector<std::string> done;
    for (const std::string& line : o.keywords) {
        const std::string key = keyOf(line);
        if (std::find(done.begin(), done.end(), key) != done.end()) continue;
        done.push_back(key);
        bool found = false;
        auto at = static_cast<std::ptrdiff_t>(removeKey(key, found));
        for (const std::string& each : o.keywords)
            if (keyOf(each) == key) lines.insert(lines.begin() + at++, each);
        changes.push_back("[" + key + (found ? "] replaced" : "] added"));
    }
    state.keyRtb.clear();
    for (const std::string& line : lines)
        state.keyRtb += line + "\r\n";
}

// `lm63Output`: the record is written as LM-63, where the revision means something.
Applied applyChanges(const Options& o, IesRecord& record, bool lm63Output) {
    using namespace kandor;
    Applied out;
    if (!o.changesRecord()) return out;
    KeepingPrompter boxes;
    EditorState state;
    auto refuse = [&](std::string why) {
        out.refusal = why.empty() ? boxes.said : std::move(why);
        return out;
    };
    if (!Fill(record, state, boxes)) return refuse({});
    const int changing = o.scaleValues ? kLampScalesValues : kLampScalesMultiplier;
    auto describe = [&](const LampChange& change, const std::string& oldMultiplier) {
        if (!change.factor) return std::string("nothing rescaled (no factor: absolute photometry)");
        if (!change.multiplierText.empty())
            return arrow("multiplier", oldMultiplier, change.multiplierText);
        return "candela values x" + generalSingle(static_cast<float>(*change.factor));
    };

    if (o.lamps || o.lumensPerLamp) {
        const std::string lamps = o.lamps.value_or(state.txtNumLamps);
        const std::string lumens = o.lumensPerLamp.value_or(state.txtLumPerLamp);
        const std::string oldMultiplier = state.txtMultiplier;
        const LampChange change = lampChanged(record, {lamps, lumens, state.txtMultiplier}, false,
                                              changing, state.candela);
        if (!change.faultMessage.empty()) return refuse(change.faultMessage);
        if (o.lamps && *o.lamps != state.txtNumLamps)
            out.changes.push_back(arrow("lamps", state.txtNumLamps, lamps));
        if (o.lumensPerLamp && *o.lumensPerLamp != state.txtLumPerLamp)
            out.changes.push_back(arrow("lumens per lamp", state.txtLumPerLamp, lumens));
        out.changes.push_back(describe(change, oldMultiplier));
        state.txtNumLamps = lamps;
        state.txtLumPerLamp = lumens;
        if (!change.multiplierText.empty()) state.txtMultiplier = change.multiplierText;
        // The next change scales from what this one made.
        if (!SaveData(state, record, boxes)) return refuse({});
    }
    if (o.multiplier) {
        out.changes.push_back(arrow("multiplier", state.txtMultiplier, *o.multiplier));
        if (o.scaleValues) {
            const LampChange change =
                lampChanged(record, {state.txtNumLamps, state.txtLumPerLamp, *o.multiplier}, true,
                            kLampScalesValues, state.candela);
            if (!change.faultMessage.empty()) return refuse(change.faultMessage);
            if (change.factor)
                out.changes.push_back("candela values x" +
                                      generalSingle(static_cast<float>(*change.factor)));
        }
        state.txtMultiplier = *o.multiplier;
    }
    if (o.scale && !o.scaleValues) {
        try {
            const std::string text = multiplierText(record.OtherData.multiplier * *o.scale);
            out.changes.push_back(arrow("multiplier", state.txtMultiplier, text));
            state.txtMultiplier = text;
        } catch (...) {
            return refuse(currentFault().description());
        }
    }
    if (o.watts && *o.watts != state.txtWatt) {
        out.changes.push_back(arrow("input watts", state.txtWatt, *o.watts));
        state.txtWatt = *o.watts;
    }
    if (!o.keywords.empty() || !o.removeKeywords.empty()) editKeywords(o, state, out.changes);
    if (o.revision && *o.revision != state.revision && lm63Output) {
        out.changes.push_back(arrow("revision",
                                    kRevisionYears[static_cast<std::size_t>(state.revision)],
                                    kRevisionYears[static_cast<std::size_t>(*o.revision)]));
        state.revision = *o.revision;
    }

    if (o.symmetry || o.resample() || o.equalNadir || (o.scale && o.scaleValues)) {
        WebResult web = webOf(state);
        // A step that leaves the web as it was (data that hold the symmetry already) says so
        // by saying nothing.
        auto step = [&](WebResult next, std::string what) {
            if (next && next.web != web.web) out.changes.push_back(std::move(what));
            if (next)
                web = std::move(next);
            else
                web.refusal = std::move(next.refusal);
            return static_cast<bool>(next);
        };
        if (!web) return refuse(web.refusal);
        if (o.symmetry) {
            // Type B has one symmetry, about its 0 plane: what a quadrant is to Type C.
            Symmetry target = *o.symmetry;
            if (web.web->photometricType != 1 && target == Symmetry::kQuadrant)
                target = Symmetry::kLateral;
            const std::string name =
                target == Symmetry::kNone ? "symmetry expanded to all planes" : "symmetrised";
            if (!step(symmetrise(*web.web, target), name)) return refuse(web.refusal);
        }
        if (o.resample() && !step(resample(*web.web, o.vertStep, o.horzStep), "resampled"))
            return refuse(web.refusal);
        if (o.equalNadir && !step(equalNadir(*web.web), "nadir values made equal")) {
            // One plane, or no nadir at all: nothing to make equal, which is what was asked.
            if (web.refusal != webops_text::kOnePlane && web.refusal != webops_text::kNoNadir)
                return refuse(web.refusal);
        }
        if (o.scale && o.scaleValues &&
            !step(scale(*web.web, *o.scale),
                  "candela values x" + generalSingle(static_cast<float>(*o.scale))))
            return refuse(web.refusal);
        putWeb(std::move(*web.web), state);
    }
    if (!SaveData(state, record, boxes)) return refuse({});
    return out;
}

// The text written for a record, in the target format. Empty with `why` set when it cannot
// be written so.
std::string compose(const Loaded& in, const IesRecord& record, Format target, bool lfOnly,
                    const fs::path& output, std::vector<std::string>& findings, std::string& why) {
    using namespace kandor;
    if (target == Format::Lm63) {
        KeepingPrompter boxes;
        std::string text = fileio::composeForFile(record, lfOnly, boxes);
        if (text.empty())
            why = "cannot be written as an LM-63 text" +
                  (boxes.said.empty() ? "" : ": " + boxes.said);
        return text;
    }
    IesToLdtOptions options;
    if (!in.original) options.fileName = output.filename().string();
    const LdtSaved saved = saveLdtDocument(fileio::withFileKeywords(record),
                                           in.original ? &*in.original : nullptr, options);
    addLdtFindings(saved.findings, findings);
    if (saved.status == kLdtUnusable || saved.text.empty()) {
        why = "cannot be written as EULUMDAT";
        for (const LdtFinding& f : saved.findings)
            if (f.status == kLdtUnusable) why += ": " + f.message;
        return {};
    }
    return lfOnly ? fileio::withLfLineEnds(saved.text) : saved.text;
}

// Where a file goes.
fs::path targetFor(const Options& o, const fs::path& file, Format from, Format to) {
    fs::path name = file.filename();
    if (from != to) name.replace_extension(to == Format::Lm63 ? ".ies" : ".ldt");
    if (o.outDir) return *o.outDir / name;
    return from == to ? file : file.parent_path() / name;
}

// A path to compare files by: links and dots resolved, as far as the path exists.
fs::path identity(const fs::path& path) {
    std::error_code error;
    fs::path resolved = fs::weakly_canonical(fs::absolute(path, error), error);
    return error ? fs::absolute(path).lexically_normal() : resolved;
}

class Batch {
  public:
    explicit Batch(const Options& o) : o_(o) {
        for (const fs::path& file : o.files)
            inputs_.push_back(identity(file));
    }

    // Converts one file; true when it was written (or would be, or is left as it was).
    bool run(std::size_t index) {
        const fs::path& file = o_.files[index];
        const std::string name = file.string();
        const kandor::fileio::ReadResult read = kandor::fileio::readForEditing(file);
        if (!read.ok) return skip(name, read.error);

        Loaded in = load(read.bytes, file, o_.to);
        for (const std::string& f : in.findings)
            put(stderr, name + ": " + f + "\n");
        if (in.unusable)
            return skip(name, "the reader found it unusable (status 2)" +
                                  std::string(in.findings.empty() ? "" : "; see its findings"));

        std::vector<std::string> changes;
        if (!in.roundingNote.empty()) changes.push_back(in.roundingNote);
        const Format target = o_.to.value_or(in.format);
        if (target != in.format)
            changes.push_back(target == Format::Eulumdat ? "LM-63 -> EULUMDAT"
                                                         : "EULUMDAT -> LM-63");

        IesRecord record = in.record;
        const Applied applied = applyChanges(o_, record, target == Format::Lm63);
        if (!applied.refusal.empty()) return skip(name, applied.refusal);
        changes.insert(changes.end(), applied.changes.begin(), applied.changes.end());

        const bool fileLf = read.bytes.find('\r') == std::string::npos;
        const bool lfOnly = o_.lfOnly.value_or(fileLf);
        if (lfOnly != fileLf) changes.push_back(lfOnly ? "LF line ends" : "CR LF line ends");

        const fs::path output = targetFor(o_, file, in.format, target);
        std::vector<std::string> findings;
        std::string why;
        const std::string text = compose(in, record, target, lfOnly, output, findings, why);
        for (const std::string& f : findings)
            put(stderr, name + ": " + f + "\n");
        if (text.empty()) return skip(name, why);

        const fs::path id = identity(output);
        const bool overInput = o_.inPlace && target == in.format;
        for (std::size_t i = 0; i < inputs_.size(); ++i) {
            if (id != inputs_[i] || (overInput && i == index)) continue;
            return skip(name, output.string() + " is " +
                                  (i == index ? std::string("the file itself")
                                              : "the input " + o_.files[i].string()) +
                                  "; use --in-place to change files where they are");
        }
        for (const auto& [written, from] : written_)
            if (written == id)
                return skip(name, output.string() + " was written from " + from + " already");

        std::string what = changes.empty() ? std::string("no change") : join(changes);
        if (overInput) {
            // As the editor saves: data that compose as the file's own did change nothing,
            // however the file spelled them, and the file is not touched. Without a change
            // asked for, `text` is that composition already; other line ends always change it.
            const auto composedAsRead = [&] {
                if (!o_.changesRecord()) return true;
                std::vector<std::string> again;
                std::string unused;
                return text == compose(in, in.record, target, fileLf, output, again, unused);
            };
            if (text == read.bytes || (lfOnly == fileLf && composedAsRead())) {
                say(name + ": nothing changed; the file left as it is");
                return true;
            }
        }
        if (o_.dryRun) {
            say(name + ": " + what + "; would write " + output.string());
            written_.emplace_back(id, name);
            return true;
        }
        std::string declined;
        const kandor::fileio::SaveOutcome outcome = kandor::fileio::saveFile(
            {output, text, o_.backup},
            [&declined](kandor::fileio::SaveQuestion, const std::string& question) {
                declined = question;
                return false;
            });
        if (outcome.result == kandor::fileio::SaveOutcome::Result::Declined)
            return skip(name, "not overwritten: " + declined);
        if (!outcome.saved()) return skip(name, outcome.error);
        for (const std::string& note : outcome.notes)
            put(stderr, name + ": " + note + "\n");
        written_.emplace_back(id, name);
        what += "; written to " + output.string();
        if (outcome.backupMade) what += " (the old one kept as " + output.string() + ".bak)";
        say(name + ": " + what);
        return true;
    }

  private:
    static std::string join(const std::vector<std::string>& parts) {
        std::string out;
        for (const std::string& part : parts)
            out += (out.empty() ? "" : ", ") + part;
        return out;
    }
    static void say(const std::string& line) { put(stdout, line + "\n"); }
    static bool skip(const std::string& name, const std::string& why) {
        say(name + ": skipped: " + why);
        return false;
    }

    const Options& o_;
    std::vector<fs::path> inputs_;
    std::vector<std::pair<fs::path, std::string>> written_;
};

}  // namespace

int main(int argc, char** argv) {
    Options o;
    try {
        bool done = false;
        o = parseArgs(argc, argv, done);
        if (done) return kExitAllWritten;
    } catch (const UsageError& e) {
        put(stderr, std::string(kPrefix) + e.text + "\n");
        put(stderr, kUsage);
        return kExitUsage;
    }
    if (o.outDir) {
        std::error_code error;
        if (fs::exists(*o.outDir, error) && !fs::is_directory(*o.outDir, error)) {
            put(stderr, std::string(kPrefix) + o.outDir->string() + " is not a directory\n");
            return kExitUsage;
        }
        if (!o.dryRun && !fs::exists(*o.outDir, error) &&
            !fs::create_directories(*o.outDir, error)) {
            put(stderr, std::string(kPrefix) + "cannot make " + o.outDir->string() + ": " +
                            error.message() + "\n");
            return kExitUsage;
        }
    }

    Batch batch(o);
    std::size_t written = 0;
    for (std::size_t i = 0; i < o.files.size(); ++i) {
        bool ok = false;
        try {
            ok = batch.run(i);
        } catch (...) {  // one file's fault never ends the batch
            put(stdout,
                o.files[i].string() + ": skipped: " + kandor::currentFault().description() + "\n");
        }
        written += ok ? 1 : 0;
        std::fflush(stdout);
    }
    const std::size_t skipped = o.files.size() - written;
    put(stdout, std::to_string(written) + (o.dryRun ? " would be written, " : " written, ") +
                    std::to_string(skipped) + " skipped\n");
    return skipped == 0 ? kExitAllWritten : kExitSomeSkipped;
}
