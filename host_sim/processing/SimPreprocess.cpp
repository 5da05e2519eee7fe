#include "processing/SimPreprocess.h"

#include "processing/SimPixelKernels.h"

#include "host/IZKVisionCameraManager.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

// The stages, their order and the meaning of every record field are described
// in host_sim/processing/PREPROCESSING.md; keep the two in step.

namespace hostsim {

namespace {

// The value nMode5 must hold for the pipeline to run.
constexpr int kRunPipeline = 10;

// A snapshot of the record, taken once so that a client writing the record
// while a picture is processed cannot change it half-way through.
struct Settings
{
    int nSatMode, nBriMode, nGrayMode, nGrayProMode, nMode5;
    int nMorphologyType, nMorphologyW, nMorphologyH;
    bool bIsInver, bShowGray;
    int nSatValue, nBriValue, nGrayValue, nBriWidth, nGrayWidth;
    int nAdvancedSetting, nGoInterfereValue;
    int nFilterMode, nFilterMin, nFilterMax, nFilterPoleMode, nFilterPoleValue;
    int bSharpening, nSharpenKernel, nAdvancedSetting1;
    std::vector<ZKMorphologyParam> vecMorphology;
    bool bGoInterfere, bGoInterfereDef, bGrayscaleEqualization, bGrayPro, bSatDef, bBriDef;
    int nSatValueDef, nBriValueDef, nGrayValueDef, nBriWidthDef, nGrayWidthDef, nGoInterfereValueDef;

