#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Tensio/TensioError.hpp"
#include "lab/Devices/Tensio/TensioReading.hpp"
#include "lab/Devices/Tensio/TensioScript.hpp"
#include "lab/Devices/Tensio/TensioWindow.hpp"

namespace halvora::lab {

/// The bracelet's answer frames: 5A 00 LEN, LEN bytes from byte 3 on, and a check byte, the XOR of the length
/// byte and every byte after it. Values too large for their bytes are clamped.
class TensioAnswers {
public:
    /// One answer frame.
    using Frame = std::vector<std::uint8_t>;

    TensioAnswers() = delete;

    /// 5A 00 02 40 00 42: a command taken.
    static Frame acknowledgement();
    /// 5A 00 02 kind code k.
    static Frame error(const TensioError& error);
    /// 5A 00 02 60 n k: how many measurements are stored (at most 255).
    static Frame count(std::size_t stored);
    /// 5A 00 02 hi lo k: a live cuff pressure, 1 to TensioScript::kMaxCuffPressure. Byte 3 is then 0 or 1,
    /// never an answer kind; a pressure whose frame would pass for an acknowledgement (byte 4 zero, or the
    /// check byte 0x42) is sent one higher.
    static Frame cuffPressure(int pressure);
    /// 14 bytes: two-digit year, month, day, hour and minute of the date, systolic (two bytes, high first),
    /// diastolic, pulse and the irregular flag.
    static Frame result(const TensioReading& reading);
    /// 10 bytes: the record's number in the memory (1 the oldest), systolic (two bytes, high first),
    /// diastolic, pulse and the irregular flag; no date.
    static Frame record(std::size_t number, const TensioReading& reading);
    /// 10 bytes: two-digit year, month, day, hour, minute and second.
    static Frame clock(const BraceletTime& time);
    /// 10 bytes: start hour and minute, end hour and minute, the period byte, then the serial byte
    /// number × 16 + total (the period first, so that the phone never takes a serial byte for a period).
    static Frame window(const TensioWindow& window, std::size_t number, std::size_t total);
    /// 10 bytes: battery, the ambulatory flag in the high nibble of byte 4, the unit in the high nibble and the
    /// hold in the low nibble of byte 5, byte 6 zero, the stored count in byte 7, byte 8 zero.
    static Frame basicInfo(int battery, bool ambulatory, TensioScript::Unit unit, int hold, std::size_t stored);

private:
    static Frame frame(const std::vector<std::uint8_t>& payload);
};

}  // namespace halvora::lab
