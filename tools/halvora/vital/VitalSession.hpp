#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Session.hpp"
#include "VitalListener.hpp"

namespace halvora::cli {

/// The numbers under which the kit reports the Vital bracelet's results and errors.
struct VitalCommand {
    static constexpr std::int32_t kSetTime = 0;
    static constexpr std::int32_t kGetTime = 1;
    static constexpr std::int32_t kGetStepGoal = 3;
    static constexpr std::int32_t kSetStepGoal = 4;
    static constexpr std::int32_t kGetDetection = 5;
    static constexpr std::int32_t kGetActivity = 6;
    static constexpr std::int32_t kSetActivity = 7;
    static constexpr std::int32_t kGetMac = 8;
    static constexpr std::int32_t kSetParameters = 10;
    static constexpr std::int32_t kGetParameters = 11;
    static constexpr std::int32_t kSetUser = 12;
    static constexpr std::int32_t kGetUser = 13;
    static constexpr std::int32_t kBattery = 14;
    static constexpr std::int32_t kSetDetection = 15;
    static constexpr std::int32_t kMeasurement = 16;
    static constexpr std::int32_t kShowQR = 33;
    static constexpr std::int32_t kSetAlarms = 34;
    static constexpr std::int32_t kSportMode = 35;
    static constexpr std::int32_t kSetWeather = 36;
    static constexpr std::int32_t kDailyTotals = 17;
    static constexpr std::int32_t kDetailedSteps = 18;
    static constexpr std::int32_t kSleep = 19;
    static constexpr std::int32_t kHeartRate = 20;
    static constexpr std::int32_t kAutomaticHeartRate = 21;
    static constexpr std::int32_t kBloodOxygen = 22;
    static constexpr std::int32_t kAutomaticBloodOxygen = 23;
    static constexpr std::int32_t kHRV = 24;
    static constexpr std::int32_t kSport = 25;
    static constexpr std::int32_t kTemperature = 26;
    static constexpr std::int32_t kAutomaticTemperature = 27;
    static constexpr std::int32_t kECGStart = 28;
    static constexpr std::int32_t kECGStatus = 29;
    static constexpr std::int32_t kECGFinished = 30;
    static constexpr std::int32_t kECGValues = 31;
    static constexpr std::int32_t kECGWaveform = 32;
};

/// "error N for command C: <what>" (with "; nothing was written" for the kit's own refusals).
std::string vitalErrorText(std::int32_t error, std::int32_t command);

/// The Vital bracelet as the vital commands use it: the tool's listener set as the kit's Vital delegate for
/// as long as the session lives, the bracelet connected on request (and disconnected when the session goes),
/// and the wait for the answer of each request. With --verbose over the lab, the session ends by printing
/// (on stderr) the command frames the lab bracelet received, so that a refusal can be seen to have come
/// before any write.
class VitalSession {
public:
    /// How long an answer may take once the bracelet is connected (the bracelet answers at once; a lost
    /// answer is not waited for as long as the kit's own 60-second permit).
    static constexpr double kAnswerSeconds = 20;

    /// Sets the listener as the kit's Vital delegate (the bracelet is not connected yet).
    explicit VitalSession(Session& session);
    /// Disconnects a bracelet this session connected, and takes the listener away from the kit.
    ~VitalSession();
    VitalSession(const VitalSession&) = delete;
    VitalSession& operator=(const VitalSession&) = delete;

    /// Connects the bracelet (kind 10); throws CliError(ExitNoDevice) when none became ready in time.
    void connect(double timeout);

    Session& session() { return session_; }
    HalvoraSDKManager& manager() { return session_.manager(); }
    /// The tool's delegate, with every result so far.
    const VitalListener& listener() const { return *listener_; }

    /// Makes a request with `call` (which returns the manager's answer: false when no driver took it) and
    /// waits up to `limitSeconds` for the result of `command`. Throws CliError(ExitDeviceError) with vitalErrorText
    /// for an error reported for `command`, or when the request found no bracelet or its answer did not come.
    HalvoraSDKResponse ask(std::int32_t command, const std::function<bool(HalvoraSDKManager&)>& call,
                           double limitSeconds = kAnswerSeconds);

private:
    void reportLabFrames();

    Session& session_;
    std::shared_ptr<VitalListener> listener_;
    bool connected_ = false;
};

}  // namespace halvora::cli
