#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "lab/Devices/Bracelet/BraceletTime.hpp"
#include "lab/Devices/Vital/VitalHistory.hpp"

namespace halvora::lab {

/// The Vital bracelet's answer to a history request, as the notifications it sends.
///
/// Byte 0 of each notification is the request's code; from byte 1 on come whole records of the kind's fixed
/// stride, as many per notification as the seeded generator draws (at least one, at most what fits in
/// kMaxNotificationLength bytes). After the last record comes the end mark: a slot of the stride whose first
/// byte is 0xFF (the rest zero), in the last notification when the draw puts it there and it fits, else
/// alone. Every record starts with its number in the transfer: two bytes little-endian (one byte for the
/// daily totals), counting from 0 and skipping every number whose low byte would read as the end mark 0xFF.
///
/// Record layouts (offsets in the record; BCD date = year - 2000, month, day, hour, minute, second;
/// numbers little-endian; bytes not named are 0):
///   0x51 (27): 0 number, 1-3 BCD date (year, month, day), 4-7 steps, 8-11 active minutes, 12-15 distance
///              (hundredths of a km), 16-19 calories (hundredths of a kcal), 22-25 exercise minutes;
///   0x52 (25): 0-1 number, 2-7 BCD date, 8-9 steps, 10-11 calories (hundredths), 12-13 distance
///              (hundredths of a km), 14-23 steps of each minute;
///   0x54 (24): 0-1 number, 2-7 BCD date of the first sample, 8-22 fifteen heart rates 15 minutes apart;
///   0x55, 0x60, 0x66 (10): 0-1 number, 2-7 BCD date, 8 heart rate or SpO2;
///   0x56 (15): 0-1 number, 2-7 BCD date, 8 HRV, 9 vascular aging, 10 heart rate, 11 fatigue, 12 systolic,
///              13 diastolic;
///   0x5C (25): 0-1 number, 2-7 BCD date, 8 heart rate, 9-10 steps, 11-12 kcal, 13-14 metres, 15-18 active
///              seconds, 19-22 exercise seconds, 23 sport type;
///   0x62, 0x65 (11): 0-1 number, 2-7 BCD date, 8-9 tenths of a degree Celsius.
/// Sleep (0x53) goes one record per notification: bytes 1-2 the number, 3-8 the BCD start, 9 the count of
/// minutes, 11 on one value per minute (a block longer than kMaxSleepMinutes goes as several records, each
/// dated at its first minute); the end is the notification 53 FF FF.
///
/// The request: byte 1 = 0 asks for everything stored, oldest first; byte 1 = n asks for the records dated
/// on the day n - 1 days before the clock's (1: today). For 0x54, bytes 2 and 3 (little-endian) skip that
/// many records of the selection (the phone continues a transfer from there).
class VitalHistoryPages {
public:
    /// One notification.
    using Frame = std::vector<std::uint8_t>;
    /// The longest notification the bracelet sends (the payload of a 247-byte ATT MTU).
    static constexpr std::size_t kMaxNotificationLength = 244;
    /// The most minutes one sleep notification carries.
    static constexpr std::size_t kMaxSleepMinutes = kMaxNotificationLength - 11;
    /// The byte that ends a transfer.
    static constexpr std::uint8_t kEndMark = 0xFF;

    /// What a history request asks for.
    struct Request {
        std::uint8_t code = 0;  ///< the request's code
        int day = 0;            ///< byte 1: 0 everything, n the day n - 1 days before today
        std::size_t from = 0;   ///< records of the selection skipped (0x54 only)
    };

    VitalHistoryPages() = delete;

    /// Whether `code` asks for a history the bracelet pages.
    static bool isHistoryRequest(std::uint8_t code);
    /// The record stride of `code`'s answer (0 for sleep and any other code).
    static std::size_t stride(std::uint8_t code);
    /// The notifications answering `request` from `history`, `today` being the clock's date; the split
    /// draws on `random`.
    static std::vector<Frame> answer(const Request& request, const VitalHistory& history, const BraceletTime& today,
                                     std::mt19937_64& random);
};

}  // namespace halvora::lab
