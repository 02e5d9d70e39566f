#include "fileio/safesave.h"

#include <fcntl.h>
#include <linux/falloc.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace kandor::fileio {

namespace fs = std::filesystem;

namespace {

std::string reason(int error) {
    return std::strerror(error);
}

fs::path folderOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

std::int64_t mtimeOf(const struct stat& info) {
    return static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
}

// Closes a descriptor when it goes out of scope.
class Fd {
  public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) ::close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }
    void reset(int fd) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }
    // Closes now, reporting what close says (a delayed write error shows up here).
    int close() {
        const int result = fd_ >= 0 ? ::close(fd_) : 0;
        fd_ = -1;
        return result;
    }

  private:
    int fd_;
};

// Writes all bytes at `offset`; 0 or the errno of the failure.
int writeAll(int fd, std::string_view bytes, off_t offset) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pwrite(fd, bytes.data() + done, bytes.size() - done,
                                   offset + static_cast<off_t>(done));
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (n == 0) return EIO;
        done += static_cast<std::size_t>(n);
    }
    return 0;
}

void syncFolder(const fs::path& folder) {
    Fd dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() >= 0) ::fsync(dir.get());
}

mode_t newFileMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

std::string userName(uid_t uid) {
    if (const passwd* pw = ::getpwuid(uid)) return pw->pw_name;
    return std::to_string(uid);
}

struct TempFile {
    std::string path;
    int error = 0;
};

// A temporary file beside `file`, named after it so that a stray one says what it was.
TempFile makeTemp(const fs::path& file, Fd& fd) {
    std::string pattern = (folderOf(file) / ("." + file.filename().string() + ".XXXXXX")).string();
    const int raw = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (raw < 0) return {{}, errno};
    fd.reset(raw);
    return {pattern, 0};
}

// Writes `bytes` into the existing file itself: the inode, its links, owner and mode stay.
// Room is reserved before the first byte changes; a failure part way puts `old` back.
std::string writeInPlace(const fs::path& target, std::string_view bytes, std::string_view old) {
    Fd fd(::open(target.c_str(), O_WRONLY | O_CLOEXEC));
    if (fd.get() < 0) return target.string() + " cannot be written: " + reason(errno) + ".";
    if (::fallocate(fd.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes.size())) != 0 &&
        (errno == ENOSPC || errno == EDQUOT || errno == EFBIG))
        return target.string() + " cannot be written: " + reason(errno) + "; it is unchanged.";
    int error = writeAll(fd.get(), bytes, 0);
    if (error == 0 && ::ftruncate(fd.get(), static_cast<off_t>(bytes.size())) != 0) error = errno;
    if (error == 0 && ::fsync(fd.get()) != 0) error = errno;
    if (error == 0) {
        if (fd.close() != 0) return target.string() + " cannot be written: " + reason(errno) + ".";
        return {};
    }
    // The old contents fitted before; put them back.
    const bool restored = writeAll(fd.get(), old, 0) == 0 &&
                          ::ftruncate(fd.get(), static_cast<off_t>(old.size())) == 0 &&
                          ::fsync(fd.get()) == 0;
    return target.string() + " cannot be written: " + reason(error) +
           (restored ? "; its old contents were put back." : "; it may be damaged.");
}

struct Replaced {
    bool done = false;
    bool ownerUnkeepable = false;  // nothing written: the owner could not be kept
    std::string error;
    std::string note;
};

