// The demo's main operation for the RM830 bracelet: today's totals and yesterday's quarter hours, summed up;
// then the same bracelet, put back on old firmware, is updated to the kit's image over a modelled link.
#include "Commands.hpp"
#include "DemoSteps.hpp"
#include "RM830Commands.hpp"
#include "dfu/FirmwareUpdateCommand.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"
#include "lab/LinkModel.hpp"

namespace halvora::cli {

namespace {

/// The firmware the demo's bracelet is put back on, older than the kit's.
constexpr const char* kOldFirmware = "54.51.55.9";
constexpr double kUpdateTimeout = 30;

/// Puts the lab's bracelet on old firmware and updates it; the summary of what happened.
std::string demoUpdate(Session& session, const LabDevice& device) {
    auto bracelet = std::dynamic_pointer_cast<lab::VirtualRM830>(device.device);
    if (!bracelet || !session.radio()) return "no firmware update (not the lab's bracelet)";
    disconnectAndSettle(session, DeviceTypeBraceletRM830);
    auto script = bracelet->script();
    script.version = kOldFirmware;
    bracelet->setScript(script);
    // The upload runs at the pace of a real link: 30 ms connection interval, 4 packets per event.
    const auto previousModel = session.radio()->linkModel();
    session.radio()->setLinkModel(lab::LinkModel{});
    RM830UpdateResult result;
    try {
        result = updateRM830Firmware(session, kUpdateTimeout);
    } catch (...) {
        session.radio()->setLinkModel(previousModel);
        throw;
    }
    session.radio()->setLinkModel(previousModel);
    return format("firmware %s -> %s (%llu bytes, %s)", result.before.text.c_str(), result.after.c_str(),
                  static_cast<unsigned long long>(result.bytes),
                  rateText(static_cast<double>(result.bytes), result.seconds).c_str());
}

}  // namespace

void addRM830DemoSteps(std::map<std::string, DemoStep>& steps) {
    steps["HalvoraSDKBraceletRM830"] = [](Session& session, const LabDevice& device) {
        // The demo has already connected the bracelet; its answers come to a listener of its own.
        auto listener = std::make_shared<RM830Listener>();
        session.manager().setBraceletRM830Delegate(listener);
        const auto today = todayTotals(session, *listener);
        std::size_t active = 0, asleep = 0;
        for (const auto& r : downloadDay(session, *listener, 1)) {
            (r.record == "steps" ? active : asleep) += 1;
        }
        session.manager().setBraceletRM830Delegate({});
        const std::string history = format("today %d steps; yesterday %zu active and %zu sleeping quarter hours",
                                           today.steps, active, asleep);
        return history + "; " + demoUpdate(session, device);
    };
}

}  // namespace halvora::cli
