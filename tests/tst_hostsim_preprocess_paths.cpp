// The replacement host's pre-processing runs its stages in one pass per stage
// (host_sim/processing/SimPixelKernels.cpp), over both cores, and the neighbourhood
// filters band by band. Here every stage and the band-wise chain are compared
// with the same arithmetic written the plain way, whole-picture OpenCV calls
// one after the other, on pictures big enough for several bands and with
// widths that leave a remainder after the 16-pixel vector steps.

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimCameraManager.h"
#include "processing/SimPixelKernels.h"
#include "processing/SimPreprocess.h"

#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <functional>

using Record = IZKVisionCameraManager;
using Edit = std::function<void(Record&)>;
using Reference = std::function<void(cv::Mat&)>;

Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(Reference)

namespace {

// A picture with smooth areas, edges and fine noise: random values blurred,
// plus salt-and-pepper dots and saturated patches.
cv::Mat testPicture(int width, int height, int channels, int seed)
{
    cv::Mat m(height, width, CV_MAKETYPE(CV_8U, channels));
    cv::RNG rng(seed);
    rng.fill(m, cv::RNG::UNIFORM, 0, 256);
    cv::GaussianBlur(m, m, cv::Size(0, 0), 2.0);
    for (int i = 0; i < width * height / 200; ++i) {
        const cv::Point at(rng.uniform(0, width), rng.uniform(0, height));
        uchar* p = m.ptr<uchar>(at.y) + at.x * channels;
        for (int c = 0; c < channels; ++c)
            p[c] = (i % 2) ? 255 : 0;
    }
    m(cv::Rect(5, 5, std::min(40, width - 5), std::min(30, height - 5))).setTo(cv::Scalar(255, 0, 0));
    m(cv::Rect(50, 40, std::min(30, width - 50), std::min(30, height - 40))).setTo(cv::Scalar(200, 200, 200));
    return m;
}

int maxDifference(const cv::Mat& a, const cv::Mat& b)
{
    cv::Mat d;
    cv::absdiff(a, b, d);
    return static_cast<int>(cv::norm(d.reshape(1), cv::NORM_INF));
}

double meanDifference(const cv::Mat& a, const cv::Mat& b)
{
    cv::Mat d;
    cv::absdiff(a, b, d);
    return cv::mean(d.reshape(1))[0];
}

cv::Mat luminance(const cv::Mat& m)
{
    if (m.channels() == 1)
        return m;
    cv::Mat g;
    cv::cvtColor(m, g, cv::COLOR_RGB2GRAY);
    return g;
}

// --- the stages written the plain way --------------------------------------

// Exact saturation scaling in double precision (no 8-bit HSV rounding).
void referenceSaturation(cv::Mat& m, double factor)
{
    for (int y = 0; y < m.rows; ++y)
        for (int x = 0; x < m.cols; ++x) {
            cv::Vec3b& p = m.at<cv::Vec3b>(y, x);
            const int hi = std::max({p[0], p[1], p[2]});
            const int lo = std::min({p[0], p[1], p[2]});
            if (hi == lo)
                continue;
            const double k = std::min(factor, double(hi) / (hi - lo));
            for (int c = 0; c < 3; ++c)
                p[c] = cv::saturate_cast<uchar>(hi - (hi - p[c]) * k);
        }
}

void referenceBrightness(cv::Mat& m, int value, int width)
{
    const double target = std::round(value * 255.0 / 100.0);
    cv::Mat mean, raise, lower;
    cv::blur(luminance(m), mean, cv::Size(width, width), cv::Point(-1, -1), cv::BORDER_REFLECT);
    cv::subtract(cv::Scalar::all(target), mean, raise);
    cv::subtract(mean, cv::Scalar::all(target), lower);
    if (m.channels() == 3) {
        cv::cvtColor(raise, raise, cv::COLOR_GRAY2RGB);
        cv::cvtColor(lower, lower, cv::COLOR_GRAY2RGB);
    }
    cv::add(m, raise, m);
    cv::subtract(m, lower, m);
}

void referenceWindow(cv::Mat& m, int value, int width)
{
    const double low = value * 255.0 / 100.0 - width / 2.0;
    cv::Mat lut(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i)
        lut.at<uchar>(i) = cv::saturate_cast<uchar>((i - low) * 255.0 / width);
    cv::LUT(m, lut, m);
}

void referenceDeInterference(cv::Mat& m, int value)
{
    cv::Mat median;
    cv::medianBlur(m, median, 3);
    cv::GaussianBlur(median, m, cv::Size(0, 0), value / 20.0, value / 20.0, cv::BORDER_REFLECT_101);
}

void referenceSharpening(cv::Mat& m, int kernel, int amount)
{
    cv::Mat blurred;
    cv::GaussianBlur(m, blurred, cv::Size(kernel, kernel), 0, 0, cv::BORDER_REFLECT_101);
    cv::addWeighted(m, 1.0 + amount, blurred, -amount, 0.0, m);
}

void referenceMorphology(cv::Mat& m, int op, int shape, cv::Size size)
{
    cv::morphologyEx(m, m, op, cv::getStructuringElement(shape, size));
}

void paint(cv::Mat& m, const cv::Mat& mask, uchar value)
{
    m.setTo(cv::Scalar::all(value), mask); // every channel where the mask is set
}

void referenceRangeFilter(cv::Mat& m, int lo, int hi, uchar value)
{
    cv::Mat mask;
    cv::inRange(luminance(m), cv::Scalar(lo), cv::Scalar(hi), mask);
    paint(m, mask, value);
}

void referencePoleFilter(cv::Mat& m, int level, bool below)
{
    cv::Mat mask;
    cv::compare(luminance(m), cv::Scalar(level), mask, below ? cv::CMP_LT : cv::CMP_GT);
    paint(m, mask, below ? 0 : 255);
}

void referenceEqualization(cv::Mat& m)
{
    if (m.channels() == 1) {
        cv::equalizeHist(m, m);
        return;
    }
    cv::Mat ycrcb, y;
    cv::cvtColor(m, ycrcb, cv::COLOR_RGB2YCrCb);
    cv::extractChannel(ycrcb, y, 0);
    cv::equalizeHist(y, y);
    cv::insertChannel(y, ycrcb, 0);
    cv::cvtColor(ycrcb, m, cv::COLOR_YCrCb2RGB);
}

ZKMorphologyParam step(int nType, int nSize)
{
    ZKMorphologyParam p{};
    p.nMorphType = nType;
    p.nLineSize = nSize;
    p.bEnable = 1;
    return p;
}

// The settings the benchmark uses ("every feature on"), for the whole-chain rows.
void neighbourhoodFiltersOn(Record& r)
{
    r.bGoInterfere = true;
    r.bGoInterfereDef = false;
    r.nGoInterfereValue = 20;
    r.nSharpenKernel = 5;
    r.bSharpening = 1;
    r.nAdvancedSetting = 1;
    r.nMorphologyType = 3;
    r.nMorphologyW = 3;
    r.nMorphologyH = 3;
    r.nAdvancedSetting1 = 1;
    r.vecMorphology = {step(1, 3), step(4, 3)};
    r.nFilterMode = 1;
    r.nFilterMin = 10;
    r.nFilterMax = 20;
    r.nFilterPoleMode = 2;
    r.nFilterPoleValue = 240;
}

void referenceNeighbourhoodFilters(cv::Mat& m)
{
    referenceDeInterference(m, 20);
    referenceSharpening(m, 5, 2);
    referenceMorphology(m, cv::MORPH_OPEN, cv::MORPH_RECT, {3, 3});
    referenceMorphology(m, cv::MORPH_ERODE, cv::MORPH_ELLIPSE, {3, 3});
    referenceMorphology(m, cv::MORPH_OPEN, cv::MORPH_ELLIPSE, {3, 3});
    referenceRangeFilter(m, 10, 20, 0);
    referencePoleFilter(m, 240, false);
}

} // namespace

