#pragma once

#include <cstdint>

namespace halvora {

/// Connection status of one device kind, as sent in connection callbacks and returned by getDeviceStatus().
enum ConnectionStatus : std::int32_t {
    ConnectionStatusDisconnected = -1,  ///< no driver and no search for this kind
    ConnectionStatusSearching = 0,      ///< a connect request is pending
    ConnectionStatusConnected = 1,      ///< a driver exists, its link is not (yet) marked connected
    ConnectionStatusReady = 2,          ///< a driver exists and its link state is 2
};

}  // namespace halvora
