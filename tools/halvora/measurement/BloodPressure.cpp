#include "BloodPressure.hpp"

#include "CliError.hpp"
#include "RecordJson.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

std::string bloodPressureText(const HalvoraSDKHeartData& data) {
    if (data.errorCode) return format("error %d", *data.errorCode);
    return format("%d/%d mmHg, pulse %d", data.systolic.value_or(0), data.diastolic.value_or(0), data.pulse.value_or(0));
}

HalvoraSDKHeartData measureBloodPressure(Session& session, double timeout, bool live) {
    auto& app = session.app();
    auto& printer = session.printer();
    app.clearResults();
    if (live) {
        app.onProgress = [&printer](std::int32_t value) {
            printer.event({{"event", "progress"}, {"value", value}}, format("cuff pressure %d mmHg", value));
        };
    }
    if (!session.manager().startMeasurement(DeviceTypeHeart) && live) {
        printer.line("this monitor measures on its own: waiting for it");
    }
    const bool done = session.waitUntil([&] { return app.heartResult().has_value(); }, seconds(timeout));
    app.onProgress = nullptr;
    if (!done) throw CliError(ExitDeviceError, format("no blood-pressure result within %.0f s", timeout));
    return *app.heartResult();
}

}  // namespace halvora::cli
