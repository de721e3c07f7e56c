// 2-D array resize entry points: argument checks, steps, the working buffer with the column tables,
// the cache of horizontal rows and the destination row loop (with prefetches of the source rows to come
// and streaming stores for large calls); the rows come from resize2d_rows.
#include <cstring>

#include "common/cpu.h"
#include "common/heap.h"
#include "common/status.h"
#include "resample/resize2d_rows.h"
#include "resample/stream.h"

namespace oz {
namespace {

// Working memory of one call: the column tables, the cached horizontal rows (two or three) and a row of results.
// They are taken for the whole destination width from the heap, so that the destination is written
// row after row and every source row is read once; when that allocation fails the same work runs in
// strips of kStrip destination columns on the stack, with identical results.
constexpr uint32_t kStrip = 1024;
constexpr size_t kStackBytes = size_t(kStrip) * 32 + 9 * 64;  // the float member takes 32 bytes a column

// Room for kArrays arrays of one element per column, together kBytesPerColumn bytes a column, each
// array 64-byte aligned.
template <size_t kBytesPerColumn, size_t kArrays>
class Workspace {
    static_assert(kBytesPerColumn * kStrip + 64 * (kArrays + 1) <= kStackBytes, "the stack strip must hold it");

  public:
    explicit Workspace(uint32_t columns) {
        size_t bytes;
        if (checked_mul(columns, kBytesPerColumn, &bytes) && bytes <= SIZE_MAX - 64 * (kArrays + 1))
            heap_ = heap_array<uint8_t>(bytes + 64 * (kArrays + 1));
        if (heap_) {
            base_ = heap_.get();
            columns_ = columns;
        } else {
            base_ = stack_;
            columns_ = kStrip;
        }
        next_ = reinterpret_cast<uintptr_t>(base_);
    }
    Workspace(const Workspace &) = delete;
    Workspace &operator=(const Workspace &) = delete;

    // Columns per strip: the whole destination width, or kStrip.
    uint32_t columns() const { return columns_; }
    // The next array of `per_column` elements a column.
    template <class T>
    T *take(size_t per_column = 1) {
        next_ = (next_ + 63) & ~uintptr_t(63);
        T *p = reinterpret_cast<T *>(next_);
        next_ += size_t(columns_) * per_column * sizeof(T);
        return p;
    }

