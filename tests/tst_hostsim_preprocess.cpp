// The replacement host's picture pre-processing (host_sim/processing/SimPreprocess.cpp,
// described in host_sim/processing/PREPROCESSING.md): every record field must change the
// picture under some setting, in the documented direction where one exists.

#include "HostSim.h"
#include "services/SimCameraManager.h"
#include "processing/SimPreprocess.h"

#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <vector>

using Record = IZKVisionCameraManager;
using Edit = std::function<void(Record&)>;
// Gets the input picture and the base and variant outputs.
using Check = std::function<void(const cv::Mat& in, const cv::Mat& base, const cv::Mat& variant)>;

Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(Check)

namespace {

// ---------------------------------------------------------------------------
// The test picture (RGB): gradient background, colour patches, thin dark and
// light lines, isolated salt-and-pepper noise dots.

constexpr int kWidth = 240;
constexpr int kHeight = 180;

struct Patch
{
    const char* name;
    cv::Vec3b rgb;
    cv::Rect rect;
};

const std::vector<Patch>& patches()
{
    static const std::vector<Patch> list = [] {
        const std::vector<std::pair<const char*, cv::Vec3b>> colours = {
            {"red", {255, 0, 0}},    {"green", {0, 255, 0}},   {"blue", {0, 0, 255}},
            {"yellow", {255, 255, 0}}, {"white", {255, 255, 255}}, {"black", {0, 0, 0}},
            {"gray", {128, 128, 128}}, {"pastel", {200, 150, 170}},
        };
        std::vector<Patch> v;
        for (size_t i = 0; i < colours.size(); ++i)
            v.push_back({colours[i].first, colours[i].second, cv::Rect(8 + int(i) * 28, 8, 20, 20)});
        return v;
    }();
    return list;
}

const Patch& patch(const char* name)
{
    for (const Patch& p : patches())
        if (qstrcmp(p.name, name) == 0)
            return p;
    qFatal("no patch %s", name);
}

cv::Point centre(const cv::Rect& r) { return {r.x + r.width / 2, r.y + r.height / 2}; }

// Thin lines (one pixel wide); segments away from crossings for checks.
constexpr int kDarkLineX = 150, kDarkLineY = 120;
constexpr int kLightLineX = 170, kLightLineY = 140;
constexpr uchar kDark = 20, kLight = 235;
constexpr int kLineCheckY0 = 50, kLineCheckY1 = 110; // along the vertical lines

struct NoiseDot
{
    cv::Point at;
    bool salt;
};

const std::vector<NoiseDot>& noiseDots()
{
    static const std::vector<NoiseDot> list = [] {
        std::vector<NoiseDot> v;
        cv::RNG rng(20240611);
        bool salt = true;
        for (int y = 48; y <= 104; y += 10)
            for (int x = 12; x <= 132; x += 10) {
                v.push_back({{x + rng.uniform(0, 4), y + rng.uniform(0, 4)}, salt});
                salt = !salt;
            }
        return v;
    }();
    return list;
}

cv::Mat colourPicture()
{
    cv::Mat m(kHeight, kWidth, CV_8UC3);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            m.at<cv::Vec3b>(y, x) = cv::Vec3b(uchar(40 + x * 160 / kWidth), uchar(40 + y * 160 / kHeight),
                                              uchar(120 + ((x + y) % 40) / 4));
    for (const Patch& p : patches())
        m(p.rect).setTo(cv::Scalar(p.rgb[0], p.rgb[1], p.rgb[2]));
    for (int y = 40; y < 176; ++y) {
        m.at<cv::Vec3b>(y, kDarkLineX) = cv::Vec3b::all(kDark);
        m.at<cv::Vec3b>(y, kLightLineX) = cv::Vec3b::all(kLight);
    }
    for (int x = 10; x < 230; ++x) {
        m.at<cv::Vec3b>(kDarkLineY, x) = cv::Vec3b::all(kDark);
        m.at<cv::Vec3b>(kLightLineY, x) = cv::Vec3b::all(kLight);
    }
    for (const NoiseDot& s : noiseDots())
        m.at<cv::Vec3b>(s.at) = cv::Vec3b::all(s.salt ? 255 : 0);
    return m;
}

cv::Mat grayPicture()
{
    cv::Mat g;
    cv::cvtColor(colourPicture(), g, cv::COLOR_RGB2GRAY);
    return g;
}

// ---------------------------------------------------------------------------
// Measures.

cv::Mat lum(const cv::Mat& m)
{
    if (m.channels() == 1)
        return m;
    cv::Mat g;
    cv::cvtColor(m, g, cv::COLOR_RGB2GRAY);
    return g;
}

double meanLevel(const cv::Mat& m)
{
    const cv::Scalar s = cv::mean(m);
    double sum = 0;
    for (int c = 0; c < m.channels(); ++c)
        sum += s[c];
    return sum / m.channels();
}

double meanSaturation(const cv::Mat& m)
{
    cv::Mat hsv;
    cv::cvtColor(m, hsv, cv::COLOR_RGB2HSV);
    return cv::mean(hsv)[1];
}

double stdDev(const cv::Mat& m)
{
    cv::Scalar mean, sd;
    cv::meanStdDev(lum(m), mean, sd);
    return sd[0];
}

// Mean absolute Laplacian of the luminance: high-frequency energy.
double detail(const cv::Mat& m)
{
    cv::Mat lap;
    cv::Laplacian(lum(m), lap, CV_16S);
    return cv::mean(cv::abs(lap))[0];
}

// Distance between the 5th and 95th percentile of the luminance.
int spread(const cv::Mat& m)
{
    const cv::Mat g = lum(m);
    std::vector<int> hist(256, 0);
    for (int y = 0; y < g.rows; ++y)
        for (int x = 0; x < g.cols; ++x)
            ++hist[g.at<uchar>(y, x)];
    const double n = double(g.total());
    int lo = -1, hi = -1;
    double acc = 0;
    for (int i = 0; i < 256; ++i) {
        acc += hist[size_t(i)];
        if (lo < 0 && acc >= 0.05 * n)
            lo = i;
        if (hi < 0 && acc >= 0.95 * n)
            hi = i;
    }
    return hi - lo;
}

int countLevel(const cv::Mat& m, int level)
{
    cv::Mat mask;
    cv::inRange(m, cv::Scalar::all(level), cv::Scalar::all(level), mask);
    return cv::countNonZero(mask);
}

bool same(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

uchar lumAt(const cv::Mat& m, cv::Point p) { return lum(m).at<uchar>(p); }

// ---------------------------------------------------------------------------
// Checks (the outputs already differ when a check runs).

Check differs()
{
    return [](const cv::Mat&, const cv::Mat&, const cv::Mat&) {};
}

Check brighter()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(meanLevel(var) > meanLevel(base) + 1,
                 qPrintable(QString("mean %1 -> %2").arg(meanLevel(base)).arg(meanLevel(var))));
    };
}

