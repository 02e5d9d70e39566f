#include "host/exchange.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/numforms.h"
#include "core/saveies.h"
#include "host/samplerecord.h"
#include "host/settingsstore.h"
#include "support/scriptedprompter.h"

namespace kandor {

namespace {

using testing::ScriptedPrompter;
constexpr std::string_view kSection = "PE1";

// A record with something in every member, including values whose plain form is unusual.
IesRecord fullRecord() {
    IesRecord r;
    r.Filename = "C:\\Photometry\\troffer.ies";
    r.PictureFilename = "C:\\Photometry\\troffer.jpg";
    r.Keywords = {"IESNA:LM-63-2002", "[TEST] T-1", "[MANUFAC] Acme, Inc."};
    r.TiltIncl = true;
    r.TiltData.lampToLuminaire = 3;
    r.TiltData.numPairs = 2;
    r.TiltData.angles = {0, 90};
    r.TiltData.factors = {1, 0.95f};
    r.OtherData.numLamps = 2;
    r.OtherData.lumensPerLamp = -1;
    r.OtherData.multiplier = 0.5f;
    r.OtherData.photometricType = 1;
    r.OtherData.unitsType = 2;
    r.OtherData.width = -0.25f;
    r.OtherData.length = 1.5f;
    r.OtherData.height = 0;
    r.OtherData.ballastFactor = 1;
    r.OtherData.inputWatts = 1.5e7f;
    r.resizeGrid(3, 2);
    r.VertAngles = {0, 45, 90};
    r.HorAngles = {0, 22.5f};
    const double cd[2][3] = {{1234.567, 0.001, 0}, {1e20, 12.5, 3}};
    for (int h = 1; h <= 2; ++h)
        for (int v = 1; v <= 3; ++v)
            r.Candela(h, v) = cd[h - 1][v - 1];
    r.OptionalData = "near-field data follows\r\n1 2 3";
    return r;
}

class Exchange : public ::testing::Test {
  protected:
    std::string value(std::string_view field, int slot) {
        return store.get(kExchangeApp, kSection, exchangeKey(field, slot));
    }
    void put(std::string_view field, int slot, std::string_view text) {
        store.save(kExchangeApp, kSection, exchangeKey(field, slot), text);
    }
    // Writes `record` alone into `slot` through a list of its own.
    void writeRecord(const IesRecord& record, int slot = 1) {
        RecordList one;
        one.add(record);
        ExchangeSlots writer(store, std::string(kExchangeApp), std::string(kSection), one,
                             prompter);
        ASSERT_EQ(writer.WriteExchangeRecords(slot, slot, 1), 1) << writer.lastError();
    }

