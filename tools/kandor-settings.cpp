// kandor-settings: reads and drives the per-user settings store from a shell or from a host
// written in any language, through the same store the editor uses.

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "dialogs/version.h"
#include "host/sqlitesettingsstore.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitStore = 1;
constexpr int kExitUsage = 64;

constexpr std::string_view kSynopsis =
    "Usage: kandor-settings get APP SECTION KEY\n"
    "       kandor-settings set APP SECTION KEY VALUE\n"
    "       kandor-settings delete APP SECTION KEY\n"
    "       kandor-settings delete-section APP SECTION\n"
    "       kandor-settings list APP SECTION\n"
    "       kandor-settings --help | --version\n";

constexpr std::string_view kDetails =
    "\n"
    "Reads and writes the per-user settings store that Kandor shares with its host.\n"
    "\n"
    "  get             writes the value's bytes exactly, with nothing added (no newline);\n"
    "                  a missing key is the empty string\n"
    "  set             saves VALUE; a VALUE of - reads the value from standard input, byte\n"
    "                  for byte (use it for values with line ends, or for the value \"-\")\n"
    "  delete          removes the key\n"
    "  delete-section  removes every key of the section\n"
    "  list            writes one KEY=VALUE line per key, in the order the keys were first\n"
    "                  saved, with carriage return, line feed and backslash written as\n"
    "                  \\r, \\n and \\\\\n"
    "\n"
    "Names are compared without regard to ASCII case.\n"
    "The store is $LUMIVEX_SETTINGS_DB when set, else\n"
    "$XDG_CONFIG_HOME/Lumivex/settings.sqlite3 (~/.config when XDG_CONFIG_HOME is not set).\n"
    "\n"
    "Exit status: 0 done, 1 the store failed, 64 wrong usage.\n";

constexpr std::string_view kPrefix = "kandor-settings: ";
constexpr std::string_view kUnknownCommand = "unknown command ";
constexpr std::string_view kWrongArguments = "wrong number of arguments for ";
constexpr std::string_view kNoCommand = "no command given";
constexpr std::string_view kCannotReadInput = "cannot read the value from standard input: ";
constexpr std::string_view kCannotWriteOutput = "cannot write to standard output: ";

struct Command {
    std::string_view name;
    int arguments;  // after the command name
};

constexpr Command kCommands[] = {
    {"get", 3}, {"set", 4}, {"delete", 3}, {"delete-section", 2}, {"list", 2},
};

void writeError(std::string_view text) {
    std::string line(kPrefix);
    line += text;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

int usageError(std::string_view text) {
    writeError(text);
    std::fwrite(kSynopsis.data(), 1, kSynopsis.size(), stderr);
    return kExitUsage;
}

bool writeOut(std::string_view bytes) {
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size())
        return false;
    return std::fflush(stdout) == 0;
}

bool readAll(std::FILE* in, std::string& out) {
    char buffer[65536];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, in)) > 0)
        out.append(buffer, n);
    return std::ferror(in) == 0;
}

// One entry per line, so the three characters that could break a line or an escape are escaped.
std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '\r':
                out += "\\r";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\\':
                out += "\\\\";
                break;
            default:
                out += c;
        }
    }
    return out;
}

int storeFailure(const std::string& message) {
    writeError(message);
    return kExitStore;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> args(argv + 1, argv + argc);
    if (args.empty()) return usageError(kNoCommand);
    if (args[0] == "--help" || args[0] == "-h") {
        return writeOut(std::string(kSynopsis) + std::string(kDetails)) ? kExitOk : kExitStore;
    }
    if (args[0] == "--version")
        return writeOut(kandor::build_info::versionText("kandor-settings")) ? kExitOk : kExitStore;
    const Command* command = nullptr;
    for (const Command& c : kCommands)
        if (c.name == args[0]) command = &c;
    if (command == nullptr) return usageError(std::string(kUnknownCommand) + std::string(args[0]));
    if (static_cast<int>(args.size()) - 1 != command->arguments)
        return usageError(std::string(kWrongArguments) + std::string(command->name));

    std::string value;
    if (command->name == "set") {
        value = std::string(args[4]);
        if (value == "-") {
            value.clear();
            if (!readAll(stdin, value))
                return storeFailure(std::string(kCannotReadInput) +
                                    std::generic_category().message(errno));
        }
    }

    std::string error;
    std::unique_ptr<kandor::SettingsStore> store = kandor::openUserSettingsStore(error);
    if (!store) return storeFailure(error);

    const std::string_view app = args[1];
    const std::string_view section = args[2];
    bool ok = true;
    if (command->name == "get") {
        const std::string result = store->get(app, section, args[3]);
        if (!store->lastError().empty()) return storeFailure(store->lastError());
        if (!writeOut(result))
            return storeFailure(std::string(kCannotWriteOutput) +
                                std::generic_category().message(errno));
    } else if (command->name == "set") {
        ok = store->save(app, section, args[3], value);
    } else if (command->name == "delete") {
        ok = store->deleteKey(app, section, args[3]);
    } else if (command->name == "delete-section") {
        ok = store->deleteSection(app, section);
    } else {
        const kandor::SettingsStore::Entries entries = store->allEntries(app, section);
        if (!store->lastError().empty()) return storeFailure(store->lastError());
        std::string text;
        for (const auto& [key, entryValue] : entries) {
            text += escaped(key);
            text += '=';
            text += escaped(entryValue);
            text += '\n';
        }
        if (!writeOut(text))
            return storeFailure(std::string(kCannotWriteOutput) +
                                std::generic_category().message(errno));
    }
    if (!ok) return storeFailure(store->lastError());
    return kExitOk;
}
