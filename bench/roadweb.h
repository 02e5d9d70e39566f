#pragma once

// One synthetic distribution for every benchmark, so that their numbers compare: a road
// luminaire's asymmetric lobe, values in whole thousandths as the reader keeps them.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "core/iesrecord.h"

namespace kandor::bench {

// C and gamma in degrees.
inline double roadLobe(double c, double gamma) {
    const double rad = std::numbers::pi / 180;
    const double lobe =
        std::max(0.0, std::cos(gamma * rad - 1.1 * (0.6 + 0.4 * std::cos(c * rad))));
    return std::round(4000 * lobe * lobe * 1000) / 1000;
}

// Type C over the whole sphere, or Type B (type 2) over the front hemisphere, angles -90..90.
inline IesRecord roadWeb(int numVert, int numHorz, std::int16_t type = 1) {
    IesRecord r;
    r.Filename = "/bench/web.ies";
    r.Keywords.append("IESNA:LM-63-2002");
    r.Keywords.append("[TEST] bench");
    r.OtherData.numLamps = 1;
    r.OtherData.lumensPerLamp = 10000;
    r.OtherData.multiplier = 1;
    r.OtherData.photometricType = type;
    r.OtherData.unitsType = 2;
    r.OtherData.ballastFactor = 1;
    r.OtherData.inputWatts = 80;
    r.resizeGrid(numVert, numHorz);
    const double from = type == 1 ? 0 : -90;
    for (int v = 1; v <= numVert; ++v)
        r.VertAngles(v) = static_cast<float>(from + 180.0 * (v - 1) / (numVert - 1));
    for (int h = 1; h <= numHorz; ++h)
        r.HorAngles(h) = static_cast<float>(type == 1 ? 360.0 * (h - 1) / (numHorz - 1)
                                                      : -90 + 180.0 * (h - 1) / (numHorz - 1));
    for (int h = 1; h <= numHorz; ++h)
        for (int v = 1; v <= numVert; ++v)
            r.Candela(h, v) = roadLobe(r.HorAngles(h), r.VertAngles(v));
    return r;
}

}  // namespace kandor::bench
