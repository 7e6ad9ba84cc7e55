#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Session.hpp"
#include "TensioListener.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"

namespace halvora::cli {

/// The wrist blood-pressure bracelet as the tensio commands use it: the tool's listener set as the kit's
/// tensio delegate for as long as the session lives, the bracelet connected on request (and then
/// disconnected when the session goes), and the waits for the bracelet's answers.
///
/// Every wait also watches the listener for an error or a refusal that arrived since the request was made
/// (a number or an empty record handed over as information) and ends with CliError(ExitDeviceError) at the
/// first one, or when the answer does not come in time.
class TensioSession {
public:
    /// How long an answer may take once the bracelet is connected (the bracelet answers at once; a lost
    /// answer is not waited for as long as the kit's own 60-second slot).
    static constexpr double kAnswerSeconds = 20;

    /// What the driver holds about the request in progress, read on its own queue.
    struct DriverState {
        std::int32_t request = 0;   ///< the request in progress (TensioBraceletRequest), 0 for none
        std::uint64_t command = 0;  ///< how many queued commands have gone out so far
        bool dataReceived = false;  ///< whether a ten- or fourteen-byte answer came since the last command
        std::optional<std::int32_t> totalBloodPressureHistory;  ///< the memory's count, once reported
        std::optional<HalvoraSDKTensioBraceletData> lastData;   ///< the last reading delivered
    };

    /// Sets the listener as the kit's tensio delegate (the bracelet is not connected yet).
    explicit TensioSession(Session& session);
    /// Disconnects a bracelet this session connected, and takes the listener away from the kit.
    ~TensioSession();
    TensioSession(const TensioSession&) = delete;
    TensioSession& operator=(const TensioSession&) = delete;

    /// Connects the bracelet (kind 5); throws CliError(ExitNoDevice) when none became ready in time.
    void connect(double timeout);

    Session& session() { return session_; }
    HalvoraSDKManager& manager() { return session_.manager(); }
    TensioListener& listener() { return *listener_; }

    /// Lets time pass until `done` holds; throws for an error reported since `since` ("the <what> failed:
    /// ...") or after `seconds` ("the bracelet did not answer the <what>").
    void await(const TensioListener::Mark& since, const std::function<bool()>& done, const std::string& what,
               double seconds = kAnswerSeconds);
    /// Waits for the acknowledgement of `count` requests numbered `request` made since `since`.
    void awaitExecuted(std::int32_t request, const TensioListener::Mark& since, const std::string& what,
                       std::size_t count = 1);
    /// Waits for the first information text since `since` that starts with `prefix`, and returns it.
    std::string awaitText(const std::string& prefix, const TensioListener::Mark& since, const std::string& what);
    /// Waits until a queued command sent after `commandsBefore` (a DriverState::command) has ended its
    /// request, and returns the driver's state then.
    DriverState awaitRequestEnd(std::uint64_t commandsBefore, const TensioListener::Mark& since,
                                const std::string& what);
    /// Throws for the first error or refusal reported since `since`.
    void throwOnError(const TensioListener::Mark& since, const std::string& what) const;

    /// The driver's state, read on its queue.
    DriverState driverState();
    /// Runs `work` on the driver's queue, for the requests the kit's facade does not offer.
    void onDriverQueue(std::function<void(HalvoraSDKTensioBracelet&)> work);

private:
    std::shared_ptr<HalvoraSDKTensioBracelet> driver();
    /// What the first error or refusal reported since `since` means, if any came.
    std::optional<std::string> firstFailure(const TensioListener::Mark& since) const;

    Session& session_;
    std::shared_ptr<TensioListener> listener_;
    bool connected_ = false;
};

/// What an error or refusal handed over as information means, or nothing for a text.
std::optional<std::string> tensioFailure(const TensioBraceletInformation& information);

}  // namespace halvora::cli
