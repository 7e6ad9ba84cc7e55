// The thermometers, the pulse oximeter and the baby thermometer in the tool's lab, and how their scripts read
// from a lab file. Durations are given in milliseconds.
#include "JsonReader.hpp"
#include "LabCatalog.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/Measurement/VirtualBabyThermometer.hpp"
#include "lab/Devices/Measurement/VirtualOximeter.hpp"
#include "lab/Devices/Measurement/VirtualThermometer.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV2.hpp"
#include "lab/Devices/Measurement/VirtualThermometerV3.hpp"

namespace halvora::cli {

namespace {

Duration milliseconds(const JsonReader& script, const char* key, Duration fallback) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(fallback).count();
    const int value = script.integer(key, static_cast<int>(ms));
    if (value < 0 || value > 3600000) script.fail(key, "expected 0 to 3600000 milliseconds");
    return std::chrono::milliseconds(value);
}

std::vector<double> numbers(const JsonReader& script, const char* key, std::vector<double> fallback, double low,
                            double high) {
    if (!script.has(key)) return fallback;
    const auto& list = script.json()[key];
    if (!list.is_array() || list.empty()) script.fail(key, "expected a list of numbers");
    std::vector<double> out;
    for (const auto& v : list) {
        if (!v.is_number() || v.get<double>() < low || v.get<double>() > high) {
            script.fail(key, format("expected numbers from %g to %g", low, high));
        }
        out.push_back(v.get<double>());
    }
    return out;
}

std::vector<std::uint8_t> bytes(const JsonReader& script, const char* key) {
    std::vector<std::uint8_t> out;
    for (double v : numbers(script, key, {}, 0, 255)) out.push_back(static_cast<std::uint8_t>(v));
    return out;
}

/// {"41": 7} to {41: 7}.
std::map<int, int> byteMap(const JsonReader& script, const char* key) {
    std::map<int, int> out;
    const JsonReader map = script.object(key);
    for (const auto& [name, value] : map.json().items()) {
        int command = -1;
        try {
            command = std::stoi(name);
        } catch (const std::exception&) {
            map.fail(name, "expected a command number as the key");
        }
        if (command < 0 || command > 255 || !value.is_number_integer() || value.get<int>() < 0 || value.get<int>() > 255) {
            map.fail(name, "expected command and value from 0 to 255");
        }
        out[command] = value.get<int>();
    }
    return out;
}

int count(const JsonReader& script, const char* key, int fallback) {
    const int value = script.integer(key, fallback);
    if (value < 0 || value > 10000) script.fail(key, "expected 0 to 10000");
    return value;
}

lab::ThermometerScript readThermometerScript(const JsonReader& script) {
    script.rejectUnknown({"temperatures", "repeats", "firstReadingMs", "intervalMs", "fahrenheit", "modeThree",
                          "headerless", "errors", "commandData", "commandErrors", "hundredths", "corruptCheck"});
    lab::ThermometerScript out;
    out.temperatures = numbers(script, "temperatures", out.temperatures, -40, 110);
    out.repeats = count(script, "repeats", out.repeats);
    out.firstReadingAfter = milliseconds(script, "firstReadingMs", out.firstReadingAfter);
    out.interval = milliseconds(script, "intervalMs", out.interval);
    out.fahrenheit = script.boolean("fahrenheit", out.fahrenheit);
    out.modeThree = script.boolean("modeThree", out.modeThree);
    out.headerless = script.boolean("headerless", out.headerless);
    out.errors = bytes(script, "errors");
    out.commandData = byteMap(script, "commandData");
    out.commandErrors = byteMap(script, "commandErrors");
    out.hundredths = script.boolean("hundredths", out.hundredths);
    out.corruptCheck = script.boolean("corruptCheck", out.corruptCheck);
    return out;
}

lab::OximeterScript readOximeterScript(const JsonReader& script) {
    script.rejectUnknown({"sp2", "pi", "lpm", "rpm", "waveAmplitude", "cycles", "firstCycleMs", "cycleIntervalMs",
                          "notificationIntervalMs", "skipMarkers"});
    lab::OximeterScript out;
    auto byteValue = [&](const char* key, int fallback) {
        const int v = script.integer(key, fallback);
        if (v < 0 || v > 255) script.fail(key, "expected 0 to 255");
        return v;
    };
    out.sp2 = byteValue("sp2", out.sp2);
    out.pi = byteValue("pi", out.pi);
    out.lpm = byteValue("lpm", out.lpm);
    out.rpm = byteValue("rpm", out.rpm);
    out.waveAmplitude = byteValue("waveAmplitude", out.waveAmplitude);
    out.cycles = count(script, "cycles", out.cycles);
    out.firstCycleAfter = milliseconds(script, "firstCycleMs", out.firstCycleAfter);
    out.cycleInterval = milliseconds(script, "cycleIntervalMs", out.cycleInterval);
    out.notificationInterval = milliseconds(script, "notificationIntervalMs", out.notificationInterval);
    out.skipMarkers = script.boolean("skipMarkers", out.skipMarkers);
    return out;
}

lab::BabyThermometerScript readBabyThermometerScript(const JsonReader& script) {
    script.rejectUnknown({"bodyTemperatures", "ambientTemperatures", "repeats", "firstReadingMs", "intervalMs",
                          "suffix", "rawValues"});
    lab::BabyThermometerScript out;
    out.bodyTemperatures = numbers(script, "bodyTemperatures", out.bodyTemperatures, 20, 50);
    out.ambientTemperatures = numbers(script, "ambientTemperatures", out.ambientTemperatures, -10, 60);
    out.repeats = count(script, "repeats", out.repeats);
    out.firstReadingAfter = milliseconds(script, "firstReadingMs", out.firstReadingAfter);
    out.interval = milliseconds(script, "intervalMs", out.interval);
    out.suffix = script.text("suffix", out.suffix);
    if (script.has("rawValues")) {
        const auto& list = script.json()["rawValues"];
        if (!list.is_array()) script.fail("rawValues", "expected a list of texts");
        for (const auto& v : list) {
            if (!v.is_string() || v.get<std::string>().size() > 64) script.fail("rawValues", "expected short texts");
            out.rawValues.push_back(v.get<std::string>());
        }
    }
    return out;
}

template <typename Device, typename Reader>
LabClass labClass(const char* className, DeviceKind kind, const char* name, Reader read, nlohmann::json defaults) {
    LabClass c;
    c.className = className;
    c.kind = kind;
    c.defaultName = name;
    c.defaultScript = std::move(defaults);
    c.make = [read](const LabDeviceSpec& entry) -> std::shared_ptr<lab::VirtualPeripheral> {
        auto device = std::make_shared<Device>(LabCatalog::config(entry, *LabCatalog::find(entry.className)));
        device->setScript(read(JsonReader(entry.script, entry.where + ".script")));
        device->setFaults(entry.faults);
        return device;
    };
    return c;
}

}  // namespace

