#include "DemoSteps.hpp"

namespace halvora::cli {

const DemoStep* demoStepFor(const std::string& className) {
    static const std::map<std::string, DemoStep> steps = [] {
        std::map<std::string, DemoStep> all;
        addMeasurementDemoSteps(all);
        addBraceletDemoSteps(all);
        addRM830DemoSteps(all);
        addTensioDemoSteps(all);
        addVitalDemoSteps(all);
        addPillBoxDemoSteps(all);
        return all;
    }();
    auto it = steps.find(className);
    return it == steps.end() ? nullptr : &it->second;
}

}  // namespace halvora::cli
