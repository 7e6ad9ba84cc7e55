#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// What the virtual pulse oximeter streams once notifications are on: cycles of four 20-byte
/// notifications (marker, values, two wave notifications), `notificationInterval` apart, one cycle every
/// `cycleInterval`.
struct OximeterScript {
    /// Oxygen saturation, per cent (byte 16 of the value notification).
    int sp2 = 98;
    /// The device's "Pi" value (byte 15).
    int pi = 5;
    /// The device's "lpm" value: the pulse rate, per minute (byte 17); it also sets the wave's rhythm.
    int lpm = 72;
    /// The device's "rpm" value (byte 18).
    int rpm = 16;
    /// Height of the plethysmographic wave: samples run from about 10 up to 10 + amplitude (at most 89).
    int waveAmplitude = 70;
    /// Number of cycles; 0 streams until the link ends.
    int cycles = 3;
    /// From notifications on to the first marker.
    Duration firstCycleAfter = std::chrono::milliseconds(200);
    /// Between two cycles (32 wave samples are spread over it).
    Duration cycleInterval = std::chrono::seconds(1);
    /// Between the four notifications of a cycle.
    Duration notificationInterval = std::chrono::milliseconds(40);
    /// Leave the marker out of every cycle after the first (the kit then ignores the stream).
    bool skipMarkers = false;

    /// Samples per cycle: 12 in the first wave notification (bytes 7 to 18), 20 in the second.
    static constexpr int kSamplesPerCycle = 32;

    /// The wave samples of one cycle: a pulse with a systolic peak and a dicrotic notch, its rhythm given
    /// by `lpm`, continuous from cycle to cycle; every sample lies from 1 to 99.
    std::vector<std::uint8_t> waveSamples(int cycle) const;
};

}  // namespace halvora::lab
