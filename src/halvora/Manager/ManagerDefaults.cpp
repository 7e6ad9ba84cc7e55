#include "halvora/Manager/internal/ManagerDefaults.hpp"

#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Transport/UnavailableTransport.hpp"

namespace halvora::internal {

std::shared_ptr<Transport> makeDefaultTransport() {
    return std::make_shared<UnavailableTransport>("the kit was built without a Bluetooth backend");
}

ManagerEnvironment makeDefaultEnvironment() {
    ManagerEnvironment environment;
    environment.executor = ThreadedExecutor::create();
    environment.transport = makeDefaultTransport();
    return environment;
}

}  // namespace halvora::internal
