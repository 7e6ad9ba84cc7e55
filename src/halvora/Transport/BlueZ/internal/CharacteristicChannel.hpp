#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Transport/Characteristic.hpp"

namespace halvora::bluez {

/// The requests to one characteristic over one link, one at a time, and the values it receives.
///
/// bluetoothd answers a second operation on an attribute that is still busy with
/// org.bluez.Error.InProgress, so requests wait here until the previous one is answered, in order.
/// Values arrive as PropertiesChanged of Value: they are notifications while notifications are on (or
/// being switched on). bluetoothd also changes Value when a read is answered, just before the answer:
/// values that arrive while a read is pending are held, and the one equal to the read's answer (the last
/// such) is dropped, so that a read's value is delivered once, as the read's. Used on the bus thread only.
class CharacteristicChannel {
public:
    struct Request {
        enum class Kind { Read, Write, WriteWithoutResponse, NotifyOn, NotifyOff };
        Kind kind;
        std::vector<std::uint8_t> value;
    };
    /// Most requests waiting; further ones are refused.
    static constexpr std::size_t kMaxQueued = 256;
    /// Most values held back while a read is pending; older ones are released as notifications.
    static constexpr std::size_t kMaxHeld = 64;

    CharacteristicChannel(std::string path, std::shared_ptr<Characteristic> characteristic)
        : path_(std::move(path)), characteristic_(std::move(characteristic)) {}

    const std::string& path() const { return path_; }
    const std::shared_ptr<Characteristic>& characteristic() const { return characteristic_; }

    /// Queues a request; false when too many wait.
    bool enqueue(Request request);
    /// The next request to send, if none is in flight (it is then in flight until finish()).
    std::optional<Request> next();
    void finish() { busy_ = false; }
    bool isBusy() const { return busy_; }
    /// Every request not answered yet (in flight first), which leaves the channel empty.
    std::vector<Request> takeAll();

    // ---- notifications
    bool isNotifying() const { return notifying_; }
    void setNotifying(bool on) { notifying_ = on; }
    void setNotifyRequested(bool requested) { notifyRequested_ = requested; }
    bool isNotifyRequested() const { return notifyRequested_; }
    /// Whether a Value change now is for this channel: notifications on or asked for, or a read pending.
    bool takesValues() const { return wantsValues() || readPending_; }

    /// A Value change arrived. Returns the values to deliver as notifications now (none while a read is
    /// pending or notifications are off).
    std::vector<std::vector<std::uint8_t>> valueArrived(std::vector<std::uint8_t> value);
    /// A read is about to be sent.
    void readStarted();
    /// The read was answered with `value` (or failed, without one). Returns the held values to deliver as
    /// notifications before the read's answer.
    std::vector<std::vector<std::uint8_t>> readEnded(const std::vector<std::uint8_t>* value);

private:
    bool wantsValues() const { return notifying_ || notifyRequested_; }

    const std::string path_;
    const std::shared_ptr<Characteristic> characteristic_;
    std::deque<Request> queue_;
    std::optional<Request> inFlight_;
    bool busy_ = false;
    bool notifying_ = false;
    bool notifyRequested_ = false;
    bool readPending_ = false;
    std::vector<std::vector<std::uint8_t>> held_;
};

}  // namespace halvora::bluez
