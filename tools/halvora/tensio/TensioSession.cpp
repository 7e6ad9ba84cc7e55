#include "TensioSession.hpp"

#include <algorithm>
#include <mutex>
#include <type_traits>
#include <variant>

#include "CliError.hpp"
#include "Commands.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// How often the driver's state is looked at while a request runs.
constexpr auto kPollInterval = std::chrono::milliseconds(20);
/// How long the driver's queue may take to run a look at its state.
constexpr double kProbeSeconds = 5;
/// The information numbers the kit gives for ambulatory windows it refuses.
constexpr std::int32_t kTooManyWindows = -20;
constexpr std::int32_t kWindowsOverlap = -21;
/// The information number of an error the bracelet reported without a code.
constexpr std::int32_t kErrorWithoutCode = -1;

/// A look at the driver's state, filled on the driver's queue.
struct Probe {
    std::mutex mutex;
    std::optional<TensioSession::DriverState> state;
};

}  // namespace

std::optional<std::string> tensioFailure(const TensioBraceletInformation& information) {
    return std::visit(
        [](const auto& value) -> std::optional<std::string> {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::string>) {
                return std::nullopt;
            } else if constexpr (std::is_same_v<T, HalvoraSDKTensioBraceletData>) {
                // An error with a code arrives as an empty record; the code itself is not passed on.
                return std::string("the bracelet reported an error (the kit does not pass its code on)");
            } else {
                switch (value) {
                    case kErrorWithoutCode:
                        return std::string("the bracelet reported an error without a code");
                    case kTooManyWindows:
                        return std::string("the kit takes at most 3 ambulatory windows (-20)");
                    case kWindowsOverlap:
                        return std::string("the kit refused the windows: one starts or ends inside another (-21)");
                    default:
                        return format("the kit reported %d", value);
                }
            }
        },
        information);
}

TensioSession::TensioSession(Session& session) : session_(session), listener_(std::make_shared<TensioListener>()) {
    session_.manager().setTensioBraceletDelegate(listener_);
}

TensioSession::~TensioSession() {
    listener_->setPressureWatcher(nullptr);
    if (connected_) {
        try {
            disconnectAndSettle(session_, DeviceTypeTensioBracelet);
        } catch (...) {
            // The link is going anyway; nothing more to report.
        }
    }
    session_.manager().setTensioBraceletDelegate({});
}

void TensioSession::connect(double timeout) {
    connectAndWait(session_, DeviceTypeTensioBracelet, timeout);
    connected_ = true;
}

std::optional<std::string> TensioSession::firstFailure(const TensioListener::Mark& since) const {
    for (const auto& information : listener_->informationSince(since)) {
        if (auto failure = tensioFailure(information)) return failure;
    }
    return std::nullopt;
}

void TensioSession::throwOnError(const TensioListener::Mark& since, const std::string& what) const {
    if (const auto failure = firstFailure(since)) {
        throw CliError(ExitDeviceError, "the " + what + " failed: " + *failure);
    }
}

void TensioSession::await(const TensioListener::Mark& since, const std::function<bool()>& done, const std::string& what,
                          double seconds) {
    const bool ended =
        session_.waitUntil([&] { return done() || firstFailure(since).has_value(); }, halvora::seconds(seconds));
    throwOnError(since, what);
    if (!ended) throw CliError(ExitDeviceError, "the bracelet did not answer the " + what);
}

void TensioSession::awaitExecuted(std::int32_t request, const TensioListener::Mark& since, const std::string& what,
                                  std::size_t count) {
    await(
        since,
        [&] {
            const auto executed = listener_->executedSince(since);
            return static_cast<std::size_t>(std::count(executed.begin(), executed.end(), request)) >= count;
        },
        what);
}

std::string TensioSession::awaitText(const std::string& prefix, const TensioListener::Mark& since,
                                     const std::string& what) {
    std::string found;
    await(
        since,
        [&] {
            for (const auto& information : listener_->informationSince(since)) {
                const auto* text = std::get_if<std::string>(&information);
                if (text && text->rfind(prefix, 0) == 0) {
                    found = *text;
                    return true;
                }
            }
            return false;
        },
        what);
    return found;
}

TensioSession::DriverState TensioSession::awaitRequestEnd(std::uint64_t commandsBefore,
                                                          const TensioListener::Mark& since, const std::string& what) {
    // The count of the memory walk reaches no delegate: the end of the request shows on the driver.
    const Duration start = session_.elapsed();
    for (;;) {
        const DriverState state = driverState();
        throwOnError(since, what);
        if (state.command > commandsBefore && state.request == TensioBraceletRequest::kNone) return state;
        if (session_.elapsed() - start > halvora::seconds(kAnswerSeconds)) {
            throw CliError(ExitDeviceError, "the bracelet did not answer the " + what);
        }
        session_.pass(kPollInterval);
    }
}

TensioSession::DriverState TensioSession::driverState() {
    auto probe = std::make_shared<Probe>();
    onDriverQueue([probe](HalvoraSDKTensioBracelet& d) {
        DriverState state;
        state.request = d.request();
        state.command = d.currentCommand();
        state.dataReceived = d.dataReceived();
        state.totalBloodPressureHistory = d.totalBloodPressureHistory();
        state.lastData = d.lastData();
        std::lock_guard lock(probe->mutex);
        probe->state = state;
    });
    const auto ready = [&] {
        std::lock_guard lock(probe->mutex);
        return probe->state.has_value();
    };
    if (!session_.waitUntil(ready, halvora::seconds(kProbeSeconds))) {
        throw CliError(ExitDeviceError, "the bracelet's driver does not respond");
    }
    std::lock_guard lock(probe->mutex);
    return *probe->state;
}

void TensioSession::onDriverQueue(std::function<void(HalvoraSDKTensioBracelet&)> work) {
    auto bracelet = driver();
    const auto& queue = bracelet->context().callbackQueue;
    if (!queue) throw CliError(ExitDeviceError, "the bracelet's driver has no queue");
    queue->async([bracelet, work = std::move(work)] { work(*bracelet); });
}

std::shared_ptr<HalvoraSDKTensioBracelet> TensioSession::driver() {
    auto bracelet =
        std::dynamic_pointer_cast<HalvoraSDKTensioBracelet>(session_.manager().driverForKind(DeviceTypeTensioBracelet));
    if (!bracelet) throw CliError(ExitDeviceError, "the bracelet went away");
    return bracelet;
}

}  // namespace halvora::cli
