#include "tools/hostedit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QResizeEvent>
#include <QTimer>
#include <QWidget>

#include "core/iesreader.h"
#include "core/numforms.h"
#include "core/saveies.h"
#include "host/exchange.h"
#include "host/sqlitesettingsstore.h"

namespace kandor::hostedit {

namespace {

constexpr std::string_view kToolTag = "KandorPE";
constexpr int kPollMs = 20;
// Pixels to the host's units for "MOVEWIN": twips at the screen's resolution.
constexpr double kTwipsPerInch = 1440;

void say(const std::string& text) {
    std::fprintf(stderr, "kandor-host: %s\n", text.c_str());
}

std::string upperAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return out;
}

class StderrPrompter final : public Prompter {
  public:
    PromptAnswer ask(const std::string& text, const std::string& title,
                     PromptButtons buttons) override {
        ++shown;
        say((title.empty() ? std::string() : title + ": ") + text);
        return buttons == PromptButtons::YesNo ? PromptAnswer::Yes : PromptAnswer::Ok;
    }
    int shown = 0;
};

// The offset just past the TILT line, or npos when the text has none.
std::size_t afterTiltLine(std::string_view text) {
    std::size_t lineStart = 0;
    while (lineStart < text.size()) {
        std::size_t end = text.find('\n', lineStart);
        if (end == std::string_view::npos) end = text.size();
        if (upperAscii(text.substr(lineStart, std::min<std::size_t>(4, end - lineStart))) == "TILT")
            return end < text.size() ? end + 1 : end;
        lineStart = end + 1;
    }
    return std::string_view::npos;
}

std::optional<std::string> readFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return std::nullopt;
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return std::nullopt;
    return text;
}

}  // namespace

RoundingReport candelaRounding(std::string_view text, const IesRecord& record) {
    RoundingReport report;
    std::size_t pos = afterTiltLine(text);
    if (pos == std::string_view::npos) return report;
    IesReader reader;
    reader.hooks.ReportIssue = [](int, int, const std::string&) {};
    const LampData& d = record.OtherData;
    const int numVert = d.numVertAngles;
    const int numHorz = d.numHorzAngles;
    if (numVert <= 0 || numHorz <= 0 || record.Candela.rows() != numHorz ||
        record.Candela.cols() != numVert)
        return report;
    try {
        int skip = 13 + numVert + numHorz;  // the numeric header and the angles
        if (record.TiltIncl) skip += 2 + 2 * record.TiltData.numPairs;
        for (int i = 0; i < skip; ++i)
            reader.gfnValueInput(text, pos);
        for (int h = 1; h <= numHorz; ++h) {
            for (int v = 1; v <= numVert; ++v) {
                const double inFile = reader.gfnValueInput(text, pos);
                const double change = std::fabs(inFile - record.Candela(h, v));
                if (change > 5e-10 * std::max(1.0, std::fabs(inFile))) {
                    ++report.count;
                    report.maxChange = std::max(report.maxChange, change);
                }
            }
        }
    } catch (...) {
        return {};
    }
    return report;
}

std::string composeForFile(IesRecord record, bool lfOnly, Prompter& prompter) {
    // The editor stores the format line with its CRLF, and the exchange hands that back as an
    // empty line after it; a saved file should not grow blank header lines.
    OneBased<std::string> keywords;
    for (std::string line : record.Keywords) {
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
            line.pop_back();
        if (!line.empty()) keywords.append(std::move(line));
    }
    record.Keywords = std::move(keywords);
    SaveIES writer;
    writer.setCandelaPattern(SaveIES::kCandelaPatternExact);
    std::string text = writer.Compose(record, prompter);
    // The writer ends the table without a line break; files end with one.
    text += "\r\n";
    if (!lfOnly) return text;
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) out += text[i];
    return out;
}