// The temporary-file-and-rename path. `info` describes the existing target (when `exists`).
Replaced replaceWithTemp(const fs::path& target, std::string_view bytes, bool exists,
                         const struct stat& info, bool mayFallBack) {
    Replaced out;
    Fd fd;
    const TempFile temp = makeTemp(target, fd);
    if (temp.path.empty()) {
        out.error = "no temporary file can be made in " + folderOf(target).string() + ": " +
                    reason(temp.error);
        return out;
    }
    auto fail = [&](const std::string& what, int error) {
        out.error = what + ": " + reason(error);
        fd.close();
        ::unlink(temp.path.c_str());
        return out;
    };
    if (::fchmod(fd.get(), exists ? (info.st_mode & 07777) : newFileMode()) != 0)
        return fail("the permissions cannot be set on " + temp.path, errno);
    if (exists && (info.st_uid != ::geteuid() || info.st_gid != ::getegid()) &&
        ::fchown(fd.get(), info.st_uid, info.st_gid) != 0) {
        if (mayFallBack) {
            fd.close();
            ::unlink(temp.path.c_str());
            out.ownerUnkeepable = true;
            return out;
        }
        // Keep the group at least, which a member of it may set.
        const bool groupKept = ::fchown(fd.get(), static_cast<uid_t>(-1), info.st_gid) == 0;
        out.note = "The owner of " + target.string() + " could not be kept: it now belongs to " +
                   userName(::geteuid()) + (groupKept ? "." : ", and its group changed too.");
        // chown may have cleared set-id bits; the mode is set again on the final owner.
        ::fchmod(fd.get(), info.st_mode & 07777);
    }
    if (const int error = writeAll(fd.get(), bytes, 0))
        return fail("cannot write " + temp.path, error);
    if (::fsync(fd.get()) != 0) return fail("cannot flush " + temp.path, errno);
    if (fd.close() != 0) return fail("cannot close " + temp.path, errno);
    if (::rename(temp.path.c_str(), target.c_str()) != 0) {
        const int error = errno;
        ::unlink(temp.path.c_str());
        out.error = "cannot replace it: " + reason(error);
        return out;
    }
    syncFolder(folderOf(target));
    out.done = true;
    return out;
}

// Keeps `bytes` as the backup of a file with mode `mode`, owner `uid`/`gid`; empty on success.
std::string writeBackup(const fs::path& backup, std::string_view bytes, const struct stat& of) {
    struct stat existing;
    const bool exists = ::stat(backup.c_str(), &existing) == 0;
    // Never wider than the original: a private file keeps a private backup.
    struct stat narrow = of;
    narrow.st_mode = of.st_mode & 0777;
    Replaced replaced = replaceWithTemp(backup, bytes, true, narrow, false);
    if (replaced.done) return {};
    // A folder without room for a temporary file: an existing backup is written in place, once
    // it is made as narrow as the original.
    if (exists && S_ISREG(existing.st_mode) && ::access(backup.c_str(), W_OK) == 0 &&
        ((existing.st_mode & 0777) == (of.st_mode & 0777) ||
         ::chmod(backup.c_str(), of.st_mode & 0777) == 0)) {
        std::string old;
        {
            std::ifstream in(backup, std::ios::binary);
            old.assign(std::istreambuf_iterator<char>(in), {});
        }
        const std::string error = writeInPlace(backup, bytes, old);
        if (error.empty()) return {};
        return error;
    }
    return backup.string() + ": " + replaced.error;
}

std::string hostName() {
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0) return "localhost";
    return name;
}

// True while process `pid` of this machine lives (another user's process counts too).
bool processAlive(long pid) {
    if (pid <= 0) return false;
    return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH;
}

// A 64-bit hash of the bytes (FNV-1a): enough to tell one version of a file from another.
std::uint64_t contentHash(std::string_view bytes) {
    std::uint64_t hash = 1469598103934665603ull;
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ull;
    }
    return hash;
}

}  // namespace

