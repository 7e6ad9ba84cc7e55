#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Transport/Central.hpp"
#include "halvora/Transport/CentralDelegate.hpp"
#include "halvora/Transport/PeripheralDelegate.hpp"

namespace halvora::test {

/// Records the events of a central and its peripherals as short texts: "state 5", "discover Bluetooth BP -50",
/// "connect", "fail <error>", "disconnect" or "disconnect: <error>", "services", "characteristics FFF0",
/// "descriptor FFF4", "value 2A27 48572031", "written FFF3", each with ": <error>" when it carries one.
class TransportRecorder : public CentralDelegate, public PeripheralDelegate {
public:
    void centralManagerDidUpdateState(Central& central) override;
    void centralManagerDidDiscoverPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                             const AdvertisementData& advertisementData, int rssi) override;
    void centralManagerDidConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral) override;
    void centralManagerDidFailToConnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                                  const OptionalError& error) override;
    void centralManagerDidDisconnectPeripheral(Central& central, const std::shared_ptr<Peripheral>& peripheral,
                                               const OptionalError& error) override;
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;
    void peripheralDidWriteValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                  const std::shared_ptr<Characteristic>& characteristic,
                                                  const OptionalError& error) override;

    std::vector<std::string> events() const;
    std::size_t count(const std::string& event) const;
    std::size_t countStartingWith(const std::string& prefix) const;
    /// The peripheral last discovered with this local name.
    std::shared_ptr<Peripheral> discovered(const std::string& localName) const;
    /// Forgets every event and discovery.
    void clear();

private:
    void add(std::string event);

    mutable std::mutex mutex_;
    std::vector<std::string> events_;
    std::map<std::string, std::shared_ptr<Peripheral>> discovered_;
};

}  // namespace halvora::test
