// The EULUMDAT writer and reader must agree on everything the writer writes: for any text the
// reader accepts (status 0 or 1), the record is consistent, its intensities are not negative,
// the text composed from it reads back as the very same record, and composes to the same
// bytes again.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/ldtreader.h"
#include "core/ldtwriter.h"
#include "fuzzsupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kandor;
    const LdtReadResult read = readLdt(std::string_view(reinterpret_cast<const char*>(data), size));
    if (read.status == kLdtUnusable) return 0;
    fuzz::require(ldtConsistent(read.record), "an accepted record is not consistent");
    for (double value : read.record.intensities)
        fuzz::require(value >= 0, "an accepted record holds a negative intensity");

    const std::string composed = composeLdt(read.record);
    const LdtReadResult back = readLdt(composed);
    fuzz::require(back.status != kLdtUnusable, "the composed text reads as unusable");
    fuzz::require(back.record == read.record, "the composed text reads as another record");
    fuzz::require(composeLdt(back.record) == composed, "compose, read and compose again differ");
    return 0;
}
