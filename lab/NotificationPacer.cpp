#include "lab/NotificationPacer.hpp"

#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

NotificationPacer::NotificationPacer(VirtualPeripheral& device, BLEUUID characteristic)
    : device_(device), characteristic_(std::move(characteristic)) {}

void NotificationPacer::send(std::vector<std::vector<std::uint8_t>> notifications, Duration gap) {
    if (notifications.empty()) return;
    int generation = 0;
    bool paced = false;
    {
        std::lock_guard lock(mutex_);
        paced = gap != Duration::zero() || !outbox_.empty();
        if (paced) {
            for (auto& n : notifications) outbox_.push_back(std::move(n));
            if (pumping_) return;  // the running pump sends them in turn
            pumping_ = true;
            generation = generation_;
        }
    }
    if (paced) {
        pump(generation, gap);
        return;
    }
    for (const auto& n : notifications) device_.notify(characteristic_, n);
}

void NotificationPacer::reset() {
    std::lock_guard lock(mutex_);
    ++generation_;
    outbox_.clear();
    pumping_ = false;
}

void NotificationPacer::pump(int generation, Duration gap) {
    std::vector<std::uint8_t> next;
    bool more = false;
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || outbox_.empty()) return;
        next = std::move(outbox_.front());
        outbox_.pop_front();
        more = !outbox_.empty();
        pumping_ = more;
    }
    device_.notify(characteristic_, next);
    if (more) device_.schedule(gap, [this, generation, gap] { pump(generation, gap); });
}

}  // namespace halvora::lab
