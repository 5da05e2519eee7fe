// Camera frames of every size, gray and colour, through the three places
// that show one: the live thread's composition, the single-frame grab and
// the full-screen preview; and the panel's live picture at the demo's odd
// sizes. Each picture is compared with a reference made here with OpenCV
// from the frame the camera was given.
//
// Nearest-sampling tolerance: every path samples the source pixel under the
// centre of each target pixel, but by different arithmetic (OpenCV's exact
// nearest in fixed point, the live thread in floating point, Qt's painter
// in 16.16 fixed point with its own rounding). Where a centre falls within a
// rounding error of a pixel border they may pick the neighbour, so a
// composed pixel passes when it equals the reference's source pixel or one
// of its eight neighbours, and nothing else. The test picture keeps that
// tolerance tight: each colour pixel carries its own column and row (red and
// green) and a check byte (blue), each gray pixel a value that changes by 1
// per column and 16 per row, so no pixel further away can pass for a
// neighbour, and a row taken from the wrong place (a shear, a row start a
// few bytes off) fails.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "ZKFullScreenUI.h"
#include "display/HXLDisplayLabel.h"

#include "cameras/SimCamera.h"

#include <QFontMetrics>
#include <QPainter>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <memory>

using hostsim::HostSim;
using namespace panel_test;

namespace {

// The labels each frame is shown in: an odd one (the halves of the
// crosshair are truncated), and a wide and a tall strip, in which frames of
// extreme shape (4097 x 2, 1 x 801) still show each of their rows and
// columns beside the crosshair.
const QSize kLabels[] = {QSize(161, 121), QSize(8200, 12), QSize(12, 1604)};

// The test picture (see above), as the camera is to deliver it.
cv::Mat codedFrame(int w, int h, bool bColour)
{
    cv::Mat frame(h, w, bColour ? CV_8UC3 : CV_8UC1);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            if (bColour)
                frame.at<cv::Vec3b>(y, x) = cv::Vec3b(uchar(x), uchar(y), uchar(x * 7 + y * 13 + 90));
            else
                frame.at<uchar>(y, x) = uchar(x + 16 * y);
        }
    return frame;
}

