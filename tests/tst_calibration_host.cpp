// A simulated camera mounted like a real one (turned, offset from the head,
// pixels not square, mirrored, noisy) and the host's calibration of it: the
// pictures the host hands out, the calibrated bound, combined pictures, and
// the calibration kept in the configuration file beside the camera.

#include "SceneTestSupport.h"

#include "HostSim.h"
#include "calibration/CameraModel.h"
#include "cameras/SimCamera.h"
#include "cameras/Workpiece.h"
#include "drawing/SimDrawing.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <memory>

using hostsim::CameraModel;
using hostsim::CameraSetup;
using hostsim::HostSim;
using hostsim::SimCamera;
using scene_test::crossCentroid;

namespace {

CameraSetup mountedSetup(double dRotation, bool bMirrored, double dOx, double dOy)
{
    CameraSetup setup;
    setup.mmPerPixel = 0.021;
    setup.mmPerPixelY = 0.020;
    setup.rotationDeg = dRotation;
    setup.mirrored = bMirrored;
    setup.offsetX = dOx;
    setup.offsetY = dOy;
    return setup;
}

double distance(const QPointF& a, const QPointF& b)
{
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

QString text(const QPointF& pt)
{
    return QStringLiteral("(%1, %2)").arg(pt.x(), 0, 'f', 3).arg(pt.y(), 0, 'f', 3);
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestCalibrationHost : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_pDir;

    QString configPath() const { return m_pDir->filePath(hostsim::SimCameraManager::configFileName()); }

    SimCamera* onlyCamera(const CameraSetup& setup)
    {
        HostSim::removeAllCameras();
        return HostSim::addCamera(setup);
    }

private slots:
    void init()
    {
        m_pDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_pDir->isValid());
        HostSim::reset(m_pDir->path());
        HostSim::workpiece().clear();
        HostSim::workpiece().addCross(QPointF(10, 5), 2.0);
    }

    // Without a calibration the host hands out the camera's own picture:
    // the fiducial is where the mounting puts it.
    void mountedCameraSeesThroughItsMounting_data()
    {
        QTest::addColumn<double>("rotation");
        QTest::addColumn<bool>("mirrored");
        QTest::addColumn<QPointF>("offset");
        QTest::newRow("plain") << 0.0 << false << QPointF();
        QTest::newRow("offset") << 0.0 << false << QPointF(2.5, -1.25);
        QTest::newRow("3 deg") << 3.0 << false << QPointF();
        QTest::newRow("-20 deg, offset") << -20.0 << false << QPointF(-3.0, 2.0);
        QTest::newRow("mirrored") << 0.0 << true << QPointF();
        QTest::newRow("mirrored, 150 deg, offset") << 150.0 << true << QPointF(1.0, 4.0);
    }
    void mountedCameraSeesThroughItsMounting()
    {
        QFETCH(double, rotation);
        QFETCH(bool, mirrored);
        QFETCH(QPointF, offset);
        SimCamera* pCamera = onlyCamera(mountedSetup(rotation, mirrored, offset.x(), offset.y()));
        QVERIFY(!pCamera->hasModel());
        const QPointF head = QPointF(10, 5) - offset + QPointF(1.2, -0.7);
        HostSim::machine().setPosition(head.x(), head.y());
        const QPointF expected = pCamera->mount().machineToPixel(QPointF(10, 5), QSize(1280, 1024), head);
        const QPointF seen = crossCentroid(pCamera->renderFrame(), expected, 130);
        QVERIFY2(distance(seen, expected) < 0.25, qPrintable(text(seen) + " expected " + text(expected)));
    }

    // Calibrated as it is mounted, the camera's pictures lie in the machine's
    // axes: one pixel is the calibrated size along machine x and -y from the
    // point under the optical axis.
    void calibratedCameraHandsOutPicturesInMachineAxes_data() { mountedCameraSeesThroughItsMounting_data(); }
    void calibratedCameraHandsOutPicturesInMachineAxes()
    {
        QFETCH(double, rotation);
        QFETCH(bool, mirrored);
        QFETCH(QPointF, offset);
        SimCamera* pCamera = onlyCamera(mountedSetup(rotation, mirrored, offset.x(), offset.y()));
        HostSim::cameraManager().setCameraModel(0, pCamera->mount());
        const QPointF head = QPointF(10, 5) - offset + QPointF(1.2, -0.7);
        HostSim::machine().setPosition(head.x(), head.y());
        const QPointF expected(640 - 1.2 / 0.021, 512 - 0.7 / 0.020);
        const QPointF seen = crossCentroid(pCamera->renderFrame(), expected, 130);
        QVERIFY2(distance(seen, expected) < 0.25, qPrintable(text(seen) + " expected " + text(expected)));
        // The same through the calibration the panel's host calls use.
        MovableCam_SetCurMachineMmPos(head.x(), head.y());
        double mx = 0.0, my = 0.0;
        pCamera->GetCalibration()->ImageToMachine(seen.x(), seen.y(), mx, my);
        QVERIFY2(distance(QPointF(mx, my), QPointF(10, 5)) < 0.25 * 0.021, qPrintable(text(QPointF(mx, my))));
        double sx = 0.0, sy = 0.0;
        pCamera->GetCalibration()->GetMmPerPixel(sx, sy);
        QCOMPARE(sx, 0.021);
        QCOMPARE(sy, 0.020);
    }

    void noiseHasItsSpreadAndRepeatsForASeed()
    {
        CameraSetup setup;
        setup.source = hostsim::FrameSource::Solid;
        setup.solidColour = QColor(128, 128, 128);
        setup.colour = false;
        setup.width = 200;
        setup.height = 150;
        setup.noise = 2.0;
        setup.noiseSeed = 7;
        SimCamera* pCamera = onlyCamera(setup);
        const cv::Mat first = pCamera->renderFrame();
        cv::Scalar mean, deviation;
        cv::meanStdDev(first, mean, deviation);
        QVERIFY2(std::abs(deviation[0] - 2.0) < 0.1 && std::abs(mean[0] - 128.0) < 0.1,
                 qPrintable(QStringLiteral("mean %1 deviation %2").arg(mean[0]).arg(deviation[0])));
        // The same seed gives the same frames; another seed others.
        pCamera->setSetup(setup);
        QCOMPARE(cv::norm(first, pCamera->renderFrame(), cv::NORM_INF), 0.0);
        setup.noiseSeed = 8;
        pCamera->setSetup(setup);
        QVERIFY(cv::norm(first, pCamera->renderFrame(), cv::NORM_INF) > 0.0);
        setup.noise = 0.0;
        pCamera->setSetup(setup);
        double dMin = 0.0, dMax = 0.0;
        cv::minMaxLoc(pCamera->renderFrame(), &dMin, &dMax);
        QCOMPARE(dMin, 128.0);
        QCOMPARE(dMax, 128.0);
    }

    void calibratedBoundLiesOnTheOpticalAxis_data()
    {
        QTest::addColumn<double>("rotation");
        QTest::addColumn<double>("width");
        QTest::addColumn<double>("height");
        QTest::newRow("3 deg") << 3.0 << 1280 * 0.021 << 1024 * 0.020;
        // Closer to a quarter turn: the picture's columns lie along machine x.
        QTest::newRow("93 deg") << 93.0 << 1280 * 0.020 << 1024 * 0.021;
    }
    void calibratedBoundLiesOnTheOpticalAxis()
    {
        QFETCH(double, rotation);
        QFETCH(double, width);
        QFETCH(double, height);
        SimCamera* pCamera = onlyCamera(mountedSetup(rotation, false, 12.5, -7.25));
        HostSim::cameraManager().setCameraModel(0, pCamera->mount());
        MovableCam_SetCurMachineMmPos(100.0, 50.0);
        IZKBound* pBound = HostSim::cameraManager().GetCamerasCalImageBound();
        QVERIFY(pBound);
        QVERIFY(std::abs(pBound->GetCenter().x - 112.5) < 1e-9);
        QVERIFY(std::abs(pBound->GetCenter().y - 42.75) < 1e-9);
        QVERIFY(std::abs(pBound->GetWidth() - width) < 1e-9);
        QVERIFY(std::abs(pBound->GetHeight() - height) < 1e-9);
    }

    void calibrationIsKeptBesideTheCameraAndReadAtStart()
    {
        onlyCamera(mountedSetup(3.0, false, 0, 0));
        hostsim::SimCameraManager& manager = HostSim::cameraManager();
        manager.nSatMode = 2;
        CameraModel model = CameraModel::plain(0.021);
        model.mmPerPixelY = 0.0201;
        model.rotationDeg = 3.01;
        model.offsetX = 12.49;
        model.offsetY = -7.26;
        QString strWhy;
        QVERIFY2(manager.saveCameraModel(0, model, &strWhy), qPrintable(strWhy));
        QCOMPARE(manager.cameraModel(0), model);
        const QJsonObject root = QJsonDocument::fromJson(readAll(configPath())).object();
        QCOMPARE(root.value("calibration").toObject().value("SimCam").toObject().value("rotationDeg").toDouble(), 3.01);
        QCOMPARE(root.value("record").toObject().value("nSatMode").toInt(), 2);

        // The host starts again: the default camera is named "SimCam" too.
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().cameraModel(0), model);
        QVERIFY(HostSim::hostCamera(0)->hasModel());
        QCOMPARE(HostSim::cameraManager().nSatMode, 2);
        // A camera of another name has none; one added later of this name gets it.
        CameraSetup other;
        other.name = QStringLiteral("Other");
        HostSim::addCamera(other);
        QVERIFY(!HostSim::hostCamera(1)->hasModel());
        QCOMPARE(HostSim::cameraManager().cameraModel(1), CameraModel::plain(0.02));
        HostSim::addCamera(CameraSetup());
        QCOMPARE(HostSim::cameraManager().cameraModel(2), model);
    }

