#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "halvora/Devices/Measurement/HalvoraBabyThermometerDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraOximeterDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraThermometerDelegate.hpp"

namespace halvora::test {

/// An application delegate for the thermometers, the pulse oximeter and the baby thermometer. It records
/// every callback as a short text and keeps the records:
///   "reading 36.90 celsius mode 2", "reading 38.00 farenheit mode 0 undated" (no date),
///   "ack 41 7", "thermometer error 2",
///   "oximeter sp2 98 pi 5 lpm 72 rpm 16", "pleth 45",
///   "baby 36.50 24.00".
class RecordingMeasurementDelegate : public HalvoraThermometerDelegate,
                                     public HalvoraOximeterDelegate,
                                     public HalvoraBabyThermometerDelegate {
public:
    void thermometerOnResult(const HalvoraSDKThermometerData& data) override;
    void thermometerOnSuccessCommand(const HalvoraSDKThermometerSuccessData& data) override;
    void thermometerOnError(std::int32_t error) override;
    void oximeterDeviceOnResult(const HalvoraSDKOximeterData& data) override;
    void oximeterDeviceOnProgressMeasurement(const HalvoraSDKOximeterData& data) override;
    void babyThermometerOnResult(const HalvoraSDKBabyThermometerData& data) override;

    std::vector<std::string> events() const;
    std::size_t count(const std::string& event) const;
    std::vector<HalvoraSDKThermometerData> readings() const;
    std::vector<HalvoraSDKOximeterData> oximeterRecords() const;
    std::vector<HalvoraSDKBabyThermometerData> babyReadings() const;
    void clear();

private:
    void add(std::string event);

    mutable std::mutex mutex_;
    std::vector<std::string> events_;
    std::vector<HalvoraSDKThermometerData> readings_;
    std::vector<HalvoraSDKOximeterData> oximeterRecords_;
    std::vector<HalvoraSDKBabyThermometerData> babyReadings_;
};

}  // namespace halvora::test
