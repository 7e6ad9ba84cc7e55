// The bracelet's answers, notifications and history packages, in the order the driver tests them.
#include <algorithm>
#include <cctype>

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Bracelet/HalvoraSDKBracelet.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletConfirmation.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletEstimates.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletHistory.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletText.hpp"
#include "halvora/Devices/Bracelet/internal/BraceletTransfer.hpp"
#include "halvora/Devices/Bracelet/internal/MoxentaParserData.hpp"

namespace halvora {

namespace {

// Answers recognised by their start.
constexpr std::string_view kCurrentStepsAnswer = "AT+PACE:";
constexpr std::string_view kRunAnswer = "AT+RUN:";
constexpr std::string_view kRunNotification = "NT+RUN:";
constexpr std::string_view kHeartAnswer = "AT+HEART:";
constexpr std::string_view kDataAnswer = "AT+DATA:";

// Notifications and answers recognised by what they contain, while no transfer is open.
constexpr std::string_view kHeartNotification = "NT+HEART";
constexpr std::string_view kActivityStepsNotification = "NT+TOPACE";
constexpr std::string_view kBeepNotification = "NT+BEEP";
constexpr std::string_view kSedentaryAnswer = "AT+SIT";
constexpr std::string_view kFirstAlarmAnswer = "AT+ALARM1";
constexpr std::string_view kAlarmAnswer = "AT+ALARM";

// Heart answers.
constexpr std::string_view kHeartError = "ERR";
constexpr std::string_view kHeartAccepted = "OK";
constexpr std::int32_t kHeartStop = 0;

constexpr std::int32_t kRunning = 1;
constexpr char kFinishedMark = '0';

std::string upperCased(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return out;
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::int32_t numberAfterColon(std::string_view text) {
    return BraceletText::integerValue(BraceletText::fieldAfterColon(text));
}

}  // namespace

// ------------------------------------------------------------------------------------ dispatch

void HalvoraSDKBracelet::handleNotification(std::span<const std::uint8_t> value) {
    const auto text = BraceletText::asciiText(value);
    if (!text) {
        handleBinaryValue(value);
    } else if (handleLeadingAnswer(*text)) {
        return;
    } else if (!transfer_->isReceivingData()) {
        handleIdleText(*text);
    } else {
        handleTransferText(*text);
    }
}

void HalvoraSDKBracelet::handleBinaryValue(std::span<const std::uint8_t> value) {
    if (transfer_->isReceivingData()) {
        if (transfer_->isHeaderComplete()) {
            appendPackageBytes(value);
        } else {
            requestData(transfer_->header().currentPackageNumber);  // the header was lost: ask again
        }
        return;
    }
    // Outside a transfer a binary value counts as a confirmation that names no setting.
    reportParameter(HalvoraBraceletDelegate::kParameterHeight);
    releaseSlot();
}

bool HalvoraSDKBracelet::handleLeadingAnswer(const std::string& text) {
    if (BraceletText::startsWith(text, kCurrentStepsAnswer)) {
        handleCurrentSteps(text);
    } else if (BraceletText::startsWith(text, kRunAnswer)) {
        handleRunAnswer(text);
    } else if (BraceletText::startsWith(text, kRunNotification)) {
        handleRunNotification(text);
    } else if (BraceletText::startsWith(text, kHeartAnswer)) {
        treatHeartResponse(text);
    } else if (BraceletText::startsWith(text, kDataAnswer)) {
        openTransfer(text);
    } else {
        return false;
    }
    return true;
}

void HalvoraSDKBracelet::handleIdleText(const std::string& text) {
    if (BraceletText::contains(text, kHeartNotification)) {
        isRunning_ = true;
        HalvoraSDKHeartBeatData record;
        record.date = now();
        record.heartRate = numberAfterColon(text);
        if (auto receiver = braceletDelegate()) receiver->braceletHeartDataReceived(record);
    } else if (BraceletText::contains(text, kActivityStepsNotification)) {
        isRunning_ = true;
        if (auto receiver = braceletDelegate()) receiver->braceletActivityStepsReceived(numberAfterColon(text));
    } else if (BraceletText::contains(text, kBeepNotification)) {
        if (auto receiver = braceletDelegate()) receiver->braceletBeepReceived();
    } else if (BraceletText::contains(text, kSedentaryAnswer)) {
        reportParameter(HalvoraBraceletDelegate::kParameterSedentaryAlarm);
        releaseSlot();
    } else if (BraceletText::contains(text, kFirstAlarmAnswer)) {
        reportParameter(HalvoraBraceletDelegate::kParameterFirstAlarm);
        releaseSlot();
    } else if (BraceletText::contains(text, kAlarmAnswer)) {
        reportParameter(HalvoraBraceletDelegate::kParameterAlarm);
        releaseSlot();
    } else {
        handleConfirmation(text);
    }
}

void HalvoraSDKBracelet::reportParameter(std::int32_t code) {
    if (auto receiver = braceletDelegate()) receiver->braceletParameterSet(code);
}

// ------------------------------------------------------------------------------------ answers

void HalvoraSDKBracelet::handleCurrentSteps(const std::string& text) {
    const auto record = BraceletEstimates::stepRecord(numberAfterColon(text), now(),
                                                      BraceletEstimates::Body{userHeight(), userWeight()});
    if (auto receiver = braceletDelegate()) receiver->braceletCurrentStepsReceived(record);
    releaseSlot();
}

void HalvoraSDKBracelet::handleRunAnswer(const std::string& text) {
    isRunning_ = numberAfterColon(text) == kRunning;
    releaseSlot();
}

void HalvoraSDKBracelet::handleRunNotification(const std::string& text) {
    const bool finished = BraceletText::fieldAfterColon(text).find(kFinishedMark) != std::string_view::npos;
    auto receiver = braceletDelegate();
    if (!receiver) return;
    if (finished) {
        receiver->braceletActivityFinished();
    } else {
        receiver->braceletActivityStarted();
    }
}

void HalvoraSDKBracelet::treatHeartResponse(const std::string& text) {
    const std::string_view field = BraceletText::fieldAfterColon(text);
    releaseSlot();
    if (upperCased(field) == kHeartError) {
        getHeartBeat(kHeartStop);
        return;
    }
    if (field == kHeartAccepted) return;
    HalvoraSDKHeartBeatData record;
    record.date = now();
    record.heartRate = BraceletText::integerValue(field);
    if (auto receiver = braceletDelegate()) receiver->braceletHeartDataReceived(record);
    getHeartBeat(kHeartStop);  // one rate is enough: stop the measurement
}

void HalvoraSDKBracelet::handleConfirmation(const std::string& text) {
    if (!BraceletConfirmation::isConfirmation(text)) return;  // unknown: the slot stays taken
    if (auto receiver = braceletDelegate()) {
        const auto report = BraceletConfirmation::reportFor(text);
        if (report.parameterCode) receiver->braceletParameterSet(*report.parameterCode);
        if (report.info) receiver->braceletInfoReceived(*report.info);
        if (report.batteryLevel) {
            receiver->braceletBatteryReceived(*report.batteryLevel);
            reportBatteryLevel(*report.batteryLevel);
        }
    }
    releaseSlot();
}

// ------------------------------------------------------------------------------------ history transfer

void HalvoraSDKBracelet::openTransfer(const std::string& text) {
    if (!transfer_->open(text)) log().write("HalvoraSDKBracelet: history header too long, transfer dropped");
}

void HalvoraSDKBracelet::handleTransferText(const std::string& text) {
    if (transfer_->isHeaderComplete()) {
        appendPackageBytes(bytesOf(text));
    } else {
        handleHeaderPiece(text);
    }
}

void HalvoraSDKBracelet::handleHeaderPiece(const std::string& text) {
    if (text.empty()) {
        requestData(transfer_->header().currentPackageNumber);
        return;
    }
    switch (transfer_->appendHeaderPiece(text)) {
        case BraceletTransfer::HeaderOutcome::Pending:
        case BraceletTransfer::HeaderOutcome::Unparsed:
            return;
        case BraceletTransfer::HeaderOutcome::Parsed:
            if (transfer_->header().totalPackages == 0) sendBraceletData();
            return;
        case BraceletTransfer::HeaderOutcome::RefusedLongLine:
            log().write("HalvoraSDKBracelet: history header too long, transfer dropped");
            return;
        case BraceletTransfer::HeaderOutcome::RefusedPackageSize:
            log().write("HalvoraSDKBracelet: history package size out of range, transfer dropped");
            return;
    }
}

void HalvoraSDKBracelet::appendPackageBytes(std::span<const std::uint8_t> bytes) {
    if (transfer_->appendPackageBytes(bytes)) completePackage();
}

void HalvoraSDKBracelet::completePackage() {
    const BraceletPackageHeader header = transfer_->header();
    auto items = MoxentaParserData::itemsOfPackage(transfer_->byteData(), header.currentPackageInfoLength);
    if (auto receiver = braceletDelegate())
        receiver->braceletSyncProgress(header.currentPackageNumber, header.totalPackages);
    if (header.currentPackageNumber < header.totalPackages) {
        transfer_->startNextPackage();
        requestData(header.currentPackageNumber + 1);
    } else {
        sendBraceletData();
    }
    // Decoded after the delivery above: the last package's records wait for the next download.
    decodePackage(header.dataType, std::move(items));
}

void HalvoraSDKBracelet::decodePackage(std::int32_t dataType, std::vector<MoxentaParserData> items) {
    std::size_t dropped = 0;
    switch (dataType) {
        case BraceletPackageHeader::kDataTypeSteps:
            dropped = history_->processStepsData(std::move(items), now(),
                                                 BraceletEstimates::Body{userHeight(), userWeight()});
            break;
        case BraceletPackageHeader::kDataTypeSleep:
            dropped = history_->processSleepData(std::move(items));
            break;
        case BraceletPackageHeader::kDataTypeHeartRate:
            dropped = history_->processHeartRateData(std::move(items), now());
            break;
        default:
            return;  // a type the kit does not know: discarded
    }
    logDropped(dropped);
}

void HalvoraSDKBracelet::logDropped(std::size_t dropped) {
    if (dropped == 0) return;
    log().writef("HalvoraSDKBracelet: %zu history records dropped, %zu already held", dropped,
                 BraceletHistory::kMaxRecords);
}

void HalvoraSDKBracelet::sendBraceletData() {
    if (auto receiver = braceletDelegate()) receiver->braceletSyncReceived(history_->takeRecords());
    transfer_->reset();
    releaseSlot();
}

}  // namespace halvora
