#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Core/ApplicationDelegates.hpp"
#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Core/BLEDeviceDelegate.hpp"
#include "halvora/Core/ConnectionStatus.hpp"
#include "halvora/Core/Date.hpp"
#include "halvora/Core/DeviceConnector.hpp"
#include "halvora/Core/DeviceType.hpp"
#include "halvora/Core/HalvoraSDKDevice.hpp"
#include "halvora/Core/ResourceBundle.hpp"
#include "halvora/DFU/FirmwareUpdateObserver.hpp"
#include "halvora/Devices/Bracelet/HalvoraBraceletDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraBabyThermometerDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraHeartDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraOximeterDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraThermometerDelegate.hpp"
#include "halvora/Devices/Measurement/HalvoraWeightScaleDelegate.hpp"
#include "halvora/Devices/PillReminder/HalvoraPillReminderDelegate.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmData.hpp"
#include "halvora/Devices/RM830/HalvoraBraceletRM830Delegate.hpp"
#include "halvora/Devices/RM830/HalvoraSDKRM830TimeRange.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletConfig.hpp"
#include "halvora/Devices/Vital/HalvoraBraceletVITALDelegate.hpp"
#include "halvora/Devices/Vital/HalvoraSDKUser.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalActivityPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalAlarm.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalParams.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalPeriod.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalWeather.hpp"
#include "halvora/Devices/Tensio/HalvoraSDKTensioBraceletInterval.hpp"
#include "halvora/Devices/Tensio/HalvoraTensioBraceletDelegate.hpp"
#include "halvora/Manager/DriverClass.hpp"
#include "halvora/Manager/HalvoraDeviceDelegate.hpp"
#include "halvora/Manager/HalvoraSDKDevicesScanDelegate.hpp"
#include "halvora/Manager/HalvoraSDKManagerDelegate.hpp"
#include "halvora/Manager/ManagerEnvironment.hpp"
#include "halvora/Manager/ScanResult.hpp"
#include "halvora/Records/HalvoraSDKBraceletAlarm.hpp"
#include "halvora/Records/HalvoraSDKBraceletSedentaryAlarm.hpp"
#include "halvora/Transport/Central.hpp"
#include "halvora/Transport/CentralDelegate.hpp"

