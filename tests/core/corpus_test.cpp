// Every real LM-63 file of the corpus reads without a crash, matches what its manifest says,
// and reads back from the text the writer makes of it to the very same text.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/saveies.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

struct CorpusFile {
    std::string type, tilt;  // "C" or "B"; "NONE" or "INCLUDE"
    int numVert = 0, numHorz = 0;
};

std::string readBytes(const std::string& name) {
    std::ifstream in(std::string(KANDOR_CORPUS_DIR) + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A row: the file, four columns of provenance, then type, tilt and the angle counts.
std::map<std::string, CorpusFile> manifest() {
    const std::regex row(R"(\n([^\t\n]+)(?:\t[^\t\n]*){4}\t(\w+)\t(\w+)\t(\d+)\t(\d+))");
    const std::string text = readBytes("MANIFEST.tsv");
    std::map<std::string, CorpusFile> files;
    for (std::sregex_iterator m(text.begin(), text.end(), row), end; m != end; ++m)
        files[(*m)[1]] = {(*m)[2], (*m)[3], std::stoi((*m)[4]), std::stoi((*m)[5])};
    return files;
}

std::vector<std::string> corpusFiles() {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR))
        if (entry.path().extension() == ".ies") files.push_back(entry.path().filename());
    return files;
}

// What the reader makes of the files that are not clean (status 0): a 2002 file without all four
// required keywords, an unlisted bracketed keyword and zero input watts are findings of the files
// themselves.
const std::map<std::string, std::int16_t> kExpectedStatus = {
    {"appleseed-iesparser-3-ael-unevenH.ies", kParseKeywordProblems},  // [TESTMETHOD]
    {"eulumdat-rs-tilt-include-synthetic.ies", kParseKeywordProblems},
    {"iesthumb-sample-oneline-header.ies", kParseKeywordProblems},
    {"lithonia-af10-1-32.ies", kParseKeywordProblems},
    {"lithonia-as1-100m-sr2.ies", kParseKeywordProblems},
    {"pviewer-docs-dummy-custom-kw.ies", kParseKeywordProblems},
    {"pviewer-ies95-label-lines-more.ies", kParseKeywordProblems},
    {"unity-5-halo-iesna91-report-kw.ies", kParseKeywordProblems},
    {"unity-16-iesna91-split-header.ies", kParseValueProblems},
    {"unity-17-iesna91-8v.ies", kParseValueProblems},
};

class Corpus : public ::testing::TestWithParam<std::string> {};

TEST_P(Corpus, ReadsAndComposesToAFixedPoint) {
    const CorpusFile c = manifest().at(GetParam());  // a file without its row fails here
    // The corpus keeps many files with LF or CR alone; the reader ends header lines at CR.
    const auto text = normaliseLineEnds(readBytes(GetParam()));
    writer().setLastText(text);
    IesRecord record, again;
    EXPECT_EQ(IesReader().ParseIes(record, text, false, writer().lastText()),
              kExpectedStatus.contains(GetParam()) ? kExpectedStatus.at(GetParam()) : 0);
    const LampData& d = record.OtherData;
    EXPECT_EQ(
        (std::vector<int>{d.numVertAngles, d.numHorzAngles, d.photometricType, record.TiltIncl}),
        (std::vector<int>{c.numVert, c.numHorz, c.type == "B" ? 2 : 1, c.tilt == "INCLUDE"}));

    testing::ScriptedPrompter prompter;
    const std::string first = writer().Compose(record, prompter);
    EXPECT_NE(IesReader().ParseIes(again, first, false, writer().lastText()), kParseUnusable);
    EXPECT_EQ(writer().Compose(again, prompter), first);
    EXPECT_TRUE(prompter.calls().empty()) << prompter.calls().front().text;
}

// The names end in "_ies": only letters, digits and "_" may name a test.
INSTANTIATE_TEST_SUITE_P(Files, Corpus, ::testing::ValuesIn(corpusFiles()), [](const auto& row) {
    return std::regex_replace(row.param, std::regex("[^A-Za-z0-9]"), "_");
});

}  // namespace
}  // namespace kandor
