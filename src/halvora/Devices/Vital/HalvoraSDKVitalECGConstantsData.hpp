#pragma once

#include <cstdint>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// The summary values of one ECG measurement of the Vital bracelet: sent when the bracelet reports the
/// measurement finished (command 30, every field but `identifier`) and in its heart-rate status during a
/// measurement (command 31, `heartRate` and `hrv` only). Fields the bracelet does not send keep their
/// defaults (the epoch for the date, 0 for the numbers).
struct HalvoraSDKVitalECGConstantsData {
    /// When the measurement was taken, local time.
    Date date{};
    /// The record number of the measurement (not sent in the status replies).
    std::int32_t identifier = 0;
    /// Heart-rate variability.
    std::int32_t hrv = 0;
    /// Heart rate, beats per minute.
    std::int32_t heartRate = 0;
    /// Breaths per minute.
    std::int32_t breathingRate = 0;
};

}  // namespace halvora
