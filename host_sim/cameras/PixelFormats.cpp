#include "cameras/PixelFormats.h"

#include <opencv2/imgproc.hpp>

#include <QtGlobal>

#include <algorithm>
#include <cstring>

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#include <tmmintrin.h>
#endif

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
    BayerP,     // Bayer as a PFNC bit stream
    BayerGev,   // Bayer in GigE Vision 1.x pairs
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
    {pfnc::BayerGR10p, "BayerGR10p", Kind::BayerP, 10, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG10p, "BayerRG10p", Kind::BayerP, 10, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB10p, "BayerGB10p", Kind::BayerP, 10, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG10p, "BayerBG10p", Kind::BayerP, 10, cv::COLOR_BayerRG2RGB},
    {pfnc::BayerGR12p, "BayerGR12p", Kind::BayerP, 12, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG12p, "BayerRG12p", Kind::BayerP, 12, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB12p, "BayerGB12p", Kind::BayerP, 12, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG12p, "BayerBG12p", Kind::BayerP, 12, cv::COLOR_BayerRG2RGB},
    {pfnc::BayerGR10Packed, "BayerGR10Packed", Kind::BayerGev, 10, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG10Packed, "BayerRG10Packed", Kind::BayerGev, 10, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB10Packed, "BayerGB10Packed", Kind::BayerGev, 10, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG10Packed, "BayerBG10Packed", Kind::BayerGev, 10, cv::COLOR_BayerRG2RGB},
    {pfnc::BayerGR12Packed, "BayerGR12Packed", Kind::BayerGev, 12, cv::COLOR_BayerGB2RGB},
    {pfnc::BayerRG12Packed, "BayerRG12Packed", Kind::BayerGev, 12, cv::COLOR_BayerBG2RGB},
    {pfnc::BayerGB12Packed, "BayerGB12Packed", Kind::BayerGev, 12, cv::COLOR_BayerGR2RGB},
    {pfnc::BayerBG12Packed, "BayerBG12Packed", Kind::BayerGev, 12, cv::COLOR_BayerRG2RGB},
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
    case Kind::MonoP:
    case Kind::BayerP: return (w * size_t(f.depth) + 7) / 8;
    case Kind::MonoGev:
    case Kind::BayerGev: return (3 * w + 1) / 2;
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
        if (f.kind == Kind::MonoP || f.kind == Kind::BayerP)
            return (nPixels * size_t(f.depth) + 7) / 8;
        if (f.kind == Kind::MonoGev || f.kind == Kind::BayerGev)
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

// The packed gray formats hold whole groups of pixels in whole bytes: a
// Mono12p or Mono12Packed pair in 3 bytes, a Mono10p quadruple in 5 bytes
// (Mono10Packed packs pairs like Mono12Packed). A frame shows only the top 8
// bits of each value, so a group becomes its frame bytes by gathering bytes
// and shifting within them, never by rebuilding the full values.
enum class Packing
{
    P10, // PFNC Mono10p: 10-bit values, least significant bit first
    P12, // PFNC Mono12p: 12-bit values, least significant bit first
    Gev  // GigE Vision Mono10Packed / Mono12Packed: byte 0 and byte 2 are the top 8 bits
};

struct PackedGroup
{
    size_t pixels;
    size_t bytes;
};

constexpr PackedGroup groupOf(Packing k)
{
    return k == Packing::P10 ? PackedGroup{4, 5} : PackedGroup{2, 3};
}

// Eight bits of a least-significant-bit-first stream starting at bit nBit. The
// following byte is read only when the bits reach into it, so that the last
// value of a buffer never reads past its end.
inline uint8_t eightBitsAt(const uint8_t* pStream, size_t nBit)
{
    const uint8_t* p = pStream + nBit / 8;
    const unsigned nShift = unsigned(nBit % 8);
    return nShift == 0 ? p[0] : static_cast<uint8_t>(p[0] >> nShift | p[1] << (8 - nShift));
}

// The top 8 bits of pixel i of a packed stream, alone (row starts and ends
// that do not fill a group).
inline uint8_t packedTop8(Packing k, const uint8_t* pStream, size_t i)
{
    switch (k) {
    case Packing::P10: return eightBitsAt(pStream, i * 10 + 2);
    case Packing::P12: return eightBitsAt(pStream, i * 12 + 4);
    case Packing::Gev: break;
    }
    return pStream[(i / 2) * 3 + (i % 2) * 2];
}