bool saveAtomically(const std::filesystem::path& file, std::string_view bytes, std::string& error) {
    const std::filesystem::path folder =
        file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    std::string pattern = (folder / ("." + file.filename().string() + ".XXXXXX")).string();
    const int fd = mkstemp(pattern.data());
    if (fd < 0) {
        error =
            "cannot create a temporary file beside " + file.string() + ": " + std::strerror(errno);
        return false;
    }
    auto fail = [&](const char* what) {
        error = std::string(what) + " " + pattern + ": " + std::strerror(errno);
        ::close(fd);
        ::unlink(pattern.c_str());
        return false;
    };
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return fail("cannot write");
        }
        done += static_cast<std::size_t>(n);
    }
    // Keep the original's permissions: a saved file must not become private by accident.
    struct stat original;
    std::memset(&original, 0, sizeof original);
    if (::stat(file.c_str(), &original) == 0)
        ::fchmod(fd, original.st_mode & 07777);
    else
        ::fchmod(fd, 0644);
    if (::fsync(fd) != 0) return fail("cannot flush");
    if (::close(fd) != 0) {
        error = "cannot close " + pattern + ": " + std::strerror(errno);
        ::unlink(pattern.c_str());
        return false;
    }
    if (::rename(pattern.c_str(), file.c_str()) != 0) {
        error = "cannot replace " + file.string() + ": " + std::strerror(errno);
        ::unlink(pattern.c_str());
        return false;
    }
    // The rename itself must reach the disk too.
    if (const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY); dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

std::filesystem::path copyPathFor(const std::filesystem::path& file) {
    return file.parent_path() / ("Copy_" + file.filename().string());
}

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
    Session(const EditOptions& options, SettingsStore& store, std::string original, bool lfOnly)
        : options_(options), store_(store), original_(std::move(original)), lfOnly_(lfOnly) {
        section_ = options.section.empty()
                       ? "KandorHostEdit-" + std::to_string(static_cast<long long>(::getpid()))
                       : options.section;
        instance_ = std::to_string(static_cast<long long>(::getpid()));
        outgoing_ = "KandorHost|" + instance_;
        incoming_ = std::string(kToolTag) + "|" + instance_;
    }

    int run(RecordList& list) {
        StderrPrompter prompter;
        ExchangeSlots exchange(store_, std::string(kExchangeApp), section_, list, prompter);
        if (exchange.WriteExchangeRecords(1, 1, 1) < 1) {
            say("cannot hand the file to the editor: " + exchange.lastError());
            return 1;
        }
        store_.save(kExchangeApp, section_, outgoing_, "");

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
        process_.setProcessChannelMode(QProcess::ForwardedChannels);
        process_.start(QString::fromStdString(options_.toolPath),
                       {QString::fromStdString(commandLine)});
        if (!process_.waitForStarted(10000)) {
            say("cannot start the editor " + options_.toolPath + ": " +
                process_.errorString().toStdString());
            return 1;
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
                (saves_ > 0 ? " holds the last data it handed back." : " is unchanged."));
            return 1;
        }
        if (!startAcknowledged_) {
            say("the editor never acknowledged START; " + options_.file.string() +
                " is unchanged.");
            return 1;
        }
        if (saveFailed_) return 1;
        if (process_.exitCode() != 0) {
            say("the editor ended with status " + std::to_string(process_.exitCode()) + ".");
            return 1;
        }
        return 0;
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
        handle(command);
    }

    void handle(const std::string& command) {
        const ParsedCommand parsed = parseEditorCommand(command);
        if (parsed.request == EditorRequest::SaveFile) save(options_.file);
        if (parsed.request == EditorRequest::SaveCopy) save(copyPathFor(options_.file));
        if (parsed.closing) closeEditor();
    }

    void closeEditor() { store_.save(kExchangeApp, section_, incoming_, "CLOSE"); }

    void save(const std::filesystem::path& target) {
        RecordList list;
        StderrPrompter prompter;
        ExchangeSlots exchange(store_, std::string(kExchangeApp), section_, list, prompter);
        IesRecord record;
        std::string error;
        if (exchange.readSlot(1, record, error) != 0) {
            say("cannot read what the editor handed back: " + error + "; nothing saved.");
            saveFailed_ = true;
            return;
        }
        const std::string text = composeForFile(record, lfOnly_, prompter);
        if (prompter.shown > 0 || text.empty()) {
            say("cannot compose the LM-63 text; " + target.string() + " is unchanged.");
            saveFailed_ = true;
            return;
        }
        if (target == options_.file && !backupKept_) {
            std::filesystem::path backup = options_.file;
            backup += ".bak";
            if (!saveAtomically(backup, original_, error)) {
                say("cannot keep the original as " + backup.string() + ": " + error +
                    "; nothing saved.");
                saveFailed_ = true;
                return;
            }
            backupKept_ = true;
        }
        if (!saveAtomically(target, text, error)) {
            say(error + "; nothing saved.");
            saveFailed_ = true;
            return;
        }
        ++saves_;
        say("saved " + target.string());
    }

    const EditOptions& options_;
    SettingsStore& store_;
    std::string original_;
    bool lfOnly_;
    std::string section_, instance_, outgoing_, incoming_;
    QProcess process_;
    std::unique_ptr<HostWindow> window_;
    QElapsedTimer startClock_;
    std::string pendingMove_;
    bool startAcknowledged_ = false;
    bool backupKept_ = false;
    bool saveFailed_ = false;
    int saves_ = 0;
};

}  // namespace

