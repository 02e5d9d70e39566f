#pragma once

#include <string>

#include "core/ldtrecord.h"

namespace kandor {

// The text of an EULUMDAT file for a record, in the layout real files use: every field on a
// line of its own, the lamp sets set by set, one angle or intensity per line, CR LF line ends,
// no byte-order mark (unless the first line itself begins with one), texts as they are
// (never cut). Numbers in their shortest decimal form
// that reads back as the same value, so that reading the text again gives the record again.
// What the record holds is written as it stands; a record that is not consistent gives the
// lists it has.
std::string composeLdt(const LdtRecord& record);

}  // namespace kandor
