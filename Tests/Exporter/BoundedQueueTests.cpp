#include "Exporter/BoundedQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

namespace lumenwhirl {
namespace {

std::exception_ptr failure(const char* what) {
    return std::make_exception_ptr(std::runtime_error(what));
}

template <class Work>
std::string whatIsThrownBy(Work&& work) {
    try {
        work();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(BoundedQueue, keepsTheOrderAndNeverHoldsMoreThanItsCapacity) {
    constexpr int count = 2000, capacity = 3;
    BoundedQueue<std::unique_ptr<int>> queue(capacity);
    std::atomic<int> taken = 0;
    std::jthread producer([&](std::stop_token stop) {
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(queue.push(std::make_unique<int>(i), stop));
            // This one and all before it are in the queue or taken; the last one taken may not be counted yet.
            ASSERT_LE(i + 1 - taken, capacity + 1);
        }
        queue.close();
    });
    for (int i = 0; i < count; ++i) {
        const auto value = queue.pop({});
        ++taken;
        ASSERT_TRUE(value);
        ASSERT_EQ(**value, i);
    }
    EXPECT_FALSE(queue.pop({}));
}

TEST(BoundedQueue, givesWhatWaitsBeforeItTellsTheProducersFailure) {
    BoundedQueue<int> queue(4);
    ASSERT_TRUE(queue.push(1, {}));
    ASSERT_TRUE(queue.push(2, {}));
    queue.close(failure("decoder"));
    queue.close(failure("later"));
    EXPECT_EQ(queue.pop({}), 1);
    EXPECT_EQ(queue.pop({}), 2);
    EXPECT_EQ(whatIsThrownBy([&] { static_cast<void>(queue.pop({})); }), "decoder");
}

TEST(BoundedQueue, takesNothingOnceClosedAndTellsTheConsumersFailure) {
    BoundedQueue<int> queue(4), broken(1);
    queue.close();
    EXPECT_FALSE(queue.push(1, {}));
    EXPECT_FALSE(queue.pop({}));
    // A producer that waits for room, or is about to, is told as well.
    ASSERT_TRUE(broken.push(1, {}));
    std::string told;
    std::latch begun(1);
    std::jthread producer([&] {
        begun.count_down();
        told = whatIsThrownBy([&] { broken.push(2, {}); });
    });
    begun.wait();
    broken.close(failure("encoder"));
    producer.join();
    EXPECT_EQ(told, "encoder");
}

TEST(BoundedQueue, aStopEndsEitherSidesWait) {
    for (const bool isFull : {false, true}) {
        BoundedQueue<int> queue(1);
        ASSERT_TRUE(!isFull || queue.push(1, {}));
        std::latch begun(1);
        std::atomic<bool> gaveUp = false;
        std::jthread waiting([&](std::stop_token stop) {
            begun.count_down();
            gaveUp = isFull ? !queue.push(2, stop) : !queue.pop(stop);
        });
        begun.wait();
        waiting.request_stop();
        waiting.join();
        EXPECT_TRUE(gaveUp);
        EXPECT_TRUE(!isFull || queue.pop({}) == 1);
        queue.close();
        EXPECT_FALSE(queue.pop({}));  // the other value was dropped
    }
}

}  // namespace
}  // namespace lumenwhirl
