#include "halvora/Transport/BlueZ/BlueZTransport.hpp"

#include "halvora/Transport/BlueZ/internal/Backend.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZCentral.hpp"

namespace halvora {

std::shared_ptr<BlueZTransport> BlueZTransport::create(BlueZOptions options, std::shared_ptr<Executor> executor,
                                                       std::shared_ptr<Log> log) {
    return std::shared_ptr<BlueZTransport>(new BlueZTransport(std::move(options), std::move(executor), std::move(log)));
}

BlueZTransport::BlueZTransport(BlueZOptions options, std::shared_ptr<Executor> executor, std::shared_ptr<Log> log)
    : options_(std::move(options)),
      executor_(std::move(executor)),
      backend_(bluez::Backend::create(options_, std::move(log))) {}

BlueZTransport::~BlueZTransport() = default;

std::shared_ptr<Central> BlueZTransport::makeCentral(std::weak_ptr<CentralDelegate> delegate,
                                                     std::shared_ptr<SerialQueue> queue, CentralOptions options) {
    if (!queue && executor_) queue = executor_->mainQueue();
    auto central =
        std::make_shared<bluez::BlueZCentral>(backend_, std::move(delegate), std::move(queue), std::move(options));
    backend_->attach(central);
    return central;
}

std::optional<std::string> BlueZTransport::probe(Duration limit) const {
    return backend_->probe(limit);
}

}  // namespace halvora
