#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

namespace halvora::lab {

/// A local wall-clock time as the bracelet keeps it: calendar fields without a time zone. The bracelet
/// counts time as seconds of wall-clock time since 2010-01-01 00:00, and its clock runs `kClockLead`
/// seconds ahead, so a history item stamped at wall-clock time T carries T's count plus 35. The count has 30
/// bits, so the bracelet's calendar runs from 2010-01-01 00:00 to 2044-01-10 13:36:28.
struct BraceletTime {
    /// Seconds the bracelet's clock runs ahead of the wall clock it was set to.
    static constexpr std::int64_t kClockLead = 35;
    /// The largest count a history item holds (30 bits).
    static constexpr std::int64_t kMaxDeviceSeconds = (std::int64_t{1} << 30) - 1;

    int year = 2010;  ///< Gregorian year
    int month = 1;    ///< 1 to 12
    int day = 1;      ///< 1 to 31
    int hour = 0;     ///< 0 to 23
    int minute = 0;   ///< 0 to 59
    int second = 0;   ///< 0 to 59

    /// "yyyy-MM-dd HH:mm" or "yyyy-MM-dd HH:mm:ss"; nothing for any other text or an impossible date.
    static std::optional<BraceletTime> parse(const std::string& text);
    /// "yyyyMMddHHmm", as the phone sets the clock; nothing for any other text or an impossible date.
    static std::optional<BraceletTime> parseCompact(const std::string& text);
    /// The time `seconds` of wall-clock time after 2010-01-01 00:00 (negative counts go before it).
    static BraceletTime fromSecondsSince2010(std::int64_t seconds);

    /// Seconds of wall-clock time since 2010-01-01 00:00.
    std::int64_t secondsSince2010() const;
    /// What the bracelet stamps on an item made at this time: secondsSince2010() + kClockLead.
    std::int64_t deviceSeconds() const { return secondsSince2010() + kClockLead; }
    /// Whether an item stamped at this time fits the bracelet's 30-bit count (from 2010-01-01 00:00 on).
    bool fitsDeviceCount() const;
    /// This time moved by `seconds` (either way), across days, months and years.
    BraceletTime plusSeconds(std::int64_t seconds) const;

    /// "yyyy-MM-dd HH:mm:ss".
    std::string text() const;
    /// "yyyyMMddHHmm", as in the phone's clock command.
    std::string compactText() const;

    /// Times compare in calendar order.
    friend auto operator<=>(const BraceletTime&, const BraceletTime&) = default;
};

}  // namespace halvora::lab
