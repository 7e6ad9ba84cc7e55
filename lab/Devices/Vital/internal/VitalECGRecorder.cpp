#include "lab/Devices/Vital/internal/VitalECGRecorder.hpp"

#include <algorithm>

#include "lab/Devices/Vital/internal/VitalFrameBuilder.hpp"
#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr std::uint8_t kLive = 0xAA;
constexpr std::uint8_t kHeartStatus = 0x83;
constexpr std::uint8_t kStatus = 0x9C;
constexpr std::uint8_t kWaveform = 0x71;
constexpr std::uint8_t kEnd = 0xFF;

constexpr int kCentury = 2000;
constexpr int kMaxNumber = 255;
constexpr int kMaxByte = 255;
constexpr std::int64_t kSecondsPerDay = 24 * 60 * 60;
constexpr unsigned kBitsPerByte = 8;

// 0x83 and 0x9C.
constexpr std::size_t kHeartStatusRate = 1;
constexpr std::size_t kHeartStatusHrv = 2;
constexpr std::size_t kStatusByte = 1;
constexpr std::size_t kStatusHrv = 2;
constexpr std::size_t kStatusHeartRate = 4;
constexpr std::size_t kStatusBreathing = 9;
constexpr std::size_t kStatusDate = 10;

// 0x71 pages.
constexpr std::size_t kPageNumber = 1;
constexpr std::size_t kHeaderDate = 3;
constexpr std::size_t kHeaderHrv = 11;
constexpr std::size_t kHeaderHeartRate = 12;
constexpr std::size_t kHeaderBreathing = 13;
constexpr std::size_t kHeaderSamples = 27;
constexpr std::size_t kPageSamples = 3;

std::uint8_t byteOf(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, kMaxByte));
}

void putBcdDate(VitalECGRecorder::Frame& frame, std::size_t at, const BraceletTime& t) {
    const int values[] = {t.year - kCentury, t.month, t.day, t.hour, t.minute, t.second};
    for (std::size_t i = 0; i < std::size(values); ++i) frame[at + i] = vital::toBcd(values[i]);
}

void putLittle16(VitalECGRecorder::Frame& frame, std::size_t at, unsigned value) {
    frame[at] = static_cast<std::uint8_t>(value & 0xFF);
    frame[at + 1] = static_cast<std::uint8_t>((value >> kBitsPerByte) & 0xFF);
}

void putSample(VitalECGRecorder::Frame& frame, std::int16_t sample) {
    const auto v = static_cast<std::uint16_t>(sample);
    frame.push_back(static_cast<std::uint8_t>(v & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(v >> kBitsPerByte));
}

std::size_t framesFor(Duration duration) {
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::min<Duration>(duration, VitalECGRecorder::kMaxDuration))
                        .count();
    const auto step = VitalECGRecorder::kFrameInterval.count();
    return static_cast<std::size_t>(std::max<long long>((ns + step - 1) / step, 1));
}

VitalECGRecord summaryOf(const VitalScript::ECG& script, int number, const BraceletTime& date) {
    VitalECGRecord r;
    r.number = number;
    r.date = date;
    r.hrv = script.hrv;
    r.heartRate = script.heartRate;
    r.breathingRate = script.breathingRate;
    return r;
}

}  // namespace

void VitalECGRecorder::load(const VitalScript::ECG& script, int count, std::uint64_t seed, const BraceletTime& clock) {
    records_.clear();
    measurement_.reset();
    finished_.reset();
    const int stored = std::clamp(count, 0, static_cast<int>(kMaxRecords));
    const std::size_t samples = framesFor(script.duration) * kSamplesPerFrame;
    for (int i = 0; i < stored; ++i) {
        const BraceletTime date = clock.plusSeconds(-std::int64_t{stored - i} * kSecondsPerDay);
        VitalECGRecord r = summaryOf(script, i + 1, date);
        VitalECGGenerator generator(seed + static_cast<std::uint64_t>(i), script.heartRate, script.hrv);
        r.samples = generator.take(samples);
        records_.push_back(std::move(r));
    }
}

