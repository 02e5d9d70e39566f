#include "fileedit/fileedit.h"

#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QResizeEvent>
#include <QTimer>
#include <QWidget>

#include "core/iesreader.h"
#include "core/keywords.h"
#include "core/ldtconvert.h"
#include "core/ldtreader.h"
#include "core/numforms.h"
#include "editor/qtprompter.h"
#include "fileio/lm63file.h"
#include "host/exchange.h"
#include "host/sqlitesettingsstore.h"

namespace kandor::fileedit {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kToolTag = "KandorPE";
constexpr int kPollMs = 20;
// Pixels to the host's units for "MOVEWIN": twips at the screen's resolution.
constexpr double kTwipsPerInch = 1440;

// Lines for the terminal, under the name of the program that runs the session (kandor-host
// edit, or the editor opening a file itself).
void say(const std::string& text) {
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, text.c_str());
}

// The writer's fault boxes while composing a file's text go to the terminal; a text that could
// not be composed is refused by its caller anyway.
class StderrPrompter final : public Prompter {
  public:
    PromptAnswer ask(const std::string& text, const std::string& title,
                     PromptButtons buttons) override {
        say((title.empty() ? std::string() : title + ": ") + text);
        return buttons == PromptButtons::YesNo ? PromptAnswer::Yes : PromptAnswer::Ok;
    }
};

}  // namespace

ParsedCommand parseEditorCommand(std::string_view command) {
    const std::size_t comma = command.find(',');
    const std::string verb = upperAscii(command.substr(0, comma));
    if (verb == "SENDUPDATEDDATACLOSE*" || verb == "SENDUPDATEDDATACLOSE")
        return {EditorRequest::SaveFile, true};
    if (verb == "SENDUPDATEDDATA*") return {EditorRequest::SaveFile, false};
    if (verb == "SENDNEWDATACLOSE*") return {EditorRequest::SaveCopy, true};
    if (verb == "SENDNEWDATA*") return {EditorRequest::SaveCopy, false};
    if (verb == "RETURNCLOSE" || verb == "CLOSEREMOVE") return {EditorRequest::Close, true};
    return {};
}

std::string encodeOpenReport(const OpenReport& report) {
    if (report.status == 0 && report.findings.empty()) return {};
    std::string text = std::to_string(report.status);
    for (const std::string& finding : report.findings)
        text += "\n" + finding;
    return text;
}

OpenReport decodeOpenReport(std::string_view text) {
    OpenReport report;
    if (text.empty()) return report;
    std::size_t start = 0;
    bool first = true;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        const std::string line(text.substr(start, end - start));
        if (first) {
            report.status = std::atoi(line.c_str());
            first = false;
        } else if (!line.empty()) {
            report.findings.push_back(line);
        }
        start = end + 1;
    }
    return report;
}

// ---- EditedFile ----

EditedFile::EditedFile(fs::path file, const std::string& bytes,
                       const fileio::FileSnapshot& snapshot, const IesRecord& original,
                       Prompter& prompter, std::optional<LdtRecord> ldt)
    : file_(std::move(file)),
      lfOnly_(bytes.find('\r') == std::string::npos),
      onDisk_(snapshot),
      prompter_(prompter),
      ldt_(std::move(ldt)) {
    std::string why;
    known_ = compose(original, why);
}

std::string EditedFile::compose(const IesRecord& record, std::string& why) const {
    if (!ldt_) {
        StderrPrompter quiet;
        std::string text = fileio::composeForFile(record, lfOnly_, quiet);
        if (text.empty()) why = "the data handed back cannot be written as an LM-63 text";
        return text;
    }
    const LdtSaved saved = saveLdtDocument(fileio::withFileKeywords(record), *ldt_);
    for (const LdtFinding& finding : saved.findings)
        say(file_.string() + ": " + finding.message);
    if (saved.status == kLdtUnusable || saved.text.empty()) {
        why = "the data cannot be written as EULUMDAT";
        for (const LdtFinding& finding : saved.findings)
            if (finding.status == kLdtUnusable) why += " (" + finding.message + ")";
        return {};
    }
    return lfOnly_ ? fileio::withLfLineEnds(saved.text) : saved.text;
}

