// The demo's main operation for the wrist blood-pressure bracelet: a measurement, then the memory it joined.
#include "DemoSteps.hpp"
#include "TensioCommands.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

void addTensioDemoSteps(std::map<std::string, DemoStep>& steps) {
    steps["HalvoraSDKTensioBracelet"] = [](Session& session, const LabDevice&) {
        // The demo has already connected the bracelet; its answers come to a listener of its own.
        TensioSession bracelet(session);
        const auto result = measureWrist(bracelet, false);
        const auto memory = readMemory(bracelet);
        return wristResultText(result) + format("; %zu stored measurements", memory.size());
    };
}

}  // namespace halvora::cli
