// Allocation fault injection for the tests (linked only into oz_cmc_faultsim, never into the shipped
// library). The state is per thread, so concurrent tests do not disturb each other.
#pragma once

#include <cstdint>

namespace oz::faultsim {

// Fail the n-th allocation from now (n >= 1); with `repeat`, also every allocation after it.
void arm(uint64_t n, bool repeat);
// Stop failing allocations.
void disarm();
// Allocations attempted (failed or not) since the last reset_counters().
uint64_t allocations();
// Allocations failed on purpose since the last reset_counters().
uint64_t failures();
// Blocks allocated through the seam and not yet freed (never reset: compare against a baseline).
int64_t live_blocks();
void reset_counters();

}  // namespace oz::faultsim
