#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace kandor {

// Classic run-time error numbers that the system traps and reports by number.
namespace fault {
inline constexpr int kInvalidCall = 5;
inline constexpr int kOverflow = 6;
inline constexpr int kOutOfMemory = 7;
inline constexpr int kSubscriptOutOfRange = 9;
inline constexpr int kDivisionByZero = 11;
inline constexpr int kTypeMismatch = 13;
inline constexpr int kInputPastEnd = 62;
}  // namespace fault

// The one exception type for run-time faults: a classic error number, its description and
// the source that raised it. Only error traps catch it; data problems never raise it.
class RuntimeFault : public std::exception {
  public:
    explicit RuntimeFault(int number);
    RuntimeFault(int number, std::string description, std::string source = "KandorPE");

    int number() const noexcept { return number_; }
    const std::string& description() const noexcept { return description_; }
    const std::string& source() const noexcept { return source_; }
    const char* what() const noexcept override { return description_.c_str(); }

  private:
    int number_;
    std::string description_;
    std::string source_;
};

// The run time's description of a classic error number ("Overflow", "Subscript out of range",
// ...); "Application-defined or object-defined error" for a number it does not know.
std::string_view faultDescription(int number);

// Raises the fault with its classic description.
[[noreturn]] void raiseFault(int number);

// Inside a catch block: the fault being handled, with allocation failures and other standard
// exceptions mapped onto their classic numbers (7 out of memory, 5 otherwise).
RuntimeFault currentFault();

}  // namespace kandor