bool EditedFile::saveRecord(const IesRecord& record) {
    std::string why;
    const std::string text = compose(record, why);
    if (text.empty()) {
        prompter_.tell(file_.string() + " could not be saved: " + why +
                       ". Your changes are still in the editor.");
        return false;
    }
    const fileio::DiskState disk = fileio::compareWithDisk(file_, onDisk_);
    if (text == known_ && disk == fileio::DiskState::Unchanged) {
        say(file_.string() + ": nothing changed; the file was left as it is.");
        return true;
    }
    if (!heldBy_.empty()) {
        prompter_.tell(file_.string() + " is being edited in another KandorPE window (" + heldBy_ +
                       "), so this window cannot save over it. Choose Work On: Copy to save "
                       "your changes as " +
                       fileio::copyPathFor(file_).filename().string() + ".");
        return false;
    }
    if (disk == fileio::DiskState::Changed &&
        prompter_.ask(
            file_.string() + " was changed by another program since it was opened. Overwrite it?",
            {}, PromptButtons::YesNo) != PromptAnswer::Yes) {
        say(file_.string() + " was changed by another program; not overwritten.");
        return false;
    }
    if (!write(file_, text, !backupKept_)) return false;
    known_ = text;
    return true;
}

bool EditedFile::saveCopy(const IesRecord& record) {
    std::string why;
    const std::string text = compose(record, why);
    const fs::path copy = fileio::copyPathFor(file_);
    if (text.empty()) {
        prompter_.tell(copy.string() + " could not be saved: " + why +
                       ". Your changes are still in the editor.");
        return false;
    }
    if (!write(copy, text, !copyBackupKept_)) return false;
    copyBackupKept_ = true;
    return true;
}

bool EditedFile::write(const fs::path& target, const std::string& text, bool backup) {
    const fileio::SaveOutcome outcome = fileio::saveFile(
        {target, text, backup}, [this](fileio::SaveQuestion, const std::string& question) {
            return prompter_.ask(question, {}, PromptButtons::YesNo) == PromptAnswer::Yes;
        });
    if (outcome.result == fileio::SaveOutcome::Result::Declined) {
        say(target.string() + " was not saved.");
        return false;
    }
    if (!outcome.saved()) {
        say(outcome.error);
        prompter_.tell(outcome.error + "\n\nYour changes are still in the editor: remove the " +
                       "cause and press OK again, or choose Work On: Copy to save them as " +
                       fileio::copyPathFor(file_).filename().string() + ".");
        return false;
    }
    if (target == file_) {
        onDisk_ = outcome.written;
        backupKept_ = backupKept_ || outcome.backupMade;
    }
    for (const std::string& note : outcome.notes) {
        say(note);
        prompter_.tell(note);
    }
    ++saves_;
    say("saved " + target.string() + (outcome.inPlace ? " (written in place)" : ""));
    return true;
}

namespace {

// The host's own window for --child: the editor becomes its child and is kept filling it.
class HostWindow final : public QWidget {
  public:
    std::function<void()> resized;

  protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        if (resized) resized();
    }
};

class Session {
  public:
    Session(const EditOptions& options, SettingsStore& store, EditedFile& file,
            std::string openReport)
        : options_(options), store_(store), file_(file), openReport_(std::move(openReport)) {
        section_ = options.section.empty()
                       ? "KandorHostEdit-" + std::to_string(static_cast<long long>(::getpid()))
                       : options.section;
        instance_ = std::to_string(static_cast<long long>(::getpid()));
        outgoing_ = "KandorHost|" + instance_;
        incoming_ = std::string(kToolTag) + "|" + instance_;
    }