QImage toQImage(const cv::Mat& frame)
{
    const bool bColour = frame.channels() == 3;
    QImage image(frame.cols, frame.rows, bColour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
    for (int y = 0; y < frame.rows; ++y)
        std::memcpy(image.scanLine(y), frame.ptr(y), size_t(frame.cols) * frame.elemSize());
    return image;
}

QRgb framePixel(const cv::Mat& frame, int x, int y)
{
    if (frame.channels() == 3) {
        const cv::Vec3b& p = frame.at<cv::Vec3b>(y, x);
        return qRgb(p[0], p[1], p[2]);
    }
    const uchar v = frame.at<uchar>(y, x);
    return qRgb(v, v, v);
}

// The picture a frame should make in a label: the frame aspect-fitted and
// centred, each target pixel taken from the source pixel OpenCV's exact
// nearest resize picks for it.
struct Reference
{
    QRect fitted;
    cv::Mat source; // CV_32SC1, fitted size: index y * W + x of the source pixel
};

Reference makeReference(int w, int h, int nLabelW, int nLabelH)
{
    Reference ref;
    const double dFrame = double(w) / h;
    const double dLabel = double(nLabelW) / nLabelH;
    const int nDrawW = dFrame > dLabel ? nLabelW : int(dFrame * nLabelH);
    const int nDrawH = dFrame > dLabel ? int(nLabelW / dFrame) : nLabelH;
    ref.fitted = QRect((nLabelW - nDrawW) / 2, (nLabelH - nDrawH) / 2, nDrawW, nDrawH);
    if (nDrawW > 0 && nDrawH > 0) {
        cv::Mat index(h, w, CV_32SC1);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                index.at<int>(y, x) = y * w + x;
        cv::resize(index, ref.source, cv::Size(nDrawW, nDrawH), 0, 0, cv::INTER_NEAREST_EXACT);
    }
    return ref;
}

enum class Background
{
    White,    // the live thread and the single frame fill the label white first
    Unchecked // the preview does not fill its picture
};

// Compares a composed picture with the reference. Empty when they agree,
// else the number of wrong pixels and the first few.
QString compare(const QImage& composedIn, const cv::Mat& frame, const Reference& ref, Background background,
                const QRect& ignored = QRect())
{
    const QImage composed = composedIn.convertToFormat(QImage::Format_RGB32);
    const int nLabelW = composed.width();
    const int nLabelH = composed.height();
    const QRgb red = qRgb(255, 0, 0);
    const QRgb white = qRgb(255, 255, 255);
    int nWrong = 0;
    QStringList first;
    auto wrong = [&](int x, int y, QRgb got, const QString& wanted) {
        if (++nWrong <= 4)
            first << QStringLiteral("(%1,%2) is #%3, wanted %4")
                         .arg(x)
                         .arg(y)
                         .arg(got & 0xFFFFFF, 6, 16, QLatin1Char('0'))
                         .arg(wanted);
    };
    for (int y = 0; y < nLabelH; ++y) {
        const auto* pLine = reinterpret_cast<const QRgb*>(composed.constScanLine(y));
        for (int x = 0; x < nLabelW; ++x) {
            const QRgb got = pLine[x] | 0xFF000000u;
            if (y == nLabelH / 2 || x == nLabelW / 2) {
                if (got != red)
                    wrong(x, y, got, QStringLiteral("the red crosshair"));
                continue;
            }
            if (ignored.contains(x, y))
                continue;
            if (!ref.fitted.contains(x, y)) {
                if (background == Background::White && got != white)
                    wrong(x, y, got, QStringLiteral("white"));
                continue;
            }
            const int nIndex = ref.source.at<int>(y - ref.fitted.top(), x - ref.fitted.left());
            const int sx = nIndex % frame.cols;
            const int sy = nIndex / frame.cols;
            if (got == framePixel(frame, sx, sy))
                continue;
            bool bNeighbour = false;
            for (int dy = -1; dy <= 1 && !bNeighbour; ++dy)
                for (int dx = -1; dx <= 1 && !bNeighbour; ++dx) {
                    const int nx = sx + dx;
                    const int ny = sy + dy;
                    bNeighbour = nx >= 0 && ny >= 0 && nx < frame.cols && ny < frame.rows
                                 && got == framePixel(frame, nx, ny);
                }
            if (!bNeighbour)
                wrong(x, y, got,
                      QStringLiteral("source pixel (%1,%2) #%3 or a neighbour")
                          .arg(sx)
                          .arg(sy)
                          .arg(framePixel(frame, sx, sy) & 0xFFFFFF, 6, 16, QLatin1Char('0')));
        }
    }
    if (nWrong == 0)
        return QString();
    return QStringLiteral("%1 wrong pixels: %2").arg(nWrong).arg(first.join(QStringLiteral("; ")));
}

// The sizes: every width from 1 to 17 (every remainder of a row's bytes
// modulo 4, in both depths) and odd larger ones, each at heights 1, 2, 3,
// 480 and 801, gray and colour.
void addSizeRows()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("colour");
    QVector<int> widths;
    for (int w = 1; w <= 17; ++w)
        widths << w;
    widths << 641 << 1001 << 1279 << 2047 << 4097;
    for (bool bColour : {false, true})
        for (int h : {1, 2, 3, 480, 801})
            for (int w : widths)
                QTest::newRow(qPrintable(QStringLiteral("%1x%2 %3").arg(w).arg(h).arg(bColour ? "colour" : "gray")))
                    << w << h << bColour;
}

} // namespace

class TestFrameSizes : public QObject
{
    Q_OBJECT

private:
    // Gives the host's camera the coded picture at this size and returns it.
    cv::Mat showCodedFrame(int w, int h, bool bColour)
    {
        hostsim::SimCamera* pCamera = HostSim::camera(0);
        pCamera->setFrameSize(w, h);
        pCamera->setColour(bColour);
        const cv::Mat frame = codedFrame(w, h, bColour);
        pCamera->setPicture(toQImage(frame));
        return frame;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        freshHost(m_dir);
        HostSim::journal().setEnabled(false);
        m_pThread.reset(new HXL_RefreshCameraThread());
        m_pThread->SetShowLabel(&m_label);
    }

    void cleanupTestCase()
    {
        m_pThread->ReleaseBuffer();
        m_pThread.reset();
        m_pPreview.reset();
        HostSim::journal().setEnabled(true);
    }