Check darker()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(meanLevel(var) < meanLevel(base) - 1,
                 qPrintable(QString("mean %1 -> %2").arg(meanLevel(base)).arg(meanLevel(var))));
    };
}

Check moreSaturated()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(meanSaturation(var) > meanSaturation(base) + 5,
                 qPrintable(QString("S %1 -> %2").arg(meanSaturation(base)).arg(meanSaturation(var))));
    };
}

Check lessSaturated()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(meanSaturation(var) < meanSaturation(base) - 5,
                 qPrintable(QString("S %1 -> %2").arg(meanSaturation(base)).arg(meanSaturation(var))));
    };
}

Check moreContrast()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(stdDev(var) > stdDev(base) + 2,
                 qPrintable(QString("sd %1 -> %2").arg(stdDev(base)).arg(stdDev(var))));
    };
}

Check lessContrast()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(stdDev(var) < stdDev(base) - 2,
                 qPrintable(QString("sd %1 -> %2").arg(stdDev(base)).arg(stdDev(var))));
    };
}

Check smoother()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(detail(var) < detail(base) * 0.9,
                 qPrintable(QString("detail %1 -> %2").arg(detail(base)).arg(detail(var))));
    };
}

Check sharper()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(detail(var) > detail(base) * 1.1,
                 qPrintable(QString("detail %1 -> %2").arg(detail(base)).arg(detail(var))));
    };
}

Check widerHistogram()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(spread(var) > spread(base) + 20,
                 qPrintable(QString("spread %1 -> %2").arg(spread(base)).arg(spread(var))));
    };
}

// Every element of the variant <= (or >=) the base: erosion / opening (dilation / closing).
Check notAbove()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        cv::Mat over;
        cv::compare(var, base, over, cv::CMP_GT);
        QCOMPARE(cv::countNonZero(over.reshape(1)), 0);
    };
}

Check notBelow()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        cv::Mat under;
        cv::compare(var, base, under, cv::CMP_LT);
        QCOMPARE(cv::countNonZero(under.reshape(1)), 0);
    };
}

Check all(std::vector<Check> checks)
{
    return [checks](const cv::Mat& in, const cv::Mat& base, const cv::Mat& var) {
        for (const Check& c : checks) {
            c(in, base, var);
            if (QTest::currentTestFailed())
                return;
        }
    };
}

// The thin dark (light) line is gone: along it the level is close to the background's.
Check darkLineGone()
{
    return [](const cv::Mat&, const cv::Mat&, const cv::Mat& var) {
        for (int y = kLineCheckY0; y <= kLineCheckY1; ++y) {
            const int v = lumAt(var, {kDarkLineX, y});
            QVERIFY2(v > 35, qPrintable(QString("dark line still at y %1: %2").arg(y).arg(v)));
        }
    };
}

Check lightLineGone()
{
    return [](const cv::Mat&, const cv::Mat&, const cv::Mat& var) {
        for (int y = kLineCheckY0; y <= kLineCheckY1; ++y) {
            const int v = lumAt(var, {kLightLineX, y});
            QVERIFY2(v < 215, qPrintable(QString("light line still at y %1: %2").arg(y).arg(v)));
        }
    };
}

// The dark vertical (horizontal) line became wider: its right (lower) neighbour is dark.
Check darkLineWider(bool bHorizontally)
{
    return [bHorizontally](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        const cv::Point p = bHorizontally ? cv::Point(kDarkLineX + 1, 80) : cv::Point(80, kDarkLineY + 1);
        QVERIFY2(lumAt(base, p) > 35, "neighbour of the line dark before");
        QCOMPARE(int(lumAt(var, p)), int(kDark));
    };
}