// Whole groups, without a branch inside a group: what processors without
// SSSE3 run, and the groups after the last 16-pixel block of a run.
void groupsP10(const uint8_t* pIn, size_t nGroups, uint8_t* pOut)
{
    for (size_t g = 0; g < nGroups; ++g) {
        const uint8_t* b = pIn + 5 * g;
        uint8_t* o = pOut + 4 * g;
        o[0] = static_cast<uint8_t>(b[0] >> 2 | b[1] << 6);
        o[1] = static_cast<uint8_t>(b[1] >> 4 | b[2] << 4);
        o[2] = static_cast<uint8_t>(b[2] >> 6 | b[3] << 2);
        o[3] = b[4];
    }
}

void groupsP12(const uint8_t* pIn, size_t nGroups, uint8_t* pOut)
{
    for (size_t g = 0; g < nGroups; ++g) {
        const uint8_t* b = pIn + 3 * g;
        pOut[2 * g] = static_cast<uint8_t>(b[0] >> 4 | b[1] << 4);
        pOut[2 * g + 1] = b[2];
    }
}

void groupsGev(const uint8_t* pIn, size_t nGroups, uint8_t* pOut)
{
    for (size_t g = 0; g < nGroups; ++g) {
        pOut[2 * g] = pIn[3 * g];
        pOut[2 * g + 1] = pIn[3 * g + 2];
    }
}

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#define HXL_PACKED_SSSE3 1

// With SSSE3 (Intel processors since 2006, AMD since 2011; checked when the
// program runs) 16 pixels are made at once: a byte shuffle puts the
// two bytes holding each pixel's top 8 bits into a 16-bit lane, a multiply by
// a power of two lifts those bits into the lane's high byte, and the high
// bytes of two vectors are packed into 16 frame bytes. A block is 20 bytes
// (Mono10p) or 24 bytes (the others), read as two overlapping 16-byte loads
// that stay inside the block.
struct Ssse3Block
{
    size_t bytes;  // bytes of 16 pixels
    size_t second; // where the second load starts in the block
    uint8_t shuffle[2][16];
    uint16_t lift[2][8];
};

constexpr uint8_t kNone = 0x80; // a shuffle index that gives zero

constexpr Ssse3Block kBlockP10 = {20,
                                  4,
                                  {{0, 1, 1, 2, 2, 3, 3, 4, 5, 6, 6, 7, 7, 8, 8, 9},
                                   {6, 7, 7, 8, 8, 9, 9, 10, 11, 12, 12, 13, 13, 14, 14, 15}},
                                  {{64, 16, 4, 1, 64, 16, 4, 1}, {64, 16, 4, 1, 64, 16, 4, 1}}};
constexpr Ssse3Block kBlockP12 = {24,
                                  8,
                                  {{0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11},
                                   {4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11, 12, 13, 14, 14, 15}},
                                  {{16, 1, 16, 1, 16, 1, 16, 1}, {16, 1, 16, 1, 16, 1, 16, 1}}};
// The GigE Vision pairs need no lift: their top bytes go straight to the high bytes.
constexpr Ssse3Block kBlockGev = {
    24,
    8,
    {{kNone, 0, kNone, 2, kNone, 3, kNone, 5, kNone, 6, kNone, 8, kNone, 9, kNone, 11},
     {kNone, 4, kNone, 6, kNone, 7, kNone, 9, kNone, 10, kNone, 12, kNone, 13, kNone, 15}},
    {{1, 1, 1, 1, 1, 1, 1, 1}, {1, 1, 1, 1, 1, 1, 1, 1}}};

__attribute__((target("ssse3"))) inline __m128i liftedBlockHalf(const uint8_t* pIn, __m128i shuffle, __m128i lift)
{
    const __m128i lanes = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pIn)), shuffle);
    return _mm_srli_epi16(_mm_mullo_epi16(lanes, lift), 8);
}

__attribute__((target("ssse3"))) void blocksSsse3(const Ssse3Block& block, const uint8_t* pIn, size_t nBlocks,
                                                  uint8_t* pOut)
{
    const __m128i shuffle0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block.shuffle[0]));
    const __m128i shuffle1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block.shuffle[1]));
    const __m128i lift0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block.lift[0]));
    const __m128i lift1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block.lift[1]));
    const size_t nBytes = block.bytes, nSecond = block.second;
    // Two blocks a turn: their loads and shuffles overlap (about a fifth faster than one).
    size_t n = 0;
    for (; n + 2 <= nBlocks; n += 2) {
        const uint8_t* b = pIn + n * nBytes;
        const __m128i a0 = liftedBlockHalf(b, shuffle0, lift0);
        const __m128i a1 = liftedBlockHalf(b + nSecond, shuffle1, lift1);
        const __m128i c0 = liftedBlockHalf(b + nBytes, shuffle0, lift0);
        const __m128i c1 = liftedBlockHalf(b + nBytes + nSecond, shuffle1, lift1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + 16 * n), _mm_packus_epi16(a0, a1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + 16 * n + 16), _mm_packus_epi16(c0, c1));
    }
    if (n < nBlocks) {
        const uint8_t* b = pIn + n * nBytes;
        const __m128i a0 = liftedBlockHalf(b, shuffle0, lift0);
        const __m128i a1 = liftedBlockHalf(b + nSecond, shuffle1, lift1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + 16 * n), _mm_packus_epi16(a0, a1));
    }
}

