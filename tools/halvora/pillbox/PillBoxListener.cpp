#include "PillBoxListener.hpp"

#include <variant>

namespace halvora::cli {

std::int32_t PillBoxListener::Event::request() const {
    return std::visit([](const auto& record) { return record.request; }, result);
}

const std::string* PillBoxListener::Event::messageText() const {
    const auto* message = std::get_if<HalvoraSDKPillReminderMessageData>(&result);
    return message ? &message->messageText : nullptr;
}

void PillBoxListener::pillReminderOnResult(const HalvoraSDKPillReminderResult& result) {
    add({false, result});
}

void PillBoxListener::pillReminderOnError(const HalvoraSDKPillReminderMessageData& error) {
    add({true, error});
}

void PillBoxListener::add(Event event) {
    std::function<void(const Event&)> watcher;
    {
        std::lock_guard lock(mutex_);
        events_.push_back(event);
        watcher = watcher_;
    }
    // Called without the lock: the watcher prints.
    if (watcher) watcher(event);
}

void PillBoxListener::setWatcher(std::function<void(const Event&)> watcher) {
    std::lock_guard lock(mutex_);
    watcher_ = std::move(watcher);
}

PillBoxListener::Mark PillBoxListener::mark() const {
    std::lock_guard lock(mutex_);
    return events_.size();
}

std::vector<PillBoxListener::Event> PillBoxListener::eventsSince(Mark since) const {
    std::lock_guard lock(mutex_);
    if (since >= events_.size()) return {};
    return {events_.begin() + static_cast<std::ptrdiff_t>(since), events_.end()};
}

}  // namespace halvora::cli
