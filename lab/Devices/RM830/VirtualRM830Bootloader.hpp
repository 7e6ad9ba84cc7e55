#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lab/Devices/RM830/RM830UpdaterScript.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

/// The RM830 bracelet's bootloader (its firmware-update mode), seen from the bracelet's side. The bracelet
/// (VirtualRM830) owns it and puts it on the air in its own place when the phone asks for the updater
/// (0x47); it is not made on its own, except by tests.
///
/// On the air: name and local name "DfuTarg", the update service advertised, an identifier derived from the
/// bracelet's (identifierFor()). GATT: the update service with the control point (write, notify), the
/// packet characteristic (write without response) and the version characteristic (read; the script's
/// value, "08 00" unless scripted).
///
/// The phone's requests on the control point, and what the bootloader does (answers are control-point
/// notifications 10 OP ST: OP the request's opcode, ST its status, 1 for success):
///   - 01 04: start of the new procedure for an application image. The next packet must carry three 32-bit
///     little-endian sizes (soft device, bootloader, application; only an application, so the first two
///     are 0); then 10 01 01. 01 alone starts the old procedure, whose next packet carries one 4-byte
///     size. A start drops what an earlier one received. Sizes of another length, or a soft device or
///     bootloader size, are answered 10 01 06 (operation failed); an application size of 0 10 01 04 (data
///     size exceeds: nothing it could take); another image type 10 01 03;
///   - 02 00 / 02 01 (after the start): packets in between are the init packet; 02 01 is answered 10 02 01;
///   - 08 NN NN: a packet receipt notification every NN packets (16 bits little-endian; 0: none);
///   - 03 (after the start): packets are image data from now on. After every NN packets the bootloader
///     notifies 11 and the image bytes received so far (32 bits little-endian). The packet that brings the
///     bytes to the announced size is answered 10 03 01 instead; one going past it 10 03 04 (data size
///     exceeds), which ends the transfer;
///   - 04: 10 04 01 when the image received has the announced size, else 10 04 05 (CRC error);
///   - 05: activates a validated image: the link drops, the bootloader leaves the air and the bracelet comes
///     back running the new image (the version in the image's header, "J055" and four signed bytes, else
///     the script's versionAfterUpdate). Without a validated image 05 acts as 06;
///   - 06: reset: the link drops, the bootloader leaves the air and the bracelet comes back as it was;
///   - 02, 03 out of order: 10 OP 02 (invalid state); an unknown opcode, or a request of the wrong length:
///     10 OP 03 (not supported). An empty write is ignored.
/// Packets outside a phase that expects them are ignored and logged. A new link starts the procedure
/// anew (what was received stays readable until the next start). The bootloader gives up by itself after
/// the script's inactivity time without a write from the phone, counted from its appearance: it resets as
/// for 06. The script's faults (RM830UpdaterFaults) and the lab's link faults apply on top.
///
/// Caps: the image kept is at most the announced size and at most kMaxImageBytes (bytes past either are
/// counted, not kept); the init packet kept is at most kMaxInitPacketBytes; the requests recorded are the
/// latest kMaxRecordedRequests.
///
/// Threads: the bootloader's state changes on the lab queue; the accessors may be called from any thread.
class VirtualRM830Bootloader : public VirtualPeripheral {
public:
    /// The update service, also advertised.
    static inline const BLEUUID kService{"00001530-1212-EFDE-1523-785FEABCD123"};
    /// The control point: the phone's requests (write), the answers and receipts (notify).
    static inline const BLEUUID kControlPoint{"00001531-1212-EFDE-1523-785FEABCD123"};
    /// The packet characteristic: sizes, init packet and image data (write without response).
    static inline const BLEUUID kPacket{"00001532-1212-EFDE-1523-785FEABCD123"};
    /// The bootloader's version (read).
    static inline const BLEUUID kVersion{"00001534-1212-EFDE-1523-785FEABCD123"};
    /// The name it advertises.
    static inline const std::string kName = "DfuTarg";
    /// The most image bytes kept (a larger image is counted, not kept, past this).
    static constexpr std::size_t kMaxImageBytes = std::size_t{4} * 1024 * 1024;
    /// The most init-packet bytes kept.
    static constexpr std::size_t kMaxInitPacketBytes = 1024;
    /// The latest control-point requests kept for requests().
    static constexpr std::size_t kMaxRecordedRequests = 1024;

    /// Where the bootloader is in the update procedure.
    enum class State {
        Off,                  ///< not on the air
        WaitingForStart,      ///< on the air, no procedure started (or the last one ended in an error)
        WaitingForSizes,      ///< a start request came; the next packet carries the size(s)
        Started,              ///< sizes taken and answered with success
        ReceivingInitPacket,  ///< between 02 00 and 02 01
        ReceivingImage,       ///< after 03, until the announced size is reached
        ImageReceived,        ///< the image arrived whole (10 03 01)
        Validated,            ///< validation answered with success
    };

