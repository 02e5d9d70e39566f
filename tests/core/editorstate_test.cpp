// Moving a record into the editor and back: on every real file, on Type B, and on records a
// host should never send.

#include "core/editorstate.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using testing::ScriptedPrompter;

std::string readCorpus(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    // The corpus keeps files with LF or CR alone; the reader ends header lines at CR.
    return normaliseLineEnds(std::string(std::istreambuf_iterator<char>(in), {}));
}

std::vector<std::filesystem::path> corpusFiles() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR))
        if (entry.path().extension() == ".ies") files.push_back(entry.path());
    return files;
}

IesRecord readRecord(const std::string& text) {
    IesReader reader;
    IesRecord record;
    reader.ParseIes(record, text, false, "IESNA");
    return record;
}

// What SaveData is documented to change: the format line gains its CRLF, blank header lines go.
IesRecord expectedAfterRoundTrip(IesRecord record, int revision) {
    OneBased<std::string> keywords;
    const bool formatLine = firstLineIsFormatLine(record, revision);
    if (revision != 0)
        keywords.append(std::string(kFormatLines[static_cast<std::size_t>(revision)]) + "\r\n");
    for (int i = formatLine ? 2 : 1; i <= record.Keywords.ubound(); ++i)
        if (!record.Keywords(i).empty()) keywords.append(record.Keywords(i));
    record.Keywords = keywords;
    return record;
}

TEST(EditorTransfer, EveryCorpusRecordComesBackAsItWent) {
    const auto files = corpusFiles();
    ASSERT_GT(files.size(), 20u);
    for (const auto& path : files) {
        SCOPED_TRACE(path.filename().string());
        const IesRecord original = readRecord(readCorpus(path));
        EditorState form;
        ScriptedPrompter prompter;
        ASSERT_TRUE(Fill(original, form, prompter));
        IesRecord back = original;
        ASSERT_TRUE(SaveData(form, back, prompter));
        EXPECT_TRUE(prompter.calls().empty());
        const IesRecord expected = expectedAfterRoundTrip(original, form.revision);
        EXPECT_EQ(back.Keywords, expected.Keywords);
        EXPECT_EQ(back.OtherData, expected.OtherData);
        EXPECT_EQ(back.TiltIncl, expected.TiltIncl);
        EXPECT_EQ(back.TiltData, expected.TiltData);
        EXPECT_EQ(back.VertAngles, expected.VertAngles);
        EXPECT_EQ(back.HorAngles, expected.HorAngles);
        EXPECT_EQ(back.Candela, expected.Candela);
        EXPECT_EQ(back, expected);
    }
}

TEST(EditorTransfer, CaptionAndRevisionFollowTheRecord) {
    struct Case {
        std::string filename, caption;
        std::string firstLine;
        int revision;
    };
    const std::vector<Case> cases = {
        {"C:\\data\\lamps\\A1.IES", "Edit: A1.IES", "IESNA:LM-63-2002", 3},
        {"/data/a.ies", "Edit: a.ies", "IESNA:LM-63-1995", 2},
        {"plain.ies", "Edit: plain.ies", "IESNA91", 1},
        {"", "Edit: ", "[TEST] 1986 style", 0},
        // The revision test is a plain substring test; a 1986 line holding "91" counts as 1991.
        {"x.ies", "Edit: x.ies", "[TEST] 9100", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.firstLine);
        IesRecord record;
        record.Filename = c.filename;
        record.Keywords = {c.firstLine, "[MANUFAC] M"};
        EditorState form;
        ScriptedPrompter prompter;
        ASSERT_TRUE(Fill(record, form, prompter));
        EXPECT_EQ(form.caption, c.caption);
        EXPECT_EQ(form.labFile, c.filename);
        EXPECT_EQ(form.revision, c.revision);
    }
}

