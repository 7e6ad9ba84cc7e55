#pragma once

#include <cstdint>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// One pulse-oximeter record: either the measured values (`sp2`, `pi`, `lpm`, `rpm`) or one sample of the
/// plethysmographic wave (`pleth`). A record is made with its date and every number at 0, so no field is
/// ever absent; the producer fills in what it measured. Also produced by the Vital bracelet (date and SpO2).
struct HalvoraSDKOximeterData {
    /// When the record was made (the executor's civil now, set by the producer).
    Date date{};
    /// Oxygen saturation, per cent.
    std::int32_t sp2 = 0;
    /// The device's "Pi" value.
    std::int32_t pi = 0;
    /// The device's "rpm" value.
    std::int32_t rpm = 0;
    /// The device's "lpm" value.
    std::int32_t lpm = 0;
    /// One sample of the plethysmographic wave.
    std::int32_t pleth = 0;

    /// A record dated `now` with every number at 0.
    static HalvoraSDKOximeterData init(Date now);

    /// "Date: yyyy-MM-dd HH:mm:ss\nSP2: %d\nPi: %d\nrpm: %d\nlpm: %d\nPleth: %d\n", the date in local time.
    std::string description() const;
};

}  // namespace halvora
