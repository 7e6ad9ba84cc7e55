#pragma once

#include <functional>
#include <map>
#include <string>

#include "Session.hpp"

namespace halvora::cli {

/// A class's main operation in the demo, run once its device is ready; returns the result shown, or
/// throws CliError.
using DemoStep = std::function<std::string(Session&, const LabDevice&)>;

/// The demo step of a driver class, or nothing.
const DemoStep* demoStepFor(const std::string& className);

/// Registration, one per device family.
void addMeasurementDemoSteps(std::map<std::string, DemoStep>& steps);
void addBraceletDemoSteps(std::map<std::string, DemoStep>& steps);
void addRM830DemoSteps(std::map<std::string, DemoStep>& steps);
void addTensioDemoSteps(std::map<std::string, DemoStep>& steps);
void addVitalDemoSteps(std::map<std::string, DemoStep>& steps);
void addPillBoxDemoSteps(std::map<std::string, DemoStep>& steps);

}  // namespace halvora::cli
