#include "lab/Devices/Bracelet/BraceletHistory.hpp"

#include <algorithm>
#include <random>

namespace halvora::lab {

namespace {

constexpr std::int64_t kSlotSeconds = 600;
constexpr std::int64_t kHourSeconds = 3600;
constexpr std::int64_t kHeartEverySeconds = 1800;
constexpr std::int64_t kDaySeconds = 86400;
constexpr std::uint32_t kTimeMask = 0x3FFFFFFF;
constexpr int kWakeHour = 7;
constexpr int kSleepHour = 23;

constexpr BraceletRecordType kDownloadOrder[] = {BraceletRecordType::Steps, BraceletRecordType::Sleep,
                                                 BraceletRecordType::HeartRate};

bool night(int hour) {
    return hour >= kSleepHour || hour < kWakeHour;
}

/// A draw from `low` to `high` inclusive. The modulo keeps the sequence the same on every platform, which
/// the standard distributions do not promise.
int between(std::mt19937_64& random, int low, int high) {
    const auto span = static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
    return low + static_cast<int>(random() % span);
}

/// Steps walked in the hour starting at `hour`: peaks on the way to work, at lunch and in the evening.
int hourlySteps(std::mt19937_64& random, int hour) {
    if (hour == 8 || hour == 17 || hour == 18) return between(random, 800, 2200);
    if (hour == 12) return between(random, 400, 1300);
    if (hour == 22) return between(random, 20, 300);
    return between(random, 120, 700);
}

}  // namespace

void BraceletHistory::add(const std::vector<BraceletRecord>& records) {
    records_.insert(records_.end(), records.begin(), records.end());
}

void BraceletHistory::absorb(BraceletHistory& other) {
    add(other.records_);
    other.clear();
}

std::vector<BraceletRecord> BraceletHistory::sortedRecords() const {
    auto sorted = records_;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const BraceletRecord& a, const BraceletRecord& b) { return a.at < b.at; });
    return sorted;
}

std::vector<BraceletHistory::Package> BraceletHistory::packages(std::size_t itemsPerPackage) const {
    const std::size_t perPackage = std::max<std::size_t>(itemsPerPackage, 1);
    const auto sorted = sortedRecords();
    std::vector<Package> packages;
    for (const auto type : kDownloadOrder) {
        Package package{type, {}};
        for (const auto& record : sorted) {
            if (record.type != type) continue;
            const auto bytes = item(record);
            package.bytes.insert(package.bytes.end(), bytes.begin(), bytes.end());
            if (package.bytes.size() == perPackage * kItemLength) {
                packages.push_back(std::move(package));
                package = Package{type, {}};
            }
        }
        if (!package.bytes.empty()) packages.push_back(std::move(package));
    }
    return packages;
}

std::array<std::uint8_t, BraceletHistory::kItemLength> BraceletHistory::item(const BraceletRecord& record) {
    const auto time = static_cast<std::uint32_t>(record.at.deviceSeconds()) & kTimeMask;
    const auto value = static_cast<std::uint16_t>(std::clamp(record.value, 0, 0xFFFF));
    const auto flag = static_cast<std::uint32_t>(record.flag & 0x03);
    return {static_cast<std::uint8_t>(flag << 6 | (time >> 24 & 0x3F)),
            static_cast<std::uint8_t>(time >> 16 & 0xFF),
            static_cast<std::uint8_t>(time >> 8 & 0xFF),
            static_cast<std::uint8_t>(time & 0xFF),
            static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value & 0xFF)};
}

std::vector<BraceletRecord> BraceletHistory::seeded(int days, BraceletTime end, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::vector<BraceletRecord> records;
    const std::int64_t last = end.secondsSince2010();
    std::int64_t first = last - std::max(days, 0) * kDaySeconds;
    first -= ((first % kSlotSeconds) + kSlotSeconds) % kSlotSeconds;  // start on a 10-minute slot
    bool deep = false;
    for (std::int64_t t = first; t + kSlotSeconds <= last; t += kSlotSeconds) {
        const auto at = BraceletTime::fromSecondsSince2010(t);
        const bool onTheHour = at.minute == 0;
        if (night(at.hour)) {
            // Deep sleep comes in runs: each slot may switch between deep and light.
            if (between(random, 0, 5) == 0) deep = !deep;
            records.push_back(BraceletRecord::sleep(at, deep));
        } else {
            deep = false;
            if (onTheHour && t + kHourSeconds <= last)
                records.push_back(BraceletRecord::steps(at, hourlySteps(random, at.hour)));
        }
        if ((t % kHeartEverySeconds + kHeartEverySeconds) % kHeartEverySeconds == 0) {
            const int bpm = night(at.hour) ? between(random, 48, 62) : between(random, 62, 96);
            records.push_back(BraceletRecord::heartRate(at, bpm));
        }
    }
    return records;
}

std::vector<BraceletRecord> BraceletHistory::large(std::size_t count, BraceletTime end) {
    std::vector<BraceletRecord> records;
    records.reserve(count);
    const std::int64_t last = end.secondsSince2010();
    for (std::size_t i = 0; i < count; ++i) {
        const auto at =
            BraceletTime::fromSecondsSince2010(last - static_cast<std::int64_t>(count - 1 - i) * kSlotSeconds);
        const int n = static_cast<int>(i % 100000);
        switch (i % 3) {
            case 0:
                records.push_back(BraceletRecord::steps(at, 100 + n * 37 % 900));
                break;
            case 1:
                records.push_back(BraceletRecord::sleep(at, n / 3 % 4 == 0));
                break;
            default:
                records.push_back(BraceletRecord::heartRate(at, 55 + n * 7 % 50));
                break;
        }
    }
    return records;
}

}  // namespace halvora::lab
