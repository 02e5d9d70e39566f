#pragma once

// Reading a user's file for editing and writing it back so that no failure, link, permission
// or other program ever costs the user a file: what every KandorPE program that saves a file
// uses (the editor's file mode, kandor-host edit, the command-line converters).

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kandor::fileio {

// Photometric files are kilobytes, near-field data a few hundred megabytes at most; anything
// larger is not one, and reading it whole would only exhaust the memory.
inline constexpr std::uintmax_t kMaxEditableBytes = 512ull * 1024 * 1024;

// What a file held when it was read, to tell later whether someone else has changed it.
struct FileSnapshot {
    bool exists = false;
    std::uintmax_t size = 0;
    std::int64_t mtimeNs = 0;
    std::uint64_t hash = 0;
};

struct ReadResult {
    bool ok = false;
    std::string bytes;
    FileSnapshot snapshot;
    std::string error;  // why not, naming the file and the system's reason
};

// Reads a regular file whole. Directories, devices and pipes are refused without blocking on
// them, and so is a file larger than `limit`.
ReadResult readForEditing(const std::filesystem::path& file,
                          std::uintmax_t limit = kMaxEditableBytes);

enum class DiskState { Unchanged, Changed, Missing, Unreadable };

// Whether the file on disk still holds what `read` saw. Only the bytes count: a touched file
// whose contents are the same is unchanged.
DiskState compareWithDisk(const std::filesystem::path& file, const FileSnapshot& read);

// The questions saving may have to ask before it goes on; true means go on.
enum class SaveQuestion {
    OverwriteReadOnly,  // the file has no write permission
    SaveWithoutBackup,  // a backup was asked for and cannot be made
};
using SaveConfirm = std::function<bool(SaveQuestion question, const std::string& text)>;

struct SaveRequest {
    std::filesystem::path file;  // as the user named it; a symbolic link is written through
    std::string_view bytes;      // the new contents
    // Keep what the file holds now as FILE.bak (with the file's own permissions) before it is
    // overwritten. Nothing is kept when the file does not exist yet.
    bool backup = false;
};

struct SaveOutcome {
    enum class Result { Saved, Declined, Failed };
    Result result = Result::Failed;
    std::string error;               // Failed: what went wrong, naming the file
    std::vector<std::string> notes;  // Saved, but something the user should know
    bool backupMade = false;
    bool inPlace = false;  // written into the existing file rather than replacing it
    FileSnapshot written;  // what the file holds now

    bool saved() const { return result == Result::Saved; }
};

// Writes the file so that it holds either its old or its new contents, never a part:
//  - a temporary file beside it gets the bytes, the file's mode, owner and group, is flushed
//    to the disk and renamed over it;
//  - a file with several hard links, a file whose owner cannot be given to the temporary file,
//    and a writable file in a directory where no temporary file can be made are written in
//    place instead (room on the disk reserved first, the old contents put back on failure);
//  - a symbolic link stays a link: its target is written;
//  - a read-only file is only replaced after `confirm` agreed.
SaveOutcome saveFile(const SaveRequest& request, const SaveConfirm& confirm);

// A lock beside a file, saying "being edited" to other KandorPE programs. It is removed when
// this object goes, and a lock whose process is gone is taken over.
class EditLock {
  public:
    enum class State {
        Held,         // this process holds the lock
        HeldByOther,  // another live editor holds it; `holder()` says which
        Unavailable,  // no lock could be made (a read-only folder); editing goes on without
    };

    explicit EditLock(const std::filesystem::path& file);
    ~EditLock();
    EditLock(const EditLock&) = delete;
    EditLock& operator=(const EditLock&) = delete;

    State state() const noexcept { return state_; }
    // "process 1234 on host" for HeldByOther; the reason for Unavailable.
    const std::string& holder() const noexcept { return holder_; }

    static std::filesystem::path lockPathFor(const std::filesystem::path& file);

  private:
    std::filesystem::path lockPath_;
    State state_ = State::Unavailable;
    std::string holder_;
};

// A free name for a recovery file: FILE.recovered.ies, else FILE.recovered-2.ies and so on.
std::filesystem::path recoveryPathFor(const std::filesystem::path& file);

// Creates `path` with the bytes, never over an existing file. False with `error` set.
bool writeNewFile(const std::filesystem::path& path, std::string_view bytes, std::string& error);

}  // namespace kandor::fileio
