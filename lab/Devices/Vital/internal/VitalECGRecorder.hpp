#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Vital/VitalECGRecord.hpp"
#include "lab/Devices/Vital/VitalScript.hpp"
#include "lab/Devices/Vital/internal/VitalECGGenerator.hpp"

namespace halvora::lab {

/// The Vital bracelet's electrocardiogram: the measurement under way and the records it keeps, with the
/// frames they go out in. Not thread-safe: the bracelet guards it.
///
/// Frames (16 bytes with the checksum in byte 15 unless told otherwise):
///   - 0x99 answer: byte 1 the status, kStarted or the script's refusal;
///   - live values: 0xAA then kSamplesPerFrame samples, each low byte then high byte (kLiveFrameLength
///     bytes, no checksum), one frame every kSamplesPerFrame / 512 s for the scripted duration (rounded up
///     to whole frames);
///   - 0x83 once a second while measuring: byte 1 the heart rate, byte 2 the HRV;
///   - 0x9C answer: byte 1 the status: kIdle before any measurement, kMeasuring, or kFinished with byte 2
///     the HRV, 4 the heart rate, 9 the breathing rate and 10 to 15 the BCD date the measurement began
///     (year - 2000, month, day, hour, minute, second: this frame carries no checksum);
///   - 0x71 pages of a stored record: the header page (bytes 1-2 the record number little-endian, 3-8 the
///     BCD date, 11 HRV, 12 heart rate, 13 breathing rate, samples from byte 27), then pages with a page
///     number in bytes 1-2 and samples from byte 3, each at most kMaxPageLength bytes; then the end page
///     71 FF FF (alone for a record it does not hold).
class VitalECGRecorder {
public:
    /// One frame.
    using Frame = std::vector<std::uint8_t>;

    /// 0x99 status of a measurement that started.
    static constexpr std::uint8_t kStarted = 1;
    /// 0x9C status before any measurement.
    static constexpr std::uint8_t kIdle = 0;
    /// 0x9C status while measuring.
    static constexpr std::uint8_t kMeasuring = 1;
    /// 0x9C status of a finished measurement.
    static constexpr std::uint8_t kFinished = 3;
    /// Samples in one live frame.
    static constexpr std::size_t kSamplesPerFrame = 9;
    /// Bytes of one live frame.
    static constexpr std::size_t kLiveFrameLength = 1 + 2 * kSamplesPerFrame;
    /// Time between two live frames (9 samples at 512 a second: 17.578125 ms).
    static constexpr std::chrono::nanoseconds kFrameInterval{kSamplesPerFrame * 1'000'000'000LL /
                                                             VitalECGGenerator::kSampleRate};
    /// The longest waveform page.
    static constexpr std::size_t kMaxPageLength = 244;
    /// The longest measurement: a longer scripted duration records this long (so a record holds at most
    /// 600 × 512 samples).
    static constexpr std::chrono::seconds kMaxDuration{600};
    /// The most records kept (the oldest is dropped beyond it).
    static constexpr std::size_t kMaxRecords = VitalScript::ECG::kMaxStoredRecords;

    /// Stores `count` records generated from `seed`, measured at the script's rates, one a day before
    /// `clock` (the newest yesterday), numbered from 1; forgets any earlier records and measurement.
    void load(const VitalScript::ECG& script, int count, std::uint64_t seed, const BraceletTime& clock);
    /// A 0x99 request: the answer's status. Unless the script refuses, a measurement starts at `clock`
    /// (replacing one under way), its noise drawn from `seed`.
    std::uint8_t start(const VitalScript::ECG& script, const BraceletTime& clock, std::uint64_t seed);
    /// Whether a measurement is under way.
    bool measuring() const { return measurement_ != nullptr; }
    /// The measurement's next live frame; after its last one the measurement is stored and finished. Empty
    /// when nothing is being measured.
    Frame nextLiveFrame();
    /// Whether the live frame just sent began a new second of the measurement (time for a 0x83).
    bool secondBegan() const;
    /// The 0x83 heart-rate status of the measurement under way.
    Frame heartRateStatus() const;
    /// The 0x9C answer.
    Frame status() const;
    /// The 0x71 pages of record `number`.
    std::vector<Frame> waveform(int number) const;
    /// Drops the measurement under way (the link went).
    void stop() { measurement_.reset(); }
    /// The records kept, oldest first.
    const std::deque<VitalECGRecord>& records() const { return records_; }

private:
    struct Measurement {
        VitalECGRecord record;
        VitalECGGenerator generator;
        std::size_t framesLeft = 0;
        std::size_t framesSent = 0;
    };

    void store(VitalECGRecord record);
    int nextNumber() const;

    std::unique_ptr<Measurement> measurement_;
    std::optional<VitalECGRecord> finished_;  // the summary 0x9C reports
    std::deque<VitalECGRecord> records_;
};

}  // namespace halvora::lab
