#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "PillBoxListener.hpp"
#include "Session.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminder.hpp"

namespace halvora::cli {

/// The pill box as the pillbox commands use it: the tool's listener set as the kit's pill reminder delegate
/// for as long as the session lives, the box connected on request (and disconnected when the session goes),
/// and the waits for the box's answers.
///
/// A wait ends at the first report of the request it waits for; an error report of that request ends the
/// command with CliError(ExitDeviceError) carrying the box's message, and so does an answer that does not
/// come in time.
class PillBoxSession {
public:
    /// How long an answer may take once the box is connected (the box answers at once; a lost answer is not
    /// waited for as long as the kit's own 60-second slot).
    static constexpr double kAnswerSeconds = 20;

    /// Sets the listener as the kit's pill reminder delegate (the box is not connected yet).
    explicit PillBoxSession(Session& session);
    /// Disconnects a box this session connected, and takes the listener away from the kit.
    ~PillBoxSession();
    PillBoxSession(const PillBoxSession&) = delete;
    PillBoxSession& operator=(const PillBoxSession&) = delete;

    /// Connects the box (kind 9), then lets the opening exchange (zone, then time) end; throws
    /// CliError(ExitNoDevice) when no box became ready in time.
    void connect(double timeout);
    /// Waits until the driver has no request in progress or waiting (the opening exchange of a box connected
    /// elsewhere, as in the demo); gives up quietly after kAnswerSeconds.
    void settle();

    Session& session() { return session_; }
    HalvoraSDKManager& manager() { return session_.manager(); }
    PillBoxListener& listener() { return *listener_; }

    /// Prints every message and error of the box as it comes (results of reads are the commands' to print).
    void printMessages();

    /// Sends a request with `send` (false when the kit found no box) and waits for its report; returns the
    /// result, or throws with the box's error message ("the <what> failed: <message>").
    HalvoraSDKPillReminderResult ask(std::int32_t request, const std::string& what,
                                     const std::function<bool(HalvoraSDKManager&)>& send);
    /// Lets time pass until a report of `request` came after `since`; returns the reports after `since`.
    /// Throws when none came in `seconds`.
    std::vector<PillBoxListener::Event> awaitReport(std::int32_t request, PillBoxListener::Mark since,
                                                    const std::string& what, double seconds = kAnswerSeconds);

private:
    /// Whether the driver is idle: no request in progress or waiting, the command slot free.
    bool driverIdle();

    Session& session_;
    std::shared_ptr<PillBoxListener> listener_;
    bool connected_ = false;
};

/// "the <what> failed: <the box's message>" as a CliError(ExitDeviceError).
[[noreturn]] void throwBoxError(const PillBoxListener::Event& error, const std::string& what);

}  // namespace halvora::cli
