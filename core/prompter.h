#pragma once

#include <string>

namespace kandor {

enum class PromptButtons { Ok, OkCancel, YesNo };
enum class PromptAnswer { Ok, Cancel, Yes, No };

// The one way the system shows a message box. The application wraps a real dialog; tests
// script the answers and read the texts. An empty title means the tool's own name.
class Prompter {
  public:
    virtual ~Prompter() = default;
    virtual PromptAnswer ask(const std::string& text, const std::string& title,
                             PromptButtons buttons) = 0;

    void tell(const std::string& text, const std::string& title = {}) {
        ask(text, title, PromptButtons::Ok);
    }
};

// Answers every box with its first button (OK or Yes) and shows nothing: for tools that run
// without a person in front of them.
class SilentPrompter final : public Prompter {
  public:
    PromptAnswer ask(const std::string&, const std::string&, PromptButtons buttons) override {
        return buttons == PromptButtons::YesNo ? PromptAnswer::Yes : PromptAnswer::Ok;
    }
};

}  // namespace kandor
