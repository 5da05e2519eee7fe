#include "SimPreprocess.h"

#include "host/IZKVisionCameraManager.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

// The stages, their order and the meaning of every record field are described
// in host_sim/PREPROCESSING.md; keep the two in step.

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

// Luminance of the current picture: the picture itself when gray, else the
// RGB luminance in the scratch buffer.
const cv::Mat& luminance(const cv::Mat& img, Scratch& s)
{
    if (!isColour(img))
        return img;
    cv::cvtColor(img, s.gray, cv::COLOR_RGB2GRAY);
    return s.gray;
}

// 1. Saturation: scales the HSV saturation by v / 50.
void saturationStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    const Source src = modeSource(st.nSatMode, st.bSatDef);
    if (src == Source::Off || !isColour(img))
        return;
    const int v = std::clamp(src == Source::Manual ? st.nSatValue : st.nSatValueDef, 3, 100);
    if (v == 50)
        return; // factor 1: skip the (lossy) HSV round trip
    // H and V through unchanged, S scaled with a saturated cast.
    cv::Mat lut(1, 256, CV_8UC3);
    for (int i = 0; i < 256; ++i)
        lut.at<cv::Vec3b>(i) = cv::Vec3b(uchar(i), cv::saturate_cast<uchar>(i * v / 50.0), uchar(i));
    cv::cvtColor(img, s.a, cv::COLOR_RGB2HSV);
    cv::LUT(s.a, lut, s.a);
    cv::cvtColor(s.a, img, cv::COLOR_HSV2RGB);
}

// 2. Brightness (flat field): out = in + (target - local mean of luminance).
void brightnessStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    const Source src = modeSource(st.nBriMode, st.bBriDef);
    if (src == Source::Off)
        return;
    const bool bManual = src == Source::Manual;
    const int v = std::clamp(bManual ? st.nBriValue : st.nBriValueDef, 3, 100);
    const int w = oddAtLeast(std::min(bManual ? st.nBriWidth : st.nBriWidthDef, 300), 3);
    const double target = std::round(v * 255.0 / 100.0);

    const cv::Mat& lum = luminance(img, s);
    cv::blur(lum, s.mask, cv::Size(w, w), cv::Point(-1, -1), cv::BORDER_REFLECT);
    // The signed offset split into its positive and negative parts (one of the
    // two is 0 at every pixel), so that all arithmetic stays in 8 bits.
    cv::subtract(cv::Scalar::all(target), s.mask, s.b); // raise
    cv::subtract(s.mask, cv::Scalar::all(target), s.c); // lower
    if (isColour(img)) {
        cv::cvtColor(s.b, s.a, cv::COLOR_GRAY2RGB);
        cv::add(img, s.a, img);
        cv::cvtColor(s.c, s.a, cv::COLOR_GRAY2RGB);
        cv::subtract(img, s.a, img);
    } else {
        cv::add(img, s.b, img);
        cv::subtract(img, s.c, img);
    }
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
void grayProcessingStage(cv::Mat& img, const Settings& st)
{
    const int nMode = st.bGrayPro ? 2 : st.nGrayProMode;
    if (nMode != 1 && nMode != 2)
        return;
    const int v = std::clamp(nMode == 2 ? st.nGrayValue : st.nGrayValueDef, 0, 100);
    const int w = std::clamp(nMode == 2 ? st.nGrayWidth : st.nGrayWidthDef, 1, 510);
    const double centre = v * 255.0 / 100.0;
    const double low = centre - w / 2.0;
    cv::Mat lut(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i)
        lut.at<uchar>(i) = cv::saturate_cast<uchar>((i - low) * 255.0 / w);
    cv::LUT(img, lut, img);
}