    explicit Settings(const IZKVisionCameraManager& r)
        : nSatMode(r.nSatMode), nBriMode(r.nBriMode), nGrayMode(r.nGrayMode),
          nGrayProMode(r.nGrayProMode), nMode5(r.nMode5),
          nMorphologyType(r.nMorphologyType), nMorphologyW(r.nMorphologyW),
          nMorphologyH(r.nMorphologyH), bIsInver(r.bIsInver), bShowGray(r.bShowGray),
          nSatValue(r.nSatValue), nBriValue(r.nBriValue), nGrayValue(r.nGrayValue),
          nBriWidth(r.nBriWidth), nGrayWidth(r.nGrayWidth),
          nAdvancedSetting(r.nAdvancedSetting), nGoInterfereValue(r.nGoInterfereValue),
          nFilterMode(r.nFilterMode), nFilterMin(r.nFilterMin), nFilterMax(r.nFilterMax),
          nFilterPoleMode(r.nFilterPoleMode), nFilterPoleValue(r.nFilterPoleValue),
          bSharpening(r.bSharpening), nSharpenKernel(r.nSharpenKernel),
          nAdvancedSetting1(r.nAdvancedSetting1), vecMorphology(r.vecMorphology),
          bGoInterfere(r.bGoInterfere), bGoInterfereDef(r.bGoInterfereDef),
          bGrayscaleEqualization(r.bGrayscaleEqualization), bGrayPro(r.bGrayPro),
          bSatDef(r.bSatDef), bBriDef(r.bBriDef),
          nSatValueDef(r.nSatValueDef), nBriValueDef(r.nBriValueDef),
          nGrayValueDef(r.nGrayValueDef), nBriWidthDef(r.nBriWidthDef),
          nGrayWidthDef(r.nGrayWidthDef), nGoInterfereValueDef(r.nGoInterfereValueDef)
    {
    }
};

// Scratch buffers, kept per thread so that repeated calls (one per frame) do
// not allocate. The picture handed back never lives in one of them.
struct Scratch
{
    cv::Mat a, b, c, gray, mask;
    std::vector<cv::Mat> bandContext; // rows kept aside at the cuts between bands
    std::vector<cv::Mat> planes;
};

Scratch& scratch()
{
    thread_local Scratch s;
    return s;
}

// Which values a mode group uses: 0 off, 1 automatic (defaults), 2 manual
// (the operator's values, or the defaults when the group's default switch is
// on). Any other mode is off.
enum class Source { Off, Defaults, Manual };

Source modeSource(int nMode, bool bUseDefaults)
{
    switch (nMode) {
    case 1: return Source::Defaults;
    case 2: return bUseDefaults ? Source::Defaults : Source::Manual;
    default: return Source::Off;
    }
}

int oddAtLeast(int n, int nMin)
{
    n = std::max(n, nMin);
    return (n % 2 == 0) ? n + 1 : n;
}

bool isColour(const cv::Mat& m) { return m.channels() == 3; }

// How many row strips a pass over the picture is cut into: one per worker
// thread of OpenCV's pool (one per core), so that both cores share every pass
// and each strip stays long enough to stream through memory.
int stripCount()
{
    return std::max(1, cv::getNumThreads());
}

// Runs fn(firstRow, endRow) over the picture's rows, strip by strip on the
// pool. fn must only write rows of its own strip.
template <class Fn>
void forEachRowStrip(int rows, Fn&& fn)
{
    cv::parallel_for_(
        cv::Range(0, rows), [&fn](const cv::Range& r) { fn(r.start, r.end); }, stripCount());
}

// Runs a neighbourhood filter that reads outside the view it is given (the
// OpenCV filters do unless told to isolate the view) strip by strip: each
// strip filters a view of its rows straight into the same rows of dst, seeing
// the real neighbouring rows across its edges, so the result is the same as
// one run over the whole picture. src and dst must be different pictures.
template <class Filter>
void filterStripsInPlace(const cv::Mat& src, cv::Mat& dst, Filter&& filter)
{
    dst.create(src.size(), src.type());
    forEachRowStrip(src.rows, [&](int y0, int y1) {
        cv::Mat out = dst.rowRange(y0, y1);
        filter(src.rowRange(y0, y1), out);
    });
}

// The same for a filter that treats the view it is given as the whole
// picture (cv::medianBlur): each strip filters its rows plus `margin` rows
// either side, and keeps its own rows of the result.
template <class Filter>
void filterStripsWithMargin(const cv::Mat& src, cv::Mat& dst, int margin, Filter&& filter)
{
    dst.create(src.size(), src.type());
    forEachRowStrip(src.rows, [&](int y0, int y1) {
        const int top = std::max(0, y0 - margin);
        const int bottom = std::min(src.rows, y1 + margin);
        cv::Mat out;
        filter(src.rowRange(top, bottom), out);
        out.rowRange(y0 - top, y1 - top).copyTo(dst.rowRange(y0, y1));
    });
}

// Luminance of the current picture: the picture itself when gray, else the
// RGB luminance in the scratch buffer.
const cv::Mat& luminance(const cv::Mat& img, Scratch& s)
{
    if (!isColour(img))
        return img;
    cv::cvtColor(img, s.gray, cv::COLOR_RGB2GRAY);
    return s.gray;
}

bool brightnessOn(const Settings& st)
{
    return modeSource(st.nBriMode, st.bBriDef) != Source::Off;
}

// 1. Saturation: scales the HSV saturation by v / 50, keeping hue and value.
// Done on RGB directly (see kernels::scaleSaturationRow): the same as the HSV
// round trip, without its 8-bit hue rounding, in one pass.
//
// When the brightness stage follows, the strips also compute the gray level
// of their rows for it while the rows are in the cache (bLevelsReady).
void saturationStage(cv::Mat& img, const Settings& st, Scratch& s, bool& bLevelsReady)
{
    bLevelsReady = false;
    const Source src = modeSource(st.nSatMode, st.bSatDef);
    if (src == Source::Off || !isColour(img))
        return;
    const int v = std::clamp(src == Source::Manual ? st.nSatValue : st.nSatValueDef, 3, 100);
    if (v == 50)
        return; // factor 1: nothing changes
    const float factor = float(v) / 50.f;
    const bool bLevels = brightnessOn(st);
    if (bLevels)
        s.gray.create(img.size(), CV_8UC1);
    forEachRowStrip(img.rows, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            kernels::scaleSaturationRow(img.ptr<uchar>(y), img.cols, factor);
        if (bLevels) {
            cv::Mat levels = s.gray.rowRange(y0, y1);
            cv::cvtColor(img.rowRange(y0, y1), levels, cv::COLOR_RGB2GRAY);
        }
    });
    bLevelsReady = bLevels;
}

// 2. Brightness (flat field): out = in + (target - local mean of luminance).
// windowTable: the gray processing's table, to apply in the same pass (when
// nothing between the two stages changes the picture), or null.
void brightnessStage(cv::Mat& img, const Settings& st, Scratch& s, bool bLevelsReady, const uchar* windowTable)
{
    const Source src = modeSource(st.nBriMode, st.bBriDef);
    if (src == Source::Off)
        return;
    const bool bManual = src == Source::Manual;
    const int v = std::clamp(bManual ? st.nBriValue : st.nBriValueDef, 3, 100);
    const int w = oddAtLeast(std::min(bManual ? st.nBriWidth : st.nBriWidthDef, 300), 3);
    const uchar target = static_cast<uchar>(std::lround(v * 255.0 / 100.0));

    const cv::Mat& lum = bLevelsReady ? s.gray : luminance(img, s);
    filterStripsInPlace(lum, s.mask, [w](const cv::Mat& in, cv::Mat& out) {
        cv::blur(in, out, cv::Size(w, w), cv::Point(-1, -1), cv::BORDER_REFLECT);
    });
    const size_t rowValues = static_cast<size_t>(img.cols) * img.channels();
    forEachRowStrip(img.rows, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            kernels::addDifferenceRow(img.ptr<uchar>(y), img.cols, img.channels(), nullptr, target,
                                      s.mask.ptr<uchar>(y));
            if (windowTable)
                kernels::lookUpRow(img.ptr<uchar>(y), rowValues, windowTable);
        }
    });
}

