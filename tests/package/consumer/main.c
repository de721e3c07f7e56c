/* A minimal C caller of liboz_cmc_parser: loads a tuning container (and optionally a module calibration
 * blob), parses it, reads a few slots of the result and releases it. Built against an installed copy of
 * the library by the packaging test, once through find_package and once through pkg-config. */
#include <stdio.h>
#include <stdlib.h>

#include "oz_cmc.h"

static uint8_t *load(const char *path, uint32_t *size) {
    FILE *f = fopen(path, "rb");
    long n;
    uint8_t *data;
    if (f == NULL) return NULL;
    fseek(f, 0, SEEK_END);
    n = ftell(f);
    rewind(f);
    data = malloc(n > 0 ? (size_t)n : 1);
    if (data == NULL || fread(data, 1, (size_t)n, f) != (size_t)n) {
        free(data);
        data = NULL;
    }
    fclose(f);
    *size = (uint32_t)n;
    return data;
}

int main(int argc, char **argv) {
    binary_data container, calibration;
    cmc_data *cmc;
    int filled = 0, i;
    if (argc < 2) {
        fprintf(stderr, "usage: %s CONTAINER [CALIBRATION]\n", argv[0]);
        return 2;
    }
    container.data = load(argv[1], &container.size);
    calibration.data = argc > 2 ? load(argv[2], &calibration.size) : NULL;
    if (container.data == NULL) {
        fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }

    cmc = oz_cmc_parser_init_v1(&container, calibration.data ? &calibration : NULL);
    if (cmc == NULL) {
        fprintf(stderr, "%s: the container is refused\n", argv[1]);
        return 1;
    }
    oz_kovb_others_parser_init(&container, cmc); /* the others record, slot 65 */

    for (i = 0; i < CMC_SLOT_CONTAINER; ++i) filled += cmc->slot[i] != NULL;
    printf("filled slots: %d\n", filled);
    if (cmc->slot[CMC_SLOT_TEXT]) printf("text: %s\n", (const char *)cmc->slot[CMC_SLOT_TEXT]);
    if (cmc->slot[CMC_SLOT_LENS_SHADING]) {
        const cmc_lens_shading4x4 *lsc = cmc->slot[CMC_SLOT_LENS_SHADING];
        printf("lens shading: %u light sources of %u x %u\n", lsc->num_light_sources, lsc->width, lsc->height);
    }
    if (cmc->slot[CMC_SLOT_OTHERS]) printf("others: first value %u\n", ((const others_data *)cmc->slot[CMC_SLOT_OTHERS])->first_value);

    oz_cmc_parser_deinit(cmc);
    free((void *)container.data);
    free((void *)calibration.data);
    return 0;
}
