// The measurement devices the tool's lab can play, and how their scripts read from a lab file.
#include "CliError.hpp"
#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/Measurement/VirtualHeartDevice.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV2.hpp"
#include "lab/Devices/Measurement/VirtualHeartDeviceV3.hpp"
#include "lab/Devices/Measurement/VirtualWeightScale.hpp"

namespace halvora::cli {

namespace {

/// A blood-pressure script: {"systolic", "diastolic", "pulse", "inflateTo", "deflateTo", "stepMs",
/// "errorByte", "resultRepeats", "battery", "autoStartMs"}.
lab::BloodPressureScript readBloodPressureScript(const LabDeviceSpec& entry) {
    JsonReader script(entry.script, entry.where + ".script");
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
    c.make = [](const LabDeviceSpec& entry) -> std::shared_ptr<lab::VirtualPeripheral> {
        auto device = std::make_shared<Monitor>(LabCatalog::config(entry, *LabCatalog::find(entry.className)));
        device->setScript(readBloodPressureScript(entry));
        device->setFaults(entry.faults);
        return device;
    };
    return c;
}

/// A weight-scale script: {"family" ("one-frame", "two-part", "impedance"), "weighingWeights", "weight",
/// "impedance", "fat", "water", "muscle", "bmr", "visceral", "bone", "stable", "scaleBits", "pounds",
/// "stepMs", "autoStartMs", "echoParameters", "impedanceSensor"}.
lab::WeightScaleScript readWeightScaleScript(const JsonReader& script) {
    script.rejectUnknown({"family", "weighingWeights", "weight", "impedance", "fat", "water", "muscle", "bmr",
                          "visceral", "bone", "stable", "scaleBits", "pounds", "stepMs", "autoStartMs",
                          "echoParameters", "impedanceSensor"});
    lab::WeightScaleScript out;
    if (auto family = script.optionalText("family")) {
        auto parsed = lab::WeightScaleScript::familyFromName(*family);
        if (!parsed) script.fail("family", "expected one-frame, two-part or impedance");
        out.family = *parsed;
    }
    if (script.has("weighingWeights")) {
        const auto& list = script.json()["weighingWeights"];
        if (!list.is_array()) script.fail("weighingWeights", "expected a list of numbers");
        out.weighingWeights.clear();
        for (const auto& w : list) {
            if (!w.is_number() || w.get<double>() < 0 || w.get<double>() > 300) {
                script.fail("weighingWeights", "expected weights from 0 to 300 kg");
            }
            out.weighingWeights.push_back(w.get<double>());
        }
    }
    auto bounded = [&](const char* key, double fallback, double low, double high) {
        const double v = script.number(key, fallback);
        if (v < low || v > high) script.fail(key, format("expected a number from %g to %g", low, high));
        return v;
    };
    out.weight = bounded("weight", out.weight, 0, 300);
    out.impedance = bounded("impedance", out.impedance, 0, 3000);
    out.fat = bounded("fat", out.fat, 0, 100);
    out.water = bounded("water", out.water, 0, 100);
    out.muscle = bounded("muscle", out.muscle, 0, 300);
    out.bmr = static_cast<int>(bounded("bmr", out.bmr, 0, 10000));
    out.visceral = bounded("visceral", out.visceral, 0, 100);
    out.bone = bounded("bone", out.bone, 0, 25.5);
    out.stable = script.boolean("stable", out.stable);
    const int bits = script.integer("scaleBits", out.scaleBits);
    if (bits != 0 && bits != 2 && bits != 4 && bits != 6) script.fail("scaleBits", "expected 0, 2, 4 or 6");
    out.scaleBits = static_cast<std::uint8_t>(bits);
    if (script.has("pounds")) out.pounds = script.boolean("pounds", false);
    out.stepInterval = std::chrono::milliseconds(static_cast<int>(bounded("stepMs", 300, 1, 60000)));
    if (script.has("autoStartMs")) {
        out.autoStartAfter = std::chrono::milliseconds(static_cast<int>(bounded("autoStartMs", 500, 0, 600000)));
    }
    out.echoParameters = script.boolean("echoParameters", out.echoParameters);
    return out;
}

LabClass weightScaleClass() {
    LabClass c;
    c.className = "HalvoraSDKWeightScale";
    c.kind = DeviceTypeWeightScale;
    c.defaultName = "Chipsea-BLE";
    c.make = [](const LabDeviceSpec& entry) -> std::shared_ptr<lab::VirtualPeripheral> {
        JsonReader script(entry.script, entry.where + ".script");
        auto config = LabCatalog::config(entry, *LabCatalog::find(entry.className));
        auto device = std::make_shared<lab::VirtualWeightScale>(config, script.boolean("impedanceSensor", true));
        device->setScript(readWeightScaleScript(script));
        device->setFaults(entry.faults);
        return device;
    };
    c.defaultScript = {{"family", "two-part"}, {"weight", 72.4}, {"fat", 21.5}, {"water", 55.2}, {"muscle", 31.0},
                       {"bmr", 1650}, {"visceral", 7.0}, {"bone", 3.1}};
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
    addTemperatureLabClasses(classes);  // recognition order: oximeter, thermometers, baby thermometer, scale
    classes.push_back(weightScaleClass());
}

}  // namespace halvora::cli
