#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/photometry.h"
#include "core/prompter.h"
#include "core/saveies.h"

namespace {

namespace fs = std::filesystem;

const fs::path kDir = fs::temp_directory_path() / ("kandor-lint-" + std::to_string(::getpid()));

struct Lint : ::testing::Test {
    void SetUp() override { fs::create_directories(kDir); }
    void TearDown() override { fs::remove_all(kDir); }

    // The tool runs in kDir, so these names are what it prints.
    static std::string file(const std::string& name, const std::string& bytes) {
        std::ofstream(kDir / name, std::ios::binary) << bytes;
        return name;
    }

    // Returns the exit status (-1 when a signal ended the tool) and keeps stdout, with stderr
    // unless it is sent elsewhere, in out_. No path here holds a single quote.
    int run(const std::vector<std::string>& args, const std::string& stderrTo = "&1") {
        std::string command = "cd '" + kDir.string() + "' && '" KANDOR_BIN_DIR "/kandor-lint'";
        for (const std::string& a : args)
            command += " '" + a + "'";
        const int status = std::system((command + " >out 2>" + stderrTo).c_str());
        std::ifstream in(kDir / "out", std::ios::binary);
        out_.assign(std::istreambuf_iterator<char>(in), {});
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string out_;
};

// A small Type C file with LF line ends, as many real files have them.
std::string sample(const std::string& keyword, const std::string& watts = "50") {
    return "IESNA:LM-63-1995\n[TEST] 1\n" + keyword + "\nTILT=NONE\n1 1000 1 3 2 1 1 0 0 0\n1 1 " +
           watts + "\n0 45 90\n0 90\n100 80 10\n100 70 5\n";
}

TEST_F(Lint, ReportsRoundtripAndJsonOfOneFileWhateverItsLineEnds) {
    std::string text;
    for (const char* end : {"\n", "\r", "\r\n"}) {
        text = std::regex_replace(sample("[FOO] \xB0", "0"), std::regex("\n"), end);
        EXPECT_EQ(run({file("a", text)}), 1);
        EXPECT_EQ(
            out_,
            "a:3: 27: Invalid Keyword\na:6: 25:  Invalid input watts, read: 0\na: status 1\n");
    }
    EXPECT_EQ(run({"--roundtrip", "a"}, "/dev/null"), 1);
    kandor::IesRecord record;
    kandor::IesReader().ParseIes(record, text, false, text);
    kandor::SilentPrompter prompter;
    EXPECT_EQ(out_, kandor::writer().Compose(record, prompter));

    EXPECT_EQ(run({"--json", "a"}), 1);
    const nlohmann::json j = nlohmann::json::parse(out_);
    // The stray byte is replaced; the candela rows run one per horizontal angle.
    EXPECT_EQ(nlohmann::json({j["status"], j["keywords"][2], j["reports"][1], j["candela"]}),
              nlohmann::json::parse(R"([1, "[FOO] \ufffd", {"line": 6, "code": 25, "message":
                  " Invalid input watts, read: 0"}, [[100, 80, 10], [100, 70, 5]]])"));
}

// Cells the reader never got to read as 0.00 in the composed text, so a redirected round trip
// of an unusable file would be a plausible but wrong file: only --force writes it.
TEST_F(Lint, RoundtripRefusesAnUnusableTextUnlessForced) {
    std::string text = sample("[MANUFAC] M");
    const std::string good = file("g", text);
    text.replace(text.find("1 3 2 1"), 7, "1 3 .4 1");  // no horizontal angles: unusable
    const std::string bad = file("u", text);
    EXPECT_EQ(run({"--roundtrip", bad, good}, "err"), 2);
    const std::string composed = out_;
    std::ifstream err(kDir / "err", std::ios::binary);
    const std::string errText(std::istreambuf_iterator<char>(err), {});
    EXPECT_EQ(errText,
              "u:5: 30:  Invalid entry of Horizontal Angles, read: 0.4\nu: status 2\n"
              "kandor-lint: u: not written: the reader found the text unusable (status 2); "
              "--force writes it anyway\ng: status 0\n");

    const auto composedOf = [](const std::string& raw) {
        const std::string normalised = kandor::normaliseLineEnds(raw);
        kandor::IesRecord record;
        kandor::IesReader().ParseIes(record, normalised, false, normalised);
        kandor::SilentPrompter prompter;
        return kandor::writer().Compose(record, prompter);
    };
    EXPECT_EQ(composed, composedOf(sample("[MANUFAC] M")));
    EXPECT_EQ(run({"--force", "--roundtrip", bad}, "/dev/null"), 2);
    EXPECT_EQ(out_, composedOf(text));
}

TEST_F(Lint, ExitStatusIsTheWorstBySeverityUnlessAFileIsUnreadableOrTheUsageWrong) {
    file("c", sample("[MANUFAC] M"));
    file("k", sample("[X]"));
    file("v", sample("[MANUFAC] M", "0"));
    // Clean, keyword problems, value problems rank 0 < 3 < 1 (unusable, 2, below); then usage.
    EXPECT_EQ((std::vector{run({"c"}), run({"c", "k"}), run({"k", "v"})}), (std::vector{0, 3, 1}));
    EXPECT_EQ((std::vector{run({}), run({"-x"})}), (std::vector{64, 64}));
    EXPECT_EQ(run({"missing", "c"}), 66);  // the rest is still read
    EXPECT_EQ(out_, "kandor-lint: cannot read missing: No such file or directory\nc: status 0\n");
}

TEST_F(Lint, SummaryAndJsonCarryThePhotometricFigures) {
    const std::string text = sample("[MANUFAC] M");
    file("c", text);
    file("t", text.substr(0, 80));  // ends inside the numeric header
    EXPECT_EQ(run({"--summary", "c", "t"}), 2);
    EXPECT_TRUE(
        out_.starts_with("c\n  Total flux      328.7 lm\n  Downward flux   328.7 lm (100.0 %)\n"));
    EXPECT_NE(out_.find("  CIE flux code   41 72 91 100 33\n  Beam C0-C180    128.6\u00B0\n"
                        "  Field C0-C180   \u2265 180.0\u00B0\n"),
              std::string::npos);
    EXPECT_TRUE(out_.ends_with("\nt\n  Figures  (file not read)\n\n"));

    EXPECT_EQ(run({"--json", "c", "t"}), 2);
    const std::size_t cut = out_.find('\n');
    using Json = nlohmann::ordered_json;
    const Json c = Json::parse(out_.substr(0, cut))["photometry"];
    const Json t = Json::parse(out_.substr(cut + 1))["photometry"];
    std::vector<std::string> keys;
    for (const auto& [key, value] : c.items())
        keys.push_back(key);
    EXPECT_EQ(keys,
              (std::vector<std::string>{"totalFlux", "downwardFlux", "upwardFlux", "zonalFlux",
                                        "lampFlux", "lorPercent", "efficacy", "peak", "cieFluxCode",
                                        "beam", "field", "batwing", "typeBSpread", "reasons"}));
    kandor::IesRecord record;
    kandor::IesReader().ParseIes(record, kandor::normaliseLineEnds(text), false, "");
    EXPECT_EQ(c["totalFlux"].get<double>(), *kandor::totalFlux(record));  // unrounded
    EXPECT_EQ(c["reasons"]["typeBSpread.beamV"], "Type C");
    EXPECT_EQ(t["beam"]["C90-C270"], nullptr);
    EXPECT_EQ(t["reasons"]["beam.C90-C270"], "file not read");
    EXPECT_EQ(run({"--summary", "--json", "c"}), 64);
}

// One run per mode over two hostile files, the only unusable ones, then the whole corpus.
TEST_F(Lint, EveryCorpusFileAndOddInputWithoutACrash) {
    std::vector<std::string> args = {"--", file("e", ""), file("b", {"\x89\0\xff\r,", 5})};
    for (const auto& entry : fs::directory_iterator(KANDOR_CORPUS_DIR))
        if (entry.path().extension() == ".ies") args.push_back(entry.path().string());
    for (const char* mode : {"--json", "--summary", "--roundtrip", "--"}) {
        args.front() = mode;
        EXPECT_EQ(run(args), 2) << mode;
    }
    const std::regex usable(": status [013]\n");
    EXPECT_EQ(std::distance(std::sregex_iterator(out_.begin(), out_.end(), usable), {}),
              std::ssize(args) - 3);
}

}  // namespace