  private:
    HeapArray<uint8_t> heap_;
    uint8_t *base_ = nullptr;
    uint32_t columns_ = 0;
    uintptr_t next_ = 0;
    alignas(64) uint8_t stack_[kStackBytes];
};

// Enlargements write much more than they read: from this many destination bytes on, the destination
// is streamed even when source and destination together stay below the common threshold (measured on
// an 8 MB destination: about a third faster than stores that first read every line into the caches).
constexpr size_t kStreamDstBytes = size_t(4) << 20;

// Streamed enlargements in paired passes whose rows are n * 64 bytes long but start off a cache line
// boundary write every row's first and last columns, the parts of the lines that rows share, apart
// from the rest (see fixed_resize); this many bytes a row at most.
constexpr size_t kSeamBytes = 64;

// Source rows asked for beyond the next destination row's pair when every source row is read.
constexpr int64_t kAheadRows = 3;

// Columns of a horizontal row computed between two pieces of prefetching.
constexpr uint32_t kPrefetchColumns = 256;

// Prefetches the samples [0, count) of a source row that the next destination row reads.
template <class T>
inline void prefetch_row(const T *row, size_t count) {
    prefetch_bytes(row, count * sizeof(T));
}

// Source sides whose largest fixed-point position (side - 1) * 2^F still fits 32 bits.
constexpr uint64_t max_fixed_side(uint32_t f) { return (uint64_t(1) << (32 - f)); }

// Source rows (k, k + 1) of a destination row, held in cached horizontal rows: a row already held is
// kept, so that every source row's horizontal pass is computed once per strip. The float member and
// the plain fixed-point rows use two slots; the grouped rows use three, so that the next two source
// rows can be computed together while the current pair's second row is still held.
template <int kSlots>
struct RowCache {
    int64_t held[kSlots];
    RowCache() {
        for (int64_t &h : held) h = -1;
    }
    // Slot of source row r, or -1.
    int find(int64_t r) const {
        for (int k = 0; k < kSlots; ++k)
            if (held[k] == r) return k;
        return -1;
    }
    // A slot to overwrite while rows [lo, hi] are needed: one holding no row or a row outside them,
    // the lowest first (rows only ascend, so a row below lo is never read again); -1 when none is.
    int spare(int64_t lo, int64_t hi) const {
        int best = -1;
        for (int k = 0; k < kSlots; ++k)
            if ((held[k] < lo || held[k] > hi) && (best < 0 || held[k] < held[best])) best = k;
        return best;
    }
};

// The source area of a fixed-point resize and the destination it is written to.
template <class T, class Out>
struct FixedJob {
    const T *src;
    size_t stride;            // source row length in samples
    uint32_t left, top;       // first column and row of the area
    uint32_t width, height;   // area size, at least 2 x 2
    Out *dst;
    uint32_t dst_width, dst_height;
    size_t dst_step;          // 1, or the sample step of the _v1 members
};

// The rows of a fixed-point member: `prepare` sees the column tables of a strip once (and may build a
// plan in `room`), `horizontal` computes the stored row of a source row, `vertical` the destination
// row of two stored rows.
template <class T, class HS, class Out>
struct PlainKernel {
    using H = HS;
    static constexpr size_t kPlanBytes = 0;
    static constexpr int kSlots = 2;
    static constexpr bool kSeams = false;
    void (*h_row)(const T *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                  uint32_t src_count, H *h);
    void (*v_row)(const H *h0, const H *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end, Out *dst);
    void (*v_row_stream)(const H *h0, const H *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
                         Out *dst);
    void prepare(const int32_t *, const uint32_t *, uint32_t, uint32_t, uint8_t *) {}
    bool two_rows() const { return false; }
    void horizontal2(const T *, const T *, const int32_t *, const uint32_t *, uint32_t, uint32_t, H *, H *) const {}
    void horizontal(const T *src, const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count,
                    H *h) const {
        h_row(src, kx, w01, 0, n, src_count, h);
    }
    void vertical(const H *h0, const H *h1, uint32_t wy0, uint32_t wy1, uint32_t n, Out *dst, bool stream) const {
        (stream ? v_row_stream : v_row)(h0, h1, wy0, wy1, 0, n, dst);
    }
    bool paired() const { return false; }
    void pass(const H *, const H *, uint32_t, const uint32_t *, Out *const *, bool, const T *, const int32_t *,
              const uint32_t *, uint32_t, H *) const {}
};

// 8-bit rows: the grouped rows when the row set has them and every window fits, else the planned
// horizontal rows when they pay, else the plain ones. The stored rows are h (planned, plain) or g
// (grouped), both 16-bit.
struct U8Kernel {
    using H = uint16_t;
    static constexpr size_t kPlanBytes = kPlanU8Bytes;
    static constexpr int kSlots = 3;
    static constexpr bool kSeams = true;
    const resize2d_rows &rows;
    const uint8_t *plan = nullptr;
    bool grouped = false;
    void prepare(const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count, uint8_t *room) {
        grouped = rows.plan_u8_grouped != nullptr && rows.plan_u8_grouped(kx, w01, n, src_count, room);
        if (!grouped)
            plan = rows.plan_u8 != nullptr && rows.plan_u8(kx, w01, n, src_count, room) ? room : nullptr;
        else
            plan = room;
    }
    void horizontal(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count,
                    uint16_t *h) const {
        if (grouped)
            rows.h_u8_grouped(src, plan, kx, w01, n, src_count, reinterpret_cast<int16_t *>(h));
        else if (plan != nullptr)
            rows.h_u8_plan(src, plan, kx, w01, n, src_count, h);
        else
            rows.h_u8(src, kx, w01, 0, n, src_count, h);
    }
    // Two source rows in one pass (grouped rows only).
    bool two_rows() const { return grouped && rows.h2_u8_grouped != nullptr; }
    void horizontal2(const uint8_t *src0, const uint8_t *src1, const int32_t *kx, const uint32_t *w01, uint32_t n,
                     uint32_t src_count, uint16_t *h0, uint16_t *h1) const {
        rows.h2_u8_grouped(src0, src1, plan, kx, w01, n, src_count, reinterpret_cast<int16_t *>(h0),
                           reinterpret_cast<int16_t *>(h1));
    }
    void vertical(const uint16_t *h0, const uint16_t *h1, uint32_t wy0, uint32_t wy1, uint32_t n, uint8_t *dst,
                  bool stream) const {
        if (grouped)
            (stream ? rows.v_u8_grouped_stream : rows.v_u8_grouped)(reinterpret_cast<const int16_t *>(h0),
                                                                   reinterpret_cast<const int16_t *>(h1), wy0, wy1,
                                                                   n, dst);
        else
            (stream ? rows.v_u8_stream : rows.v_u8)(h0, h1, wy0, wy1, 0, n, dst);
    }
    // Paired passes (grouped rows only): up to two destination rows on one pair of stored rows, and the
    // stored row of `src` (when not null) into h, in one pass.
    bool paired() const { return grouped && rows.vh_u8_grouped != nullptr; }
    void pass(const uint16_t *h0, const uint16_t *h1, uint32_t count, const uint32_t *wy, uint8_t *const *dst,
              bool stream, const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t n,
              uint16_t *h) const {
        (stream ? rows.vh_u8_grouped_stream : rows.vh_u8_grouped)(
            reinterpret_cast<const int16_t *>(h0), reinterpret_cast<const int16_t *>(h1), count, wy, dst, src, plan,
            kx, w01, n, reinterpret_cast<int16_t *>(h));
    }
    // Seam columns (see fixed_resize): the plain stored values of the first `head` and the last `tail`
    // of the n columns of a source row, in that order, and the destination samples of such a pair.
    void edges(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t head, uint32_t tail,
               uint32_t src_count, uint16_t *e) const {
        rows.h_u8(src, kx, w01, 0, head, src_count, e);
        rows.h_u8(src, kx + (n - tail), w01 + (n - tail), 0, tail, src_count, e + head);
    }
    void edge_vertical(const uint16_t *e0, const uint16_t *e1, uint32_t wy0, uint32_t wy1, uint32_t count,
                       uint8_t *out) const {
        rows.v_u8(e0, e1, wy0, wy1, 0, count, out);
    }
};

// 16-bit rows: the grouped rows when the row set has them and every window fits, else the plain ones.
// The stored rows are e (grouped) or h (plain).
struct U16Kernel {
    using H = uint32_t;
    static constexpr size_t kPlanBytes = kPlanU16Bytes;
    static constexpr int kSlots = 3;
    static constexpr bool kSeams = false;
    const resize2d_rows &rows;
    const uint8_t *plan = nullptr;
    void prepare(const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count, uint8_t *room) {
        plan = rows.plan_u16_grouped != nullptr && rows.plan_u16_grouped(kx, w01, n, src_count, room) ? room
                                                                                                     : nullptr;
    }
    void horizontal(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count,
                    uint32_t *h) const {
        if (plan != nullptr)
            rows.h_u16_grouped(src, plan, kx, w01, n, src_count, h);
        else
            rows.h_u16(src, kx, w01, 0, n, src_count, h);
    }
    // Two source rows in one pass (grouped rows only).
    bool two_rows() const { return plan != nullptr && rows.h2_u16_grouped != nullptr; }
    void horizontal2(const uint16_t *src0, const uint16_t *src1, const int32_t *kx, const uint32_t *w01, uint32_t n,
                     uint32_t src_count, uint32_t *h0, uint32_t *h1) const {
        rows.h2_u16_grouped(src0, src1, plan, kx, w01, n, src_count, h0, h1);
    }
    void vertical(const uint32_t *h0, const uint32_t *h1, uint32_t wy0, uint32_t wy1, uint32_t n, uint16_t *dst,
                  bool stream) const {
        if (plan != nullptr)
            (stream ? rows.v_u16_grouped_stream : rows.v_u16_grouped)(h0, h1, wy0, wy1, n, dst);
        else
            (stream ? rows.v_u16_stream : rows.v_u16)(h0, h1, wy0, wy1, 0, n, dst);
    }
    bool paired() const { return false; }
    void pass(const uint32_t *, const uint32_t *, uint32_t, const uint32_t *, uint16_t *const *, bool,
              const uint16_t *, const int32_t *, const uint32_t *, uint32_t, uint32_t *) const {}
};

template <class T, class Out, class Kernel>
void fixed_resize(const FixedJob<T, Out> &job, uint32_t f, Kernel kernel) {
    using H = typename Kernel::H;
    // step = ((n - 1) * 2^F) / (d - 1), truncating; positions start at the area's origin.
    const uint32_t step_x = ((job.width - 1) << f) / (job.dst_width - 1);
    const uint32_t step_y = ((job.height - 1) << f) / (job.dst_height - 1);
    const uint32_t src_count = uint32_t(job.stride);
    const size_t dst_bytes = size_t(job.dst_width) * job.dst_height * sizeof(Out);
    const bool stream = job.dst_step == 1 && (use_streaming(size_t(job.width) * job.height * sizeof(T), dst_bytes) ||
                                              dst_bytes >= kStreamDstBytes);
    constexpr int kSlots = Kernel::kSlots;
    Workspace<2 * sizeof(uint32_t) + kSlots * sizeof(H) + sizeof(Out) + Kernel::kPlanBytes, 4 + kSlots> ws(
        job.dst_width);
    int32_t *kx = ws.template take<int32_t>();
    uint32_t *w01 = ws.template take<uint32_t>();
    H *hrow[kSlots];
    for (H *&h : hrow) h = ws.template take<H>();
    Out *tmp = ws.template take<Out>();
    uint8_t *plan = Kernel::kPlanBytes > 0 ? ws.template take<uint8_t>(Kernel::kPlanBytes) : nullptr;
    for (uint32_t strip = 0; strip < job.dst_width; strip += ws.columns()) {
        const uint32_t n = job.dst_width - strip < ws.columns() ? job.dst_width - strip : ws.columns();
        uint32_t px = (job.left << f) + strip * step_x;
        for (uint32_t i = 0; i < n; ++i, px += step_x) {
            const FixedTap t = fixed_tap(px, f);
            kx[i] = int32_t(t.k);
            w01[i] = t.w0 | (t.w1 << 16);
        }
        // Seams. A streamed destination whose rows are a whole number of 64-byte lines long but start
        // p bytes past a line boundary (p a multiple of 16) shares one line between the last p bytes of
        // every row and the first 64 - p bytes of the next. The paired passes then write only the inner
        // columns [head, n - tail) of every row, which start and end on line boundaries, and every
        // shared line is assembled from the two rows' edge columns (computed by the plain rows from
        // edge values kept beside each stored row) and streamed at once: no line is streamed in two
        // parts at different times, and every vector of the passes is stored aligned.
        uint32_t head = 0, tail = 0;
        if constexpr (Kernel::kSeams) {
            const size_t row_bytes = size_t(job.dst_width) * sizeof(Out);
            const uintptr_t phase = reinterpret_cast<uintptr_t>(job.dst) % 64;
            if (stream && job.dst_step == 1 && step_y <= (1u << f) && n == job.dst_width && row_bytes % 64 == 0 &&
                row_bytes >= 4 * kSeamBytes && phase % 16 == 0 && phase != 0) {
                head = uint32_t((64 - phase) / sizeof(Out));
                tail = uint32_t(phase / sizeof(Out));
            }
        }
        kernel.prepare(kx + head, w01 + head, n - head - tail, src_count, plan);
        if (head != 0 && !kernel.paired()) {
            head = tail = 0;
            kernel.prepare(kx, w01, n, src_count, plan);
        }
        // The columns the stored rows and the passes cover.
        const int32_t *kxi = kx + head;
        const uint32_t *w01i = w01 + head;
        const uint32_t inner = n - head - tail;
        // Edge values of the stored rows, by slot (kernels with seams only).
        H edge[Kernel::kSeams ? kSlots : 1][Kernel::kSeams ? kSeamBytes : 1];
        const auto edges = [&](const T *row, int slot) {
            if constexpr (Kernel::kSeams) {
                if (head != 0) kernel.edges(row, kx, w01, n, head, tail, src_count, edge[slot]);
            }
        };
        const uint32_t first_col = uint32_t(kx[0]), cols = uint32_t(kx[n - 1]) + 2 - first_col;
        // With every source row read (no vertical reduction), a missing row is computed together with
        // the row after it when the kernel can do two in one pass: the next destination rows need it.
        const bool two_rows = kernel.two_rows() && step_y <= (1u << f);
        // The last source row the destination reads.
        const int64_t last_row = fixed_tap((job.top << f) + (job.dst_height - 1) * step_y, f).k + 1;
        RowCache<kSlots> cache;
        // Holds the stored rows of source rows [lo, hi], computing the missing ones in ascending order.
        const auto hold = [&](int64_t lo, int64_t hi) {
            for (int64_t r = lo; r <= hi; ++r) {
                if (cache.find(r) >= 0) continue;
                const bool pair = two_rows && r + 1 <= last_row && cache.find(r + 1) < 0;
                const int64_t top = pair && r + 1 > hi ? r + 1 : hi;
                const T *row = job.src + size_t(r) * job.stride;
                const int a = cache.spare(lo, top);
                cache.held[a] = r;
                const int b = pair ? cache.spare(lo, top) : -1;
                if (b >= 0) {
                    kernel.horizontal2(row, row + job.stride, kxi, w01i, inner, src_count, hrow[a], hrow[b]);
                    cache.held[b] = r + 1;
                    edges(row + job.stride, b);
                } else {
                    kernel.horizontal(row, kxi, w01i, inner, src_count, hrow[a]);
                }
                edges(row, a);
            }
        };
        int64_t asked = -1;  // source rows up to this one have been asked for
        // Asks for the source rows [first, last] (not beyond the last row read) that are neither held nor
        // asked for already: each row once.
        const auto ask = [&](int64_t first, int64_t last) {
            last = last < last_row ? last : last_row;
            for (int64_t r = first > asked ? first : asked + 1; r <= last; ++r)
                if (cache.find(r) < 0) prefetch_row(job.src + size_t(r) * job.stride + first_col, cols);
            asked = last > asked ? last : asked;
        };
        if (job.dst_step == 1 && step_y <= (1u << f) && kernel.paired()) {
            // Enlargements in paired passes. The destination rows on one pair of source rows (k, k + 1)
            // are written two per pass, and the first pass on a pair also computes the stored row of
            // source row k + 2, which the next pair reads: the horizontal work is done while the
            // destination is written. Two rows per pass only when streamed rows end on a cache line
            // boundary, so that no line is streamed in two parts at different times.
            const bool two = !stream || (size_t(n) * sizeof(Out)) % 64 == 0;
            // Seams: the line shared by the previous row's tail and the next row's head, the tail
            // held until the head is known.
            Out line[kSeamBytes / sizeof(Out)] = {};
            Out seam[kSeamBytes / sizeof(Out)] = {};
            uint32_t py = job.top << f;
            for (uint32_t j = 0; j < job.dst_height;) {
                const FixedTap t = fixed_tap(py, f);
                const int64_t ky = t.k;
                hold(ky, ky + 1);
                uint32_t wy[4] = {t.w0, t.w1, 0, 0};
                Out *rows[2] = {job.dst + size_t(j) * job.dst_width + strip + head, nullptr};
                uint32_t count = 1;
                if (two && j + 1 < job.dst_height) {
                    const FixedTap u = fixed_tap(py + step_y, f);
                    if (u.k == ky) {
                        wy[2] = u.w0;
                        wy[3] = u.w1;
                        rows[1] = rows[0] + job.dst_width;
                        count = 2;
                    }
                }
                const int64_t next = ky + 2;
                const bool compute = next <= last_row && cache.find(next) < 0;
                const int slot = compute ? cache.spare(ky, ky + 1) : -1;
                ask(next, next + 1 + kAheadRows);
                const int s0 = cache.find(ky), s1 = cache.find(ky + 1);
                kernel.pass(hrow[s0], hrow[s1], count, wy, rows, stream,
                            compute ? job.src + size_t(next) * job.stride : nullptr, kxi, w01i, inner,
                            compute ? hrow[slot] : nullptr);
                if constexpr (Kernel::kSeams) {
                    for (uint32_t c = 0; head != 0 && c < count; ++c) {
                        // seam = the head of row j + c, then its tail; line = the previous row's
                        // tail, then this head: one whole line, or the first row's partial one.
                        kernel.edge_vertical(edge[s0], edge[s1], wy[2 * c], wy[2 * c + 1], head + tail, seam);
                        Out *row_start = rows[c] - head;
                        if (j + c == 0) {
                            stream_copy(row_start, seam, head * sizeof(Out));
                        } else {
                            std::memcpy(line + tail, seam, head * sizeof(Out));
                            stream_copy(row_start - tail, line, kSeamBytes);
                        }
                        std::memcpy(line, seam + head, tail * sizeof(Out));
                    }
                }
                if (compute) {
                    cache.held[slot] = next;
                    edges(job.src + size_t(next) * job.stride, slot);
                }
                j += count;
                py += count * step_y;
            }
            // The last row's tail ends the destination.
            if (head != 0) stream_copy(job.dst + size_t(job.dst_height) * job.dst_width - tail, line, tail * sizeof(Out));
            continue;
        }
        uint32_t py = job.top << f;
        for (uint32_t j = 0; j < job.dst_height; ++j, py += step_y) {
            const FixedTap t = fixed_tap(py, f);
            const int64_t ky = t.k;
            hold(ky, ky + 1);
            const int s0 = cache.find(ky), s1 = cache.find(ky + 1);
            if (j + 1 < job.dst_height) {
                // The rows the next destination row reads and, when every row is read, the rows after
                // them up to kAheadRows further, so that the rows computed two at a time arrive early;
                // each row is asked for once.
                const int64_t next = fixed_tap(py + step_y, f).k;
                ask(next, two_rows ? next + 1 + kAheadRows : next + 1);
            }
            const size_t first = size_t(j) * job.dst_width + strip;
            if (job.dst_step == 1) {
                kernel.vertical(hrow[s0], hrow[s1], t.w0, t.w1, n, job.dst + first, stream);
            } else {
                kernel.vertical(hrow[s0], hrow[s1], t.w0, t.w1, n, tmp, false);
                Out *d = job.dst + first * job.dst_step;
                for (uint32_t i = 0; i < n; ++i) d[size_t(i) * job.dst_step] = tmp[i];
            }
        }
    }
    if (stream) store_fence();
}

// Checks of the fixed-point members: every dimension above 1 (signed), a source whose positions fit
// 32 bits, non-null pointers, and for the _v1 members a step of at least 1.
uint32_t fixed_check(const void *src, int32_t src_width, int32_t src_height, const void *dst, int32_t dst_width,
                     int32_t dst_height, uint32_t f) {
    if (!(src_width > 1 && src_height > 1 && dst_width > 1 && dst_height > 1)) return kStatusInvalidArgs;
    // Null pointers are refused rather than dereferenced.
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    // (side - 1) * 2^F is the last position: it must fit the unsigned 32-bit position.
    if (uint64_t(src_width) > max_fixed_side(f) || uint64_t(src_height) > max_fixed_side(f))
        return kStatusInvalidArgs;
    return kStatusDone;
}

template <class T, class Out, class Kernel>
uint32_t fixed_member(const T *src, int32_t src_width, int32_t src_height, Out *dst, int32_t dst_width,
                      int32_t dst_height, int32_t dst_step, bool check_step, uint32_t f, Kernel kernel) {
    const uint32_t status = fixed_check(src, src_width, src_height, dst, dst_width, dst_height, f);
    if (status != kStatusDone) return status;
    if (check_step && dst_step < 1) return kStatusInvalidArgs;
    const FixedJob<T, Out> job = {src, size_t(src_width), 0, 0, uint32_t(src_width), uint32_t(src_height),
                                  dst, uint32_t(dst_width), uint32_t(dst_height), size_t(check_step ? dst_step : 1)};
    fixed_resize(job, f, kernel);
    return kStatusDone;
}

}  // namespace

uint32_t resize_2d_int32_impl(const int32_t *src, int32_t src_width, int32_t src_height, int32_t *dst,
                              int32_t dst_width, int32_t dst_height, const resize2d_rows &rows) {
    return fixed_member(src, src_width, src_height, dst, dst_width, dst_height, 1, false, 12,
                        PlainKernel<int32_t, int64_t, int32_t>{rows.h_i32, rows.v_i32, rows.v_i32_stream});
}

uint32_t resize_2d_uint32_impl(const uint32_t *src, int32_t src_width, int32_t src_height, uint32_t *dst,
                               int32_t dst_width, int32_t dst_height, const resize2d_rows &rows) {
    return fixed_member(src, src_width, src_height, dst, dst_width, dst_height, 1, false, 12,
                        PlainKernel<uint32_t, uint64_t, uint32_t>{rows.h_u32, rows.v_u32, rows.v_u32_stream});
}

uint32_t resize_2d_uint16_impl(const uint16_t *src, int32_t src_width, int32_t src_height, uint16_t *dst,
                               int32_t dst_width, int32_t dst_height, int32_t dst_step, bool check_step,
                               const resize2d_rows &rows) {
    return fixed_member(src, src_width, src_height, dst, dst_width, dst_height, dst_step, check_step, 8,
                        U16Kernel{rows});
}

uint32_t resize_2d_uint8_impl(const uint8_t *src, int32_t src_width, int32_t src_height, uint8_t *dst,
                              int32_t dst_width, int32_t dst_height, int32_t dst_step, bool check_step,
                              const resize2d_rows &rows) {
    return fixed_member(src, src_width, src_height, dst, dst_width, dst_height, dst_step, check_step, 8,
                        U8Kernel{rows});
}

uint32_t crop_resize_2d_uint16_impl(const uint16_t *src, uint32_t src_width, uint32_t src_height,
                                    margin_pair top_left, margin_pair bottom_right, uint16_t *dst,
                                    uint32_t dst_width, uint32_t dst_height, const resize2d_rows &rows) {
    // The area inside the margins, in 64-bit arithmetic so that margins beyond the source cannot wrap.
    const uint64_t area_w = uint64_t(top_left.x) + bottom_right.x + 2 <= src_width
                                ? src_width - uint64_t(top_left.x) - bottom_right.x
                                : 0;
    const uint64_t area_h = uint64_t(top_left.y) + bottom_right.y + 2 <= src_height
                                ? src_height - uint64_t(top_left.y) - bottom_right.y
                                : 0;
    if (area_w < 2 || area_h < 2 || dst_width < 2 || dst_height < 2) return kStatusInvalidArgs;
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    // Positions are absolute in the source: the whole source side must fit the 24.8 positions.
    if (src_width > max_fixed_side(8) || src_height > max_fixed_side(8)) return kStatusInvalidArgs;
    const FixedJob<uint16_t, uint16_t> job = {src, src_width, top_left.x, top_left.y, uint32_t(area_w),
                                              uint32_t(area_h), dst, dst_width, dst_height, 1};
    fixed_resize(job, 8, U16Kernel{rows});
    return kStatusDone;
}

uint32_t resize_2d_float_impl(const float *src, int32_t src_width, int32_t src_height, float *dst,
                              int32_t dst_width, int32_t dst_height, const resize2d_rows &rows) {
    // Widths are unsigned 16-bit values here, heights signed 32-bit ones.
    const uint16_t sw = uint16_t(src_width), dw = uint16_t(dst_width);
    if (!(sw > 1 && src_height > 1 && dw > 1 && dst_height > 1)) return kStatusInvalidArgs;
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    const float rx = (float(sw) - 1.0f) / (float(dw) - 1.0f);
    const float ry = (float(src_height) - 1.0f) / (float(dst_height) - 1.0f);
    const bool stream = use_streaming(size_t(sw) * size_t(src_height) * sizeof(float),
                                      size_t(dw) * size_t(dst_height) * sizeof(float));
    const v_f32_fn v_row = stream ? rows.v_f32_stream : rows.v_f32;
    Workspace<8 * sizeof(float), 8> ws(dw);
    int32_t *x0 = ws.take<int32_t>();
    int32_t *x1 = ws.take<int32_t>();
    float *fx = ws.take<float>();
    float *gx = ws.take<float>();
    float *a[2] = {ws.take<float>(), ws.take<float>()};
    float *b[2] = {ws.take<float>(), ws.take<float>()};
    for (uint32_t strip = 0; strip < dw; strip += ws.columns()) {
        const uint32_t n = dw - strip < ws.columns() ? dw - strip : ws.columns();
        for (uint32_t i = 0; i < n; ++i) {
            // x = i * rx; x0 its integer part held as unsigned 16-bit; x1 the next column inside the row.
            const float x = float(strip + i) * rx;
            const uint16_t c0 = uint16_t(uint32_t(x));
            x0[i] = c0;
            x1[i] = c0 < sw - 1 ? c0 + 1 : c0;
            fx[i] = x - float(c0);
            gx[i] = 1.0f - fx[i];
        }
        const uint32_t first_col = uint32_t(x0[0]), cols = uint32_t(x1[n - 1]) + 1 - first_col;
        RowCache<2> cache;  // source rows held by a[k], b[k]
        for (int32_t j = 0; j < dst_height; ++j) {
            const float y = float(j) * ry;
            const uint16_t y0 = uint16_t(uint32_t(y));  // integer part held as unsigned 16-bit
            const uint16_t y1 = y0 < src_height - 1 ? uint16_t(y0 + 1) : y0;
            const float fy = y - float(y0);
            const float gy = 1.0f - fy;
            // Source rows of the next destination row that this one leaves unread: asked for piece by
            // piece while this row's horizontal rows are computed (reductions read new rows for every
            // destination row, from memory), or at once when it computes none.
            uint32_t ahead[2];
            int aheads = 0;
            if (j + 1 < dst_height) {
                const uint16_t next = uint16_t(uint32_t(float(j + 1) * ry));
                for (uint32_t r = next; r <= uint32_t(next) + 1 && r < uint32_t(src_height); ++r)
                    if (r != y0 && r != y1) ahead[aheads++] = r;
            }
            const auto horizontal = [&](uint16_t row, int slot) {
                for (uint32_t begin = 0; begin < n; begin += kPrefetchColumns) {
                    const uint32_t end = n - begin < kPrefetchColumns ? n : begin + kPrefetchColumns;
                    rows.h_f32(src + size_t(row) * sw, x0, x1, fx, gx, begin, end, sw, a[slot], b[slot]);
                    for (int k = 0; k < aheads; ++k)
                        prefetch_row(src + size_t(ahead[k]) * sw + x0[begin], uint32_t(x1[end - 1]) + 1 - uint32_t(x0[begin]));
                }
                aheads = 0;  // asked for once
            };
            // Slots of y0 and y1 (the same row at the bottom edge).
            int s0 = cache.find(y0);
            int s1 = cache.find(y1);
            if (s0 < 0) {
                s0 = s1 == 0 ? 1 : 0;
                horizontal(y0, s0);
                cache.held[s0] = y0;
                if (y1 == y0) s1 = s0;
            }
            if (s1 < 0) {
                s1 = 1 - s0;
                horizontal(y1, s1);
                cache.held[s1] = y1;
            }
            for (int k = 0; k < aheads; ++k) prefetch_row(src + size_t(ahead[k]) * sw + first_col, cols);
            v_row(a[s0], b[s0], a[s1], b[s1], fy, gy, 0, n, dst + size_t(j) * dw + strip);
        }
    }
    if (stream) store_fence();
    return kStatusDone;
}

const resize2d_rows &resize2d_best_rows() {
    static const resize2d_rows &rows = pick_rows(resize2d_c_rows, resize2d_sse41_rows, resize2d_avx2_rows, resize2d_avx512_rows);
    return rows;
}

}  // namespace oz

