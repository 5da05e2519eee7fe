// Camera pixel formats turned into the host's frames, on buffers built here
// with known values: every gray depth and packing, every Bayer order and
// depth, both YUV 4:2:2 orders, RGB and BGR; odd widths and padded rows.

#include "cameras/PixelFormats.h"

#include <QtTest>

#include <opencv2/core.hpp>

#include <cstdint>
#include <functional>
#include <random>
#include <vector>

using namespace hostsim;

namespace {

// A gray value for every pixel that differs between neighbours in both directions.
uint8_t grayAt(int x, int y)
{
    return static_cast<uint8_t>((x * 7 + y * 13 + 5) & 0xFF);
}

// Sets bit nBit of a stream whose bits are numbered least significant first in each byte.
void setBit(std::vector<uint8_t>& bytes, size_t nBit, bool bOn)
{
    if (bOn)
        bytes[nBit / 8] |= static_cast<uint8_t>(1u << (nBit % 8));
}

// The full-depth value whose top 8 bits are grayAt and whose low bits are not zero.
unsigned deepAt(int x, int y, int nDepth)
{
    const unsigned nLow = nDepth > 8 ? (unsigned(x + 3 * y) & ((1u << (nDepth - 8)) - 1u)) : 0u;
    return unsigned(grayAt(x, y)) << (nDepth - 8) | nLow;
}

// Bit nBit of a stream whose bits are numbered least significant first in each byte.
unsigned bitAt(const std::vector<uint8_t>& bytes, size_t nBit)
{
    return (bytes[nBit / 8] >> (nBit % 8)) & 1u;
}

// The full value of pixel i of a packed stream starting at byte nStart, read
// bit by bit as the camera packs it (PFNC: one value after the other, least
// significant bit first; GigE Vision: pairs in three bytes, the low bits of
// the first pixel in byte 1's low nibble, of the second in its high nibble).
unsigned packedValue(const std::vector<uint8_t>& bytes, size_t nStart, size_t i, int nDepth, bool bGigE)
{
    if (bGigE) {
        const size_t nPair = nStart + (i / 2) * 3;
        const unsigned nLowMask = (1u << (nDepth - 8)) - 1u;
        if (i % 2 == 0)
            return unsigned(bytes[nPair]) << (nDepth - 8) | (bytes[nPair + 1] & nLowMask);
        return unsigned(bytes[nPair + 2]) << (nDepth - 8) | ((bytes[nPair + 1] >> 4) & nLowMask);
    }
    unsigned v = 0;
    for (int b = 0; b < nDepth; ++b)
        v |= bitAt(bytes, nStart * 8 + i * size_t(nDepth) + size_t(b)) << b;
    return v;
}

QString describeMismatch(const cv::Mat& out, int x, int y, int nWanted)
{
    return QStringLiteral("pixel (%1, %2) is %3, wanted %4").arg(x).arg(y).arg(int(out.at<uint8_t>(y, x))).arg(nWanted);
}

// The first pixel whose gray value is not grayAt, as a message; empty when all are.
QString checkGray(const cv::Mat& out, int w, int h)
{
    if (out.type() != CV_8UC1 || out.cols != w || out.rows != h)
        return QStringLiteral("frame %1 x %2 type %3").arg(out.cols).arg(out.rows).arg(out.type());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (out.at<uint8_t>(y, x) != grayAt(x, y))
                return describeMismatch(out, x, y, grayAt(x, y));
    return QString();
}

const QList<int> kWidths = {1, 2, 3, 4, 5, 641};

// Bayer orders as the names give them: row 0 is the two letters, row 1 the other two.
char bayerColourAt(const QString& order, int x, int y)
{
    const char a = order.at(0).toLatin1(), b = order.at(1).toLatin1();
    if (y % 2 == 0)
        return x % 2 == 0 ? a : b;
    const char other = (a == 'G') ? (b == 'R' ? 'B' : 'R') : (a == 'R' ? 'B' : 'R');
    if (a == 'G')
        return x % 2 == 0 ? other : 'G';
    return x % 2 == 0 ? 'G' : other;
}

// A scene of upright bands, left to right: red, green, blue, white.
cv::Vec3b sceneAt(int x, int w)
{
    switch (4 * x / w) {
    case 0: return cv::Vec3b(220, 20, 30);
    case 1: return cv::Vec3b(25, 210, 35);
    case 2: return cv::Vec3b(15, 30, 230);
    default: return cv::Vec3b(200, 200, 200);
    }
}

// The scene as a camera with the given Bayer order and depth sends it (16-bit
// values little-endian above 8 bits).
std::vector<uint8_t> bayerBuffer(const QString& order, int nDepth, int w, int h,
                                 const std::function<cv::Vec3b(int, int)>& scene)
{
    const int nBytes = nDepth > 8 ? 2 : 1;
    std::vector<uint8_t> data(size_t(w) * size_t(h) * size_t(nBytes));
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const char c = bayerColourAt(order, x, y);
            const cv::Vec3b rgb = scene(x, y);
            const uint8_t v = rgb[c == 'R' ? 0 : c == 'G' ? 1 : 2];
            const size_t i = size_t(y) * size_t(w) + size_t(x);
            if (nBytes == 1) {
                data[i] = v;
            } else {
                const unsigned d = unsigned(v) << (nDepth - 8) | (nDepth > 8 ? unsigned(x & 1) : 0u);
                data[2 * i] = static_cast<uint8_t>(d & 0xFF);
                data[2 * i + 1] = static_cast<uint8_t>(d >> 8);
            }
        }
    }
    return data;
}