TEST(EditorTransfer, FormatLineIsReplacedNeverALineOfText) {
    // A 1986 file whose first line only looks like a revision keeps that line: SaveData puts
    // the format line in front of it.
    IesRecord record;
    record.Keywords = {"[TEST] 9100", "[MANUFAC] M"};
    EditorState form;
    ScriptedPrompter prompter;
    ASSERT_TRUE(Fill(record, form, prompter));
    EXPECT_EQ(form.keyRtb, "[TEST] 9100\r\n[MANUFAC] M\r\n");
    form.txtNumLamps = "1";
    for (std::string* t : {&form.txtLumPerLamp, &form.txtMultiplier, &form.txtBallast,
                           &form.txtWatt, &form.txtWidth, &form.txtLength, &form.txtHeight})
        *t = "1";
    ASSERT_TRUE(SaveData(form, record, prompter));
    ASSERT_EQ(record.Keywords.ubound(), 3);
    EXPECT_EQ(record.Keywords(1), "IESNA91\r\n");
    EXPECT_EQ(record.Keywords(2), "[TEST] 9100");
}

TEST(EditorTransfer, KeywordLinesLoseBlanksAndGainTheFormatLine) {
    IesRecord record;
    record.Keywords = {"IESNA:LM-63-2002", "[TEST] 1"};
    EditorState form;
    ScriptedPrompter prompter;
    ASSERT_TRUE(Fill(record, form, prompter));
    form.keyRtb = "[TEST] 1\r\n\r\n\r\n[_MINE] x\r\n";
    ASSERT_TRUE(SaveData(form, record, prompter));
    EXPECT_EQ(record.Keywords,
              (OneBased<std::string>{"IESNA:LM-63-2002\r\n", "[TEST] 1", "[_MINE] x"}));

    form.revision = 0;
    ASSERT_TRUE(SaveData(form, record, prompter));
    EXPECT_EQ(record.Keywords, (OneBased<std::string>{"[TEST] 1", "[_MINE] x"}));
}

TEST(EditorTransfer, TypeBIsShownHighestAngleFirstAndStoredLowestFirst) {
    IesRecord record;
    record.Keywords = {"IESNA:LM-63-1995"};
    record.OtherData.photometricType = 2;
    record.resizeGrid(3, 2);
    record.VertAngles = {0, 45, 90};
    record.HorAngles = {-90, 90};
    const double values[2][3] = {{1, 2, 3}, {4, 5, 6}};
    for (int h = 1; h <= 2; ++h)
        for (int v = 1; v <= 3; ++v)
            record.Candela(h, v) = values[h - 1][v - 1];

    EditorState form;
    ScriptedPrompter prompter;
    ASSERT_TRUE(Fill(record, form, prompter));
    EXPECT_EQ(form.label4, "Type B Photometry");
    EXPECT_EQ(form.vertAngles, (OneBased<float>{90, 45, 0}));
    EXPECT_EQ(form.candela(1, 1), 3);
    EXPECT_EQ(form.candela(2, 3), 4);
    EXPECT_EQ(form.maxCandela, 6);

    form.candela(1, 1) = 30;  // the user edits the 90-degree value
    IesRecord back = record;
    ASSERT_TRUE(SaveData(form, back, prompter));
    EXPECT_EQ(back.VertAngles, record.VertAngles);
    EXPECT_EQ(back.Candela(1, 3), 30);
    EXPECT_EQ(back.Candela(1, 1), 1);
}

TEST(EditorTransfer, TiltFollowsTheCheckBox) {
    IesRecord record;
    record.Keywords = {"IESNA:LM-63-2002"};
    record.TiltIncl = true;
    record.TiltData = {3, 2, {0, 90}, {1, 0.5f}};
    EditorState form;
    ScriptedPrompter prompter;
    ASSERT_TRUE(Fill(record, form, prompter));
    EXPECT_EQ(form.tltChkTilt, 1);
    EXPECT_EQ(form.lmpCmbLampToLuminare, 2);
    EXPECT_EQ(form.lmpTxtNumAngles, "2");

    // Unticked: the flag goes, the arrays stay for a later tick.
    form.tltChkTilt = 0;
    ASSERT_TRUE(SaveData(form, record, prompter));
    EXPECT_FALSE(record.TiltIncl);
    EXPECT_EQ(record.TiltData.factors, (OneBased<float>{1, 0.5f}));

    // A geometry the list does not know stays as the host sent it.
    record.TiltIncl = true;
    record.TiltData.lampToLuminaire = 7;
    ASSERT_TRUE(Fill(record, form, prompter));
    EXPECT_EQ(form.lmpCmbLampToLuminare, -1);
    ASSERT_TRUE(SaveData(form, record, prompter));
    EXPECT_EQ(record.TiltData.lampToLuminaire, 7);
}