extern "C" {

OZ_API uint32_t resize_2d_array_int32(const int32_t *src, int32_t src_width, int32_t src_height, int32_t *dst,
                                      int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_int32_impl(src, src_width, src_height, dst, dst_width, dst_height,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint32(const uint32_t *src, int32_t src_width, int32_t src_height,
                                       uint32_t *dst, int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_uint32_impl(src, src_width, src_height, dst, dst_width, dst_height,
                                     oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint16(const uint16_t *src, int32_t src_width, int32_t src_height,
                                       uint16_t *dst, int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_uint16_impl(src, src_width, src_height, dst, dst_width, dst_height, 1, false,
                                     oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint16_v1(const uint16_t *src, int32_t src_width, int32_t src_height,
                                          uint16_t *dst, int32_t dst_width, int32_t dst_height,
                                          int32_t dst_step) {
    return oz::resize_2d_uint16_impl(src, src_width, src_height, dst, dst_width, dst_height, dst_step, true,
                                     oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint8(const uint8_t *src, int32_t src_width, int32_t src_height, uint8_t *dst,
                                      int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_uint8_impl(src, src_width, src_height, dst, dst_width, dst_height, 1, false,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint8_v1(const uint8_t *src, int32_t src_width, int32_t src_height,
                                         uint8_t *dst, int32_t dst_width, int32_t dst_height, int32_t dst_step) {
    return oz::resize_2d_uint8_impl(src, src_width, src_height, dst, dst_width, dst_height, dst_step, true,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_float(const float *src, int32_t src_width, int32_t src_height, float *dst,
                                      int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_float_impl(src, src_width, src_height, dst, dst_width, dst_height,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t crop_resize_2d_array_uint16(const uint16_t *src, uint32_t src_width, uint32_t src_height,
                                            margin_pair top_left, margin_pair bottom_right, uint16_t *dst,
                                            uint32_t dst_width, uint32_t dst_height) {
    return oz::crop_resize_2d_uint16_impl(src, src_width, src_height, top_left, bottom_right, dst, dst_width,
                                          dst_height, oz::resize2d_best_rows());
}

}  // extern "C"