bool near(const cv::Vec3b& a, const cv::Vec3b& b, int nTolerance)
{
    return std::abs(a[0] - b[0]) <= nTolerance && std::abs(a[1] - b[1]) <= nTolerance &&
           std::abs(a[2] - b[2]) <= nTolerance;
}

QString rgbText(const cv::Vec3b& p)
{
    return QStringLiteral("(%1, %2, %3)").arg(p[0]).arg(p[1]).arg(p[2]);
}

} // namespace

class tst_PixelFormats : public QObject
{
    Q_OBJECT

private slots:
    void namesAndCodes()
    {
        const QStringList names = shownPixelFormatNames();
        for (const char* name :
             {"Mono8", "Mono10", "Mono12", "Mono16", "Mono10p", "Mono12p", "Mono12Packed", "BayerGR8", "BayerRG8",
              "BayerGB8", "BayerBG8", "BayerGR10", "BayerRG10", "BayerGB10", "BayerBG10", "BayerGR12", "BayerRG12",
              "BayerGB12", "BayerBG12", "BayerGR16", "BayerRG16", "BayerGB16", "BayerBG16", "YUV422_8",
              "YUV422_8_UYVY", "RGB8", "BGR8"})
            QVERIFY2(names.contains(QString::fromLatin1(name)), name);
        for (const QString& name : names) {
            const uint32_t nCode = pixelFormatFromName(name);
            QVERIFY2(nCode != 0, qPrintable(name));
            QCOMPARE(pixelFormatName(nCode), name);
            QVERIFY(isPixelFormatShown(nCode));
        }
        // Codes as cameras send them.
        QCOMPARE(pixelFormatName(0x01080001u), QStringLiteral("Mono8"));
        QCOMPARE(pixelFormatName(0x01100007u), QStringLiteral("Mono16"));
        QCOMPARE(pixelFormatName(0x010C0047u), QStringLiteral("Mono12p"));
        QCOMPARE(pixelFormatName(0x010C0006u), QStringLiteral("Mono12Packed"));
        QCOMPARE(pixelFormatName(0x01080009u), QStringLiteral("BayerRG8"));
        QCOMPARE(pixelFormatName(0x02100032u), QStringLiteral("YUV422_8"));
        QCOMPARE(pixelFormatName(0x010C0059u), QStringLiteral("BayerRG12p"));
        QCOMPARE(pixelFormatName(0x010A0052u), QStringLiteral("BayerBG10p"));
        QCOMPARE(pixelFormatName(0x010C002Bu), QStringLiteral("BayerRG12Packed"));
        QCOMPARE(pixelFormatName(0x010C0026u), QStringLiteral("BayerGR10Packed"));
        QCOMPARE(pixelFormatChannels(pfnc::BayerGB12p), 3);
        QCOMPARE(pixelFormatName(0x0210001Fu), QStringLiteral("YUV422_8_UYVY"));
        // Older names of the same formats.
        QCOMPARE(pixelFormatFromName(QStringLiteral("YUV422Packed")), pfnc::YUV422_8_UYVY);
        QCOMPARE(pixelFormatFromName(QStringLiteral("RGB8Packed")), pfnc::RGB8);
        QCOMPARE(pixelFormatFromName(QStringLiteral("Mono7")), 0u);
        QCOMPARE(pixelFormatName(0x02300018u), QStringLiteral("0x02300018"));
        QCOMPARE(pixelFormatChannels(pfnc::Mono12p), 1);
        QCOMPARE(pixelFormatChannels(pfnc::BayerBG16), 3);
        QCOMPARE(pixelFormatChannels(pfnc::YUV422_8), 3);
        QCOMPARE(pixelFormatChannels(0x02300018u), 0);
    }

