/* The first use of the XML library in a process; this program has no other test, so that nothing comes before it. */
#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "balance.h"
#include "trees.h"

namespace {

class XmlPlatform : public BalancedTest {};

TEST_F(XmlPlatform, ManyThreadsMayBeginAtOnce) {
    constexpr int count = 16;
    std::barrier start(count);
    std::atomic<int> good = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&start, &good, i] {
            const std::string text = std::to_string(i) + "\xC3\xA4";
            start.arrive_and_wait();
            const Tree tree = parseTree("<PolicyDocument>" + text + "</PolicyDocument>");
            good += tree != nullptr && tree->text != nullptr && tree->text == text;
            int32_t status = 0;
            parseTree("<PolicyDocument><And>", &status);
            good += status == 3;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(good, 2 * count);
}

}  // namespace