std::uint8_t VitalECGRecorder::start(const VitalScript::ECG& script, const BraceletTime& clock, std::uint64_t seed) {
    if (script.refuseWith && *script.refuseWith > kStarted) return *script.refuseWith;
    measurement_ = std::make_unique<Measurement>(Measurement{summaryOf(script, nextNumber(), clock),
                                                             VitalECGGenerator(seed, script.heartRate, script.hrv),
                                                             framesFor(script.duration), 0});
    return kStarted;
}

VitalECGRecorder::Frame VitalECGRecorder::nextLiveFrame() {
    if (!measurement_) return {};
    Frame frame{kLive};
    for (std::size_t i = 0; i < kSamplesPerFrame; ++i) {
        const std::int16_t sample = measurement_->generator.next();
        measurement_->record.samples.push_back(sample);
        putSample(frame, sample);
    }
    ++measurement_->framesSent;
    if (--measurement_->framesLeft == 0) {
        finished_ = measurement_->record;
        finished_->samples.clear();
        store(std::move(measurement_->record));
        measurement_.reset();
    }
    return frame;
}

bool VitalECGRecorder::secondBegan() const {
    if (!measurement_) return false;
    const std::size_t before = (measurement_->framesSent - 1) * kSamplesPerFrame / VitalECGGenerator::kSampleRate;
    const std::size_t now = measurement_->framesSent * kSamplesPerFrame / VitalECGGenerator::kSampleRate;
    return now != before;
}

VitalECGRecorder::Frame VitalECGRecorder::heartRateStatus() const {
    VitalFrameBuilder frame(kHeartStatus);
    if (measurement_) {
        frame.set(kHeartStatusRate, byteOf(measurement_->record.heartRate));
        frame.set(kHeartStatusHrv, byteOf(measurement_->record.hrv));
    }
    return frame.bytes();
}

VitalECGRecorder::Frame VitalECGRecorder::status() const {
    if (measurement_ || !finished_)
        return VitalFrameBuilder(kStatus).set(kStatusByte, measurement_ ? kMeasuring : kIdle).bytes();
    Frame frame(vital::kFrameLength, 0);
    frame[0] = kStatus;
    frame[kStatusByte] = kFinished;
    frame[kStatusHrv] = byteOf(finished_->hrv);
    frame[kStatusHeartRate] = byteOf(finished_->heartRate);
    frame[kStatusBreathing] = byteOf(finished_->breathingRate);
    putBcdDate(frame, kStatusDate, finished_->date);
    return frame;
}

std::vector<VitalECGRecorder::Frame> VitalECGRecorder::waveform(int number) const {
    std::vector<Frame> pages;
    const auto held = std::find_if(records_.begin(), records_.end(),
                                   [number](const VitalECGRecord& r) { return r.number == number; });
    if (held != records_.end()) {
        const auto& samples = held->samples;
        Frame header(kHeaderSamples, 0);
        header[0] = kWaveform;
        putLittle16(header, kPageNumber, static_cast<unsigned>(held->number));
        putBcdDate(header, kHeaderDate, held->date);
        header[kHeaderHrv] = byteOf(held->hrv);
        header[kHeaderHeartRate] = byteOf(held->heartRate);
        header[kHeaderBreathing] = byteOf(held->breathingRate);
        std::size_t at = 0;
        auto fill = [&](Frame& page) {
            while (at < samples.size() && page.size() + 2 <= kMaxPageLength) putSample(page, samples[at++]);
        };
        fill(header);
        pages.push_back(std::move(header));
        for (unsigned page = 1; at < samples.size(); ++page) {
            Frame later(kPageSamples, 0);
            later[0] = kWaveform;
            putLittle16(later, kPageNumber, page);
            fill(later);
            pages.push_back(std::move(later));
        }
    }
    pages.push_back({kWaveform, kEnd, kEnd});
    return pages;
}

void VitalECGRecorder::store(VitalECGRecord record) {
    records_.push_back(std::move(record));
    if (records_.size() > kMaxRecords) records_.pop_front();
}

int VitalECGRecorder::nextNumber() const {
    return records_.empty() ? 1 : records_.back().number % kMaxNumber + 1;
}

}  // namespace halvora::lab
