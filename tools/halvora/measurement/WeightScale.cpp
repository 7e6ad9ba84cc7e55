#include "WeightScale.hpp"

#include "CliError.hpp"
#include "RecordJson.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Core/PreferenceUtils.hpp"

namespace halvora::cli {

namespace {

/// printf shows NaN and infinities as "nan" and "inf", which is what a person should see for figures the
/// formulas cannot give.
std::string number(double value) { return format("%.2f", value); }

}  // namespace

void storeScaleUser(Session& session, const ScaleUser& user) {
    auto& manager = session.manager();
    auto& preferences = manager.preferences();
    const std::string unit = user.unit.value_or(preferences.getWeightUnit());
    const std::int32_t gender = user.gender ? (*user.gender == "male" ? 0 : 1) : preferences.getWeightGender();
    const std::int32_t age = user.age.value_or(preferences.getWeightAge());
    const auto height = static_cast<std::int32_t>(user.height.value_or(static_cast<int>(preferences.getWeightHeight())));
    manager.setWeightScaleParams(unit, gender, age, height);
}

HalvoraSDKWeightScaleData measureWeight(Session& session, double timeout, bool live) {
    auto& app = session.app();
    auto& printer = session.printer();
    app.clearResults();
    if (live) {
        app.onWeighing = [&printer](const HalvoraSDKWeightScaleData& data) {
            nlohmann::json event = toJson(data);
            event["event"] = "weighing";
            printer.event(event, "weighing " + number(data.weight.value_or(0)) + " " + data.unit.value_or(""));
        };
    }
    const bool done = session.waitUntil([&] { return app.weightResult().has_value(); }, seconds(timeout));
    app.onWeighing = nullptr;
    if (!done) throw CliError(ExitDeviceError, format("no weight result within %.0f s", timeout));
    return *app.weightResult();
}

std::string weightText(const HalvoraSDKWeightScaleData& data) {
    std::string text = number(data.weight.value_or(0)) + " " + data.unit.value_or("");
    if (data.fatPercentage) text += ", fat " + number(*data.fatPercentage) + " %";
    if (data.imc) text += ", BMI " + number(*data.imc);
    return text;
}

void printWeightResult(Session& session, const HalvoraSDKWeightScaleData& data) {
    auto& printer = session.printer();
    if (printer.json()) {
        nlohmann::json event = toJson(data);
        event["event"] = "result";
        printer.event(event, "");
        return;
    }
    std::vector<std::vector<std::string>> rows;
    for (const auto& [name, value] : weightFigures(data)) {
        if (value) rows.push_back({name, number(*value)});
    }
    if (data.unit) rows.push_back({"unit", *data.unit});
    printer.table({"figure", "value"}, rows);
}

}  // namespace halvora::cli