    MemorySettingsStore store;
    ScriptedPrompter prompter;
    RecordList list;
    ExchangeSlots slots{store, std::string(kExchangeApp), std::string(kSection), list, prompter};
};

TEST_F(Exchange, WritesEveryValueInItsExactForm) {
    list.add(fullRecord());
    ASSERT_EQ(slots.WriteExchangeRecords(1, 1, 1), 1);
    EXPECT_EQ(value("Filename", 1), "C:\\Photometry\\troffer.ies");
    EXPECT_EQ(value("Keywords", 1), " 3");
    EXPECT_EQ(value("KeywordData", 1),
              "IESNA:LM-63-2002\r\n[TEST] T-1\r\n[MANUFAC] Acme, Inc.\r\n");
    EXPECT_EQ(value("TiltIncl", 1), " 1");
    EXPECT_EQ(value("TiltData", 1), "3,2,0,90,1,.95");
    EXPECT_EQ(value("OtherData", 1), "2,-1,.5,1,2,-.25,1.5,0,1,1.5E+07");
    EXPECT_EQ(value("HorAngles", 1), "2,0,22.5");
    EXPECT_EQ(value("VertAngles", 1), "3,0,45,90");
    EXPECT_EQ(value("Candela", 1), "1234.567,.001,0,1E+20,12.5,3");
    EXPECT_EQ(value("OptionalData", 1), "near-field data follows\r\n1 2 3");
    EXPECT_EQ(value("PictureFilename", 1), "C:\\Photometry\\troffer.jpg");
    EXPECT_TRUE(prompter.calls().empty());
}

TEST_F(Exchange, AbsentKeywordsAndTiltLeaveTheirValuesEmpty) {
    // Slot 1 first holds a record with both, so the second write must clear them.
    list.add(fullRecord());
    ASSERT_EQ(slots.WriteExchangeRecords(1, 1, 1), 1);
    list(1).Keywords.clear();
    list(1).TiltIncl = false;  // the tilt numbers stay in the record but must not travel
    ASSERT_EQ(slots.WriteExchangeRecords(1, 1, 1), 1);
    EXPECT_EQ(value("Keywords", 1), " 0");
    EXPECT_EQ(value("KeywordData", 1), "");
    EXPECT_EQ(value("TiltIncl", 1), " 0");
    EXPECT_EQ(value("TiltData", 1), "");
}

TEST_F(Exchange, ClearingLeavesAllElevenKeysOfEverySlotEmpty) {
    list.add(fullRecord());
    ASSERT_EQ(slots.WriteExchangeRecords(1, 1, 1), 1);
    put("Candela", 25, "1,2,3");
    ASSERT_TRUE(slots.ClearExchangeSlots());
    const auto entries = store.allEntries(kExchangeApp, kSection);
    EXPECT_EQ(entries.size(), 275u);
    for (const auto& [key, text] : entries)
        EXPECT_EQ(text, "") << key;
    EXPECT_EQ(store.get(kExchangeApp, kSection, "PictureFilename25", "missing"), "");
}

TEST_F(Exchange, RecordsRoundTripUnchanged) {
    struct Case {
        const char* what;
        IesRecord record;
    };
    IesRecord noKeywords = fullRecord();
    noKeywords.Keywords.clear();
    IesRecord oneEmptyKeyword = fullRecord();
    oneEmptyKeyword.Keywords = {""};
    IesRecord noTilt = fullRecord();
    noTilt.TiltIncl = false;
    noTilt.TiltData = {};
    IesRecord zeroPairs = fullRecord();
    zeroPairs.TiltData = {1, 0, {}, {}};
    IesRecord onePlane = fullRecord();
    onePlane.resizeGrid(2, 1);
    onePlane.VertAngles = {0, 90};
    onePlane.Candela(1, 1) = 7;
    IesRecord noAngles = fullRecord();
    noAngles.resizeGrid(0, 0);
    IesRecord emptyTexts = fullRecord();
    emptyTexts.OptionalData.clear();
    emptyTexts.PictureFilename.clear();
    const std::vector<Case> cases = {
        {"everything", fullRecord()},
        {"no keywords", noKeywords},
        {"one empty keyword", oneEmptyKeyword},
        {"no tilt", noTilt},
        {"tilt without pairs", zeroPairs},
        {"one horizontal angle", onePlane},
        {"no angles", noAngles},
        {"empty texts", emptyTexts},
        {"sample", SampleRecord()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        writeRecord(c.record);
        std::string error;
        ASSERT_EQ(slots.ReadExchangeRecords(1, error), 0) << error;
        ASSERT_EQ(list.ubound(), 1);
        EXPECT_EQ(list(1), c.record);
    }
}

TEST_F(Exchange, OneEmptyKeywordLineTravelsAsOneLine) {
    IesRecord r = fullRecord();
    r.Keywords = {""};
    writeRecord(r);
    EXPECT_EQ(value("Keywords", 1), " 1");
    EXPECT_EQ(value("KeywordData", 1), "\r\n");
}

TEST_F(Exchange, SurplusSlotsAreMarkedEmptyByTheirFilenameAlone) {
    list.add(fullRecord());
    put("Keywords", 3, " 7");
    ASSERT_EQ(slots.WriteExchangeRecords(1, 3, 1), 1);
    EXPECT_EQ(value("Filename", 1), "C:\\Photometry\\troffer.ies");
    EXPECT_EQ(value("Filename", 2), "");
    EXPECT_EQ(value("Filename", 3), "");
    EXPECT_EQ(value("Keywords", 3), "");  // cleared, not rewritten
}

TEST_F(Exchange, WritingStartsAtTheGivenRecord) {
    for (const char* name : {"a.ies", "b.ies", "c.ies"}) {
        IesRecord r = fullRecord();
        r.Filename = name;
        list.add(r);
    }
    ASSERT_EQ(slots.WriteExchangeRecords(5, 6, 2), 1);
    EXPECT_EQ(value("Filename", 5), "b.ies");
    EXPECT_EQ(value("Filename", 6), "c.ies");
    EXPECT_EQ(value("Filename", 1), "");
}

TEST_F(Exchange, MoreRecordsThanSlotsStopsWithLoadData) {
    for (int i = 1; i <= 3; ++i) {
        IesRecord r = fullRecord();
        r.Filename = "f" + std::to_string(i);
        list.add(r);
    }
    EXPECT_EQ(slots.WriteExchangeRecords(24, 26, 1), 0);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text,
              "You have reached the maximum number of files allowed to load at one time (25).");
    EXPECT_EQ(prompter.last().title, "Load Data");
    EXPECT_EQ(value("Filename", 24), "f1");
    EXPECT_EQ(value("Filename", 25), "f2");
    EXPECT_EQ(store.get(kExchangeApp, kSection, "Filename26", "missing"), "missing");
}

TEST_F(Exchange, ReadingSkipsEmptySlotsAndStopsAtTwentyFive) {
    RecordList hosts;
    for (const char* name : {"first", "second", "last"}) {
        IesRecord r = fullRecord();
        r.Filename = name;
        hosts.add(r);
    }
    ExchangeSlots host(store, std::string(kExchangeApp), std::string(kSection), hosts, prompter);
    ASSERT_TRUE(host.ClearExchangeSlots());
    ASSERT_TRUE(host.writeSlot(2, hosts(1)));
    ASSERT_TRUE(host.writeSlot(4, hosts(2)));
    ASSERT_TRUE(host.writeSlot(25, hosts(3)));
    list.add(fullRecord());  // whatever the list held before is replaced

    std::string error;
    ASSERT_EQ(slots.ReadExchangeRecords(99, error), 0) << error;
    ASSERT_EQ(list.ubound(), 3);
    EXPECT_EQ(list(1), hosts(1));
    EXPECT_EQ(list(2), hosts(2));
    EXPECT_EQ(list(3), hosts(3));
    ASSERT_EQ(slots.ReadExchangeRecords(24, error), 0);
    EXPECT_EQ(list.ubound(), 2);
}

TEST_F(Exchange, EveryEmptySlotGivesMinusOneAndAnEmptyList) {
    list.add(fullRecord());
    std::string error;
    EXPECT_EQ(slots.ReadExchangeRecords(25, error), -1);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(error, "");
}

TEST_F(Exchange, ValuesAsAHostMayWriteThemAreRead) {
    writeRecord(fullRecord());
    put("KeywordData", 1, "IESNA:LM-63-2002\n[TEST] T-1\r\n[MANUFAC] Acme, Inc.");  // no last CRLF
    put("TiltIncl", 1, "-1");
    put("TiltData", 1, " 3, 2, 0, 90, 1, .95\r\n");
    put("OtherData", 1, " 2,-1, .5, 1, 2,-.25, 1.5, 0, 1, 15E+6");
    put("Candela", 1, "1234.567,1E-3,0,1e20,12.5,3\r\n");
    std::string error;
    ASSERT_EQ(slots.ReadExchangeRecords(1, error), 0) << error;
    EXPECT_EQ(list(1), fullRecord());
}

// A host that writes inconsistent values gets a message, never a crash or a huge allocation,
// and the records of the slots before stay.
TEST_F(Exchange, InconsistentValuesFailWithTheirMessage) {
    struct Case {
        const char* key;
        const char* text;
        std::string_view message;
    };
    const std::vector<Case> cases = {
        {"TiltData", "", exchange_msg::kTiltProblem},
        {"TiltData", "3,2,0,90,1", exchange_msg::kTiltProblem},
        {"TiltData", "3,-1", exchange_msg::kTiltProblem},
        {"TiltData", "3,2,0,9O,1,.95", exchange_msg::kTiltProblem},
        {"TiltData", "3,2,0,90,1,1E39", exchange_msg::kTiltProblem},
        {"OtherData", "2,-1,.5,1,2,-.25,1.5,0,1", exchange_msg::kOtherProblem},
        {"OtherData", "2,-1,.5,1,2,-.25,1.5,0,1,100W", exchange_msg::kOtherProblem},
        {"OtherData", "2,-1,.5,1,2,,1.5,0,1,100", exchange_msg::kOtherProblem},
        {"OtherData", "40000,-1,.5,1,2,-.25,1.5,0,1,100", exchange_msg::kOtherProblem},
        {"OtherData", "2,-1,.5,1,2,-.25\n1.5,0,1,100", exchange_msg::kOtherProblem},
        {"VertAngles", "3,0,45", exchange_msg::kVertProblem},
        {"VertAngles", "30000,0,45,90", exchange_msg::kVertProblem},
        {"VertAngles", "-1", exchange_msg::kVertProblem},
        {"VertAngles", "2.5,0,45", exchange_msg::kVertProblem},
        {"VertAngles", "3,0,forty-five,90", exchange_msg::kVertProblem},
        {"VertAngles", "3,0,45,1E39", exchange_msg::kVertProblem},
        {"HorAngles", "1,0,22.5", exchange_msg::kHorzProblem},
        {"HorAngles", "abc", exchange_msg::kHorzProblem},
        {"Candela", "", exchange_msg::kCandelaProblem},
        {"Candela", "1234.567,.001,0,1E+20,12.5", exchange_msg::kCandelaProblem},
        {"Candela", "1234.567,.001,0,1E+20,12.5,x", exchange_msg::kCandelaProblem},
        {"Candela", "1234.567,.001,0,1E999,12.5,3", exchange_msg::kCandelaProblem},
        {"Keywords", "1E999", exchange_msg::kKeywordProblem},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.key) + " = \"" + c.text + "\"");
        IesRecord good = fullRecord();
        good.Filename = "good";
        writeRecord(good, 1);
        ExchangeSlots writer(store, std::string(kExchangeApp), std::string(kSection), list,
                             prompter);
        ASSERT_TRUE(writer.writeSlot(2, fullRecord()));
        put(c.key, 2, c.text);
        std::string error;
        EXPECT_EQ(slots.ReadExchangeRecords(3, error), 1);
        EXPECT_EQ(error, c.message);
        ASSERT_EQ(list.ubound(), 1);
        EXPECT_EQ(list(1), good);
    }
}