// 5. De-interference: 3 x 3 median (isolated noise dots), then a Gaussian blur of sigma v / 20.
void deInterferenceStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    if (!st.bGoInterfere)
        return;
    const int v = std::clamp(st.bGoInterfereDef ? st.nGoInterfereValueDef : st.nGoInterfereValue, 1, 100);
    cv::medianBlur(img, s.a, 3);
    cv::GaussianBlur(s.a, img, cv::Size(0, 0), v / 20.0, v / 20.0, cv::BORDER_REFLECT_101);
}

// 6. Sharpening (unsharp mask).
void sharpeningStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    if (st.nSharpenKernel <= 0)
        return;
    const int k = oddAtLeast(std::min(st.nSharpenKernel, 31), 3);
    const double a = st.bSharpening != 0 ? 2.0 : 1.0;
    cv::GaussianBlur(img, s.a, cv::Size(k, k), 0, 0, cv::BORDER_REFLECT_101);
    cv::addWeighted(img, 1.0 + a, s.a, -a, 0.0, img);
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

// Paints the pixels selected by s.mask (0 or 255) white or black in every
// channel, with bitwise operations (much faster than a masked setTo).
void paintMask(cv::Mat& img, Scratch& s, bool bWhite)
{
    const cv::Mat* pMask = &s.mask;
    if (isColour(img)) {
        cv::cvtColor(s.mask, s.a, cv::COLOR_GRAY2RGB);
        pMask = &s.a;
    }
    if (bWhite)
        cv::bitwise_or(img, *pMask, img); // v | 255 = 255, v | 0 = v
    else
        cv::subtract(img, *pMask, img);   // saturated: v - 255 = 0, v - 0 = v
}

// 9. Range filter: gray levels in [min, max] become black (1) or white (2).
void rangeFilterStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    if (st.nFilterMode != 1 && st.nFilterMode != 2)
        return;
    const int lo = std::clamp(st.nFilterMin, 0, 255);
    const int hi = std::clamp(st.nFilterMax, 0, 255);
    if (lo > hi)
        return;
    cv::inRange(luminance(img, s), cv::Scalar(lo), cv::Scalar(hi), s.mask);
    paintMask(img, s, st.nFilterMode == 2);
}

// 10. Pole filter: darker than the value -> black (1), brighter -> white (2).
void poleFilterStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    if (st.nFilterPoleMode != 1 && st.nFilterPoleMode != 2)
        return;
    const int value = std::clamp(st.nFilterPoleValue, 0, 255);
    const bool bBlack = st.nFilterPoleMode == 1;
    cv::compare(luminance(img, s), cv::Scalar(value), s.mask, bBlack ? cv::CMP_LT : cv::CMP_GT);
    paintMask(img, s, !bBlack);
}

// 11. Histogram equalization (of the luminance Y of YCrCb for colour).
void equalizationStage(cv::Mat& img, const Settings& st, Scratch& s)
{
    if (!st.bGrayscaleEqualization)
        return;
    if (!isColour(img)) {
        cv::equalizeHist(img, img);
        return;
    }
    cv::cvtColor(img, s.a, cv::COLOR_RGB2YCrCb);
    cv::extractChannel(s.a, s.gray, 0);
    cv::equalizeHist(s.gray, s.gray);
    cv::insertChannel(s.gray, s.a, 0);
    cv::cvtColor(s.a, img, cv::COLOR_YCrCb2RGB);
}

// 12. Inversion.
void inversionStage(cv::Mat& img, const Settings& st)
{
    if (st.bIsInver)
        cv::bitwise_not(img, img);
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
    saturationStage(img, st, s);
    brightnessStage(img, st, s);
    grayChannelStage(img, st, s);
    grayProcessingStage(img, st);
    deInterferenceStage(img, st, s);
    sharpeningStage(img, st, s);
    singleMorphologyStage(img, st);
    morphologyListStage(img, st);
    rangeFilterStage(img, st, s);
    poleFilterStage(img, st, s);
    equalizationStage(img, st, s);
    inversionStage(img, st);

    image = img.isContinuous() ? img : img.clone();
}

} // namespace hostsim
