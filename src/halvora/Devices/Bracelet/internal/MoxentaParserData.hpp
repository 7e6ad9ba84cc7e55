#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace halvora {

/// One item of the bracelet's stored history, as a package carries it: 6 bytes (8 in the real-time form).
///
///     byte 0      bits 7-6: flag; bits 5-0: bits 29-24 of the time
///     bytes 1-3   bits 23-0 of the time (big-endian): seconds since the bracelet's epoch
///     bytes 4-5   value (big-endian): steps, sleep state or heart rate
///     bytes 6-7   second value (big-endian), real-time form only
struct MoxentaParserData {
    /// Size of a stored history item.
    static constexpr std::size_t kItemSize = 6;
    /// Size of an item in the real-time form.
    static constexpr std::size_t kRealTimeItemSize = 8;

    /// Top 2 bits of byte 0 (0 to 3).
    std::uint32_t flag = 0;
    /// 30-bit count of seconds since the bracelet's epoch.
    std::uint32_t time = 0;
    /// First reading.
    std::uint32_t value = 0;
    /// Second reading; 0 unless decoded in the real-time form.
    std::uint32_t value1 = 0;

    /// Decodes one item. Absent: an item shorter than its form, and (stored form only) an empty item or one
    /// whose bytes are all FF (an unused slot of the bracelet's memory). Bytes past the form are not read.
    static std::optional<MoxentaParserData> parseData(std::span<const std::uint8_t> item, bool realTime);

    /// `data` cut into consecutive items of `size` bytes. A range that would run past the end of `data` (a
    /// short last piece) is skipped, never read. A size of 0 gives nothing.
    static std::vector<std::span<const std::uint8_t>> splitData(std::span<const std::uint8_t> data, std::size_t size);

    /// The items of a package: its first `infoLength` bytes (no more than it holds; nothing for a negative
    /// length) cut into stored items and decoded, absent items left out, in the package's order.
    static std::vector<MoxentaParserData> itemsOfPackage(std::span<const std::uint8_t> package,
                                                         std::int32_t infoLength);
};

}  // namespace halvora
