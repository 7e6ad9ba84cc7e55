#include "halvora/Records/HalvoraSDKOximeterData.hpp"

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora {

HalvoraSDKOximeterData HalvoraSDKOximeterData::init(Date now) {
    HalvoraSDKOximeterData record;
    record.date = now;
    return record;
}

std::string HalvoraSDKOximeterData::description() const {
    return format("Date: %s\nSP2: %d\nPi: %d\nrpm: %d\nlpm: %d\nPleth: %d\n", Calendar::formatDateTime(date).c_str(),
                  sp2, pi, rpm, lpm, pleth);
}

}  // namespace halvora
