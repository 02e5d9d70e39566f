#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/iesrecord.h"
#include "core/prompter.h"

namespace kandor {

// The writer's messages, kept together so that tests compare them exactly.
namespace saveies_msg {
inline constexpr std::string_view kTitlePrefix = "Error saving ";
inline constexpr std::string_view kRetrySuffix = "OK to Retry, Cancel to quit.";
inline constexpr std::string_view kOtherFaultPrefix = "Windows Error ";
}  // namespace saveies_msg

// The message the save-error box shows for a classic error number (without the retry line);
// empty when the number has no text of its own and the "Windows Error " form applies.
std::string_view saveErrorMessage(int number);

// The LM-63 writer: turns a record into the text of a photometric file. It keeps the text it
// composed last, because the reader's keyword check consults it.
class SaveIES {
  public:
    // Value lines of a LM-63-2002 file may run longer than those of the older revisions.
    static constexpr std::int16_t kLimit2002 = 256;
    static constexpr std::int16_t kLimitClassic = 132;

    // Composes the record's LM-63 text (CRLF line ends, no CRLF after the last candela value).
    // A run-time fault while composing shows the "Error saving " box through the prompter
    // (OK / Cancel): OK returns the text composed so far, Cancel an empty string. The record
    // is never changed.
    std::string Compose(const IesRecord& record, Prompter& prompter);

    // The text most recently composed (the reader's keyword check consults it).
    const std::string& lastText() const noexcept { return output_; }

    // Sets the last composed text, as the preview does with the text it is about to parse.
    void setLastText(std::string text);

    // The number pattern of candela values: "#0.00" as the format's layout has it. A tool
    // that saves a user's file uses "#0.00#", so that values the reader kept to three
    // decimals are written back as they were read.
    static constexpr std::string_view kCandelaPattern = "#0.00";
    static constexpr std::string_view kCandelaPatternExact = "#0.00#";
    void setCandelaPattern(std::string_view pattern) { candelaPattern_ = pattern; }

  private:
    void composeInto(const IesRecord& record);
    // Appends one piece, first breaking the line when the piece holds no CRLF and would carry
    // the current line past the limit.
    void append(std::string_view piece);
    // The same for a piece known to hold neither CR nor LF (a formatted value or a blank).
    void appendBare(const char* data, std::size_t size);
    void appendLineOfValues(const OneBased<float>& values, int count);
    void updateLineLength();

    std::string output_;
    std::int16_t lineLength_ = 0;
    std::int16_t limit_ = kLimitClassic;
    std::size_t lastCrlf_ = 0;  // 1-based position of the CR of the last CRLF, 0 for none
    std::string_view candelaPattern_ = kCandelaPattern;
};

// The process-wide writer.
SaveIES& writer();

}  // namespace kandor
