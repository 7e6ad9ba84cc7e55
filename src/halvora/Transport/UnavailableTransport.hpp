#pragma once

#include <string>

#include "halvora/Transport/Transport.hpp"

namespace halvora {

/// The transport of a process that has no Bluetooth backend: its centrals report the state Unsupported and
/// do nothing. The manager's default when the kit is built without BlueZ and the application set no
/// environment of its own.
class UnavailableTransport : public Transport {
public:
    /// A transport whose centrals report Unsupported; `reason` says why, for tools and logs.
    explicit UnavailableTransport(std::string reason = "no Bluetooth transport is available")
        : reason_(std::move(reason)) {}

    std::string name() const override { return "unavailable"; }
    std::shared_ptr<Central> makeCentral(std::weak_ptr<CentralDelegate> delegate, std::shared_ptr<SerialQueue> queue,
                                         CentralOptions options) override;
    /// Why there is no Bluetooth, as given at creation.
    const std::string& reason() const { return reason_; }

private:
    std::string reason_;
};

}  // namespace halvora
