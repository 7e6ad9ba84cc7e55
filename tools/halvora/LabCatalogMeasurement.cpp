// The measurement devices the tool's lab can play, and how their scripts read from a lab file.
#include "CliError.hpp"
#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "lab/Devices/Measurement/VirtualHeartDevice.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV2.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV3.hpp"

namespace halvora::cli {

namespace {

/// A blood-pressure script: {"systolic", "diastolic", "pulse", "inflateTo", "deflateTo", "stepMs",
/// "errorByte", "resultRepeats", "battery", "autoStartMs"}.
lab::BloodPressureScript readBloodPressureScript(const LabDeviceSpec& spec) {
    JsonReader script(spec.script, spec.where + ".script");
    script.rejectUnknown({"systolic", "diastolic", "pulse", "inflateTo", "deflateTo", "stepMs", "errorByte",
                          "resultRepeats", "battery", "autoStartMs"});
    lab::BloodPressureScript out;
    auto byteField = [&](const char* key, int fallback) {
        const int v = script.integer(key, fallback);
        if (v < 0 || v > 255) script.fail(key, "expected a value from 0 to 255");
        return v;
    };
    out.systolic = byteField("systolic", out.systolic);
    out.diastolic = byteField("diastolic", out.diastolic);
    out.pulse = byteField("pulse", out.pulse);
    out.inflateTo = byteField("inflateTo", out.inflateTo);
    out.deflateTo = byteField("deflateTo", out.deflateTo);
    if (out.deflateTo > out.inflateTo) script.fail("deflateTo", "must not exceed inflateTo");
    const int step = script.integer("stepMs", 200);
    if (step < 1 || step > 60000) script.fail("stepMs", "expected 1 to 60000 milliseconds");
    out.stepInterval = std::chrono::milliseconds(step);
    if (script.has("errorByte")) out.errorByte = static_cast<std::uint8_t>(byteField("errorByte", 0));
    out.resultRepeats = script.integer("resultRepeats", 1);
    if (out.resultRepeats < 1 || out.resultRepeats > 100) script.fail("resultRepeats", "expected 1 to 100");
    out.battery = byteField("battery", out.battery);
    if (auto autoStart = script.optionalInteger("autoStartMs")) {
        if (*autoStart < 0) script.fail("autoStartMs", "expected a non-negative integer");
        out.autoStartAfter = std::chrono::milliseconds(*autoStart);
    }
    return out;
}

template <typename Monitor>
LabClass bloodPressureClass(const char* className, const char* name) {
    LabClass c;
    c.className = className;
    c.kind = DeviceTypeHeart;
    c.defaultName = name;
    c.make = [](const LabDeviceSpec& spec) -> std::shared_ptr<lab::VirtualPeripheral> {
        auto device = std::make_shared<Monitor>(LabCatalog::config(spec, *LabCatalog::find(spec.className)));
        device->setScript(readBloodPressureScript(spec));
        device->setFaults(spec.faults);
        return device;
    };
    return c;
}

}  // namespace

void addMeasurementLabClasses(std::vector<LabClass>& classes) {
    auto v1 = bloodPressureClass<lab::VirtualHeartDevice>("HalvoraSDKHeartDevice", "Bluetooth BP");
    v1.defaultScript = {{"systolic", 121}, {"diastolic", 79}, {"pulse", 68}};
    auto v2 = bloodPressureClass<lab::VirtualHeartDeviceV2>("HalvoraSDKHeartDeviceV2", "eBlood-Pressure");
    v2.defaultScript = {{"systolic", 132}, {"diastolic", 86}, {"pulse", 74}, {"battery", 64}};
    auto v3 = bloodPressureClass<lab::VirtualHeartDeviceV3>("HalvoraSDKHeartDeviceV3", "Belter_BT");
    v3.defaultScript = {{"systolic", 117}, {"diastolic", 76}, {"pulse", 61}, {"battery", 91}};
    classes.push_back(std::move(v1));
    classes.push_back(std::move(v2));
    classes.push_back(std::move(v3));
}

}  // namespace halvora::cli
