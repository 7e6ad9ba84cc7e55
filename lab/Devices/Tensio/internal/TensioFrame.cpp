#include "lab/Devices/Tensio/internal/TensioFrame.hpp"

#include <algorithm>
#include <span>

namespace halvora::lab {

TensioFrame::TensioFrame(Kind kind, std::optional<TensioCommand> command, const std::vector<std::uint8_t>& bytes)
    : kind_(kind), command_(command) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), bytes_.size()), bytes_.begin());
}

TensioFrame TensioFrame::read(const std::vector<std::uint8_t>& bytes) {
    const bool framed = bytes.size() > tensio::kLengthIndex && bytes[0] == tensio::kHeader0 &&
                        bytes[1] == tensio::kHeader1 &&
                        bytes.size() == bytes[tensio::kLengthIndex] + tensio::kFrameOverhead;
    if (framed && bytes[tensio::kLengthIndex] == tensio::kShortLength) return readShort(bytes);
    if (framed && bytes[tensio::kLengthIndex] == tensio::kLongLength) return readLong(bytes);
    return {Kind::NotAFrame, std::nullopt, {}};
}

TensioFrame TensioFrame::readShort(const std::vector<std::uint8_t>& bytes) {
    const std::uint8_t code = bytes[tensio::kCodeIndex];
    const std::uint8_t parameter = bytes[tensio::kParameterIndex];
    const std::uint8_t check = bytes.back();
    if (code == tensio::kReset && parameter == tensio::kResetParameter) {
        if (check != tensio::kResetCheck) return {Kind::WrongCheck, std::nullopt, bytes};
        return {Kind::Command, TensioCommand::ResetDefaults, bytes};
    }
    if (check != tensio::shortCheck(code, parameter)) return {Kind::WrongCheck, std::nullopt, bytes};
    const auto command = shortCommand(code, parameter);
    return {command ? Kind::Command : Kind::UnknownCommand, command, bytes};
}

TensioFrame TensioFrame::readLong(const std::vector<std::uint8_t>& bytes) {
    const std::span<const std::uint8_t, tensio::kLongValues> values(bytes.data() + tensio::kParameterIndex,
                                                                    tensio::kLongValues);
    if (bytes.back() != tensio::longCheck(values)) return {Kind::WrongCheck, std::nullopt, bytes};
    const auto command = longCommand(bytes[tensio::kCodeIndex]);
    return {command ? Kind::Command : Kind::UnknownCommand, command, bytes};
}

std::optional<TensioCommand> TensioFrame::shortCommand(std::uint8_t code, std::uint8_t parameter) {
    struct Row {
        std::uint8_t code;
        std::uint8_t parameter;
        TensioCommand command;
    };
    static constexpr Row kRows[] = {
        {tensio::kMeasure, tensio::kMeasureStart, TensioCommand::StartMeasurement},
        {tensio::kMeasure, tensio::kMeasureStop, TensioCommand::StopMeasurement},
        {tensio::kMemory, tensio::kNoParameter, TensioCommand::ReadMemory},
        {tensio::kClearMemory, tensio::kNoParameter, TensioCommand::ClearMemory},
        {tensio::kRead, tensio::kReadClock, TensioCommand::ReadClock},
        {tensio::kRead, tensio::kReadSchedule, TensioCommand::ReadSchedule},
        {tensio::kBasicInfo, tensio::kNoParameter, TensioCommand::ReadBasicInfo},
        {tensio::kRepeat, tensio::kNoParameter, TensioCommand::RepeatMeasurement},
    };
    for (const auto& row : kRows) {
        if (row.code == code && row.parameter == parameter) return row.command;
    }
    return std::nullopt;
}

std::optional<TensioCommand> TensioFrame::longCommand(std::uint8_t code) {
    switch (code) {
        case tensio::kSetClock:
            return TensioCommand::SetClock;
        case tensio::kSetWindow:
            return TensioCommand::SetScheduleWindow;
        case tensio::kSetConfiguration:
            return TensioCommand::SetConfiguration;
        default:
            return std::nullopt;
    }
}

}  // namespace halvora::lab