    void mono8WithAndWithoutPaddedRows()
    {
        for (int w : kWidths) {
            for (int nPad : {0, 3}) {
                const int h = 7;
                const size_t nStride = size_t(w) + size_t(nPad);
                std::vector<uint8_t> data(nStride * h, 0xEE);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x)
                        data[size_t(y) * nStride + size_t(x)] = grayAt(x, y);
                cv::Mat out;
                QString strWhy;
                QVERIFY2(convertPixels(pfnc::Mono8, w, h, data.data(), data.size(), out, &strWhy, nPad ? nStride : 0),
                         qPrintable(strWhy));
                const QString strWrong = checkGray(out, w, h);
                QVERIFY2(strWrong.isEmpty(), qPrintable(QStringLiteral("width %1: %2").arg(w).arg(strWrong)));
            }
        }
    }

    void deepGrayShowsTheTopBits_data()
    {
        QTest::addColumn<uint>("format");
        QTest::addColumn<int>("depth");
        QTest::newRow("Mono10") << uint(pfnc::Mono10) << 10;
        QTest::newRow("Mono12") << uint(pfnc::Mono12) << 12;
        QTest::newRow("Mono14") << uint(pfnc::Mono14) << 14;
        QTest::newRow("Mono16") << uint(pfnc::Mono16) << 16;
    }
    void deepGrayShowsTheTopBits()
    {
        QFETCH(uint, format);
        QFETCH(int, depth);
        for (int w : kWidths) {
            const int h = 5;
            std::vector<uint8_t> data(size_t(w) * h * 2);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const unsigned v = deepAt(x, y, depth);
                    const size_t i = (size_t(y) * size_t(w) + size_t(x)) * 2;
                    data[i] = static_cast<uint8_t>(v & 0xFF); // little-endian
                    data[i + 1] = static_cast<uint8_t>(v >> 8);
                }
            cv::Mat out;
            QString strWhy;
            QVERIFY2(convertPixels(format, w, h, data.data(), data.size(), out, &strWhy), qPrintable(strWhy));
            const QString strWrong = checkGray(out, w, h);
            QVERIFY2(strWrong.isEmpty(), qPrintable(QStringLiteral("width %1: %2").arg(w).arg(strWrong)));
        }
        if (depth < 16) {
            // Bits above the depth (a camera should leave them zero) show white, never wrap round.
            const uint8_t data[2] = {0xFF, 0xFF};
            cv::Mat out;
            QVERIFY(convertPixels(format, 1, 1, data, sizeof data, out, nullptr));
            QCOMPARE(int(out.at<uint8_t>(0, 0)), 255);
        }
    }

    // PFNC Mono10p / Mono12p: values one after the other, least significant bit first.
    void pfncPackedGray_data()
    {
        QTest::addColumn<uint>("format");
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("rowsOnTheirOwn");
        QTest::newRow("Mono10p one stream") << uint(pfnc::Mono10p) << 10 << false;
        QTest::newRow("Mono12p one stream") << uint(pfnc::Mono12p) << 12 << false;
        QTest::newRow("Mono10p padded rows") << uint(pfnc::Mono10p) << 10 << true;
        QTest::newRow("Mono12p padded rows") << uint(pfnc::Mono12p) << 12 << true;
    }
    void pfncPackedGray()
    {
        QFETCH(uint, format);
        QFETCH(int, depth);
        QFETCH(bool, rowsOnTheirOwn);
        for (int w : kWidths) {
            const int h = 5;
            const size_t nRowBytes = (size_t(w) * size_t(depth) + 7) / 8;
            const size_t nStride = rowsOnTheirOwn ? nRowBytes + 2 : 0;
            const size_t nSize = rowsOnTheirOwn ? nStride * h : (size_t(w) * h * size_t(depth) + 7) / 8;
            QCOMPARE(pixelFormatMinimumBytes(format, w, h, nStride),
                     rowsOnTheirOwn ? nStride * (h - 1) + nRowBytes : nSize);
            std::vector<uint8_t> data(nSize, 0);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const unsigned v = deepAt(x, y, depth);
                    const size_t nFirstBit = rowsOnTheirOwn ? size_t(y) * nStride * 8 + size_t(x) * size_t(depth)
                                                            : (size_t(y) * size_t(w) + size_t(x)) * size_t(depth);
                    for (int b = 0; b < depth; ++b)
                        setBit(data, nFirstBit + size_t(b), (v >> b) & 1u);
                }
            cv::Mat out;
            QString strWhy;
            QVERIFY2(convertPixels(format, w, h, data.data(), data.size(), out, &strWhy, nStride), qPrintable(strWhy));
            const QString strWrong = checkGray(out, w, h);
            QVERIFY2(strWrong.isEmpty(), qPrintable(QStringLiteral("width %1: %2").arg(w).arg(strWrong)));
            // One byte less is refused.
            QVERIFY(!convertPixels(format, w, h, data.data(), pixelFormatMinimumBytes(format, w, h, nStride) - 1, out,
                                   &strWhy, nStride));
            QVERIFY2(strWhy.contains(QStringLiteral("too short")), qPrintable(strWhy));
        }
    }

    // GigE Vision Mono10Packed / Mono12Packed: two pixels in three bytes.
    void gigeVisionPackedGray_data()
    {
        QTest::addColumn<uint>("format");
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("rowsOnTheirOwn");
        QTest::newRow("Mono12Packed one stream") << uint(pfnc::Mono12Packed) << 12 << false;
        QTest::newRow("Mono12Packed padded rows") << uint(pfnc::Mono12Packed) << 12 << true;
        QTest::newRow("Mono10Packed one stream") << uint(pfnc::Mono10Packed) << 10 << false;
        QTest::newRow("Mono10Packed padded rows") << uint(pfnc::Mono10Packed) << 10 << true;
    }
    void gigeVisionPackedGray()
    {
        QFETCH(uint, format);
        QFETCH(int, depth);
        QFETCH(bool, rowsOnTheirOwn);
        const int nLow = depth - 8;
        for (int w : kWidths) {
            const int h = 5;
            const size_t nRowBytes = (3 * size_t(w) + 1) / 2;
            const size_t nStride = rowsOnTheirOwn ? nRowBytes + 1 : 0;
            const size_t nPixels = size_t(w) * h;
            const size_t nSize = rowsOnTheirOwn ? nStride * h : (3 * nPixels + 1) / 2;
            std::vector<uint8_t> data(nSize, 0);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const unsigned v = deepAt(x, y, depth);
                    const size_t i = rowsOnTheirOwn ? size_t(x) : size_t(y) * size_t(w) + size_t(x);
                    uint8_t* p = data.data() + (rowsOnTheirOwn ? size_t(y) * nStride : 0) + (i / 2) * 3;
                    const unsigned nLowBits = v & ((1u << nLow) - 1u);
                    if (i % 2 == 0) {
                        p[0] = static_cast<uint8_t>(v >> nLow);
                        p[1] = static_cast<uint8_t>(p[1] | nLowBits);
                    } else {
                        p[2] = static_cast<uint8_t>(v >> nLow);
                        p[1] = static_cast<uint8_t>(p[1] | nLowBits << 4);
                    }
                }
            cv::Mat out;
            QString strWhy;
            QVERIFY2(convertPixels(format, w, h, data.data(), data.size(), out, &strWhy, nStride), qPrintable(strWhy));
            const QString strWrong = checkGray(out, w, h);
            QVERIFY2(strWrong.isEmpty(), qPrintable(QStringLiteral("width %1: %2").arg(w).arg(strWrong)));
        }
    }

    // Every packed gray format on bytes with every bit set at random (so that
    // each bit of each group has its say), for widths that end rows inside a
    // group and inside a run of 16 pixels, rows one after the other or padded,
    // buffers of exactly the size needed, and frames continuous or with padded
    // rows (which are left as they were): each pixel shows its value's top 8 bits.
    void packedGrayMatchesTheValuesBitForBit_data()
    {
        QTest::addColumn<uint>("format");
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("gige");
        QTest::newRow("Mono10p") << uint(pfnc::Mono10p) << 10 << false;
        QTest::newRow("Mono12p") << uint(pfnc::Mono12p) << 12 << false;
        QTest::newRow("Mono10Packed") << uint(pfnc::Mono10Packed) << 10 << true;
        QTest::newRow("Mono12Packed") << uint(pfnc::Mono12Packed) << 12 << true;
    }
    void packedGrayMatchesTheValuesBitForBit()
    {
        QFETCH(uint, format);
        QFETCH(int, depth);
        QFETCH(bool, gige);
        uint32_t nSeed = 12345u + format;
        auto nextByte = [&nSeed] {
            nSeed = nSeed * 1664525u + 1013904223u;
            return static_cast<uint8_t>(nSeed >> 24);
        };
        for (int w : {1, 2, 3, 4, 5, 7, 15, 16, 17, 33, 641, 1280}) {
            for (int h : {1, 3, 7}) {
                for (bool bRowsOnTheirOwn : {false, true}) {
                    const size_t nRowBytes = gige ? (3 * size_t(w) + 1) / 2 : (size_t(w) * size_t(depth) + 7) / 8;
                    const size_t nStride = bRowsOnTheirOwn ? nRowBytes + 3 : 0;
                    const size_t nSize = pixelFormatMinimumBytes(format, w, h, nStride);
                    QCOMPARE(nSize, bRowsOnTheirOwn ? nStride * size_t(h - 1) + nRowBytes
                                                    : (gige ? (3 * size_t(w) * size_t(h) + 1) / 2
                                                            : (size_t(w) * size_t(h) * size_t(depth) + 7) / 8));
                    std::vector<uint8_t> data(nSize);
                    for (uint8_t& b : data)
                        b = nextByte();
                    for (bool bPaddedFrame : {false, true}) {
                        const int nFrameStride = bPaddedFrame ? w + 5 : w;
                        std::vector<uint8_t> frame(size_t(nFrameStride) * size_t(h), 0xA5);
                        cv::Mat out(h, w, CV_8UC1, frame.data(), size_t(nFrameStride));
                        QString strWhy;
                        QVERIFY2(convertPixels(format, w, h, data.data(), data.size(), out, &strWhy, nStride),
                                 qPrintable(strWhy));
                        QCOMPARE(static_cast<void*>(out.data), static_cast<void*>(frame.data()));
                        for (int y = 0; y < h; ++y) {
                            for (int x = 0; x < w; ++x) {
                                const size_t nStart = bRowsOnTheirOwn ? size_t(y) * nStride : 0;
                                const size_t i = bRowsOnTheirOwn ? size_t(x) : size_t(y) * size_t(w) + size_t(x);
                                const int nWanted = int(packedValue(data, nStart, i, depth, gige) >> (depth - 8));
                                const int nGot = frame[size_t(y) * size_t(nFrameStride) + size_t(x)];
                                if (nGot != nWanted)
                                    QFAIL(qPrintable(QStringLiteral("%1 x %2, %3, %4 frame: %5")
                                                         .arg(w)
                                                         .arg(h)
                                                         .arg(bRowsOnTheirOwn ? QStringLiteral("padded rows")
                                                                              : QStringLiteral("one stream"))
                                                         .arg(bPaddedFrame ? QStringLiteral("padded")
                                                                           : QStringLiteral("continuous"))
                                                         .arg(describeMismatch(out, x, y, nWanted))));
                            }
                            for (int x = w; x < nFrameStride; ++x)
                                QCOMPARE(int(frame[size_t(y) * size_t(nFrameStride) + size_t(x)]), 0xA5);
                        }
                    }
                }
            }
        }
    }

    void bayerBandsComeOutInTheirChannels_data()
    {
        QTest::addColumn<QString>("order");
        QTest::addColumn<int>("depth");
        for (const char* order : {"GR", "RG", "GB", "BG"})
            for (int depth : {8, 10, 12, 16}) {
                const QString name = QStringLiteral("Bayer%1%2").arg(QLatin1String(order)).arg(depth);
                QTest::newRow(qPrintable(name)) << QString::fromLatin1(order) << depth;
            }
    }
    // Red, green, blue and white bands: each band's middle comes out of its own colour.
    void bayerBandsComeOutInTheirChannels()
    {
        QFETCH(QString, order);
        QFETCH(int, depth);
        const uint32_t nFormat = pixelFormatFromName(QStringLiteral("Bayer%1%2").arg(order).arg(depth));
        QVERIFY(nFormat != 0);
        for (int w : {641, 64}) {
            const int h = 9;
            const auto data = bayerBuffer(order, depth, w, h, [w](int x, int) { return sceneAt(x, w); });
            cv::Mat out;
            QString strWhy;
            QVERIFY2(convertPixels(nFormat, w, h, data.data(), data.size(), out, &strWhy), qPrintable(strWhy));
            QCOMPARE(out.type(), CV_8UC3);
            QCOMPARE(out.cols, w);
            QCOMPARE(out.rows, h);
            for (int nBand = 0; nBand < 4; ++nBand) {
                const int xMid = (2 * nBand + 1) * w / 8;
                for (int y : {3, 4})
                    for (int x : {xMid, xMid + 1}) {
                        const cv::Vec3b got = out.at<cv::Vec3b>(y, x);
                        const cv::Vec3b wanted = sceneAt(x, w);
                        QVERIFY2(near(got, wanted, 4), qPrintable(QStringLiteral("width %1 band %2 at (%3, %4): %5, wanted %6")
                                                                     .arg(w)
                                                                     .arg(nBand)
                                                                     .arg(x)
                                                                     .arg(y)
                                                                     .arg(rgbText(got), rgbText(wanted))));
                    }
            }
        }
    }

    // A packed Bayer picture is the 8-bit Bayer picture of its top bits: the
    // same mosaic, unpacked the way the packed gray formats are, then
    // coloured by the same conversion. Random low bits, every order and
    // packing, odd widths, rows running on and padded rows.
    void packedBayerIsTheBayerOfItsTopBits_data()
    {
        QTest::addColumn<QString>("order");
        QTest::addColumn<QString>("packing");
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("gige");
        for (const char* order : {"GR", "RG", "GB", "BG"})
            for (const char* packing : {"10p", "12p", "10Packed", "12Packed"}) {
                const QString name = QStringLiteral("Bayer%1%2").arg(QLatin1String(order), QLatin1String(packing));
                QTest::newRow(qPrintable(name)) << QString::fromLatin1(order) << QString::fromLatin1(packing)
                                                << (packing[1] == '0' ? 10 : 12) << (packing[2] == 'P');
            }
    }

    void packedBayerIsTheBayerOfItsTopBits()
    {
        QFETCH(QString, order);
        QFETCH(QString, packing);
        QFETCH(int, depth);
        QFETCH(bool, gige);
        const uint32_t nPacked = pixelFormatFromName(QStringLiteral("Bayer%1%2").arg(order, packing));
        const uint32_t n8 = pixelFormatFromName(QStringLiteral("Bayer") + order + QStringLiteral("8"));
        QVERIFY(nPacked != 0 && n8 != 0);
        QCOMPARE(pixelFormatChannels(nPacked), 3);
        std::mt19937 random(uint32_t(depth * 131 + (gige ? 7 : 0)));
        for (int w : {2, 3, 5, 17, 641}) {
            for (bool bPaddedRows : {false, true}) {
                const int h = 6;
                // The scene with varied pixels, as an 8-bit mosaic.
                const auto mosaic = bayerBuffer(order, 8, w, h, [](int x, int y) {
                    return cv::Vec3b(grayAt(x, y), grayAt(y + 3, x), grayAt(x + y, 2 * x));
                });
                const size_t nRowBytes = gige ? (3 * size_t(w) + 1) / 2 : (size_t(w) * size_t(depth) + 7) / 8;
                const size_t nStride = bPaddedRows ? nRowBytes + 3 : 0;
                const size_t nPixels = size_t(w) * h;
                const size_t nSize = bPaddedRows ? nStride * h
                                                 : gige ? (3 * nPixels + 1) / 2 : (nPixels * size_t(depth) + 7) / 8;
                std::vector<uint8_t> data(nSize, 0);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        const unsigned nLow = unsigned(random()) & ((1u << (depth - 8)) - 1u);
                        const unsigned v = unsigned(mosaic[size_t(y) * w + x]) << (depth - 8) | nLow;
                        const size_t i = bPaddedRows ? size_t(x) : size_t(y) * size_t(w) + size_t(x);
                        const size_t nStart = bPaddedRows ? size_t(y) * nStride : 0;
                        if (gige) {
                            uint8_t* p = data.data() + nStart + (i / 2) * 3;
                            if (i % 2 == 0) {
                                p[0] = static_cast<uint8_t>(v >> (depth - 8));
                                p[1] = static_cast<uint8_t>(p[1] | nLow);
                            } else {
                                p[2] = static_cast<uint8_t>(v >> (depth - 8));
                                p[1] = static_cast<uint8_t>(p[1] | nLow << 4);
                            }
                        } else {
                            for (int b = 0; b < depth; ++b)
                                setBit(data, nStart * 8 + i * size_t(depth) + size_t(b), (v >> b) & 1u);
                        }
                    }
                cv::Mat fromPacked, from8;
                QString strWhy;
                QVERIFY2(convertPixels(nPacked, w, h, data.data(), data.size(), fromPacked, &strWhy, nStride),
                         qPrintable(strWhy));
                QVERIFY2(convertPixels(n8, w, h, mosaic.data(), mosaic.size(), from8, &strWhy), qPrintable(strWhy));
                QCOMPARE(fromPacked.type(), CV_8UC3);
                QCOMPARE(fromPacked.size(), from8.size());
                const int nDiffering = cv::countNonZero(cv::Mat(fromPacked != from8).reshape(1));
                QVERIFY2(nDiffering == 0, qPrintable(QStringLiteral("width %1%2: %3 values differ")
                                                         .arg(w)
                                                         .arg(bPaddedRows ? QStringLiteral(", padded rows") : QString())
                                                         .arg(nDiffering)));
                // One byte short is refused, not read past.
                QVERIFY(!convertPixels(nPacked, w, h, data.data(), data.size() - 1 - (bPaddedRows ? 3 : 0),
                                       fromPacked, &strWhy, nStride));
            }
        }
    }

    // Odd and small pictures of one colour come out of that colour everywhere.
    void bayerOddSizesKeepTheColour_data()
    {
        QTest::addColumn<QString>("order");
        for (const char* order : {"GR", "RG", "GB", "BG"})
            QTest::newRow(order) << QString::fromLatin1(order);
    }
    void bayerOddSizesKeepTheColour()
    {
        QFETCH(QString, order);
        const cv::Vec3b orange(240, 120, 20);
        for (int w : {3, 5, 641})
            for (int h : {3, 7}) {
                const auto data = bayerBuffer(order, 12, w, h, [&](int, int) { return orange; });
                cv::Mat out;
                QString strWhy;
                QVERIFY2(convertPixels(pixelFormatFromName(QStringLiteral("Bayer%1%2").arg(order).arg(12)), w, h,
                                       data.data(), data.size(), out, &strWhy),
                         qPrintable(strWhy));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x)
                        QVERIFY2(near(out.at<cv::Vec3b>(y, x), orange, 3),
                                 qPrintable(QStringLiteral("%1 x %2 at (%3, %4): %5")
                                                .arg(w)
                                                .arg(h)
                                                .arg(x)
                                                .arg(y)
                                                .arg(rgbText(out.at<cv::Vec3b>(y, x)))));
            }
        // One pixel wide: too narrow to demosaic, each pixel shows the colour it stands for.
        const uint32_t nFormat = pixelFormatFromName(QStringLiteral("Bayer") + order + QStringLiteral("8"));
        const auto data = bayerBuffer(order, 8, 1, 4, [&](int, int) { return orange; });
        cv::Mat out;
        QVERIFY(convertPixels(nFormat, 1, 4, data.data(), data.size(), out, nullptr));
        for (int y = 0; y < 4; ++y) {
            const char c = bayerColourAt(order, 0, y);
            const int nChannel = c == 'R' ? 0 : c == 'G' ? 1 : 2;
            const cv::Vec3b p = out.at<cv::Vec3b>(y, 0);
            QCOMPARE(int(p[nChannel]), int(orange[nChannel]));
            QCOMPARE(int(p[0]) + int(p[1]) + int(p[2]), int(orange[nChannel]));
        }
    }

    void yuv422_data()
    {
        QTest::addColumn<bool>("uyvy");
        QTest::newRow("YUV422_8 (YUYV)") << false;
        QTest::newRow("YUV422_8_UYVY") << true;
    }
    // Red, green and blue pairs (ITU-R BT.601 values) come out red, green, blue.
    void yuv422()
    {
        QFETCH(bool, uyvy);
        struct Yuv
        {
            uint8_t y, u, v;
            int channel;
        };
        const Yuv colours[] = {{82, 90, 240, 0}, {145, 54, 34, 1}, {41, 240, 110, 2}};
        for (int w : kWidths) {
            for (const Yuv& c : colours) {
                const int h = 3;
                const size_t nStride = size_t(w) * 2 + 2; // padded rows
                std::vector<uint8_t> data(nStride * h, 0x55);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        uint8_t* p = data.data() + size_t(y) * nStride + size_t(x) * 2;
                        const uint8_t chroma = x % 2 == 0 ? c.u : c.v;
                        p[uyvy ? 1 : 0] = c.y;
                        p[uyvy ? 0 : 1] = chroma;
                    }
                cv::Mat out;
                QString strWhy;
                QVERIFY2(convertPixels(uyvy ? pfnc::YUV422_8_UYVY : pfnc::YUV422_8, w, h, data.data(), data.size(),
                                       out, &strWhy, nStride),
                         qPrintable(strWhy));
                QCOMPARE(out.type(), CV_8UC3);
                QCOMPARE(out.cols, w);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        const cv::Vec3b p = out.at<cv::Vec3b>(y, x);
                        if (w == 1) {
                            // A lone pixel has no V of its own: shown with a neutral V (ITU-R BT.601).
                            const double dY = 1.164 * (c.y - 16), dU = c.u - 128.0;
                            const cv::Vec3b wanted(cv::saturate_cast<uint8_t>(dY),
                                                   cv::saturate_cast<uint8_t>(dY - 0.391 * dU),
                                                   cv::saturate_cast<uint8_t>(dY + 2.018 * dU));
                            QVERIFY2(near(p, wanted, 6), qPrintable(rgbText(p) + QStringLiteral(" wanted ") + rgbText(wanted)));
                            continue;
                        }
                        for (int k = 0; k < 3; ++k)
                            QVERIFY2(k == c.channel ? p[k] > 180 : p[k] < 60,
                                     qPrintable(QStringLiteral("width %1 channel %2 at (%3, %4): %5")
                                                    .arg(w)
                                                    .arg(c.channel)
                                                    .arg(x)
                                                    .arg(y)
                                                    .arg(rgbText(p))));
                    }
            }
        }
    }

    void rgbAndBgr()
    {
        for (int w : kWidths) {
            for (bool bBgr : {false, true}) {
                const int h = 4;
                const size_t nStride = size_t(w) * 3 + 1;
                std::vector<uint8_t> data(nStride * h, 0x77);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        uint8_t* p = data.data() + size_t(y) * nStride + size_t(x) * 3;
                        const uint8_t rgb[3] = {grayAt(x, y), uint8_t(grayAt(x, y) ^ 0x5A), uint8_t(x + y)};
                        for (int k = 0; k < 3; ++k)
                            p[k] = rgb[bBgr ? 2 - k : k];
                    }
                cv::Mat out;
                QString strWhy;
                QVERIFY2(convertPixels(bBgr ? pfnc::BGR8 : pfnc::RGB8, w, h, data.data(), data.size(), out, &strWhy,
                                       nStride),
                         qPrintable(strWhy));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        const cv::Vec3b p = out.at<cv::Vec3b>(y, x);
                        QCOMPARE(int(p[0]), int(grayAt(x, y)));
                        QCOMPARE(int(p[1]), int(grayAt(x, y) ^ 0x5A));
                        QCOMPARE(int(p[2]), int(uint8_t(x + y)));
                    }
            }
        }
    }

    // A frame with the host's padded rows is written where it lies.
    void writesIntoAPaddedFrameInPlace()
    {
        const int w = 5, h = 3;
        const int nStride = (w * 3 + 3) & ~3;
        std::vector<uint8_t> frame(size_t(nStride) * h, 0);
        cv::Mat view(h, w, CV_8UC3, frame.data(), size_t(nStride));
        std::vector<uint8_t> rgb(size_t(w) * h * 3);
        for (size_t i = 0; i < rgb.size(); ++i)
            rgb[i] = static_cast<uint8_t>(i + 1);
        QVERIFY(convertPixels(pfnc::RGB8, w, h, rgb.data(), rgb.size(), view, nullptr));
        QCOMPARE(static_cast<void*>(view.data), static_cast<void*>(frame.data()));
        for (int y = 0; y < h; ++y) {
            for (int i = 0; i < w * 3; ++i)
                QCOMPARE(int(frame[size_t(y * nStride + i)]), int(rgb[size_t(y * w * 3 + i)]));
            for (int i = w * 3; i < nStride; ++i)
                QCOMPARE(int(frame[size_t(y * nStride + i)]), 0);
        }
    }

    void refusals()
    {
        std::vector<uint8_t> data(64, 0);
        cv::Mat out(2, 2, CV_8UC1, cv::Scalar(9));
        QString strWhy;
        // A format the host cannot show is named.
        QVERIFY(!convertPixels(0x02300018u, 2, 2, data.data(), data.size(), out, &strWhy));
        QVERIFY2(strWhy.contains(QStringLiteral("0x02300018")) && strWhy.contains(QStringLiteral("cannot be shown")),
                 qPrintable(strWhy));
        QVERIFY(!strWhy.contains(QLatin1Char('\n')));
        QCOMPARE(int(out.at<uint8_t>(0, 0)), 9); // left as it was
        QVERIFY(!convertPixels(pfnc::Mono16, 8, 5, data.data(), data.size(), out, &strWhy));
        QVERIFY2(strWhy.contains(QStringLiteral("too short")) && strWhy.contains(QStringLiteral("Mono16")),
                 qPrintable(strWhy));
        QVERIFY(!convertPixels(pfnc::Mono8, 0, 4, data.data(), data.size(), out, &strWhy));
        QVERIFY(!convertPixels(pfnc::Mono8, 4, 4, nullptr, 16, out, &strWhy));
        QVERIFY(!convertPixels(pfnc::RGB8, 4, 2, data.data(), data.size(), out, &strWhy, 10));
        QVERIFY2(strWhy.contains(QStringLiteral("rows")), qPrintable(strWhy));
    }
};

QTEST_GUILESS_MAIN(tst_PixelFormats)
#include "tst_pixel_formats.moc"
