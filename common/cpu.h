// CPU features for choosing vector rows at run time. The answer is computed once per process in a
// function-local constant (immutable after start-up, so not shared mutable state).
#pragma once

namespace oz {

enum class Isa { kScalar, kSse41, kAvx2, kAvx512 };

inline bool cpu_has_sse41() {
    static const bool has = __builtin_cpu_supports("sse4.1");
    return has;
}

inline bool cpu_has_avx2() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

// AVX-512 Foundation, Byte and Word, Vector Length and Doubleword and Quadword instructions, with the
// operating system saving the 512-bit state (the built-in checks both). Only the rows that gain from
// 512-bit vectors have such a set; the others take their AVX2 rows.
inline bool cpu_has_avx512() {
    static const bool has = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                            __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
    return has;
}

// The widest row set this CPU can run.
inline Isa best_isa() {
    if (cpu_has_avx512()) return Isa::kAvx512;
    if (cpu_has_avx2()) return Isa::kAvx2;
    if (cpu_has_sse41()) return Isa::kSse41;
    return Isa::kScalar;
}

// The row table of the widest ISA this CPU runs, from one table per ISA. Callers keep the answer in a
// function-local constant, so that it is chosen once.
template <class Rows>
const Rows &pick_rows(const Rows &(*scalar)(), const Rows &(*sse41)(), const Rows &(*avx2)()) {
    switch (best_isa()) {
        case Isa::kAvx512:
        case Isa::kAvx2: return avx2();
        case Isa::kSse41: return sse41();
        case Isa::kScalar: break;
    }
    return scalar();
}

// The same for a family with an AVX-512 set.
template <class Rows>
const Rows &pick_rows(const Rows &(*scalar)(), const Rows &(*sse41)(), const Rows &(*avx2)(),
                      const Rows &(*avx512)()) {
    if (best_isa() == Isa::kAvx512) return avx512();
    return pick_rows(scalar, sse41, avx2);
}

inline bool cpu_supports(Isa isa) {
    switch (isa) {
        case Isa::kScalar: return true;
        case Isa::kSse41: return cpu_has_sse41();
        case Isa::kAvx2: return cpu_has_avx2();
        case Isa::kAvx512: return cpu_has_avx512();
    }
    return false;
}

}  // namespace oz