    void fileWithoutCalibrationStillReads()
    {
        QFile file(configPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"format": "HXL vision camera configuration", "version": 1, "record": {"nSatMode": 1},
                       "cameras": [{"type": "Sim", "name": "Bench", "mmPerPixel": 0.04}]})");
        file.close();
        HostSim::reset();
        QCOMPARE(HostSim::cameraCount(), 1);
        QCOMPARE(HostSim::cameraManager().nSatMode, 1);
        QVERIFY(!HostSim::hostCamera(0)->hasModel());
        QCOMPARE(HostSim::cameraManager().cameraModel(0), CameraModel::plain(0.04));
        QVERIFY(!HostSim::cameraManager().recordToJson().contains("calibration"));
    }

    void entryWithSomeKeysKeepsTheCamerasOwnForTheRest()
    {
        QFile file(configPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"record": {}, "cameras": [{"type": "Sim", "name": "Bench", "mmPerPixel": 0.04}],
                       "calibration": {"Bench": {"offsetX": 3.5}, "Gone": {"rotationDeg": 1.5}}})");
        file.close();
        HostSim::reset();
        CameraModel expected = CameraModel::plain(0.04);
        expected.offsetX = 3.5;
        QCOMPARE(HostSim::cameraManager().cameraModel(0), expected);
        // The entry of a camera not in use is written back as it was.
        const QJsonObject saved = QJsonDocument::fromJson(HostSim::cameraManager().recordToJson()).object();
        QCOMPARE(saved.value("calibration").toObject().value("Gone").toObject(), QJsonObject({{"rotationDeg", 1.5}}));
    }

    void badCalibrationSetsTheFileAside_data()
    {
        QTest::addColumn<QByteArray>("calibration");
        QTest::addColumn<QString>("named");
        QTest::newRow("not an object") << QByteArray("[1, 2]") << "\"calibration\"";
        QTest::newRow("entry not an object") << QByteArray(R"({"SimCam": 3})") << "SimCam";
        QTest::newRow("negative scale") << QByteArray(R"({"SimCam": {"mmPerPixelX": -1}})") << "mmPerPixelX";
    }
    void badCalibrationSetsTheFileAside()
    {
        QFETCH(QByteArray, calibration);
        QFETCH(QString, named);
        const QByteArray content = R"({"record": {"nSatMode": 2}, "calibration": )" + calibration + "}";
        QFile file(configPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        QString strWhy;
        QVERIFY(!HostSim::cameraManager().recordFromJson(content, &strWhy));
        QVERIFY2(strWhy.contains(named), qPrintable(strWhy));
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().nSatMode, 0);
        QVERIFY(!QFile::exists(configPath()));
        const QStringList aside = QDir(m_pDir->path()).entryList({"HXL_VisionCamera.json.corrupt-*"});
        QCOMPARE(aside.size(), 1);
        QCOMPARE(readAll(m_pDir->filePath(aside.first())), content);
    }

    void failedSaveChangesNothing()
    {
        onlyCamera(CameraSetup());
        QVERIFY(QDir(m_pDir->path()).mkdir(hostsim::SimCameraManager::configFileName())); // a folder in the way
        CameraModel model = CameraModel::plain(0.03);
        model.rotationDeg = 2.0;
        QString strWhy;
        QVERIFY(!HostSim::cameraManager().saveCameraModel(0, model, &strWhy));
        QVERIFY2(strWhy.contains("HXL_VisionCamera.json"), qPrintable(strWhy));
        QVERIFY(!HostSim::hostCamera(0)->hasModel());
        QVERIFY(!HostSim::cameraManager().recordToJson().contains("calibration"));
    }

    void mountComesFromTheCameraList()
    {
        QFile file(configPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"record": {}, "cameras": [{"type": "Sim", "name": "Turned", "mmPerPixel": 0.021,
                       "mount": {"mmPerPixelY": 0.02, "rotationDeg": 3, "offsetX": 12.5, "offsetY": -7.25,
                                 "mirrored": true, "noise": 2, "noiseSeed": 99}}]})");
        file.close();
        HostSim::reset();
        SimCamera* pCamera = HostSim::camera(0);
        QVERIFY(pCamera);
        const CameraSetup setup = pCamera->setup();
        QCOMPARE(setup.mmPerPixel, 0.021);
        QCOMPARE(setup.mmPerPixelY, 0.02);
        QCOMPARE(setup.rotationDeg, 3.0);
        QCOMPARE(setup.offsetX, 12.5);
        QCOMPARE(setup.offsetY, -7.25);
        QVERIFY(setup.mirrored);
        QCOMPARE(setup.noise, 2.0);
        QCOMPARE(setup.noiseSeed, quint32(99));
        // The host's calibration is apart from how the camera is mounted.
        QCOMPARE(HostSim::cameraManager().cameraModel(0), CameraModel::plain(0.021));
    }

    void badMountIsRefusedWithItsReason_data()
    {
        QTest::addColumn<QByteArray>("entry");
        QTest::addColumn<QString>("named");
        QTest::newRow("noise negative") << QByteArray(R"({"type": "Sim", "mount": {"noise": -1}})") << "noise";
        QTest::newRow("seed fraction") << QByteArray(R"({"type": "Sim", "mount": {"noiseSeed": 1.5}})") << "noiseSeed";
        QTest::newRow("rotation text") << QByteArray(R"({"type": "Sim", "mount": {"rotationDeg": "a"}})")
                                       << "rotationDeg";
        QTest::newRow("not an object") << QByteArray(R"({"type": "Sim", "mount": 3})") << "mount";
        QTest::newRow("real camera") << QByteArray(R"({"type": "V4L2", "mount": {}})") << "simulated";
    }
    void badMountIsRefusedWithItsReason()
    {
        QFETCH(QByteArray, entry);
        QFETCH(QString, named);
        hostsim::CameraRequest request;
        QString strWhy;
        QVERIFY(!HostSim::cameraRequestFromJson(QJsonDocument::fromJson(entry).object(), request, &strWhy));
        QVERIFY2(strWhy.contains(named), qPrintable(strWhy));
    }

    // A combined picture of a turned, offset camera shows the fiducials at
    // their places on the drawing.
    void combinedPicturePlacesFeaturesTrue()
    {
        HostSim::workpiece().addCross(QPointF(0, 0), 2.0);
        SimCamera* pCamera = onlyCamera(mountedSetup(3.0, false, 12.5, -7.25));
        HostSim::cameraManager().setCameraModel(0, pCamera->mount());
        hostsim::SimCombineManager& combine = HostSim::combineManager();
        combine.SetCameraIndex(0);
        combine.SetCombineStartPos(ZKGePoint(-12.5 - 4.0, 7.25 + 1.0, 0.0));
        combine.SetCombineEndPos(ZKGePoint(-2.5 + 4.0, 12.25 - 1.0, 0.0));
        std::unique_ptr<IZKDbImage, void (*)(IZKDbImage*)> pImage(combine.CombineImage(),
                                                                    [](IZKDbImage* p) { p->Release(); });
        QVERIFY(pImage);
        auto* pSim = static_cast<hostsim::SimDbImage*>(pImage.get());
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        pSim->GetExtents(x0, y0, x1, y1);
        const QImage image = pSim->image().convertToFormat(QImage::Format_RGB888);
        const cv::Mat rgb(image.height(), image.width(), CV_8UC3, const_cast<uchar*>(image.constBits()),
                          static_cast<size_t>(image.bytesPerLine()));
        for (const QPointF& fiducial : {QPointF(0, 0), QPointF(10, 5)}) {
            const QPointF guess((fiducial.x() - x0) / (x1 - x0) * image.width(),
                                (y1 - fiducial.y()) / (y1 - y0) * image.height());
            const QPointF seen = crossCentroid(rgb, guess, 130);
            const QPointF mm(x0 + seen.x() / image.width() * (x1 - x0), y1 - seen.y() / image.height() * (y1 - y0));
            QVERIFY2(distance(mm, fiducial) < 0.05, qPrintable(text(mm) + " for " + text(fiducial)));
        }
    }
};

QTEST_MAIN(TestCalibrationHost)
#include "tst_calibration_host.moc"
