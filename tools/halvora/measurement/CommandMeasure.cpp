#include "BloodPressure.hpp"
#include "CliError.hpp"
#include "Commands.hpp"
#include "MeasurementCommands.hpp"
#include "RecordJson.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

int runMeasureBloodPressure(Session& session, double timeout) {
    connectAndWait(session, DeviceTypeHeart, timeout);
    auto driver = session.manager().driverForKind(DeviceTypeHeart);
    session.printer().line("connected " + (driver ? driver->className() : std::string("?")));
    const HalvoraSDKHeartData result = measureBloodPressure(session, 120.0, true);
    nlohmann::json event = toJson(result);
    event["event"] = "result";
    session.printer().event(event, "result: " + bloodPressureText(result));
    disconnectAndSettle(session, DeviceTypeHeart);
    if (result.errorCode) {
        throw CliError(ExitDeviceError, format("the monitor reported error %d", *result.errorCode));
    }
    return ExitOk;
}

int runMeasureScale(Session& session, const ScaleUser& user, double timeout) {
    storeScaleUser(session, user);
    connectAndWait(session, DeviceTypeWeightScale, timeout);
    session.printer().line("connected HalvoraSDKWeightScale: step on the scale");
    const HalvoraSDKWeightScaleData result = measureWeight(session, 120.0, true);
    printWeightResult(session, result);
    disconnectAndSettle(session, DeviceTypeWeightScale);
    return ExitOk;
}

}  // namespace halvora::cli
