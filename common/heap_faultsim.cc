// Test heap seam: the C heap with per-thread fault injection and live-block counting.
#include <cstdlib>

#include "common/faultsim.h"
#include "common/heap.h"

namespace oz {
namespace {

struct FaultState {
    uint64_t countdown = 0;  // 0: disarmed
    bool repeat = false;
    bool tripped = false;
    uint64_t allocations = 0;
    uint64_t failures = 0;
    int64_t live = 0;
};

thread_local FaultState g_fault;

// True when this allocation must fail.
bool faultsim_step() {
    ++g_fault.allocations;
    if (g_fault.tripped && g_fault.repeat) {
        ++g_fault.failures;
        return true;
    }
    if (g_fault.countdown == 0) return false;
    if (--g_fault.countdown == 0) {
        g_fault.tripped = true;
        ++g_fault.failures;
        return true;
    }
    return false;
}

}  // namespace

void *heap_alloc(size_t bytes) {
    if (faultsim_step()) return nullptr;
    void *p = std::malloc(bytes == 0 ? 1 : bytes);
    if (p) ++g_fault.live;
    return p;
}

void *heap_alloc_zeroed(size_t count, size_t size) {
    if (faultsim_step()) return nullptr;
    size_t bytes;
    if (!checked_mul(count, size, &bytes)) return nullptr;
    void *p = std::calloc(bytes == 0 ? 1 : bytes, 1);
    if (p) ++g_fault.live;
    return p;
}

void heap_free(void *p) {
    if (!p) return;
    --g_fault.live;
    std::free(p);
}

namespace faultsim {

void arm(uint64_t n, bool repeat) {
    g_fault.countdown = n;
    g_fault.repeat = repeat;
    g_fault.tripped = false;
}

void disarm() {
    g_fault.countdown = 0;
    g_fault.repeat = false;
    g_fault.tripped = false;
}

uint64_t allocations() { return g_fault.allocations; }
uint64_t failures() { return g_fault.failures; }
int64_t live_blocks() { return g_fault.live; }

void reset_counters() {
    g_fault.allocations = 0;
    g_fault.failures = 0;
}

}  // namespace faultsim
}  // namespace oz