    int run(RecordList& list) {
        // The session ends with the editor, not when its last message box closes.
        QGuiApplication::setQuitOnLastWindowClosed(false);
        StderrPrompter quiet;
        ExchangeSlots exchange(store_, std::string(kExchangeApp), section_, list, quiet);
        if (exchange.WriteExchangeRecords(1, 1, 1) < 1) {
            say("cannot hand the file to the editor: " + exchange.lastError());
            return kExitFailed;
        }
        store_.save(kExchangeApp, section_, outgoing_, "");
        if (!openReport_.empty()) store_.save(kExchangeApp, section_, kOpenReportKey, openReport_);

        std::int64_t handle = 1;  // any non-zero handle says "started by a host"
        if (options_.child) {
            window_ = std::make_unique<HostWindow>();
            window_->setWindowTitle(
                QString::fromStdString("kandor-host: " + options_.file.filename().string()));
            window_->resize(1100, 780);
            window_->show();
            handle = static_cast<std::int64_t>(window_->winId());
            window_->resized = [this] { sendMoveWin(); };
        }
        const std::string commandLine = std::to_string(handle) + "," +
                                        (options_.child ? "1" : "0") + "," + outgoing_ + "," +
                                        instance_ + ",0," + section_;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(kEditFileVariable),
                           QString::fromStdString(fs::absolute(options_.file).string()));
        process_.setProcessEnvironment(environment);
        process_.setProcessChannelMode(QProcess::ForwardedChannels);
        process_.start(QString::fromStdString(options_.toolPath),
                       {QString::fromStdString(commandLine)});
        if (!process_.waitForStarted(10000)) {
            say("cannot start the editor " + options_.toolPath + ": " +
                process_.errorString().toStdString());
            return kExitFailed;
        }
        say("editor started (section " + section_ + ")");
        store_.save(kExchangeApp, section_, incoming_, "START");
        startClock_.start();

        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, [this] { tick(); });
        poll.start(kPollMs);
        QObject::connect(&process_, &QProcess::finished,
                         [](int, QProcess::ExitStatus) { QCoreApplication::exit(0); });
        QCoreApplication::exec();
        poll.stop();
        tick();  // a command written just before the editor ended
        store_.deleteSection(kExchangeApp, section_);

        if (process_.exitStatus() == QProcess::CrashExit) {
            say("the editor crashed; " + options_.file.string() +
                (file_.saves() > 0 ? " holds the last data it handed back." : " is unchanged."));
            return kExitFailed;
        }
        if (!startAcknowledged_) {
            say("the editor never acknowledged START; " + options_.file.string() +
                " is unchanged.");
            return kExitFailed;
        }
        if (lastSaveFailed_) {
            say("the editor was closed after a save that failed; " + options_.file.string() +
                " does not hold the last changes.");
            return kExitFailed;
        }
        if (process_.exitCode() != 0) {
            say("the editor ended with status " + std::to_string(process_.exitCode()) + ".");
            return kExitFailed;
        }
        return kExitOk;
    }

  private:
    void sendMoveWin() {
        if (!window_ || !startAcknowledged_) return;
        const double twips = kTwipsPerInch / window_->logicalDpiX();
        const double twipsY = kTwipsPerInch / window_->logicalDpiY();
        const std::string command = "MOVEWIN,0,0," +
                                    std::to_string(std::lround(window_->width() * twips)) + "," +
                                    std::to_string(std::lround(window_->height() * twipsY));
        pendingMove_ = command;
    }

    void tick() {
        // A question about saving waits for its answer in a nested event loop; the editor's
        // next command waits in its key until the answer is given.
        if (busy_) return;
        if (!startAcknowledged_) {
            if (store_.get(kExchangeApp, section_, incoming_).empty() &&
                store_.lastError().empty()) {
                startAcknowledged_ = true;
                say("editor acknowledged START");
                sendMoveWin();
            } else if (startClock_.elapsed() > options_.startSeconds * 1000) {
                say("the editor did not acknowledge START within " +
                    generalSingle(static_cast<float>(options_.startSeconds)) + " s; ending it.");
                process_.kill();
                return;
            }
        }
        // One command at a time towards the editor: the next waits until it took the last.
        if (!pendingMove_.empty() && startAcknowledged_ &&
            store_.get(kExchangeApp, section_, incoming_).empty()) {
            store_.save(kExchangeApp, section_, incoming_, pendingMove_);
            pendingMove_.clear();
        }
        const std::string command = store_.get(kExchangeApp, section_, outgoing_);
        if (command.empty()) return;
        store_.save(kExchangeApp, section_, outgoing_, "");
        std::printf("%s\n", command.c_str());
        std::fflush(stdout);
        busy_ = true;
        handle(command);
        busy_ = false;
    }

    void handle(const std::string& command) {
        const ParsedCommand parsed = parseEditorCommand(command);
        bool saved = true;
        if (parsed.request == EditorRequest::SaveFile ||
            parsed.request == EditorRequest::SaveCopy) {
            saved = save(parsed.request == EditorRequest::SaveCopy);
            lastSaveFailed_ = !saved;
        }
        // A save that failed keeps the editor open with the user's data.
        if (parsed.closing && saved) closeEditor();
    }

    void closeEditor() { store_.save(kExchangeApp, section_, incoming_, "CLOSE"); }

    bool save(bool copy) {
        RecordList list;
        StderrPrompter quiet;
        ExchangeSlots exchange(store_, std::string(kExchangeApp), section_, list, quiet);
        IesRecord record;
        std::string error;
        if (exchange.readSlot(1, record, error) != 0) {
            say("cannot read what the editor handed back: " + error + "; nothing saved.");
            return false;
        }
        return copy ? file_.saveCopy(record) : file_.saveRecord(record);
    }

    const EditOptions& options_;
    SettingsStore& store_;
    EditedFile& file_;
    std::string openReport_;
    std::string section_, instance_, outgoing_, incoming_;
    QProcess process_;
    std::unique_ptr<HostWindow> window_;
    QElapsedTimer startClock_;
    std::string pendingMove_;
    bool startAcknowledged_ = false;
    bool lastSaveFailed_ = false;
    bool busy_ = false;
};

}  // namespace

