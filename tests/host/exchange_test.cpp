#include "host/exchange.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/samplerecord.h"
#include "host/settingsstore.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

constexpr std::string_view kSection = "PE1";

// A record with something in every member, including values whose plain form is unusual.
IesRecord fullRecord() {
    IesRecord r;
    r.Filename = "C:\\Photometry\\troffer.ies";
    r.PictureFilename = "C:\\Photometry\\troffer.jpg";
    r.Keywords = {"IESNA:LM-63-2002", "[TEST] T-1", "[MANUFAC] Acme, Inc."};
    r.TiltIncl = true, r.TiltData = {3, 2, {0, 90}, {1, 0.95f}};
    r.resizeGrid(3, 2);
    r.OtherData = {2, -1, 0.5f, 3, 2, 1, 2, -0.25f, 1.5f, 0, 1, 1.5e7f};
    r.VertAngles = {0, 45, 90};
    r.HorAngles = {0, 22.5f};
    r.Candela.values() = {1234.567, -0.001, 0, 1e20, 12.5, 3};  // horizontal angle outer
    r.OptionalData = "near-field data follows\r\n1 2 3";
    return r;
}

class Exchange : public ::testing::Test {
  protected:
    void put(std::string_view field, int slot, std::string_view text) {
        store.save(kExchangeApp, kSection, exchangeKey(field, slot), text);
    }
    // `count` values of a slot from field `first` on, in written order, joined by "|"; a key
    // that is not there reads "missing".
    std::string values(int slot, std::size_t first = 0, std::size_t count = 11) {
        std::string joined;
        for (std::size_t i = first; i < first + count; ++i) {
            const std::string key = exchangeKey(exchange_key::kAll[i], slot);
            joined += (i > first ? "|" : "") + store.get(kExchangeApp, kSection, key, "missing");
        }
        return joined;
    }
    int read(int slotCount) { return slots.ReadExchangeRecords(slotCount, error); }

    MemorySettingsStore store;
    testing::ScriptedPrompter prompter;
    RecordList list;
    ExchangeSlots slots{store, std::string(kExchangeApp), std::string(kSection), list, prompter};
    std::string error;
};

TEST_F(Exchange, WritesEveryValueInItsExactForm) {
    list.add(fullRecord());
    put("Keywords", 3, " 7");
    put("Candela", 25, "1,2,3");
    ASSERT_EQ(slots.WriteExchangeRecords(1, 3, 1), 1);
    EXPECT_EQ(values(1),
              "C:\\Photometry\\troffer.ies| 3|IESNA:LM-63-2002\r\n[TEST] T-1\r\n[MANUFAC] Acme, "
              "Inc.\r\n| 1|3,2,0,90,1,.95|2,-1,.5,1,2,-.25,1.5,0,1,1.5E+07|2,0,22.5|3,0,45,90|"
              "1234.567,-.001,0,1E+20,12.5,3|near-field data follows\r\n1 2 3|"
              "C:\\Photometry\\troffer.jpg");
    // Every other slot is cleared; a surplus slot is marked empty by its Filename alone.
    EXPECT_EQ(values(2) + values(3) + values(25), std::string(30, '|'));
    EXPECT_EQ(store.allEntries(kExchangeApp, kSection).size(), 275u);

    // The tilt numbers stay in the record but must not travel; the first write's values go.
    list(1).Keywords = {""}, list(1).TiltIncl = false;
    ASSERT_EQ(slots.WriteExchangeRecords(1, 1, 1), 1);
    EXPECT_EQ(values(1, 1, 4), " 1|\r\n| 0|");

    // A host would misread a record shorter than its counts, so it never reaches the store.
    const std::string stored = values(1);
    list(1).Candela.redim(1, 3);
    EXPECT_EQ(slots.WriteExchangeRecords(1, 1, 1), -1);
    EXPECT_EQ(slots.lastError(),
              "The record for slot 1 has counts that do not match its angles, tilt pairs or "
              "candela values; it was not written.");
    list(1) = fullRecord(), list(1).OtherData.numVertAngles = -1;
    EXPECT_EQ(slots.WriteExchangeRecords(1, 1, 1), -1);
    EXPECT_EQ(values(1), stored);
}

