// The demo's main operation for the text-command bracelet: the whole history, summed up.
#include "BraceletCommands.hpp"
#include "DemoSteps.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

void addBraceletDemoSteps(std::map<std::string, DemoStep>& steps) {
    steps["HalvoraSDKBracelet"] = [](Session& session, const LabDevice&) {
        auto listener = std::make_shared<BraceletListener>();
        session.manager().setBraceletDelegate(listener);
        std::size_t counts[3] = {0, 0, 0};
        long totalSteps = 0;
        {
            // The demo has already connected the bracelet; the history comes through the listener.
            BraceletListener& l = *listener;
            const std::size_t before = l.syncs().size();
            for (std::size_t round = 1; round <= 2; ++round) {
                session.manager().synchronizeBraceletHistoryData();
                session.waitUntil([&] { return l.syncs().size() >= before + round; }, seconds(600));
            }
            for (const auto& r : historyRecords(l.syncs())) {
                if (r.record == "steps") {
                    ++counts[0];
                    totalSteps += r.json["steps"].get<int>();
                } else if (r.record == "sleep") {
                    ++counts[1];
                } else {
                    ++counts[2];
                }
            }
        }
        session.manager().setBraceletDelegate({});
        return format("%zu step, %zu sleep, %zu heart records; %ld steps", counts[0], counts[1], counts[2], totalSteps);
    };
}

}  // namespace halvora::cli