int runEdit(const EditOptions& options) {
    QtPrompter boxes;
    Prompter& prompter = options.prompter ? *options.prompter : boxes;
    auto refuse = [&](const std::string& text, int status) {
        say(text);
        if (options.startErrorsInBox) prompter.tell(text);
        return status;
    };

    const fileio::ReadResult own =
        options.read ? fileio::ReadResult{} : fileio::readForEditing(options.file);
    const fileio::ReadResult& read = options.read ? *options.read : own;
    if (!read.ok) return refuse(read.error, kExitNoInput);
    const std::string text = normaliseLineEnds(read.bytes);

    RecordList list;
    IesRecord& record = list.add();
    std::vector<std::string> findings;
    auto note = [&findings](int code, int line, const std::string& message) {
        // "file line": the keyword editor numbers its own lines, which differ from the file's.
        const std::string where = line > 0 ? "file line " + std::to_string(line) + ": " : "";
        findings.push_back(where + "(" + std::to_string(code) + ") " + message);
    };
    int status = kParseClean;
    std::optional<LdtRecord> ldt;
    if (photometricFormat(read.bytes, options.file.filename().string()) ==
        PhotometricFormat::Eulumdat) {
        // The editor edits LM-63 data; the file stays EULUMDAT, its other fields kept.
        LdtDocument document = openLdtDocument(read.bytes);
        for (const LdtFinding& finding : document.findings)
            note(finding.code, finding.line, finding.message);
        record = std::move(document.record);
        ldt = std::move(document.original);
        status = document.status == kLdtUnusable   ? kParseUnusable
                 : document.status == kLdtRepaired ? kParseValueProblems
                                                   : kParseClean;
    } else {
        IesReader reader;
        reader.hooks.ReportIssue = note;
        status = reader.ParseIes(record, text, false, text);
    }
    record.Filename = fs::absolute(options.file).lexically_normal().string();
    if (status == kParseUnusable) {
        std::string all;
        for (const std::string& f : findings) {
            say(options.file.string() + ": " + f);
            all += f + "\n";
        }
        if (!options.force || ldt) {
            // An EULUMDAT file that cannot be read gives no record worth editing.
            const std::string why =
                ldt ? options.file.string() +
                          " is not a usable EULUMDAT file (status 2); nothing was changed."
                    : options.file.string() +
                          " is not usable as it stands (status 2); nothing was changed. Use "
                          "--force to edit what could be read; the original is then kept as " +
                          options.file.string() + ".bak.";
            say(why);
            if (options.startErrorsInBox) prompter.tell(why + "\n\n" + all);
            return kExitUnusable;
        }
    }
    const fileio::RoundingReport rounding =
        ldt ? fileio::RoundingReport{} : fileio::candelaRounding(text, record);
    if (rounding.count > 0) {
        say(std::to_string(rounding.count) +
            " candela values have more than three decimals; they are kept to three (largest "
            "change " +
            plainDouble(rounding.maxChange, true) + " cd).");
    }

    EditedFile file(options.file, read.bytes, read.snapshot, record, prompter, std::move(ldt));
    const fileio::EditLock lock(options.file);
    if (lock.state() == fileio::EditLock::State::HeldByOther) {
        const std::string text2 =
            options.file.string() + " is already being edited in another KandorPE window (" +
            lock.holder() +
            "). It opens here read-only: OK cannot save over it, but Work On: Copy saves your "
            "changes as " +
            fileio::copyPathFor(options.file).filename().string() + ".";
        say(text2);
        prompter.tell(text2);
        file.setHeldElsewhere(lock.holder());
    } else if (lock.state() == fileio::EditLock::State::Unavailable) {
        say("editing without a lock: " + lock.holder());
    }

    std::string error;
    std::unique_ptr<SettingsStore> store = openUserSettingsStore(error);
    if (!store) return refuse(error, kExitFailed);
    // "WorkOn" decides whether the editor starts on the file or on a copy of it; the user's
    // own choice comes back when the session ends.
    const std::string workOn = store->get("Lumivex32", "Kandor", "WorkOn");
    if (options.copy) store->save("Lumivex32", "Kandor", "WorkOn", "Copy");
    OpenReport report{status, findings};
    Session session(options, *store, file, encodeOpenReport(report));
    const int result = session.run(list);
    if (options.copy) {
        if (workOn.empty())
            store->deleteKey("Lumivex32", "Kandor", "WorkOn");
        else
            store->save("Lumivex32", "Kandor", "WorkOn", workOn);
    }
    return result;
}

}  // namespace kandor::fileedit
