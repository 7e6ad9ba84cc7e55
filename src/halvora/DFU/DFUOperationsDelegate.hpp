#pragma once

#include <memory>
#include <string>

#include "halvora/Transport/Peripheral.hpp"

namespace halvora {

/// What the update engine (DFUOperations) reports about a firmware update. Every method has an empty
/// default. Calls arrive on the thread that drives the engine (the callback queue, "halvora.cb").
class DFUOperationsDelegate {
public:
    virtual ~DFUOperationsDelegate() = default;
    /// The engine was given the bootloader's peripheral and characteristics.
    virtual void onDeviceConnectedWithVersion(const std::shared_ptr<Peripheral>& /*peripheral*/) {}
    /// The bootloader's update version (never 0: the engine resets a bootloader that reports 0).
    virtual void onReadDFUVersion(int /*version*/) {}
    /// The bootloader accepted the start; the image is being sent.
    virtual void onDFUStarted() {}
    /// Share of the image sent before the packet just written, 0..99.
    virtual void onTransferPercentage(int /*percentage*/) {}
    /// The bootloader file of a two-file update was sent (not used by the application update).
    virtual void onBootloaderUploadCompleted() {}
    /// The bootloader validated the image and was told to activate it.
    virtual void onSuccessfulFileTranferred() {}
    /// The update was cancelled; the bootloader was reset.
    virtual void onDFUCancelled() {}
    /// The link to the bootloader ended.
    virtual void onDeviceDisconnected(const std::shared_ptr<Peripheral>& /*peripheral*/) {}
    /// The update failed, with the reason ("Error on StartDFU\n Message: Operation Not Supported").
    virtual void onError(const std::string& /*message*/) {}
    /// The bootloader's link is up (not used by the engine).
    virtual void onDeviceConnected(const std::shared_ptr<Peripheral>& /*peripheral*/) {}
    /// The soft-device upload of a multi-file update started (not used by the application update).
    virtual void onSoftDeviceUploadStarted() {}
    /// The bootloader upload of a multi-file update started (not used by the application update).
    virtual void onBootloaderUploadStarted() {}
    /// The soft-device upload of a multi-file update ended (not used by the application update).
    virtual void onSoftDeviceUploadCompleted() {}
};

}  // namespace halvora
