// Streaming copies and the store fence of the scaling kernels (SSE2, part of every x86-64 target).
#include "resample/stream.h"

#include <emmintrin.h>

#include <cstring>

namespace oz {

void stream_copy(void *dst, const void *src, size_t bytes) {
    uint8_t *d = static_cast<uint8_t *>(dst);
    const uint8_t *s = static_cast<const uint8_t *>(src);
    const size_t head = (16 - (reinterpret_cast<uintptr_t>(d) & 15)) & 15;
    if (head >= bytes) {
        std::memcpy(d, s, bytes);
        return;
    }
    std::memcpy(d, s, head);
    size_t i = head;
    for (; i + 64 <= bytes; i += 64) {
        // SAFETY: i + 64 <= bytes, and d + i is 16-byte aligned.
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i + 16));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i + 32));
        const __m128i e = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i + 48));
        _mm_stream_si128(reinterpret_cast<__m128i *>(d + i), a);
        _mm_stream_si128(reinterpret_cast<__m128i *>(d + i + 16), b);
        _mm_stream_si128(reinterpret_cast<__m128i *>(d + i + 32), c);
        _mm_stream_si128(reinterpret_cast<__m128i *>(d + i + 48), e);
    }
    for (; i + 16 <= bytes; i += 16)
        _mm_stream_si128(reinterpret_cast<__m128i *>(d + i), _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i)));
    std::memcpy(d + i, s + i, bytes - i);
}

void store_fence() { _mm_sfence(); }

}  // namespace oz
