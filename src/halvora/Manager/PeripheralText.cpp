#include "halvora/Manager/internal/PeripheralText.hpp"

#include "halvora/Core/Format.hpp"

namespace halvora::internal {

namespace {

const char* stateText(PeripheralState state) {
    switch (state) {
        case PeripheralState::Disconnected:
            return "disconnected";
        case PeripheralState::Connecting:
            return "connecting";
        case PeripheralState::Connected:
            return "connected";
        case PeripheralState::Disconnecting:
            return "disconnecting";
    }
    return "unknown";
}

}  // namespace

std::string describePeripheral(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return "(null)";
    return format("<Peripheral identifier = %s, name = %s, state = %s>", peripheral->identifier().c_str(),
                  textOrNull(peripheral->name()).c_str(), stateText(peripheral->state()));
}

}  // namespace halvora::internal
