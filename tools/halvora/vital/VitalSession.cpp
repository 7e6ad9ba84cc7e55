#include "VitalSession.hpp"

#include <cstdio>
#include <map>
#include <utility>

#include "CliError.hpp"
#include "Commands.hpp"
#include "halvora/Core/Format.hpp"
#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"

namespace halvora::cli {

namespace {

using C = VitalCommand;

/// The bracelet refused the command (its answer carried the code with bit 7 set).
constexpr std::int32_t kRefusedByBracelet = 0;

/// What the kit's argument errors mean, by error and command.
const std::map<std::pair<std::int32_t, std::int32_t>, const char*>& argumentErrors() {
    static const std::map<std::pair<std::int32_t, std::int32_t>, const char*> texts = {
        {{0, C::kSetParameters}, "the bracelet refused the parameters (or they had no notification settings)"},
        {{3, C::kSetParameters}, "heart-rate base outside 40 to 255"},
        {{4, C::kSetParameters}, "brightness outside 0 to 15"},
        {{5, C::kSetParameters}, "dial outside 0 to 9"},
        {{6, C::kSetActivity}, "invalid window (real times, start before end)"},
        {{7, C::kSetActivity}, "reminder period from 256"},
        {{8, C::kSetActivity}, "minimum steps from 256"},
        {{2, C::kSetDetection}, "interval from 65536 in mode 2"},
        {{6, C::kSetDetection}, "invalid window (real times, start before end)"},
        {{2, C::kSportMode}, "time period from 256"},
        {{1, C::kSetAlarms}, "more than 10 alarms"},
        {{2, C::kECGWaveform}, "record outside 0 to 255"},
    };
    return texts;
}

}  // namespace

std::string vitalErrorText(std::int32_t error, std::int32_t command) {
    const auto& texts = argumentErrors();
    const auto it = texts.find({error, command});
    std::string what;
    if (it != texts.end()) {
        what = it->second;
    } else {
        what = error == kRefusedByBracelet ? "the bracelet refused it" : "the kit refused the arguments";
    }
    if (error != kRefusedByBracelet) what += "; nothing was written";
    return format("error %d for command %d: %s", error, command, what.c_str());
}

VitalSession::VitalSession(Session& session) : session_(session), listener_(std::make_shared<VitalListener>()) {
    session_.manager().setBraceletVITALDelegate(listener_);
}

VitalSession::~VitalSession() {
    if (connected_) {
        try {
            disconnectAndSettle(session_, DeviceTypeBraceletVital);
        } catch (...) {
            // The link is going anyway; nothing more to report.
        }
    }
    session_.manager().setBraceletVITALDelegate({});
    if (session_.options().verbose) reportLabFrames();
}

void VitalSession::connect(double timeout) {
    connectAndWait(session_, DeviceTypeBraceletVital, timeout);
    connected_ = true;
}

HalvoraSDKResponse VitalSession::ask(std::int32_t command, const std::function<bool(HalvoraSDKManager&)>& call,
                                     double limitSeconds) {
    const auto mark = listener_->mark();
    const bool taken = call(manager());
    std::optional<HalvoraSDKResponse> response;
    std::optional<VitalListener::Error> error;
    const auto answered = [&] {
        error = listener_->errorSince(mark, command);
        if (!error) response = listener_->responseSince(mark, command);
        return error.has_value() || response.has_value();
    };
    // A request the manager refuses reports its error at once; one it forwards is answered on the kit's queue.
    if (taken) session_.waitUntil(answered, halvora::seconds(limitSeconds));
    answered();
    if (error) throw CliError(ExitDeviceError, vitalErrorText(error->error, error->command));
    if (response) return *response;
    if (!taken) throw CliError(ExitDeviceError, "no Vital bracelet took the request");
    throw CliError(ExitDeviceError, format("the bracelet did not answer command %d", command));
}

void VitalSession::reportLabFrames() {
    for (const auto& device : session_.labDevices()) {
        const auto bracelet = std::dynamic_pointer_cast<lab::VirtualVitalBracelet>(device.device);
        if (!bracelet) continue;
        const auto frames = bracelet->framesReceived();
        std::string codes;
        for (const auto& frame : frames) {
            if (!frame.empty()) codes += format(" 0x%02X", frame.front());
        }
        std::fprintf(stderr, "lab bracelet %s received %zu command frames:%s\n", device.entry.identifier.c_str(),
                     frames.size(), codes.c_str());
    }
}

}  // namespace halvora::cli
