#include "editor/helpopener.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>

#include <memory>

namespace kandor {

namespace {

// A failure later than this is the browser ending, long after it showed the page.
constexpr qint64 kBrowserStartMs = 10000;

}  // namespace

PageHelpOpener::PageHelpOpener(Prompter& prompter, std::string helpFile, UrlOpener open)
    : prompter_(prompter), helpFile_(std::move(helpFile)), open_(std::move(open)) {
    if (!open_) open_ = [this](const QUrl& url) { return startBrowser(url); };
}

bool PageHelpOpener::startBrowser(const QUrl& url) {
    // The desktop's opener says through its exit status that it found no browser; the usual
    // way of opening a URL would only leave that on the terminal.
    auto* process = new QProcess;
    process->setProgram(QStringLiteral("xdg-open"));
    process->setArguments({url.toString()});
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    const std::string page = url.toLocalFile().toStdString();
    QObject::connect(
        process, &QProcess::finished, process,
        [this, process, clock, page](int code, QProcess::ExitStatus status) {
            process->deleteLater();
            if ((status == QProcess::NormalExit && code == 0) || clock->elapsed() > kBrowserStartMs)
                return;
            prompter_.tell(std::string(help_text::kNoBrowser) + page + ".");
        });
    process->start();
    if (process->waitForStarted(3000)) return true;
    delete process;
    return false;
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
