#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "halvora/Core/Date.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletEstimates.hpp"
#include "halvora/Devices/Bracelet/internal/MoxentaParserData.hpp"
#include "halvora/Records/HalvoraSDKBraceletData.hpp"

namespace halvora {

/// The records decoded from history packages and not yet delivered: steps, sleep and heart rate, each keyed
/// by its time, so that a later record with the same time replaces an earlier one.
///
/// Cap: each of the three holds at most kMaxRecords records. At the cap a record with a time not held yet is
/// dropped (and counted in the decoder's result); a record for a time already held still replaces it.
/// Records stay until `takeRecords` hands them over, so without an application delegate they are kept
/// (within the cap) for a later download.
class BraceletHistory {
public:
    /// Most records held by each accumulator.
    static constexpr std::size_t kMaxRecords = 50'000;

    /// Step items with a value above 0, dated by the bracelet's clock (offset from UTC as at `now`), with the
    /// distance and calories estimated for `body`. Returns the number of records dropped at the cap.
    std::size_t processStepsData(std::vector<MoxentaParserData> items, Date now, const BraceletEstimates::Body& body);
    /// Sleep items with flag 1 or 2, each a 10-minute slot (deep when the value is 11, else light), keyed by
    /// the slot's start. Returns the number of records dropped at the cap.
    std::size_t processSleepData(std::vector<MoxentaParserData> items);
    /// Heart-rate items, dated by the bracelet's clock (offset from UTC as at `now`). Returns the number of
    /// records dropped at the cap.
    std::size_t processHeartRateData(std::vector<MoxentaParserData> items, Date now);

    /// Every record held, each list in ascending order of date; the accumulators that had records are
    /// emptied.
    HalvoraSDKBraceletData takeRecords();

    std::size_t stepsCount() const { return stepsByTime_.size(); }
    std::size_t sleepCount() const { return sleepByTime_.size(); }
    std::size_t heartRateCount() const { return heartRateByTime_.size(); }

private:
    /// Stores `record` under `key` unless the map is full and does not hold the key; true when stored.
    template <typename Key, typename Record>
    static bool store(std::map<Key, Record>& records, const Key& key, Record record);
    /// The items in ascending order of time (items with equal times keep their order).
    static void sortByTime(std::vector<MoxentaParserData>& items);

    std::map<Date, HalvoraSDKStepData> stepsByTime_;
    std::map<std::int64_t, HalvoraSDKSleepData> sleepByTime_;
    std::map<Date, HalvoraSDKHeartBeatData> heartRateByTime_;
};

}  // namespace halvora
