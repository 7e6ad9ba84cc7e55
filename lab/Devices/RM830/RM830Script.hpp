#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/RM830/RM830Day.hpp"
#include "lab/Devices/RM830/RM830Faults.hpp"
#include "lab/Devices/RM830/RM830HeartPacket.hpp"
#include "lab/Devices/RM830/RM830UpdaterScript.hpp"

namespace halvora::lab {

/// What the virtual RM830 reports and how it behaves.
struct RM830Script {
    /// The firmware version the 0x27 answer carries: four numbers from -128 to 127 ("54.51.56.1" is the
    /// current firmware, so the kit starts no update). A text of another form is answered with zeros. An
    /// activated update replaces it (VirtualRM830::firmwareVersion()).
    std::string version = "54.51.56.1";
    /// Where the clock stands when the script is set (or, for a bracelet not yet in a radio, when it first
    /// connects); absent: the clock shows the lab's local time until the phone sets it.
    std::optional<BraceletTime> clock;

    /// Today's steps at the start (the real-time answer's bytes 1 to 3, 24 bits).
    int steps = 4321;
    /// Today's calories at the start, hundredths of a kilocalorie (bytes 7 to 9).
    int calories = 17284;
    /// Today's distance at the start, hundredths of a kilometre (bytes 10 to 12).
    int distance = 302;
    /// While real-time steps are on, the steps added before each further real-time frame.
    int stepsPerUpdate = 3;
    /// Hundredths of a kilocalorie each added step adds (the distance each adds is the stride held).
    int caloriesPerStep = 4;
    /// Between two real-time step frames.
    Duration realTimeInterval = std::chrono::seconds(1);

    /// The heart rate measured (0x6D, 0x2C), beats per minute, 1 to 255.
    int heartRate = 72;
    /// Each reading varies by up to this many beats either way (from the lab's seed); 0 keeps it fixed.
    int heartRateSpread = 0;
    /// Between two real-time heart-rate frames.
    Duration heartRateInterval = std::chrono::seconds(1);

    /// Stored days, relative to the clock's date (they take the place of seeded days with the same number).
    std::vector<RM830Day> days;
    /// Days 0 to seededDays - 1 (today and before) hold a plausible seeded day (RM830History::seededDay()).
    int seededDays = 0;
    /// The seed of the seeded days and heart-rate packets.
    std::uint64_t seed = 1;

    /// Stored heart-rate measurements, packet 0 first.
    std::vector<RM830HeartPacket> heartHistory;
    /// Seeded packets added after `heartHistory`, the last one ending at the clock's time when packet 0 is
    /// asked for (RM830History::seededHeartPackets()).
    int seededHeartPackets = 0;

    /// Between two notifications of one answer (the frames of a stored day); zero sends them back to back.
    Duration notificationGap = Duration::zero();
    /// The bracelet's protocol faults.
    RM830Faults faults;
    /// Its bootloader, and the switch into it and back (0x47).
    RM830UpdaterScript updater;
};

}  // namespace halvora::lab
