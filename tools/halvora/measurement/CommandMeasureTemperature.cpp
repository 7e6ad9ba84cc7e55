#include "CliError.hpp"
#include "Commands.hpp"
#include "MeasurementCommands.hpp"
#include "Temperatures.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

constexpr double kReadingTimeout = 60.0;

void printConnected(Session& session, DeviceKind kind) {
    auto driver = session.manager().driverForKind(kind);
    session.printer().line("connected " + (driver ? driver->className() : std::string("?")));
}

template <typename Record>
void printResult(Session& session, const Record& record, const std::string& text) {
    nlohmann::json event = toJson(record);
    event["event"] = "result";
    session.printer().event(event, "result: " + text);
}

}  // namespace

int runMeasureThermometer(Session& session, double timeout) {
    connectAndWait(session, DeviceTypeThermometer, timeout);
    printConnected(session, DeviceTypeThermometer);
    const auto reading = waitForThermometer(session, kReadingTimeout);
    printResult(session, reading, thermometerText(reading));
    disconnectAndSettle(session, DeviceTypeThermometer);
    return ExitOk;
}

int runMeasureOximeter(Session& session, double seconds, double timeout) {
    connectAndWait(session, DeviceTypeOximeter, timeout);
    printConnected(session, DeviceTypeOximeter);
    const auto values = measureOximeter(session, seconds, true);
    printResult(session, values, oximeterText(values));
    disconnectAndSettle(session, DeviceTypeOximeter);
    return ExitOk;
}

int runMeasureBabyThermometer(Session& session, double timeout) {
    connectAndWait(session, DeviceTypeBabyThermometer, timeout);
    printConnected(session, DeviceTypeBabyThermometer);
    const auto reading = waitForBabyThermometer(session, kReadingTimeout);
    printResult(session, reading, babyThermometerText(reading));
    disconnectAndSettle(session, DeviceTypeBabyThermometer);
    return ExitOk;
}

int runThermometerCommand(Session& session, std::int32_t command, double timeout) {
    connectAndWait(session, DeviceTypeThermometer, timeout);
    auto& app = session.app();
    app.clearResults();
    if (!session.manager().sendThermometerCommand(command)) {
        disconnectAndSettle(session, DeviceTypeThermometer);
        throw CliError(ExitDeviceError, "the connected thermometer takes no commands (only the second generation does)");
    }
    const bool answered = session.waitUntil(
        [&] { return app.thermometerAck().has_value() || app.thermometerError().has_value(); }, seconds(10));
    disconnectAndSettle(session, DeviceTypeThermometer);
    if (!answered) throw CliError(ExitDeviceError, "the thermometer did not answer the command");
    if (auto error = app.thermometerError(); error && !app.thermometerAck()) {
        session.printer().event({{"event", "error"}, {"error", *error}}, format("error %d", *error));
        throw CliError(ExitDeviceError, format("the thermometer refused the command with error %d", *error));
    }
    const auto ack = *app.thermometerAck();
    session.printer().event({{"event", "ack"}, {"command", ack.command.value_or(-1)}, {"data", ack.data.value_or(-1)}},
                            format("acknowledged: command %d, data %d", ack.command.value_or(-1), ack.data.value_or(-1)));
    return ExitOk;
}

}  // namespace halvora::cli