    /// Called on the lab queue when the bootloader has left the air: with the version the bracelet now
    /// runs after an activation, with nothing after a reset (06, inactivity).
    using ExitHandler = std::function<void(std::optional<std::string> newVersion)>;

    /// A bootloader with this identity, off the air until enter().
    explicit VirtualRM830Bootloader(VirtualPeripheralConfig config);
    ~VirtualRM830Bootloader() override;

    /// The identifier of the bracelet `braceletIdentifier`'s bootloader: the bracelet's with the first two
    /// digits of its last group replaced by "DF" ("FD" when they are "DF" already), so that it stays apart
    /// from the lab's other devices, whose identifiers usually count up in the last digits; an identifier
    /// whose last group does not start with two hexadecimal digits gets "-DFU" added.
    static std::string identifierFor(const std::string& braceletIdentifier);
    /// The bootloader's identity for the bracelet configured by `bracelet`: identifierFor() its identifier,
    /// "DfuTarg", the update service advertised, the bracelet's signal strength and advertising interval.
    static VirtualPeripheralConfig configFor(const VirtualPeripheralConfig& bracelet);

    /// Comes on the air as a freshly started bootloader that behaves as `script` says and calls `onExit`
    /// when it leaves. Everything received before is forgotten. Needs a radio (the bootloader must be in
    /// one); nothing happens while it is already on the air.
    void enter(const RM830UpdaterScript& script, ExitHandler onExit);

    /// Where the procedure stands.
    State state() const;
    /// The image bytes kept (at most the announced size and kMaxImageBytes).
    std::vector<std::uint8_t> image() const;
    /// The image bytes received since the last start, past the caps too.
    std::uint64_t imageBytesReceived() const;
    /// The application size the last start announced, if sizes arrived.
    std::optional<std::uint32_t> announcedSize() const;
    /// The init packet kept (at most kMaxInitPacketBytes).
    std::vector<std::uint8_t> initPacket() const;
    /// Image packets received since the last start.
    int packetsReceived() const;
    /// Packet receipts sent since the last start.
    int receiptsSent() const;
    /// Every write to the control point since the bootloader last came on the air, oldest first (the
    /// latest kMaxRecordedRequests).
    std::vector<std::vector<std::uint8_t>> requests() const;
    /// How often the bootloader has come on the air.
    int visits() const;

protected:
    /// A new link: the procedure starts anew.
    void onConnected() override;
    /// A request on the control point or a packet; other writes are ignored.
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;

private:
    using Frame = std::vector<std::uint8_t>;
    /// What the bootloader does after a write.
    enum class Action { None, DropLink, Reset, Activate };
    /// The notifications to send, then the action.
    struct Outcome {
        std::vector<Frame> notifications;
        Action action = Action::None;
    };

    // Under mutex_.
    Outcome onRequest(const std::vector<std::uint8_t>& value);
    Outcome onStart(const std::vector<std::uint8_t>& value);
    Outcome onInitPacket(const std::vector<std::uint8_t>& value);
    Outcome onReceiveImage(const std::vector<std::uint8_t>& value);
    Outcome onValidate(const std::vector<std::uint8_t>& value);
    Outcome onLeave(const std::vector<std::uint8_t>& value);
    Outcome onReceiptInterval(const std::vector<std::uint8_t>& value);
    Outcome onPacket(const std::vector<std::uint8_t>& value);
    Outcome takeSizes(const std::vector<std::uint8_t>& value);
    Outcome takeImagePacket(const std::vector<std::uint8_t>& value);
    Outcome imageComplete();
    Outcome receiptDue();
    void beginProcedure(bool oldProcedure);
    void recordRequest(const std::vector<std::uint8_t>& value);
    std::string versionAfterActivation() const;

    // Lab queue, outside mutex_.
    void carryOut(Outcome outcome);
    void leave(Action why);
    void checkInactivity(int visit);

    mutable std::mutex mutex_;
    RM830UpdaterScript script_;
    ExitHandler onExit_;
    State state_ = State::Off;
    bool oldProcedure_ = false;
    std::optional<std::uint32_t> announced_;
    std::vector<std::uint8_t> image_;
    std::uint64_t bytesReceived_ = 0;
    std::vector<std::uint8_t> initPacket_;
    int packets_ = 0;
    int receiptInterval_ = 0;  // 0: no receipts
    int receiptsDue_ = 0;
    int receiptsSent_ = 0;
    bool linkDropped_ = false;  // the scripted drop happened during this visit
    std::deque<Frame> requests_;
    MonotonicTime lastWrite_{};
    int visits_ = 0;  // also tells the inactivity checks of an earlier visit apart
};

}  // namespace halvora::lab
