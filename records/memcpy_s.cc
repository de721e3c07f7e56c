// The bounded copy used by the record decoders; the only code of the library that writes messages.
#include "records/memcpy_s.h"

#include <cstring>

#include "oz_log.h"

namespace oz {

void memcpy_s(void *dest, size_t destsz, const void *src, size_t count) {
    if (dest == nullptr) {
        oz_log(0, "memcpy_s: nullptr received\n");
        return;
    }
    if (count > destsz) {
        oz_log(0, "memcpy_s: count(%zu) > destsz(%zu), downsizing count to destsz\n", count, destsz);
        count = destsz;
    }
    if (count == 0) return;
    if (src == nullptr)
        std::memset(dest, 0, count);
    else
        std::memcpy(dest, src, count);
}

}  // namespace oz
