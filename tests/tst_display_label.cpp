// The picture label of the camera panel: the picture fitted into the label,
// the calibration and selected search ranges drawn over it, the selected range
// drawn anew, moved and resized with the mouse, and the right click that
// brings the clicked picture point under the camera.
//
// Unless a test says otherwise the label is 640 x 480 and the simulated camera
// delivers 1280 x 1024 frames, so the fitted picture is 600 x 480 at x = 20:
// picture rectangle x 20..620, y 0..480, centre (320, 240). A fresh settings
// file holds a zero range, which the label shows as the middle 80 %:
// selection x 80..560, y 48..432.

#include "MouseTestSupport.h"

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "display/HXLDisplayLabel.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/SimCamera.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"

#include "StdoutCapture.h"

#include <QApplication>
#include <QMetaMethod>
#include <QMouseEvent>
#include <QPixmap>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <memory>

using hostsim::HostSim;
using namespace mouse_test;

namespace {

const QColor kCalibGreen(0, 100, 0);
const QColor kIdleBlue(0, 0, 153);
const QColor kEditYellow(255, 255, 0);
const QColor kHandleRed(255, 0, 0);

// Press, drag through the end point, release there.
void drawRange(QWidget* w, QPoint from, QPoint to)
{
    leftPress(w, from);
    leftDrag(w, to);
    leftRelease(w, to);
}

void click(QWidget* w, QPoint p)
{
    leftPress(w, p);
    leftRelease(w, p);
}

QImage render(QWidget* w)
{
    return w->grab().toImage().convertToFormat(QImage::Format_RGB32);
}

int countColour(const QImage& image, const QColor& colour, QRect area = QRect())
{
    if (area.isNull())
        area = image.rect();
    area &= image.rect();
    const QRgb wanted = colour.rgb();
    int n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (image.pixel(x, y) == wanted)
                ++n;
    return n;
}

// First and last column of a row (or row of a column) holding the colour; -1 when none.
QPair<int, int> spanInRow(const QImage& image, int y, const QColor& colour)
{
    int first = -1, last = -1;
    for (int x = 0; x < image.width(); ++x) {
        if (image.pixel(x, y) == colour.rgb()) {
            if (first < 0)
                first = x;
            last = x;
        }
    }
    return {first, last};
}

QPair<int, int> spanInColumn(const QImage& image, int x, const QColor& colour)
{
    int first = -1, last = -1;
    for (int y = 0; y < image.height(); ++y) {
        if (image.pixel(x, y) == colour.rgb()) {
            if (first < 0)
                first = y;
            last = y;
        }
    }
    return {first, last};
}

// The numbers of a journal line "Name(a, b, ...)".
QVector<double> journalArgs(const QString& strLine)
{
    QVector<double> values;
    const int open = strLine.indexOf(QLatin1Char('('));
    const int close = strLine.indexOf(QLatin1Char(')'), open);
    const QStringList parts = strLine.mid(open + 1, close - open - 1).split(QLatin1Char(','));
    for (const QString& part : parts)
        values << part.trimmed().toDouble();
    return values;
}

QString lastSetSelected()
{
    const QStringList lines =
        HostSim::journal().linesStartingWith(QStringLiteral("Dll_HXL_VisionFeature_SetSearchRangeSelectedPer("));
    return lines.isEmpty() ? QString() : lines.last();
}

bool near(double a, double b, double tolerance = 1e-9)
{
    return qAbs(a - b) <= tolerance;
}

} // namespace

class TestDisplayLabel : public QObject
{
    Q_OBJECT

private:
    // A shown label of the given size with a white picture on it, as the
    // panel shows it; showing delivers its first resize.
    std::unique_ptr<HXLDisplayLabel> makeLabel(int w = 640, int h = 480)
    {
        auto label = std::make_unique<HXLDisplayLabel>(nullptr);
        QPixmap picture(w, h);
        picture.fill(Qt::white);
        label->setPixmap(picture);
        label->resize(w, h);
        label->show();
        if (!QTest::qWaitForWindowExposed(label.get()))
            qWarning("label not exposed");
        return label;
    }

