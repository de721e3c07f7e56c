// Heatmaps of the lens-shading data: the characterization's tables per light source and colour cell,
// and with a module calibration the module's grids, the ratio tables, the merged tables and the
// before/after differences, each page on a shared scale with a colour bar and the corner and centre
// values printed beside every table.
#pragma once

#include <string>
#include <vector>

#include "codec.h"

namespace ozcmc {

struct RenderedPage {
    std::string file;  // file name inside the output folder
    std::string title;
    int width = 0, height = 0;
    double scale_min = 0, scale_max = 0;
    size_t tiles = 0;
};

struct RenderReport {
    std::vector<RenderedPage> pages;
    std::vector<std::string> notes;  // what could not be rendered, and why
    Json fit = Json::array();        // fit report rows (module table, channel, rms, max)
};

// Renders into `dir` (created when missing). Returns false with `error` set when the container is
// refused or a file cannot be written.
bool render(const Bytes &container, const Bytes *calibration, const std::string &dir, RenderReport *report,
            std::string *error);

}  // namespace ozcmc
