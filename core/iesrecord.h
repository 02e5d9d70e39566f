#pragma once

#include <cstdint>
#include <string>

#include "core/onebased.h"

namespace kandor {

// The included tilt table; only meaningful while IesRecord::TiltIncl is true.
struct TiltTable {
    std::int16_t lampToLuminaire = 0;  // LM-63 lamp-to-luminaire geometry: 1, 2 or 3
    std::int16_t numPairs = 0;         // number of angle/factor pairs
    OneBased<float> angles;            // tilt angles, degrees
    OneBased<float> factors;           // multiplying factors, same length as angles

    friend bool operator==(const TiltTable&, const TiltTable&) = default;
};

// The LM-63 numeric header, in the order the record keeps it.
struct LampData {
    std::int16_t numLamps = 0;
    float lumensPerLamp = 0;  // -1 means absolute photometry
    float multiplier = 0;     // candela multiplier
    std::int16_t numVertAngles = 0;
    std::int16_t numHorzAngles = 0;
    std::int16_t photometricType = 0;  // 1 = C, 2 = B, 3 = A
    std::int16_t unitsType = 0;        // 1 = feet, 2 = metres
    float width = 0;                   // luminous opening, signed: the signs encode the shape
    float length = 0;
    float height = 0;
    float ballastFactor = 0;
    float inputWatts = 0;

    friend bool operator==(const LampData&, const LampData&) = default;
};

// One photometric data set (one LM-63 file). Copying is a deep copy.
//
// Invariants: OtherData's angle counts equal the lengths of VertAngles and HorAngles;
// Candela is numHorzAngles by numVertAngles (horizontal index first); with TiltIncl true the
// pair count equals the length of both tilt arrays.
struct IesRecord {
    std::string PictureFilename;     // picture of the luminaire; empty if none
    std::string Filename;            // path of the photometric file
    OneBased<std::string> Keywords;  // header lines in file order; the format line first if any
    bool TiltIncl = false;           // "TILT=INCLUDE" rather than "TILT=NONE"
    TiltTable TiltData;
    LampData OtherData;
    OneBased<float> VertAngles;
    OneBased<float> HorAngles;
    OneBased2D<double> Candela;  // (horizontal, vertical), before the multiplier
    std::string OptionalData;    // text after the candela table, kept unchanged

    // Re-dimensions the angle arrays and the candela table to the given counts and records
    // the counts, so that the invariants hold in one step. Contents are reset.
    void resizeGrid(int numVert, int numHorz);

    friend bool operator==(const IesRecord&, const IesRecord&) = default;
};

// The process-wide, one-based list of records: at most one per exchange slot.
class RecordList {
  public:
    static constexpr int kMaxRecords = 25;

    int ubound() const noexcept { return items_.ubound(); }
    bool empty() const noexcept { return items_.empty(); }
    IesRecord& operator()(int i) { return items_(i); }
    const IesRecord& operator()(int i) const { return items_(i); }

    // Appends a record (the list grows with its contents kept) and returns it.
    IesRecord& add(IesRecord record = {});
    void clear() noexcept { items_.clear(); }

  private:
    OneBased<IesRecord> items_;
};

// The list the running tool edits; forms and modules read it directly.
RecordList& records();

}  // namespace kandor
