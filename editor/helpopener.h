#pragma once

#include <functional>
#include <string>

#include <QPointer>
#include <QString>
#include <QUrl>

#include "core/prompter.h"
#include "editor/frmedit.h"

class QDialog;
class QTextBrowser;

namespace kandor {

// The help pages beside the tool, one per topic ("topic-402.html" ...), opened in the
// desktop's browser. A missing page is told to the user; when no browser can be started the
// page opens in a simple viewer of the tool's own.
class PageHelpOpener final : public HelpOpener {
  public:
    using UrlOpener = std::function<bool(const QUrl&)>;

    // `helpFile` is the help index (the tool's directory followed by its help pages); the
    // topic pages sit beside it. `open` shows a page (the desktop's browser by default).
    PageHelpOpener(Prompter& prompter, std::string helpFile, UrlOpener open = {});
    ~PageHelpOpener() override;

    bool openTopic(int topic) override;

    // The page of a topic beside the help index.
    static QString pagePath(const std::string& helpFile, int topic);

    // The tool's own viewer, once a page was shown in it; null before.
    QTextBrowser* viewer() const;

  private:
    void showInViewer(const QUrl& page);

    // Starts the desktop's opener on the page; a desktop without a browser is told to the user
    // when the opener gives up. False when no opener could be started at all.
    bool startBrowser(const QUrl& url);

    Prompter& prompter_;
    std::string helpFile_;
    UrlOpener open_;
    QPointer<QDialog> viewer_;
    QPointer<QTextBrowser> browser_;
};

namespace help_text {
// The page's path follows each lead-in.
inline constexpr std::string_view kMissingPage = "The help page is missing: ";
inline constexpr std::string_view kMissingPageTail =
    "\r\nReinstall the tool to get its help pages back.";
inline constexpr std::string_view kViewerTitle = "KandorPE Help";
}  // namespace help_text

}  // namespace kandor
