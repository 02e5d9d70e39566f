#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kandor {

// The per-user key-value settings store that host and tool share: a tree of application,
// section and key, each key holding one string. Names compare without regard to ASCII case;
// values keep their bytes. A missing key reads as the default (empty unless given).
//
// Failures never throw: a write returns false, a read returns the default, and lastError()
// names the problem (and the file, for a store on disk) in the tool's own words.
class SettingsStore {
  public:
    using Entries = std::vector<std::pair<std::string, std::string>>;

    virtual ~SettingsStore() = default;

    virtual std::string get(std::string_view app, std::string_view section, std::string_view key,
                            std::string_view defaultValue = {}) = 0;
    virtual bool save(std::string_view app, std::string_view section, std::string_view key,
                      std::string_view value) = 0;
    virtual bool deleteKey(std::string_view app, std::string_view section,
                           std::string_view key) = 0;
    virtual bool deleteSection(std::string_view app, std::string_view section) = 0;
    // All entries of a section, in the order their keys were first saved.
    virtual Entries allEntries(std::string_view app, std::string_view section) = 0;

    // The message of the most recent failure; empty after a success.
    const std::string& lastError() const { return lastError_; }

  protected:
    std::string lastError_;
};

// A store held in memory, for tests and for tools that need no persistence.
class MemorySettingsStore final : public SettingsStore {
  public:
    std::string get(std::string_view app, std::string_view section, std::string_view key,
                    std::string_view defaultValue = {}) override;
    bool save(std::string_view app, std::string_view section, std::string_view key,
              std::string_view value) override;
    bool deleteKey(std::string_view app, std::string_view section, std::string_view key) override;
    bool deleteSection(std::string_view app, std::string_view section) override;
    Entries allEntries(std::string_view app, std::string_view section) override;

  private:
    struct Entry {
        std::string key;  // as first saved
        std::string value;
        long long order;
    };
    static std::string fold(std::string_view text);
    std::map<std::string, std::map<std::string, Entry>> sections_;  // folded names
    long long nextOrder_ = 0;
};

}  // namespace kandor
