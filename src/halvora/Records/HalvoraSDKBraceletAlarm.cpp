#include "halvora/Records/HalvoraSDKBraceletAlarm.hpp"

#include <map>

#include "halvora/Core/Format.hpp"

namespace halvora {

std::string HalvoraSDKBraceletAlarm::description() const {
    // A std::map keeps the keys in ascending order, as the text form of a dictionary lists them.
    const std::map<std::string, std::int32_t> entries = {
        {"monday", monday},     {"tuesday", tuesday}, {"wednesday", wednesday},
        {"thursday", thursday}, {"friday", friday},   {"saturday", saturday},
        {"sunday", sunday},     {"hour", hour},       {"minute", minute},
    };
    std::string text = "{\n";
    for (const auto& [key, value] : entries) text += format("    %s = %d;\n", key.c_str(), value);
    return text + "}";
}

}  // namespace halvora