namespace halvora {

class PreferenceUtils;

/// The kit's facade: the one Bluetooth central of an application. It scans, recognises devices by their
/// advertised names, connects the strongest candidate of each requested kind, creates and binds the driver
/// of that kind, and hands results to the application's delegates.
///
/// An application takes sharedInstance() (or makes its own manager with create() and an environment, as
/// tests and the CLI do), creates the central (initCentralManagerWithoutBackgroundMode() or
/// setCentralManagerIdentifiers()), sets its delegates and asks for a kind with connectDevice(). Every public
/// operation may be called from any thread, including from inside a delegate callback. Delegates are held
/// weakly: the application owns them.
class HalvoraSDKManager : public CentralDelegate,
                          public BLEDeviceDelegate,
                          public ApplicationDelegates,
                          public DeviceConnector,
                          public std::enable_shared_from_this<HalvoraSDKManager> {
public:
    /// The interval of the detection timers.
    static constexpr double kDetectionInterval = 4.0;
    /// The delay between a driver's ready report and the status 2 callback.
    static constexpr double kReadyDelay = 0.1;

    /// A manager in the given environment; nothing is started until a central is created.
    static std::shared_ptr<HalvoraSDKManager> create(ManagerEnvironment environment);
    /// The process-wide manager, made on first use in the default environment.
    static std::shared_ptr<HalvoraSDKManager> sharedInstance();
    /// Sets the environment sharedInstance() uses. Only before its first use; returns false afterwards.
    static bool setDefaultEnvironment(ManagerEnvironment environment);

    ~HalvoraSDKManager() override;
    HalvoraSDKManager(const HalvoraSDKManager&) = delete;
    HalvoraSDKManager& operator=(const HalvoraSDKManager&) = delete;

    // ------------------------------------------------------------ the central
    /// Creates the central without state restoration. Connect requests made before it reports powered on
    /// wait, retrying each second.
    void initCentralManagerWithoutBackgroundMode();
    /// Creates a central per identifier, with state restoration; with none, a fresh random identifier is
    /// stored and used.
    void setCentralManagerIdentifiers(const std::vector<std::string>& identifiers);
    /// Creates a peripheral-role manager per identifier, for state restoration only.
    void setPeripheralManagerIdentifiers(const std::vector<std::string>& identifiers);
    /// Whether the central last reported Bluetooth powered on.
    bool isBluetoothOn() const;

    // ------------------------------------------------------------ scanning
    /// Scans for every kind; the scan result goes to the scan delegate every 4 seconds.
    void scanAllDevices();
    /// Ends a scan for all kinds.
    void stopScanForDevices();
    /// Stops the central's scan, whoever started it.
    void stopScan();

    // ------------------------------------------------------------ connections
    /// Connects the strongest device of a kind, without a time-out.
    void connectDevice(DeviceKind kind);
    /// Connects the strongest device of a kind; status -1 if none is ready within `timeoutSeconds`.
    void connectDevice(DeviceKind kind, std::int32_t timeoutSeconds);
    /// Connects the very device with this identifier as the given kind.
    void connectByUUID(const std::optional<std::string>& identifier, DeviceKind kind);
    /// Disconnects the blood-pressure monitor (kind 0).
    void disconnectDevice();
    /// Disconnects a kind and drops its driver and pending request; kinds 1 and 6 also forget the
    /// remembered bracelet.
    void disconnectDevice(DeviceKind kind);
    /// Reconnects the remembered text-command bracelet, if any and none is connected.
    void checkBracelet();
    /// Whether a blood-pressure monitor (kind 0) has a driver.
    bool isDeviceConnected() const;
    /// Whether the kind has a driver whose link is up.
    bool isDeviceConnected(DeviceKind kind) const;
    /// The kind's connection status: -1 disconnected, 0 searching, 1 connected, 2 ready.
    std::int32_t getDeviceStatus(DeviceKind kind) const;

    // ------------------------------------------------------------ facade operations
    /// Kind 0 with a first- or third-generation monitor, or kind 5 with a wrist blood-pressure bracelet:
    /// starts a measurement and returns true; false for every other kind.
    bool startMeasurement(DeviceKind kind);
    /// Starts a blood-pressure measurement; always returns false.
    bool startMeasurement();
    /// Asks the kind's device for its battery level (third-generation monitor, bracelets); the level
    /// arrives at the delegates.
    void checkBatteryLevel(DeviceKind kind);
    /// The identifier of the kind's peripheral, or nothing without a driver.
    std::optional<std::string> getDeviceUUID(DeviceKind kind) const;
    /// Stores the user's unit ("kg" or other), gender (0 male), age in years and height in cm for the scale
    /// (the height is the bracelet's too).
    void setWeightScaleParams(const std::string& unit, std::int32_t gender, std::int32_t age, std::int32_t height);
    /// Kind 3 with a second-generation thermometer: sends it the command byte (the low 8 bits of `command`)
    /// and returns true; with any other thermometer, or none, nothing is sent and the result is false.
    /// The device's acknowledgement or error arrives at the thermometer delegate.
    bool sendThermometerCommand(std::int32_t command);

    // ------------------------------------------------------------ text-command bracelet (kind 1)
    // Each forwards to the kind-1 driver on its callback queue; without one nothing happens.

    /// Downloads the stored steps, sleep and heart-rate history; it arrives at braceletSyncReceived.
    void synchronizeBraceletHistoryData();
    /// Asks the current step count (braceletCurrentStepsReceived).
    void getBraceletCurrentSteps();
    /// Starts a heart-rate measurement (braceletHeartDataReceived).
    void getBraceletHeartBeat();
    /// Makes the bracelet signal itself.
    void sendBraceletFindDevice();
    /// The same as sendBraceletFindDevice().
    void sendFindDevice();
    /// 1 starts an exercise, 0 finishes it.
    void sendBraceletStartOrFinishExercise(std::int32_t start);
    /// 1 starts the real-time pedometer, 0 stops it.
    void sendBraceletStartOrFinishAutoSteps(std::int32_t start);
    /// 1 lets the bracelet find the phone, 0 not.
    void configureBraceletSettingFindPhone(std::int32_t enabled);
    /// The daily step goal.
    void configureBraceletStepTarget(std::int32_t steps);
    /// 1 switches the anti-loss alert on, 0 off.
    void configureBraceletAntitheft(std::int32_t enabled);
    /// 1 switches heart-rate monitoring on, 0 off.
    void configureBraceletMonitorHeartRate(std::int32_t enabled);
    /// 1 switches raise-to-wake on, 0 off.
    void configureBraceletRiseHand(std::int32_t enabled);
    /// Sets the bracelet's clock (local time, to the minute).
    void configureBraceletDate(Date date);
    /// The user's height in cm.
    void configureBraceletUserHeight(std::int32_t centimetres);
    /// The user's weight in kg.
    void configureBraceletUserWeight(std::int32_t kilograms);
    /// The notification sources shown (values summed into the bracelet's mask).
    void configureBraceletACNS(const std::vector<std::int32_t>& values);
    /// Asks the firmware version (braceletInfoReceived "Version: ...").
    void getBraceletVersion();
    /// Binds the bracelet to this phone.
    void bindBracelet();
    /// Activates the bracelet.
    void activateBracelet();
    /// Switches the bracelet off.
    void shutdownBracelet();
    /// Asks the bracelets' battery level (braceletBatteryReceived and the general delegate).
    void getBraceletBattery();
    /// Switches the sedentary reminder off.
    void disableBraceletSedentaryAlarm();
    /// Sets the sedentary reminder.
    void configureBraceletSedentaryAlarm(const HalvoraSDKBraceletSedentaryAlarm& alarm);
    /// Switches alarm 1 (or, with `secondary`, alarm 2) off.
    void disableBraceletAlarm(bool secondary);
    /// Sets an alarm.
    void configureBraceletAlarm(const HalvoraSDKBraceletAlarm& alarm);
    /// Whether an exercise or a real-time run is going on (false without a bracelet).
    bool isBraceletInActivity() const;

    // ------------------------------------------------------------ RM830 bracelet (kind 6)
    // Each forwards to the RM830 driver on its queue; results arrive at `braceletRM830Delegate`, most
    // settings answering with `operationFinished`.
    /// The user's height (cm), weight (kg), gender (0 male) and birthday; the bracelet works out the age and
    /// the stride. `vibrate` is not sent.
    void configureBraceletRM830UserInfo(std::optional<std::int32_t> heightCm, std::optional<std::int32_t> weightKg,
                                        std::int32_t gender, std::optional<Date> birthday, bool vibrate);
    /// The daily step goal.
    void configureBraceletRM830StepsGoal(std::int64_t steps);
    /// Sets the bracelet's clock.
    void configureBraceletRM830Datetime(Date date);
    /// Today's steps, calories and distance, then today's quarter-hour history.
    void getBraceletRM830TodayData();
    /// The quarter-hour history of the day `daysAgo` days back (0 today).
    void getBraceletRM830HistoryData(std::int32_t daysAgo);
    /// Checks the firmware version and, on an older bracelet, switches it to update mode.
    void updateBraceletRM830Firmware();
    /// The stored heart-rate history, from its first packet.
    void getBraceletRM830HeartRateSync();
    /// Starts or stops the real-time heart rate.
    void setBraceletRM830RealtimeHREnabled(bool enabled);
    /// Switches automatic heart-rate monitoring on or off.
    void setBraceletRM830MonitoringHREnabled(bool enabled);
    /// Automatic heart-rate monitoring within a window of the day and days of the week (a bracelet named
    /// "HR1638" only; others ignore it).
    void setBraceletRM830MonitoringHRAuto(std::uint8_t enabled, std::optional<HalvoraSDKRM830TimeRange> range);

    // ------------------------------------------------------------ wrist blood-pressure bracelet (kind 5)
    // Each forwards to the bracelet's driver on its queue; without one nothing happens. Pressures, readings
    // and information arrive at `tensioBraceletDelegate`.
    /// Whether the bracelet is measuring (false without a bracelet).
    bool isTensioBraceletMeasuring() const;
    /// Starts a measurement (startMeasurement(5)).
    void startMeasurementTensioBracelet();
    /// Stops the measurement; the bracelet's acknowledgement arrives as information -19 (an empty record).
    void stopMeasurementTensioBracelet();
    /// Asks the bracelet to measure again (returnMeasurement(5)).
    void returnMeasurementTensioBracelet();
    /// The readings in the bracelet's memory: their count, then one reading per request.
    void getBloodPressureHistoryTensioBracelet();
    /// Empties the bracelet's memory.
    void removeBloodPressureHistoryTensioBracelet();
    /// The bracelet's clock, as an information text.
    void getSmartwatchTimeTensioBracelet();
    /// Sets the bracelet's clock to the phone's local time.
    void setSmartwatchTimeTensioBracelet();
    /// Battery, ambulatory switch, unit and memory count, as an information text.
    void getBasicInfoTensioBracelet();
    /// Returns the bracelet to its factory settings.
    void resetDefaultsTensioBracelet();
    /// Sets the hand the bracelet is worn on and the ambulatory switch.
    void setSmartwatchConfigTensioBracelet(const HalvoraSDKTensioBraceletConfig& config);
    /// Sets the ambulatory schedule: at most 3 windows (more: information -20, even without a bracelet), which
    /// must not overlap (else information -21); with no bracelet nothing happens.
    void setAmbulatoryBloodPressureTimeTensioBracelet(const std::vector<HalvoraSDKTensioBraceletInterval>& intervals);
    /// Kind 5 with a wrist blood-pressure bracelet: asks it to measure again and returns true; else false.
    bool returnMeasurement(DeviceKind kind);

    // ------------------------------------------------------------ Vital bracelet (kind 10), settings
    // Each forwards to the bracelet's driver on its queue; results and errors arrive at
    // `braceletVITALDelegate` by command number. A boolean result is true when a driver was found (and the
    // argument was accepted where said).
    /// Sets the bracelet's clock.
    bool setBraceletTime(Date date);
    /// The bracelet's clock (command 1).
    bool getBraceletTime();
    /// The bracelet's MAC address (command 8).
    bool getVitalMACAddress();
    /// The wearer's details.
    bool setVitalUserInformation(const HalvoraSDKUser& user);
    /// The wearer's details as the bracelet keeps them (command 13).
    bool getVitalUserInformation();
    /// The device parameters (checked first: errors 0, 3, 4, 5 for command 10).
    bool setVitalParameters(const HalvoraSDKVitalParams& parameters);
    /// The device parameters (command 11).
    bool getVitalParameters();
    /// The automatic measurement of one quantity; false (nothing sent) for a `type` of 3 or more.
    bool setVitalPeriodicConfiguration(const HalvoraSDKVitalPeriod& period);
    /// The automatic measurement settings of quantity `type`; false (nothing sent) for 3 or more.
    bool getVitalPeriodicConfiguration(std::int32_t type);
    /// Real-time steps and temperature on or off (results as command 2).
    bool setVitalRealtimeSteps(bool steps, bool temperature);
    /// The exercise reminder.
    bool setVitalActivityPeriod(const HalvoraSDKVitalActivityPeriod& period);
    /// The exercise reminder as the bracelet keeps it (command 6).
    bool getVitalActivityPeriod();
    /// Starts a sport mode (`levelSelection` counts for mode 6 only; a period of 256 or more: error 2).
    bool startVitalSportMode(std::int32_t sportMode, std::int32_t levelSelection, std::int32_t timePeriod);
    /// Stops the sport mode.
    bool stopVitalSportMode();
    /// Starts measuring a quantity now.
    bool startVitalMeasurement(std::int32_t measurement);
    /// Stops measuring a quantity.
    bool stopVitalMeasurement(std::int32_t measurement);
    /// Shows or hides the bracelet's QR screen.
    bool showVitalQR(bool show);
    /// The daily step goal.
    bool setVitalStepsGoal(std::uint32_t goal);
    /// The daily step goal as the bracelet keeps it (command 3).
    bool getVitalStepsGoal();
    /// The weather the bracelet shows.
    bool setVitalWeather(const HalvoraSDKVitalWeather& weather);
    /// The alarms: at most 10 (true); with 11 or more nothing is sent, the result is false and the delegate
    /// gets error 1 for command 34.
    bool setVitalAlarms(const std::vector<HalvoraSDKVitalAlarm>& alarms);
    /// Shows a text on the bracelet's display.
    void sendTextToRM610HR(const std::string& text);

    // ------------------------------------------------------------ Vital bracelet (kind 10), history and ECG
    // History results arrive at `braceletVITALDelegate` as lists under the command numbers of
    // `HalvoraSDKBraceletVital` (17 to 27).
    /// The stored history of one kind, as `getVitalData(type, false)`.
    bool getVitalData(std::int32_t type);
    /// The stored history of one kind: 0 heart rate (automatic when `periodically`, command 21, else spot,
    /// 20), 1 temperature (27 or 26), 2 blood oxygen (23 or 22), 3 HRV (24), 4 detailed steps (18), 5 sleep
    /// (19), 6 sport (25); `periodically` counts for 0 to 2 only. Any other type: false, nothing sent.
    bool getVitalData(std::int32_t type, bool periodically);
    /// The daily totals (command 17).
    bool getVitalTotalSteps();
    /// Starts an ECG measurement and its live upload: the start's status (command 28), then live frames of
    /// filtered samples and heart-rate statuses (31).
    bool startVitalECG();
    /// The ECG measurement's status (command 29; when finished, its summary first as command 30).
    bool getVitalECGStatus();
    /// The stored ECG waveform record 0 (command 32).
    bool getVitalECGWaveform();
    /// The stored ECG waveform `record` (command 32; a record outside 0 to 255: error 2 for command 32).
    bool getVitalECGWaveform(std::int32_t record);

    // ------------------------------------------------------------ pill box (kind 9)
    // Each forwards to the pill box's driver, which queues the request; results and errors arrive at
    // `pillReminderDelegate` with the request's number. Each returns true when a pill-box driver was found.
    /// The box's clock (request 1).
    bool prGetDeviceTime();
    /// The box's time zone, as text (request 3).
    bool prGetDeviceTimeZone();
    /// The box's battery level, as text (request 4).
    bool prGetBatteryLevel();
    /// The date of the box's last synchronisation (request 5).
    bool prGetLatestSynchronizationTime();
    /// Marks the box synchronised (request 6).
    bool prSetSuccessfulSynchronizationStatus();
    /// Empties the box's taken/missed history (request 7).
    bool prClearSchedulePerformanceHistory();
    /// The box's alarm schedule (request 9).
    bool prGetAlarmSchedule();
    /// Clears the box's schedule, then writes these alarms (requests 14 and 8).
    bool prSetAlarmSchedule(const std::vector<HalvoraSDKPillReminderAlarmData>& alarms);
    /// The box's taken/missed history (request 10).
    bool prGetSchedulePerformanceHistory();
    /// Sets how long an alarm rings (request 12; one byte, in the box's unit).
    bool prSetAlarmDuration(std::int32_t value);
    /// Sets how long the box waits for a dose to be confirmed (request 13; one byte, in the box's unit).
    bool prSetAlarmConfirmationTime(std::int32_t value);
    /// Empties the box's alarm schedule (request 14).
    bool prClearAlarmSchedule();
    /// Sets the box's clock to the phone's local time (request 0).
    bool prSetDeviceTime();
    /// Sets the box's time zone (request 2; hours -12..12, minutes 0..59, else nothing is sent).
    bool prSetDeviceTimeZone(std::int32_t hours, std::int32_t minutes);

    // ------------------------------------------------------------ delegates (held weakly)
    std::shared_ptr<HalvoraSDKManagerDelegate> delegate() const override;
    /// Sets the general delegate (held weakly).
    void setDelegate(std::weak_ptr<HalvoraSDKManagerDelegate> delegate);
    std::shared_ptr<HalvoraDeviceDelegate> deviceDelegate() const override;
    /// Sets the connection-status delegate (held weakly).
    void setDeviceDelegate(std::weak_ptr<HalvoraDeviceDelegate> delegate);
    std::shared_ptr<HalvoraHeartDelegate> heartDelegate() const override;
    /// Sets the blood-pressure monitors' delegate (held weakly).
    void setHeartDelegate(std::weak_ptr<HalvoraHeartDelegate> delegate);
    /// The delegate of scans for all kinds.
    std::shared_ptr<HalvoraSDKDevicesScanDelegate> devicesScanDelegate() const;
    /// Sets the delegate of scans for all kinds (held weakly).
    void setDevicesScanDelegate(std::weak_ptr<HalvoraSDKDevicesScanDelegate> delegate);
    std::shared_ptr<HalvoraOximeterDelegate> oximeterDelegate() const override;
    /// Sets the pulse oximeter's delegate (held weakly).
    void setOximeterDelegate(std::weak_ptr<HalvoraOximeterDelegate> delegate);
    std::shared_ptr<HalvoraThermometerDelegate> thermometerDelegate() const override;
    /// Sets the thermometers' delegate (held weakly).
    void setThermometerDelegate(std::weak_ptr<HalvoraThermometerDelegate> delegate);
    std::shared_ptr<HalvoraBabyThermometerDelegate> babyThermometerDelegate() const override;
    /// Sets the baby thermometer's delegate (held weakly).
    void setBabyThermometerDelegate(std::weak_ptr<HalvoraBabyThermometerDelegate> delegate);
    std::shared_ptr<HalvoraWeightScaleDelegate> weightscaleDelegate() const override;
    /// Sets the weight scale's delegate (held weakly).
    void setWeightscaleDelegate(std::weak_ptr<HalvoraWeightScaleDelegate> delegate);
    std::shared_ptr<HalvoraBraceletDelegate> braceletDelegate() const override;
    /// Sets the text-command bracelet's delegate (held weakly).
    void setBraceletDelegate(std::weak_ptr<HalvoraBraceletDelegate> delegate);
    std::shared_ptr<HalvoraBraceletRM830Delegate> braceletRM830Delegate() const override;
    /// Sets the RM830 bracelet's delegate (held weakly).
    void setBraceletRM830Delegate(std::weak_ptr<HalvoraBraceletRM830Delegate> delegate);
    std::shared_ptr<HalvoraBraceletVITALDelegate> braceletVITALDelegate() const override;
    /// Sets the Vital bracelet's delegate (held weakly).
    void setBraceletVITALDelegate(std::weak_ptr<HalvoraBraceletVITALDelegate> delegate);
    std::shared_ptr<HalvoraTensioBraceletDelegate> tensioBraceletDelegate() const override;
    /// Sets the wrist blood-pressure bracelet's delegate (held weakly).
    void setTensioBraceletDelegate(std::weak_ptr<HalvoraTensioBraceletDelegate> delegate);
    /// The pill box's delegate.
    std::shared_ptr<HalvoraPillReminderDelegate> pillReminderDelegate() const override;
    /// Sets the pill box's delegate (held weakly).
    void setPillReminderDelegate(std::weak_ptr<HalvoraPillReminderDelegate> delegate);
    std::shared_ptr<FirmwareUpdateObserver> firmwareUpdateObserver() const override;
    /// Sets the observer of firmware updates (held weakly). Without one an update runs silently: the
    /// application hears only of the connections it causes.
    void setFirmwareUpdateObserver(std::weak_ptr<FirmwareUpdateObserver> observer);
    /// The kit's resources: where the RM830 firmware image is looked up. An application points it elsewhere
    /// with setFolder() or names its own image with setResourcePath() (see ResourceBundle).
    ResourceBundle& resources() const;

    // ------------------------------------------------------------ DeviceConnector
    /// A driver's request for another kind: connectDevice(kind, timeoutSeconds).
    void requestConnection(DeviceKind kind, std::int32_t timeoutSeconds) override;

    // ------------------------------------------------------------ inspection
    /// The driver registered for a kind, or nothing.
    std::shared_ptr<BLEDevice> driverForKind(DeviceKind kind) const;
    /// A copy of the scan-for-all table.
    ScanResult scannedDevices() const;
    /// The kind of the latest connect request (-1 before any).
    std::int32_t connectingToDeviceType() const;
    /// Whether a connect request for the kind is pending.
    bool isPending(DeviceKind kind) const;
    /// The executor, transport, preferences and log this manager runs with.
    const ManagerEnvironment& environment() const { return environment_; }
    /// The preferences store of the environment.
    PreferenceUtils& preferences() const;
    /// The log of the environment.
    Log& log() const;

    // ------------------------------------------------------------ central events
    void centralManagerDidUpdateState(Central& central) override;
    void centralManagerDidDiscoverPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                             const AdvertisementData& advertisementData, int rssi) override;
    void centralManagerDidConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral) override;
    void centralManagerDidFailToConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                                  const OptionalError& error) override;
    void centralManagerDidDisconnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                               const OptionalError& error) override;
    void centralManagerWillRestoreState(Central& central,
                                        const std::vector<std::shared_ptr<Peripheral>>& peripherals) override;

    // ------------------------------------------------------------ driver reports
    void deviceConnected(const std::shared_ptr<BLEDevice>& device) override;
    void deviceReady(const std::shared_ptr<BLEDevice>& device) override;
    void deviceDisconnected(const std::shared_ptr<BLEDevice>& device) override;
    void deviceOnDataReceived(const std::shared_ptr<BLEDevice>& device, const DeviceData& data) override;
    void deviceOnErrorReceived(const std::shared_ptr<BLEDevice>& device, const DeviceError& error) override;
    void deviceOnBatteryLevelReceived(const std::shared_ptr<BLEDevice>& device, std::int32_t level) override;

    /// Binds a chosen peripheral: creates the driver of the first class that accepts it and, when no driver
    /// is registered for its kind, registers it and connects. Returns the driver (or nothing).
    std::shared_ptr<BLEDevice> connectPeripheralToDevice(const std::shared_ptr<Peripheral>& peripheral);

