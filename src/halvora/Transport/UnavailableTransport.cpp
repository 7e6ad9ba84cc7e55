#include "halvora/Transport/UnavailableTransport.hpp"

namespace halvora {

namespace {

/// A central without a radio: it reports Unsupported once and ignores every request.
class UnavailableCentral : public Central {
public:
    explicit UnavailableCentral(CentralOptions options) : options_(std::move(options)) {}

    CentralState state() const override { return CentralState::Unsupported; }
    void setDelegate(std::weak_ptr<CentralDelegate> /*delegate*/) override {}
    std::optional<std::string> restoreIdentifier() const override { return options_.restoreIdentifier; }
    void scanForPeripheralsWithServices(const std::vector<BLEUUID>& /*services*/, ScanOptions /*options*/) override {}
    void stopScan() override {}
    bool isScanning() const override { return false; }
    void connectPeripheral(const std::shared_ptr<Peripheral>& /*peripheral*/, ConnectOptions /*options*/) override {}
    void cancelPeripheralConnection(const std::shared_ptr<Peripheral>& /*peripheral*/) override {}
    std::vector<std::shared_ptr<Peripheral>> retrievePeripheralsWithIdentifiers(
        const std::vector<std::string>& /*identifiers*/) override {
        return {};
    }
    std::vector<std::shared_ptr<Peripheral>> retrieveConnectedPeripheralsWithServices(
        const std::vector<BLEUUID>& /*services*/) override {
        return {};
    }

private:
    CentralOptions options_;
};

}  // namespace

std::shared_ptr<Central> UnavailableTransport::makeCentral(std::weak_ptr<CentralDelegate> delegate,
                                                          std::shared_ptr<SerialQueue> queue, CentralOptions options) {
    auto central = std::make_shared<UnavailableCentral>(std::move(options));
    if (queue) {
        queue->async([delegate, central] {
            if (auto receiver = delegate.lock()) receiver->centralManagerDidUpdateState(*central);
        });
    }
    return central;
}

}  // namespace halvora