    // Clicks on the left edge of the default selection: edit status.
    void enterEditStatus(HXLDisplayLabel* pLabel, QPoint onOutline = QPoint(80, 240))
    {
        click(pLabel, onOutline);
        QVERIFY(pLabel->isEditStatus());
    }

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
        HXL_CameraUI_ReadParam();
        dPerMinX = dPerMaxX = dPerMinY = dPerMaxY = 0.0;
        g_bSkipContextMenu = false;
        HostSim::setSearchRangeCalibPer(0.2, 0.8, 0.2, 0.8);
    }

    // --- interface -------------------------------------------------------------

    void metaObjectDeclaresSixSignalsInOrder()
    {
        const QMetaObject& mo = HXLDisplayLabel::staticMetaObject;
        QCOMPARE(mo.className(), "HXLDisplayLabel");
        QCOMPARE(mo.superClass(), &QLabel::staticMetaObject);
        const QStringList expected = {QStringLiteral("sigClicked(QPoint)"),  QStringLiteral("sigRMouseDown(QPoint)"),
                                      QStringLiteral("sigLMouseUp(QPoint)"), QStringLiteral("sigRMouseUp(QPoint)"),
                                      QStringLiteral("sigDbClicked()"),      QStringLiteral("sigMouseMove(QPoint)")};
        QStringList actual;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            const QMetaMethod method = mo.method(i);
            QCOMPARE(method.methodType(), QMetaMethod::Signal);
            actual << QString::fromLatin1(method.methodSignature());
            if (method.parameterCount() == 1)
                QCOMPARE(method.parameterNames(), QList<QByteArray>{QByteArray("pt")});
            else
                QCOMPARE(method.parameterCount(), 0);
        }
        QCOMPARE(actual, expected);
    }

    void constructionMakesThreePolylinesAndTracksTheMouse()
    {
        dPerMinX = 0.11;
        dPerMaxX = 0.22;
        dPerMinY = 0.33;
        dPerMaxY = 0.44;
        const int nLiveBefore = hostsim::SimPolyline::liveCount();
        HostSim::journal().clear();
        {
            QWidget parent;
            auto* pLabel = new HXLDisplayLabel(&parent);
            QCOMPARE(HostSim::journal().count(QStringLiteral("IZKEntityFactory::CreatePolyline()")), 3);
            QCOMPARE(hostsim::SimPolyline::liveCount(), nLiveBefore + 3);
            QVERIFY(pLabel->testAttribute(Qt::WA_MouseTracking));
            QCOMPARE(pLabel->windowType(), Qt::Widget);
            QCOMPARE(pLabel->hitHandle(), -1);
            QVERIFY(!pLabel->isEditStatus());
            QVERIFY(!pLabel->isDrawing());
            QCOMPARE(pLabel->m_dSelectPer[0], 0.11);
            QCOMPARE(pLabel->m_dSelectPer[1], 0.22);
            QCOMPARE(pLabel->m_dSelectPer[2], 0.33);
            QCOMPARE(pLabel->m_dSelectPer[3], 0.44);
            // Nothing exists before the first fit.
            QVERIFY(pLabel->imageRect().isNull());
            QVERIFY(pLabel->selectRect().isNull());
        }
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKGePolyline::Release()")), 3);
        QCOMPARE(hostsim::SimPolyline::liveCount(), nLiveBefore);
    }

    void onlyTheDoubleClickSignalIsEmitted()
    {
        auto label = makeLabel();
        QSignalSpy clicked(label.get(), &HXLDisplayLabel::sigClicked);
        QSignalSpy rDown(label.get(), &HXLDisplayLabel::sigRMouseDown);
        QSignalSpy lUp(label.get(), &HXLDisplayLabel::sigLMouseUp);
        QSignalSpy rUp(label.get(), &HXLDisplayLabel::sigRMouseUp);
        QSignalSpy moved(label.get(), &HXLDisplayLabel::sigMouseMove);
        QSignalSpy dbl(label.get(), &HXLDisplayLabel::sigDbClicked);

        drawRange(label.get(), QPoint(100, 100), QPoint(200, 200));
        hover(label.get(), QPoint(300, 300));
        rightPress(label.get(), QPoint(320, 240));
        rightRelease(label.get(), QPoint(320, 240));
        QTest::mouseDClick(label.get(), Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));

        QCOMPARE(clicked.count(), 0);
        QCOMPARE(rDown.count(), 0);
        QCOMPARE(lUp.count(), 0);
        QCOMPARE(rUp.count(), 0);
        QCOMPARE(moved.count(), 0);
        QCOMPARE(dbl.count(), 1);
    }

    // --- the fitted picture -------------------------------------------------------------

    void fitsThePictureIntoTheLabel_data()
    {
        QTest::addColumn<QSize>("camera");
        QTest::addColumn<bool>("zeroSize");
        QTest::addColumn<QSize>("labelSize");
        QTest::addColumn<QRect>("fitted");
        QTest::newRow("1280x1024 in 640x480") << QSize(1280, 1024) << false << QSize(640, 480) << QRect(20, 0, 600, 480);
        QTest::newRow("wide picture") << QSize(1600, 800) << false << QSize(640, 480) << QRect(0, 80, 640, 320);
        QTest::newRow("unknown size counts as 1280x1024") << QSize(1600, 800) << true << QSize(640, 480)
                                                           << QRect(20, 0, 600, 480);
        QTest::newRow("odd margin rounds down") << QSize(1000, 1000) << false << QSize(641, 480) << QRect(80, 0, 480, 480);
        // 640 / (1000 / 701) = 448.64, truncated to 448.
        QTest::newRow("height truncated") << QSize(1000, 701) << false << QSize(640, 480) << QRect(0, 16, 640, 448);
    }
    void fitsThePictureIntoTheLabel()
    {
        QFETCH(QSize, camera);
        QFETCH(bool, zeroSize);
        QFETCH(QSize, labelSize);
        QFETCH(QRect, fitted);
        HostSim::camera(0)->setFrameSize(camera.width(), camera.height());
        HostSim::camera(0)->setZeroSize(zeroSize);
        // The calibration range covering the whole picture outlines it.
        HostSim::setSearchRangeCalibPer(0.0, 1.0, 0.0, 1.0);

        auto label = makeLabel(labelSize.width(), labelSize.height());
        const QRectF image = label->imageRect();
        QCOMPARE(image, QRectF(fitted.x(), fitted.y(), fitted.width(), fitted.height()));
        QCOMPARE(label->calibRect(), image);

        const QImage shot = render(label.get());
        const QPair<int, int> row = spanInRow(shot, fitted.y() + fitted.height() / 2, kCalibGreen);
        QVERIFY2(qAbs(row.first - fitted.x()) <= 1, qPrintable(QString::number(row.first)));
        QVERIFY2(qAbs(row.second - qMin(fitted.x() + fitted.width(), labelSize.width() - 1)) <= 1,
                 qPrintable(QString::number(row.second)));
        const QPair<int, int> column = spanInColumn(shot, fitted.x() + fitted.width() / 2, kCalibGreen);
        QVERIFY2(qAbs(column.first - fitted.y()) <= 1, qPrintable(QString::number(column.first)));
        QVERIFY2(qAbs(column.second - qMin(fitted.y() + fitted.height(), labelSize.height() - 1)) <= 1,
                 qPrintable(QString::number(column.second)));
        // Nothing green outside the picture.
        if (fitted.x() > 2)
            QCOMPARE(countColour(shot, kCalibGreen, QRect(0, 0, fitted.x() - 2, labelSize.height())), 0);
        if (fitted.y() > 2)
            QCOMPARE(countColour(shot, kCalibGreen, QRect(0, 0, labelSize.width(), fitted.y() - 2)), 0);
    }

    void resizingTheLabelFitsAgain()
    {
        auto label = makeLabel();
        QCOMPARE(label->imageRect(), QRectF(20, 0, 600, 480));
        label->resize(800, 480);
        QCOMPARE(label->imageRect(), QRectF(100, 0, 600, 480));
        QCOMPARE(label->selectRect(), QRectF(160, 48, 480, 384));
    }

    void withoutCameraNothingIsDrawn()
    {
        HostSim::removeAllCameras();
        HostSim::journal().clear();
        auto label = makeLabel();
        QVERIFY(label->imageRect().isNull());
        QVERIFY(label->calibRect().isNull());
        QVERIFY(label->selectRect().isNull());
        QVERIFY(HostSim::journal().indexOf(QStringLiteral("IZKVisionCameraManager::GetCamera(")) < 0);

        const QImage shot = render(label.get());
        QCOMPARE(countColour(shot, kCalibGreen), 0);
        QCOMPARE(countColour(shot, kIdleBlue), 0);
        QCOMPARE(countColour(shot, kEditYellow), 0);
        QCOMPARE(countColour(shot, kHandleRed), 0);
        QCOMPARE(countColour(shot, Qt::white), 640 * 480);

        // A range drawn on no picture is not committed, and clicks do not move the machine.
        HostSim::journal().clear();
        drawRange(label.get(), QPoint(100, 100), QPoint(300, 300));
        QVERIFY(lastSetSelected().isEmpty());
        QCOMPARE(dPerMaxX, 0.0);
        rightPress(label.get(), QPoint(400, 100));
        QCOMPARE(HostSim::journal().count(QStringLiteral("HXL_MachineMoveTo(")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("HXL_GetCurPos(")), 0);
        QVERIFY(!label->isEditStatus());
        QCOMPARE(countColour(render(label.get()), kIdleBlue), 0);
    }

    void losingTheCameraKeepsTheLastPicture()
    {
        auto label = makeLabel();
        HostSim::removeAllCameras();
        label->resize(800, 600);
        label->UpdateImageRect();
        QCOMPARE(label->imageRect(), QRectF(20, 0, 600, 480));
        QVERIFY(countColour(render(label.get()), kCalibGreen) > 0);
    }

    // --- fractions ------------------------------------------------------------------------

    void unsetFractionsTakeTheirDefault_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<double>("value");
        QTest::addColumn<double>("expected");
        const double defaults[4] = {0.1, 0.9, 0.1, 0.9};
        const char* names[4] = {"left", "right", "bottom", "top"};
        for (int i = 0; i < 4; ++i) {
            const QByteArray n(names[i]);
            QTest::newRow(n + " zero") << i << 0.0 << defaults[i];
            QTest::newRow(n + " 0.0000005") << i << 0.0000005 << defaults[i];
            QTest::newRow(n + " upper bound 0.000001") << i << 0.000001 << defaults[i];
            QTest::newRow(n + " lower bound -0.00001") << i << -0.00001 << defaults[i];
            QTest::newRow(n + " -0.00002 kept") << i << -0.00002 << -0.00002;
            QTest::newRow(n + " 0.000002 kept") << i << 0.000002 << 0.000002;
        }
    }
    void unsetFractionsTakeTheirDefault()
    {
        QFETCH(int, index);
        QFETCH(double, value);
        QFETCH(double, expected);
        double per[4] = {0.3, 0.7, 0.25, 0.75};
        per[index] = value;
        dPerMinX = per[0];
        dPerMaxX = per[1];
        dPerMinY = per[2];
        dPerMaxY = per[3];
        auto label = makeLabel();
        HostSim::journal().clear();
        label->resizeEvent(nullptr);

        QCOMPARE(label->m_dSelectPer[index], expected);
        const QVector<double> sent = journalArgs(lastSetSelected());
        QCOMPARE(sent.size(), 4);
        QVERIFY(near(sent[index], expected));

        // The same rule when the panel writes the fractions and rebuilds.
        label->m_dSelectPer[0] = 0.3;
        label->m_dSelectPer[1] = 0.7;
        label->m_dSelectPer[2] = 0.25;
        label->m_dSelectPer[3] = 0.75;
        label->m_dSelectPer[index] = value;
        label->UpdateSelectRect();
        QCOMPARE(label->m_dSelectPer[index], expected);
    }

    void fractionsCountYUpwardFromTheBottom_data()
    {
        QTest::addColumn<QSize>("camera");
        QTest::addColumn<QVector<double>>("per");
        QTest::addColumn<QRectF>("selection");
        QTest::newRow("middle 80 %") << QSize(1280, 1024) << QVector<double>{0.1, 0.9, 0.1, 0.9}
                                     << QRectF(QPointF(80, 48), QPointF(560, 432));
        QTest::newRow("lopsided") << QSize(1280, 1024) << QVector<double>{0.25, 0.5, 0.2, 0.7}
                                  << QRectF(QPointF(170, 144), QPointF(320, 384));
        QTest::newRow("picture with top margin") << QSize(1600, 800) << QVector<double>{0.1, 0.9, 0.1, 0.9}
                                                 << QRectF(QPointF(64, 112), QPointF(576, 368));
    }
    void fractionsCountYUpwardFromTheBottom()
    {
        QFETCH(QSize, camera);
        QFETCH(QVector<double>, per);
        QFETCH(QRectF, selection);
        HostSim::camera(0)->setFrameSize(camera.width(), camera.height());
        dPerMinX = per[0];
        dPerMaxX = per[1];
        dPerMinY = per[2];
        dPerMaxY = per[3];
        auto label = makeLabel();
        const QRectF actual = label->selectRect();
        QVERIFY2(near(actual.left(), selection.left(), 1e-6) && near(actual.top(), selection.top(), 1e-6)
                     && near(actual.right(), selection.right(), 1e-6)
                     && near(actual.bottom(), selection.bottom(), 1e-6),
                 qPrintable(QStringLiteral("%1,%2 %3x%4").arg(actual.x()).arg(actual.y()).arg(actual.width()).arg(actual.height())));

        // The edges are drawn where the fractions put them, and nothing just outside.
        const QImage shot = render(label.get());
        const int left = int(selection.left()) + 10;
        const int width = int(selection.width()) - 20;
        const int top = int(selection.top());
        const int bottom = int(selection.bottom());
        QVERIFY(countColour(shot, kIdleBlue, QRect(left, top - 1, width, 3)) > width / 2);
        QCOMPARE(countColour(shot, kIdleBlue, QRect(left, top - 6, width, 4)), 0);
        QVERIFY(countColour(shot, kIdleBlue, QRect(left, bottom - 1, width, 3)) > width / 2);
        QCOMPARE(countColour(shot, kIdleBlue, QRect(left, bottom + 3, width, 4)), 0);
    }

    void calibrationRangeKeepsZeros()
    {
        HostSim::setSearchRangeCalibPer(0.0, 0.0, 0.0, 0.0);
        auto label = makeLabel();
        // No defaults for the host's range: it collapses to the bottom-left corner.
        QCOMPARE(label->calibRect(), QRectF(20, 480, 0, 0));

        HostSim::setSearchRangeCalibPer(0.2, 0.8, 0.3, 0.6);
        label->resizeEvent(nullptr);
        QCOMPARE(label->calibRect(), QRectF(QPointF(140, 192), QPointF(500, 336)));
        const QImage shot = render(label.get());
        QVERIFY(countColour(shot, kCalibGreen, QRect(140, 191, 361, 3)) > 300); // solid top edge
    }

    void resizeReadsSettingsAndHostThenSendsTheRange()
    {
        auto label = makeLabel();
        dPerMinX = 0.2;
        dPerMaxX = 0.6;
        dPerMinY = 0.3;
        dPerMaxY = 0.5;
        label->m_dSelectPer[0] = 0.9; // replaced by the settings
        HostSim::journal().clear();
        label->resizeEvent(nullptr);

        QCOMPARE(label->m_dSelectPer[0], 0.2);
        QCOMPARE(label->selectRect(), QRectF(QPointF(140, 240), QPointF(380, 336)));
        const int nCalib = HostSim::journal().indexOf(QStringLiteral("Dll_HXL_VisionFeature_GetSearchRangeCalibPer()"));
        const int nCount = HostSim::journal().indexOf(QStringLiteral("IZKVisionCameraManager::GetCameraCount()"));
        const int nSet = HostSim::journal().indexOf(QStringLiteral("Dll_HXL_VisionFeature_SetSearchRangeSelectedPer("));
        QVERIFY(nCalib >= 0);
        QVERIFY(nCalib < nCount);
        QVERIFY(nCount < nSet);
        QCOMPARE(journalArgs(lastSetSelected()), (QVector<double>{0.2, 0.6, 0.3, 0.5}));
        // A resize alone does not change the committed settings.
        QCOMPARE(dPerMaxX, 0.6);
    }

    void resizeClampsTheSelectionIntoThePicture()
    {
        dPerMinX = -0.5;
        dPerMaxX = 1.5;
        dPerMinY = 0.5;
        dPerMaxY = 2.0;
        auto label = makeLabel();
        QCOMPARE(label->selectRect(), QRectF(QPointF(20, 0), QPointF(620, 240)));
        // The fractions themselves are sent as they were.
        QCOMPARE(journalArgs(lastSetSelected()), (QVector<double>{-0.5, 1.5, 0.5, 2.0}));
    }

    void updateSelectRectNeedsAPicture()
    {
        HostSim::removeAllCameras();
        auto label = makeLabel();
        label->UpdateSelectRect();
        QCOMPARE(label->m_dSelectPer[0], 0.0); // no default without a picture
        QVERIFY(label->selectRect().isNull());
    }

    void updateSelectRectUsesThePanelsFractions()
    {
        auto label = makeLabel();
        HostSim::journal().clear();
        label->m_dSelectPer[0] = 0.5;
        label->m_dSelectPer[1] = 0.6;
        label->m_dSelectPer[2] = 0.5;
        label->m_dSelectPer[3] = 0.6;
        label->UpdateSelectRect();
        QCOMPARE(label->selectRect(), QRectF(QPointF(320, 192), QPointF(380, 240)));
        QVERIFY(lastSetSelected().isEmpty());
    }

    void saveSelectPerCommitsToTheSettings()
    {
        auto label = makeLabel();
        label->m_dSelectPer[0] = 0.15;
        label->m_dSelectPer[1] = 0.35;
        label->m_dSelectPer[2] = 0.45;
        label->m_dSelectPer[3] = 0.55;
        label->SaveSelectPer();
        QCOMPARE(dPerMinX, 0.15);
        QCOMPARE(dPerMaxX, 0.35);
        QCOMPARE(dPerMinY, 0.45);
        QCOMPARE(dPerMaxY, 0.55);
    }

    // --- drawing a new range ------------------------------------------------------------

    void dragRightAndDownDrawsARange_data()
    {
        QTest::addColumn<QPoint>("from");
        QTest::addColumn<QPoint>("to");
        QTest::addColumn<bool>("drawn");
        QTest::addColumn<QRectF>("selection");
        QTest::newRow("4 px right and down") << QPoint(100, 100) << QPoint(104, 104) << true
                                             << QRectF(QPointF(100, 100), QPointF(104, 104));
        QTest::newRow("3 px is a click") << QPoint(100, 100) << QPoint(103, 103) << false << QRectF();
        QTest::newRow("4 right, 3 down is a click") << QPoint(100, 100) << QPoint(104, 103) << false << QRectF();
        QTest::newRow("leftward never draws") << QPoint(300, 300) << QPoint(200, 400) << false << QRectF();
        QTest::newRow("upward never draws") << QPoint(300, 300) << QPoint(400, 200) << false << QRectF();
        QTest::newRow("up and left never draws") << QPoint(400, 400) << QPoint(200, 200) << false << QRectF();
        QTest::newRow("large") << QPoint(170, 120) << QPoint(470, 360) << true
                               << QRectF(QPointF(170, 120), QPointF(470, 360));
        QTest::newRow("clamped to the picture") << QPoint(5, 10) << QPoint(700, 600) << true
                                                << QRectF(QPointF(20, 10), QPointF(620, 480));
    }
    void dragRightAndDownDrawsARange()
    {
        QFETCH(QPoint, from);
        QFETCH(QPoint, to);
        QFETCH(bool, drawn);
        QFETCH(QRectF, selection);
        auto label = makeLabel();
        const QRectF before = label->selectRect();
        HostSim::journal().clear();

        drawRange(label.get(), from, to);

        QVERIFY(!label->isDrawing());
        if (!drawn) {
            QCOMPARE(label->selectRect(), before);
            QVERIFY(lastSetSelected().isEmpty());
            QCOMPARE(dPerMinX, 0.0);
            return;
        }
        QCOMPARE(label->selectRect(), selection);
        const double left = (selection.left() - 20) / 600.0;
        const double right = (selection.right() - 20) / 600.0;
        const double bottom = (480 - selection.bottom()) / 480.0;
        const double top = (480 - selection.top()) / 480.0;
        const QVector<double> sent = journalArgs(lastSetSelected());
        QCOMPARE(sent.size(), 4);
        QVERIFY(near(sent[0], left, 1e-9) && near(sent[1], right, 1e-9) && near(sent[2], bottom, 1e-9)
                && near(sent[3], top, 1e-9));
        QVERIFY(near(dPerMinX, left) && near(dPerMaxX, right) && near(dPerMinY, bottom) && near(dPerMaxY, top));
        QVERIFY(near(label->m_dSelectPer[0], left) && near(label->m_dSelectPer[3], top));
        double host[4];
        HostSim::searchRangeSelectedPer(host[0], host[1], host[2], host[3]);
        QVERIFY(near(host[0], left) && near(host[1], right) && near(host[2], bottom) && near(host[3], top));
    }

    void quarterRangeGivesQuarterFractions()
    {
        auto label = makeLabel();
        HostSim::journal().clear();
        drawRange(label.get(), QPoint(170, 120), QPoint(470, 360));
        QCOMPARE(lastSetSelected(),
                 QStringLiteral("Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(0.25, 0.75, 0.25, 0.75)"));
    }

    void releaseUsesTheLastMovePosition()
    {
        auto label = makeLabel();
        HostSim::journal().clear();
        // No move between press and release: the release point is not used.
        leftPress(label.get(), QPoint(100, 100));
        leftRelease(label.get(), QPoint(300, 300));
        QVERIFY(lastSetSelected().isEmpty());
        QCOMPARE(label->selectRect(), QRectF(80, 48, 480, 384));
    }

    void otherButtonsDoNotEndTheDrawing()
    {
        auto label = makeLabel();
        leftPress(label.get(), QPoint(100, 100));
        leftDrag(label.get(), QPoint(200, 200));
        sendMouse(label.get(), QEvent::MouseButtonRelease, Qt::MiddleButton, Qt::LeftButton, QPoint(200, 200));
        QVERIFY(label->isDrawing());
        leftRelease(label.get(), QPoint(200, 200));
        QVERIFY(!label->isDrawing());
        QCOMPARE(label->selectRect(), QRectF(QPointF(100, 100), QPointF(200, 200)));
    }

    void rubberBandReplacesTheSelectionWhileDrawing()
    {
        auto label = makeLabel();
        const QImage idle = render(label.get());
        QVERIFY(countColour(idle, kIdleBlue) > 200);
        QCOMPARE(countColour(idle, kEditYellow), 0);
        QVERIFY(countColour(idle, kCalibGreen) > 200);

        leftPress(label.get(), QPoint(150, 150));
        leftDrag(label.get(), QPoint(300, 250));
        QVERIFY(label->isDrawing());
        const QImage drawing = render(label.get());
        QCOMPARE(countColour(drawing, kIdleBlue), 0);
        QVERIFY(countColour(drawing, kEditYellow) > 100);
        QVERIFY(countColour(drawing, kCalibGreen) > 200);
        // The band runs along the press row.
        QVERIFY(countColour(drawing, kEditYellow, QRect(150, 149, 151, 3)) > 40);

        leftRelease(label.get(), QPoint(300, 250));
        const QImage after = render(label.get());
        QCOMPARE(countColour(after, kEditYellow), 0);
        QVERIFY(countColour(after, kIdleBlue, QRect(150, 149, 151, 3)) > 40);
    }

    // --- edit status ----------------------------------------------------------------------

    void clickNearTheOutlineEntersEditStatus_data()
    {
        QTest::addColumn<QPoint>("at");
        QTest::addColumn<bool>("enters");
        QTest::newRow("on the left edge") << QPoint(80, 240) << true;
        QTest::newRow("4 px outside") << QPoint(76, 240) << true;
        QTest::newRow("4 px inside") << QPoint(84, 240) << true;
        QTest::newRow("5 px outside") << QPoint(75, 240) << false;
        QTest::newRow("5 px inside") << QPoint(85, 240) << false;
        QTest::newRow("4 px below the bottom edge") << QPoint(300, 436) << true;
        QTest::newRow("5 px below the bottom edge") << QPoint(300, 437) << false;
        QTest::newRow("middle") << QPoint(320, 240) << false;
    }
    void clickNearTheOutlineEntersEditStatus()
    {
        QFETCH(QPoint, at);
        QFETCH(bool, enters);
        auto label = makeLabel();
        click(label.get(), at);
        QCOMPARE(label->isEditStatus(), enters);
        QCOMPARE(g_bSkipContextMenu, enters);
    }

    void editStatusLooksYellowWithRedHandles()
    {
        auto label = makeLabel();
        enterEditStatus(label.get());
        const QImage shot = render(label.get());
        QCOMPARE(countColour(shot, kIdleBlue), 0);
        QVERIFY(countColour(shot, kEditYellow) > 300);
        QVERIFY(countColour(shot, kCalibGreen) > 200);
        // A filled 6 x 6 handle on every corner and at the centre.
        const QList<QPoint> handles = {QPoint(80, 48), QPoint(560, 48), QPoint(560, 432), QPoint(80, 432),
                                       QPoint(320, 240)};
        for (const QPoint& h : handles) {
            for (int dy = -2; dy <= 2; ++dy)
                for (int dx = -2; dx <= 2; ++dx)
                    QCOMPARE(QColor(shot.pixel(h + QPoint(dx, dy))), kHandleRed);
            QVERIFY(QColor(shot.pixel(h + QPoint(7, 7))) != kHandleRed);
        }
        // No handle at the edge midpoints.
        QVERIFY(QColor(shot.pixel(320, 48)) != kHandleRed);
        // The hint in the top-left corner.
        QVERIFY(countColour(shot, kHandleRed, QRect(0, 0, 300, 30)) > 20);
    }

    void hoverInEditStatusPicksHandleAndCursor_data()
    {
        QTest::addColumn<QPoint>("at");
        QTest::addColumn<int>("handle");
        QTest::addColumn<int>("shape");
        QTest::newRow("centre") << QPoint(320, 240) << 1 << int(Qt::SizeAllCursor);
        QTest::newRow("centre 4 px off") << QPoint(324, 236) << 1 << int(Qt::SizeAllCursor);
        QTest::newRow("centre 5 px off") << QPoint(325, 240) << -1 << int(Qt::ArrowCursor);
        QTest::newRow("top-left") << QPoint(80, 48) << 2 << int(Qt::SizeFDiagCursor);
        QTest::newRow("top-left 1 px off") << QPoint(81, 49) << 2 << int(Qt::SizeFDiagCursor);
        QTest::newRow("top-left 2 px off") << QPoint(82, 48) << -1 << int(Qt::ArrowCursor);
        QTest::newRow("top midpoint") << QPoint(320, 48) << 3 << int(Qt::SizeVerCursor);
        QTest::newRow("top midpoint 9 px off") << QPoint(329, 57) << 3 << int(Qt::SizeVerCursor);
        QTest::newRow("top midpoint 10 px off") << QPoint(330, 48) << -1 << int(Qt::ArrowCursor);
        QTest::newRow("top-right") << QPoint(560, 48) << 4 << int(Qt::SizeBDiagCursor);
        QTest::newRow("right midpoint") << QPoint(560, 240) << 5 << int(Qt::SizeHorCursor);
        QTest::newRow("bottom-right") << QPoint(560, 432) << 6 << int(Qt::SizeFDiagCursor);
        QTest::newRow("bottom midpoint") << QPoint(320, 432) << 7 << int(Qt::SizeVerCursor);
        QTest::newRow("bottom-left") << QPoint(80, 432) << 8 << int(Qt::SizeBDiagCursor);
        QTest::newRow("left midpoint") << QPoint(80, 240) << 9 << int(Qt::SizeHorCursor);
        QTest::newRow("nowhere") << QPoint(200, 150) << -1 << int(Qt::ArrowCursor);
    }
    void hoverInEditStatusPicksHandleAndCursor()
    {
        QFETCH(QPoint, at);
        QFETCH(int, handle);
        QFETCH(int, shape);
        auto label = makeLabel();
        enterEditStatus(label.get());
        hover(label.get(), QPoint(200, 150));
        label->setCursor(Qt::CrossCursor);
        hover(label.get(), at);
        QCOMPARE(label->hitHandle(), handle);
        QCOMPARE(int(label->cursor().shape()), shape);
        QCOMPARE(label->HitTest(at), handle);
    }

    void hoverOutsideEditStatusShowsTheArrow()
    {
        auto label = makeLabel();
        label->setCursor(Qt::CrossCursor);
        hover(label.get(), QPoint(320, 240));
        QCOMPARE(label->cursor().shape(), Qt::ArrowCursor);
        QCOMPARE(label->hitHandle(), -1);
    }

    void midpointsWinOverCornersOnASmallRange_data()
    {
        // The range is x 100..120, y 100..120, centre (110, 110).
        QTest::addColumn<QPoint>("at");
        QTest::addColumn<int>("handle");
        QTest::addColumn<int>("shape");
        QTest::newRow("3 px from the corner, 7 from the top midpoint") << QPoint(103, 100) << 3 << int(Qt::SizeVerCursor);
        QTest::newRow("1 px from the corner") << QPoint(101, 101) << 3 << int(Qt::SizeVerCursor);
        QTest::newRow("5 px from corner and centre") << QPoint(105, 105) << 3 << int(Qt::SizeVerCursor);
        QTest::newRow("near the bottom midpoint") << QPoint(110, 112) << 7 << int(Qt::SizeVerCursor);
        QTest::newRow("corner itself, 10 px from the midpoints") << QPoint(100, 100) << 2 << int(Qt::SizeFDiagCursor);
        QTest::newRow("bottom-right corner") << QPoint(120, 120) << 6 << int(Qt::SizeFDiagCursor);
        QTest::newRow("centre, 10 px from every midpoint") << QPoint(110, 110) << 1 << int(Qt::SizeAllCursor);
    }
    void midpointsWinOverCornersOnASmallRange()
    {
        QFETCH(QPoint, at);
        QFETCH(int, handle);
        QFETCH(int, shape);
        auto label = makeLabel();
        drawRange(label.get(), QPoint(100, 100), QPoint(120, 120));
        QCOMPARE(label->selectRect(), QRectF(100, 100, 20, 20));
        enterEditStatus(label.get(), QPoint(100, 110));
        QCOMPARE(label->HitTest(at), handle);
        hover(label.get(), at);
        QCOMPARE(label->hitHandle(), handle);
        QCOMPARE(int(label->cursor().shape()), shape);
    }

    void moveTracesGoToStandardOutput()
    {
        auto label = makeLabel();
        {
            StdoutCapture capture;
            hover(label.get(), QPoint(10, 10));
            QCOMPARE(capture.take(), QByteArray("HXLDisplayLabel::mouseMoveEvent\n"));
        }
        enterEditStatus(label.get());
        {
            StdoutCapture capture;
            hover(label.get(), QPoint(10, 10));
            leftDrag(label.get(), QPoint(11, 11));
            QCOMPARE(capture.take(), QByteArray("HXLDisplayLabel::mouseMoveEvent\nm_IsSelect\n"
                                                "HXLDisplayLabel::mouseMoveEvent\nm_IsSelect\n"));
        }
    }

    void draggingTheCentreMovesTheRange()
    {
        auto label = makeLabel();
        enterEditStatus(label.get());
        hover(label.get(), QPoint(320, 240));
        QCOMPARE(label->hitHandle(), 1);
        leftPress(label.get(), QPoint(320, 240));
        leftDrag(label.get(), QPoint(370, 260));
        QCOMPARE(label->selectRect(), QRectF(130, 68, 480, 384));
        // Past the right edge: refused whole, not clipped.
        leftDrag(label.get(), QPoint(420, 260));
        QCOMPARE(label->selectRect(), QRectF(130, 68, 480, 384));
        // The refused step still moved the reference point.
        leftDrag(label.get(), QPoint(400, 260));
        QCOMPARE(label->selectRect(), QRectF(110, 68, 480, 384));
        leftRelease(label.get(), QPoint(400, 260));
        QVERIFY(label->isEditStatus());
        QCOMPARE(label->selectRect(), QRectF(110, 68, 480, 384));
    }

    void movingPastEachEdgeIsRefused_data()
    {
        QTest::addColumn<QPoint>("to");
        QTest::newRow("left") << QPoint(250, 240);
        QTest::newRow("right") << QPoint(390, 240);
        QTest::newRow("top") << QPoint(320, 190);
        QTest::newRow("bottom") << QPoint(320, 290);
    }
    void movingPastEachEdgeIsRefused()
    {
        QFETCH(QPoint, to);
        auto label = makeLabel();
        enterEditStatus(label.get());
        hover(label.get(), QPoint(320, 240));
        leftPress(label.get(), QPoint(320, 240));
        leftDrag(label.get(), to);
        QCOMPARE(label->selectRect(), QRectF(80, 48, 480, 384));
    }

    void draggingHandlesResizes_data()
    {
        QTest::addColumn<QPoint>("press");
        QTest::addColumn<QPoint>("to");
        QTest::addColumn<int>("handle");
        QTest::addColumn<QRectF>("selection");
        QTest::newRow("right midpoint ignores y") << QPoint(560, 240) << QPoint(600, 300) << 5
                                                  << QRectF(QPointF(80, 48), QPointF(600, 432));
        QTest::newRow("right midpoint past the edge stops at it") << QPoint(560, 240) << QPoint(700, 300) << 5
                                                                  << QRectF(QPointF(80, 48), QPointF(620, 432));
        QTest::newRow("top midpoint ignores x") << QPoint(320, 48) << QPoint(100, 100) << 3
                                                << QRectF(QPointF(80, 100), QPointF(560, 432));
        QTest::newRow("top-left past the corner") << QPoint(80, 48) << QPoint(-50, -50) << 2
                                                  << QRectF(QPointF(20, 0), QPointF(560, 432));
        QTest::newRow("bottom-right") << QPoint(560, 432) << QPoint(500, 400) << 6
                                      << QRectF(QPointF(80, 48), QPointF(500, 400));
        QTest::newRow("bottom-left") << QPoint(80, 432) << QPoint(100, 440) << 8
                                     << QRectF(QPointF(100, 48), QPointF(560, 440));
        QTest::newRow("left midpoint") << QPoint(80, 240) << QPoint(40, 10) << 9
                                       << QRectF(QPointF(40, 48), QPointF(560, 432));
        QTest::newRow("top-right") << QPoint(560, 48) << QPoint(600, 20) << 4
                                   << QRectF(QPointF(80, 20), QPointF(600, 432));
        QTest::newRow("bottom midpoint") << QPoint(320, 432) << QPoint(0, 470) << 7
                                         << QRectF(QPointF(80, 48), QPointF(560, 470));
        // Dragging the top edge below the bottom one flips the range; nothing refuses it.
        QTest::newRow("top midpoint past the bottom edge flips") << QPoint(320, 48) << QPoint(320, 480) << 3
                                                                  << QRectF(QPointF(80, 432), QPointF(560, 480));
    }
    void draggingHandlesResizes()
    {
        QFETCH(QPoint, press);
        QFETCH(QPoint, to);
        QFETCH(int, handle);
        QFETCH(QRectF, selection);
        auto label = makeLabel();
        enterEditStatus(label.get(), QPoint(200, 432));
        hover(label.get(), press);
        QCOMPARE(label->hitHandle(), handle);
        leftPress(label.get(), press);
        leftDrag(label.get(), to);
        const QRectF actual = label->selectRect();
        QVERIFY2(near(actual.left(), selection.left(), 1e-6) && near(actual.top(), selection.top(), 1e-6)
                     && near(actual.right(), selection.right(), 1e-6)
                     && near(actual.bottom(), selection.bottom(), 1e-6),
                 qPrintable(QStringLiteral("%1,%2 - %3,%4").arg(actual.left()).arg(actual.top()).arg(actual.right()).arg(actual.bottom())));
    }

    void resizePastTheEdgeIsClippedNotRefused()
    {
        auto label = makeLabel();
        enterEditStatus(label.get());
        // Grabbed 1 px inside the bottom-right corner: the scale overshoots
        // the picture and only the clamp keeps the range on it.
        hover(label.get(), QPoint(559, 431));
        QCOMPARE(label->hitHandle(), 6);
        leftPress(label.get(), QPoint(559, 431));
        leftDrag(label.get(), QPoint(700, 600));
        QCOMPARE(label->selectRect(), QRectF(QPointF(80, 48), QPointF(620, 480)));
        // Successive steps scale from the last drag point.
        leftDrag(label.get(), QPoint(350, 264));
        const QRectF r = label->selectRect();
        QVERIFY(near(r.right(), 350, 1e-6));
        QVERIFY(near(r.bottom(), 264, 1e-6));
    }

    void rightClickCommitsTheEditedRange()
    {
        auto label = makeLabel();
        enterEditStatus(label.get());
        hover(label.get(), QPoint(320, 240));
        leftPress(label.get(), QPoint(320, 240));
        leftDrag(label.get(), QPoint(350, 240));
        leftRelease(label.get(), QPoint(350, 240));
        QCOMPARE(dPerMinX, 0.0); // not committed while editing
        HostSim::journal().clear();

        rightPress(label.get(), QPoint(350, 240));
        rightRelease(label.get(), QPoint(350, 240));

        QVERIFY(!label->isEditStatus());
        // The panel's context menu handler clears this, not the label.
        QVERIFY(g_bSkipContextMenu);
        QCOMPARE(HostSim::journal().count(QStringLiteral("HXL_MachineMoveTo(")), 0);
        const QVector<double> sent = journalArgs(lastSetSelected());
        QCOMPARE(sent.size(), 4);
        QVERIFY(near(sent[0], 90.0 / 600) && near(sent[1], 570.0 / 600) && near(sent[2], 0.1)
                && near(sent[3], 0.9));
        QVERIFY(near(dPerMinX, 90.0 / 600) && near(dPerMaxX, 570.0 / 600) && near(dPerMinY, 0.1)
                && near(dPerMaxY, 0.9));
        QVERIFY(near(label->m_dSelectPer[0], 90.0 / 600));
        const QImage shot = render(label.get());
        QCOMPARE(countColour(shot, kEditYellow), 0);
        QVERIFY(countColour(shot, kIdleBlue) > 200);
    }

    void aDragInEditStatusDrawsNoNewRange()
    {
        auto label = makeLabel();
        enterEditStatus(label.get());
        HostSim::journal().clear();
        hover(label.get(), QPoint(200, 150)); // no handle
        leftPress(label.get(), QPoint(200, 150));
        leftDrag(label.get(), QPoint(300, 300));
        leftRelease(label.get(), QPoint(300, 300));
        QVERIFY(label->isEditStatus());
        QCOMPARE(label->selectRect(), QRectF(80, 48, 480, 384));
        QVERIFY(lastSetSelected().isEmpty());
    }

    // --- double clicks ----------------------------------------------------------------------

    void pressAfterADoubleClickIsSwallowedOnce()
    {
        auto label = makeLabel();
        QSignalSpy dbl(label.get(), &HXLDisplayLabel::sigDbClicked);
        // What a window system delivers: press, release, double click, release.
        leftPress(label.get(), QPoint(200, 200));
        leftRelease(label.get(), QPoint(200, 200));
        sendMouse(label.get(), QEvent::MouseButtonDblClick, Qt::LeftButton, Qt::LeftButton, QPoint(200, 200));
        QCOMPARE(dbl.count(), 1);
        // The press that the double click turns into starts no drawing...
        QVERIFY(!label->isDrawing());
        const QImage shot = render(label.get());
        QCOMPARE(countColour(shot, kEditYellow), 0);
        QVERIFY(countColour(shot, kIdleBlue) > 200);
        leftRelease(label.get(), QPoint(200, 200));
        // ...but the next one does.
        leftPress(label.get(), QPoint(150, 150));
        QVERIFY(label->isDrawing());
        leftDrag(label.get(), QPoint(250, 250));
        leftRelease(label.get(), QPoint(250, 250));
        QCOMPARE(label->selectRect(), QRectF(150, 150, 100, 100));
    }

    void doubleClickAloneSwallowsItsOwnPress()
    {
        auto label = makeLabel();
        QTest::mouseDClick(label.get(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 200));
        QVERIFY(!label->isDrawing());
        leftPress(label.get(), QPoint(200, 200));
        QVERIFY(label->isDrawing());
    }

    void rightDoubleClickIsFilteredOut()
    {
        auto label = makeLabel();
        QSignalSpy dbl(label.get(), &HXLDisplayLabel::sigDbClicked);
        HostSim::journal().clear();
        QTest::mouseDClick(label.get(), Qt::RightButton, Qt::NoModifier, QPoint(470, 120));
        QCOMPARE(dbl.count(), 0);
        // Nothing reached the press handler either: no machine move.
        QCOMPARE(HostSim::journal().count(QStringLiteral("HXL_MachineMoveTo(")), 0);
        // And no pending double click: the next left press starts drawing.
        leftPress(label.get(), QPoint(100, 100));
        QVERIFY(label->isDrawing());
    }

    // --- right click moves the machine -------------------------------------------------------

    void rightClickMovesThePointUnderTheCamera_data()
    {
        QTest::addColumn<QSize>("camera");
        QTest::addColumn<bool>("calibrated");
        QTest::addColumn<QPoint>("at");
        QTest::addColumn<QPointF>("target");
        // Machine at (10, 20). Calibrated extent: 0.02 mm per pixel.
        // 1280 x 1024: picture x 20..620, y 0..480; extent 25.6 x 20.48 mm.
        QTest::newRow("calibrated, up-right quarter") << QSize(1280, 1024) << true << QPoint(470, 120)
                                                      << QPointF(10 + 6.4, 20 + 5.12);
        QTest::newRow("calibrated, down-left") << QSize(1280, 1024) << true << QPoint(170, 360)
                                               << QPointF(10 - 6.4, 20 - 5.12);
        QTest::newRow("centre stays") << QSize(1280, 1024) << true << QPoint(320, 240) << QPointF(10, 20);
        // 1600 x 800: picture x 0..640, y 80..400; extent 32 x 16 mm.
        QTest::newRow("calibrated, wide picture") << QSize(1600, 800) << true << QPoint(480, 320)
                                                  << QPointF(10 + 8, 20 - 4);
        // No calibrated extent: 5 pixels per millimetre.
        QTest::newRow("uncalibrated") << QSize(1280, 1024) << false << QPoint(470, 120)
                                      << QPointF(10 + 1280 * 0.25 / 5, 20 + 1024 * 0.25 / 5);
        QTest::newRow("uncalibrated, wide picture") << QSize(1600, 800) << false << QPoint(480, 320)
                                                    << QPointF(10 + 1600 * 0.25 / 5, 20 - 800 * 0.25 / 5);
    }
    void rightClickMovesThePointUnderTheCamera()
    {
        QFETCH(QSize, camera);
        QFETCH(bool, calibrated);
        QFETCH(QPoint, at);
        QFETCH(QPointF, target);
        HostSim::camera(0)->setFrameSize(camera.width(), camera.height());
        HostSim::camera(0)->setCalibrated(calibrated);
        HostSim::machine().setPosition(10, 20);
        auto label = makeLabel();
        HostSim::journal().clear();

        rightPress(label.get(), at);

        hostsim::Journal& journal = HostSim::journal();
        const int nPos = journal.indexOf(QStringLiteral("HXL_GetCurPos("));
        const int nMove = journal.indexOf(QStringLiteral("HXL_MachineMoveTo("));
        const int nCam = journal.indexOf(QStringLiteral("MovableCam_SetCurMachineMmPos("));
        QVERIFY(nPos >= 0);
        QVERIFY(nPos < nMove);
        QCOMPARE(nCam, nMove + 1);
        QCOMPARE(journal.count(QStringLiteral("HXL_MachineMoveTo(")), 1);
        QVERIFY(journal.indexOf(QStringLiteral("IZKVisionCameraManager::GetCamerasCalImageBound()")) < nMove);

        const QStringList lines = journal.lines();
        const QVector<double> move = journalArgs(lines.at(nMove));
        const QVector<double> cam = journalArgs(lines.at(nCam));
        QVERIFY2(near(move[0], target.x(), 1e-6) && near(move[1], target.y(), 1e-6),
                 qPrintable(lines.at(nMove)));
        QCOMPARE(cam, move);
        double x = 0, y = 0;
        HostSim::machine().position(x, y);
        QVERIFY(near(x, target.x(), 1e-6) && near(y, target.y(), 1e-6));
        // Not a commit.
        QVERIFY(lastSetSelected().isEmpty());
        QVERIFY(!label->isEditStatus());
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestDisplayLabel)
#include "tst_display_label.moc"
