// Stand-in logging library: printf-style messages to standard error, or to a sink set by a test.
#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "oz_log.h"

namespace {

struct SinkState {
    oz_log_sink sink;
    void *user;
};

// Set once by a test before logging threads start; read atomically by every message.
std::atomic<const SinkState *> g_sink{nullptr};
SinkState g_states[2];
std::atomic<int> g_next{0};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void oz_log(int32_t level, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const SinkState *state = g_sink.load(std::memory_order_acquire);
    if (state == nullptr) {
        std::vfprintf(stderr, format, args);
    } else {
        char text[1024];
        std::vsnprintf(text, sizeof text, format, args);
        state->sink(state->user, level, text);
    }
    va_end(args);
}

__attribute__((visibility("default"))) void oz_log_set_sink(oz_log_sink sink, void *user) {
    if (sink == nullptr) {
        g_sink.store(nullptr, std::memory_order_release);
        return;
    }
    // Two alternating states, so a message in flight keeps reading a state that is not being written.
    SinkState *state = &g_states[g_next.fetch_add(1) & 1];
    state->sink = sink;
    state->user = user;
    g_sink.store(state, std::memory_order_release);
}

}  // extern "C"