TEST_F(Exchange, HugeCountsFailBeforeAnythingIsAllocated) {
    // 32767 x 32767 candela values would be eight gigabytes; the short list gives it away.
    std::string angles = "32767";
    for (int i = 0; i < 32767; ++i)
        angles += ",1";
    writeRecord(fullRecord());
    put("VertAngles", 1, angles);
    put("HorAngles", 1, angles);
    put("Candela", 1, "1,2,3");
    std::string error;
    EXPECT_EQ(slots.ReadExchangeRecords(1, error), 1);
    EXPECT_EQ(error, exchange_msg::kCandelaProblem);
}

TEST_F(Exchange, TiltFlagOtherThanOneMeansNoTilt) {
    for (const char* flag : {" 0", "", "2", "yes"}) {
        SCOPED_TRACE(flag);
        writeRecord(fullRecord());
        put("TiltIncl", 1, flag);
        std::string error;
        ASSERT_EQ(slots.ReadExchangeRecords(1, error), 0) << error;
        EXPECT_FALSE(list(1).TiltIncl);
        EXPECT_EQ(list(1).TiltData, TiltTable{});
    }
}

TEST_F(Exchange, ARecordShorterThanItsCountsIsNotWritten) {
    struct Case {
        const char* what;
        void (*breakIt)(IesRecord&);
    };
    const Case cases[] = {
        {"vertical", [](IesRecord& r) { r.VertAngles.redim(2); }},
        {"horizontal", [](IesRecord& r) { r.HorAngles.redim(1); }},
        {"candela", [](IesRecord& r) { r.Candela.redim(1, 3); }},
        {"tilt factors", [](IesRecord& r) { r.TiltData.factors.redim(1); }},
        {"negative count", [](IesRecord& r) { r.OtherData.numVertAngles = -1; }},
    };
    IesRecord previous = fullRecord();
    previous.Filename = "what the host gave";
    writeRecord(previous);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        list.clear();
        list.add(fullRecord());
        c.breakIt(list(1));
        const IesRecord before = list(1);
        EXPECT_EQ(slots.WriteExchangeRecords(1, 1, 1), -1);
        EXPECT_EQ(value("Filename", 1), "what the host gave");  // the store is not touched
        EXPECT_EQ(slots.lastError(), std::string(exchange_msg::kRecordForSlot) + "1" +
                                         std::string(exchange_msg::kInconsistentRecord));
        EXPECT_EQ(list(1), before);
    }
}

