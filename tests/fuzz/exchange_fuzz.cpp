// Feeds arbitrary values to the exchange reader as a host would leave them in the settings
// store: the input, cut at byte 0x1E, gives the eleven values of slot 1 and then of slot 2, in
// written order. Whatever was read must keep the record's invariants, write back without a
// complaint, and come back the same: the values written from the second record equal those
// written from the first, and a third pass changes nothing at all.
//
// `--kandor-seeds-from=DIR --kandor-seeds-to=DIR` turns every LM-63 file of DIR into a seed
// (the slot values of what the reader made of it) and ends, so that fuzzing starts from
// realistic slots.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "core/iesreader.h"
#include "core/prompter.h"
#include "fuzzsupport.h"
#include "host/exchange.h"
#include "host/settingsstore.h"

namespace {

using namespace kandor;

constexpr std::string_view kSection = "Fuzz";

// The values of every record of the list as the exchange writes them, slot after slot.
std::string encoded(const RecordList& list) {
    std::string out;
    for (int i = 1; i <= list.ubound(); ++i) {
        SlotValues values;
        fuzz::require(encodeSlot(list(i), values),
                      "a record read from the slots cannot be written");
        for (const std::string& v : values.values) {
            out += v;
            out += '\x1e';
        }
    }
    return out;
}

// Writes the list into the slots of a fresh store and reads them back into `back`.
void passThrough(const RecordList& list, RecordList& back) {
    MemorySettingsStore store;
    SilentPrompter prompter;
    RecordList written = list;
    ExchangeSlots out(store, std::string(kExchangeApp), std::string(kSection), written, prompter);
    fuzz::require(out.WriteExchangeRecords(1, written.ubound(), 1) == 1,
                  "a record read from the slots was refused on writing");
    ExchangeSlots in(store, std::string(kExchangeApp), std::string(kSection), back, prompter);
    std::string error;
    fuzz::require(in.ReadExchangeRecords(MaxExchangeSlots, error) == 0,
                  "slots the exchange wrote do not read back");
    fuzz::require(back.ubound() == list.ubound(), "records were lost on the way back");
}

void makeSeeds(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::filesystem::create_directories(to);
    for (const auto& entry : std::filesystem::directory_iterator(from)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string text =
            normaliseLineEnds(std::string(std::istreambuf_iterator<char>(file), {}));
        IesRecord record;
        IesReader reader;
        reader.ParseIes(record, text, false, text);
        record.Filename = entry.path().filename().string();
        SlotValues values;
        if (!encodeSlot(record, values)) continue;
        std::string seed;
        for (const std::string& v : values.values)
            seed += v + '\x1e';
        seed.pop_back();
        std::ofstream(to / ("exchange-" + entry.path().filename().string()), std::ios::binary)
            << seed;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    std::string from, to;
    for (int i = 1; i < *argc; ++i) {
        const std::string_view arg = (*argv)[i];
        if (arg.starts_with("--kandor-seeds-from=")) from = arg.substr(20);
        if (arg.starts_with("--kandor-seeds-to=")) to = arg.substr(18);
    }
    if (!from.empty() && !to.empty()) {
        makeSeeds(from, to);
        std::exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    MemorySettingsStore store;
    std::size_t at = 0;
    for (std::string_view value : fuzz::pieces(input)) {
        const int slot = static_cast<int>(at / SlotValues::kCount) + 1;
        if (slot > 2) break;
        store.save(kExchangeApp, kSection,
                   exchangeKey(exchange_key::kAll[at % SlotValues::kCount], slot), value);
        ++at;
    }

    SilentPrompter prompter;
    RecordList first;
    ExchangeSlots slots(store, std::string(kExchangeApp), std::string(kSection), first, prompter);
    std::string error;
    const int status = slots.ReadExchangeRecords(2, error);
    fuzz::require(status == 0 || status == -1 || status == 1, "an unknown read status");
    fuzz::require((status == 1) == !error.empty(),
                  "a failed read without a message, or the reverse");
    for (int i = 1; i <= first.ubound(); ++i) {
        fuzz::requireShape(first(i));
        fuzz::require(first(i).OtherData.numVertAngles >= 0 &&
                          first(i).OtherData.numHorzAngles >= 0 &&
                          (!first(i).TiltIncl || first(i).TiltData.numPairs >= 0),
                      "a negative count came through the exchange");
    }
    if (first.empty()) return 0;

    RecordList second, third;
    passThrough(first, second);
    fuzz::require(encoded(second) == encoded(first),
                  "the second pass writes other values than the first");
    passThrough(second, third);
    for (int i = 1; i <= second.ubound(); ++i)
        fuzz::require(third(i) == second(i), "a record changed on its second pass");
    return 0;
}
