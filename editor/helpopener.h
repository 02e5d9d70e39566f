#pragma once

#include <functional>
#include <string>

#include <QString>
#include <QUrl>

#include "core/prompter.h"
#include "editor/frmedit.h"

namespace kandor {

// The help pages beside the tool, one per topic ("topic-402.html" ...), opened in the
// desktop's browser. A missing page or a desktop that opens nothing is told to the user.
class PageHelpOpener final : public HelpOpener {
  public:
    using UrlOpener = std::function<bool(const QUrl&)>;

    // `helpFile` is the help index (the tool's directory followed by its help pages); the
    // topic pages sit beside it. `open` shows a page (the desktop's browser by default).
    PageHelpOpener(Prompter& prompter, std::string helpFile, UrlOpener open = {});

    bool openTopic(int topic) override;

    // The page of a topic beside the help index.
    static QString pagePath(const std::string& helpFile, int topic);

  private:
    // Starts the desktop's opener on the page; a desktop without a browser is told to the user
    // when the opener gives up. False when no opener could be started at all.
    bool startBrowser(const QUrl& url);

    Prompter& prompter_;
    std::string helpFile_;
    UrlOpener open_;
};

namespace help_text {
// The page's path follows each lead-in.
inline constexpr std::string_view kMissingPage = "The help page is missing: ";
inline constexpr std::string_view kMissingPageTail =
    "\r\nReinstall the tool to get its help pages back.";
inline constexpr std::string_view kNoBrowser = "No web browser could be started to show ";
}  // namespace help_text

}  // namespace kandor
