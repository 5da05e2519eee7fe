// Measuring a camera's calibration with the machine (instant moves): the
// pattern of moves around a centred feature, the least-squares fit, the
// offset from a mark of the head, and every way a measurement is refused.

#include "HostSim.h"
#include "calibration/CalibrationRun.h"
#include "calibration/CameraModel.h"
#include "cameras/SimCamera.h"
#include "cameras/Workpiece.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstdio>
#include <memory>

using hostsim::CalibrationRun;
using hostsim::CameraModel;
using hostsim::CameraSetup;
using hostsim::HostSim;
using hostsim::SimCamera;

namespace {

constexpr quint32 kNoiseSeed = 20240517;

CameraSetup mountedSetup(double dRotation, bool bMirrored)
{
    CameraSetup setup;
    setup.mmPerPixel = 0.021;
    setup.mmPerPixelY = 0.020;
    setup.rotationDeg = dRotation;
    setup.mirrored = bMirrored;
    setup.offsetX = 12.5;
    setup.offsetY = -7.25;
    setup.noise = 2.0;
    setup.noiseSeed = kNoiseSeed;
    return setup;
}

// The same camera with a smaller picture, for the runs that end in a refusal
// (quicker: the matching's cost grows with the picture).
CameraSetup smallSetup(double dRotation)
{
    CameraSetup setup = mountedSetup(dRotation, false);
    setup.width = 640;
    setup.height = 512;
    return setup;
}

// Relative error of a measured scale, in percent.
double percentOff(double dMeasured, double dTrue)
{
    return 100.0 * std::abs(dMeasured - dTrue) / dTrue;
}

} // namespace

class TestCalibrationRun : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_pDir;

    SimCamera* onlyCamera(const CameraSetup& setup)
    {
        HostSim::removeAllCameras();
        return HostSim::addCamera(setup);
    }

    // The machine so that the workpiece point ptMm lies under the optical axis of a camera mounted as setup.
    static void centreUnderCamera(const QPointF& ptMm, const CameraSetup& setup)
    {
        HostSim::machine().setPosition(ptMm.x() - setup.offsetX, ptMm.y() - setup.offsetY);
    }

