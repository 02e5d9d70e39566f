#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/editorstate.h"
#include "core/iesreader.h"
#include "core/ldtreader.h"
#include "core/numforms.h"
#include "core/prompter.h"
#include "core/rescale.h"

namespace {

namespace fs = std::filesystem;
using kandor::IesRecord;

const fs::path kDir = fs::temp_directory_path() / ("kandor-convert-" + std::to_string(::getpid()));

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

int iesStatus(const std::string& raw, IesRecord* record = nullptr) {
    IesRecord local;
    const std::string text = kandor::normaliseLineEnds(raw);
    return kandor::IesReader().ParseIes(record ? *record : local, text, false, text);
}

// By content, as the editor and kandor-lint choose: a converted luminaire may be named "TILT=...".
int statusOf(const fs::path& file) {
    const std::string raw = slurp(file);
    return kandor::photometricFormat(raw, file.filename().string()) ==
                   kandor::PhotometricFormat::Eulumdat
               ? kandor::readLdt(raw).status
               : iesStatus(raw);
}

struct Convert : ::testing::Test {
    void SetUp() override { fs::create_directories(kDir); }
    void TearDown() override { fs::remove_all(kDir); }

    static void file(const std::string& name, const std::string& bytes) {
        std::ofstream(kDir / name, std::ios::binary) << bytes;
    }

