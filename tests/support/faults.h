#pragma once

#include "core/runtimefault.h"

namespace kandor::testing {

// The number of the run-time fault the call raises, or 0 when it raises none.
template <class Call>
int faultNumber(Call&& call) {
    try {
        call();
    } catch (const RuntimeFault& f) {
        return f.number();
    }
    return 0;
}

}  // namespace kandor::testing
