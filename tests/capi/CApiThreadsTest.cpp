// The threading rules the header states, kept: one thread inside calls on a model while another cancels
// it (a run, then a summary), and separate models on separate threads. Under the sanitizer build these
// are the patterns that must stay clean.
#include "capi/CApiTestSupport.hpp"

#include <atomic>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

using ostreljet::testsupport::Model;
using ostreljet::testsupport::validVent;

TEST(CApiThreads, ACancelFromAnotherThreadStopsASummaryAndTheNextStartsAfresh) {
    // One thread cancels without pause while this one summarises again and again: each summary is either
    // whole or cut by the cancel, never anything else, and a cut one says exactly what it left.
    Model m = validVent();
    ASSERT_EQ(ostreljet_run(m.get()), 1);
    std::atomic<bool> stop{false};
    std::thread canceller([&] {
        while (!stop.load()) {
            ostreljet_cancel(m.get());
            std::this_thread::yield();
        }
    });
    int cut = 0;
    const auto start = std::chrono::steady_clock::now();
    while (cut == 0 && std::chrono::steady_clock::now() - start < std::chrono::seconds(20)) {
        ASSERT_EQ(ostreljet_summarize(m.get(), "5%,2.5%", "vol"), 2);
        const char *message = ostreljet_summary_cut_message(m.get());
        if (message == nullptr) {
            EXPECT_EQ(ostreljet_summary_level_figure(m.get(), 1, "regionComputed"), 1.0);
            EXPECT_FALSE(std::isnan(ostreljet_summary_level_figure(m.get(), 1, "farthestDownwindExtent")));
        } else {
            ++cut;
            EXPECT_STREQ(message,
                         "The summary was cancelled; the answers it had not reached are not computed.");
            EXPECT_EQ(ostreljet_summary_level_figure(m.get(), 1, "regionComputed"), 0.0);
            EXPECT_TRUE(std::isnan(ostreljet_summary_level_figure(m.get(), 1, "farthestDownwindExtent")));
            EXPECT_EQ(ostreljet_summary_figure(m.get(), "groundMaximumComputed"), 0.0);
        }
    }
    stop.store(true);
    canceller.join();
    EXPECT_GT(cut, 0);

    // With the canceller gone, the next summary starts afresh and is whole.
    ASSERT_EQ(ostreljet_summarize(m.get(), "5%,2.5%", "vol"), 2);
    EXPECT_EQ(ostreljet_summary_cut_message(m.get()), nullptr);
    EXPECT_EQ(ostreljet_summary_level_figure(m.get(), 1, "regionComputed"), 1.0);
}

TEST(CApiThreads, SeparateModelsRunOnSeparateThreadsAndASummaryNeedsARun) {
    Model fresh = validVent();
    ASSERT_EQ(ostreljet_set(fresh.get(), "stoppingConcentration", 0.0), 0);
    EXPECT_EQ(ostreljet_summarize(fresh.get(), nullptr, nullptr), OSTRELJET_INVALID_ARGUMENT);
    EXPECT_STREQ(ostreljet_last_error(),
                 "no levels given, and the default level, the stopping concentration, "
                 "is not set (stoppingConcentration is 0)");

    std::vector<double> farthest(4, 0.0);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < farthest.size(); ++t) {
        threads.emplace_back([&farthest, t] {
            Model m = validVent();
            if (ostreljet_run(m.get()) == 1 && ostreljet_summarize(m.get(), "5%", "vol") == 1) {
                farthest[t] = ostreljet_summary_level_figure(m.get(), 0, "farthestDownwindExtent");
            }
            for (int i = 0; i < ostreljet_message_count(m.get()); ++i) {
                static_cast<void>(std::string(ostreljet_message(m.get(), i)));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_GT(farthest[0], 0.0);
    for (const double value : farthest) {
        EXPECT_EQ(value, farthest[0]);
    }
}
