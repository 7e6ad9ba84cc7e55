// The demo's main operation for the RM830 bracelet: today's totals and yesterday's quarter hours, summed up.
#include "DemoSteps.hpp"
#include "RM830Commands.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

void addRM830DemoSteps(std::map<std::string, DemoStep>& steps) {
    steps["HalvoraSDKBraceletRM830"] = [](Session& session, const LabDevice&) {
        // The demo has already connected the bracelet; its answers come to a listener of its own.
        auto listener = std::make_shared<RM830Listener>();
        session.manager().setBraceletRM830Delegate(listener);
        const auto today = todayTotals(session, *listener);
        std::size_t active = 0, asleep = 0;
        for (const auto& r : downloadDay(session, *listener, 1)) {
            (r.record == "steps" ? active : asleep) += 1;
        }
        session.manager().setBraceletRM830Delegate({});
        return format("today %d steps; yesterday %zu active and %zu sleeping quarter hours", today.steps, active,
                      asleep);
    };
}

}  // namespace halvora::cli