// 3. Gray channel: picks one gray plane of a colour picture.
void grayChannelStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    if (!isColour(img))
        return;
    cv::Mat out; // a new picture: never a scratch buffer
    switch (st.nGrayMode) {
    case 1: // min channel
    case 8: // max channel
        cv::split(img, s.planes);
        if (st.nGrayMode == 1) {
            cv::min(s.planes[0], s.planes[1], out);
            cv::min(out, s.planes[2], out);
        } else {
            cv::max(s.planes[0], s.planes[1], out);
            cv::max(out, s.planes[2], out);
        }
        break;
    case 2: // average of the channels
        cv::transform(img, out, cv::Matx13f(1.f / 3, 1.f / 3, 1.f / 3));
        break;
    case 3: // red
    case 4: // green
    case 5: // blue
        cv::extractChannel(img, out, st.nGrayMode - 3);
        break;
    case 6: // HSV saturation
        cv::cvtColor(img, s.a, cv::COLOR_RGB2HSV);
        cv::extractChannel(s.a, out, 1);
        break;
    case 7: // HSV hue, 0..360 degrees mapped to 0..255
        cv::cvtColor(img, s.a, cv::COLOR_RGB2HSV_FULL);
        cv::extractChannel(s.a, out, 0);
        break;
    default: // 0 or unknown: keep the colours unless the picture is shown gray
        if (!st.bShowGray)
            return;
        cv::cvtColor(img, out, cv::COLOR_RGB2GRAY);
        break;
    }
    img = out;
}

// 4. Gray processing (window / level) through a look-up table.
//
// The table of the window, when the stage is on.
bool grayWindowTable(const Settings& st, uchar lut[256])
{
    const int nMode = st.bGrayPro ? 2 : st.nGrayProMode;
    if (nMode != 1 && nMode != 2)
        return false;
    const int v = std::clamp(nMode == 2 ? st.nGrayValue : st.nGrayValueDef, 0, 100);
    const int w = std::clamp(nMode == 2 ? st.nGrayWidth : st.nGrayWidthDef, 1, 510);
    const double centre = v * 255.0 / 100.0;
    const double low = centre - w / 2.0;
    for (int i = 0; i < 256; ++i)
        lut[i] = cv::saturate_cast<uchar>((i - low) * 255.0 / w);
    return true;
}

void grayProcessingStage(cv::Mat& img, const uchar lut[256])
{
    const size_t rowValues = static_cast<size_t>(img.cols) * img.channels();
    forEachRowStrip(img.rows, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            kernels::lookUpRow(img.ptr<uchar>(y), rowValues, lut);
    });
}

