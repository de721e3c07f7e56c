// Fuzz target: the exported kernels with argument sets drawn from the input. Sizes are kept small;
// every buffer is allocated to exactly the number of elements the kernel may touch for those
// arguments, so AddressSanitizer reports any access outside it. The kernels' own argument checks are
// exercised too (sizes may be 0, 1 or unequal).
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "oz_linalg.h"
#include "oz_lsc.h"
#include "oz_resample.h"

namespace {

// Reads the fuzz input as a stream of small numbers; zeros once it runs out.
class Input {
  public:
    Input(const uint8_t *d, size_t n) : d_(d), n_(n) {}
    uint8_t byte() { return pos_ < n_ ? d_[pos_++] : 0; }
    uint16_t small(uint16_t max) { return uint16_t(byte() % (max + 1)); }
    template <class T>
    void fill(T *p, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            uint32_t v = uint32_t(byte()) | uint32_t(byte()) << 8 | uint32_t(byte()) << 16 | uint32_t(byte()) << 24;
            std::memcpy(&p[i], &v, sizeof(T) < 4 ? sizeof(T) : 4);
            if constexpr (sizeof(T) == 8) std::memcpy(reinterpret_cast<uint8_t *>(&p[i]) + 4, &v, 4);
        }
    }

  private:
    const uint8_t *d_;
    size_t n_;
    size_t pos_ = 0;
};

// Exactly `count` elements (at least one allocation so that a pointer exists; a zero-sized buffer
// gets one element that the kernel must not need).
template <class T>
std::unique_ptr<T[]> exact(size_t count) {
    return std::unique_ptr<T[]>(new T[count ? count : 1]());
}

void fuzz_area(Input &in) {
    const uint16_t sw = in.small(40), sh = in.small(40), dw = in.small(20), dh = in.small(20);
    const bool use_crop = in.byte() & 1;
    crop_rect crop{in.small(10), in.small(10), in.small(40), in.small(40)};
    auto src = exact<float>(size_t(sw) * sh);
    auto src16 = exact<uint16_t>(size_t(sw) * sh);
    in.fill(src.get(), size_t(sw) * sh);
    in.fill(src16.get(), size_t(sw) * sh);
    auto dst = exact<uint16_t>(size_t(dw) * dh);
    const float *sp[1] = {src.get()};
    const uint16_t *sp16[1] = {src16.get()};
    uint16_t *dp[1] = {dst.get()};
    image_downscale_32f_to_u16p10(sp, dp, sw, sh, dw, dh, 1, use_crop ? &crop : nullptr);
    image_downscale_u16_to_u16(sp16, dp, sw, sh, in.small(16), dw, dh, in.small(16), 1, use_crop ? &crop : nullptr);
}

void fuzz_nearest(Input &in) {
    const uint16_t sw = in.small(40), sh = in.small(40), dw = in.small(60), dh = in.small(60), ch = in.small(4);
    auto src = exact<int32_t>(size_t(sw) * sh * (ch ? ch : 1));
    in.fill(src.get(), size_t(sw) * sh * (ch ? ch : 1));
    auto dst = exact<int32_t>(size_t(dw) * dh * (ch ? ch : 1));
    image_nearest_neighbor_scale_interleaved_int32(src.get(), sw, sh, ch, dst.get(), dw, dh);
    image_nearest_neighbor_scale_uint32(reinterpret_cast<const uint32_t *>(src.get()), sw, sh,
                                        reinterpret_cast<uint32_t *>(dst.get()), dw, dh);
    auto s16 = exact<uint16_t>(size_t(sw) * sh);
    auto d16 = exact<uint16_t>(size_t(dw) * dh);
    in.fill(s16.get(), size_t(sw) * sh);
    image_upscale_nearest_neighbor_uint16(s16.get(), d16.get(), sw, sh, dw, dh);
    image_downscale_nearest_neighbor_int32(src.get(), dst.get(), sw, sh, dw, dh, in.byte() & 1);
}

void fuzz_resize(Input &in) {
    const int32_t sw = in.small(40), sh = in.small(40), dw = in.small(60), dh = in.small(60);
    const size_t sn = size_t(sw) * size_t(sh), dn = size_t(dw) * size_t(dh);
    auto s32 = exact<int32_t>(sn);
    in.fill(s32.get(), sn);
    auto d32 = exact<int32_t>(dn);
    resize_2d_array_int32(s32.get(), sw, sh, d32.get(), dw, dh);
    resize_2d_array_uint32(reinterpret_cast<const uint32_t *>(s32.get()), sw, sh,
                           reinterpret_cast<uint32_t *>(d32.get()), dw, dh);
    auto sf = exact<float>(sn);
    in.fill(sf.get(), sn);
    auto df = exact<float>(dn);
    resize_2d_array_float(sf.get(), sw, sh, df.get(), dw, dh);
    auto s16 = exact<uint16_t>(sn);
    in.fill(s16.get(), sn);
    auto d16 = exact<uint16_t>(dn);
    resize_2d_array_uint16(s16.get(), sw, sh, d16.get(), dw, dh);
    auto s8 = exact<uint8_t>(sn);
    in.fill(s8.get(), sn);
    auto d8 = exact<uint8_t>(dn);
    resize_2d_array_uint8(s8.get(), sw, sh, d8.get(), dw, dh);
    const int32_t step = in.small(3);
    const size_t vn = dn && step > 0 ? (dn - 1) * size_t(step) + 1 : 0;
    auto v16 = exact<uint16_t>(vn);
    auto v8 = exact<uint8_t>(vn);
    resize_2d_array_uint16_v1(s16.get(), sw, sh, v16.get(), dw, dh, step);
    resize_2d_array_uint8_v1(s8.get(), sw, sh, v8.get(), dw, dh, step);
    margin_pair tl{in.small(8), in.small(8)}, br{in.small(8), in.small(8)};
    crop_resize_2d_array_uint16(s16.get(), uint32_t(sw), uint32_t(sh), tl, br, d16.get(), uint32_t(dw), uint32_t(dh));
}

