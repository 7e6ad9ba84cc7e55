#pragma once

#include <memory>

namespace halvora {

class HalvoraSDKManagerDelegate;
class HalvoraDeviceDelegate;
class HalvoraHeartDelegate;
class HalvoraOximeterDelegate;
class HalvoraThermometerDelegate;
class HalvoraBabyThermometerDelegate;
class HalvoraWeightScaleDelegate;
class HalvoraBraceletDelegate;
class HalvoraBraceletRM830Delegate;
class FirmwareUpdateObserver;
class HalvoraTensioBraceletDelegate;
class HalvoraBraceletVITALDelegate;
class HalvoraPillReminderDelegate;

/// Where a driver finds the application's delegate of its kind at the moment of delivery. The manager
/// implements it (every getter answers the delegate the application set, or nothing); a test can hand a
/// driver a stand-in that overrides only the getters it needs. Every getter may be called from any thread.
class ApplicationDelegates {
public:
    virtual ~ApplicationDelegates() = default;

    /// The general delegate (connection status of the blood-pressure monitor, battery levels).
    virtual std::shared_ptr<HalvoraSDKManagerDelegate> delegate() const { return nullptr; }
    /// The connection-status delegate of every kind.
    virtual std::shared_ptr<HalvoraDeviceDelegate> deviceDelegate() const { return nullptr; }
    /// The blood-pressure monitors' delegate.
    virtual std::shared_ptr<HalvoraHeartDelegate> heartDelegate() const { return nullptr; }
    /// The pulse oximeter's delegate.
    virtual std::shared_ptr<HalvoraOximeterDelegate> oximeterDelegate() const { return nullptr; }
    /// The thermometers' delegate.
    virtual std::shared_ptr<HalvoraThermometerDelegate> thermometerDelegate() const { return nullptr; }
    /// The baby thermometer's delegate.
    virtual std::shared_ptr<HalvoraBabyThermometerDelegate> babyThermometerDelegate() const { return nullptr; }
    /// The weight scale's delegate.
    virtual std::shared_ptr<HalvoraWeightScaleDelegate> weightscaleDelegate() const { return nullptr; }
    /// The text-command bracelet's delegate.
    virtual std::shared_ptr<HalvoraBraceletDelegate> braceletDelegate() const { return nullptr; }
    /// The RM830 bracelet's delegate.
    virtual std::shared_ptr<HalvoraBraceletRM830Delegate> braceletRM830Delegate() const { return nullptr; }
    /// The wrist blood-pressure bracelet's delegate.
    virtual std::shared_ptr<HalvoraTensioBraceletDelegate> tensioBraceletDelegate() const { return nullptr; }
    /// The Vital bracelet's delegate.
    virtual std::shared_ptr<HalvoraBraceletVITALDelegate> braceletVITALDelegate() const { return nullptr; }
    /// The pill box's delegate.
    virtual std::shared_ptr<HalvoraPillReminderDelegate> pillReminderDelegate() const { return nullptr; }
    /// The observer of firmware updates, when the application set one.
    virtual std::shared_ptr<FirmwareUpdateObserver> firmwareUpdateObserver() const { return nullptr; }
};

}  // namespace halvora
