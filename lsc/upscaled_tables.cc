// Release of upscaled module shading tables (shared by every upscaling variant).
#include "common/heap.h"
#include "oz_lsc.h"

extern "C" {

// Frees every block (the count is read again on every pass), the array (also when the count is 0)
// and the structure. Null does nothing.
OZ_API void deinit_computed_upscale_lsc_tables(upscaled_lsc_tables *tables) {
    if (tables == nullptr) return;
    if (tables->tables != nullptr) {
        for (uint32_t i = 0; i < tables->table_count; ++i) {
            oz::heap_free(tables->tables[i]);
            tables->tables[i] = nullptr;
        }
    }
    oz::heap_free(tables->tables);
    oz::heap_free(tables);
}

}  // extern "C"
