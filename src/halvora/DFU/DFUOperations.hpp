#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "halvora/DFU/DFUOperationsDelegate.hpp"
#include "halvora/DFU/DFUOperationsDetails.hpp"
#include "halvora/DFU/DFUResponse.hpp"
#include "halvora/DFU/FileOperations.hpp"
#include "halvora/DFU/FileOperationsDelegate.hpp"
#include "halvora/DFU/FirmwareUpdateObserver.hpp"
#include "halvora/Runtime/Task.hpp"
#include "halvora/Transport/Characteristic.hpp"
#include "halvora/Transport/Peripheral.hpp"

namespace halvora {

class DFUProgressReporter;

/// The engine of the bootloader's legacy firmware-update procedure, over a control-point characteristic
/// (requests written with response, responses notified) and a packet characteristic (sizes and image data
/// written without response). DFUOperationsDetails writes the requests; FileOperations loads the image and
/// writes its packets.
///
/// The procedure, as `performDFUOnFile` runs it: notifications on for the control point, start (01 04),
/// the sizes 0, 0, image size; the version characteristic is read when there is one. Then the bootloader's
/// notifications drive it (`processDFUResponse`):
///
/// | request answered | status 1                         | status 3                                    | other status |
/// |------------------|----------------------------------|---------------------------------------------|--------------|
/// | 1 start          | startSendingFile                 | old procedure; on the old one: error, 06    | error, 06    |
/// | 2 init packet    | startSendingFile                 | error, 06                                   | error, 06    |
/// | 3 receive image  | validate (04)                    | error, 06                                   | error, 06    |
/// | 4 validate       | 05, upload time, success         | error, 06                                   | error, 06    |
///
/// startSendingFile: 08 0A 00 (a receipt every 10 packets), 03, the first burst of 10 packets, onDFUStarted.
/// Every receipt notification (0x11) writes the next burst while packets remain. The error is the request's
/// format filled with the status text ("Error on StartDFU\n Message: Operation Not Supported") and goes to
/// `onError`. Responses to other requests, notifications with other codes and responses shorter than 3
/// bytes are ignored. The old procedure (a bootloader that answers the start with status 3): notifications
/// on, 01, the image size as 4 bytes.
///
/// One update at a time: the flags of the procedure (old procedure, second file, version characteristic,
/// one file for soft device and bootloader) and the upload's start and finish times are shared by every
/// engine of the process, so an engine that starts an update claims the process's update slot. While
/// another engine holds it, `performDFUOnFile` (and `performOldDFUOnFile`) refuses: the delegate gets
/// `onError` "Another firmware update is running" and nothing is written. The slot is given back when the
/// update ends: the validation answered (after 05), an error answered (after 06), a version of 0 (after 06),
/// `cancelDFU`, `linkEnded`, or the engine's destruction. The old-procedure fall-back keeps the slot.
///
/// The application's FirmwareUpdateObserver (optional, looked up at each delivery; nothing it does changes
/// what is written) hears: Preparing with the image size when the file is opened; Uploading with the bytes
/// sent after each burst; Validating once every packet is written; Activating after 05; and once per update
/// the outcome: success with the upload time, or a failure with a one-line reason (the error with its line
/// breaks made one space, "Another firmware update is running", "The firmware image is empty: <why>",
/// "The link to the bracelet was lost during the update", "The firmware update was cancelled", or
/// "The bootloader reported update version 0 and was reset"). A file with no image is reported as a failure
/// at once, but the procedure goes on exactly as it would without an observer.
///
/// Times come from the clock the engine is given (the executor's), never from the system clock.
///
/// Threads: everything runs on the callback queue ("halvora.cb") where the bootloader's notifications arrive;
/// only the shared flags and the slot are guarded (they may be touched by engines on other queues). The
/// delegate is not owned and must outlive the engine.
class DFUOperations : public FileOperationsDelegate {
public:
    /// Where "now" comes from.
    using Clock = std::function<MonotonicTime()>;
    /// Where the application's observer is found at the moment of delivery.
    using ObserverSource = std::function<std::shared_ptr<FirmwareUpdateObserver>()>;

    /// The refusal while another engine's update runs.
    static constexpr const char* kAnotherUpdateRunningMessage = "Another firmware update is running";
    /// The observer's failure when the link ends during an update.
    static constexpr const char* kLinkLostMessage = "The link to the bracelet was lost during the update";
    /// The observer's failure for a file with no image, followed by why.
    static constexpr const char* kEmptyImageMessage = "The firmware image is empty: ";
    /// The observer's failure after cancelDFU.
    static constexpr const char* kCancelledMessage = "The firmware update was cancelled";
    /// The observer's failure after a version of 0.
    static constexpr const char* kVersionZeroMessage = "The bootloader reported update version 0 and was reset";