bool hasSsse3()
{
    static const bool bHas = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("ssse3") != 0;
    }();
    return bHas;
}
#endif

// nGroups whole groups from pIn into pOut.
void unpackGroups(Packing k, const uint8_t* pIn, size_t nGroups, uint8_t* pOut)
{
#ifdef HXL_PACKED_SSSE3
    // Blocks of 16 pixels where the processor can, the remaining groups one by one.
    if (hasSsse3()) {
        const Ssse3Block& block = k == Packing::P10 ? kBlockP10 : k == Packing::P12 ? kBlockP12 : kBlockGev;
        const size_t nBlockGroups = 16 / groupOf(k).pixels;
        const size_t nBlocks = nGroups / nBlockGroups;
        blocksSsse3(block, pIn, nBlocks, pOut);
        pIn += nBlocks * block.bytes;
        pOut += nBlocks * 16;
        nGroups -= nBlocks * nBlockGroups;
    }
#endif
    switch (k) {
    case Packing::P10: groupsP10(pIn, nGroups, pOut); break;
    case Packing::P12: groupsP12(pIn, nGroups, pOut); break;
    case Packing::Gev: groupsGev(pIn, nGroups, pOut); break;
    }
}

// nCount pixels from pixel nFirst of the stream at pStream: the pixels before
// the first group boundary and after the last whole group alone, the whole
// groups between them together.
void unpackRun(Packing k, const uint8_t* pStream, size_t nFirst, size_t nCount, uint8_t* pOut)
{
    const PackedGroup group = groupOf(k);
    size_t x = 0;
    for (; x < nCount && (nFirst + x) % group.pixels != 0; ++x)
        pOut[x] = packedTop8(k, pStream, nFirst + x);
    const size_t nGroups = (nCount - x) / group.pixels;
    unpackGroups(k, pStream + (nFirst + x) / group.pixels * group.bytes, nGroups, pOut + x);
    for (x += nGroups * group.pixels; x < nCount; ++x)
        pOut[x] = packedTop8(k, pStream, nFirst + x);
}

// A packed picture into 8-bit rows. With nStride 0 the pixels run on across
// rows (a row may start inside a group); a frame without padding then takes
// the picture as one run.
void unpackPacked(Packing k, const uint8_t* pData, size_t nStride, int nWidth, int nHeight, cv::Mat& out)
{
    const size_t w = size_t(nWidth);
    if (nStride == 0 && out.isContinuous()) {
        unpackRun(k, pData, 0, w * size_t(nHeight), out.ptr<uint8_t>(0));
        return;
    }
    for (int y = 0; y < nHeight; ++y) {
        if (nStride)
            unpackRun(k, pData + size_t(y) * nStride, 0, w, out.ptr<uint8_t>(y));
        else
            unpackRun(k, pData, size_t(y) * w, w, out.ptr<uint8_t>(y));
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
                        .arg(pixelFormatName(nPixelFormat), QStringLiteral("Mono8/10/12/14/16, Mono10p, Mono12p, "
                                                                           "Mono10Packed, Mono12Packed, "
                                                                           "Bayer 8/10/12/16, Bayer 10p/12p, "
                                                                           "Bayer 10Packed/12Packed, "
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
        unpackPacked(f->depth == 10 ? Packing::P10 : Packing::P12, pBytes, nStride, nWidth, nHeight, out);
        break;
    case Kind::MonoGev:
        // Mono10Packed and Mono12Packed differ only in their low bits, which a frame does not show.
        prepare(out, nHeight, nWidth, CV_8UC1);
        unpackPacked(Packing::Gev, pBytes, nStride, nWidth, nHeight, out);
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
    case Kind::BayerP:
    case Kind::BayerGev: {
        // Unpacked to the top 8 bits as the gray formats are, then coloured.
        cv::Mat mosaic(nHeight, nWidth, CV_8UC1);
        unpackPacked(f->kind == Kind::BayerGev ? Packing::Gev : f->depth == 10 ? Packing::P10 : Packing::P12, pBytes,
                     nStride, nWidth, nHeight, mosaic);
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