    // The exit status; stdout and stderr together in out_. The tool runs in kDir.
    int run(const std::vector<std::string>& args) {
        std::string command = "cd '" + kDir.string() + "' && '" KANDOR_BIN_DIR "/kandor-convert'";
        for (const std::string& a : args)
            command += " '" + a + "'";
        const int status = std::system(
            (command + " >../convert-out-" + std::to_string(::getpid()) + " 2>&1").c_str());
        const fs::path out = kDir.parent_path() / ("convert-out-" + std::to_string(::getpid()));
        out_ = slurp(out);
        fs::remove(out);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static std::vector<std::string> listing(const fs::path& dir = kDir) {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(dir))
            names.push_back(fs::relative(entry.path(), dir).string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string out_;
};

// A small Type C file, LF line ends, with four planes so that every web operation applies.
const std::string kSample =
    "IESNA:LM-63-2002\n[TEST] 1\n[MORE] x\n[TESTLAB] L\n[MANUFAC] M\n[ISSUEDATE] 2020\nTILT=NONE\n"
    "2 1000 1 3 4 1 2 0 0 0\n1 1 50\n0 45 90\n0 90 180 270\n100 80 10\n100 70 5\n100 60 5\n"
    "100 70 5\n";

TEST_F(Convert, BadArgumentsExitTwoAndWriteNothing) {
    file("a.ies", kSample);
    const std::vector<std::vector<std::string>> cases = {
        {"-o", "out"},
        {"a.ies"},
        {"-o", "out", "--in-place", "a.ies"},
        {"--bogus", "-o", "out", "a.ies"},
        {"-o"},
        {"-o", "out", "--lamps", "1.5", "a.ies"},
        {"-o", "out", "--lumens-per-lamp", "x", "a.ies"},
        {"-o", "out", "--multiplier", "2", "--scale", "2", "a.ies"},
        {"-o", "out", "--backup", "a.ies"},
        {"-o", "out", "--to", "pdf", "a.ies"},
        {"-o", "out", "--resample", "5", "a.ies"},
        {"-o", "out", "--keyword", "TEST 1", "a.ies"},
        {"-o", "out", "--symmetrise", "half", "a.ies"},
        {"-o", "a.ies", "a.ies"},  // not a directory
    };
    for (const auto& args : cases) {
        EXPECT_EQ(run(args), 2) << args[0] << " " << args.back();
        EXPECT_EQ(listing(), std::vector<std::string>{"a.ies"});
    }
}

// The lamp change goes through the lamp tab's function: the multiplier by default, the
// candela values with --scale-values.
TEST_F(Convert, LampChangeScalesTheMultiplierOrTheValuesAsTheLampTabDoes) {
    file("a.ies", kSample);
    IesRecord before;
    iesStatus(kSample, &before);
    for (const bool values : {false, true}) {
        std::vector<std::string> args = {"--lamps", "3", "--lumens-per-lamp", "1500", "-o", "out"};
        if (values) args.push_back("--scale-values");
        args.push_back("a.ies");
        ASSERT_EQ(run(args), 0) << out_;
        IesRecord after;
        EXPECT_EQ(iesStatus(slurp(kDir / "out/a.ies"), &after), 0) << out_;

        kandor::EditorState form;
        kandor::SilentPrompter prompter;
        ASSERT_TRUE(kandor::Fill(before, form, prompter));
        const kandor::LampChange change = kandor::lampChanged(
            before, {"3", "1500", form.txtMultiplier}, false,
            values ? kandor::kLampScalesValues : kandor::kLampScalesMultiplier, form.candela);
        ASSERT_TRUE(change.factor);
        EXPECT_DOUBLE_EQ(*change.factor, 2.25);
        EXPECT_EQ(after.OtherData.numLamps, 3);
        EXPECT_EQ(after.OtherData.lumensPerLamp, 1500);
        EXPECT_EQ(after.OtherData.multiplier,
                  values ? 1.0f : kandor::toSingle(change.multiplierText));
        EXPECT_EQ(after.Candela, values ? form.candela : before.Candela);
    }
    EXPECT_NE(out_.find("a.ies: lamps 2 -> 3, lumens per lamp 1000 -> 1500, candela values x2.25; "
                        "written to out/a.ies\n1 written, 0 skipped\n"),
              std::string::npos)
        << out_;
}

TEST_F(Convert, DryRunWritesNothingAndInPlaceKeepsABackup) {
    file("a.ies", kSample);
    EXPECT_EQ(run({"--dry-run", "--in-place", "--backup", "--equal-nadir", "a.ies"}), 0);
    EXPECT_EQ(run({"--dry-run", "-o", "out", "--to", "ldt", "a.ies"}), 0);
    EXPECT_EQ(out_,
              "a.ies: LM-63 -> EULUMDAT; would write out/a.ldt\n1 would be written, 0 skipped\n");
    EXPECT_EQ(listing(), std::vector<std::string>{"a.ies"});

    EXPECT_EQ(run({"--in-place", "--backup", "--keyword", "[TEST] 2", "a.ies"}), 0) << out_;
    EXPECT_EQ(listing(), (std::vector<std::string>{"a.ies", "a.ies.bak"}));
    EXPECT_EQ(slurp(kDir / "a.ies.bak"), kSample);
    // The [MORE] line went with the [TEST] line it continued; LF line ends stay.
    std::string expected = kSample;
    expected.replace(expected.find("[TEST] 1"), 8, "[TEST] 2");
    expected.erase(expected.find("[MORE] x\n"), 9);
    EXPECT_EQ(slurp(kDir / "a.ies").substr(0, 60), expected.substr(0, 60));
    // -o onto the input itself is refused; --in-place is the way to change a file.
    EXPECT_EQ(run({"-o", ".", "a.ies"}), 1);
    EXPECT_NE(out_.find("a.ies: skipped: ./a.ies is the file itself"), std::string::npos) << out_;
}

TEST_F(Convert, AnUnusableFileIsSkippedWithItsFindingsTheOthersWritten) {
    file("a.ies", kSample);
    std::string bad = kSample;
    bad.replace(bad.find("1 3 4 1"), 7, "1 3 .4 1");
    file("bad.ies", bad);
    file("b.ldt", slurp(fs::path(KANDOR_LDT_CORPUS_DIR) / "pviewer-relative.ldt"));
    EXPECT_EQ(run({"-o", "out", "--watts", "60", "a.ies", "bad.ies", "b.ldt"}), 1);
    EXPECT_EQ(listing(kDir / "out"), (std::vector<std::string>{"a.ies", "b.ldt"}));
    EXPECT_NE(out_.find("bad.ies: line 8: (30)  Invalid entry of Horizontal Angles, read: 0.4\n"),
              std::string::npos)
        << out_;
    EXPECT_NE(out_.find("bad.ies: skipped: the reader found it unusable (status 2)"),
              std::string::npos);
    EXPECT_TRUE(out_.ends_with("2 written, 1 skipped\n"));
}

TEST_F(Convert, EulumdatToLm63AndBackKeepsAnglesIntensitiesAndFlux) {
    const fs::path source = fs::path(KANDOR_LDT_CORPUS_DIR) / "eulumdat-rs-projector.ldt";
    file("p.ldt", slurp(source));
    ASSERT_EQ(run({"-o", "ies", "--to", "ies", "p.ldt"}), 0) << out_;
    ASSERT_EQ(run({"-o", "back", "--to", "ldt", "ies/p.ies"}), 0) << out_;
    const kandor::LdtRecord a = kandor::readLdt(slurp(source)).record;
    const kandor::LdtRecord b = kandor::readLdt(slurp(kDir / "back/p.ldt")).record;
    EXPECT_EQ(b.cAngles, a.cAngles);
    EXPECT_EQ(b.gammaAngles, a.gammaAngles);
    ASSERT_EQ(b.intensities.size(), a.intensities.size());
    for (std::size_t i = 0; i < a.intensities.size(); ++i)
        EXPECT_NEAR(b.intensities[i], a.intensities[i], 1e-3 * a.intensities[i] + 0.01) << i;
    ASSERT_EQ(b.lampSets.size(), 1u);
    EXPECT_DOUBLE_EQ(b.lampSets[0].flux, a.lampSets[0].flux);
    EXPECT_EQ(b.luminaireName, a.luminaireName);
}

// Every corpus file through a rewrite, both conversions and a web operation: what is written
// reads back as well as its source read.
TEST_F(Convert, TheWholeCorpusRereadsWithTheStatusItHad) {
    std::vector<std::string> files;
    for (const char* dir : {KANDOR_CORPUS_DIR, KANDOR_LDT_CORPUS_DIR})
        for (const auto& entry : fs::directory_iterator(dir))
            if (entry.path().extension() != ".tsv") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    const std::vector<std::vector<std::string>> passes = {{"-o", "same"},
                                                          {"-o", "nadir", "--equal-nadir"},
                                                          {"-o", "ies", "--to", "ies"},
                                                          {"-o", "ldt", "--to", "ldt"}};
    for (const auto& pass : passes) {
        std::vector<std::string> args = pass;
        args.insert(args.end(), files.begin(), files.end());
        const int status = run(args);
        SCOPED_TRACE(pass.back());
        // The one Type B file has no EULUMDAT form.
        EXPECT_EQ(status, pass.back() == "ldt" ? 1 : 0) << out_;
        for (const std::string& source : files) {
            fs::path written = kDir / pass[1] / fs::path(source).filename();
            if (pass.size() == 4) written.replace_extension("." + pass[3]);
            if (!fs::exists(written)) {
                EXPECT_NE(source.find("typeB"), std::string::npos) << source;
                continue;
            }
            const int was = statusOf(source), is = statusOf(written);
            SCOPED_TRACE(source);
            if (pass.size() == 4) {
                // A new format has findings of its own (LM-63-2002 keywords the EULUMDAT
                // fields do not give); never an unusable file.
                EXPECT_NE(is, 2);
            } else {
                EXPECT_EQ(is, was);
            }
        }
    }
}

}  // namespace