int runEdit(const EditOptions& options) {
    const std::optional<std::string> bytes = readFile(options.file);
    if (!bytes) {
        say("cannot read '" + options.file.string() + "'.");
        return 66;
    }
    const bool lfOnly = bytes->find('\r') == std::string::npos;
    const std::string text = normaliseLineEnds(*bytes);

    RecordList list;
    IesRecord& record = list.add();
    IesReader reader;
    std::vector<std::string> findings;
    reader.hooks.ReportIssue = [&findings](int code, int line, const std::string& message) {
        findings.push_back("line " + std::to_string(line) + ": (" + std::to_string(code) + ") " +
                           message);
    };
    const int status = reader.ParseIes(record, text, false, text);
    record.Filename = std::filesystem::absolute(options.file).lexically_normal().string();
    if (status == kParseUnusable) {
        for (const std::string& f : findings)
            say(options.file.string() + ": " + f);
        if (!options.force) {
            say(options.file.string() +
                " is not usable as it stands (status 2); nothing was changed. Use --force to "
                "edit what could be read; the original is then kept as " +
                options.file.string() + ".bak.");
            return 2;
        }
        std::filesystem::path backup = options.file;
        backup += ".bak";
        std::string error;
        // Kept now, whatever happens later.
        if (!saveAtomically(backup, *bytes, error)) {
            say("cannot keep the original: " + error);
            return 1;
        }
    }
    const RoundingReport rounding = candelaRounding(text, record);
    if (rounding.count > 0) {
        say(std::to_string(rounding.count) +
            " candela values have more than three decimals; they are kept to three (largest "
            "change " +
            plainDouble(rounding.maxChange, true) + " cd).");
    }

    std::string error;
    std::unique_ptr<SettingsStore> store = openUserSettingsStore(error);
    if (!store) {
        say(error);
        return 1;
    }
    // "WorkOn" decides whether the editor starts on the file or on a copy of it; the user's
    // own choice comes back when the session ends.
    const std::string workOn = store->get("Lumivex32", "Kandor", "WorkOn");
    if (options.copy) store->save("Lumivex32", "Kandor", "WorkOn", "Copy");
    Session session(options, *store, *bytes, lfOnly);
    const int result = session.run(list);
    if (options.copy) {
        if (workOn.empty())
            store->deleteKey("Lumivex32", "Kandor", "WorkOn");
        else
            store->save("Lumivex32", "Kandor", "WorkOn", workOn);
    }
    return result;
}

}  // namespace kandor::hostedit
