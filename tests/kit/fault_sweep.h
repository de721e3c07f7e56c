// Test kit: allocation-failure sweep over the library's heap seam, and a diagnostics recorder.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "common/diag.h"
#include "common/faultsim.h"

namespace oz::test {

struct SweepResult {
    uint64_t points = 0;  // allocations the unarmed run made (each one failed in turn)
    uint64_t trials = 0;  // armed runs
};

// Runs `scenario` once unarmed to count its allocations, then, for every allocation n, runs it with
// the n-th allocation failing once, and again with every allocation from the n-th on failing. The
// scenario must check its own outcome (it may ask faultsim::failures() whether a failure was injected)
// and release what it created; after every run the number of live heap blocks must be back at its
// starting value. Stops early when a trial injects nothing. Prints the number of allocation points the
// sweep covered, under the current test's name and `entry_point` (the exported function swept).
inline SweepResult fault_sweep(const std::function<void()> &scenario, const char *entry_point = nullptr) {
    SweepResult result;
    const int64_t baseline = faultsim::live_blocks();
    faultsim::reset_counters();
    scenario();
    result.points = faultsim::allocations();
    EXPECT_EQ(faultsim::live_blocks(), baseline) << "unarmed run leaked";
    for (int repeat = 0; repeat < 2; ++repeat) {
        for (uint64_t n = 1; n <= result.points; ++n) {
            faultsim::reset_counters();
            faultsim::arm(n, repeat == 1);
            scenario();
            const uint64_t injected = faultsim::failures();
            faultsim::disarm();
            ++result.trials;
            EXPECT_EQ(faultsim::live_blocks(), baseline)
                << "leak after failing allocation " << n << (repeat ? " and every later one" : " once");
            if (injected == 0) break;
        }
    }
    const ::testing::TestInfo *test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::printf("[alloc-sweep] %s.%s%s%s: %llu allocation points, %llu trials\n",
                test ? test->test_suite_name() : "?", test ? test->name() : "?", entry_point ? " " : "",
                entry_point ? entry_point : "", static_cast<unsigned long long>(result.points),
                static_cast<unsigned long long>(result.trials));
    return result;
}

// True while the current trial has injected a failure.
inline bool fault_injected() { return faultsim::failures() != 0; }

// Records every diagnostics event, with its text copied.
class DiagRecorder : public DiagSink {
  public:
    struct Entry {
        DiagEvent event;
        std::string what;
    };
    void report(const DiagEvent &e) override { entries.push_back({e, e.what}); }

    // The first event of this kind, or null.
    const Entry *find(DiagKind kind) const {
        for (const Entry &e : entries)
            if (e.event.kind == kind) return &e;
        return nullptr;
    }
    // The first event of this kind whose record id is `id`, or null.
    const Entry *find(DiagKind kind, uint16_t id) const {
        for (const Entry &e : entries)
            if (e.event.kind == kind && e.event.id == id) return &e;
        return nullptr;
    }
    std::vector<Entry> entries;
};

}  // namespace oz::test
