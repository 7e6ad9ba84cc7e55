#include "LabCatalog.hpp"

#include <algorithm>

#include "halvora/Manager/RecognitionTable.hpp"

namespace halvora::cli {

const std::vector<LabClass>& LabCatalog::classes() {
    static const std::vector<LabClass> all = [] {
        std::vector<LabClass> classes;
        addMeasurementLabClasses(classes);
        addBraceletLabClasses(classes);
        addRM830LabClasses(classes);
        addVitalLabClasses(classes);
        addTensioLabClasses(classes);
        addPillReminderLabClasses(classes);
        // In recognition order, as the kit tries the classes.
        const auto order = [](const LabClass& c) {
            const auto& rows = RecognitionTable::rows();
            for (std::size_t i = 0; i < rows.size(); ++i) {
                if (rows[i].className == c.className) return i;
            }
            return rows.size();
        };
        std::stable_sort(classes.begin(), classes.end(),
                         [&](const LabClass& a, const LabClass& b) { return order(a) < order(b); });
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
    if (entry.advertisingInterval) config.advertisingInterval = *entry.advertisingInterval;
    return config;
}

}  // namespace halvora::cli
