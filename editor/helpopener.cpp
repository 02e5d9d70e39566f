#include "editor/helpopener.h"

#include <QDesktopServices>
#include <QFileInfo>

namespace kandor {

PageHelpOpener::PageHelpOpener(Prompter& prompter, std::string helpFile, UrlOpener open)
    : prompter_(prompter), helpFile_(std::move(helpFile)), open_(std::move(open)) {
    if (!open_) open_ = [](const QUrl& url) { return QDesktopServices::openUrl(url); };
}

QString PageHelpOpener::pagePath(const std::string& helpFile, int topic) {
    const QString folder = QFileInfo(QString::fromStdString(helpFile)).absolutePath();
    return folder + QStringLiteral("/topic-%1.html").arg(topic);
}

bool PageHelpOpener::openTopic(int topic) {
    const QString page = pagePath(helpFile_, topic);
    if (!QFileInfo(page).isFile()) {
        prompter_.tell(std::string(help_text::kMissingPage) + page.toStdString() +
                       std::string(help_text::kMissingPageTail));
        return false;
    }
    if (!open_(QUrl::fromLocalFile(page))) {
        prompter_.tell(std::string(help_text::kNoBrowser) + page.toStdString() + ".");
        return false;
    }
    return true;
}

}  // namespace kandor
