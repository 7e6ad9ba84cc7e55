#include "lab/Devices/Measurement/WeightScaleScript.hpp"

namespace halvora::lab {

std::string WeightScaleScript::familyName(Family family) {
    switch (family) {
        case Family::OneFrame:
            return "one-frame";
        case Family::TwoPart:
            return "two-part";
        case Family::Impedance:
            return "impedance";
    }
    return "two-part";
}

std::optional<WeightScaleScript::Family> WeightScaleScript::familyFromName(const std::string& name) {
    for (Family family : {Family::OneFrame, Family::TwoPart, Family::Impedance}) {
        if (familyName(family) == name) return family;
    }
    return std::nullopt;
}

}  // namespace halvora::lab
