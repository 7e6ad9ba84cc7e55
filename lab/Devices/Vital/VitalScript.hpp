#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Vital/VitalFaults.hpp"
#include "lab/Devices/Vital/VitalHistory.hpp"

namespace halvora::lab {

/// What the virtual Vital bracelet reports and how it behaves.
struct VitalScript {
    /// A firmware-command event (0x16) the bracelet raises.
    struct FirmwareCommand {
        Duration after{};   ///< after the link came up
        int operation = 0;  ///< byte 1, 0 to 255
    };
    /// A sport heartbeat packet (0x18) the bracelet raises.
    struct Heartbeat {
        Duration after{};      ///< after the link came up
        bool withData = true;  ///< with the heart rate and steps, or the code alone
    };
    /// The stored history: the scripted records, plus `days` generated ones ending at the bracelet's clock.
    struct History {
        /// Seeds the generated days (and the stored electrocardiograms); the same seed and clock give the
        /// same history.
        std::uint64_t seed = 1;
        /// Days generated from the seed, today included (0: none), at most kMaxDays.
        int days = 0;
        /// Records sent as they are, before the generated ones of the same kind.
        VitalHistory records;
        /// The most days the bracelet generates.
        static constexpr int kMaxDays = 60;
    };
    /// The electrocardiogram the bracelet records on 0x99, and the ones it holds already.
    struct ECG {
        /// The heart rate recorded, beats per minute (40 to 200); also the summary's.
        int heartRate = 72;
        /// The heart-rate variability, milliseconds (0 to 255): the beats vary by about this much; also
        /// the summary's.
        int hrv = 42;
        /// Breaths per minute reported in the summary (0 to 60).
        int breathingRate = 16;
        /// How long a measurement lasts.
        Duration duration = std::chrono::seconds(30);
        /// A status above 1 refuses every 0x99 with it (nothing is recorded); absent: measurements start.
        std::optional<std::uint8_t> refuseWith;
        /// Records stored already, numbered from 1, generated from the history's seed when the script is
        /// set (at most kMaxStoredRecords).
        int storedRecords = 1;
        /// The most records the bracelet keeps; a new measurement beyond it drops the oldest.
        static constexpr int kMaxStoredRecords = 16;
    };

    /// Where the clock stands when the script is set (or, for a bracelet not yet in a radio, when it first
    /// connects); absent: the clock shows the lab's local time until the phone sets it.
    std::optional<BraceletTime> clock;
    /// Battery level, percent (byte 1 of the 0x13 answer).
    int battery = 85;
    /// The 0x22 answer's bytes 1 to 6, in the order the address is written ("C8:4A:...": 0xC8 first).
    std::array<std::uint8_t, 6> macAddress{0xC8, 0x4A, 0x20, 0x25, 0x0E, 0x10};

    /// Today's steps at the start (the real-time frames' bytes 1 to 4).
    int steps = 3200;
    /// While real-time data are on, the steps added before each further frame.
    int stepsPerUpdate = 4;
    /// The heart rate measured, beats per minute, 1 to 255.
    int heartRate = 72;
    /// Each heart-rate reading varies by up to this many beats either way (from the lab's seed).
    int heartRateSpread = 3;
    /// The skin temperature measured, tenths of a degree Celsius.
    int temperature = 365;
    /// Each temperature reading varies by up to this many tenths either way (from the lab's seed).
    int temperatureSpread = 2;
    /// Between two real-time frames.
    Duration realTimeInterval = std::chrono::seconds(1);

    /// SOS events (0xFE), each this long after the link came up.
    std::vector<Duration> sos;
    /// Firmware-command events (0x16).
    std::vector<FirmwareCommand> firmwareCommands;
    /// Sport heartbeat packets (0x18).
    std::vector<Heartbeat> heartbeats;

    /// The stored history (0x51 to 0x66).
    History history;
    /// The electrocardiogram (0x99, 0x9C, 0x71).
    ECG ecg;

    /// Between two notifications of one answer; zero sends them back to back.
    Duration notificationGap = Duration::zero();
    /// The bracelet's protocol faults.
    VitalFaults faults;
};

}  // namespace halvora::lab