TEST(EditorTransfer, HostileRecordsFillWithoutACrash) {
    ScriptedPrompter prompter;
    auto fill = [&prompter](const IesRecord& r) {
        EditorState form;
        prompter.reset();
        return Fill(r, form, prompter);
    };

    IesRecord empty;  // no keyword lines at all
    EXPECT_TRUE(fill(empty));

    IesRecord negative;
    negative.Keywords = {"IESNA91"};
    negative.OtherData.numVertAngles = -5;
    negative.OtherData.numHorzAngles = -1;
    EXPECT_TRUE(fill(negative));

    IesRecord longLine;
    longLine.Keywords = {"IESNA:LM-63-2002", "[OTHER] " + std::string(10000, 'x')};
    EditorState form;
    ASSERT_TRUE(Fill(longLine, form, prompter));
    EXPECT_EQ(form.keyRtb.size(), 10008u + 2u);

    // Counts that promise more than the arrays hold: the Fill message, no crash.
    IesRecord lying;
    lying.Keywords = {"IESNA91"};
    lying.OtherData.numVertAngles = 3;
    lying.OtherData.numHorzAngles = 1;
    EXPECT_FALSE(fill(lying));
    EXPECT_EQ(prompter.last().text, "9 Subscript out of range in Loading Data.");

    IesRecord badTilt;
    badTilt.Keywords = {"IESNA91"};
    badTilt.TiltIncl = true;
    badTilt.TiltData.numPairs = 4;
    EXPECT_FALSE(fill(badTilt));
}

TEST(EditorTransfer, SaveDataFaultIsReported) {
    IesRecord record;
    EditorState form;
    ScriptedPrompter prompter;
    form.txtNumLamps = "99999";  // beyond a 16-bit count
    EXPECT_FALSE(SaveData(form, record, prompter));
    EXPECT_EQ(prompter.last().text, "Error in SaveData");
}

TEST(EditorTransfer, RestoreGivesBackWhatBackupKept) {
    IesRecord record;
    record.Filename = "a.ies";
    record.Keywords = {"IESNA91", "[TEST] 1"};
    record.OptionalData = "tail";
    record.resizeGrid(2, 1);
    record.Candela(1, 2) = 7;
    IesRecord backup;
    ScriptedPrompter prompter;
    ASSERT_TRUE(Backup(record, backup, prompter));
    const IesRecord original = record;
    record.Candela(1, 2) = 8;
    record.Keywords = {"changed"};
    record.Filename = "Copy_a.ies";
    Restore(backup, record);
    EXPECT_EQ(record, original);
}

TEST(EditorTransfer, UntouchedFieldsKeepTheirExactValues) {
    // Nine significant digits are needed to name some floats; the form shows seven.
    IesRecord record;
    record.Keywords = {"IESNA:LM-63-2002"};
    record.OtherData.numLamps = 1;
    record.OtherData.lumensPerLamp = 12345678.0f;
    record.OtherData.multiplier = 1.23456789f;
    record.OtherData.width = -0.3f;  // a circle: length shown as "0", stored as it came
    record.OtherData.length = 0.25f;
    EditorState form;
    ScriptedPrompter prompter;
    ASSERT_TRUE(Fill(record, form, prompter));
    IesRecord back = record;
    ASSERT_TRUE(SaveData(form, back, prompter));
    EXPECT_EQ(back.OtherData, record.OtherData);

    form.txtMultiplier = "2";
    ASSERT_TRUE(SaveData(form, back, prompter));
    EXPECT_EQ(back.OtherData.multiplier, 2.0f);
    EXPECT_EQ(back.OtherData.lumensPerLamp, 12345678.0f);
}

}  // namespace
}  // namespace kandor
