#pragma once

#include "core/iesrecord.h"

namespace kandor {

// The record the tool edits when it is started without a host: a complete LM-63-2002 Type C
// data set (TILT=NONE, 19 vertical by 5 horizontal angles, every keyword the 2002 revision
// requires) that passes the reader's and the validation's checks, so that every tab of the
// editor has something sensible to show.
IesRecord SampleRecord();

}  // namespace kandor
