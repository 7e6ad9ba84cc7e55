#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <map>
#include <string>
#include <vector>

namespace halvora::bluezdouble {

using Properties = std::map<std::string, sdbus::Variant>;
using Interfaces = std::map<std::string, Properties>;

inline constexpr const char* kAdapterInterface = "org.bluez.Adapter1";
inline constexpr const char* kDeviceInterface = "org.bluez.Device1";
inline constexpr const char* kGattServiceInterface = "org.bluez.GattService1";
inline constexpr const char* kGattCharacteristicInterface = "org.bluez.GattCharacteristic1";
inline constexpr const char* kGattDescriptorInterface = "org.bluez.GattDescriptor1";

/// Signals built by hand, so that they carry exactly what bluetoothd would send (and, for the garbage mode,
/// what it never would).
/// PropertiesChanged of `interface` on `object`'s path.
void emitPropertiesChanged(sdbus::IObject& object, const std::string& interface, const Properties& changed,
                           const std::vector<std::string>& invalidated = {});
/// InterfacesAdded from the object manager `root` for the object at `path`.
void emitInterfacesAdded(sdbus::IObject& root, const std::string& path, const Interfaces& interfaces);
/// InterfacesRemoved from the object manager `root`.
void emitInterfacesRemoved(sdbus::IObject& root, const std::string& path, const std::vector<std::string>& interfaces);

/// Registers a read-only property of `interface` on `object`.
template <typename Getter>
void addProperty(sdbus::IObject& object, const char* interface, const char* name, Getter getter) {
    object.registerProperty(name).onInterface(interface).withGetter(std::move(getter));
}

/// bluetoothd's error answers.
sdbus::Error bluezError(const std::string& name, const std::string& message);

}  // namespace halvora::bluezdouble
