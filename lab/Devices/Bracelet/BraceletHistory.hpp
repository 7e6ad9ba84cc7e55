#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "lab/Devices/Bracelet/BraceletRecord.hpp"

namespace halvora::lab {

/// The bracelet's stored history and how it goes out in packages.
///
/// A package carries the items of one data type only (steps 0, sleep 7, heart rate 3), in time order, at
/// most `itemsPerPackage` of them. A download sends every steps package first, then sleep, then heart rate.
/// An item is 6 bytes: byte 0 is flag << 6 | bits 29..24 of the time count, bytes 1 to 3 its bits 23..0,
/// bytes 4 and 5 the value big-endian; the time count is BraceletTime::deviceSeconds() (wall clock since
/// 2010 plus 35 s). A time that does not fit the count keeps its low 30 bits; a value outside 0 to 65535 is
/// clamped.
class BraceletHistory {
public:
    /// Bytes of one item.
    static constexpr std::size_t kItemLength = 6;
    /// Items per package unless the script says otherwise.
    static constexpr std::size_t kDefaultItemsPerPackage = 30;

    /// One package: the items of one data type.
    struct Package {
        BraceletRecordType type = BraceletRecordType::Steps;  ///< the data type of every item
        std::vector<std::uint8_t> bytes;                      ///< the items, kItemLength bytes each
    };

    BraceletHistory() = default;
    /// A history holding `records`.
    explicit BraceletHistory(std::vector<BraceletRecord> records) : records_(std::move(records)) {}

    /// Adds records (kept in the order given; packages sort them).
    void add(const std::vector<BraceletRecord>& records);
    /// Moves every record of `other` into this history and empties `other`.
    void absorb(BraceletHistory& other);
    /// The records, in the order they were added.
    const std::vector<BraceletRecord>& records() const { return records_; }
    /// The records sorted by time (records of the same time keep their order).
    std::vector<BraceletRecord> sortedRecords() const;
    bool empty() const { return records_.empty(); }       ///< whether no record is stored
    std::size_t size() const { return records_.size(); }  ///< the number of records
    void clear() { records_.clear(); }                    ///< forgets every record

    /// The packages of the whole history, in the order a download sends them. `itemsPerPackage` below 1
    /// counts as 1.
    std::vector<Package> packages(std::size_t itemsPerPackage) const;
    /// The 6 bytes of one record's item.
    static std::array<std::uint8_t, kItemLength> item(const BraceletRecord& record);

    /// A plausible history of `days` days up to `end`, the same for the same seed: steps for every waking
    /// hour (07:00 to 22:59), a sleep slot every 10 minutes of the night (23:00 to 06:59) with runs of deep
    /// sleep, and a heart rate every 30 minutes, lower at night.
    static std::vector<BraceletRecord> seeded(int days, BraceletTime end, std::uint64_t seed);
    /// `count` records ending at `end`, one every 10 minutes, cycling steps, sleep and heart rate: every
    /// record has its own time and a non-zero value, so a download of them yields `count` readings.
    static std::vector<BraceletRecord> large(std::size_t count, BraceletTime end);

private:
    std::vector<BraceletRecord> records_;
};

}  // namespace halvora::lab
