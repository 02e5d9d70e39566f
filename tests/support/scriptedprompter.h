#pragma once

#include <cstddef>
#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/prompter.h"

namespace kandor::testing {

// One message box as the code under test asked for it.
struct PromptCall {
    std::string text;
    std::string title;
    PromptButtons buttons = PromptButtons::Ok;
};

// A Prompter for tests: answers from a queue (when the queue is empty, with the box's first
// button: OK or Yes) and records every box it was asked to show.
class ScriptedPrompter final : public Prompter {
  public:
    ScriptedPrompter() = default;
    ScriptedPrompter(std::initializer_list<PromptAnswer> answers) : answers_(answers) {}

    // Queues the answer to the next box not yet answered.
    void queue(PromptAnswer answer) { answers_.push_back(answer); }

    PromptAnswer ask(const std::string& text, const std::string& title,
                     PromptButtons buttons) override;

    // Every box shown so far, oldest first.
    const std::vector<PromptCall>& calls() const noexcept { return calls_; }
    // The most recent box; fails the test (and returns an empty call) when none was shown.
    const PromptCall& last() const;
    // Answers queued but not yet used.
    std::size_t pending() const noexcept { return answers_.size(); }
    void reset();

  private:
    std::deque<PromptAnswer> answers_;
    std::vector<PromptCall> calls_;
};

}  // namespace kandor::testing
