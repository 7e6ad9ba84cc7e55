#pragma once

#include <sdbus-c++/Types.h>

#include <map>
#include <string>

namespace halvora::bluez {

// Bus and interface names of bluetoothd's API and of the bus itself.
inline constexpr const char* kBlueZService = "org.bluez";
inline constexpr const char* kRootPath = "/";
inline constexpr const char* kBlueZPathPrefix = "/org/bluez";
inline constexpr const char* kAdapterInterface = "org.bluez.Adapter1";
inline constexpr const char* kDeviceInterface = "org.bluez.Device1";
inline constexpr const char* kGattServiceInterface = "org.bluez.GattService1";
inline constexpr const char* kGattCharacteristicInterface = "org.bluez.GattCharacteristic1";
inline constexpr const char* kGattDescriptorInterface = "org.bluez.GattDescriptor1";
inline constexpr const char* kObjectManagerInterface = "org.freedesktop.DBus.ObjectManager";
inline constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
inline constexpr const char* kBusService = "org.freedesktop.DBus";
inline constexpr const char* kBusPath = "/org/freedesktop/DBus";
inline constexpr const char* kBusInterface = "org.freedesktop.DBus";

// Error names bluetoothd and the bus answer with.
inline constexpr const char* kErrorInProgress = "org.bluez.Error.InProgress";
inline constexpr const char* kErrorNotReady = "org.bluez.Error.NotReady";
inline constexpr const char* kErrorNotConnected = "org.bluez.Error.NotConnected";
inline constexpr const char* kErrorAlreadyConnected = "org.bluez.Error.AlreadyConnected";
inline constexpr const char* kErrorFailed = "org.bluez.Error.Failed";
inline constexpr const char* kErrorNotSupported = "org.bluez.Error.NotSupported";
inline constexpr const char* kErrorNotPermitted = "org.bluez.Error.NotPermitted";
inline constexpr const char* kErrorNotAuthorized = "org.bluez.Error.NotAuthorized";
inline constexpr const char* kErrorInvalidArguments = "org.bluez.Error.InvalidArguments";
inline constexpr const char* kErrorInvalidValueLength = "org.bluez.Error.InvalidValueLength";
inline constexpr const char* kErrorDoesNotExist = "org.bluez.Error.DoesNotExist";
inline constexpr const char* kErrorNoReply = "org.freedesktop.DBus.Error.NoReply";
inline constexpr const char* kErrorTimeout = "org.freedesktop.DBus.Error.Timeout";
inline constexpr const char* kErrorUnknownObject = "org.freedesktop.DBus.Error.UnknownObject";
inline constexpr const char* kErrorUnknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
inline constexpr const char* kErrorServiceUnknown = "org.freedesktop.DBus.Error.ServiceUnknown";
inline constexpr const char* kErrorNameHasNoOwner = "org.freedesktop.DBus.Error.NameHasNoOwner";
inline constexpr const char* kErrorDisconnected = "org.freedesktop.DBus.Error.Disconnected";
/// Not from the bus: the transport's name for an answer of an unexpected type.
inline constexpr const char* kErrorMalformedAnswer = "org.halvora.Error.MalformedAnswer";

/// The properties of one interface, the interfaces of one object, and a whole object tree.
using PropertyMap = std::map<std::string, sdbus::Variant>;
using InterfaceMap = std::map<std::string, PropertyMap>;
using ManagedObjects = std::map<sdbus::ObjectPath, InterfaceMap>;

}  // namespace halvora::bluez
