#include "halvora/Devices/RM830/internal/RM830AnswerTable.hpp"

#include "halvora/Devices/RM830/internal/RM830Codes.hpp"

namespace halvora {

RM830AnswerAction RM830AnswerTable::actionFor(std::uint8_t code) {
    using C = RM830Codes;
    switch (code) {
        case C::kSetDateTime:
        case C::kSetPersonalInformation:
        case C::kSetTargets:
        case C::kSetTimeFormat:
            return RM830AnswerAction::ReleaseThenSuccess;
        case C::kSetMonitoringHR:
        case C::kSetMonitoringWindow:
        case C::kReadDatesWithInfo:
            return RM830AnswerAction::SuccessThenRelease;
        case C::kStartRealTime:
            return RM830AnswerAction::CurrentDay;
        case C::kReadFirmwareVersion:
            return RM830AnswerAction::FirmwareVersion;
        case C::kSetRealtimeHR:
            return RM830AnswerAction::RealtimeHeartRate;
        case C::kReadHeartRateHistory:
            return RM830AnswerAction::HeartRateHistory;
        case C::kReadDayHistory:
            return RM830AnswerAction::DayFrame;
        case C::kReadHeartRate:
            return RM830AnswerAction::HeartRate;
        case C::failed(C::kSetPersonalInformation):
        case C::failed(C::kSetTargets):
        case C::failed(C::kSetTimeFormat):
            return RM830AnswerAction::ReleaseThenFailure;
        case C::failed(C::kStartRealTime):
            return RM830AnswerAction::StopRealtime;
        case C::failed(C::kUndocumented29):
            return RM830AnswerAction::FailureKeepingSlot;
        case C::failed(C::kSetMonitoringWindow):
        case C::failed(C::kSetRealtimeHR):
        case C::failed(C::kReadDatesWithInfo):
            return RM830AnswerAction::FailureThenRelease;
        default:
            return RM830AnswerAction::Release;  // the other answers and errors, below and above 0x80 alike
    }
}

}  // namespace halvora
