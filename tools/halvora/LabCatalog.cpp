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

lab::VirtualPeripheralConfig LabCatalog::config(const LabDeviceSpec& spec, const LabClass& labClass) {
    lab::VirtualPeripheralConfig config;
    config.identifier = spec.identifier;
    config.name = spec.name.value_or(labClass.defaultName);
    config.localName = config.name;
    config.rssi = spec.rssi;
    return config;
}

}  // namespace halvora::cli
