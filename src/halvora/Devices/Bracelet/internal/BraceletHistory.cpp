#include "halvora/Devices/Bracelet/internal/BraceletHistory.hpp"

#include <algorithm>

#include "halvora/Devices/Bracelet/internal/BraceletClock.hpp"

namespace halvora {

namespace {

constexpr std::uint32_t kSleepFlagNone = 0;
constexpr std::uint32_t kSleepFlagUnused = 3;
constexpr std::uint32_t kDeepSleepValue = 11;
constexpr std::int32_t kSleepSlotMinutes = 10;

/// The records of a map in ascending order of key (keys are times, so of date too).
template <typename Key, typename Record>
std::vector<Record> valuesOf(const std::map<Key, Record>& records) {
    std::vector<Record> values;
    values.reserve(records.size());
    for (const auto& [key, record] : records) values.push_back(record);
    return values;
}

}  // namespace

template <typename Key, typename Record>
bool BraceletHistory::store(std::map<Key, Record>& records, const Key& key, Record record) {
    auto found = records.find(key);
    if (found != records.end()) {
        found->second = std::move(record);
        return true;
    }
    if (records.size() >= kMaxRecords) return false;
    records.emplace(key, std::move(record));
    return true;
}

void BraceletHistory::sortByTime(std::vector<MoxentaParserData>& items) {
    std::stable_sort(items.begin(), items.end(),
                     [](const MoxentaParserData& a, const MoxentaParserData& b) { return a.time < b.time; });
}

std::size_t BraceletHistory::processStepsData(std::vector<MoxentaParserData> items, Date now,
                                              const BraceletEstimates::Body& body) {
    sortByTime(items);
    std::size_t dropped = 0;
    const auto offsetNow = BraceletClock::utcOffset(now);
    BraceletClock::YearShift years;
    for (const auto& item : items) {
        if (item.value == 0) continue;
        const Date date = BraceletClock::rightTime(item.time, offsetNow, years);
        auto record = BraceletEstimates::stepRecord(static_cast<std::int32_t>(item.value), date, body);
        if (!store(stepsByTime_, date, record)) ++dropped;
    }
    return dropped;
}

std::size_t BraceletHistory::processSleepData(std::vector<MoxentaParserData> items) {
    sortByTime(items);
    std::size_t dropped = 0;
    BraceletClock::YearShift years;
    for (const auto& item : items) {
        if (item.flag == kSleepFlagNone || item.flag == kSleepFlagUnused) continue;
        const std::int64_t key = BraceletClock::sleepSlotKey(BraceletClock::sleepDate(item.time, years));
        HalvoraSDKSleepData record;
        record.date = Date{std::chrono::seconds{key}};
        record.sleepDuration = kSleepSlotMinutes;
        record.sleepDeepness = item.value == kDeepSleepValue ? 1 : 0;
        if (!store(sleepByTime_, key, record)) ++dropped;
    }
    return dropped;
}

std::size_t BraceletHistory::processHeartRateData(std::vector<MoxentaParserData> items, Date now) {
    sortByTime(items);
    std::size_t dropped = 0;
    const auto offsetNow = BraceletClock::utcOffset(now);
    BraceletClock::YearShift years;
    for (const auto& item : items) {
        const Date date = BraceletClock::rightTime(item.time, offsetNow, years);
        HalvoraSDKHeartBeatData record;
        record.date = date;
        record.heartRate = static_cast<std::int32_t>(item.value);
        if (!store(heartRateByTime_, date, record)) ++dropped;
    }
    return dropped;
}

HalvoraSDKBraceletData BraceletHistory::takeRecords() {
    HalvoraSDKBraceletData data;
    data.stepsData = valuesOf(stepsByTime_);
    data.sleepData = valuesOf(sleepByTime_);
    data.heartData = valuesOf(heartRateByTime_);
    stepsByTime_.clear();
    sleepByTime_.clear();
    heartRateByTime_.clear();
    return data;
}

}  // namespace halvora
