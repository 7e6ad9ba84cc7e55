#include "support/RecordingMeasurementDelegate.hpp"

#include <algorithm>

#include "halvora/Core/Format.hpp"

namespace halvora::test {

void RecordingMeasurementDelegate::thermometerOnResult(const HalvoraSDKThermometerData& data) {
    {
        std::lock_guard lock(mutex_);
        readings_.push_back(data);
    }
    add(format("reading %.2f %s mode %d%s", data.temperature.value_or(-1.0), data.unit.value_or("-").c_str(),
               data.mode.value_or(-1), data.date ? "" : " undated"));
}

void RecordingMeasurementDelegate::thermometerOnSuccessCommand(const HalvoraSDKThermometerSuccessData& data) {
    add(format("ack %d %d", data.command.value_or(-1), data.data.value_or(-1)));
}

void RecordingMeasurementDelegate::thermometerOnError(std::int32_t error) {
    add(format("thermometer error %d", error));
}

void RecordingMeasurementDelegate::oximeterDeviceOnResult(const HalvoraSDKOximeterData& data) {
    {
        std::lock_guard lock(mutex_);
        oximeterRecords_.push_back(data);
    }
    add(format("oximeter sp2 %d pi %d lpm %d rpm %d", data.sp2, data.pi, data.lpm, data.rpm));
}

void RecordingMeasurementDelegate::oximeterDeviceOnProgressMeasurement(const HalvoraSDKOximeterData& data) {
    {
        std::lock_guard lock(mutex_);
        oximeterRecords_.push_back(data);
    }
    add(format("pleth %d", data.pleth));
}

void RecordingMeasurementDelegate::babyThermometerOnResult(const HalvoraSDKBabyThermometerData& data) {
    {
        std::lock_guard lock(mutex_);
        babyReadings_.push_back(data);
    }
    add(format("baby %.2f %.2f", static_cast<double>(data.temperature.value_or(-1.0F)),
               static_cast<double>(data.environmentTemperature.value_or(-1.0F))));
}

std::vector<std::string> RecordingMeasurementDelegate::events() const {
    std::lock_guard lock(mutex_);
    return events_;
}

std::size_t RecordingMeasurementDelegate::count(const std::string& event) const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count(events_.begin(), events_.end(), event));
}

std::vector<HalvoraSDKThermometerData> RecordingMeasurementDelegate::readings() const {
    std::lock_guard lock(mutex_);
    return readings_;
}

std::vector<HalvoraSDKOximeterData> RecordingMeasurementDelegate::oximeterRecords() const {
    std::lock_guard lock(mutex_);
    return oximeterRecords_;
}

std::vector<HalvoraSDKBabyThermometerData> RecordingMeasurementDelegate::babyReadings() const {
    std::lock_guard lock(mutex_);
    return babyReadings_;
}

void RecordingMeasurementDelegate::clear() {
    std::lock_guard lock(mutex_);
    events_.clear();
    readings_.clear();
    oximeterRecords_.clear();
    babyReadings_.clear();
}

void RecordingMeasurementDelegate::add(std::string event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
}

}  // namespace halvora::test