// 5. De-interference: 3 x 3 median (isolated noise dots), then a Gaussian blur of sigma v / 20.
int deInterferenceValue(const Settings& st)
{
    return std::clamp(st.bGoInterfereDef ? st.nGoInterfereValueDef : st.nGoInterfereValue, 1, 100);
}

// The kernel size OpenCV's GaussianBlur derives from sigma for 8-bit pictures.
int gaussianKernelSize(double sigma)
{
    return std::max(1, cvRound(sigma * 3 * 2 + 1) | 1);
}

void deInterferenceStage(cv::Mat& img, const Settings& st, Scratch& s, bool bSplitOverCores)
{
    if (!st.bGoInterfere)
        return;
    const double sigma = deInterferenceValue(st) / 20.0;
    // OpenCV runs the median on one core (the Gaussian blur on all).
    if (bSplitOverCores)
        filterStripsWithMargin(img, s.a, 1, [](const cv::Mat& in, cv::Mat& out) { cv::medianBlur(in, out, 3); });
    else
        cv::medianBlur(img, s.a, 3);
    cv::GaussianBlur(s.a, img, cv::Size(0, 0), sigma, sigma, cv::BORDER_REFLECT_101);
}

// 6. Sharpening (unsharp mask): in + a * (in - blurred), a = 1 or 2.
void sharpeningStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    if (st.nSharpenKernel <= 0)
        return;
    const int k = oddAtLeast(std::min(st.nSharpenKernel, 31), 3);
    const int a = st.bSharpening != 0 ? 2 : 1;
    cv::GaussianBlur(img, s.a, cv::Size(k, k), 0, 0, cv::BORDER_REFLECT_101);
    const int rowValues = img.cols * img.channels();
    forEachRowStrip(img.rows, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            kernels::unsharpRow(img.ptr<uchar>(y), s.a.ptr<uchar>(y), rowValues, a);
    });
}

// 7. One morphology operation with a rectangular kernel.
void singleMorphologyStage(cv::Mat& img, const Settings& st)
{
    if (st.nAdvancedSetting == 0)
        return;
    static const int ops[] = { -1, cv::MORPH_ERODE, cv::MORPH_DILATE, cv::MORPH_OPEN, cv::MORPH_CLOSE };
    if (st.nMorphologyType < 1 || st.nMorphologyType > 4)
        return;
    const int w = std::clamp(st.nMorphologyW, 1, 101);
    const int h = std::clamp(st.nMorphologyH, 1, 101);
    if (w == 1 && h == 1)
        return;
    const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(w, h));
    cv::morphologyEx(img, img, ops[st.nMorphologyType], kernel);
}

// 8. The morphology list, step by step, with round (elliptic) kernels.
void morphologyListStage(cv::Mat& img, const Settings& st)
{
    if (st.nAdvancedSetting1 == 0)
        return;
    // black add = erode, black delete = close, white add = dilate, white delete = open
    static const int ops[] = { -1, cv::MORPH_ERODE, cv::MORPH_CLOSE, cv::MORPH_DILATE, cv::MORPH_OPEN };
    for (const ZKMorphologyParam& step : st.vecMorphology) {
        if (step.bEnable == 0 || step.nMorphType < 1 || step.nMorphType > 4)
            continue;
        const int d = std::clamp(step.nLineSize, 1, 100);
        if (d == 1)
            continue; // a one-pixel kernel changes nothing
        const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(d, d));
        cv::morphologyEx(img, img, ops[step.nMorphType], kernel);
    }
}