// A store that refuses every write and fails every read after the first `reads` ones.
class BrokenStore final : public SettingsStore {
  public:
    explicit BrokenStore(int reads) : reads_(reads) {}
    std::string get(std::string_view app, std::string_view section, std::string_view key,
                    std::string_view defaultValue) override {
        lastError_.clear();
        if (reads_-- > 0) return inner_.get(app, section, key, defaultValue);
        lastError_ = "Cannot read the settings store /x: disk I/O error";
        return std::string(defaultValue);
    }
    bool save(std::string_view, std::string_view, std::string_view, std::string_view) override {
        lastError_ = "Cannot write to the settings store /x: the file is read-only";
        return false;
    }
    bool deleteKey(std::string_view, std::string_view, std::string_view) override { return false; }
    bool deleteSection(std::string_view, std::string_view) override { return false; }
    Entries allEntries(std::string_view, std::string_view) override { return {}; }
    MemorySettingsStore inner_;

  private:
    int reads_;
};

TEST(ExchangeStore, AStoreFailureIsReportedInTheStoresWords) {
    BrokenStore broken(1);
    ScriptedPrompter prompter;
    RecordList list;
    list.add(fullRecord());
    ExchangeSlots slots(broken, "Lumivex_PE", "S", list, prompter);
    EXPECT_EQ(slots.WriteExchangeRecords(1, 1, 1), -1);
    EXPECT_EQ(slots.lastError(), "Cannot write to the settings store /x: the file is read-only");
    EXPECT_EQ(list.ubound(), 1);

    broken.inner_.save("Lumivex_PE", "S", "Filename1", "a.ies");
    std::string error;
    EXPECT_EQ(slots.ReadExchangeRecords(1, error), 1);
    EXPECT_EQ(error, "Cannot read the settings store /x: disk I/O error");
    EXPECT_TRUE(list.empty());
}

