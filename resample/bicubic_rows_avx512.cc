// AVX-512 evaluation row of the bicubic upscaling to float: sixteen outputs per vector, each lane in
// the order of operations of the scalar row. The other rows of the set are the AVX2 ones; irregular
// groups and tails shorter than sixteen columns go to the AVX2 evaluation row, which hands its own
// leftovers to the scalar row.
#include "resample/bicubic_eval_simd.h"
#include "resample/bicubic_rows.h"

#ifdef OZ_HAS_BICUBIC_ROW_AVX512

#include <immintrin.h>

namespace oz {
namespace {

struct Avx512Eval {
    using F = __m512;
    static constexpr int kLanes = 16;
    // The group's window of cells base .. base + span and each lane's place in it.
    struct Lanes {
        int32_t base;
        __mmask16 window;  // the cells of the window: only these are read
        __m512i idx;
    };
    static F set1(float v) { return _mm512_set1_ps(v); }
    static F load(const float *p) { return _mm512_loadu_ps(p); }
    static F add(F a, F b) { return _mm512_add_ps(a, b); }
    static F mul(F a, F b) { return _mm512_mul_ps(a, b); }
    static void store_clamped(float *p, F v) {
        _mm512_storeu_ps(p, _mm512_min_ps(_mm512_set1_ps(65535.0f), _mm512_max_ps(_mm512_set1_ps(-255.0f), v)));
    }
    static bool lanes(const int32_t *cell, int x, Lanes *l) {
        l->base = cell[x];
        const int32_t span = cell[x + 15] - l->base;
        if (span > 15) return false;
        l->window = __mmask16(span == 15 ? 0xFFFFu : (1u << (span + 1)) - 1u);
        l->idx = _mm512_sub_epi32(_mm512_loadu_si512(cell + x), _mm512_set1_epi32(l->base));
        return true;
    }
    // The masked load reads only the window's cells.
    static F gather(const float *a, const Lanes &l) {
        return _mm512_permutexvar_ps(l.idx, _mm512_maskz_loadu_ps(l.window, a + l.base));
    }
    static constexpr bicubic_eval_row fallback = bicubic_eval_row_f32_avx2;
};

}  // namespace

void bicubic_eval_row_f32_avx512(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1,
                                 const float *tx2, const float *tx3, const bicubic_dst_rows &rows, int begin,
                                 int end) {
    bicubic_eval_row_vec<Avx512Eval>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
}

}  // namespace oz

#endif  // OZ_HAS_BICUBIC_ROW_AVX512