void fuzz_linalg(Input &in) {
    const int32_t r = in.small(6), c = in.small(6), k = in.small(6);
    auto a = exact<float>(size_t(r) * k);
    auto b = exact<float>(size_t(k) * c);
    auto out = exact<float>(size_t(r) * c);
    in.fill(a.get(), size_t(r) * k);
    in.fill(b.get(), size_t(k) * c);
    mul_mm(a.get(), 4 * k, 4, k, r, b.get(), 4 * c, 4, c, k, out.get(), 4 * c, 4);
    auto t = exact<float>(size_t(r) * k);
    transpose_m(a.get(), 4 * k, 4, k, r, t.get(), 4 * r, 4);
    auto x = exact<float>(size_t(k));
    auto y = exact<float>(size_t(r));
    in.fill(x.get(), size_t(k));
    mul_mv(a.get(), 4 * k, 4, k, r, x.get(), 4, k, y.get(), 4);
    const int32_t n = in.small(6);
    auto m = exact<float>(size_t(n) * n);
    in.fill(m.get(), size_t(n) * n);
    auto lu = exact<float>(size_t(n) * n);
    auto perm = exact<uint32_t>(size_t(n));
    lu_decomposition_m(m.get(), 4 * n, 4, perm.get(), lu.get(), 4 * n, 4, n);
}

void fuzz_bicubic(Input &in) {
    const uint16_t sw = in.small(20), sh = in.small(20), dw = in.small(48), dh = in.small(48);
    const size_t sn = size_t(sw) * sh, dn = size_t(dw) * dh;
    auto s8 = exact<uint8_t>(sn);
    auto s16 = exact<uint16_t>(sn);
    auto sf = exact<float>(sn);
    in.fill(s8.get(), sn);
    in.fill(s16.get(), sn);
    in.fill(sf.get(), sn);
    auto df = exact<float>(dn);
    const uint8_t *p8[1] = {s8.get()};
    const uint16_t *p16[1] = {s16.get()};
    float *pf[1] = {df.get()};
    image_bicubic_upscale_uint8_to_float(p8, pf, sw, sh, dw, dh, 1);
    image_bicubic_upscale_uint16_to_float(p16, pf, sw, sh, dw, dh, 1);
    auto d16 = exact<uint16_t>(dn);
    bicubic_resize_32f_to_u16p10(sf.get(), sh, sw, d16.get(), dh, dw);
    bicubic_resize_u16_to_u16(s16.get(), sh, sw, in.small(40), d16.get(), dh, dw);
}

// A module calibration drawn from the input, upscaled by the polynomial fit (or the bicubic
// interpolation).
void fuzz_upscale(Input &in) {
    const uint8_t w = uint8_t(in.small(12)), h = uint8_t(in.small(12)), count = uint8_t(in.small(3));
    nvm_data nvm{};
    nvm.lsc_grid_width = w;
    nvm.lsc_grid_height = h;
    nvm.lsc_table_count = count;
    std::vector<nvm_lsc_table> tables(count ? count : 1);
    std::vector<std::unique_ptr<uint16_t[]>> grids;
    for (uint8_t t = 0; t < count; ++t) {
        tables[t].fraction_bits = uint8_t(in.small(40));
        const size_t bytes = size_t(w) * h * (tables[t].fraction_bits <= 8 ? 1 : 2);
        for (int ch = 0; ch < 4; ++ch) {
            grids.push_back(exact<uint16_t>((bytes + 1) / 2));
            in.fill(reinterpret_cast<uint8_t *>(grids.back().get()), bytes);
            tables[t].channel_grids[ch] = grids.back().get();
        }
    }
    nvm.lsc_tables = count ? tables.data() : nullptr;
    const uint16_t ow = in.small(20), oh = in.small(20);
    const uint32_t flip = in.small(5);
    const uint8_t mode = in.byte();
    upscaled_lsc_tables *out = (mode & 2) ? compute_upscaled_lsc_tables_bicubic(ow, oh, &nvm, flip)
                                          : compute_upscaled_lsc_tables_polynom4th(ow, oh, &nvm, flip, mode & 1);
    deinit_computed_upscale_lsc_tables(out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1 || size > 65536) return 0;
    Input in(data + 1, size - 1);
    switch (data[0] % 6) {
        case 0: fuzz_area(in); break;
        case 1: fuzz_nearest(in); break;
        case 2: fuzz_resize(in); break;
        case 3: fuzz_linalg(in); break;
        case 4: fuzz_upscale(in); break;
        case 5: fuzz_bicubic(in); break;
    }
    return 0;
}
