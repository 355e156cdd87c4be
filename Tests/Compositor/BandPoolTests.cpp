#include "Compositor/BandPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <stdexcept>

namespace lumenwhirl {
namespace {

TEST(BandPool, whatABandThrowsComesOutOnceAllHaveEnded) {
    BandPool pool(3);
    std::barrier together(3);  // each band on a thread of its own
    std::atomic<int> drawn = 0;
    const auto draw = [&](bool fails) {
        pool.run(3, [&](int band) {
            together.arrive_and_wait();
            if (fails && band != 1) throw std::runtime_error("no memory");
            ++drawn;
        });
    };
    for (int round = 1; round <= 50; ++round) {
        EXPECT_THROW(draw(true), std::runtime_error);
        draw(false);
        EXPECT_EQ(drawn, 4 * round);  // one of the failed bands, and all three
    }
}

}  // namespace
}  // namespace lumenwhirl