ReadResult readForEditing(const fs::path& file, std::uintmax_t limit) {
    ReadResult out;
    // Non-blocking, so that opening a pipe does not wait for a writer that never comes.
    Fd fd(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (fd.get() < 0) {
        out.error = "cannot open " + file.string() + ": " + reason(errno) + ".";
        return out;
    }
    struct stat info;
    if (::fstat(fd.get(), &info) != 0) {
        out.error = "cannot read " + file.string() + ": " + reason(errno) + ".";
        return out;
    }
    if (S_ISDIR(info.st_mode)) {
        out.error = file.string() + " is a folder, not a photometric file.";
        return out;
    }
    if (!S_ISREG(info.st_mode)) {
        out.error = file.string() +
                    " is not a regular file (a device, pipe or socket); KandorPE opens files only.";
        return out;
    }
    if (static_cast<std::uintmax_t>(info.st_size) > limit) {
        out.error = file.string() + " is " + std::to_string(info.st_size / (1024 * 1024)) +
                    " MB, larger than any photometric file (at most " +
                    std::to_string(limit / (1024 * 1024)) + " MB); it was not read.";
        return out;
    }
    out.bytes.resize(static_cast<std::size_t>(info.st_size));
    std::size_t done = 0;
    while (true) {
        if (done == out.bytes.size()) {
            // The file may have grown since it was measured.
            if (out.bytes.size() > limit) break;
            const std::uintmax_t cap = limit < UINTMAX_MAX ? limit + 1 : limit;
            out.bytes.resize(
                static_cast<std::size_t>(std::min<std::uintmax_t>(cap, out.bytes.size() + 65536)));
        }
        const ssize_t n = ::read(fd.get(), out.bytes.data() + done, out.bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            out.error = "cannot read " + file.string() + ": " + reason(errno) + ".";
            out.bytes.clear();
            return out;
        }
        if (n == 0) break;
        done += static_cast<std::size_t>(n);
    }
    out.bytes.resize(done);
    if (done > limit) {
        out.error = file.string() + " grew beyond " + std::to_string(limit / (1024 * 1024)) +
                    " MB while it was read; it was not read.";
        out.bytes.clear();
        return out;
    }
    out.ok = true;
    out.snapshot = {true, done, mtimeOf(info), contentHash(out.bytes)};
    return out;
}

DiskState compareWithDisk(const fs::path& file, const FileSnapshot& read) {
    struct stat info;
    if (::stat(file.c_str(), &info) != 0)
        return errno == ENOENT ? DiskState::Missing : DiskState::Unreadable;
    if (!read.exists) return DiskState::Changed;
    if (static_cast<std::uintmax_t>(info.st_size) != read.size) return DiskState::Changed;
    const ReadResult now = readForEditing(file);
    if (!now.ok) return DiskState::Unreadable;
    return now.snapshot.hash == read.hash && now.snapshot.size == read.size ? DiskState::Unchanged
                                                                            : DiskState::Changed;
}

namespace {

// The path a symbolic link leads to in the end (the path itself when it is none). Dangling
// links resolve to the missing target, so saving creates the file the link names.
fs::path resolveLinks(const fs::path& file) {
    fs::path path = file;
    for (int hops = 0; hops < 40; ++hops) {
        std::error_code ec;
        if (!fs::is_symlink(fs::symlink_status(path, ec))) return path;
        const fs::path next = fs::read_symlink(path, ec);
        if (ec) return path;
        path = next.is_absolute() ? next : folderOf(path) / next;
    }
    return path;
}

}  // namespace

SaveOutcome saveFile(const SaveRequest& request, const SaveConfirm& confirm) {
    // A process limit on file sizes must give a write error here, not end the program.
    ::signal(SIGXFSZ, SIG_IGN);
    SaveOutcome out;
    const fs::path target = resolveLinks(request.file);
    const std::string name = request.file.string();
    auto failed = [&](const std::string& why) {
        out.result = SaveOutcome::Result::Failed;
        out.error = name + " could not be saved: " + why;
        return out;
    };

    struct stat info;
    std::memset(&info, 0, sizeof info);
    const bool exists = ::stat(target.c_str(), &info) == 0;
    if (!exists && errno != ENOENT) return failed(reason(errno) + ".");
    if (exists && !S_ISREG(info.st_mode)) return failed("it is not a regular file.");

    bool writable = true;
    if (exists && ::access(target.c_str(), W_OK) != 0) {
        if (errno == EROFS) return failed(reason(errno) + ".");
        writable = false;
        if (!confirm || !confirm(SaveQuestion::OverwriteReadOnly,
                                 name + " is read-only. Replace it with your changes anyway?")) {
            out.result = SaveOutcome::Result::Declined;
            return out;
        }
    }

    // What the file holds now: kept as the backup, and put back if writing in place fails.
    std::string current;
    std::string unreadable;
    if (exists) {
        ReadResult now = readForEditing(target, ~std::uintmax_t{0});
        if (now.ok)
            current = std::move(now.bytes);
        else
            unreadable = now.error;
    }

    if (request.backup && exists) {
        fs::path backup = request.file;
        backup += ".bak";
        const std::string error =
            unreadable.empty() ? writeBackup(backup, current, info) : unreadable;
        if (error.empty()) {
            out.backupMade = true;
        } else if (!confirm || !confirm(SaveQuestion::SaveWithoutBackup,
                                        "No backup of " + name + " can be made (" + error +
                                            "). Save your changes without a backup?")) {
            out.result = SaveOutcome::Result::Declined;
            return out;
        }
    }

    // Several names for one file: replacing it would split them; the file is written itself.
    bool inPlace = exists && info.st_nlink > 1;
    if (!inPlace) {
        const Replaced replaced = replaceWithTemp(target, request.bytes, exists, info, writable);
        if (replaced.done) {
            if (!replaced.note.empty()) out.notes.push_back(replaced.note);
        } else if (exists && writable) {
            // A folder without room for a temporary file, or an owner that only the file
            // itself can keep.
            inPlace = true;
        } else {
            return failed(replaced.error + ".");
        }
    }
    if (inPlace) {
        if (!unreadable.empty()) return failed(unreadable);
        const std::string error = writeInPlace(target, request.bytes, current);
        if (!error.empty()) {
            out.result = SaveOutcome::Result::Failed;
            out.error = error;
            return out;
        }
        out.inPlace = true;
    }

    struct stat after;
    std::memset(&after, 0, sizeof after);
    ::stat(target.c_str(), &after);
    out.written = {true, request.bytes.size(), mtimeOf(after), contentHash(request.bytes)};
    out.result = SaveOutcome::Result::Saved;
    return out;
}

fs::path EditLock::lockPathFor(const fs::path& file) {
    // Every name of one file shares one lock: it sits beside the file the links lead to.
    const fs::path real = resolveLinks(fs::absolute(file));
    return folderOf(real) / ("." + real.filename().string() + ".kandorpe-lock");
}

EditLock::EditLock(const fs::path& file) : lockPath_(lockPathFor(file)) {
    const std::string me = std::to_string(::getpid()) + " " + hostName() + "\n";
    for (int attempt = 0; attempt < 2; ++attempt) {
        Fd fd(::open(lockPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
        if (fd.get() >= 0) {
            if (writeAll(fd.get(), me, 0) == 0 && fd.close() == 0) {
                state_ = State::Held;
                return;
            }
            ::unlink(lockPath_.c_str());
            holder_ = "the lock " + lockPath_.string() + " cannot be written";
            return;
        }
        if (errno != EEXIST) {
            holder_ = "no lock can be made beside the file: " + reason(errno);
            return;
        }
        std::ifstream in(lockPath_);
        long pid = 0;
        std::string host;
        in >> pid >> host;
        if (host == hostName() && !processAlive(pid)) {
            // Left behind by an editor that did not end normally.
            ::unlink(lockPath_.c_str());
            continue;
        }
        state_ = State::HeldByOther;
        holder_ = "process " + std::to_string(pid) + (host.empty() ? "" : " on " + host);
        return;
    }
    holder_ = "the lock " + lockPath_.string() + " keeps coming back";
}

EditLock::~EditLock() {
    if (state_ != State::Held) return;
    // Only our own lock: a stale-lock takeover by another editor must not be undone.
    std::ifstream in(lockPath_);
    long pid = 0;
    in >> pid;
    if (pid == ::getpid()) ::unlink(lockPath_.c_str());
}

fs::path recoveryPathFor(const fs::path& file) {
    for (int n = 1; n < 1000; ++n) {
        fs::path candidate = file;
        candidate += n == 1 ? ".recovered.ies" : ".recovered-" + std::to_string(n) + ".ies";
        std::error_code ec;
        if (!fs::exists(fs::symlink_status(candidate, ec))) return candidate;
    }
    fs::path last = file;
    last += ".recovered-" + std::to_string(::getpid()) + ".ies";
    return last;
}

bool writeNewFile(const fs::path& path, std::string_view bytes, std::string& error) {
    ::signal(SIGXFSZ, SIG_IGN);
    Fd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, newFileMode()));
    if (fd.get() < 0) {
        error = "cannot create " + path.string() + ": " + reason(errno);
        return false;
    }
    int failure = writeAll(fd.get(), bytes, 0);
    if (failure == 0 && ::fsync(fd.get()) != 0) failure = errno;
    if (failure == 0 && fd.close() != 0) failure = errno;
    if (failure != 0) {
        error = "cannot write " + path.string() + ": " + reason(failure);
        ::unlink(path.c_str());
        return false;
    }
    return true;
}

}  // namespace kandor::fileio