// 9. Range filter: gray levels in [min, max] become black (1) or white (2).
// 10. Pole filter: darker than the value -> black (1), brighter -> white (2),
// judged on the gray level after the range filter.
// Both in one pass: a painted pixel's gray level is exactly 0 or 255, so the
// pole filter needs no second look at the picture.
void rangeAndPoleFilterStages(cv::Mat& img, const Settings& st, Scratch& s)
{
    kernels::PaintRule rule;
    const int lo = std::clamp(st.nFilterMin, 0, 255);
    const int hi = std::clamp(st.nFilterMax, 0, 255);
    rule.range = (st.nFilterMode == 1 || st.nFilterMode == 2) && lo <= hi;
    rule.rangeLow = static_cast<uchar>(lo);
    rule.rangeHigh = static_cast<uchar>(hi);
    rule.rangePaint = st.nFilterMode == 2 ? 255 : 0;
    rule.pole = st.nFilterPoleMode == 1 || st.nFilterPoleMode == 2;
    rule.poleBelow = st.nFilterPoleMode == 1;
    rule.poleLevel = static_cast<uchar>(std::clamp(st.nFilterPoleValue, 0, 255));
    rule.polePaint = rule.poleBelow ? 0 : 255;
    if (!rule.range && !rule.pole)
        return;

    // For a gray picture the levels are the picture itself; the kernel reads
    // a pixel's level before it writes the pixel.
    const cv::Mat& lum = luminance(img, s);
    forEachRowStrip(img.rows, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            kernels::paintRow(img.ptr<uchar>(y), img.cols, img.channels(), lum.ptr<uchar>(y), rule);
    });
}

// 11. Histogram equalization: of the picture for gray pictures; for colour
// of the gray level, each pixel's change of level added to its three channels
// (the chroma is kept, as a YCrCb round trip would keep it, without the two
// conversions, their rounding and their clipping of strong colours).
// 12. Inversion: every channel becomes 255 - value; done by the
// equalization's last pass when both are on.
void equalizationAndInversionStages(cv::Mat& img, const Settings& st, Scratch& s)
{
    const bool bInvert = st.bIsInver;
    if (!st.bGrayscaleEqualization || !isColour(img)) {
        if (st.bGrayscaleEqualization)
            cv::equalizeHist(img, img);
        if (bInvert)
            cv::bitwise_not(img, img);
        return;
    }

    cv::Mat& levels = s.gray;
    cv::Mat& equalized = s.b;
    cv::cvtColor(img, levels, cv::COLOR_RGB2GRAY);
    cv::equalizeHist(levels, equalized);
    forEachRowStrip(img.rows, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            uchar* row = img.ptr<uchar>(y);
            kernels::addDifferenceRow(row, img.cols, 3, equalized.ptr<uchar>(y), 0, levels.ptr<uchar>(y));
            if (bInvert) {
                cv::Mat rowView(1, img.cols, CV_8UC3, row);
                cv::bitwise_not(rowView, rowView);
            }
        }
    });
}

// Rows of context the neighbourhood stages (de-interference to pole filter)
// need above and below a row to compute it exactly.
int neighbourhoodReach(const Settings& st)
{
    int reach = 0;
    if (st.bGoInterfere)
        reach += 1 + gaussianKernelSize(deInterferenceValue(st) / 20.0) / 2;
    if (st.nSharpenKernel > 0)
        reach += oddAtLeast(std::min(st.nSharpenKernel, 31), 3) / 2;
    // Opening and closing are two passes of the kernel.
    if (st.nAdvancedSetting != 0 && st.nMorphologyType >= 1 && st.nMorphologyType <= 4)
        reach += (st.nMorphologyType >= 3 ? 2 : 1) * (std::clamp(st.nMorphologyH, 1, 101) / 2);
    if (st.nAdvancedSetting1 != 0)
        for (const ZKMorphologyParam& step : st.vecMorphology)
            if (step.bEnable != 0 && step.nMorphType >= 1 && step.nMorphType <= 4)
                reach += (step.nMorphType == 2 || step.nMorphType == 4 ? 2 : 1)
                    * (std::clamp(step.nLineSize, 1, 100) / 2);
    return reach;
}

void neighbourhoodStages(cv::Mat& img, const Settings& st, Scratch& s, bool bSplitOverCores)
{
    deInterferenceStage(img, st, s, bSplitOverCores);
    sharpeningStage(img, st, s);
    singleMorphologyStage(img, st);
    morphologyListStage(img, st);
    rangeAndPoleFilterStages(img, st, s);
}

