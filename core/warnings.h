#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kandor {

// The one list of problems found before a hand-back. The text is the list: one warning per
// line, each ended by CRLF. The warnings dialog shows this text.
class WarningList {
  public:
    void Clear() { text_.clear(); }
    // Appends the message and CRLF; no prefix, numbering or de-duplication.
    void Add(std::string_view message) {
        text_ += message;
        text_ += "\r\n";
    }
    // True when the list is exactly empty.
    bool Clean() const { return text_.empty(); }

    const std::string& text() const { return text_; }
    void setText(std::string text) { text_ = std::move(text); }
    // The warnings one by one, without their line ends.
    std::vector<std::string> lines() const;

  private:
    std::string text_;
};

}  // namespace kandor
