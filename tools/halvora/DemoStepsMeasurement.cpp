// The demo's main operation for each measurement device.
#include "BloodPressure.hpp"
#include "DemoSteps.hpp"
#include "WeightScale.hpp"

namespace halvora::cli {

void addMeasurementDemoSteps(std::map<std::string, DemoStep>& steps) {
    const DemoStep bloodPressure = [](Session& session, const LabDevice&) {
        return bloodPressureText(measureBloodPressure(session, 60.0, false));
    };
    steps["HalvoraSDKHeartDevice"] = bloodPressure;
    steps["HalvoraSDKHeartDeviceV2"] = bloodPressure;
    steps["HalvoraSDKHeartDeviceV3"] = bloodPressure;
    steps["HalvoraSDKWeightScale"] = [](Session& session, const LabDevice&) {
        return weightText(measureWeight(session, 60.0, false));
    };
}

}  // namespace halvora::cli
