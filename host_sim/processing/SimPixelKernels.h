#pragma once

// Per-row pixel operations of the picture pre-processing, written with
// OpenCV's universal intrinsics (16 pixels a step on any CPU OpenCV supports,
// plain code for the rest of a row and where there is no SIMD). Each one does
// in a single pass what would otherwise take several whole-picture OpenCV
// calls and temporary pictures.
//
// Pictures are 8-bit, RGB (3 channels) or gray (1 channel); n is the number
// of pixels in the row.

#include "HostSimExport.h"

#include <opencv2/core.hpp>

namespace hostsim::kernels {

// Scales the HSV saturation of n RGB pixels by factor, keeping hue and value:
// with V = max(R, G, B) kept, every channel's distance to V is multiplied by
// k = min(factor, V / (V - min)) (the cap is S = 1: the smallest channel
// reaches 0). k is used in 1/128 steps (rounded to nearest, ties to even), so
// a channel may land one level from the exact value.
HXL_HOSTSIM_EXPORT void scaleSaturationRow(uchar* rgb, int n, float factor);

// Adds (plus - minus[x]) to every channel of pixel x, saturating to 0..255.
// plus is plusPlane[x], or plusValue when plusPlane is null.
HXL_HOSTSIM_EXPORT void addDifferenceRow(uchar* row, int n, int channels, const uchar* plusPlane, uchar plusValue,
                      const uchar* minus);

// Unsharp masking of n values: v + amount * (v - blurred), saturating.
HXL_HOSTSIM_EXPORT void unsharpRow(uchar* values, const uchar* blurred, int n, int amount);

// values[i] = table[values[i]] for n values.
HXL_HOSTSIM_EXPORT void lookUpRow(uchar* values, size_t n, const uchar table[256]);

// Painting pixels by their gray level: first the range rule (levels in
// [rangeLow, rangeHigh] get rangePaint), then the pole rule on the level
// after it (below the pole when poleBelow, else above it, gets polePaint). A
// painted pixel gets the paint in every channel; its level is the paint.
struct PaintRule
{
    bool range = false;
    uchar rangeLow = 0, rangeHigh = 0, rangePaint = 0;
    bool pole = false;
    bool poleBelow = true;
    uchar poleLevel = 0, polePaint = 0;
};

// gray[x] is the gray level of pixel x (the row itself for gray pictures).
HXL_HOSTSIM_EXPORT void paintRow(uchar* row, int n, int channels, const uchar* gray, const PaintRule& rule);

} // namespace hostsim::kernels
