#include "core/iesrecord.h"

namespace kandor {

void IesRecord::resizeGrid(int numVert, int numHorz) {
    OtherData.numVertAngles = static_cast<std::int16_t>(numVert);
    OtherData.numHorzAngles = static_cast<std::int16_t>(numHorz);
    VertAngles.redim(numVert);
    HorAngles.redim(numHorz);
    Candela.redim(numHorz, numVert);
}

IesRecord& RecordList::add(IesRecord record) {
    items_.append(std::move(record));
    return items_(items_.ubound());
}

RecordList& records() {
    static RecordList list;
    return list;
}

}  // namespace kandor
