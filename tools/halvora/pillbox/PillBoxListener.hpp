#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Devices/PillReminder/HalvoraPillReminderDelegate.hpp"

namespace halvora::cli {

/// The tool's delegate for the pill box: it keeps every result and error in the order they came, so that
/// the pillbox commands can wait for what answers their request, and hands each to a watcher as it comes.
/// Callbacks arrive on the kit's callback queue; everything is guarded.
class PillBoxListener : public HalvoraPillReminderDelegate {
public:
    /// One report of the driver: a result, or an error (then `result` holds the error's message).
    struct Event {
        bool error = false;                   ///< whether it came as an error
        HalvoraSDKPillReminderResult result;  ///< the record, or the error's message

        /// The request the report answers.
        std::int32_t request() const;
        /// The message text it carries, or nothing for a dated record or a list.
        const std::string* messageText() const;
    };
    /// How many reports had come at some moment: those after it answer a request made then.
    using Mark = std::size_t;

    void pillReminderOnResult(const HalvoraSDKPillReminderResult& result) override;
    void pillReminderOnError(const HalvoraSDKPillReminderMessageData& error) override;

    /// Calls `watcher` with every report from now on, on the kit's queue (keep it short); an empty function
    /// stops it.
    void setWatcher(std::function<void(const Event&)> watcher);

    Mark mark() const;
    /// The reports that came after `since`, in order.
    std::vector<Event> eventsSince(Mark since) const;

private:
    void add(Event event);

    mutable std::mutex mutex_;
    std::function<void(const Event&)> watcher_;
    std::vector<Event> events_;
};

}  // namespace halvora::cli