private slots:
    void init()
    {
        m_pDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_pDir->isValid());
        HostSim::reset(m_pDir->path()); // the default workpiece: grid, fiducials, circles, text
        HostSim::machine().setSpeed(0.0);
    }

    // The measurement the wizard makes, on a camera turned 3 degrees,
    // 0.021 x 0.020 mm pixels, 12.5, -7.25 mm from the head, noise of 2 grey levels.
    void recoversTheMountingOfATurnedOffsetNoisyCamera_data()
    {
        QTest::addColumn<double>("rotation");
        QTest::addColumn<bool>("mirrored");
        QTest::addColumn<double>("range");
        QTest::newRow("3 deg") << 3.0 << false << 3.0;
        QTest::newRow("3 deg, short range") << 3.0 << false << 1.0;
        QTest::newRow("-25 deg") << -25.0 << false << 3.0;
        QTest::newRow("178 deg mirrored") << 178.0 << true << 3.0;
    }
    void recoversTheMountingOfATurnedOffsetNoisyCamera()
    {
        QFETCH(double, rotation);
        QFETCH(bool, mirrored);
        QFETCH(double, range);
        const CameraSetup setup = mountedSetup(rotation, mirrored);
        SimCamera* pCamera = onlyCamera(setup);
        // The operator centred the fiducial at the origin under the crosshair.
        centreUnderCamera(QPointF(0, 0), setup);
        CalibrationRun run(pCamera, &HostSim::machine(), range);
        QVERIFY2(run.run(), qPrintable(run.failure()));
        QCOMPARE(run.positionsMeasured(), 9);
        QCOMPARE(run.positionCount(), 9);
        double x = 0, y = 0;
        HostSim::machine().position(x, y);
        QCOMPARE(QPointF(x, y), run.startPosition()); // back where the operator left it

        // Offset: the head marks an empty spot; the operator brings the mark
        // near the crosshair (0.3 mm and 0.2 mm off).
        const QPointF spot(2.5, 2.5);
        HostSim::machine().setPosition(spot.x(), spot.y());
        const QPointF mark = HostSim::markAtHead(0.5);
        QCOMPARE(mark, spot);
        HostSim::machine().setPosition(spot.x() - setup.offsetX + 0.3, spot.y() - setup.offsetY - 0.2);
        QString strWhy;
        QVERIFY2(run.measureOffset(mark, 0.5, &strWhy), qPrintable(strWhy));

        const CameraModel found = run.model();
        const double dRotationOff = std::abs(found.rotationDeg - rotation);
        const double dScaleXOff = percentOff(found.mmPerPixelX, setup.mmPerPixel);
        const double dScaleYOff = percentOff(found.mmPerPixelY, setup.mmPerPixelY);
        const double dOffsetOff = std::hypot(found.offsetX - setup.offsetX, found.offsetY - setup.offsetY);
        std::printf("calibration (noise 2 grey levels, seed %u, range %.1f mm): rotation %.4f deg (true %.1f, off "
                    "%.4f), mm/px %.6f x %.6f (off %.3f %% and %.3f %%), mirrored %s, offset %.4f, %.4f mm (off %.4f "
                    "mm), largest residual %.3f px, skew %.4f deg\n",
                    kNoiseSeed, range, found.rotationDeg, rotation, dRotationOff, found.mmPerPixelX,
                    found.mmPerPixelY, dScaleXOff, dScaleYOff, found.mirrored ? "yes" : "no", found.offsetX,
                    found.offsetY, dOffsetOff, run.maxResidualPx(), run.skewDeg());
        QCOMPARE(found.mirrored, mirrored);
        QVERIFY(dRotationOff < 0.05);
        QVERIFY(dScaleXOff < 0.2);
        QVERIFY(dScaleYOff < 0.2);
        QVERIFY(dOffsetOff < 0.05);
        QVERIFY(run.maxResidualPx() < CalibrationRun::kMaxResidualPx);
    }

    // Once calibrated, the pictures are in the machine's axes; a second run
    // on them finds the same camera (the first calibration is undone in the fit).
    void secondRunOnCalibratedPicturesAgrees_data()
    {
        QTest::addColumn<bool>("mirrored");
        QTest::newRow("3 deg") << false;
        QTest::newRow("3 deg mirrored") << true;
    }
    void secondRunOnCalibratedPicturesAgrees()
    {
        QFETCH(bool, mirrored);
        const CameraSetup setup = mountedSetup(3.0, mirrored);
        SimCamera* pCamera = onlyCamera(setup);
        centreUnderCamera(QPointF(10, 5), setup);
        CalibrationRun first(pCamera, &HostSim::machine(), 2.0);
        QVERIFY2(first.run(), qPrintable(first.failure()));
        HostSim::cameraManager().setCameraModel(0, first.model());
        CalibrationRun second(pCamera, &HostSim::machine(), 2.0);
        QVERIFY2(second.run(), qPrintable(second.failure()));
        QCOMPARE(second.previousModel(), first.model());
        QVERIFY2(std::abs(second.model().rotationDeg - 3.0) < 0.05, qPrintable(QString::number(second.model().rotationDeg)));
        QCOMPARE(second.model().mirrored, mirrored);
        QVERIFY(percentOff(second.model().mmPerPixelX, 0.021) < 0.2);
        QVERIFY(percentOff(second.model().mmPerPixelY, 0.020) < 0.2);
    }

    void theRunNeverWaitsOnAMove()
    {
        HostSim::machine().setSpeed(20.0); // 3 mm take 150 ms
        const CameraSetup setup = smallSetup(3.0);
        SimCamera* pCamera = onlyCamera(setup);
        centreUnderCamera(QPointF(0, 0), setup);
        CalibrationRun run(pCamera, &HostSim::machine(), 3.0);
        QVERIFY(run.start());
        QVERIFY(run.isRunning());
        QVERIFY(HostSim::machine().isMoving());
        // While the machine moves, a step only looks.
        QVERIFY(run.step());
        QCOMPARE(run.positionsMeasured(), 0);
        run.cancel();
        QVERIFY(run.isFinished());
        QVERIFY(!run.succeeded());
        QCOMPARE(run.failure(), QStringLiteral("cancelled"));
        QVERIFY(HostSim::machine().waitIdle(5000));
        double x = 0, y = 0;
        HostSim::machine().position(x, y);
        QCOMPARE(QPointF(x, y), run.startPosition());
    }

    void featurelessSceneIsRefused()
    {
        HostSim::workpiece().clear(); // the plain board only
        SimCamera* pCamera = onlyCamera(mountedSetup(3.0, false));
        CalibrationRun run(pCamera, &HostSim::machine(), 2.0);
        QVERIFY(!run.start());
        QVERIFY(run.isFinished());
        QVERIFY2(run.failure().startsWith("texture too poor"), qPrintable(run.failure()));
        QCOMPARE(run.positionsMeasured(), 0);
        double x = 0, y = 0;
        HostSim::machine().position(x, y);
        QCOMPARE(QPointF(x, y), QPointF(0, 0)); // the machine did not move
    }

    // Lines that all run one way cannot be followed along them.
    void detailInOneDirectionIsRefused()
    {
        CameraSetup setup;
        setup.source = hostsim::FrameSource::Picture;
        // Vertical stripes: detail along x only.
        QImage stripes(640, 480, QImage::Format_RGB888);
        for (int x = 0; x < stripes.width(); ++x)
            for (int y = 0; y < stripes.height(); ++y)
                stripes.setPixelColor(x, y, (x / 7) % 2 ? QColor(30, 30, 30) : QColor(220, 220, 220));
        const QString path = m_pDir->filePath("stripes.png");
        QVERIFY(stripes.save(path));
        setup.picturePath = path;
        setup.width = 640;
        setup.height = 480;
        SimCamera* pCamera = onlyCamera(setup);
        CalibrationRun run(pCamera, &HostSim::machine(), 1.0);
        QVERIFY(!run.start());
        QVERIFY2(run.failure().startsWith("texture too poor"), qPrintable(run.failure()));
    }

    void repeatingPatternIsRefused()
    {
        HostSim::workpiece().clear();
        HostSim::workpiece().setGrid(1.0, 150.0); // lines every millimetre, nothing else
        SimCamera* pCamera = onlyCamera(mountedSetup(0.0, false));
        CalibrationRun run(pCamera, &HostSim::machine(), 2.0);
        QVERIFY(!run.start());
        QVERIFY2(run.failure().contains("not distinct"), qPrintable(run.failure()));
    }

    // A camera that sees far less than its calibration says loses the feature.
    void lostFeatureIsRefused()
    {
        CameraSetup setup = smallSetup(0.0);
        setup.mmPerPixel = setup.mmPerPixelY = 0.005;
        SimCamera* pCamera = onlyCamera(setup);
        HostSim::cameraManager().setCameraModel(0, CameraModel::plain(0.02));
        centreUnderCamera(QPointF(0, 0), setup);
        CalibrationRun run(pCamera, &HostSim::machine(), 3.0);
        QVERIFY(!run.run());
        QVERIFY2(run.failure().startsWith("feature lost at position 1 of 9"), qPrintable(run.failure()));
        QVERIFY(!run.succeeded());
        QCOMPARE(run.model(), run.previousModel());
    }

    // A camera that is not on the head: a still picture of the workpiece.
    void pictureThatDoesNotFollowTheMachineIsRefused()
    {
        const cv::Mat still = HostSim::camera(0)->renderFrame();
        const QImage image(still.data, still.cols, still.rows, static_cast<int>(still.step), QImage::Format_RGB888);
        const QString path = m_pDir->filePath("still.png");
        QVERIFY(image.save(path));
        CameraSetup setup;
        setup.source = hostsim::FrameSource::Picture;
        setup.picturePath = path;
        setup.width = 640;
        setup.height = 512;
        SimCamera* pCamera = onlyCamera(setup);
        CalibrationRun run(pCamera, &HostSim::machine(), 2.0);
        QVERIFY(!run.run());
        QVERIFY2(run.failure().startsWith("the picture did not follow the machine's moves"), qPrintable(run.failure()));
        QCOMPARE(run.positionsMeasured(), 9);
    }

    // The camera slips on its mount during the run: the shifts do not fit.
    void residualOverTheLimitIsRefused()
    {
        const CameraSetup setup = smallSetup(3.0);
        SimCamera* pCamera = onlyCamera(setup);
        centreUnderCamera(QPointF(0, 0), setup);
        CalibrationRun run(pCamera, &HostSim::machine(), 3.0);
        QVERIFY(run.start());
        int nSteps = 0;
        while (run.step()) {
            if (++nSteps == 4) {
                CameraSetup slipped = setup;
                slipped.offsetX += 0.1; // 5 pixels for the rest of the run
                pCamera->setSetup(slipped);
            }
        }
        QVERIFY(run.isFinished());
        QVERIFY(!run.succeeded());
        QVERIFY2(run.failure().startsWith("residual of"), qPrintable(run.failure()));
        QVERIFY(run.maxResidualPx() > CalibrationRun::kMaxResidualPx);
    }

    void machineThatCannotMoveIsRefused()
    {
        const CameraSetup setup = smallSetup(0.0);
        SimCamera* pCamera = onlyCamera(setup);
        centreUnderCamera(QPointF(0, 0), setup);
        double x = 0, y = 0;
        HostSim::machine().position(x, y);
        HostSim::machine().setLimits(x, y, x, y); // at the end of its travel both ways
        CalibrationRun run(pCamera, &HostSim::machine(), 2.0);
        QVERIFY(!run.run());
        QVERIFY2(run.failure().contains("did not make the moves"), qPrintable(run.failure()));
    }

    void rangeIsLimitedByTheField()
    {
        SimCamera* pCamera = onlyCamera(CameraSetup()); // 1280 x 1024, 0.02 mm
        // (1024 - 256) / 2 pixels, four fifths of it, at 0.02 mm.
        QVERIFY(std::abs(CalibrationRun::maximumRangeMm(pCamera) - 6.144) < 1e-9);
        QCOMPARE(CalibrationRun::defaultRangeMm(pCamera), 3.0);
        for (double dRange : {0.0, -1.0, 6.2}) {
            CalibrationRun run(pCamera, &HostSim::machine(), dRange);
            QVERIFY(!run.start());
            QVERIFY2(run.failure().contains("at most 6.14 mm"), qPrintable(run.failure()));
        }
    }

    void markNotNearTheCrosshairIsRefused()
    {
        const CameraSetup setup = mountedSetup(3.0, false);
        SimCamera* pCamera = onlyCamera(setup);
        CalibrationRun run(pCamera, &HostSim::machine(), 2.0);
        HostSim::machine().setPosition(2.5, 2.5);
        const QPointF mark = HostSim::markAtHead(0.5);
        // The camera still looks 12.5 mm away from the mark.
        QString strWhy;
        QVERIFY(!run.measureOffset(mark, 0.5, &strWhy));
        QVERIFY2(strWhy.startsWith("the mark was not found near the crosshair"), qPrintable(strWhy));
        QVERIFY(!run.offsetMeasured());
        QCOMPARE(run.model(), run.previousModel());
    }
};

QTEST_MAIN(TestCalibrationRun)
#include "tst_calibration_run.moc"
