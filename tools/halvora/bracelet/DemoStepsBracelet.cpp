// The demo's main operation for the text-command bracelet: the whole history, summed up.
#include "BraceletCommands.hpp"
#include "DemoSteps.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

constexpr double kDemoDownloadSeconds = 600;

}  // namespace

void addBraceletDemoSteps(std::map<std::string, DemoStep>& steps) {
    steps["HalvoraSDKBracelet"] = [](Session& session, const LabDevice&) {
        // The demo has already connected the bracelet; the history comes through a listener of its own.
        auto listener = std::make_shared<BraceletListener>();
        session.manager().setBraceletDelegate(listener);
        std::size_t steps = 0, sleep = 0, heart = 0;
        long totalSteps = 0;
        for (const auto& r : downloadHistory(session, *listener, kDemoDownloadSeconds, false)) {
            if (r.record == "steps") {
                ++steps;
                totalSteps += r.json["steps"].get<int>();
            } else if (r.record == "sleep") {
                ++sleep;
            } else {
                ++heart;
            }
        }
        session.manager().setBraceletDelegate({});
        return format("%zu step, %zu sleep, %zu heart records; %ld steps", steps, sleep, heart, totalSteps);
    };
}

}  // namespace halvora::cli
