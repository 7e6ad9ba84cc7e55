#pragma once

#include <cstdint>
#include <string>

#include "halvora/Records/HalvoraSDKBraceletData.hpp"
#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"
#include "halvora/Records/HalvoraSDKStepData.hpp"

namespace halvora {

/// The text-command bracelet's application delegate (the manager's `braceletDelegate`), called by the
/// bracelet driver itself, which looks the delegate up at the moment of each delivery. Every callback has an
/// empty default body, so an application implements only those it wants.
///
/// Callbacks arrive on "halvora.cb", the driver's callback queue (the queue of its peripheral's events and
/// of its command queue), without any lock of the kit held: a callback may call the kit again.
class HalvoraBraceletDelegate {
public:
    /// `braceletParameterSet` code: the user's height was set.
    static constexpr std::int32_t kParameterHeight = 0;
    /// `braceletParameterSet` code: the user's weight was set.
    static constexpr std::int32_t kParameterWeight = 1;
    /// `braceletParameterSet` code: the date and time were set.
    static constexpr std::int32_t kParameterDate = 2;
    /// `braceletParameterSet` code: the step goal was set.
    static constexpr std::int32_t kParameterStepTarget = 3;
    /// `braceletParameterSet` code: the notification filter was set.
    static constexpr std::int32_t kParameterNotificationFilter = 4;
    /// `braceletParameterSet` code: raise-to-wake was set.
    static constexpr std::int32_t kParameterRiseHand = 5;
    /// `braceletParameterSet` code: find-phone was set.
    static constexpr std::int32_t kParameterFindPhone = 6;
    /// `braceletParameterSet` code: heart-rate monitoring was set.
    static constexpr std::int32_t kParameterMonitorHeartRate = 7;
    /// `braceletParameterSet` code: the bracelet answered find-device.
    static constexpr std::int32_t kParameterFindDevice = 8;
    /// `braceletParameterSet` code: anti-loss was set.
    static constexpr std::int32_t kParameterAntitheft = 9;
    /// `braceletParameterSet` code: the sedentary reminder was set.
    static constexpr std::int32_t kParameterSedentaryAlarm = 10;
    /// `braceletParameterSet` code: an alarm answer other than "AT+ALARM1".
    static constexpr std::int32_t kParameterAlarm = 11;
    /// `braceletParameterSet` code: an answer containing "AT+ALARM1".
    static constexpr std::int32_t kParameterFirstAlarm = 12;

    virtual ~HalvoraBraceletDelegate() = default;

    /// The bracelet's current step count ("AT+PACE:" answer), with the estimated distance and calories, dated
    /// now.
    virtual void braceletCurrentStepsReceived(const HalvoraSDKStepData& /*data*/) {}
    /// A heart rate: the answer to a measurement, or one the bracelet reported on its own ("NT+HEART").
    virtual void braceletHeartDataReceived(const HalvoraSDKHeartBeatData& /*data*/) {}
    /// A history download finished. Records of the download's last package come with the next download.
    virtual void braceletSyncReceived(const HalvoraSDKBraceletData& /*data*/) {}
    /// An activity was started on the bracelet ("NT+RUN:" without a "0").
    virtual void braceletActivityStarted() {}
    /// An activity was finished on the bracelet ("NT+RUN:" with a "0").
    virtual void braceletActivityFinished() {}
    /// Steps of the running pedometer ("NT+TOPACE").
    virtual void braceletActivityStepsReceived(std::int32_t /*steps*/) {}
    /// The wearer asked the phone to ring ("NT+BEEP").
    virtual void braceletBeepReceived() {}
    /// A setting was confirmed; `code` is one of the kParameter constants.
    virtual void braceletParameterSet(std::int32_t /*code*/) {}
    /// An informational answer ("Alarm set", "Text sent", "Activated", "Bond ok", "Bond err", the version,
    /// the battery), with the bracelet's trailing "\r\n" kept.
    virtual void braceletInfoReceived(const std::string& /*info*/) {}
    /// The battery level, per cent.
    virtual void braceletBatteryReceived(std::int32_t /*percent*/) {}
    /// A package of a history download has been received whole: `package` is its number as the bracelet
    /// numbers it, `totalPackages` the count the bracelet announced. For progress displays; an application
    /// that ignores it sees the download exactly as without it.
    virtual void braceletSyncProgress(std::int32_t /*package*/, std::int32_t /*totalPackages*/) {}
};

}  // namespace halvora
