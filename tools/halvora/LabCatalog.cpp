#include "LabCatalog.hpp"

namespace halvora::cli {

const std::vector<LabClass>& LabCatalog::classes() {
    static const std::vector<LabClass> all = [] {
        std::vector<LabClass> classes;
        addMeasurementLabClasses(classes);
        return classes;
    }();
    return all;
}

const LabClass* LabCatalog::find(const std::string& className) {
    for (const auto& c : classes()) {
        if (c.className == className) return &c;
    }
    return nullptr;
}

lab::VirtualPeripheralConfig LabCatalog::config(const LabDeviceSpec& entry, const LabClass& labClass) {
    lab::VirtualPeripheralConfig config;
    config.identifier = entry.identifier;
    config.name = entry.name.value_or(labClass.defaultName);
    config.localName = config.name;
    config.rssi = entry.rssi;
    return config;
}

}  // namespace halvora::cli