    /// An engine reporting to `dfuDelegate`, taking times from `clock` (none: every time is the epoch) and
    /// reporting to the observer `observer` gives (none: to no observer). Clears the shared
    /// isOneFileForSDAndBL.
    explicit DFUOperations(DFUOperationsDelegate* dfuDelegate, Clock clock = {}, ObserverSource observer = {});
    /// Gives the update slot back when the engine holds it (no callback is made).
    ~DFUOperations() override;
    DFUOperations(const DFUOperations&) = delete;
    DFUOperations& operator=(const DFUOperations&) = delete;

    /// The text of a response status: 2 "Invalid Response", 3 "Operation Not Supported", 4 "Data Size
    /// Exceeds", 5 "CRC Error", 6 "Operation Failed", anything else "unknown Error".
    static std::string responseErrorMessage(int status);

    /// Keeps the bootloader's peripheral and characteristics (here and in dfuRequests), notes whether a
    /// version characteristic exists (shared flag) and tells the delegate.
    void onDeviceConnectedWithVersion(const std::shared_ptr<Peripheral>& peripheral,
                                      std::shared_ptr<Characteristic> packetCharacteristic,
                                      std::shared_ptr<Characteristic> controlPointCharacteristic,
                                      std::shared_ptr<Characteristic> versionCharacteristic);
    /// Starts an update of the image in `fileURL` with the new procedure (see the class comment); refused while
    /// another engine's update runs. A call while this engine's own update runs starts it again.
    void performDFUOnFile(const std::filesystem::path& fileURL);
    /// Starts an update with the old procedure: notifications on, 01, the size as 4 bytes. Nothing for an
    /// absent file; refused while another engine's update runs.
    void performOldDFUOnFile(const std::optional<std::filesystem::path>& fileURL);
    /// Resets the bootloader (06) and tells the delegate onDFUCancelled; the update ends.
    void cancelDFU();
    /// Notifications on for the control point, then 01 04.
    void setAppToBootloaderMode();
    /// A control-point notification (see the class comment). An empty one is ignored.
    void processDFUResponse(std::span<const std::uint8_t> data);
    /// The bootloader's update version: 0 resets the bootloader (06) and ends the update; any other value goes
    /// to the delegate's onReadDFUVersion.
    void onReadDfuVersion(int version);
    /// The link to the bootloader is gone: the delegate hears onDeviceDisconnected (once per link given with
    /// onDeviceConnectedWithVersion); an update still running ends (the observer hears "The link to the bracelet was
    /// lost during the update" unless the update had already reported its outcome) and the slot is given back.
    void linkEnded();

    // FileOperationsDelegate

    /// Adds the image size to binFileSize.
    void onFileOpened(std::size_t fileSize) override;
    /// Passed on to the delegate.
    void onTransferPercentage(int percentage) override;
    /// Every packet is written (passed on as onBootloaderUploadCompleted only while a second file is sent).
    void onAllPacketsTranferred() override;
    /// Passed on to the delegate's onError.
    void onError(const std::string& message) override;

    // State, for tools and tests.

    /// The delegate.
    DFUOperationsDelegate* dfuDelegate() const { return dfuDelegate_; }
    /// The request writer.
    const DFUOperationsDetails& dfuRequests() const { return dfuRequests_; }
    /// The image being sent, or nothing before an update started.
    const FileOperations* fileRequests() const { return fileRequests_.get(); }
    /// The sum of the sizes of the files opened for this update.
    std::uint64_t binFileSize() const { return binFileSize_; }
    /// The image file of the update, or nothing before one started.
    const std::optional<std::filesystem::path>& firmwareFile() const { return firmwareFile_; }
    /// The bootloader's last control-point notification.
    const DFUResponse& dfuResponse() const { return dfuResponse_; }
    /// Whole seconds from the start of the upload to the validation, once validated.
    std::int64_t uploadTimeInSeconds() const { return uploadTimeInSeconds_; }
    /// True while this engine holds the update slot.
    bool isUpdateRunning() const;

private:
    bool claimSlot();
    void refuse();
    void prepareFile();
    void initParameters();
    void startSendingFile();
    void writeBurst();
    void calculateDFUTime();
    void handleResponse();
    void handleStartResponse(std::uint8_t status);
    void handleValidateResponse(std::uint8_t status);
    void fail(std::uint8_t opcode, std::uint8_t status);
    void endUpdate();
    MonotonicTime now() const;
    std::uint32_t sizeField() const;

    DFUOperationsDelegate* dfuDelegate_;
    Clock clock_;
    std::unique_ptr<DFUProgressReporter> reporter_;
    std::uint64_t engineNumber_;
    DFUOperationsDetails dfuRequests_;
    std::unique_ptr<FileOperations> fileRequests_;
    std::uint64_t binFileSize_ = 0;
    std::optional<std::filesystem::path> firmwareFile_;
    DFUResponse dfuResponse_;
    std::weak_ptr<Peripheral> bluetoothPeripheral_;
    std::shared_ptr<Characteristic> dfuPacketCharacteristic_;
    std::shared_ptr<Characteristic> dfuControlPointCharacteristic_;
    std::shared_ptr<Characteristic> dfuVersionCharacteristic_;
    std::int64_t uploadTimeInSeconds_ = 0;
    bool linkUp_ = false;
};

}  // namespace halvora