    // The premise of the comparisons: the camera delivers the test picture
    // pixel for pixel.
    void cameraDeliversTheCodedPicture_data() { addSizeRows(); }
    void cameraDeliversTheCodedPicture()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(bool, colour);
        const cv::Mat frame = showCodedFrame(width, height, colour);
        const cv::Mat delivered = HostSim::camera(0)->renderFrame();
        QCOMPARE(delivered.type(), frame.type());
        QCOMPARE(cv::norm(delivered, frame, cv::NORM_INF), 0.0);
    }

    // The live thread's frame (buffer, grab, composition), then a single
    // frame grabbed into that buffer as host event 1205 does.
    void liveAndSingleFrame_data() { addSizeRows(); }
    void liveAndSingleFrame()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(bool, colour);
        const cv::Mat frame = showCodedFrame(width, height, colour);
        for (const QSize& label : kLabels) {
            const QString strLabel = QStringLiteral(" (label %1x%2): ").arg(label.width()).arg(label.height());
            const Reference ref = makeReference(width, height, label.width(), label.height());
            m_label.resize(label);

            QImage live;
            QCOMPARE(m_pThread->GrabLiveFrame(live), HXL_RefreshCameraThread::LiveFrame::Composed);
            QCOMPARE(live.size(), label);
            QString strWhy = compare(live, frame, ref, Background::White);
            QVERIFY2(strWhy.isEmpty(), qPrintable(QStringLiteral("live") + strLabel + strWhy));

            QPixmap single;
            QCOMPARE(m_pThread->GrabOneFrame(single), 0);
            QCOMPARE(single.size(), label);
            strWhy = compare(single.toImage(), frame, ref, Background::White);
            QVERIFY2(strWhy.isEmpty(), qPrintable(QStringLiteral("single frame") + strLabel + strWhy));
        }
        // Room for every row as the camera writes it: padded to 4 bytes.
        QVERIFY(m_pThread->bufferBytes() >= (width * (colour ? 3 : 1) + 3) / 4 * 4 * height);
    }

    void fullScreenPreview_data() { addSizeRows(); }
    void fullScreenPreview()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(bool, colour);
        if (!m_pPreview)
            m_pPreview.reset(new ZKFullScreenUI(nullptr));
        const cv::Mat frame = showCodedFrame(width, height, colour);
        // The preview writes its hint in red from (20, 20) over the picture:
        // its line, with a margin for the smoothed edges of the letters.
        const QFontMetrics metrics(QGuiApplication::font());
        const QRect hint(20 - 4, 20 - metrics.ascent() - 4,
                         metrics.horizontalAdvance(ZKFullScreenUI::tr("Print Esc or DoubleClickMouse to exit!")) + 8,
                         metrics.height() + 8);
        HXLDisplayLabel* pLabel = m_pPreview->showLabel();
        for (const QSize& label : kLabels) {
            pLabel->setGeometry(QRect(QPoint(0, 0), label));
            QTimerEvent tick(m_pPreview->timerId());
            QCoreApplication::sendEvent(m_pPreview.get(), &tick);
            const QPixmap shown = labelPixmap(pLabel);
            QCOMPARE(shown.size(), label);
            const QString strWhy = compare(shown.toImage(), frame, makeReference(width, height, label.width(), label.height()),
                                           Background::Unchecked, hint);
            QVERIFY2(strWhy.isEmpty(), qPrintable(QStringLiteral("preview (label %1x%2): ")
                                                      .arg(label.width())
                                                      .arg(label.height())
                                                  + strWhy));
        }
    }

    // The panel as the demo shows it, at the sizes an operator reported
    // sheared: the live picture that reaches the panel's label.
    void panelLivePictureAtOddSizes_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("colour");
        QTest::newRow("1001x801 gray") << 1001 << 801 << false;
        QTest::newRow("1003x601 colour") << 1003 << 601 << true;
    }
    void panelLivePictureAtOddSizes()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(bool, colour);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        freshHost(dir);
        HostSim::journal().setEnabled(false);
        const cv::Mat frame = showCodedFrame(width, height, colour);
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QVERIFY(QTest::qWaitForWindowExposed(pPanel.get()));
        // A picture composed after the panel took its final size.
        const QSize labelSize = pPanel->m_pShowLabel->size();
        QTRY_VERIFY_WITH_TIMEOUT(labelPixmap(pPanel->m_pShowLabel).size() == labelSize, 10000);
        const QImage shown = labelPixmap(pPanel->m_pShowLabel).toImage();
        const QString strWhy =
            compare(shown, frame, makeReference(width, height, shown.width(), shown.height()), Background::White);
        QVERIFY2(strWhy.isEmpty(), qPrintable(strWhy));
        pPanel.reset();
        freshHost(m_dir);
        HostSim::journal().setEnabled(false);
    }

private:
    QTemporaryDir m_dir;
    QWidget m_label;
    std::unique_ptr<HXL_RefreshCameraThread> m_pThread;
    std::unique_ptr<ZKFullScreenUI> m_pPreview;
};

QTEST_MAIN(TestFrameSizes)
#include "tst_frame_sizes.moc"
