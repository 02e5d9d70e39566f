// Every real LM-63 file of the corpus reads without a crash, matches what its manifest says,
// and reads back from the text the writer makes of it to the very same text.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/saveies.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

struct CorpusFile {
    std::string file;
    std::string type;  // "C" or "B"
    std::string tilt;  // "NONE" or "INCLUDE"
    int numVert = 0;
    int numHorz = 0;
};

// Keeps CTest's test names short: the file name says which case it is.
void PrintTo(const CorpusFile& f, std::ostream* os) { *os << f.file; }

std::string readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// The corpus keeps many files with LF or CR alone; the reader ends header lines at CR.
std::string withCrlf(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' || text[i] == '\n') {
            out += "\r\n";
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::vector<CorpusFile> manifest() {
    std::istringstream lines(readBytes(std::string(KANDOR_CORPUS_DIR) + "/MANIFEST.tsv"));
    std::string line;
    std::getline(lines, line);  // column names
    std::vector<CorpusFile> files;
    while (std::getline(lines, line)) {
        std::vector<std::string> cells;
        std::istringstream row(line);
        for (std::string cell; std::getline(row, cell, '\t');)
            cells.push_back(cell);
        if (cells.size() < 9) continue;
        files.push_back({cells[0], cells[5], cells[6], std::stoi(cells[7]), std::stoi(cells[8])});
    }
    return files;
}

// What the reader makes of each file: a 2002 file without all four required keywords, an
// unlisted bracketed keyword and zero input watts are findings of the files themselves.
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

class Corpus : public ::testing::TestWithParam<CorpusFile> {};

TEST_P(Corpus, ReadsAndComposesToAFixedPoint) {
    const CorpusFile& c = GetParam();
    const std::string text = withCrlf(readBytes(std::string(KANDOR_CORPUS_DIR) + "/" + c.file));
    ASSERT_FALSE(text.empty());
    writer().setLastText(text);

    IesRecord record;
    IesReader reader;
    const std::int16_t status = reader.ParseIes(record, text, false, writer().lastText());
    const auto expected = kExpectedStatus.find(c.file);
    EXPECT_EQ(status,
              expected == kExpectedStatus.end() ? std::int16_t{kParseClean} : expected->second);

    const LampData& d = record.OtherData;
    EXPECT_EQ(d.numVertAngles, c.numVert);
    EXPECT_EQ(d.numHorzAngles, c.numHorz);
    EXPECT_EQ(d.photometricType, c.type == "B" ? 2 : 1);
    EXPECT_EQ(record.TiltIncl, c.tilt == "INCLUDE");
    EXPECT_EQ(record.Candela.rows(), c.numHorz);
    EXPECT_EQ(record.Candela.cols(), c.numVert);

    testing::ScriptedPrompter prompter;
    const std::string first = writer().Compose(record, prompter);
    ASSERT_FALSE(first.empty());

    IesRecord again;
    IesReader second;
    const std::int16_t secondStatus = second.ParseIes(again, first, false, writer().lastText());
    EXPECT_NE(secondStatus, kParseUnusable);
    EXPECT_EQ(again.OtherData.numVertAngles, c.numVert);
    EXPECT_EQ(again.OtherData.numHorzAngles, c.numHorz);
    EXPECT_EQ(again.Keywords, record.Keywords);
    EXPECT_EQ(again.VertAngles, record.VertAngles);
    EXPECT_EQ(again.HorAngles, record.HorAngles);

    const std::string composedAgain = writer().Compose(again, prompter);
    EXPECT_EQ(composedAgain, first);
    EXPECT_TRUE(prompter.calls().empty()) << prompter.calls().front().text;
}

std::string testName(const ::testing::TestParamInfo<CorpusFile>& info) {
    std::string name = info.param.file.substr(0, info.param.file.rfind('.'));
    for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus, ::testing::ValuesIn(manifest()), testName);

TEST(CorpusManifest, ListsEveryFile) {
    EXPECT_EQ(manifest().size(), 30u);
}

}  // namespace
}  // namespace kandor
