#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::bluez {
class BusLoop;
}

namespace halvora::realbluez {

/// The lab device's advertisement (its local name and advertised services) as an LEAdvertisement1 object,
/// registered on an adapter through LEAdvertisingManager1 and registered anew every `restart`: btvirt's
/// emulated controllers send an advertising report only when advertising is switched on. Bus thread only.
class Advertisement {
public:
    Advertisement(std::string localName, std::vector<BLEUUID> services, Duration restart, bluez::BusLoop& loop);
    ~Advertisement();
    Advertisement(const Advertisement&) = delete;
    Advertisement& operator=(const Advertisement&) = delete;

    /// Makes the object on `connection` and starts advertising through bluetoothd at `adapterPath`; `done`
    /// hears the first registration's answer (an empty text on success).
    void start(sdbus::IConnection& connection, const std::string& adapterPath,
               std::function<void(const std::string& error)> done);
    /// Stops re-registering and drops the object and proxy (the connection is closing).
    void withdraw();

private:
    void registerAdvertisement();
    void restartLater();

    const std::string localName_;
    const std::vector<BLEUUID> services_;
    const Duration restart_;
    bluez::BusLoop& loop_;
    std::unique_ptr<sdbus::IObject> object_;
    std::unique_ptr<sdbus::IProxy> manager_;
    std::function<void(const std::string& error)> firstAnswer_;
    std::uint64_t timer_ = 0;
};

}  // namespace halvora::realbluez
