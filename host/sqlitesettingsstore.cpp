#include "host/sqlitesettingsstore.h"

#include <fcntl.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace kandor {

namespace {

// Names compare as the host's store compares them: ASCII letters without regard to case. The
// order column is the row id, so a key deleted and saved again goes to the end.
constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS settings ("
    " id INTEGER PRIMARY KEY,"
    " app TEXT NOT NULL COLLATE NOCASE,"
    " section TEXT NOT NULL COLLATE NOCASE,"
    " key TEXT NOT NULL COLLATE NOCASE,"
    " value BLOB NOT NULL,"
    " UNIQUE (app, section, key))";

constexpr const char* kStatementSql[] = {
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT value FROM settings WHERE app = ?1 AND section = ?2 AND key = ?3",
    "INSERT INTO settings (app, section, key, value) VALUES (?1, ?2, ?3, ?4)"
    " ON CONFLICT (app, section, key) DO UPDATE SET value = excluded.value",
    "DELETE FROM settings WHERE app = ?1 AND section = ?2 AND key = ?3",
    "DELETE FROM settings WHERE app = ?1 AND section = ?2",
    "SELECT key, value FROM settings WHERE app = ?1 AND section = ?2 ORDER BY id",
};

// The busy handler waits this long for the other process; the retry loop below covers the
// cases SQLite reports as busy without consulting the handler (WAL recovery, a snapshot that
// went stale), up to the overall deadline.
constexpr int kBusyTimeoutMs = 5000;
constexpr auto kRetryDeadline = std::chrono::seconds(10);

bool isBusy(int rc) {
    const int primary = rc & 0xff;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

class RetryClock {
  public:
    // True (after a short pause) while another attempt is worth making.
    bool again() {
        if (std::chrono::steady_clock::now() >= deadline_) return false;
        const int ms = attempt_ < 7 ? 1 << attempt_ : 100;
        ++attempt_;
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        return true;
    }

  private:
    std::chrono::steady_clock::time_point deadline_ =
        std::chrono::steady_clock::now() + kRetryDeadline;
    int attempt_ = 0;
};

std::string systemReason(int err) {
    return std::generic_category().message(err);
}

// Never a null pointer: SQLite binds a null pointer as SQL NULL, not as an empty value.
const char* bytesOf(std::string_view text) {
    return text.empty() ? "" : text.data();
}

void bindText(sqlite3_stmt* stmt, int index, std::string_view text) {
    sqlite3_bind_text64(stmt, index, bytesOf(text), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

std::string columnBytes(sqlite3_stmt* stmt, int column) {
    const void* data = sqlite3_column_blob(stmt, column);
    const int size = sqlite3_column_bytes(stmt, column);
    if (data == nullptr || size <= 0) return {};
    return std::string(static_cast<const char*>(data), static_cast<std::size_t>(size));
}

// Keeps the store private to its user: group and other lose all access, the owner keeps
// whatever the file already allows (a file made read-only on purpose stays so).
void tightenMode(const std::string& file) {
    struct stat st {};
    if (::stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return;
    if ((st.st_mode & 077) != 0) ::chmod(file.c_str(), st.st_mode & 0600);
}

std::string parentFolder(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return {};
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

// Creates every missing folder of dir with owner-only access; existing folders are left as
// they are.
bool ensureFolder(const std::string& dir, std::string& reason) {
    if (dir.empty() || dir == "/") return true;
    std::size_t pos = 0;
    while (pos != std::string::npos) {
        pos = dir.find('/', pos + 1);
        const std::string part = dir.substr(0, pos);
        if (part.empty() || part.back() == '/') continue;
        struct stat st {};
        if (::stat(part.c_str(), &st) == 0) {
            if (S_ISDIR(st.st_mode)) continue;
            reason =
                std::string(storemsg::kCannotCreateFolder) + dir + ": " + systemReason(ENOTDIR);
            return false;
        }
        if (errno != ENOENT) {
            reason = std::string(storemsg::kCannotCreateFolder) + dir + ": " + systemReason(errno);
            return false;
        }
        if (::mkdir(part.c_str(), 0700) == 0) {
            ::chmod(part.c_str(), 0700);  // whatever the umask says
            continue;
        }
        const int err = errno;
        // Host and tool may start together and race to create the folder.
        if (err == EEXIST && ::stat(part.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) continue;
        reason = std::string(storemsg::kCannotCreateFolder) + dir + ": " + systemReason(err);
        return false;
    }
    return true;
}

// Creates the store file owner-only before SQLite sees it; SQLite gives its -wal and -shm
// files the database file's mode, so they are born private too.
bool ensureFile(const std::string& path, std::string& reason) {
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) {
        tightenMode(path);
        return true;
    }
    if (errno != ENOENT) return true;  // let SQLite report what it finds
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        reason = systemReason(errno);
        return false;
    }
    ::fchmod(fd, 0600);
    ::close(fd);
    return true;
}

std::string message(std::string_view leadIn, const std::string& path, std::string_view reason) {
    std::string text(leadIn);
    text += path;
    text += ": ";
    text += reason;
    return text;
}

}  // namespace

SqliteSettingsStore::SqliteSettingsStore(std::string path) : path_(std::move(path)) {}

SqliteSettingsStore::~SqliteSettingsStore() {
    for (sqlite3_stmt*& stmt : statements_) {
        sqlite3_finalize(stmt);
        stmt = nullptr;
    }
    sqlite3_close_v2(db_);
}

std::unique_ptr<SqliteSettingsStore> SqliteSettingsStore::open(const std::string& path,
                                                               std::string& error) {
    error.clear();
    std::string reason;
    if (path.empty()) {
        error =
            message(storemsg::kCannotOpen, std::string(storemsg::kUnknownPlace), storemsg::kNoPath);
        return nullptr;
    }
    if (!ensureFolder(parentFolder(path), reason) || !ensureFile(path, reason)) {
        error = message(storemsg::kCannotOpen, path, reason);
        return nullptr;
    }
    std::unique_ptr<SqliteSettingsStore> store(new SqliteSettingsStore(path));
    if (!store->connect(reason)) {
        error = message(storemsg::kCannotOpen, path, reason);
        return nullptr;
    }
    store->tightenFileModes();
    return store;
}

bool SqliteSettingsStore::connect(std::string& reason) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    int rc = sqlite3_open_v2(path_.c_str(), &db_, flags, nullptr);
    if (rc != SQLITE_OK) {
        reason = db_ != nullptr ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
        return false;
    }
    sqlite3_extended_result_codes(db_, 1);
    // SQLite falls back to reading when it may not write; a store that cannot take the host's
    // records is no store.
    if (sqlite3_db_readonly(db_, "main") == 1) {
        reason = storemsg::kReadOnly;
        return false;
    }
    sqlite3_busy_timeout(db_, kBusyTimeoutMs);

    // WAL lets the host read while the tool writes. NORMAL sync keeps every commit through a
    // crash of either process; only a power cut can take back the last few.
    const char* setup[] = {"PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL", kSchema};
    for (const char* sql : setup) {
        for (RetryClock clock;;) {
            char* err = nullptr;
            rc = sqlite3_exec(db_, sql, nullptr, nullptr, &err);
            if (rc == SQLITE_OK) break;
            reason = err != nullptr ? err : sqlite3_errstr(rc);
            sqlite3_free(err);
            if (isBusy(rc) && clock.again()) continue;
            return false;
        }
    }
    for (int i = 0; i < kStatementCount; ++i) {
        rc = sqlite3_prepare_v3(db_, kStatementSql[i], -1, SQLITE_PREPARE_PERSISTENT,
                                &statements_[i], nullptr);
        if (rc != SQLITE_OK) {
            reason = sqlite3_errmsg(db_);
            return false;
        }
    }
    return true;
}

void SqliteSettingsStore::tightenFileModes() const {
    tightenMode(path_);
    tightenMode(path_ + "-wal");
    tightenMode(path_ + "-shm");
}

std::string SqliteSettingsStore::reasonFor(int code) const {
    const char* text = db_ != nullptr ? sqlite3_errmsg(db_) : nullptr;
    return text != nullptr && *text != '\0' ? text : sqlite3_errstr(code);
}

bool SqliteSettingsStore::fail(std::string_view leadIn, std::string_view reason) {
    lastError_ = message(leadIn, path_, reason);
    return false;
}

bool SqliteSettingsStore::write(Statement statement) {
    sqlite3_stmt* const stmt = statements_[statement];
    std::string reason;
    for (RetryClock clock;;) {
        int rc = sqlite3_step(statements_[kBegin]);
        sqlite3_reset(statements_[kBegin]);
        if (rc == SQLITE_DONE) {
            rc = sqlite3_step(stmt);
            if (rc == SQLITE_DONE) {
                sqlite3_reset(stmt);
                rc = sqlite3_step(statements_[kCommit]);
                if (rc != SQLITE_DONE) reason = reasonFor(rc);
                sqlite3_reset(statements_[kCommit]);
                if (rc == SQLITE_DONE) {
                    sqlite3_clear_bindings(stmt);
                    lastError_.clear();
                    return true;
                }
            } else {
                reason = reasonFor(rc);
                sqlite3_reset(stmt);
            }
            // A failed statement or commit can leave the transaction open; end it so that
            // nothing half-done is ever committed and the write lock is freed.
            if (sqlite3_get_autocommit(db_) == 0) {
                sqlite3_step(statements_[kRollback]);
                sqlite3_reset(statements_[kRollback]);
            }
        } else {
            reason = reasonFor(rc);
        }
        if (isBusy(rc) && clock.again()) continue;
        sqlite3_clear_bindings(stmt);
        return fail(storemsg::kCannotWrite, reason);
    }
}

std::string SqliteSettingsStore::get(std::string_view app, std::string_view section,
                                     std::string_view key, std::string_view defaultValue) {
    sqlite3_stmt* const stmt = statements_[kGet];
    bindText(stmt, 1, app);
    bindText(stmt, 2, section);
    bindText(stmt, 3, key);
    for (RetryClock clock;;) {
        const int rc = sqlite3_step(stmt);
        if (rc == SQLITE_ROW || rc == SQLITE_DONE) {
            std::string value = rc == SQLITE_ROW ? columnBytes(stmt, 0) : std::string(defaultValue);
            sqlite3_reset(stmt);
            sqlite3_clear_bindings(stmt);
            lastError_.clear();
            return value;
        }
        const std::string reason = reasonFor(rc);
        sqlite3_reset(stmt);
        if (isBusy(rc) && clock.again()) continue;
        sqlite3_clear_bindings(stmt);
        fail(storemsg::kCannotRead, reason);
        return std::string(defaultValue);
    }
}

bool SqliteSettingsStore::save(std::string_view app, std::string_view section, std::string_view key,
                               std::string_view value) {
    sqlite3_stmt* const stmt = statements_[kUpsert];
    bindText(stmt, 1, app);
    bindText(stmt, 2, section);
    bindText(stmt, 3, key);
    sqlite3_bind_blob64(stmt, 4, bytesOf(value), value.size(), SQLITE_STATIC);
    return write(kUpsert);
}

bool SqliteSettingsStore::deleteKey(std::string_view app, std::string_view section,
                                    std::string_view key) {
    sqlite3_stmt* const stmt = statements_[kDeleteKey];
    bindText(stmt, 1, app);
    bindText(stmt, 2, section);
    bindText(stmt, 3, key);
    return write(kDeleteKey);
}

bool SqliteSettingsStore::deleteSection(std::string_view app, std::string_view section) {
    sqlite3_stmt* const stmt = statements_[kDeleteSection];
    bindText(stmt, 1, app);
    bindText(stmt, 2, section);
    return write(kDeleteSection);
}

SettingsStore::Entries SqliteSettingsStore::allEntries(std::string_view app,
                                                       std::string_view section) {
    Entries entries;
    sqlite3_stmt* const stmt = statements_[kList];
    bindText(stmt, 1, app);
    bindText(stmt, 2, section);
    for (RetryClock clock;;) {
        int rc;
        while ((rc = sqlite3_step(stmt)) == SQLITE_ROW)
            entries.emplace_back(columnBytes(stmt, 0), columnBytes(stmt, 1));
        if (rc == SQLITE_DONE) {
            sqlite3_reset(stmt);
            sqlite3_clear_bindings(stmt);
            lastError_.clear();
            return entries;
        }
        const std::string reason = reasonFor(rc);
        sqlite3_reset(stmt);
        entries.clear();
        if (isBusy(rc) && clock.again()) continue;
        sqlite3_clear_bindings(stmt);
        fail(storemsg::kCannotRead, reason);
        return entries;
    }
}

std::string userSettingsPath() {
    if (const char* explicitPath = std::getenv("LUMIVEX_SETTINGS_DB");
        explicitPath != nullptr && *explicitPath != '\0')
        return explicitPath;
    std::string base;
    // A relative XDG_CONFIG_HOME is invalid and ignored, as the base-directory convention asks.
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg != nullptr && xdg[0] == '/') {
        base = xdg;
    } else {
        std::string home;
        if (const char* env = std::getenv("HOME"); env != nullptr && *env != '\0') {
            home = env;
        } else if (const passwd* pw = ::getpwuid(::getuid()); pw != nullptr && pw->pw_dir) {
            home = pw->pw_dir;
        }
        if (home.empty()) return {};
        base = home + "/.config";
    }
    while (base.size() > 1 && base.back() == '/')
        base.pop_back();
    if (base == "/") base.clear();
    return base + "/Lumivex/settings.sqlite3";
}

std::unique_ptr<SettingsStore> openUserSettingsStore(std::string& error) {
    const std::string path = userSettingsPath();
    if (path.empty()) {
        error =
            message(storemsg::kCannotOpen, std::string(storemsg::kUnknownPlace), storemsg::kNoHome);
        return nullptr;
    }
    return SqliteSettingsStore::open(path, error);
}

}  // namespace kandor
