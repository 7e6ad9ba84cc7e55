// The demo's main operation for each measurement device.
#include "BloodPressure.hpp"
#include "DemoSteps.hpp"
#include "Temperatures.hpp"
#include "WeightScale.hpp"

namespace halvora::cli {

void addMeasurementDemoSteps(std::map<std::string, DemoStep>& steps) {
    const DemoStep bloodPressure = [](Session& session, const LabDevice&) {
        return bloodPressureText(measureBloodPressure(session, 60.0, false));
    };
    steps["HalvoraSDKHeartDevice"] = bloodPressure;
    steps["HalvoraSDKHeartDeviceV2"] = bloodPressure;
    steps["HalvoraSDKHeartDeviceV3"] = bloodPressure;
    const DemoStep thermometer = [](Session& session, const LabDevice&) {
        return thermometerText(waitForThermometer(session, 60.0));
    };
    steps["HalvoraSDKThermometer"] = thermometer;
    steps["HalvoraSDKThermometerV2"] = thermometer;
    steps["HalvoraSDKThermometerV3"] = thermometer;
    steps["HalvoraSDKOximeter"] = [](Session& session, const LabDevice&) {
        return oximeterText(measureOximeter(session, 10.0, false));
    };
    steps["HalvoraSDKBabyThermometer"] = [](Session& session, const LabDevice&) {
        return babyThermometerText(waitForBabyThermometer(session, 60.0));
    };
    steps["HalvoraSDKWeightScale"] = [](Session& session, const LabDevice&) {
        return weightText(measureWeight(session, 60.0, false));
    };
}

}  // namespace halvora::cli