TEST(ExchangeNumbers, CandelaValuesTakeThePlainFormWhateverTheirSize) {
    // Thousandths take a shortcut past the general formatting; both must give the same text.
    std::vector<double> values = {0,      -0.0,    0.001, -0.001,          0.5,   -0.25,
                                  1234.5, 1650.05, 10.01, 99999999999.999, 1e11,  -1e11,
                                  1e20,   1.0 / 3, 1e-5,  123456789.1234,  2.675, 0.0005};
    for (int i = 0; i < 20000; ++i)
        values.push_back((i * 7919 % 100003) / 1000.0 - 50);
    for (int i = 0; i < 2000; ++i)
        values.push_back(i * 4.0000001e6 + i / 1000.0);
    IesRecord r;
    r.resizeGrid(static_cast<int>(values.size()), 1);
    std::string expected;
    for (std::size_t i = 0; i < values.size(); ++i) {
        r.Candela(1, static_cast<int>(i) + 1) = values[i];
        if (i > 0) expected += ',';
        expected += plainDouble(values[i], true);
    }
    SlotValues out;
    ASSERT_TRUE(encodeSlot(r, out));
    EXPECT_EQ(out.values[8], expected);
    IesRecord back;
    std::string error;
    ASSERT_EQ(decodeSlot(out, back, error), 0) << error;
    for (std::size_t i = 0; i < values.size(); ++i)
        ASSERT_EQ(back.Candela(1, static_cast<int>(i) + 1), toDouble(plainDouble(values[i])))
            << values[i];
}

TEST(ExchangeSample, TheSampleIsAValidFile) {
    IesRecord sample = SampleRecord();
    EXPECT_EQ(sample.Keywords(1), "IESNA:LM-63-2002");
    SilentPrompter quiet;
    const std::string text = writer().Compose(sample, quiet);
    IesRecord parsed;
    IesReader reader;
    std::vector<std::string> reports;
    reader.hooks.ReportIssue = [&](int, int, const std::string& m) { reports.push_back(m); };
    EXPECT_EQ(reader.ParseIes(parsed, text, false, text), 0);
    EXPECT_TRUE(reports.empty()) << reports.front();
    parsed.Filename = sample.Filename;
    EXPECT_EQ(parsed, sample);
}

}  // namespace
}  // namespace kandor