Check noiseDotsGone()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        int nBefore = 0;
        for (const NoiseDot& s : noiseDots()) {
            const int b = lumAt(base, s.at);
            const int v = lumAt(var, s.at);
            nBefore += s.salt ? (b == 255) : (b == 0);
            if (s.salt)
                QVERIFY2(v < 215, qPrintable(QString("salt dot kept: %1").arg(v)));
            else
                QVERIFY2(v > 30, qPrintable(QString("pepper dot kept: %1").arg(v)));
        }
        QCOMPARE(nBefore, int(noiseDots().size()));
    };
}

// Pixels of the base whose luminance satisfies pred became 'level' in every
// channel; all other pixels are unchanged.
Check paints(std::function<bool(int)> pred, int level)
{
    return [pred, level](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        const cv::Mat g = lum(base);
        int nPainted = 0;
        for (int y = 0; y < base.rows; ++y)
            for (int x = 0; x < base.cols; ++x) {
                const bool bHit = pred(g.at<uchar>(y, x));
                nPainted += bHit;
                for (int c = 0; c < base.channels(); ++c) {
                    const int v = var.ptr<uchar>(y)[x * base.channels() + c];
                    const int b = base.ptr<uchar>(y)[x * base.channels() + c];
                    if (bHit ? v != level : v != b)
                        QFAIL(qPrintable(QString("pixel (%1, %2) channel %3: %4 -> %5").arg(x).arg(y).arg(c).arg(b).arg(v)));
                }
            }
        QVERIFY(nPainted > 0);
    };
}

Check moreOfLevel(int level)
{
    return [level](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        QVERIFY2(countLevel(var, level) > countLevel(base, level),
                 qPrintable(QString("%1 -> %2").arg(countLevel(base, level)).arg(countLevel(var, level))));
    };
}

Check equalsInput()
{
    return [](const cv::Mat& in, const cv::Mat&, const cv::Mat& var) { QVERIFY(same(var, in)); };
}

Check inverted()
{
    return [](const cv::Mat&, const cv::Mat& base, const cv::Mat& var) {
        cv::Mat inv;
        cv::bitwise_not(base, inv);
        QVERIFY(same(var, inv));
        QCOMPARE(int(lumAt(var, centre(patch("white").rect))), 0);
    };
}

// A gray plane: one channel, each pixel within tol of ref(r, g, b) of the input.
Check grayPlane(std::function<int(int, int, int)> ref, int tol)
{
    return [ref, tol](const cv::Mat& in, const cv::Mat&, const cv::Mat& var) {
        QCOMPARE(var.type(), CV_8UC1);
        QVERIFY(var.size() == in.size());
        QVERIFY(var.isContinuous());
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const cv::Vec3b p = in.at<cv::Vec3b>(y, x);
                const int want = ref(p[0], p[1], p[2]);
                const int got = var.at<uchar>(y, x);
                if (std::abs(got - want) > tol)
                    QFAIL(qPrintable(QString("(%1, %2): %3 instead of %4").arg(x).arg(y).arg(got).arg(want)));
            }
    };
}

// HSV hue of the named patches, 0..360 degrees mapped to 0..255 (gray: 0).
Check hueOfPatches()
{
    return [](const cv::Mat&, const cv::Mat&, const cv::Mat& var) {
        QCOMPARE(var.type(), CV_8UC1);
        const std::vector<std::pair<const char*, int>> want = {
            {"red", 0}, {"yellow", 43}, {"green", 85}, {"blue", 171}, {"gray", 0}, {"white", 0}};
        for (const auto& w : want) {
            const int got = var.at<uchar>(centre(patch(w.first).rect));
            QVERIFY2(std::abs(got - w.second) <= 1, qPrintable(QString("%1: %2").arg(w.first).arg(got)));
        }
    };
}

// ---------------------------------------------------------------------------
// The rows.

struct Row
{
    QString field; // the record field the row is about
    QString what;
    bool gray;     // gray input picture
    Edit context;  // applied to base and variant
    Edit variant;  // applied to the variant only
    Check check;
};

ZKMorphologyParam step(int nType, int nSize, int bEnable = 1)
{
    ZKMorphologyParam p;
    p.nMorphType = nType;
    p.nLineSize = nSize;
    p.bEnable = bEnable;
    return p;
}

