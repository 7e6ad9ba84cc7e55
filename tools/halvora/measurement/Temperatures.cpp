#include "Temperatures.hpp"

#include <algorithm>

#include "CliError.hpp"
#include "RecordJson.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// A pleth sample (0 to 127 or so) as a bar of a running trace.
std::string plethBar(int pleth) {
    const int width = std::clamp(pleth, 0, 127) / 4;
    return std::string(static_cast<std::size_t>(width), '#');
}

bool isValues(const HalvoraSDKOximeterData& data) { return data.sp2 != 0 || data.lpm != 0; }

}  // namespace

nlohmann::json toJson(const HalvoraSDKThermometerData& data) {
    return {{"date", isoDate(data.date)},
            {"mode", optionalJson(data.mode)},
            {"temperature", optionalJson(data.temperature)},
            {"unit", optionalJson(data.unit)}};
}

nlohmann::json toJson(const HalvoraSDKOximeterData& data) {
    return {{"date", isoDate(data.date)}, {"sp2", data.sp2}, {"pi", data.pi},
            {"rpm", data.rpm},            {"lpm", data.lpm}, {"pleth", data.pleth}};
}

nlohmann::json toJson(const HalvoraSDKBabyThermometerData& data) {
    auto value = [](const std::optional<float>& v) { return v ? nlohmann::json(*v) : nlohmann::json(nullptr); };
    return {{"temperature", value(data.temperature)}, {"environmentTemperature", value(data.environmentTemperature)}};
}

std::string thermometerText(const HalvoraSDKThermometerData& data) {
    std::string text = format("%.2f %s", data.temperature.value_or(0), data.unit.value_or("").c_str());
    if (data.mode) text += format(" (mode %d)", *data.mode);
    return text;
}

std::string oximeterText(const HalvoraSDKOximeterData& data) {
    return format("SpO2 %d %%, pulse %d bpm, PI %d, respiration %d", data.sp2, data.lpm, data.pi, data.rpm);
}

std::string babyThermometerText(const HalvoraSDKBabyThermometerData& data) {
    return format("body %.2f C, ambient %.2f C", data.temperature.value_or(0), data.environmentTemperature.value_or(0));
}

HalvoraSDKThermometerData waitForThermometer(Session& session, double timeout) {
    auto& app = session.app();
    if (!session.waitUntil([&] { return app.thermometerResult() || app.thermometerError(); }, seconds(timeout))) {
        throw CliError(ExitDeviceError, format("no temperature within %.0f s", timeout));
    }
    if (!app.thermometerResult()) {
        throw CliError(ExitDeviceError, format("the thermometer reported error %d", *app.thermometerError()));
    }
    return *app.thermometerResult();
}

HalvoraSDKBabyThermometerData waitForBabyThermometer(Session& session, double timeout) {
    auto& app = session.app();
    if (!session.waitUntil([&] { return app.babyResult().has_value(); }, seconds(timeout))) {
        throw CliError(ExitDeviceError, format("no temperature within %.0f s", timeout));
    }
    return *app.babyResult();
}

HalvoraSDKOximeterData measureOximeter(Session& session, double duration, bool live) {
    auto& app = session.app();
    auto& printer = session.printer();
    if (live) {
        app.onOximeter = [&printer](const HalvoraSDKOximeterData& data) {
            nlohmann::json event = toJson(data);
            if (isValues(data)) {
                event["event"] = "values";
                printer.event(event, oximeterText(data));
            } else {
                event["event"] = "pleth";
                printer.event(event, format("pleth %3d %s", data.pleth, plethBar(data.pleth).c_str()));
            }
        };
        session.pass(seconds(duration));
    } else {
        session.waitUntil([&] { return app.oximeterResult().has_value(); }, seconds(duration));
    }
    app.onOximeter = nullptr;
    if (!app.oximeterResult()) throw CliError(ExitDeviceError, format("no oximeter values within %.0f s", duration));
    return *app.oximeterResult();
}

}  // namespace halvora::cli
