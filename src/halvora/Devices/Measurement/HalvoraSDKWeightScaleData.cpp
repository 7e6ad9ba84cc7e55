#include "halvora/Devices/Measurement/HalvoraSDKWeightScaleData.hpp"

#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

void appendNumber(std::string& text, const char* name, const std::optional<double>& value) {
    if (value) text += format("%s: %.4f\n", name, *value);
}

}  // namespace

std::string HalvoraSDKWeightScaleData::description() const {
    std::string text;
    appendNumber(text, "weight", weight);
    if (unit) text += format("unit: %s\n", unit->c_str());
    appendNumber(text, "imc", imc);
    appendNumber(text, "fatRawValue", fatRawValue);
    appendNumber(text, "fatPercentage", fatPercentage);
    appendNumber(text, "waterRawValue", waterRawValue);
    appendNumber(text, "waterPercentage", waterPercentage);
    appendNumber(text, "muscleRawValue", muscleRawValue);
    appendNumber(text, "musclePercentage", musclePercentage);
    appendNumber(text, "visceralRawValue", visceralRawValue);
    appendNumber(text, "visceralPercentage", visceralPercentage);
    appendNumber(text, "boneRawValue", boneRawValue);
    appendNumber(text, "bonePercentage", bonePercentage);
    appendNumber(text, "bmr", bmr);
    appendNumber(text, "proteinPercentage", proteinPercentage);
    appendNumber(text, "idealWeight", idealWeight);
    appendNumber(text, "obesityPercentage", obesityPercentage);
    appendNumber(text, "bodyAge", bodyAge);
    appendNumber(text, "bia", bia);
    return text;
}

}  // namespace halvora