private:
    /// A connect-scan candidate.
    struct Candidate {
        std::shared_ptr<Peripheral> peripheral;
        double rssi = 0;
    };

    explicit HalvoraSDKManager(ManagerEnvironment environment);

    // scanning
    void startDetectionTimer(std::int32_t mode);
    void checkScannedDevices();
    void checkDetectedDevicesAndTimeouts();
    void chooseCandidates();
    void expireTimedOutRequests();
    void checkScannedPeripheral(const std::shared_ptr<Peripheral>& peripheral, int rssi,
                                const AdvertisementData& advertisementData);
    void scannedPeripheral(const std::shared_ptr<Peripheral>& peripheral, DeviceKind kind, int rssi);
    void checkPeripheral(const std::shared_ptr<Peripheral>& peripheral, int rssi,
                         const AdvertisementData& advertisementData);
    void detectedPeripheral(const std::shared_ptr<Peripheral>& peripheral, DeviceKind kind, int rssi);
    void startConnectScan();

    // connecting
    void connectRequestBody(DeviceKind kind, std::int32_t timeoutSeconds);
    bool reuseKnownConnectedPeripheral(DeviceKind kind);
    bool reuseSystemConnectedPeripheral(DeviceKind kind);
    void connectByUUIDBody(const std::string& identifier, DeviceKind kind);
    void checkBraceletBody(const std::string& identifier);
    void bindAndConnect(const DriverClass& driverClass, const std::shared_ptr<Peripheral>& peripheral, DeviceKind kind);
    std::shared_ptr<BLEDevice> makeDriver(const DriverClass& driverClass,
                                          const std::shared_ptr<Peripheral>& peripheral);
    void connectWithoutAlerts(const std::shared_ptr<Peripheral>& peripheral);
    void handlePoweredOff();
    void markReady(const std::shared_ptr<BLEDevice>& device);

    // status callbacks
    void sendStatus(DeviceKind kind, std::int32_t status);
    void sendHeartStatus(std::int32_t status);

    // helpers
    std::shared_ptr<Central> central() const;
    void registerDriver(DeviceKind kind, const std::shared_ptr<BLEDevice>& driver);
    void removePendingRequest(DeviceKind kind);
    DriverContext driverContext();
    template <typename Driver, typename Work>
    bool forwardTo(DeviceKind kind, Work work);
    /// The wrist blood-pressure bracelet's report, to its delegate as a pressure, a reading or information.
    void dispatchTensioData(const DeviceData& data);

    ManagerEnvironment environment_;
    std::shared_ptr<SerialQueue> bleQueue_;
    std::shared_ptr<SerialQueue> connectionQueue_;
    std::shared_ptr<SerialQueue> mainQueue_;

    // Guards every table and field below. Never held while calling a delegate, a driver or the central.
    mutable std::mutex mutex_;
    bool centralManagerReady_ = false;
    bool bluetoothPoweredOn_ = false;
    std::shared_ptr<Central> cm_;
    std::optional<std::vector<std::shared_ptr<Central>>> centrals_;
    std::map<DeviceKind, std::shared_ptr<BLEDevice>> deviceByType_;
    std::map<DeviceKind, std::string> uuidByType_;
    std::map<DeviceKind, MonotonicTime> connectingTimeout_;
    std::map<DeviceKind, std::vector<Candidate>> detectedDevicesByType_;
    ScanResult scannedDevices_;
    std::map<std::string, std::shared_ptr<Peripheral>> hshPeripherals_;
    std::map<std::string, AdvertisementData> hshAdvertisementData_;
    bool isScanning_ = false;
    std::int32_t scanningType_ = 0;
    std::int32_t connectingToDeviceType_ = DeviceTypeNone;
    std::shared_ptr<TimerHandle> detectionTimerForScanning_;
    std::shared_ptr<TimerHandle> detectionTimerForConnecting_;

    // Serialises the compound connect and disconnect steps (the lock of the candidate table).
    std::mutex connectLock_;
    // Serialises the binding of chosen peripherals (the lock of the driver table).
    std::mutex bindLock_;

    mutable std::mutex delegatesMutex_;
    std::weak_ptr<HalvoraSDKManagerDelegate> delegate_;
    std::weak_ptr<HalvoraDeviceDelegate> deviceDelegate_;
    std::weak_ptr<HalvoraHeartDelegate> heartDelegate_;
    std::weak_ptr<HalvoraSDKDevicesScanDelegate> devicesScanDelegate_;
    std::weak_ptr<HalvoraOximeterDelegate> oximeterDelegate_;
    std::weak_ptr<HalvoraThermometerDelegate> thermometerDelegate_;
    std::weak_ptr<HalvoraBabyThermometerDelegate> babyThermometerDelegate_;
    std::weak_ptr<HalvoraWeightScaleDelegate> weightscaleDelegate_;
    std::weak_ptr<HalvoraBraceletDelegate> braceletDelegate_;
    std::weak_ptr<HalvoraBraceletRM830Delegate> braceletRM830Delegate_;
    std::weak_ptr<FirmwareUpdateObserver> firmwareUpdateObserver_;
    std::weak_ptr<HalvoraTensioBraceletDelegate> tensioBraceletDelegate_;
    std::weak_ptr<HalvoraPillReminderDelegate> pillReminderDelegate_;
    std::weak_ptr<HalvoraBraceletVITALDelegate> braceletVITALDelegate_;
};

}  // namespace halvora
