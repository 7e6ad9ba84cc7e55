#include "PillBoxSession.hpp"

#include <mutex>
#include <optional>

#include "CliError.hpp"
#include "Commands.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"

namespace halvora::cli {

namespace {

/// How often the driver's state is looked at while the opening exchange runs.
constexpr auto kPollInterval = std::chrono::milliseconds(50);
/// How long the driver's queue may take to run a look at its state.
constexpr double kProbeSeconds = 5;

/// A look at the driver's state, filled on the driver's queue.
struct Probe {
    std::mutex mutex;
    std::optional<bool> idle;
};

/// Whether a report is a reading the command prints itself (the zone and the battery come as messages).
bool isReading(const PillBoxListener::Event& event) {
    return !event.error && (event.request() == PillReminderRequest::kGetDeviceTimeZone ||
                            event.request() == PillReminderRequest::kGetBatteryLevel);
}

}  // namespace

void throwBoxError(const PillBoxListener::Event& error, const std::string& what) {
    const std::string* text = error.messageText();
    throw CliError(ExitDeviceError, "the " + what + " failed: " + (text ? *text : std::string("the box refused it")));
}

PillBoxSession::PillBoxSession(Session& session) : session_(session), listener_(std::make_shared<PillBoxListener>()) {
    session_.manager().setPillReminderDelegate(listener_);
}

PillBoxSession::~PillBoxSession() {
    listener_->setWatcher(nullptr);
    if (connected_) {
        try {
            disconnectAndSettle(session_, DeviceTypePillReminder);
        } catch (...) {
            // The link is going anyway; nothing more to report.
        }
    }
    session_.manager().setPillReminderDelegate({});
}

void PillBoxSession::connect(double timeout) {
    connectAndWait(session_, DeviceTypePillReminder, timeout);
    connected_ = true;
    settle();
}

void PillBoxSession::settle() {
    const Duration start = session_.elapsed();
    while (!driverIdle() && session_.elapsed() - start < halvora::seconds(kAnswerSeconds)) session_.pass(kPollInterval);
}

bool PillBoxSession::driverIdle() {
    auto box = std::dynamic_pointer_cast<HalvoraSDKPillReminder>(manager().driverForKind(DeviceTypePillReminder));
    if (!box || !box->context().callbackQueue) return true;
    auto probe = std::make_shared<Probe>();
    box->context().callbackQueue->async([box, probe] {
        const bool idle =
            box->commandQueue().pendingCount() == 0 && box->commandQueue().permits() > 0 && box->packetsToSend() == 0;
        std::lock_guard lock(probe->mutex);
        probe->idle = idle;
    });
    const auto looked = [&] {
        std::lock_guard lock(probe->mutex);
        return probe->idle.has_value();
    };
    if (!session_.waitUntil(looked, halvora::seconds(kProbeSeconds))) return false;
    std::lock_guard lock(probe->mutex);
    return *probe->idle;
}

void PillBoxSession::printMessages() {
    auto& printer = session_.printer();
    listener_->setWatcher([&printer](const PillBoxListener::Event& event) {
        const std::string* text = event.messageText();
        if (!text || isReading(event)) return;
        printer.event(
            {{"event", event.error ? "error" : "message"}, {"request", event.request()}, {"messageText", *text}},
            (event.error ? "box error: " : "box: ") + *text);
    });
}

std::vector<PillBoxListener::Event> PillBoxSession::awaitReport(std::int32_t request, PillBoxListener::Mark since,
                                                                const std::string& what, double seconds) {
    std::vector<PillBoxListener::Event> events;
    const bool came = session_.waitUntil(
        [&] {
            events = listener_->eventsSince(since);
            for (const auto& e : events) {
                if (e.request() == request) return true;
            }
            return false;
        },
        halvora::seconds(seconds));
    if (!came) throw CliError(ExitDeviceError, "the box did not answer the " + what);
    return events;
}

HalvoraSDKPillReminderResult PillBoxSession::ask(std::int32_t request, const std::string& what,
                                                 const std::function<bool(HalvoraSDKManager&)>& send) {
    const auto mark = listener_->mark();
    if (!send(manager())) throw CliError(ExitNoDevice, "no pill box is connected");
    for (const auto& event : awaitReport(request, mark, what)) {
        if (event.request() != request) continue;
        if (event.error) throwBoxError(event, what);
        return event.result;
    }
    throw CliError(ExitDeviceError, "the box did not answer the " + what);  // not reached: the wait found one
}

}  // namespace halvora::cli
