#pragma once

#include <array>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_set>

#include "core/iesrecord.h"
#include "core/prompter.h"
#include "host/settingsstore.h"

namespace kandor {

// The number of numbered exchange slots; the record list holds at most one record per slot.
inline constexpr int MaxExchangeSlots = RecordList::kMaxRecords;

// The settings application under which the host and the tool exchange records and commands.
inline constexpr std::string_view kExchangeApp = "Lumivex_PE";

// The exchange's messages, kept together so that tests compare them exactly.
namespace exchange_msg {
inline constexpr std::string_view kTiltProblem = "Problem parsing tilt data";
inline constexpr std::string_view kOtherProblem = "Problem parsing other data";
inline constexpr std::string_view kVertProblem = "Problem parsing vertical angles";
inline constexpr std::string_view kHorzProblem = "Problem parsing horizontal angles";
inline constexpr std::string_view kCandelaProblem = "Problem parsing candela values";
inline constexpr std::string_view kKeywordProblem = "Problem parsing keyword data";
inline constexpr std::string_view kLoadDataTitle = "Load Data";
inline constexpr std::string_view kTooManyFiles =
    "You have reached the maximum number of files allowed to load at one time (";
inline constexpr std::string_view kTooManyFilesEnd = ").";
// Only when the store refuses a value without saying why; otherwise its own message is passed on.
inline constexpr std::string_view kStoreProblem = "The settings store did not take the value of ";
// A record whose counts are negative or exceed its arrays is not handed on; the host would
// misread it. The text follows "The record for slot " and the slot number.
inline constexpr std::string_view kRecordForSlot = "The record for slot ";
inline constexpr std::string_view kNoSuchSlot = "There is no exchange slot ";
inline constexpr std::string_view kInconsistentRecord =
    " has counts that do not match its angles, tilt pairs or candela values; it was not "
    "written.";
}  // namespace exchange_msg

// The names of the eleven keys of a slot, in the order they are written.
namespace exchange_key {
inline constexpr std::string_view kFilename = "Filename";
inline constexpr std::string_view kKeywords = "Keywords";
inline constexpr std::string_view kKeywordData = "KeywordData";
inline constexpr std::string_view kTiltIncl = "TiltIncl";
inline constexpr std::string_view kTiltData = "TiltData";
inline constexpr std::string_view kOtherData = "OtherData";
inline constexpr std::string_view kHorAngles = "HorAngles";
inline constexpr std::string_view kVertAngles = "VertAngles";
inline constexpr std::string_view kCandela = "Candela";
inline constexpr std::string_view kOptionalData = "OptionalData";
inline constexpr std::string_view kPictureFilename = "PictureFilename";
inline constexpr std::string_view kAll[] = {kFilename, kKeywords,     kKeywordData,    kTiltIncl,
                                            kTiltData, kOtherData,    kHorAngles,      kVertAngles,
                                            kCandela,  kOptionalData, kPictureFilename};
}  // namespace exchange_key

// The key of a field in a slot: the field name followed by the slot number ("Candela12").
std::string exchangeKey(std::string_view field, int slot);

// The eleven values of one record as a slot carries them, key by key in written order.
// KeywordData and TiltData are empty when the record has no keyword lines or no tilt table.
struct SlotValues {
    static constexpr std::size_t kCount = std::size(exchange_key::kAll);
    std::array<std::string, kCount> values;
};

// Encodes a record into its slot values. The counts decide how many values are written; false
// (and `out` unusable) when an array is shorter than its count or a count is negative, so that
// a broken record never reaches the host.
bool encodeSlot(const IesRecord& record, SlotValues& out);

// Decodes the values of one slot into a record (Filename included). 0 when the record was
// read, 1 when a value could not be read; then errorText names the value and `record` may be
// half-filled. Numbers are read leniently: leading blanks skipped, the longest numeric prefix,
// otherwise 0 (a letter or an empty field is no failure). A list is the first line of its
// value; one that is empty, or shorter than its count (angles, tilt pairs, H x V candela
// values), fails, and the fields after the counted ones are never read, so no allocation is
// ever larger than the text. A count below 0 or beyond 16 bits fails, as does a number beyond
// the range of its member. "TiltIncl" is true for 1 and for -1.
int decodeSlot(const SlotValues& in, IesRecord& record, std::string& errorText);

// The records of the process travelling through the numbered slots of one application and
// section of the settings store. Host and tool each use one; nothing here throws.
class ExchangeSlots {
  public:
    // Binds the slots of `section` under `app` in `store` to `list`; `prompter` shows the one
    // message box of the exchange ("Load Data"). All four must outlive this object.
    ExchangeSlots(SettingsStore& store, std::string app, std::string section, RecordList& list,
                  Prompter& prompter);

    // Writes the empty string to all eleven keys of slots 1..25 (the keys stay, empty).
    // False when the store refused a value; lastError() then says why.
    bool ClearExchangeSlots();

    // Clears every slot, then writes records firstRecord, firstRecord+1, ... of the list into
    // slots firstSlot..lastSlot; a slot past the end of the list is marked empty by its
    // Filename key alone. Returns 1 when every slot was written, 0 when the 25-slot cap cut
    // the range short (after the "Load Data" box; the slots written stay), -1 when the store
    // refused a value or a record was inconsistent (lastError() says which; an inconsistent
    // record is found before anything in the store changes).
    int WriteExchangeRecords(int firstSlot, int lastSlot, int firstRecord);

    // Rebuilds the list from slots 1..slotCount (at most 25), skipping empty slots. Returns 0
    // when at least one record was read, -1 when every slot was empty, 1 when a value could
    // not be read: errorText then holds the message, reading stops, and the records of the
    // slots before stay in the list (the failing slot's record is not added).
    int ReadExchangeRecords(int slotCount, std::string& errorText);

    // Reads one slot into `record`: 0 read, -1 the slot is empty (or not one of 1..25), 1
    // failure with errorText.
    int readSlot(int slot, IesRecord& record, std::string& errorText);

    // Writes one record into one slot (1..25) without clearing the others; false on a store
    // failure or an inconsistent record, with lastError() set.
    bool writeSlot(int slot, const IesRecord& record);

    // The message of the most recent failed write; empty after a success.
    const std::string& lastError() const noexcept { return lastError_; }

    const std::string& app() const noexcept { return app_; }
    const std::string& section() const noexcept { return section_; }

  private:
    bool clearSlotsExcept(const std::unordered_set<std::string>& rewritten);
    bool encodeFor(int slot, const IesRecord& record, SlotValues& values);
    bool saveSlot(int slot, const IesRecord& record, const SlotValues& values);
    bool save(std::string_view key, std::string_view value);
    bool storeFailed(std::string& errorText);

    SettingsStore& store_;
    std::string app_;
    std::string section_;
    RecordList& list_;
    Prompter& prompter_;
    std::string lastError_;
};

}  // namespace kandor