class TestHostSimPreprocessPaths : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    static hostsim::SimCameraManager& record() { return hostsim::HostSim::cameraManager(); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        hostsim::HostSim::reset(m_dir.path());
        hostsim::HostSim::journal().setEnabled(false);
    }

    void init() { record().resetRecord(); }

    // Stages that must give exactly the plain result, band-wise or not.
    void sameAsPlainChain_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<Edit>("edit");
        QTest::addColumn<Reference>("reference");

        struct Row
        {
            const char* name;
            Edit edit;
            Reference reference;
        };
        const Row rows[] = {
            {"brightness", [](Record& r) { r.nBriMode = 2; r.bBriDef = false; r.nBriValue = 60; r.nBriWidth = 31; },
             [](cv::Mat& m) { referenceBrightness(m, 60, 31); }},
            {"brightness, wide box", [](Record& r) { r.nBriMode = 2; r.bBriDef = false; r.nBriValue = 30; r.nBriWidth = 201; },
             [](cv::Mat& m) { referenceBrightness(m, 30, 201); }},
            {"gray processing", [](Record& r) { r.bGrayPro = true; r.nGrayValue = 40; r.nGrayWidth = 150; },
             [](cv::Mat& m) { referenceWindow(m, 40, 150); }},
            {"brightness then gray processing",
             [](Record& r) {
                 r.nBriMode = 2; r.bBriDef = false; r.nBriValue = 60; r.nBriWidth = 31;
                 r.bGrayPro = true; r.nGrayValue = 40; r.nGrayWidth = 150;
             },
             [](cv::Mat& m) { referenceBrightness(m, 60, 31); referenceWindow(m, 40, 150); }},
            {"brightness, red plane, gray processing",
             [](Record& r) {
                 r.nBriMode = 2; r.bBriDef = false; r.nBriValue = 60; r.nBriWidth = 31;
                 r.nGrayMode = 3;
                 r.bGrayPro = true; r.nGrayValue = 40; r.nGrayWidth = 150;
             },
             [](cv::Mat& m) {
                 referenceBrightness(m, 60, 31);
                 if (m.channels() == 3)
                     cv::extractChannel(m.clone(), m, 0);
                 referenceWindow(m, 40, 150);
             }},
            {"de-interference", [](Record& r) { r.bGoInterfere = true; r.bGoInterfereDef = false; r.nGoInterfereValue = 20; },
             [](cv::Mat& m) { referenceDeInterference(m, 20); }},
            {"de-interference, strong", [](Record& r) { r.bGoInterfere = true; r.bGoInterfereDef = false; r.nGoInterfereValue = 90; },
             [](cv::Mat& m) { referenceDeInterference(m, 90); }},
            {"sharpening", [](Record& r) { r.nSharpenKernel = 5; r.bSharpening = 1; },
             [](cv::Mat& m) { referenceSharpening(m, 5, 2); }},
            {"sharpening, mild", [](Record& r) { r.nSharpenKernel = 9; r.bSharpening = 0; },
             [](cv::Mat& m) { referenceSharpening(m, 9, 1); }},
            {"morphology close 7 x 15",
             [](Record& r) { r.nAdvancedSetting = 1; r.nMorphologyType = 4; r.nMorphologyW = 7; r.nMorphologyH = 15; },
             [](cv::Mat& m) { referenceMorphology(m, cv::MORPH_CLOSE, cv::MORPH_RECT, {7, 15}); }},
            {"morphology list", [](Record& r) { r.nAdvancedSetting1 = 1; r.vecMorphology = {step(2, 9), step(3, 4)}; },
             [](cv::Mat& m) {
                 referenceMorphology(m, cv::MORPH_CLOSE, cv::MORPH_ELLIPSE, {9, 9});
                 referenceMorphology(m, cv::MORPH_DILATE, cv::MORPH_ELLIPSE, {4, 4});
             }},
            {"range filter white", [](Record& r) { r.nFilterMode = 2; r.nFilterMin = 100; r.nFilterMax = 140; },
             [](cv::Mat& m) { referenceRangeFilter(m, 100, 140, 255); }},
            {"pole filter black", [](Record& r) { r.nFilterPoleMode = 1; r.nFilterPoleValue = 90; },
             [](cv::Mat& m) { referencePoleFilter(m, 90, true); }},
            {"range then pole (painted level counts)",
             [](Record& r) { r.nFilterMode = 2; r.nFilterMin = 100; r.nFilterMax = 140; r.nFilterPoleMode = 2; r.nFilterPoleValue = 200; },
             [](cv::Mat& m) { referenceRangeFilter(m, 100, 140, 255); referencePoleFilter(m, 200, false); }},
            {"every neighbourhood filter", neighbourhoodFiltersOn, referenceNeighbourhoodFilters},
            {"inversion", [](Record& r) { r.bIsInver = true; }, [](cv::Mat& m) { cv::bitwise_not(m, m); }},
        };
        // 517 pixels: 32 vector steps and 5 left over; 700 rows: two bands.
        // 40 rows: too few for bands.
        const QSize sizes[] = {QSize(517, 700), QSize(333, 40)};
        for (const Row& row : rows)
            for (int channels : {3, 1})
                for (const QSize& size : sizes)
                    QTest::addRow("%s, %s, %dx%d", row.name, channels == 3 ? "colour" : "gray", size.width(),
                                  size.height())
                        << channels << size << row.edit << row.reference;
    }

    void sameAsPlainChain()
    {
        QFETCH(int, channels);
        QFETCH(QSize, size);
        QFETCH(Edit, edit);
        QFETCH(Reference, reference);

        const cv::Mat in = testPicture(size.width(), size.height(), channels, size.width() + channels);
        edit(record());
        cv::Mat fast = in.clone();
        hostsim::preprocessImage(fast, record());
        cv::Mat plain = in.clone();
        reference(plain);
        QCOMPARE(fast.type(), plain.type());
        QVERIFY2(maxDifference(fast, plain) == 0,
                 qPrintable(QString("differs by up to %1").arg(maxDifference(fast, plain))));
        // The stage did something (a gray channel stage changes the type).
        QVERIFY(fast.type() != in.type() || maxDifference(fast, in) > 0);
    }

    // The same settings give the same picture on one core as on two.
    void sameOnOneCore()
    {
        Record& r = record();
        r.nSatMode = 2; r.bSatDef = false; r.nSatValue = 70;
        r.nBriMode = 2; r.bBriDef = false; r.nBriValue = 60; r.nBriWidth = 31;
        r.bGrayPro = true; r.nGrayValue = 50; r.nGrayWidth = 200;
        neighbourhoodFiltersOn(r);
        r.bGrayscaleEqualization = true;
        r.bIsInver = true;
        const cv::Mat in = testPicture(640, 600, 3, 7);
        cv::Mat twoCores = in.clone();
        hostsim::preprocessImage(twoCores, r);
        const int threads = cv::getNumThreads();
        cv::setNumThreads(1);
        cv::Mat oneCore = in.clone();
        hostsim::preprocessImage(oneCore, r);
        cv::setNumThreads(threads);
        QCOMPARE(maxDifference(twoCores, oneCore), 0);
    }

    // Saturation is scaled on RGB with the factor in 1/128 steps: at most a
    // level or two from the exact value, and every pixel's hue and value kept.
    void saturationCloseToExact_data()
    {
        QTest::addColumn<int>("value");
        for (int v : {3, 20, 49, 51, 70, 90, 100})
            QTest::addRow("%d %%", v) << v;
    }

    void saturationCloseToExact()
    {
        QFETCH(int, value);
        const cv::Mat in = testPicture(517, 300, 3, value);
        Record& r = record();
        r.nSatMode = 2; r.bSatDef = false; r.nSatValue = value;
        cv::Mat fast = in.clone();
        hostsim::preprocessImage(fast, r);
        cv::Mat exact = in.clone();
        referenceSaturation(exact, value / 50.0);
        QVERIFY2(maxDifference(fast, exact) <= 2, qPrintable(QString::number(maxDifference(fast, exact))));
        QVERIFY2(meanDifference(fast, exact) < 0.3, qPrintable(QString::number(meanDifference(fast, exact))));
        // V = max(R, G, B) is never changed.
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const cv::Vec3b a = in.at<cv::Vec3b>(y, x), b = fast.at<cv::Vec3b>(y, x);
                QCOMPARE(std::max({b[0], b[1], b[2]}), std::max({a[0], a[1], a[2]}));
            }
    }

    // The row kernel itself: the vector steps and the pixel-by-pixel rest
    // agree (one row, compared with the same row cut short).
    void saturationRowIndependentOfLength()
    {
        const cv::Mat in = testPicture(64, 40, 3, 3).row(20).clone();
        cv::Mat whole = in.clone();
        hostsim::kernels::scaleSaturationRow(whole.ptr<uchar>(), 64, 1.7f);
        for (int n : {1, 15, 17, 33}) {
            cv::Mat part = in.clone();
            hostsim::kernels::scaleSaturationRow(part.ptr<uchar>(), n, 1.7f);
            QCOMPARE(maxDifference(part.colRange(0, n), whole.colRange(0, n)), 0);
            QCOMPARE(maxDifference(part.colRange(n, 64), in.colRange(n, 64)), 0);
        }
    }

    // Equalization of a colour picture equalizes its gray level and adds each
    // pixel's change of level to the three channels: exactly that, written
    // the plain way; and close to a YCrCb round trip (which equalizes Y
    // rounded one level differently at some colours and clips the chroma of
    // colours 8-bit YCrCb cannot hold, like the pure red patch).
    void equalizationOfGrayLevel()
    {
        const cv::Mat in = testPicture(517, 300, 3, 11);
        record().bGrayscaleEqualization = true;
        cv::Mat fast = in.clone();
        hostsim::preprocessImage(fast, record());

        cv::Mat plain = in.clone();
        const cv::Mat level = luminance(in);
        cv::Mat equalized, raise, lower;
        cv::equalizeHist(level, equalized);
        cv::subtract(equalized, level, raise);
        cv::subtract(level, equalized, lower);
        cv::cvtColor(raise, raise, cv::COLOR_GRAY2RGB);
        cv::cvtColor(lower, lower, cv::COLOR_GRAY2RGB);
        cv::add(plain, raise, plain);
        cv::subtract(plain, lower, plain);
        QCOMPARE(maxDifference(fast, plain), 0);

        cv::Mat roundTrip = in.clone();
        referenceEqualization(roundTrip);
        QVERIFY2(meanDifference(fast, roundTrip) < 1.0, qPrintable(QString::number(meanDifference(fast, roundTrip))));
        QVERIFY(maxDifference(fast, in) > 0);
        // Gray pictures: exactly OpenCV's equalization.
        const cv::Mat gray = testPicture(517, 300, 1, 11);
        cv::Mat fastGray = gray.clone();
        hostsim::preprocessImage(fastGray, record());
        cv::Mat plainGray = gray.clone();
        referenceEqualization(plainGray);
        QCOMPARE(maxDifference(fastGray, plainGray), 0);
    }

    // The painting rule against a pixel-by-pixel loop, over every level and
    // both channel counts, with a row length off the vector width.
    void paintRowEveryLevel()
    {
        hostsim::kernels::PaintRule rule;
        rule.range = true;
        rule.rangeLow = 30;
        rule.rangeHigh = 60;
        rule.rangePaint = 255;
        rule.pole = true;
        rule.poleBelow = false;
        rule.poleLevel = 200;
        rule.polePaint = 255;
        std::vector<uchar> levels(259);
        for (size_t i = 0; i < levels.size(); ++i)
            levels[i] = static_cast<uchar>(i % 256);
        for (int channels : {1, 3}) {
            std::vector<uchar> row(levels.size() * channels);
            for (size_t i = 0; i < row.size(); ++i)
                row[i] = static_cast<uchar>((i * 7) % 256);
            const std::vector<uchar> before = row;
            hostsim::kernels::paintRow(row.data(), int(levels.size()), channels,
                                       channels == 1 ? before.data() : levels.data(), rule);
            for (size_t x = 0; x < levels.size(); ++x) {
                const int level = channels == 1 ? before[x] : levels[x];
                const bool painted = (level >= 30 && level <= 60) || level > 200;
                for (int c = 0; c < channels; ++c)
                    QCOMPARE(int(row[x * channels + c]), painted ? 255 : int(before[x * channels + c]));
            }
        }
    }

    // Unsharp masking and the signed difference saturate at both ends, in
    // the vector steps and in the rest of the row (18 values: 16 + 2).
    void unsharpAndDifferenceSaturate()
    {
        std::vector<uchar> values = {0, 255, 128, 10, 250, 1, 254, 100, 0, 255, 128, 10, 250, 1, 254, 100, 77, 3};
        std::vector<uchar> blurred = {255, 0, 128, 200, 10, 254, 1, 90, 255, 0, 128, 200, 10, 254, 1, 90, 70, 9};
        std::vector<uchar> out = values;
        hostsim::kernels::unsharpRow(out.data(), blurred.data(), int(out.size()), 2);
        for (size_t i = 0; i < values.size(); ++i)
            QCOMPARE(int(out[i]), std::clamp(3 * values[i] - 2 * blurred[i], 0, 255));
        std::vector<uchar> row = values;
        std::vector<uchar> minus = blurred;
        hostsim::kernels::addDifferenceRow(row.data(), int(row.size()), 1, nullptr, 128, minus.data());
        for (size_t i = 0; i < values.size(); ++i)
            QCOMPARE(int(row[i]), std::clamp(values[i] + 128 - blurred[i], 0, 255));
    }
};

QTEST_GUILESS_MAIN(TestHostSimPreprocessPaths)
#include "tst_hostsim_preprocess_paths.moc"