TEST_F(Exchange, RecordsRoundTripUnchanged) {
    const std::pair<const char*, void (*)(IesRecord&)> cases[] = {
        {"no keywords", [](IesRecord& r) { r.Keywords.clear(); }},
        {"one empty keyword", [](IesRecord& r) { r.Keywords = {""}; }},
        {"no tilt pairs", [](IesRecord& r) { r.TiltData = {}, r.TiltData.lampToLuminaire = 1; }},
        {"no tilt", [](IesRecord& r) { r.TiltIncl = false, r.TiltData = {}; }},
        {"no angles", [](IesRecord& r) { r.resizeGrid(0, 0), r.OptionalData.clear(); }},
        {"sample", [](IesRecord& r) { r = SampleRecord(); }},
        // Written with 15 digits these would round beyond the largest double and not read back.
        {"largest doubles",
         [](IesRecord& r) {
             r.Candela(1, 1) = std::numeric_limits<double>::max();
             r.Candela(2, 3) = std::nextafter(-r.Candela(1, 1), 0.0);
         }},
        {"everything", [](IesRecord&) {}}};
    for (const auto& [what, shape] : cases) {
        SCOPED_TRACE(what);
        list.clear();
        shape(list.add(fullRecord()));
        const IesRecord record = list(1);
        ASSERT_EQ(slots.WriteExchangeRecords(1, 1, 1), 1) << slots.lastError();
        ASSERT_EQ(read(1), 0) << error;
        EXPECT_EQ(list(1), record);
    }
    // A host may write numbers with blanks, other exponents and closing line ends; the slot
    // still holds the last case, the full record.
    put("KeywordData", 1, "IESNA:LM-63-2002\n[TEST] T-1\r\n[MANUFAC] Acme, Inc.");  // no last CRLF
    put("TiltIncl", 1, "-1");
    put("TiltData", 1, " 3, 2, 0, 90, 1, .95\r\n");
    put("OtherData", 1, " 2,-1, .5, 1, 2,-.25, 1.5, 0, 1, 15E+6");
    put("Candela", 1, "1234.567,-1E-3,0,1e20,12.5,3\r\n");
    ASSERT_EQ(read(1), 0) << error;
    EXPECT_EQ(list(1), fullRecord());
}

TEST_F(Exchange, TwentyFiveSlotsAtMostAreWrittenAndRead) {
    for (const char* name : {"f1", "f2", "f3", "f4"})
        list.add(fullRecord()).Filename = name;
    EXPECT_EQ(slots.WriteExchangeRecords(24, 26, 2), 0);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text,
              "You have reached the maximum number of files allowed to load at one time (25).");
    EXPECT_EQ(prompter.last().title, "Load Data");
    EXPECT_EQ(values(24, 0, 1) + "|" + values(25, 0, 1) + "|" + values(26, 0, 1), "f2|f3|missing");

    // Reading skips the empty slots, keeps the slots' order and never looks past slot 25.
    ASSERT_TRUE(slots.writeSlot(2, list(1)));
    put("Filename", 26, "beyond");
    ASSERT_EQ(read(99), 0) << error;
    ASSERT_EQ(list.ubound(), 3);
    EXPECT_EQ(list(1).Filename + "|" + list(2).Filename + "|" + list(3).Filename, "f1|f2|f3");
    ASSERT_EQ(read(24), 0);
    EXPECT_EQ(list.ubound(), 2);
    ASSERT_TRUE(slots.ClearExchangeSlots());
    EXPECT_EQ(read(25), -1);
}

