#include "support/scriptedprompter.h"

#include <gtest/gtest.h>

namespace kandor::testing {

PromptAnswer ScriptedPrompter::ask(const std::string& text, const std::string& title,
                                   PromptButtons buttons) {
    calls_.push_back({text, title, buttons});
    if (!answers_.empty()) {
        const PromptAnswer answer = answers_.front();
        answers_.pop_front();
        return answer;
    }
    return buttons == PromptButtons::YesNo ? PromptAnswer::Yes : PromptAnswer::Ok;
}

const PromptCall& ScriptedPrompter::last() const {
    static const PromptCall none;
    if (calls_.empty()) {
        ADD_FAILURE() << "no message box was shown";
        return none;
    }
    return calls_.back();
}

void ScriptedPrompter::reset() {
    answers_.clear();
    calls_.clear();
}

}  // namespace kandor::testing
