#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/settingsstore.h"

struct sqlite3;
struct sqlite3_stmt;

namespace kandor {

// The texts of the store's failures, in one place so that callers and tests compare them exactly.
// Each message is the lead-in, the store's file, ": " and the reason.
namespace storemsg {
inline constexpr std::string_view kCannotOpen = "Cannot open the settings store ";
inline constexpr std::string_view kCannotRead = "Cannot read the settings store ";
inline constexpr std::string_view kCannotWrite = "Cannot write to the settings store ";
inline constexpr std::string_view kReadOnly = "the file is read-only";
inline constexpr std::string_view kCannotCreateFolder = "cannot create the folder ";
inline constexpr std::string_view kNoPath = "no file name given";
inline constexpr std::string_view kNoHome =
    "cannot find the per-user settings folder (neither HOME nor XDG_CONFIG_HOME is set)";
// The place shown for the per-user store when no file name could be worked out.
inline constexpr std::string_view kUnknownPlace = "(per-user settings)";
}  // namespace storemsg

// The per-user settings store kept in one SQLite file, shared by host and tool: both processes
// may read and write the same keys at the same time, and every write is committed on its own.
class SqliteSettingsStore final : public SettingsStore {
  public:
    // Opens (creating when needed) the store file; nullptr and a message naming the file on
    // failure.
    static std::unique_ptr<SqliteSettingsStore> open(const std::string& path, std::string& error);

    ~SqliteSettingsStore() override;
    SqliteSettingsStore(const SqliteSettingsStore&) = delete;
    SqliteSettingsStore& operator=(const SqliteSettingsStore&) = delete;

    // The file the store was opened on, as given.
    const std::string& path() const { return path_; }

    std::string get(std::string_view app, std::string_view section, std::string_view key,
                    std::string_view defaultValue = {}) override;
    bool save(std::string_view app, std::string_view section, std::string_view key,
              std::string_view value) override;
    bool deleteKey(std::string_view app, std::string_view section, std::string_view key) override;
    bool deleteSection(std::string_view app, std::string_view section) override;
    Entries allEntries(std::string_view app, std::string_view section) override;

  private:
    enum Statement {
        kBegin,
        kCommit,
        kRollback,
        kGet,
        kUpsert,
        kDeleteKey,
        kDeleteSection,
        kList,
        kStatementCount
    };

    explicit SqliteSettingsStore(std::string path);

    // Sets up the connection on path_; the reason for a failure goes to reason.
    bool connect(std::string& reason);
    // Runs one prepared write statement (already bound) in its own immediate transaction,
    // retrying while another process holds the store.
    bool write(Statement statement);
    bool fail(std::string_view leadIn, std::string_view reason);
    std::string reasonFor(int code) const;
    void tightenFileModes() const;

    std::string path_;
    sqlite3* db_ = nullptr;
    sqlite3_stmt* statements_[kStatementCount] = {};
};

// $LUMIVEX_SETTINGS_DB when set, else $XDG_CONFIG_HOME/Lumivex/settings.sqlite3 ($HOME/.config
// when XDG_CONFIG_HOME is unset or empty); empty when no home folder can be found.
std::string userSettingsPath();

// Opens the per-user store at userSettingsPath(); nullptr and a clear message on failure.
std::unique_ptr<SettingsStore> openUserSettingsStore(std::string& error);

}  // namespace kandor
