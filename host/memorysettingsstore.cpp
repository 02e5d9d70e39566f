#include <algorithm>

#include "host/settingsstore.h"

namespace kandor {

std::string MemorySettingsStore::fold(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

namespace {
std::string sectionKey(std::string_view app, std::string_view section) {
    std::string k(app);
    k += '\x1f';
    k += section;
    return k;
}
}  // namespace

std::string MemorySettingsStore::get(std::string_view app, std::string_view section,
                                     std::string_view key, std::string_view defaultValue) {
    lastError_.clear();
    auto s = sections_.find(fold(sectionKey(app, section)));
    if (s == sections_.end()) return std::string(defaultValue);
    auto e = s->second.find(fold(key));
    return e == s->second.end() ? std::string(defaultValue) : e->second.value;
}

bool MemorySettingsStore::save(std::string_view app, std::string_view section, std::string_view key,
                               std::string_view value) {
    lastError_.clear();
    auto& entries = sections_[fold(sectionKey(app, section))];
    auto [it, inserted] = entries.try_emplace(fold(key), Entry{std::string(key), {}, nextOrder_});
    if (inserted) ++nextOrder_;
    it->second.value = std::string(value);
    return true;
}

bool MemorySettingsStore::deleteKey(std::string_view app, std::string_view section,
                                    std::string_view key) {
    lastError_.clear();
    auto s = sections_.find(fold(sectionKey(app, section)));
    if (s != sections_.end()) s->second.erase(fold(key));
    return true;
}

bool MemorySettingsStore::deleteSection(std::string_view app, std::string_view section) {
    lastError_.clear();
    sections_.erase(fold(sectionKey(app, section)));
    return true;
}

SettingsStore::Entries MemorySettingsStore::allEntries(std::string_view app,
                                                       std::string_view section) {
    lastError_.clear();
    Entries out;
    auto s = sections_.find(fold(sectionKey(app, section)));
    if (s == sections_.end()) return out;
    std::vector<const Entry*> ordered;
    for (const auto& [k, e] : s->second)
        ordered.push_back(&e);
    std::sort(ordered.begin(), ordered.end(),
              [](const Entry* a, const Entry* b) { return a->order < b->order; });
    for (const Entry* e : ordered)
        out.emplace_back(e->key, e->value);
    return out;
}

}  // namespace kandor
