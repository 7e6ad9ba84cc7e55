#pragma once

#include <cstdint>
#include <string>

namespace halvora {

/// Where a firmware update stands.
enum class FirmwareUpdatePhase {
    Preparing,   ///< the image is being loaded and converted; the bootloader is asked to start
    Uploading,   ///< image packets are being sent
    Validating,  ///< every packet is sent; the bootloader checks what it received
    Activating,  ///< the bootloader accepted the image and was told to start it; the link will drop
};

/// How far an update has come. `bytesSent` never exceeds `totalBytes`.
struct FirmwareUpdateProgress {
    /// The update's phase.
    FirmwareUpdatePhase phase = FirmwareUpdatePhase::Preparing;
    /// Image bytes written to the bracelet so far.
    std::uint64_t bytesSent = 0;
    /// The image's size in bytes (0 until the image is loaded).
    std::uint64_t totalBytes = 0;
    /// bytesSent as a whole percentage of totalBytes (0 while the size is 0).
    int percent = 0;
};

/// How an update ended.
struct FirmwareUpdateOutcome {
    /// True when the bootloader validated the image and was told to activate it.
    bool succeeded = false;
    /// Why it failed, one line (the bootloader's refusal, a missing or empty image, the lost link); empty on
    /// success.
    std::string errorText;
    /// Image bytes written to the bracelet.
    std::uint64_t bytesSent = 0;
    /// The image's size in bytes.
    std::uint64_t totalBytes = 0;
    /// Whole seconds from the start of the upload to validation (0 when it failed).
    std::int64_t uploadTimeInSeconds = 0;
};

/// An application's view of a firmware update of the RM830 bracelet. The update itself runs without it;
/// an application that sets one on the manager (setFirmwareUpdateObserver) learns the phase, the bytes sent and,
/// once per update, its outcome. Every method has an empty default.
///
/// Callbacks arrive on the kit's callback queue ("halvora.cb"); do not block in them.
class FirmwareUpdateObserver {
public:
    virtual ~FirmwareUpdateObserver() = default;
    /// The update moved on: a new phase, or more bytes sent (at most once per burst of packets).
    virtual void firmwareUpdateProgress(const FirmwareUpdateProgress& /*progress*/) {}
    /// The update ended, successfully or not. Reported once per update.
    virtual void firmwareUpdateFinished(const FirmwareUpdateOutcome& /*outcome*/) {}
};

}  // namespace halvora
