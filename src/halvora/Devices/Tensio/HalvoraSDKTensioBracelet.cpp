#include "halvora/Devices/Tensio/HalvoraSDKTensioBracelet.hpp"

#include "halvora/Core/Calendar.hpp"
#include "halvora/Devices/Tensio/internal/TensioCommandTable.hpp"
#include "halvora/Devices/Tensio/internal/TensioFrameAssembler.hpp"
#include "halvora/Devices/Tensio/internal/TensioIntervalCheck.hpp"
#include "halvora/Devices/Tensio/internal/TensioSettingFrames.hpp"

namespace halvora {

static_assert(HalvoraSDKTensioBracelet::kMaxFrameLength == TensioFrameAssembler::kCap);

namespace {

/// The protocol service and its two characteristics, asked for in this order.
SerialCommandDevice::Profile profile() {
    return {HalvoraSDKTensioBracelet::rsServiceUUID(),
            HalvoraSDKTensioBracelet::readCharacteristicUUID(),
            HalvoraSDKTensioBracelet::sendCharacteristicUUID(),
            {HalvoraSDKTensioBracelet::readCharacteristicUUID(), HalvoraSDKTensioBracelet::sendCharacteristicUUID()},
            HalvoraSDKTensioBracelet::kSendQueueLabel};
}

/// A command whose frame is fixed by the table.
std::vector<std::uint8_t> tableFrame(const TensioCommandTable::Entry& entry) {
    return TensioCommandTable::frame(entry);
}

}  // namespace

// ------------------------------------------------------------------------------------ class operations

bool HalvoraSDKTensioBracelet::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return false;
    const auto name = peripheral->name();
    return name && *name == getName();
}

bool HalvoraSDKTensioBracelet::checkIntervalCorrect(const std::vector<HalvoraSDKTensioBraceletInterval>& intervals) {
    return TensioIntervalCheck::accepts(intervals);
}

// ------------------------------------------------------------------------------------ life

HalvoraSDKTensioBracelet::HalvoraSDKTensioBracelet(DriverContext context)
    : SerialCommandDevice(std::move(context), profile()), assembler_(std::make_unique<TensioFrameAssembler>()) {}

HalvoraSDKTensioBracelet::~HalvoraSDKTensioBracelet() = default;

void HalvoraSDKTensioBracelet::deinit() {
    disposed_ = true;
    assembler_->clear();
    SerialCommandDevice::deinit();
}

void HalvoraSDKTensioBracelet::characteristicsReady(const std::shared_ptr<Peripheral>& /*peripheral*/) {
    reportReady();
}

std::size_t HalvoraSDKTensioBracelet::pendingFrameBytes() const {
    return assembler_->size();
}

// ------------------------------------------------------------------------------------ command slot

void HalvoraSDKTensioBracelet::enqueueCommand(std::int32_t request, FrameMaker makeFrame) {
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    commands().enqueue(
        [weak, request, makeFrame = std::move(makeFrame)] {
            if (auto self = std::static_pointer_cast<HalvoraSDKTensioBracelet>(weak.lock()))
                self->sendUnderSlot(request, makeFrame);
        },
        kCommandWaitLimit);
}

void HalvoraSDKTensioBracelet::sendUnderSlot(std::int32_t request, const FrameMaker& makeFrame) {
    if (disposed_) return;  // let go by deinit: nothing more goes out
    slotHeld_ = true;
    ++currentCommand_;
    if (!device()) {
        releaseSlotIfHeld();
        return;
    }
    beginRequest(request);
    writeRawData(makeFrame(*this));
}

void HalvoraSDKTensioBracelet::beginRequest(std::int32_t request) {
    request_ = request;
    dataReceived_ = false;
}

void HalvoraSDKTensioBracelet::releaseSlotIfHeld() {
    if (!slotHeld_) return;
    slotHeld_ = false;
    commands().release();
}

// ------------------------------------------------------------------------------------ commands

void HalvoraSDKTensioBracelet::startMeasurement() {
    enqueueCommand(TensioCommandTable::kStartMeasurement.request,
                   [](auto&) { return tableFrame(TensioCommandTable::kStartMeasurement); });
}

void HalvoraSDKTensioBracelet::stopMeasurement() {
    if (!device()) return;
    beginRequest(TensioCommandTable::kStopMeasurement.request);
    writeRawData(tableFrame(TensioCommandTable::kStopMeasurement));
}

void HalvoraSDKTensioBracelet::returnMeasurement() {
    enqueueCommand(TensioCommandTable::kReturnMeasurement.request,
                   [](auto&) { return tableFrame(TensioCommandTable::kReturnMeasurement); });
}

void HalvoraSDKTensioBracelet::getBloodPressureHistory() {
    enqueueCommand(TensioCommandTable::kGetBloodPressureHistory.request,
                   [](auto&) { return tableFrame(TensioCommandTable::kGetBloodPressureHistory); });
}

void HalvoraSDKTensioBracelet::removeBloodPressureHistory() {
    enqueueCommand(TensioCommandTable::kRemoveBloodPressureHistory.request,
                   [](auto&) { return tableFrame(TensioCommandTable::kRemoveBloodPressureHistory); });
}

void HalvoraSDKTensioBracelet::getSmartwatchTime() {
    enqueueCommand(TensioCommandTable::kGetSmartwatchTime.request,
                   [](auto&) { return tableFrame(TensioCommandTable::kGetSmartwatchTime); });
}

void HalvoraSDKTensioBracelet::setSmartwatchTime() {
    enqueueCommand(TensioBraceletRequest::kSetSmartwatchTime, [](HalvoraSDKTensioBracelet& self) {
        return TensioSettingFrames::clock(Calendar::toLocal(self.now()));
    });
}

void HalvoraSDKTensioBracelet::getBasicInfo() {
    enqueueCommand(TensioCommandTable::kGetBasicInfo.request,
                   [](auto&) { return tableFrame(TensioCommandTable::kGetBasicInfo); });
}

void HalvoraSDKTensioBracelet::resetDefaults() {
    enqueueCommand(TensioCommandTable::kResetDefaults.request, [](auto&) { return TensioCommandTable::resetFrame(); });
}

void HalvoraSDKTensioBracelet::setConfig(const HalvoraSDKTensioBraceletConfig& config) {
    enqueueCommand(TensioBraceletRequest::kSetConfig, [config](auto&) { return TensioSettingFrames::config(config); });
}

void HalvoraSDKTensioBracelet::setAmbulatoryBloodPressureTime(
    const std::vector<HalvoraSDKTensioBraceletInterval>& intervals) {
    // The windows of one list share the serial number of the next frame written.
    auto serial = std::make_shared<std::int32_t>(1);
    const std::size_t count = intervals.size();
    for (const auto& window : intervals) {
        enqueueCommand(TensioBraceletRequest::kSetAmbulatoryBloodPressureTime, [serial, count, window](auto&) {
            return TensioSettingFrames::ambulatoryWindow(window, (*serial)++, count);
        });
    }
}

void HalvoraSDKTensioBracelet::getAmbulatoryBloodPressureTime() {
    beginRequest(TensioCommandTable::kGetAmbulatoryBloodPressureTime.request);
    if (!device()) {
        log().write("TensioBracelet: no peripheral, the schedule request goes nowhere");
        return;
    }
    writeRawData(tableFrame(TensioCommandTable::kGetAmbulatoryBloodPressureTime));
}

}  // namespace halvora