std::vector<Row> rows()
{
    std::vector<Row> v;
    auto add = [&v](const char* field, const char* what, Edit ctx, Edit var, Check check, bool gray = false) {
        v.push_back({QString::fromLatin1(field), QString::fromLatin1(what), gray, std::move(ctx), std::move(var),
                     std::move(check)});
    };
    const Edit none = [](Record&) {};

    // 0. nMode5
    add("nMode5", "10 -> 0 bypasses the stages", [](Record& r) { r.bIsInver = true; r.nSatMode = 1; },
        [](Record& r) { r.nMode5 = 0; }, equalsInput());

    // 1. Saturation
    add("nSatMode", "0 -> 1 automatic (default 30 %)", none, [](Record& r) { r.nSatMode = 1; }, lessSaturated());
    add("nSatMode", "0 -> 2 manual (90 %)", [](Record& r) { r.bSatDef = false; r.nSatValue = 90; },
        [](Record& r) { r.nSatMode = 2; }, moreSaturated());
    add("nSatValue", "50 -> 90", [](Record& r) { r.nSatMode = 2; r.bSatDef = false; },
        [](Record& r) { r.nSatValue = 90; }, moreSaturated());
    add("nSatValue", "50 -> 20", [](Record& r) { r.nSatMode = 2; r.bSatDef = false; },
        [](Record& r) { r.nSatValue = 20; }, lessSaturated());
    add("nSatValueDef", "30 -> 80", [](Record& r) { r.nSatMode = 1; }, [](Record& r) { r.nSatValueDef = 80; },
        moreSaturated());
    add("bSatDef", "true -> false (manual 90 instead of default 30)",
        [](Record& r) { r.nSatMode = 2; r.nSatValue = 90; r.nSatValueDef = 30; },
        [](Record& r) { r.bSatDef = false; }, moreSaturated());

    // 2. Brightness
    add("nBriMode", "0 -> 1 automatic (default 30 %)", none, [](Record& r) { r.nBriMode = 1; }, darker());
    add("nBriMode", "0 -> 2 manual (80 %)", [](Record& r) { r.bBriDef = false; r.nBriValue = 80; },
        [](Record& r) { r.nBriMode = 2; }, brighter());
    add("nBriValue", "50 -> 80", [](Record& r) { r.nBriMode = 2; r.bBriDef = false; },
        [](Record& r) { r.nBriValue = 80; }, brighter());
    add("nBriValue", "50 -> 80 (gray picture)", [](Record& r) { r.nBriMode = 2; r.bBriDef = false; },
        [](Record& r) { r.nBriValue = 80; }, brighter(), true);
    add("nBriWidth", "50 -> 5", [](Record& r) { r.nBriMode = 2; r.bBriDef = false; },
        [](Record& r) { r.nBriWidth = 5; }, differs());
    add("nBriValueDef", "30 -> 70", [](Record& r) { r.nBriMode = 1; }, [](Record& r) { r.nBriValueDef = 70; },
        brighter());
    add("nBriWidthDef", "50 -> 7", [](Record& r) { r.nBriMode = 1; }, [](Record& r) { r.nBriWidthDef = 7; },
        differs());
    add("bBriDef", "true -> false (manual 80 instead of default 30)",
        [](Record& r) { r.nBriMode = 2; r.nBriValue = 80; r.nBriValueDef = 30; },
        [](Record& r) { r.bBriDef = false; }, brighter());

    // 3. Gray channel
    add("nGrayMode", "0 -> 1 min channel", none, [](Record& r) { r.nGrayMode = 1; },
        grayPlane([](int r, int g, int b) { return std::min({r, g, b}); }, 0));
    add("nGrayMode", "0 -> 2 channel average", none, [](Record& r) { r.nGrayMode = 2; },
        grayPlane([](int r, int g, int b) { return int(std::lround((r + g + b) / 3.0)); }, 1));
    add("nGrayMode", "0 -> 3 red", none, [](Record& r) { r.nGrayMode = 3; },
        grayPlane([](int r, int, int) { return r; }, 0));
    add("nGrayMode", "0 -> 4 green", none, [](Record& r) { r.nGrayMode = 4; },
        grayPlane([](int, int g, int) { return g; }, 0));
    add("nGrayMode", "0 -> 5 blue", none, [](Record& r) { r.nGrayMode = 5; },
        grayPlane([](int, int, int b) { return b; }, 0));
    add("nGrayMode", "0 -> 6 HSV saturation", none, [](Record& r) { r.nGrayMode = 6; },
        grayPlane([](int r, int g, int b) {
            const int mx = std::max({r, g, b}), mn = std::min({r, g, b});
            return mx == 0 ? 0 : int(std::lround(255.0 * (mx - mn) / mx));
        }, 1));
    add("nGrayMode", "0 -> 7 HSV hue", none, [](Record& r) { r.nGrayMode = 7; }, hueOfPatches());
    add("nGrayMode", "0 -> 8 max channel", none, [](Record& r) { r.nGrayMode = 8; },
        grayPlane([](int r, int g, int b) { return std::max({r, g, b}); }, 0));
    add("bShowGray", "false -> true (luminance)", none, [](Record& r) { r.bShowGray = true; },
        grayPlane([](int r, int g, int b) { return int(std::lround(0.299 * r + 0.587 * g + 0.114 * b)); }, 1));

    // 4. Gray processing
    add("nGrayProMode", "0 -> 1 automatic (default 50, 50)", none, [](Record& r) { r.nGrayProMode = 1; },
        moreContrast());
    add("nGrayProMode", "0 -> 2 manual (50, 100)", [](Record& r) { r.nGrayWidth = 100; },
        [](Record& r) { r.nGrayProMode = 2; }, moreContrast());
    add("nGrayValue", "50 -> 80", [](Record& r) { r.nGrayProMode = 2; }, [](Record& r) { r.nGrayValue = 80; },
        darker());
    add("nGrayValue", "50 -> 80 (gray picture)", [](Record& r) { r.nGrayProMode = 2; },
        [](Record& r) { r.nGrayValue = 80; }, darker(), true);
    add("nGrayWidth", "50 -> 200", [](Record& r) { r.nGrayProMode = 2; }, [](Record& r) { r.nGrayWidth = 200; },
        lessContrast());
    add("nGrayValueDef", "50 -> 80", [](Record& r) { r.nGrayProMode = 1; },
        [](Record& r) { r.nGrayValueDef = 80; }, darker());
    add("nGrayWidthDef", "50 -> 200", [](Record& r) { r.nGrayProMode = 1; },
        [](Record& r) { r.nGrayWidthDef = 200; }, lessContrast());
    add("bGrayPro", "false -> true with mode 0", [](Record& r) { r.nGrayWidth = 100; },
        [](Record& r) { r.bGrayPro = true; }, moreContrast());
    add("bGrayPro", "false -> true with mode 1 (manual 80 instead of default 50)",
        [](Record& r) { r.nGrayProMode = 1; r.nGrayValue = 80; }, [](Record& r) { r.bGrayPro = true; }, darker());

    // 5. De-interference
    add("bGoInterfere", "false -> true", none, [](Record& r) { r.bGoInterfere = true; },
        all({noiseDotsGone(), smoother()}));
    add("bGoInterfere", "false -> true (gray picture)", none, [](Record& r) { r.bGoInterfere = true; },
        all({noiseDotsGone(), smoother()}), true);
    add("bGoInterfereDef", "true -> false (manual 80 instead of default 10)",
        [](Record& r) { r.bGoInterfere = true; r.nGoInterfereValue = 80; },
        [](Record& r) { r.bGoInterfereDef = false; }, smoother());
    add("nGoInterfereValue", "10 -> 80", [](Record& r) { r.bGoInterfere = true; r.bGoInterfereDef = false; },
        [](Record& r) { r.nGoInterfereValue = 80; }, smoother());
    add("nGoInterfereValueDef", "10 -> 80", [](Record& r) { r.bGoInterfere = true; },
        [](Record& r) { r.nGoInterfereValueDef = 80; }, smoother());

    // 6. Sharpening
    add("nSharpenKernel", "0 -> 5", none, [](Record& r) { r.nSharpenKernel = 5; }, sharper());
    add("nSharpenKernel", "3 -> 9", [](Record& r) { r.nSharpenKernel = 3; },
        [](Record& r) { r.nSharpenKernel = 9; }, differs());
    add("bSharpening", "0 -> 1 (double strength)", [](Record& r) { r.nSharpenKernel = 5; },
        [](Record& r) { r.bSharpening = 1; }, sharper());

    // 7. Single morphology
    const Edit morph = [](Record& r) { r.nAdvancedSetting = 1; r.nMorphologyW = 3; r.nMorphologyH = 3; };
    add("nAdvancedSetting", "0 -> 1 (erode 5 x 5)",
        [](Record& r) { r.nMorphologyType = 1; r.nMorphologyW = 5; r.nMorphologyH = 5; },
        [](Record& r) { r.nAdvancedSetting = 1; }, all({notAbove(), darker()}));
    add("nMorphologyType", "0 -> 1 erode", morph, [](Record& r) { r.nMorphologyType = 1; },
        all({notAbove(), darker()}));
    add("nMorphologyType", "0 -> 2 dilate", morph, [](Record& r) { r.nMorphologyType = 2; },
        all({notBelow(), brighter()}));
    add("nMorphologyType", "0 -> 3 open", morph, [](Record& r) { r.nMorphologyType = 3; },
        all({notAbove(), lightLineGone()}));
    add("nMorphologyType", "0 -> 4 close", morph, [](Record& r) { r.nMorphologyType = 4; },
        all({notBelow(), darkLineGone()}));
    add("nMorphologyType", "0 -> 4 close (gray picture)", morph, [](Record& r) { r.nMorphologyType = 4; },
        all({notBelow(), darkLineGone()}), true);
    add("nMorphologyW", "1 -> 5", [](Record& r) { r.nAdvancedSetting = 1; r.nMorphologyType = 1; r.nMorphologyW = 1; r.nMorphologyH = 1; },
        [](Record& r) { r.nMorphologyW = 5; }, all({notAbove(), darkLineWider(true)}));
    add("nMorphologyH", "1 -> 5", [](Record& r) { r.nAdvancedSetting = 1; r.nMorphologyType = 1; r.nMorphologyW = 1; r.nMorphologyH = 1; },
        [](Record& r) { r.nMorphologyH = 5; }, all({notAbove(), darkLineWider(false)}));

    // 8. Morphology list
    add("nAdvancedSetting1", "0 -> 1 (black add 5)", [](Record& r) { r.vecMorphology = {step(1, 5)}; },
        [](Record& r) { r.nAdvancedSetting1 = 1; }, all({notAbove(), darker()}));
    const Edit list = [](Record& r) { r.nAdvancedSetting1 = 1; };
    add("vecMorphology", "none -> black add 5", list, [](Record& r) { r.vecMorphology = {step(1, 5)}; },
        all({notAbove(), darker(), darkLineWider(true)}));
    add("vecMorphology", "none -> black delete 5", list, [](Record& r) { r.vecMorphology = {step(2, 5)}; },
        all({notBelow(), darkLineGone()}));
    add("vecMorphology", "none -> white add 5", list, [](Record& r) { r.vecMorphology = {step(3, 5)}; },
        all({notBelow(), brighter()}));
    add("vecMorphology", "none -> white delete 5", list, [](Record& r) { r.vecMorphology = {step(4, 5)}; },
        all({notAbove(), lightLineGone()}));
    add("vecMorphology", "white delete -> white delete, black delete",
        [](Record& r) { r.nAdvancedSetting1 = 1; r.vecMorphology = {step(4, 5)}; },
        [](Record& r) { r.vecMorphology.push_back(step(2, 5)); }, all({notBelow(), darkLineGone()}));
    add("nMorphType", "0 -> 1 (step kind)", [](Record& r) { r.nAdvancedSetting1 = 1; r.vecMorphology = {step(0, 5)}; },
        [](Record& r) { r.vecMorphology[0].nMorphType = 1; }, all({notAbove(), darker()}));
    add("nLineSize", "1 -> 7", [](Record& r) { r.nAdvancedSetting1 = 1; r.vecMorphology = {step(1, 1)}; },
        [](Record& r) { r.vecMorphology[0].nLineSize = 7; }, all({notAbove(), darker()}));
    add("bEnable", "1 -> 0", [](Record& r) { r.nAdvancedSetting1 = 1; r.vecMorphology = {step(1, 5)}; },
        [](Record& r) { r.vecMorphology[0].bEnable = 0; }, all({notBelow(), equalsInput()}));

    // 9. Range filter
    const Edit range = [](Record& r) { r.nFilterMin = 100; r.nFilterMax = 150; };
    add("nFilterMode", "0 -> 1 black", range, [](Record& r) { r.nFilterMode = 1; },
        paints([](int g) { return g >= 100 && g <= 150; }, 0));
    add("nFilterMode", "0 -> 2 white", range, [](Record& r) { r.nFilterMode = 2; },
        paints([](int g) { return g >= 100 && g <= 150; }, 255));
    add("nFilterMode", "0 -> 1 black (gray picture)", range, [](Record& r) { r.nFilterMode = 1; },
        paints([](int g) { return g >= 100 && g <= 150; }, 0), true);
    add("nFilterMin", "100 -> 50", [](Record& r) { r.nFilterMode = 1; r.nFilterMin = 100; r.nFilterMax = 150; },
        [](Record& r) { r.nFilterMin = 50; }, moreOfLevel(0));
    add("nFilterMax", "150 -> 200", [](Record& r) { r.nFilterMode = 1; r.nFilterMin = 100; r.nFilterMax = 150; },
        [](Record& r) { r.nFilterMax = 200; }, moreOfLevel(0));

    // 10. Pole filter
    const Edit pole = [](Record& r) { r.nFilterPoleValue = 100; };
    add("nFilterPoleMode", "0 -> 1 black below 100", pole, [](Record& r) { r.nFilterPoleMode = 1; },
        paints([](int g) { return g < 100; }, 0));
    add("nFilterPoleMode", "0 -> 2 white above 100", pole, [](Record& r) { r.nFilterPoleMode = 2; },
        paints([](int g) { return g > 100; }, 255));
    add("nFilterPoleMode", "0 -> 2 white above 100 (gray picture)", pole, [](Record& r) { r.nFilterPoleMode = 2; },
        paints([](int g) { return g > 100; }, 255), true);
    add("nFilterPoleValue", "100 -> 150", [](Record& r) { r.nFilterPoleMode = 1; r.nFilterPoleValue = 100; },
        [](Record& r) { r.nFilterPoleValue = 150; }, moreOfLevel(0));

    // 11. Equalization
    add("bGrayscaleEqualization", "false -> true", none, [](Record& r) { r.bGrayscaleEqualization = true; },
        widerHistogram());
    add("bGrayscaleEqualization", "false -> true (gray picture)", none,
        [](Record& r) { r.bGrayscaleEqualization = true; }, widerHistogram(), true);

    // 12. Inversion
    add("bIsInver", "false -> true", none, [](Record& r) { r.bIsInver = true; }, inverted());
    add("bIsInver", "false -> true (gray picture)", none, [](Record& r) { r.bIsInver = true; }, inverted(), true);

    return v;
}

