// Feeds arbitrary text to the EULUMDAT reader and to every conversion: read, written and read
// again; to LM-63 in both orientations, with and without the carried keywords, through the
// LM-63 writer and reader, and back to EULUMDAT with and without the original; and the same
// text read as LM-63 and converted to EULUMDAT. Whatever the input, nothing may crash, leak
// or hang, and every record made keeps its shape.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/iesreader.h"
#include "core/ldtconvert.h"
#include "core/ldtreader.h"
#include "core/ldtwriter.h"
#include "core/prompter.h"
#include "core/saveies.h"
#include "fuzzsupport.h"

namespace {

using namespace kandor;

IesRecord readIes(std::string_view text) {
    IesRecord record;
    IesReader reader;
    reader.ParseIes(record, text, false, text);
    return record;
}

// What an EULUMDAT record converted from LM-63 must be, so that the writer can write it.
void toLdtAndBack(const IesRecord& ies, const LdtRecord* original) {
    const IesToLdtResult ldt = iesToLdt(ies, original);
    if (ldt.status == kLdtUnusable) return;
    fuzz::require(ldtConsistent(ldt.record), "a converted EULUMDAT record is not consistent");
    fuzz::require(readLdt(composeLdt(ldt.record)).status != kLdtUnusable,
                  "the text of a converted EULUMDAT record reads as unusable");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const LdtReadResult read = readLdt(text);
    if (ldtConsistent(read.record)) readLdt(composeLdt(read.record));

    SilentPrompter silent;
    for (bool turn : {false, true}) {
        const LdtToIesResult ies = ldtToIes(read.record, {turn, !turn});
        if (ies.status == kLdtUnusable) continue;
        fuzz::requireShape(ies.record);
        SaveIES writer;
        writer.setCandelaPattern(SaveIES::kCandelaPatternExact);
        const IesRecord back = readIes(writer.Compose(ies.record, silent));
        toLdtAndBack(back, turn ? &read.record : nullptr);
        toLdtAndBack(ies.record, &read.record);
    }
    toLdtAndBack(readIes(normaliseLineEnds(text)), nullptr);
    return 0;
}
