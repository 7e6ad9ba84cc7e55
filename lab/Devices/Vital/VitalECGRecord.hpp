#pragma once

#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::lab {

/// An electrocardiogram the virtual Vital bracelet has stored, as 0x71 pages it back.
struct VitalECGRecord {
    /// The record's number (what 0x71 asks for in byte 1, and the identifier of its header page), 1 to 255.
    int number = 1;
    /// When the measurement began.
    BraceletTime date;
    /// Heart-rate variability, milliseconds (one byte).
    int hrv = 0;
    /// Heart rate, beats per minute (one byte).
    int heartRate = 0;
    /// Breaths per minute (one byte).
    int breathingRate = 0;
    /// The raw samples, 512 a second, each positive and without a zero byte (see VitalECGGenerator).
    std::vector<std::int16_t> samples;
};

}  // namespace halvora::lab
