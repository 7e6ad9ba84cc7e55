// The demo's main operation for the Vital bracelet: a few settings read back in one line.
#include "DemoSteps.hpp"
#include "VitalCommands.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

void addVitalDemoSteps(std::map<std::string, DemoStep>& steps) {
    steps["HalvoraSDKBraceletVital"] = [](Session& session, const LabDevice&) {
        // The demo has already connected the bracelet; its answers come to a listener of its own.
        VitalSession bracelet(session);
        const Date clock = readVitalTime(bracelet);
        const int battery = readVitalBattery(bracelet);
        const auto parameters = readVitalParameters(bracelet);
        return format("clock %s, battery %d %%, brightness %d, dial %d", Calendar::formatDateTime(clock).c_str(),
                      battery, parameters.screenBrightness, parameters.dialInterface);
    };
}

}  // namespace halvora::cli
