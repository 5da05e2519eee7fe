#include "cameras/PixelFormats.h"

#include <opencv2/imgproc.hpp>

#include <QtGlobal>

#include <algorithm>
#include <cstring>

namespace hostsim {

namespace {

enum class Kind
{
    Mono8,
    MonoWide,   // one value in 16 bits, little-endian
    MonoP,      // PFNC bit stream, least significant bit first
    MonoGev,    // GigE Vision 1.x: two pixels in three bytes
    Bayer8,
    BayerWide,  // Bayer in 16 bits, little-endian
    Rgb8,
    Bgr8,
    Yuyv,
    Uyvy
};

struct Format
{
    uint32_t code;
    const char* name;
    Kind kind;
    int depth;     // significant bits of a value
    int bayerCode; // OpenCV's conversion for the Bayer formats
};

// OpenCV names a Bayer pattern by the second row's second and third pixels,
// which is the GenICam name of the pattern one row and one column further:
// GenICam RG (red at the top left) is OpenCV's BG, GR is GB, GB is GR, BG is RG.
const Format kFormats[] = {
    {pfnc::Mono8, "Mono8", Kind::Mono8, 8, 0},
    {pfnc::Mono10, "Mono10", Kind::MonoWide, 10, 0},
    {pfnc::Mono12, "Mono12", Kind::MonoWide, 12, 0},
    {pfnc::Mono14, "Mono14", Kind::MonoWide, 14, 0},
    {pfnc::Mono16, "Mono16", Kind::MonoWide, 16, 0},
    {pfnc::Mono10p, "Mono10p", Kind::MonoP, 10, 0},
    {pfnc::Mono12p, "Mono12p", Kind::MonoP, 12, 0},
    {pfnc::Mono10Packed, "Mono10Packed", Kind::MonoGev, 10, 0},
    {pfnc::Mono12Packed, "Mono12Packed", Kind::MonoGev, 12, 0},
    {pfnc::BayerGR8, "BayerGR8", Kind::Bayer8, 8, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG8, "BayerRG8", Kind::Bayer8, 8, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB8, "BayerGB8", Kind::Bayer8, 8, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG8, "BayerBG8", Kind::Bayer8, 8, cv::COLOR_BayerRG2RGB},
    {pfnc::BayerGR10, "BayerGR10", Kind::BayerWide, 10, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG10, "BayerRG10", Kind::BayerWide, 10, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB10, "BayerGB10", Kind::BayerWide, 10, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG10, "BayerBG10", Kind::BayerWide, 10, cv::COLOR_BayerRG2RGB},
    {pfnc::BayerGR12, "BayerGR12", Kind::BayerWide, 12, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG12, "BayerRG12", Kind::BayerWide, 12, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB12, "BayerGB12", Kind::BayerWide, 12, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG12, "BayerBG12", Kind::BayerWide, 12, cv::COLOR_BayerRG2RGB},
    {pfnc::BayerGR16, "BayerGR16", Kind::BayerWide, 16, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG16, "BayerRG16", Kind::BayerWide, 16, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB16, "BayerGB16", Kind::BayerWide, 16, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG16, "BayerBG16", Kind::BayerWide, 16, cv::COLOR_BayerRG2RGB},
    {pfnc::RGB8, "RGB8", Kind::Rgb8, 8, 0},
    {pfnc::BGR8, "BGR8", Kind::Bgr8, 8, 0},
    {pfnc::YUV422_8, "YUV422_8", Kind::Yuyv, 8, 0},
    {pfnc::YUV422_8_UYVY, "YUV422_8_UYVY", Kind::Uyvy, 8, 0},
};

// Older names cameras still use for the same codes.
const struct
{
    const char* name;
    uint32_t code;
} kAliases[] = {
    {"RGB8Packed", pfnc::RGB8},
    {"BGR8Packed", pfnc::BGR8},
    {"YUV422Packed", pfnc::YUV422_8_UYVY},
    {"YUV422_YUYV_Packed", pfnc::YUV422_8},
    {"YUV422_8_YUYV", pfnc::YUV422_8},
};

const Format* findFormat(uint32_t nCode)
{
    for (const Format& f : kFormats)
        if (f.code == nCode)
            return &f;
    return nullptr;
}

// Bytes of one row as the format packs it, rounded up to whole bytes.
size_t rowBytes(const Format& f, int nWidth)
{
    const size_t w = size_t(nWidth);
    switch (f.kind) {
    case Kind::Mono8:
    case Kind::Bayer8: return w;
    case Kind::MonoWide:
    case Kind::BayerWide:
    case Kind::Yuyv:
    case Kind::Uyvy: return 2 * w;
    case Kind::Rgb8:
    case Kind::Bgr8: return 3 * w;
    case Kind::MonoP: return (w * size_t(f.depth) + 7) / 8;
    case Kind::MonoGev: return (3 * w + 1) / 2;
    }
    return 0;
}

size_t minimumBytes(const Format& f, int nWidth, int nHeight, size_t nStride)
{
    if (nWidth <= 0 || nHeight <= 0)
        return 0;
    const size_t nPixels = size_t(nWidth) * size_t(nHeight);
    if (nStride == 0) {
        // A packed stream without row breaks.
        if (f.kind == Kind::MonoP)
            return (nPixels * size_t(f.depth) + 7) / 8;
        if (f.kind == Kind::MonoGev)
            return (3 * nPixels + 1) / 2;
        return rowBytes(f, nWidth) * size_t(nHeight);
    }
    return nStride * size_t(nHeight - 1) + rowBytes(f, nWidth);
}

void prepare(cv::Mat& out, int nHeight, int nWidth, int nType)
{
    if (out.rows != nHeight || out.cols != nWidth || out.type() != nType)
        out.create(nHeight, nWidth, nType);
}

inline uint8_t top8(unsigned nValue, int nShift)
{
    return static_cast<uint8_t>(std::min(nValue >> nShift, 255u));
}

// 16-bit little-endian values to their top bits, into 8-bit rows.
void wideToBytes(const uint8_t* pData, size_t nStride, int nWidth, int nHeight, int nDepth, cv::Mat& out)
{
    const int nShift = nDepth - 8;
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    if (nStride % 2 == 0 && reinterpret_cast<uintptr_t>(pData) % 2 == 0) {
        // OpenCV's vectorised scaling, made to truncate: v / 2^s - 1/2 + 1/2^(s+1)
        // lies strictly between k - 1/2 and k + 1/2 for every v in
        // [k 2^s, (k + 1) 2^s), so rounding gives k = v >> s; above 255 it saturates.
        const cv::Mat wide(nHeight, nWidth, CV_16UC1, const_cast<uint8_t*>(pData), nStride);
        const double dScale = 1.0 / double(1 << nShift);
        wide.convertTo(out, CV_8U, dScale, -0.5 + dScale / 2.0);
        return;
    }
#endif
    for (int y = 0; y < nHeight; ++y) {
        const uint8_t* pIn = pData + size_t(y) * nStride;
        uint8_t* pOut = out.ptr<uint8_t>(y);
        for (int x = 0; x < nWidth; ++x)
            pOut[x] = top8(unsigned(pIn[2 * x]) | unsigned(pIn[2 * x + 1]) << 8, nShift);
    }
}

// PFNC "p" formats: value i occupies bits [i*depth, (i+1)*depth) of the
// stream, least significant bit first; 10 and 12 bits span at most two bytes.
void unpackP(const uint8_t* pData, size_t nStride, int nWidth, int nHeight, int nDepth, cv::Mat& out)
{
    const unsigned nMask = (1u << nDepth) - 1u;
    const int nShift = nDepth - 8;
    for (int y = 0; y < nHeight; ++y) {
        const uint8_t* pRow = nStride ? pData + size_t(y) * nStride : pData;
        const size_t nFirst = nStride ? 0 : size_t(y) * size_t(nWidth);
        uint8_t* pOut = out.ptr<uint8_t>(y);
        for (int x = 0; x < nWidth; ++x) {
            const size_t nBit = (nFirst + size_t(x)) * size_t(nDepth);
            const uint8_t* p = pRow + nBit / 8;
            // The second byte is read only when the value reaches into it.
            const unsigned nLow = nBit % 8;
            unsigned v = p[0];
            if (nLow + unsigned(nDepth) > 8)
                v |= unsigned(p[1]) << 8;
            pOut[x] = top8((v >> nLow) & nMask, nShift);
        }
    }
}

// GigE Vision 1.x Mono10Packed / Mono12Packed: pixels 2k and 2k+1 in bytes
// 3k..3k+2; bytes 0 and 2 hold the top 8 bits, byte 1 the low bits of the
// first pixel (low nibble) and of the second (high nibble).
void unpackGev(const uint8_t* pData, size_t nStride, int nWidth, int nHeight, int nDepth, cv::Mat& out)
{
    const int nLowBits = nDepth - 8;
    const unsigned nLowMask = (1u << nLowBits) - 1u;
    for (int y = 0; y < nHeight; ++y) {
        const uint8_t* pRow = nStride ? pData + size_t(y) * nStride : pData;
        const size_t nFirst = nStride ? 0 : size_t(y) * size_t(nWidth);
        uint8_t* pOut = out.ptr<uint8_t>(y);
        for (int x = 0; x < nWidth; ++x) {
            const size_t i = nFirst + size_t(x);
            const uint8_t* p = pRow + (i / 2) * 3;
            unsigned v = 0;
            if (i % 2 == 0)
                v = unsigned(p[0]) << nLowBits | (unsigned(p[1]) & nLowMask);
            else
                v = unsigned(p[2]) << nLowBits | ((unsigned(p[1]) >> 4) & nLowMask);
            pOut[x] = top8(v, nLowBits);
        }
    }
}

// Demosaicing needs two rows and two columns: a smaller picture is shown as
// the colours its pixels stand for (the others black).
void smallBayer(const cv::Mat& mosaic, const Format& f, cv::Mat& out)
{
    // The 2 x 2 tile, row by row, from the name's first row ("RG" of "BayerRG8").
    const char a = f.name[5], b = f.name[6];
    const char tile[4] = {a, b, a == 'G' ? (b == 'R' ? 'B' : 'R') : 'G', a == 'G' ? 'G' : (a == 'R' ? 'B' : 'R')};
    for (int y = 0; y < mosaic.rows; ++y) {
        cv::Vec3b* pOut = out.ptr<cv::Vec3b>(y);
        for (int x = 0; x < mosaic.cols; ++x) {
            const char c = tile[(y % 2) * 2 + x % 2];
            const uint8_t v = mosaic.at<uint8_t>(y, x);
            pOut[x] = cv::Vec3b(c == 'R' ? v : 0, c == 'G' ? v : 0, c == 'B' ? v : 0);
        }
    }
}

void fromBayer(const cv::Mat& mosaic, const Format& f, cv::Mat& out)
{
    prepare(out, mosaic.rows, mosaic.cols, CV_8UC3);
    if (mosaic.rows < 2 || mosaic.cols < 2) {
        smallBayer(mosaic, f, out);
        return;
    }
    cv::cvtColor(mosaic, out, f.bayerCode);
}

void fromYuv422(const uint8_t* pData, size_t nStride, int nWidth, int nHeight, bool bUyvy, cv::Mat& out)
{
    const int nCode = bUyvy ? cv::COLOR_YUV2RGB_UYVY : cv::COLOR_YUV2RGB_YUYV;
    if (nWidth % 2 == 0) {
        const cv::Mat wrapped(nHeight, nWidth, CV_8UC2, const_cast<uint8_t*>(pData), nStride);
        cv::cvtColor(wrapped, out, nCode);
        return;
    }
    // An odd width: its last pixel is completed into a pair that repeats it
    // with the V of the pair before.
    cv::Mat even(nHeight, nWidth + 1, CV_8UC2);
    const size_t nRow = size_t(nWidth) * 2;
    for (int y = 0; y < nHeight; ++y) {
        const uint8_t* pIn = pData + size_t(y) * nStride;
        uint8_t* pOut = even.ptr<uint8_t>(y);
        std::memcpy(pOut, pIn, nRow);
        const size_t nLast = nRow - 2; // the last pixel's two bytes
        if (bUyvy) {
            pOut[nRow] = nWidth >= 3 ? pIn[nLast - 2] : 128; // V
            pOut[nRow + 1] = pIn[nLast + 1];                 // Y
        } else {
            pOut[nRow] = pIn[nLast];                             // Y
            pOut[nRow + 1] = nWidth >= 3 ? pIn[nLast - 1] : 128; // V
        }
    }
    cv::Mat rgb;
    cv::cvtColor(even, rgb, nCode);
    prepare(out, nHeight, nWidth, CV_8UC3);
    rgb.colRange(0, nWidth).copyTo(out);
}

} // namespace

QString pixelFormatName(uint32_t nPixelFormat)
{
    if (const Format* f = findFormat(nPixelFormat))
        return QString::fromLatin1(f->name);
    return QStringLiteral("0x%1").arg(nPixelFormat, 8, 16, QLatin1Char('0'));
}

uint32_t pixelFormatFromName(const QString& strName)
{
    for (const Format& f : kFormats)
        if (strName == QLatin1String(f.name))
            return f.code;
    for (const auto& alias : kAliases)
        if (strName == QLatin1String(alias.name))
            return alias.code;
    return 0;
}

bool isPixelFormatShown(uint32_t nPixelFormat)
{
    return findFormat(nPixelFormat) != nullptr;
}

QStringList shownPixelFormatNames()
{
    QStringList names;
    for (const Format& f : kFormats)
        names << QString::fromLatin1(f.name);
    return names;
}

int pixelFormatChannels(uint32_t nPixelFormat)
{
    const Format* f = findFormat(nPixelFormat);
    if (!f)
        return 0;
    switch (f->kind) {
    case Kind::Mono8:
    case Kind::MonoWide:
    case Kind::MonoP:
    case Kind::MonoGev: return 1;
    default: return 3;
    }
}

size_t pixelFormatMinimumBytes(uint32_t nPixelFormat, int nWidth, int nHeight, size_t nStride)
{
    const Format* f = findFormat(nPixelFormat);
    return f ? minimumBytes(*f, nWidth, nHeight, nStride) : 0;
}

bool convertPixels(uint32_t nPixelFormat, int nWidth, int nHeight, const void* pData, size_t nSize, cv::Mat& out,
                   QString* pError, size_t nStride)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    const Format* f = findFormat(nPixelFormat);
    if (!f)
        return fail(QStringLiteral("pixel format %1 cannot be shown: choose one of %2")
                        .arg(pixelFormatName(nPixelFormat), QStringLiteral("Mono8/10/12/16, Mono10p, Mono12p, "
                                                                           "Mono12Packed, Bayer 8/10/12/16, "
                                                                           "YUV422_8, YUV422_8_UYVY, RGB8, BGR8")));
    if (nWidth <= 0 || nHeight <= 0 || !pData)
        return fail(QStringLiteral("empty %1 image").arg(QLatin1String(f->name)));
    if (nStride != 0 && nStride < rowBytes(*f, nWidth))
        return fail(QStringLiteral("%1 rows of %2 bytes cannot hold %3 pixels")
                        .arg(QLatin1String(f->name))
                        .arg(nStride)
                        .arg(nWidth));
    const size_t nNeeded = minimumBytes(*f, nWidth, nHeight, nStride);
    if (nSize < nNeeded)
        return fail(QStringLiteral("image data too short: %1 bytes for %2 x %3 %4 (needs %5)")
                        .arg(nSize)
                        .arg(nWidth)
                        .arg(nHeight)
                        .arg(QLatin1String(f->name))
                        .arg(nNeeded));
    const auto* pBytes = static_cast<const uint8_t*>(pData);
    const size_t nRowStride = nStride ? nStride : rowBytes(*f, nWidth);
    switch (f->kind) {
    case Kind::Mono8: {
        const cv::Mat wrapped(nHeight, nWidth, CV_8UC1, const_cast<uint8_t*>(pBytes), nRowStride);
        prepare(out, nHeight, nWidth, CV_8UC1);
        wrapped.copyTo(out);
        break;
    }
    case Kind::MonoWide:
        prepare(out, nHeight, nWidth, CV_8UC1);
        wideToBytes(pBytes, nRowStride, nWidth, nHeight, f->depth, out);
        break;
    case Kind::MonoP:
        prepare(out, nHeight, nWidth, CV_8UC1);
        unpackP(pBytes, nStride, nWidth, nHeight, f->depth, out);
        break;
    case Kind::MonoGev:
        prepare(out, nHeight, nWidth, CV_8UC1);
        unpackGev(pBytes, nStride, nWidth, nHeight, f->depth, out);
        break;
    case Kind::Bayer8: {
        const cv::Mat wrapped(nHeight, nWidth, CV_8UC1, const_cast<uint8_t*>(pBytes), nRowStride);
        fromBayer(wrapped, *f, out);
        break;
    }
    case Kind::BayerWide: {
        // Scaled to 8 bits first: the colour is made from what is shown.
        cv::Mat mosaic(nHeight, nWidth, CV_8UC1);
        wideToBytes(pBytes, nRowStride, nWidth, nHeight, f->depth, mosaic);
        fromBayer(mosaic, *f, out);
        break;
    }
    case Kind::Rgb8: {
        const cv::Mat wrapped(nHeight, nWidth, CV_8UC3, const_cast<uint8_t*>(pBytes), nRowStride);
        prepare(out, nHeight, nWidth, CV_8UC3);
        wrapped.copyTo(out);
        break;
    }
    case Kind::Bgr8: {
        const cv::Mat wrapped(nHeight, nWidth, CV_8UC3, const_cast<uint8_t*>(pBytes), nRowStride);
        prepare(out, nHeight, nWidth, CV_8UC3);
        cv::cvtColor(wrapped, out, cv::COLOR_BGR2RGB);
        break;
    }
    case Kind::Yuyv:
    case Kind::Uyvy:
        prepare(out, nHeight, nWidth, CV_8UC3);
        fromYuv422(pBytes, nRowStride, nWidth, nHeight, f->kind == Kind::Uyvy, out);
        break;
    }
    return true;
}

} // namespace hostsim
