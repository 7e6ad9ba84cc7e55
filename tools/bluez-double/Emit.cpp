#include "Emit.hpp"

namespace halvora::bluezdouble {

void emitPropertiesChanged(sdbus::IObject& object, const std::string& interface, const Properties& changed,
                           const std::vector<std::string>& invalidated) {
    auto signal = object.createSignal("org.freedesktop.DBus.Properties", "PropertiesChanged");
    signal << interface << changed << invalidated;
    object.emitSignal(signal);
}

void emitInterfacesAdded(sdbus::IObject& root, const std::string& path, const Interfaces& interfaces) {
    auto signal = root.createSignal("org.freedesktop.DBus.ObjectManager", "InterfacesAdded");
    signal << sdbus::ObjectPath(path) << interfaces;
    root.emitSignal(signal);
}

void emitInterfacesRemoved(sdbus::IObject& root, const std::string& path, const std::vector<std::string>& interfaces) {
    auto signal = root.createSignal("org.freedesktop.DBus.ObjectManager", "InterfacesRemoved");
    signal << sdbus::ObjectPath(path) << interfaces;
    root.emitSignal(signal);
}

sdbus::Error bluezError(const std::string& name, const std::string& message) {
    return sdbus::Error(name, message);
}

}  // namespace halvora::bluezdouble