// Every record field (host members excluded), and the morphology step's fields.
const QStringList& recordFields()
{
    static const QStringList fields = {
        "nSatMode", "nBriMode", "nGrayMode", "nGrayProMode", "nMode5", "nMorphologyType", "nMorphologyW",
        "nMorphologyH", "bIsInver", "bShowGray", "nSatValue", "nBriValue", "nGrayValue", "nBriWidth", "nGrayWidth",
        "nAdvancedSetting", "nGoInterfereValue", "nFilterMode", "nFilterMin", "nFilterMax", "nFilterPoleMode",
        "nFilterPoleValue", "bSharpening", "nSharpenKernel", "nAdvancedSetting1", "vecMorphology", "bGoInterfere",
        "bGoInterfereDef", "bGrayscaleEqualization", "bGrayPro", "bSatDef", "bBriDef", "nSatValueDef",
        "nBriValueDef", "nGrayValueDef", "nBriWidthDef", "nGrayWidthDef", "nGoInterfereValueDef",
        // ZKMorphologyParam (nReserved belongs to the host)
        "nMorphType", "nLineSize", "bEnable",
    };
    return fields;
}

// Turns every stage on (colour kept).
void everythingOn(Record& r)
{
    r.nSatMode = 2; r.bSatDef = false; r.nSatValue = 70;
    r.nBriMode = 2; r.bBriDef = false; r.nBriValue = 50; r.nBriWidth = 50;
    r.nGrayProMode = 2; r.nGrayValue = 50; r.nGrayWidth = 200;
    r.bGoInterfere = true; r.bGoInterfereDef = false; r.nGoInterfereValue = 20;
    r.nSharpenKernel = 5; r.bSharpening = 1;
    r.nAdvancedSetting = 1; r.nMorphologyType = 3; r.nMorphologyW = 3; r.nMorphologyH = 3;
    r.nAdvancedSetting1 = 1; r.vecMorphology = {step(2, 3), step(4, 3)};
    r.nFilterMode = 1; r.nFilterMin = 10; r.nFilterMax = 20;
    r.nFilterPoleMode = 2; r.nFilterPoleValue = 240;
    r.bGrayscaleEqualization = true;
    r.bIsInver = true;
}

} // namespace

