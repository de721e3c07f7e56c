// Bounds-checked little-endian access to record bytes. Every multi-byte read of a record or container
// goes through this reader; decoders never index raw record memory.
//
// Offsets and lengths are taken as 64-bit values, so a caller may pass an offset computed from record
// counts without it wrapping; every check is `off + width <= size` in 64-bit arithmetic. A read that
// fails returns 0 (or null) and clears the sticky ok() flag, so a decoder can read a whole table of
// fields and test ok() once (the format's own acceptance tests come first, in the format's own u32
// arithmetic; this reader is the memory-safety guard behind them).
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace oz {

template <class Byte>
class BasicByteReader {
    static_assert(std::is_same_v<std::remove_const_t<Byte>, uint8_t>);

  public:
    BasicByteReader() = default;
    BasicByteReader(Byte *data, uint32_t size) : data_(data), size_(data ? size : 0) {}

    uint32_t size() const { return size_; }
    bool ok() const { return ok_; }
    // Marks the reader as failed (used when a format rule, not a bound, says the bytes are unusable).
    void fail() { ok_ = false; }

    // True when [off, off + len) lies inside the bytes. Does not touch ok().
    bool has(uint64_t off, uint64_t len) const {
        return off <= size_ && len <= uint64_t(size_) - off;
    }

    uint8_t u8(uint64_t off) { return load<uint8_t>(off); }
    uint16_t u16(uint64_t off) { return load<uint16_t>(off); }
    uint32_t u32(uint64_t off) { return load<uint32_t>(off); }
    uint64_t u64(uint64_t off) { return load<uint64_t>(off); }
    int8_t i8(uint64_t off) { return int8_t(load<uint8_t>(off)); }
    int16_t i16(uint64_t off) { return int16_t(load<uint16_t>(off)); }
    int32_t i32(uint64_t off) { return int32_t(load<uint32_t>(off)); }
    int64_t i64(uint64_t off) { return int64_t(load<uint64_t>(off)); }
    float f32(uint64_t off) {
        uint32_t bits = load<uint32_t>(off);
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }

    // Copies len bytes at off to dst. On failure dst is left untouched.
    bool bytes(uint64_t off, uint64_t len, void *dst) {
        if (!check(off, len)) return false;
        if (len) std::memcpy(dst, data_ + off, size_t(len));
        return true;
    }

    // Reads count little-endian u16 values at off into dst (host order).
    bool u16s(uint64_t off, uint64_t count, uint16_t *dst) {
        if (count > (uint64_t(1) << 62) || !check(off, count * 2)) return false;
        for (uint64_t i = 0; i < count; ++i) dst[i] = decode<uint16_t>(data_ + off + 2 * i);
        return true;
    }

    // Pointer to the checked span [off, off + len), or null. Used for slots that point into a kept
    // record copy, and for sub-readers.
    Byte *span(uint64_t off, uint64_t len) {
        if (!check(off, len)) return nullptr;
        return data_ + off;
    }

    // Length of the NUL-terminated string at off, bounded by the bytes: the string and its NUL must
    // lie inside. Returns false (and fails the reader) when no NUL is found before the end.
    bool string_length(uint64_t off, uint64_t *length) {
        if (!check(off, 0)) return false;
        const void *nul = std::memchr(data_ + off, 0, size_t(size_ - off));
        if (!nul) {
            ok_ = false;
            return false;
        }
        *length = uint64_t(static_cast<const uint8_t *>(nul) - (data_ + off));
        return true;
    }

    // A reader over the carved-out block [off, off + len); an empty failed reader when it does not fit.
    BasicByteReader sub(uint64_t off, uint64_t len) {
        if (!check(off, len)) {
            BasicByteReader r;
            r.ok_ = false;
            return r;
        }
        return BasicByteReader(data_ + off, uint32_t(len));
    }

    // Writes, available on readers over mutable bytes (a record copy the library owns).
    template <class B = Byte, class = std::enable_if_t<!std::is_const_v<B>>>
    bool put_u8(uint64_t off, uint8_t v) { return store<uint8_t>(off, v); }
    template <class B = Byte, class = std::enable_if_t<!std::is_const_v<B>>>
    bool put_u16(uint64_t off, uint16_t v) { return store<uint16_t>(off, v); }
    template <class B = Byte, class = std::enable_if_t<!std::is_const_v<B>>>
    bool put_u32(uint64_t off, uint32_t v) { return store<uint32_t>(off, v); }
    template <class B = Byte, class = std::enable_if_t<!std::is_const_v<B>>>
    bool put_u64(uint64_t off, uint64_t v) { return store<uint64_t>(off, v); }

  private:
    bool check(uint64_t off, uint64_t len) {
        if (has(off, len)) return true;
        ok_ = false;
        return false;
    }

    template <class T>
    static T decode(const uint8_t *p) {
        T v = 0;
        for (unsigned i = 0; i < sizeof(T); ++i) v = T(v | T(T(p[i]) << (8 * i)));
        return v;
    }

    template <class T>
    T load(uint64_t off) {
        if (!check(off, sizeof(T))) return 0;
        return decode<T>(data_ + off);
    }

    template <class T>
    bool store(uint64_t off, T v) {
        if (!check(off, sizeof(T))) return false;
        for (unsigned i = 0; i < sizeof(T); ++i) data_[off + i] = uint8_t(v >> (8 * i));
        return true;
    }

    Byte *data_ = nullptr;
    uint32_t size_ = 0;
    bool ok_ = true;
};

// Read-only view (containers, calibration inputs).
using ByteReader = BasicByteReader<const uint8_t>;
// View over a record copy the library owns: reads, writes and pointers into it for slots.
using RecordBytes = BasicByteReader<uint8_t>;

// Length n rounded up to a multiple of 8 in unsigned 32-bit arithmetic, as the record formats state
// their size tests: (n + 7) with the low three bits cleared (wraps like the format's arithmetic).
constexpr uint32_t round8(uint32_t n) { return (n + 7u) & ~7u; }

// The same rounding for lengths computed in 64-bit arithmetic from record counts, where no
// combination of counts can wrap it.
constexpr uint64_t round8_u64(uint64_t n) { return (n + 7u) & ~uint64_t(7); }

}  // namespace oz