// Numbers are read as the run time reads them, so a letter, a blank or an empty field is a
// number too (0, or its numeric prefix); lists longer than their counts keep the counted part.
TEST_F(Exchange, NumberFieldsAreReadLeniently) {
    const std::tuple<const char*, std::string, void (*)(IesRecord&)> cases[] = {
        {"OtherData", "2,-1,.5,1,2,-.25,1.5,0,1,100W",
         [](IesRecord& r) { r.OtherData.inputWatts = 100; }},
        {"OtherData", " 2 ,\t-1x,.5,,2,abc,1.5,0,1,1.5E+07,extra",
         [](IesRecord& r) { r.OtherData.photometricType = 0, r.OtherData.width = 0; }},
        {"VertAngles", "3,0,forty-five,90", [](IesRecord& r) { r.VertAngles(2) = 0; }},
        {"VertAngles", "3.4,0,,90,135\r\n", [](IesRecord& r) { r.VertAngles(2) = 0; }},
        {"HorAngles", "1,0,22.5",
         [](IesRecord& r) {
             r.resizeGrid(3, 1), r.VertAngles = {0, 45, 90},
                                 r.Candela.values() = {1234.567, -.001, 0};
         }},
        {"HorAngles", "x",
         [](IesRecord& r) {
             r.resizeGrid(3, 0), r.VertAngles = {0, 45, 90};
         }},
        {"TiltData", "3x,2,0,9O,1,.95,7", [](IesRecord& r) { r.TiltData.angles(2) = 9; }},
        {"TiltIncl", "1 (yes)", [](IesRecord&) {}},
        {"TiltIncl", "", [](IesRecord& r) { r.TiltIncl = false, r.TiltData = {}; }},
        {"Candela", "1234.567,-1E-3,0,1e20,12.5,3cd,99", [](IesRecord&) {}},
        {"Candela", "1234.567,-1E-3,0,1e20,,",
         [](IesRecord& r) { r.Candela(2, 2) = r.Candela(2, 3) = 0; }}};
    for (const auto& [key, text, expected] : cases) {
        SCOPED_TRACE(std::string(key) + " = \"" + text + "\"");
        ASSERT_TRUE(slots.writeSlot(1, fullRecord()));
        put(key, 1, text);
        ASSERT_EQ(read(1), 0) << error;
        IesRecord record = fullRecord();
        expected(record);
        EXPECT_EQ(list(1), record);
    }
}

// A host that writes inconsistent values gets a message, never a crash or a huge allocation,
// and the records of the slots before stay.
TEST_F(Exchange, InconsistentValuesFailWithTheirMessage) {
    using namespace exchange_msg;
    const std::tuple<const char*, std::string_view, std::vector<std::string>> cases[] = {
        {"TiltData", kTiltProblem, {"3,2,0,90,1", "3,-1", "3", "3,2,0,90,1E39,.95"}},
        {"OtherData", kOtherProblem, {"2,-1,.5,1,2,-.25,1.5,0,1", "", "40000,-1,.5,1,2,0,0,0,1,1"}},
        {"VertAngles", kVertProblem, {"3,0,45", "30000,0,45,90", "-1", "32768", "1E999,0", ""}},
        {"HorAngles", kHorzProblem, {"", "2,0\r\n,22.5"}},
        {"Keywords", kKeywordProblem, {"1E999"}},
        {"Candela", kCandelaProblem, {"1234.567,.001,0,1E+20,12.5", ""}}};
    for (const auto& [key, message, texts] : cases)
        for (const std::string& text : texts) {
            SCOPED_TRACE(std::string(key) + " = \"" + text + "\"");
            ASSERT_TRUE(slots.writeSlot(1, fullRecord()) && slots.writeSlot(2, fullRecord()));
            put(key, 2, text);
            EXPECT_EQ(read(3), 1);
            EXPECT_EQ(error, message);
            EXPECT_EQ(list.ubound(), 1);
        }
    // 32767 x 32767 candela values would be eight gigabytes; the short list gives it away. Slot
    // 2 is as the last case left it, with only the candela values broken.
    std::string angles = "32767";
    for (int i = 0; i < 32767; ++i)
        angles += ",1";
    put("VertAngles", 2, angles);
    put("HorAngles", 2, angles);
    put("Candela", 2, "1,2,3");
    EXPECT_EQ(read(3), 1);
    EXPECT_EQ(error, kCandelaProblem);
}

}  // namespace
}  // namespace kandor
