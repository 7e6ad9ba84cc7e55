#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <vector>

#include "halvora/Core/Queue.hpp"

namespace halvora {
namespace {

using std::chrono::milliseconds;

TEST(QueueTest, HandsOutElementsInArrivalOrderAndIgnoresNothing) {
    Queue<int> queue;
    queue.enqueue(1);
    queue.enqueue(std::nullopt);
    queue.enqueue(2);
    EXPECT_EQ(queue.size(), 2U);
    EXPECT_EQ(queue.dequeue(), 1);
    EXPECT_EQ(queue.tryDequeueFor(milliseconds{0}), 2);
    EXPECT_EQ(queue.tryDequeueFor(milliseconds{1}), std::nullopt);
}

TEST(QueueTest, NullPointersAreIgnored) {
    Queue<std::shared_ptr<int>> queue;
    queue.enqueue(std::shared_ptr<int>{});
    queue.enqueue(std::make_shared<int>(7));
    EXPECT_EQ(queue.size(), 1U);
    EXPECT_EQ(*queue.dequeue(), 7);
}

TEST(QueueTest, DequeueWaitsForAProducer) {
    Queue<int> queue;
    std::optional<int> received;
    std::thread consumer([&] { received = queue.dequeue(); });
    queue.enqueue(42);
    consumer.join();
    EXPECT_EQ(received, 42);
}

TEST(QueueTest, SeveralProducersAndConsumersDeliverEachElementOnceInProducerOrder) {
    constexpr int kProducers = 4;
    constexpr int kConsumers = 3;
    constexpr int kPerProducer = 500;
    constexpr int kStop = -1;
    Queue<int> queue;
    std::vector<std::vector<int>> received(kConsumers);
    std::vector<std::thread> consumers;
    consumers.reserve(kConsumers);
    for (int c = 0; c < kConsumers; ++c) {
        consumers.emplace_back([&queue, &mine = received[c]] {
            for (int item = queue.dequeue(); item != kStop; item = queue.dequeue()) mine.push_back(item);
        });
    }
    std::vector<std::thread> producers;
    producers.reserve(kProducers);
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&queue, p] {
            for (int i = 0; i < kPerProducer; ++i) queue.enqueue(p * kPerProducer + i);
        });
    }
    for (std::thread& producer : producers) producer.join();
    for (int c = 0; c < kConsumers; ++c) queue.enqueue(kStop);
    for (std::thread& consumer : consumers) consumer.join();

    std::vector<int> all;
    for (const std::vector<int>& mine : received) {
        // Each consumer sees the elements of one producer in the order they were made.
        std::vector<int> last(kProducers, -1);
        for (const int item : mine) {
            EXPECT_GT(item, last[item / kPerProducer]);
            last[item / kPerProducer] = item;
        }
        all.insert(all.end(), mine.begin(), mine.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), static_cast<std::size_t>(kProducers * kPerProducer));
    for (int i = 0; i < kProducers * kPerProducer; ++i) ASSERT_EQ(all[i], i);
    EXPECT_EQ(queue.size(), 0U);
}

}  // namespace
}  // namespace halvora
