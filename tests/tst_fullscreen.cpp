// The full-screen preview and its opening from the panel.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "ZKFullScreenUI.h"
#include "display/HXLDisplayLabel.h"

#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"

#include <QPushButton>

using hostsim::HostSim;
using namespace panel_test;

namespace {
const QColor kFrameColour(20, 160, 90);

void solidCamera(int w, int h)
{
    HostSim::removeAllCameras();
    hostsim::CameraSetup setup;
    setup.width = w;
    setup.height = h;
    setup.source = hostsim::FrameSource::Solid;
    setup.solidColour = kFrameColour;
    HostSim::addCamera(setup);
}

void tick(ZKFullScreenUI& preview)
{
    QTimerEvent event(preview.timerId());
    QCoreApplication::sendEvent(&preview, &event);
}
} // namespace

class TestFullScreen : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
    }

    void metaObjectInterface()
    {
        const QMetaObject& mo = ZKFullScreenUI::staticMetaObject;
        QCOMPARE(QString(mo.superClass()->className()), QStringLiteral("QDialog"));
        QCOMPARE(mo.methodCount() - mo.methodOffset(), 2);
        QCOMPARE(QByteArray(mo.method(mo.methodOffset()).methodSignature()), QByteArray("slotCloseUI()"));
        QCOMPARE(QByteArray(mo.method(mo.methodOffset() + 1).methodSignature()), QByteArray("slotParamSetting()"));
    }

    void opensFullScreenWithPictureAndBar()
    {
        ZKFullScreenUI preview(nullptr);
        QVERIFY(preview.isFullScreen());
        QVERIFY(preview.timerId() > 0);
        QVERIFY(preview.showLabel());
        auto* pButton = preview.findChild<QPushButton*>();
        QVERIFY(pButton);
        QCOMPARE(pButton->text(), QStringLiteral("photographPara"));
        QCOMPARE(pButton->width(), 100);
        QCOMPARE(pButton->parentWidget()->height(), 50);
        // The picture arrives with the timer.
        QTRY_VERIFY_WITH_TIMEOUT(!labelPixmap(preview.showLabel()).isNull(), 3000);
        preview.close();
    }

    void noCameraOpensWithAnEmptyPicture()
    {
        HostSim::removeAllCameras();
        ZKFullScreenUI preview(nullptr);
        QVERIFY(preview.isFullScreen());
        tick(preview);
        QTest::qWait(450);
        QVERIFY(labelPixmap(preview.showLabel()).isNull());
        QVERIFY(preview.findChild<QPushButton*>());
        preview.close();
    }

    void geometryOfAWideScreen()
    {
        solidCamera(1280, 1024);
        ZKFullScreenUI preview(nullptr);
        preview.showLabel()->setGeometry(0, 0, 1920, 1030);
        tick(preview);
        const QImage image = labelPixmap(preview.showLabel()).toImage().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(image.size(), QSize(1920, 1030));
        auto isRed = [](QRgb c) { return qRed(c) == 255 && qGreen(c) == 0 && qBlue(c) == 0; };
        for (int x = 0; x < 1920; x += 37)
            QVERIFY2(isRed(image.pixel(x, 515)), qPrintable(QString::number(x)));
        for (int y = 30; y < 1030; y += 31)
            QVERIFY2(isRed(image.pixel(960, y)), qPrintable(QString::number(y)));
        // The picture fills 1287 x 1030 at (316, 0).
        QCOMPARE(image.pixel(316, 700), kFrameColour.rgb());
        QCOMPARE(image.pixel(316 + 1286, 700), kFrameColour.rgb());
        QCOMPARE(image.pixel(700, 1029), kFrameColour.rgb());
        QVERIFY(image.pixel(315, 700) != kFrameColour.rgb());
        QVERIFY(image.pixel(316 + 1287, 700) != kFrameColour.rgb());
        // The hint is written in red near the top left corner.
        int nRed = 0;
        for (int y = 0; y < 30; ++y)
            for (int x = 20; x < 300; ++x)
                nRed += isRed(image.pixel(x, y)) ? 1 : 0;
        QVERIFY(nRed > 50);
        preview.close();
    }

    void twoGrabsPerTickAndAFreshBuffer()
    {
        solidCamera(320, 240);
        ZKFullScreenUI preview(nullptr);
        HostSim::journal().clear();
        tick(preview);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCamera::GrabImage(buffer)")), 2);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCamera::StartGrab()")), 1);
        HostSim::camera(0)->setGrabFails(true);
        const qint64 nKey = labelPixmap(preview.showLabel()).cacheKey();
        HostSim::journal().clear();
        {
            DeliberateLeakScope keptBuffer; // the failed refresh's buffer stays allocated
            tick(preview); // a failed grab leaves the previous picture
        }
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCamera::GrabImage(buffer)")), 1);
        QCOMPARE(labelPixmap(preview.showLabel()).cacheKey(), nKey);
        preview.close();
    }

    void escapeClosesAndStopsTheTimer()
    {
        solidCamera(320, 240);
        ZKFullScreenUI preview(nullptr);
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > 0, 3000);
        QTest::keyClick(&preview, Qt::Key_Escape);
        QVERIFY(!preview.isVisible());
        const int nGrabs = HostSim::camera(0)->grabCount();
        QTest::qWait(500);
        QCOMPARE(HostSim::camera(0)->grabCount(), nGrabs);
    }

    void doubleClickClosesAndStopsTheTimer()
    {
        solidCamera(320, 240);
        ZKFullScreenUI preview(nullptr);
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > 0, 3000);
        QTest::mouseDClick(preview.showLabel(), Qt::LeftButton, Qt::NoModifier, QPoint(50, 50));
        QVERIFY(!preview.isVisible());
        const int nGrabs = HostSim::camera(0)->grabCount();
        QTest::qWait(500);
        QCOMPARE(HostSim::camera(0)->grabCount(), nGrabs);
    }

    void panelResumesOnlyWithVideoOn_data()
    {
        QTest::addColumn<int>("videoOn");
        QTest::newRow("video on") << 1;
        QTest::newRow("video off") << 0;
    }
    void panelResumesOnlyWithVideoOn()
    {
        QFETCH(int, videoOn);
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > 0, 5000);
        isOpenVideo = videoOn;
        bool bPausedMeanwhile = false;
        QTimer::singleShot(300, [&] {
            bPausedMeanwhile = pPanel->m_pRefreshThread->m_bRunning.load() == 0;
            if (auto* pPreview = pPanel->findChild<ZKFullScreenUI*>())
                QTest::keyClick(pPreview, Qt::Key_Escape);
        });
        // A double click on the panel's picture opens the preview.
        QTest::mouseDClick(pPanel->m_pShowLabel, Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
        QVERIFY(bPausedMeanwhile);
        QCOMPARE(pPanel->m_pRefreshThread->m_bRunning.load(), videoOn);
        QVERIFY(!pPanel->m_pShowLabel->imageRect().isNull()); // the label reset its view
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestFullScreen)
#include "tst_fullscreen.moc"
