// Tuning container validation: size field and the two forms of the word checksum.
#include "parser/container.h"

namespace oz {
namespace {

// Sum of `count` little-endian u32 words starting at byte `from`, modulo 2^32. The span is checked
// once; the loop is a plain little-endian load per word, which the compiler vectorises.
uint32_t word_sum(ByteReader &bytes, uint32_t from, uint32_t count) {
    const uint8_t *p = bytes.span(from, 4 * uint64_t(count));
    if (p == nullptr) return 0;  // cannot happen for counts derived from the checked size
    uint32_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *w = p + 4 * size_t(i);  // SAFETY: inside the span checked above
        sum += uint32_t(w[0]) | uint32_t(w[1]) << 8 | uint32_t(w[2]) << 16 | uint32_t(w[3]) << 24;
    }
    return sum;
}

}  // namespace

ChecksumForm validate_container(const binary_data *container, const Diag &diag) {
    if (container == nullptr || container->data == nullptr) {
        diag.emit(DiagKind::kContainerRejected, "container descriptor and data non-null");
        return ChecksumForm::kNone;
    }
    ByteReader bytes(container->data, container->size);
    if (container->size < kContainerHeaderSize) {
        diag.emit(DiagKind::kContainerRejected, "descriptor size >= 24 (header)", kContainerHeaderSize,
                  container->size);
        return ChecksumForm::kNone;
    }
    const uint32_t total_size = bytes.u32(4);
    const uint32_t checksum = bytes.u32(20);
    if (total_size != container->size) {
        diag.emit(DiagKind::kContainerRejected, "total_size == descriptor size", container->size,
                  total_size);
        return ChecksumForm::kNone;
    }

    // Form B sums the whole words of the records; form A adds the six header words to that (the
    // records start at a word boundary, so the whole words of the container are exactly these) and
    // takes the checksum word back out. One pass over the records serves both forms.
    const uint32_t sum_b = word_sum(bytes, kContainerHeaderSize, (total_size - kContainerHeaderSize) / 4);
    const uint32_t sum_a = word_sum(bytes, 0, kContainerHeaderSize / 4) + sum_b - checksum;
    if (sum_a == checksum) {
        diag.emit(DiagKind::kContainerAccepted, "A", checksum, sum_a);
        return ChecksumForm::kA;
    }
    if (sum_b == checksum) {
        diag.emit(DiagKind::kContainerAccepted, "B", checksum, sum_b);
        return ChecksumForm::kB;
    }
    diag.emit(DiagKind::kContainerRejected, "checksum matches form A or form B", checksum, sum_a);
    return ChecksumForm::kNone;
}

}  // namespace oz
