// The bracelet's notifications: put together into frames and handled by their length.
#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"
#include "halvora/Devices/Tensio/internal/TensioErrorCodes.hpp"
#include "halvora/Devices/Tensio/internal/TensioEvent.hpp"
#include "halvora/Devices/Tensio/internal/TensioFrameAssembler.hpp"
#include "halvora/Devices/Tensio/internal/TensioInformation.hpp"
#include "halvora/Devices/Tensio/internal/TensioRecords.hpp"

namespace halvora {

namespace {

using Request = TensioBraceletRequest;

bool isMeasurement(std::int32_t request) {
    return request == Request::kStartMeasurement || request == Request::kReturnMeasurement;
}

/// Requests an acknowledgement ends.
bool endsWithAcknowledgement(std::int32_t request) {
    switch (request) {
        case Request::kSetConfig:
        case Request::kRemoveBloodPressureHistory:
        case Request::kResetDefaults:
        case Request::kSetAmbulatoryBloodPressureTime:
        case Request::kSetSmartwatchTime:
            return true;
        default:
            return false;
    }
}

}  // namespace

void HalvoraSDKTensioBracelet::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (error || !characteristic || isReleased() || characteristic != readCharacteristic()) return;
    receive(value);
}

void HalvoraSDKTensioBracelet::receive(std::span<const std::uint8_t> bytes) {
    if (request_ == Request::kNone) {  // nobody asked
        assembler_->clear();
        return;
    }
    switch (assembler_->append(bytes)) {
        case TensioFrameAssembler::Status::Waiting:
            return;
        case TensioFrameAssembler::Status::Dropped:
            log().writef("TensioBracelet: %zu bytes that make no frame dropped", bytes.size());
            return;
        case TensioFrameAssembler::Status::Complete:
            handleFrame(assembler_->take());
            if (request_ == Request::kNone) releaseSlotIfHeld();
            return;
    }
}

void HalvoraSDKTensioBracelet::handleFrame(std::span<const std::uint8_t> frame) {
    switch (frame.size()) {
        case TensioRecords::kResultLength:
            handleResult(frame);
            return;
        case TensioInformation::kLength:
            handleAnswer(frame);
            return;
        case TensioEvent::kLength:
            handleEvent(frame);
            return;
        default:
            return;  // a length the bracelet does not use
    }
}

// ------------------------------------------------------------------------------------ 14 bytes

void HalvoraSDKTensioBracelet::handleResult(std::span<const std::uint8_t> frame) {
    dataReceived_ = true;
    deliverReading(TensioRecords::measurementResult(frame));
    if (isMeasurement(request_)) endMeasurement();
}

// ------------------------------------------------------------------------------------ 10 bytes

void HalvoraSDKTensioBracelet::handleAnswer(std::span<const std::uint8_t> frame) {
    dataReceived_ = true;
    switch (request_) {
        case Request::kGetSmartwatchTime:
            deliverText(TensioInformation::clock(frame));
            endRequest();
            return;
        case Request::kGetAmbulatoryBloodPressureTime:
            if (auto window = TensioInformation::scheduleWindow(frame)) {
                reportData(window->text);
                if (window->last) endRequest();
            }
            return;
        case Request::kGetBasicInfo:
            deliverText(TensioInformation::basicInfo(frame));
            lastData_ = HalvoraSDKTensioBraceletData{};
            endRequest();
            return;
        default:
            deliverReading(TensioRecords::storedRecord(frame, now()));
            endRequest();
            return;
    }
}

// ------------------------------------------------------------------------------------ 6 bytes

void HalvoraSDKTensioBracelet::handleEvent(std::span<const std::uint8_t> frame) {
    const auto event = TensioEvent::fromFrame(frame);
    if (!event) return;
    if (event->answersRequest()) {
        if (event->isPlainAcknowledgement() && request_ != Request::kNone) requestExecuted(request_);
        acknowledge();
    }
    switch (event->kind()) {
        case TensioEvent::Kind::Acknowledgement:
            return;
        case TensioEvent::Kind::Error:
            reportError(event->error());
            endMeasurement();
            return;
        case TensioEvent::Kind::Count:
            if (request_ == Request::kGetBloodPressureHistory) {
                totalBloodPressureHistory_ = event->count();
            } else {
                totalStepsHistory_ = event->count();
            }
            endRequest();
            return;
        case TensioEvent::Kind::Pressure:
            reportData(event->pressure());
            return;
    }
}

void HalvoraSDKTensioBracelet::acknowledge() {
    if (isMeasurement(request_)) {
        measuring_.store(true);
    } else if (endsWithAcknowledgement(request_)) {
        endMeasurement();
    } else if (request_ == Request::kStopMeasurement) {
        endMeasurement();
        reportError(TensioErrorCodes::kMeasurementStopped);
    }
}

// ------------------------------------------------------------------------------------ delivery

void HalvoraSDKTensioBracelet::deliverReading(const std::optional<HalvoraSDKTensioBraceletData>& reading) {
    if (!reading || reading == lastData_) return;
    lastData_ = reading;
    reportData(*reading);
}

void HalvoraSDKTensioBracelet::deliverText(const std::optional<std::string>& text) {
    if (text) reportData(*text);
}

void HalvoraSDKTensioBracelet::requestExecuted(std::int32_t request) {
    auto delegates = context().delegates.lock();
    auto receiver = delegates ? delegates->tensioBraceletDelegate() : nullptr;
    if (receiver) receiver->tensioBraceletRequestExecuted(request);
}

void HalvoraSDKTensioBracelet::endRequest() {
    request_ = Request::kNone;
}

void HalvoraSDKTensioBracelet::endMeasurement() {
    measuring_.store(false);
    endRequest();
}

}  // namespace halvora