// The neighbourhood stages, band by band: each band of rows, with the reach
// of context above and below, is copied out of the picture, run through all
// of them while it is in the core's cache, and its own rows are written back.
// Several filters in a row over a picture bigger than the cache otherwise
// stream it through memory once each. The result is the same as running the
// stages over the whole picture: a band that starts or ends at the picture's
// edge has the picture's border there, and a wrong row at a band's cut edge
// spoils at most the reach of rows, which are not written back.
void neighbourhoodStagesInBands(cv::Mat& img, const Settings& st, Scratch& s)
{
    const int reach = neighbourhoodReach(st);
    if (reach == 0) {
        // No filter that looks at neighbours is on (at most the pixel-wise
        // range and pole filters): nothing to gain from bands.
        neighbourhoodStages(img, st, s, true);
        return;
    }
    // Bands of about 256 rows (a megabyte of a 1280-pixel-wide colour
    // picture: measured best of 64 to 1024 rows); taller when the reach is
    // long, so that at most half of the work is spent on context. Their
    // number is a multiple of the cores, so that all finish together.
    constexpr int kBandRows = 256;
    const int bandRows = std::max(kBandRows, 4 * reach);
    int bands = img.rows / bandRows;
    if (bands >= 2) // at most 1.5 times as many: still over 2.6 times the reach tall
        bands = (bands + stripCount() - 1) / stripCount() * stripCount();
    if (bands < 2) {
        neighbourhoodStages(img, st, s, true);
        return;
    }
    // A band writes back only its own rows, but reads its neighbours' rows
    // within the reach, which they may have written back already: those rows
    // are kept aside first, for every cut between two bands.
    auto cutRow = [&](int band) { return img.rows * band / bands; };
    std::vector<cv::Mat>& aside = s.bandContext;
    aside.resize(bands);
    for (int band = 1; band < bands; ++band)
        aside[band] = img.rowRange(cutRow(band) - reach, cutRow(band) + reach).clone();
    cv::parallel_for_(
        cv::Range(0, bands),
        [&](const cv::Range& r) {
            // Inside a band OpenCV runs everything on this thread: the bands
            // are what shares the cores. A thread's own scratch pictures.
            Scratch& bandScratch = scratch();
            for (int band = r.start; band < r.end; ++band) {
                const int y0 = cutRow(band);
                const int y1 = cutRow(band + 1);
                const int above = band > 0 ? reach : 0;
                const int below = band + 1 < bands ? reach : 0;
                cv::Mat rows(above + (y1 - y0) + below, img.cols, img.type());
                if (above > 0)
                    aside[band].rowRange(0, reach).copyTo(rows.rowRange(0, above));
                img.rowRange(y0, y1).copyTo(rows.rowRange(above, above + (y1 - y0)));
                if (below > 0)
                    aside[band + 1].rowRange(reach, 2 * reach).copyTo(rows.rowRange(above + (y1 - y0), rows.rows));
                neighbourhoodStages(rows, st, bandScratch, false);
                rows.rowRange(above, above + (y1 - y0)).copyTo(img.rowRange(y0, y1));
            }
        },
        bands);
}

} // namespace

void preprocessImage(cv::Mat& image, const IZKVisionCameraManager& record)
{
    if (image.empty() || (image.type() != CV_8UC3 && image.type() != CV_8UC1))
        return;
    if (!image.isContinuous())
        image = image.clone();

    const Settings st(record);
    if (st.nMode5 != kRunPipeline)
        return;

    Scratch& s = scratch();
    // Stages work in the caller's buffer as long as the picture keeps its
    // type; a gray channel stage replaces it by a new (continuous) picture.
    cv::Mat img = image;
    bool bLevelsReady = false;
    saturationStage(img, st, s, bLevelsReady);
    // The gray processing's table goes with the brightness pass when the gray
    // channel stage leaves the picture as it is.
    uchar window[256];
    const bool bWindow = grayWindowTable(st, window);
    const bool bGrayChannelIdle = !isColour(img) || ((st.nGrayMode < 1 || st.nGrayMode > 8) && !st.bShowGray);
    const bool bWindowWithBrightness = bWindow && brightnessOn(st) && bGrayChannelIdle;
    brightnessStage(img, st, s, bLevelsReady, bWindowWithBrightness ? window : nullptr);
    grayChannelStage(img, st, s);
    if (bWindow && !bWindowWithBrightness)
        grayProcessingStage(img, window);
    neighbourhoodStagesInBands(img, st, s);
    equalizationAndInversionStages(img, st, s);

    image = img.isContinuous() ? img : img.clone();
}

} // namespace hostsim