void addTemperatureLabClasses(std::vector<LabClass>& classes) {
    classes.push_back(labClass<lab::VirtualOximeter>("HalvoraSDKOximeter", DeviceTypeOximeter, "BLT_M70C",
                                                     readOximeterScript, {{"sp2", 97}, {"lpm", 64}, {"pi", 6}}));
    classes.push_back(labClass<lab::VirtualThermometer>("HalvoraSDKThermometer", DeviceTypeThermometer,
                                                        "Bluetooth BP Thermo", readThermometerScript,
                                                        {{"temperatures", {36.7}}}));
    classes.push_back(labClass<lab::VirtualThermometerV2>("HalvoraSDKThermometerV2", DeviceTypeThermometer,
                                                          "e-Thermometer", readThermometerScript,
                                                          {{"temperatures", {37.4}}}));
    classes.push_back(labClass<lab::VirtualThermometerV3>("HalvoraSDKThermometerV3", DeviceTypeThermometer,
                                                          "DMT-4760b", readThermometerScript,
                                                          {{"temperatures", {36.25}}}));
    classes.push_back(labClass<lab::VirtualBabyThermometer>("HalvoraSDKBabyThermometer", DeviceTypeBabyThermometer,
                                                            "iCcur", readBabyThermometerScript,
                                                            {{"bodyTemperatures", {36.9}}, {"ambientTemperatures", {23.5}}}));
}

}  // namespace halvora::cli
