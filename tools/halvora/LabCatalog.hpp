#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "JsonReader.hpp"
#include "halvora/Core/DeviceType.hpp"
#include "lab/LabFaults.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::cli {

/// One virtual device as a lab file (or the default lab) describes it.
struct LabDeviceSpec {
    std::string className;
    std::string identifier;
    std::optional<std::string> name;  ///< absent: the class's usual name
    int rssi = -60;
    /// Time between two advertisements; absent: the lab's usual 100 ms.
    std::optional<Duration> advertisingInterval;
    nlohmann::json script = nlohmann::json::object();
    lab::LabFaults faults;
    /// Where the device was described, for messages ("lab.json: devices[2]").
    std::string where;
};

/// A virtual device class the tool can put in its lab.
struct LabClass {
    std::string className;   ///< the driver class it plays
    DeviceKind kind = DeviceTypeNone;
    std::string defaultName;
    /// Makes the device from its description; throws CliError for a bad script.
    std::function<std::shared_ptr<lab::VirtualPeripheral>(const LabDeviceSpec&)> make;
    /// The default lab's script of this class: fixed values.
    nlohmann::json defaultScript = nlohmann::json::object();
};

/// Every class the tool's lab can play, in recognition order.
class LabCatalog {
public:
    static const std::vector<LabClass>& classes();
    static const LabClass* find(const std::string& className);
    /// The device's VirtualPeripheralConfig from its description.
    static lab::VirtualPeripheralConfig config(const LabDeviceSpec& entry, const LabClass& labClass);
};

/// The lab class of a virtual device that takes a script: made from its description with the class's
/// usual name, advertising `advertised`, its script read by `readScript` from the description's "script"
/// and its faults from "faults". The caller sets the class's defaultScript.
template <typename Device, typename Script>
LabClass scriptedLabClass(const std::string& className, DeviceKind kind, const BLEUUID& advertised,
                          Script (*readScript)(const JsonReader&)) {
    LabClass c;
    c.className = className;
    c.kind = kind;
    c.defaultName = Device::kName;
    c.make = [advertised, readScript](const LabDeviceSpec& entry) -> std::shared_ptr<lab::VirtualPeripheral> {
        LabClass named;  // only its default name matters to the device's configuration
        named.defaultName = Device::kName;
        auto config = LabCatalog::config(entry, named);
        config.advertisedServices = {advertised};
        auto device = std::make_shared<Device>(config);
        device->setScript(readScript(JsonReader(entry.script, entry.where + ".script")));
        device->setFaults(entry.faults);
        return device;
    };
    return c;
}

/// Registration helpers, one per device family (each family's file defines its own).
void addMeasurementLabClasses(std::vector<LabClass>& classes);
void addTemperatureLabClasses(std::vector<LabClass>& classes);
void addBraceletLabClasses(std::vector<LabClass>& classes);
void addRM830LabClasses(std::vector<LabClass>& classes);
void addTensioLabClasses(std::vector<LabClass>& classes);
void addVitalLabClasses(std::vector<LabClass>& classes);
void addPillReminderLabClasses(std::vector<LabClass>& classes);

}  // namespace halvora::cli
