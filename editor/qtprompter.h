#pragma once

#include <QPointer>
#include <QWidget>

#include "core/prompter.h"

namespace kandor {

// The one real message box of the tool. A box without a title of its own carries the tool's
// name.
class QtPrompter final : public Prompter {
  public:
    static constexpr std::string_view kDefaultTitle = "KandorPE";

    void setOwner(QWidget* owner) { owner_ = owner; }
    PromptAnswer ask(const std::string& text, const std::string& title,
                     PromptButtons buttons) override;

  private:
    QPointer<QWidget> owner_;
};

}  // namespace kandor
