// Faults and load: cameras that vanish, fail or change size under the live
// view, bursts of host events and control changes, many panels, and bad
// settings files. Every case ends without a crash or a hang, and leaves the
// files it did not mean to write as they were.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "display/HXLDisplayLabel.h"

#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCryptographicHash>
#include <QBuffer>
#include <QFile>
#include <QRandomGenerator>

using hostsim::HostSim;
using namespace panel_test;

namespace {
QByteArray fileHash(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray("<missing>");
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1).toHex();
}

QString g_strNextFile;
QString fakeOpenFileName(QWidget*, const QString&, const QString&, const QString&)
{
    return g_strNextFile;
}
} // namespace

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
        HostSim::journal().setEnabled(false); // long runs: keep the journal out of the way
    }

    void cleanup()
    {
        HostSim::journal().setEnabled(true);
        ZKCostomCameraWidget::SetOpenFileNameFunction(nullptr);
    }

    void cameraRemovedWhileStreaming()
    {
        PanelPtr pPanel(makePanel());
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > 2, 5000);
        HostSim::removeAllCameras();
        QTest::qWait(400);
        QVERIFY(pPanel->m_pRefreshThread->isRunning()); // polls an empty camera list
        HostSim::addCamera(hostsim::CameraSetup());
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > 2, 5000); // a new camera is picked up
    }

    void grabsFailingHalfTheTime()
    {
        PanelPtr pPanel(makePanel());
        hostsim::SimCamera* pCamera = HostSim::camera(0);
        QTimer flip;
        connect(&flip, &QTimer::timeout, [pCamera] { pCamera->setGrabFails(QRandomGenerator::global()->bounded(2) == 0); });
        flip.start(30);
        QTest::qWait(1500);
        flip.stop();
        pCamera->setGrabFails(false);
        const int nGrabs = pCamera->grabCount();
        QTRY_VERIFY_WITH_TIMEOUT(pCamera->grabCount() > nGrabs, 3000);
    }

    void frameSizeChangingAllTheTime()
    {
        PanelPtr pPanel(makePanel());
        hostsim::SimCamera* pCamera = HostSim::camera(0);
        int n = 0;
        QTimer change;
        connect(&change, &QTimer::timeout, [&] {
            ++n;
            pCamera->setFrameSize(n % 2 ? 640 : 1280, n % 3 ? 480 : 1024);
            pCamera->setColour(n % 4 != 0);
            pCamera->setZeroSize(n % 7 == 0);
        });
        change.start(25);
        QTest::qWait(1500);
        change.stop();
        pCamera->setZeroSize(false);
        pCamera->setColour(true);
        pCamera->setFrameSize(1280, 1024);
        QTRY_COMPARE_WITH_TIMEOUT(pPanel->m_pRefreshThread->bufferBytes(), 1280 * 1024 * 3, 3000);
    }

    void burstOfHostEvents()
    {
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QRandomGenerator random(7);
        int nFailed = 0;
        for (int i = 0; i < 1000; ++i) {
            const int nPick = random.bounded(10);
            int nParam = 0;
            // Pauses that wait for the worker cost a frame each; keep them a tenth of the burst.
            const int nEvent = nPick == 0 ? 1201 : nPick < 6 ? 1202 : 1205;
            IZKEventManger::singleton()->FireEvent(2, nEvent, &nParam);
            nFailed += nParam < 0 ? 1 : 0;
            if (i % 50 == 0)
                QCoreApplication::processEvents();
        }
        IZKEventManger::singleton()->FireEvent(2, 1202, nullptr);
        const int nGrabs = HostSim::camera(0)->grabCount();
        QTRY_VERIFY_WITH_TIMEOUT(HostSim::camera(0)->grabCount() > nGrabs, 3000);
        QVERIFY(nFailed < 1000);
    }

    void manyPanelsDestroyedWhileStreaming()
    {
        for (int i = 0; i < 200; ++i) {
            ZKCostomCameraWidget* pPanel = makePanel();
            if (i % 20 == 0)
                QTest::qWait(120); // now and then with frames on the way
            destroyPanel(pPanel);
        }
        QCoreApplication::processEvents();
    }

    void rapidControlChanges()
    {
        HostSim::cameraManager().nGrayMode = 1;
        PanelPtr pPanel(makePanel());
        pPanel->slotCapture(); // a picture, so that applies re-process it
        QRandomGenerator random(11);
        QList<QComboBox*> combos = {pPanel->m_pSatCombo, pPanel->m_pBriCombo, pPanel->m_pGrayModeCombo,
                                    pPanel->m_pSharpeningCombo};
        QList<QCheckBox*> checks = {pPanel->m_pInverCheck, pPanel->m_pGrayEqualizationCheck, pPanel->m_pGrayProCheck,
                                    pPanel->m_pDeInterferedCheck, pPanel->m_pSatDefCheck, pPanel->m_pBriDefCheck};
        for (int i = 0; i < 1000; ++i) {
            if (random.bounded(2)) {
                QComboBox* pCombo = combos[random.bounded(combos.size())];
                pCombo->setCurrentIndex(random.bounded(pCombo->count()));
            } else {
                QCheckBox* pCheck = checks[random.bounded(checks.size())];
                pCheck->setChecked(!pCheck->isChecked());
            }
            if (i % 100 == 0)
                QCoreApplication::processEvents();
        }
        QTest::qWait(300); // the last debounce timers apply
        QVERIFY(g_bCanApply);
        QCOMPARE(HostSim::cameraManager().nMode5, 10);
    }

    void badSettingsFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("binary") << QByteArray("\x00\xff\xfe\x01[\x00\x02=\x7f", 9);
        QTest::newRow("garbage ini") << QByteArray("[HXL_CameraUI\nisOpenVideo==\n=0.5\ndPerMinX=abc\n");
        QTest::newRow("wrong types") << QByteArray("[HXL_CameraUI]\nisOpenVideo=yes\ndPerMaxY=1e999\n");
    }
    void badSettingsFiles()
    {
        QFETCH(QByteArray, content);
        const QString qcv = HostSim::workPath() + QStringLiteral("qcv.dat");
        QFile file(qcv);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        HostSim::cameraManager().WriteSystemCFG();
        const QByteArray qcvBefore = fileHash(qcv);
        const QByteArray cfgBefore = fileHash(HostSim::cameraManager().configPath());
        QCOMPARE(HXL_CameraUI_ReadParam(), 0);
        QVERIFY(isOpenVideo == 0 || isOpenVideo == 1 || content.contains("isOpenVideo"));
        PanelPtr pPanel(makePanel());
        QCOMPARE(fileHash(qcv), qcvBefore); // reading and building write nothing
        QCOMPARE(fileHash(HostSim::cameraManager().configPath()), cfgBefore);
    }

    void unwritableWorkDirectory()
    {
        HostSim::cameraManager().WriteSystemCFG();
        const QString cfg = HostSim::cameraManager().configPath();
        const QByteArray cfgBefore = fileHash(cfg);
        // The work path names a file: nothing can be written below it.
        HostSim::setWorkPath(cfg);
        HXL_CameraUI_ReadParam();
        HXL_CameraUI_TellAppExit(); // silently fails
        PanelPtr pPanel(makePanel());
        pPanel->slotCapture(); // the picture cannot be saved: nothing placed, no crash
        QVERIFY(g_bCanCapture);
        HostSim::setWorkPath(m_pDir->path());
        QCOMPARE(fileHash(cfg), cfgBefore);
    }

    void badPictureFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("name");
        QImage picture(200, 100, QImage::Format_RGB888);
        picture.fill(Qt::red);
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        buffer.open(QIODevice::WriteOnly);
        picture.save(&buffer, "JPG");
        QTest::newRow("truncated jpeg") << jpeg.left(jpeg.size() / 3) << "cut.jpg";
        QTest::newRow("zero bytes") << QByteArray() << "empty.jpg";
        // A BMP header claiming 30000 x 30000 pixels with no pixels behind it.
        QByteArray bmp("BM", 2);
        auto le32 = [](quint32 v) { return QByteArray(reinterpret_cast<const char*>(&v), 4); };
        auto le16 = [](quint16 v) { return QByteArray(reinterpret_cast<const char*>(&v), 2); };
        bmp += le32(54 + 16) + le32(0) + le32(54) + le32(40) + le32(30000) + le32(30000) + le16(1) + le16(24) +
               le32(0) + le32(0) + le32(2835) + le32(2835) + le32(0) + le32(0) + QByteArray(16, '\x11');
        QTest::newRow("huge header") << bmp << "huge.bmp";
    }
    void badPictureFiles()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, name);
        g_strNextFile = m_pDir->filePath(name);
        QFile file(g_strNextFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        ZKCostomCameraWidget::SetOpenFileNameFunction(&fakeOpenFileName);
        isOpenVideo = 0;
        PanelPtr pPanel(makePanel());
        pPanel->slotOpenThePicture();
        QVERIFY(HostSim::database().entitiesOnLayer(210).empty());
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestFaults)
#include "tst_faults.moc"
