// Bicubic upscaling of the module's shading tables: every channel grid of every module light source
// is interpolated to the characterization's grid, converted to gains and oriented.
#include <emmintrin.h>

#include <cmath>
#include <memory>

#include "common/heap.h"
#include "common/status.h"
#include "oz_lsc.h"
#include "resample/bicubic_rows.h"

namespace oz {
namespace {

struct TablesDeleter {
    void operator()(upscaled_lsc_tables *t) const noexcept {
        deinit_computed_upscale_lsc_tables(t);
    }
};
using TablesOwner = std::unique_ptr<upscaled_lsc_tables, TablesDeleter>;

// Writes plane `src` (width x height interpolated raw samples) to `dst` as gains s / d + 1.0 (the
// division first, then the addition, single precision), mirroring the columns and/or the rows. Four
// samples at a time; every element is the same two operations as the scalar tail.
void to_gains(const float *src, float *dst, size_t width, size_t height, bool mirror_columns,
              bool mirror_rows, float d) {
    const __m128 dv = _mm_set1_ps(d), one = _mm_set1_ps(1.0f);
    for (size_t r = 0; r < height; ++r) {
        const float *s = src + r * width;
        float *o = dst + (mirror_rows ? height - 1 - r : r) * width;
        size_t q = 0;
        if (!mirror_columns) {
            for (; q + 4 <= width; q += 4)
                _mm_storeu_ps(o + q, _mm_add_ps(_mm_div_ps(_mm_loadu_ps(s + q), dv), one));
            for (; q < width; ++q) o[q] = s[q] / d + 1.0f;
        } else {
            for (; q + 4 <= width; q += 4) {
                const __m128 g = _mm_add_ps(_mm_div_ps(_mm_loadu_ps(s + q), dv), one);
                // Columns q .. q + 3 land at width - 1 - q .. width - 4 - q, reversed.
                _mm_storeu_ps(o + width - 4 - q, _mm_shuffle_ps(g, g, _MM_SHUFFLE(0, 1, 2, 3)));
            }
            for (; q < width; ++q) o[width - 1 - q] = s[q] / d + 1.0f;
        }
    }
}

}  // namespace
}  // namespace oz

extern "C" {

// flip_mode above 3 names no orientation: such a call is rejected (null) rather than returning
// unfilled planes. fraction_bits is used as given: d = 2^fraction_bits is exact in single precision
// up to 127 and infinite beyond (every gain is then 1.0).
OZ_API upscaled_lsc_tables *compute_upscaled_lsc_tables_bicubic(uint16_t width, uint16_t height,
                                                                const nvm_data *nvm,
                                                                uint32_t flip_mode) {
    using namespace oz;
    if (nvm == nullptr || nvm->lsc_tables == nullptr || width == 0 || height == 0) return nullptr;
    if (flip_mode > 3) return nullptr;
    const uint8_t count = nvm->lsc_table_count;
    for (uint32_t i = 0; i < count; ++i)
        for (const void *grid : nvm->lsc_tables[i].channel_grids)
            if (grid == nullptr) return nullptr;

    const size_t n = size_t(width) * height;
    HeapArray<float> work = heap_array_zeroed<float>(4 * n);
    TablesOwner result(heap_new_zeroed<upscaled_lsc_tables>().release());
    if (!work || !result) return nullptr;
    HeapArray<float *> tables = heap_array_zeroed<float *>(count);
    if (!tables) return nullptr;
    result->tables = tables.release();
    result->table_count = count;
    if (count == 0) return result.release();

    float *const planes[4] = {work.get(), work.get() + n, work.get() + 2 * n, work.get() + 3 * n};
    const uint8_t grid_width = nvm->lsc_grid_width, grid_height = nvm->lsc_grid_height;
    const bool mirror_columns = flip_mode == 1 || flip_mode == 3;
    const bool mirror_rows = flip_mode == 2 || flip_mode == 3;
    for (uint32_t i = 0; i < count; ++i) {
        HeapArray<float> block = heap_array<float>(4 * n);
        if (!block) return nullptr;
        float *out = block.get();
        result->tables[i] = block.release();  // owned by result from here on

        const nvm_lsc_table &table = nvm->lsc_tables[i];
        uint32_t status;
        // Raw samples are interpolated (8-bit unscaled, 16-bit with no fraction shift), so the
        // kernel's clamp applies to raw values, before the conversion to gains.
        if (table.fraction_bits <= 8) {
            const uint8_t *src[4];
            for (int c = 0; c < 4; ++c)
                src[c] = static_cast<const uint8_t *>(table.channel_grids[c]);
            status = bicubic_upscale_u8_impl(src, planes, grid_width, grid_height, width, height, 4,
                                             bicubic_rows_best());
        } else {
            const uint16_t *src[4];
            for (int c = 0; c < 4; ++c)
                src[c] = static_cast<const uint16_t *>(table.channel_grids[c]);
            status = bicubic_upscale_u16_impl(src, planes, grid_width, grid_height, width, height,
                                              4, bicubic_rows_best());
        }
        if (status != kStatusDone) return nullptr;

        const float d = std::ldexp(1.0f, table.fraction_bits);
        for (size_t p = 0; p < 4; ++p)
            to_gains(planes[p], out + p * n, width, height, mirror_columns, mirror_rows, d);
    }
    return result.release();
}

}  // extern "C"