class TestHostSimPreprocess : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    static hostsim::SimCameraManager& record() { return hostsim::HostSim::cameraManager(); }

    static cv::Mat run(const cv::Mat& in)
    {
        cv::Mat img = in.clone();
        hostsim::preprocessImage(img, record());
        return img;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        hostsim::HostSim::reset(m_dir.path());
    }

    void init() { record().resetRecord(); }

    // The test picture really has what the rows rely on.
    void testPicture()
    {
        const cv::Mat in = colourPicture();
        QCOMPARE(in.type(), CV_8UC3);
        QVERIFY(in.isContinuous());
        for (int y = kLineCheckY0; y <= kLineCheckY1; ++y) {
            QCOMPARE(int(lumAt(in, {kDarkLineX, y})), int(kDark));
            QCOMPARE(int(lumAt(in, {kLightLineX, y})), int(kLight));
            QVERIFY(lumAt(in, {kDarkLineX - 1, y}) > 40);
            QVERIFY(lumAt(in, {kLightLineX + 1, y}) < 210);
        }
        for (const NoiseDot& s : noiseDots())
            QCOMPARE(int(lumAt(in, s.at)), s.salt ? 255 : 0);
    }

    void everyFieldHasRows()
    {
        std::set<QString> covered;
        for (const Row& r : rows())
            covered.insert(r.field);
        for (const QString& f : recordFields())
            QVERIFY2(covered.count(f), qPrintable(f + " has no row"));
        for (const QString& f : covered)
            QVERIFY2(recordFields().contains(f), qPrintable(f + " is not a record field"));
    }

    void defaultsPassUnchanged_data()
    {
        QTest::addColumn<bool>("gray");
        QTest::newRow("colour") << false;
        QTest::newRow("gray") << true;
    }

    void defaultsPassUnchanged()
    {
        QFETCH(bool, gray);
        const cv::Mat in = gray ? grayPicture() : colourPicture();
        cv::Mat img = in.clone();
        const uchar* pData = img.data;
        hostsim::preprocessImage(img, record());
        QVERIFY(same(img, in));
        QVERIFY(img.data == pData);
    }

    // Mode, value and width fields each at a setting where the stage does nothing.
    void stagesAtNeutralSettingsPassUnchanged()
    {
        Record& r = record();
        r.nSatMode = 2; r.bSatDef = false; r.nSatValue = 50;      // factor 1
        r.nGrayMode = 0; r.bShowGray = false;
        r.nAdvancedSetting = 1; r.nMorphologyType = 0;             // no operation
        r.nAdvancedSetting1 = 1; r.vecMorphology = {step(1, 1), step(2, 5, 0), step(7, 5)};
        r.nFilterMode = 1; r.nFilterMin = 200; r.nFilterMax = 100; // empty range
        r.nFilterPoleMode = 1; r.nFilterPoleValue = 0;             // nothing below 0
        r.nSharpenKernel = 0; r.bSharpening = 1;
        const cv::Mat in = colourPicture();
        QVERIFY(same(run(in), in));
    }

    void bypassUnlessMode5Is10_data()
    {
        QTest::addColumn<int>("mode5");
        QTest::addColumn<bool>("gray");
        for (int m : {0, 1, 9, 11, 100, -10}) {
            QTest::addRow("colour, nMode5 %d", m) << m << false;
            QTest::addRow("gray, nMode5 %d", m) << m << true;
        }
    }

    void bypassUnlessMode5Is10()
    {
        QFETCH(int, mode5);
        QFETCH(bool, gray);
        const cv::Mat in = gray ? grayPicture() : colourPicture();
        everythingOn(record());
        record().nGrayMode = 3;
        QVERIFY(!same(run(in), in)); // the stages do act with 10
        record().nMode5 = mode5;
        QVERIFY(same(run(in), in));
    }

    void fieldChangesOutput_data()
    {
        QTest::addColumn<bool>("gray");
        QTest::addColumn<Edit>("context");
        QTest::addColumn<Edit>("variant");
        QTest::addColumn<Check>("check");
        for (const Row& r : rows())
            QTest::newRow(qPrintable(r.field + ": " + r.what)) << r.gray << r.context << r.variant << r.check;
    }

    void fieldChangesOutput()
    {
        QFETCH(bool, gray);
        QFETCH(Edit, context);
        QFETCH(Edit, variant);
        QFETCH(Check, check);

        const cv::Mat in = gray ? grayPicture() : colourPicture();
        context(record());
        const cv::Mat base = run(in);
        variant(record());
        const cv::Mat var = run(in);

        QVERIFY(base.isContinuous());
        QVERIFY(var.isContinuous());
        QVERIFY2(!same(base, var), "the field changed nothing");
        check(in, base, var);
    }

    // Manual mode with the group's default switch on equals automatic mode.
    void defaultSwitchEqualsAutomatic_data()
    {
        QTest::addColumn<Edit>("manualWithDefaults");
        QTest::addColumn<Edit>("automatic");
        QTest::newRow("saturation") << Edit([](Record& r) { r.nSatMode = 2; r.bSatDef = true; r.nSatValue = 90; })
                                    << Edit([](Record& r) { r.nSatMode = 1; r.nSatValue = 90; });
        QTest::newRow("brightness")
            << Edit([](Record& r) { r.nBriMode = 2; r.bBriDef = true; r.nBriValue = 90; r.nBriWidth = 5; })
            << Edit([](Record& r) { r.nBriMode = 1; r.nBriValue = 90; r.nBriWidth = 5; });
    }

    void defaultSwitchEqualsAutomatic()
    {
        QFETCH(Edit, manualWithDefaults);
        QFETCH(Edit, automatic);
        const cv::Mat in = colourPicture();
        manualWithDefaults(record());
        const cv::Mat a = run(in);
        record().resetRecord();
        automatic(record());
        const cv::Mat b = run(in);
        QVERIFY(!same(a, in));
        QVERIFY(same(a, b));
    }

    void grayPictureIgnoresColourStages_data()
    {
        QTest::addColumn<Edit>("edit");
        for (int m = 1; m <= 8; ++m)
            QTest::addRow("nGrayMode %d", m) << Edit([m](Record& r) { r.nGrayMode = m; });
        QTest::newRow("bShowGray") << Edit([](Record& r) { r.bShowGray = true; });
        QTest::newRow("saturation") << Edit([](Record& r) { r.nSatMode = 2; r.bSatDef = false; r.nSatValue = 100; });
    }

    void grayPictureIgnoresColourStages()
    {
        QFETCH(Edit, edit);
        const cv::Mat in = grayPicture();
        edit(record());
        QVERIFY(same(run(in), in));
    }

    // A gray channel mode wins over bShowGray.
    void grayModeWinsOverShowGray()
    {
        const cv::Mat in = colourPicture();
        record().nGrayMode = 3;
        record().bShowGray = true;
        std::vector<cv::Mat> planes;
        cv::split(in, planes);
        QVERIFY(same(run(in), planes[0]));
    }

    // The stages run in their documented order.
    void stageOrder()
    {
        const cv::Mat in = colourPicture();
        // pole filter (10) before inversion (12): dark pixels end white
        record().nFilterPoleMode = 1;
        record().nFilterPoleValue = 100;
        record().bIsInver = true;
        cv::Mat out = run(in);
        QVERIFY(out.at<cv::Vec3b>(centre(patch("blue").rect)) == cv::Vec3b::all(255));
        // range filter (9) before pole filter (10): painted white, then not darker than 100
        record().resetRecord();
        record().nFilterMode = 2;
        record().nFilterMin = 0;
        record().nFilterMax = 50;
        record().nFilterPoleMode = 1;
        record().nFilterPoleValue = 100;
        out = run(in);
        QVERIFY(out.at<cv::Vec3b>(centre(patch("black").rect)) == cv::Vec3b::all(255));
        QVERIFY(out.at<cv::Vec3b>(centre(patch("red").rect)) == cv::Vec3b::all(0)); // luminance 76
        // saturation (1) before gray channel (3): the saturation plane shows the boost
        record().resetRecord();
        record().nSatMode = 2;
        record().bSatDef = false;
        record().nSatValue = 100; // saturation doubled
        record().nGrayMode = 6;
        out = run(in);
        QCOMPARE(out.type(), CV_8UC1);
        const int s = out.at<uchar>(centre(patch("pastel").rect)); // 64 before the boost
        QVERIFY2(s > 120 && s < 136, qPrintable(QString::number(s)));
    }

    // Pictures keep their buffer while they stay colour; out-of-range values are clamped.
    void inPlaceAndRobust()
    {
        const cv::Mat in = colourPicture();
        everythingOn(record());
        cv::Mat img = in.clone();
        const uchar* pData = img.data;
        hostsim::preprocessImage(img, record());
        QVERIFY(img.data == pData);
        QCOMPARE(img.type(), CV_8UC3);

        record().resetRecord();
        Record& r = record();
        r.nSatMode = 2; r.bSatDef = false; r.nSatValue = -5;
        r.nBriMode = 2; r.bBriDef = false; r.nBriValue = 1000; r.nBriWidth = 100000;
        r.nGrayProMode = 2; r.nGrayValue = -3; r.nGrayWidth = 0;
        r.bGoInterfere = true; r.bGoInterfereDef = false; r.nGoInterfereValue = 5000;
        r.nSharpenKernel = 1000;
        r.nAdvancedSetting = 1; r.nMorphologyType = 2; r.nMorphologyW = -4; r.nMorphologyH = 9999;
        r.nAdvancedSetting1 = 1; r.vecMorphology = {step(3, -7), step(2, 5000), step(-1, 5)};
        r.nFilterMode = 2; r.nFilterMin = -100; r.nFilterMax = 1000;
        r.nFilterPoleMode = 1; r.nFilterPoleValue = 9999;
        r.nGrayMode = 99;
        img = in.clone();
        hostsim::preprocessImage(img, record());
        QVERIFY(img.size() == in.size());
        QVERIFY(img.isContinuous());

        // Other pictures pass unchanged.
        cv::Mat empty;
        hostsim::preprocessImage(empty, record());
        QVERIFY(empty.empty());
        cv::Mat wide(8, 8, CV_16UC1, cv::Scalar(1000));
        const cv::Mat wideIn = wide.clone();
        hostsim::preprocessImage(wide, record());
        QVERIFY(same(wide, wideIn));
    }
};

QTEST_GUILESS_MAIN(TestHostSimPreprocess)
#include "tst_hostsim_preprocess.moc"
