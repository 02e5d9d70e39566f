#include "editor/helpopener.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

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

PageHelpOpener::~PageHelpOpener() {
    delete viewer_.data();
}

QTextBrowser* PageHelpOpener::viewer() const {
    return browser_.data();
}

void PageHelpOpener::showInViewer(const QUrl& page) {
    if (!viewer_) {
        viewer_ = new QDialog(nullptr, Qt::Window);
        viewer_->setObjectName("dlgHelpViewer");
        viewer_->setWindowTitle(QString::fromUtf8(
            help_text::kViewerTitle.data(), static_cast<int>(help_text::kViewerTitle.size())));
        browser_ = new QTextBrowser;
        browser_->setObjectName("txtHelp");
        browser_->setOpenLinks(true);
        browser_->setOpenExternalLinks(false);
        auto* back = new QPushButton(QDialog::tr("&Back"));
        QObject::connect(back, &QPushButton::clicked, browser_.data(), &QTextBrowser::backward);
        QObject::connect(browser_.data(), &QTextBrowser::backwardAvailable, back,
                         &QPushButton::setEnabled);
        back->setEnabled(false);
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
        buttons->addButton(back, QDialogButtonBox::ActionRole);
        QObject::connect(buttons, &QDialogButtonBox::rejected, viewer_.data(), &QDialog::hide);
        auto* layout = new QVBoxLayout(viewer_);
        layout->addWidget(browser_);
        layout->addWidget(buttons);
        viewer_->resize(760, 620);
    }
    browser_->setSource(page);
    viewer_->show();
    viewer_->raise();
    viewer_->activateWindow();
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
    QObject::connect(
        process, &QProcess::finished, process,
        [this, process, clock, url](int code, QProcess::ExitStatus status) {
            process->deleteLater();
            if ((status == QProcess::NormalExit && code == 0) || clock->elapsed() > kBrowserStartMs)
                return;
            showInViewer(url);
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
    // Without a browser the page is still read, in the tool's own viewer.
    if (!open_(QUrl::fromLocalFile(page))) showInViewer(QUrl::fromLocalFile(page));
    return true;
}

}  // namespace kandor
