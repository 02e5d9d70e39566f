#include "host/samplerecord.h"

#include <array>

namespace kandor {
namespace {

constexpr int kVert = 19;
constexpr int kHorz = 5;

// A 2 x 2 ft recessed LED troffer: near-Lambertian, a little narrower across the lamps (90°)
// than along them (0°). One row per horizontal angle, 0° to 90° vertical in 5° steps.
constexpr std::array<std::array<double, kVert>, kHorz> kCandela = {{
    {1650.0, 1642.2, 1618.7, 1580.0, 1526.6, 1459.1, 1378.5, 1285.8, 1182.5, 1069.9, 949.7, 823.6,
     693.7, 562.2, 431.6, 304.6, 185.0, 78.1, 0.0},
    {1650.0, 1639.0, 1612.0, 1569.4, 1512.0, 1440.8, 1356.7, 1261.1, 1155.4, 1041.0, 919.8, 793.5,
     664.3, 534.4, 406.4, 283.3, 168.9, 69.0, 0.0},
    {1650.0, 1635.5, 1604.0, 1556.1, 1492.9, 1415.7, 1325.7, 1224.5, 1113.8, 995.4, 871.2, 743.5,
     614.4, 486.5, 362.7, 246.2, 141.3, 54.0, 0.0},
    {1650.0, 1632.0, 1596.0, 1542.9, 1474.0, 1390.9, 1295.2, 1188.8, 1073.6, 951.7, 825.2, 696.5,
     568.2, 442.9, 323.7, 214.0, 118.2, 42.2, 0.0},
    {1650.0, 1628.9, 1589.3, 1532.4, 1459.8, 1373.2, 1274.5, 1165.6, 1048.6, 925.7, 799.0, 670.9,
     544.0, 420.9, 304.8, 199.0, 107.9, 37.3, 0.0},
}};

constexpr const char* kKeywordLines[] = {
    "IESNA:LM-63-2002",
    "[TEST] KPE-0001",
    "[TESTLAB] Kandor sample photometry",
    "[ISSUEDATE] 15-JAN-2026",
    "[MANUFAC] Sample Luminaires",
    "[LUMCAT] SL-22-LED-5700",
    "[LUMINAIRE] 2 x 2 recessed troffer, prismatic acrylic lens",
    "[LAMPCAT] LED-2850-840",
    "[LAMP] 2 LED modules, 2850 lm each, 4000 K",
    "[BALLAST] Electronic constant-current driver",
    "[OTHER] Built-in sample for trying the editor without a host",
};

}  // namespace

IesRecord SampleRecord() {
    IesRecord record;
    record.Filename = "KandorSample.ies";
    for (const char* line : kKeywordLines)
        record.Keywords.append(line);
    record.TiltIncl = false;

    LampData& other = record.OtherData;
    other.numLamps = 2;
    other.lumensPerLamp = 2850;
    other.multiplier = 1;
    other.photometricType = 1;
    other.unitsType = 1;
    other.width = 1.96f;
    other.length = 1.96f;
    other.height = 0;
    other.ballastFactor = 1;
    other.inputWatts = 58;

    record.resizeGrid(kVert, kHorz);
    for (int v = 1; v <= kVert; ++v)
        record.VertAngles(v) = static_cast<float>(5 * (v - 1));
    for (int h = 1; h <= kHorz; ++h)
        record.HorAngles(h) = 22.5f * static_cast<float>(h - 1);
    for (int h = 1; h <= kHorz; ++h)
        for (int v = 1; v <= kVert; ++v)
            record.Candela(h, v) =
                kCandela[static_cast<std::size_t>(h - 1)][static_cast<std::size_t>(v - 1)];
    return record;
}

}  // namespace kandor
