// The panel with a camera mounted like a real one (turned 3 degrees, pixels
// of 0.021 x 0.020 mm, 12.5, -7.25 mm from the head, noise of 2 grey levels)
// and calibrated by the host's calibration run: a right click on a fiducial
// brings it under the crosshair, and a photo lies on the drawing where the
// workpiece is.

#include "PanelTestSupport.h"
#include "SceneTestSupport.h"

#include "display/HXLDisplayLabel.h"

#include "calibration/CalibrationRun.h"
#include "cameras/SimCamera.h"
#include "cameras/Workpiece.h"
#include "drawing/SimDrawing.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"

#include <QMouseEvent>

#include <cmath>
#include <cstdio>

using hostsim::CameraSetup;
using hostsim::HostSim;
using hostsim::SimCamera;
using namespace panel_test;
using scene_test::crossCentroid;

namespace {

constexpr quint32 kNoiseSeed = 20240517;
const QPointF kFiducial(10, 5);

CameraSetup mountedSetup()
{
    CameraSetup setup;
    setup.mmPerPixel = 0.021;
    setup.mmPerPixelY = 0.020;
    setup.rotationDeg = 3.0;
    setup.offsetX = 12.5;
    setup.offsetY = -7.25;
    setup.noise = 2.0;
    setup.noiseSeed = kNoiseSeed;
    return setup;
}

void rightPress(QWidget* pWidget, const QPoint& pos)
{
    QMouseEvent event(QEvent::MouseButtonPress, pos, pWidget->mapToGlobal(pos), Qt::RightButton, Qt::RightButton,
                      Qt::NoModifier);
    QApplication::sendEvent(pWidget, &event);
}

QString text(const QPointF& pt)
{
    return QStringLiteral("(%1, %2)").arg(pt.x(), 0, 'f', 3).arg(pt.y(), 0, 'f', 3);
}

} // namespace

class TestCalibrationPanel : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    SimCamera* m_pCamera = nullptr;
    hostsim::CameraModel m_calibration;

    void freshMountedCamera()
    {
        m_pDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
        isOpenVideo = 0; // the frames are taken here, one at a time
        HostSim::machine().setSpeed(0.0);
        HostSim::removeAllCameras();
        m_pCamera = HostSim::addCamera(mountedSetup());
    }

private slots:
    // Calibrated once, as an operator does: the fiducial at the origin
    // centred, the run, the mark of the head.
    void initTestCase()
    {
        freshMountedCamera();
        const CameraSetup setup = mountedSetup();
        HostSim::machine().setPosition(-setup.offsetX, -setup.offsetY);
        hostsim::CalibrationRun run(m_pCamera, &HostSim::machine(), 3.0);
        QVERIFY2(run.run(), qPrintable(run.failure()));
        HostSim::machine().setPosition(2.5, 2.5);
        const QPointF mark = HostSim::markAtHead(0.5);
        HostSim::machine().setPosition(2.5 - setup.offsetX + 0.3, 2.5 - setup.offsetY - 0.2);
        QString strWhy;
        QVERIFY2(run.measureOffset(mark, 0.5, &strWhy), qPrintable(strWhy));
        m_calibration = run.model();
    }

    void init()
    {
        freshMountedCamera();
        QString strWhy;
        QVERIFY2(HostSim::cameraManager().saveCameraModel(0, m_calibration, &strWhy), qPrintable(strWhy));
    }

    void rightClickBringsTheFiducialUnderTheCrosshair_data()
    {
        QTest::addColumn<QPointF>("away");
        // Where the fiducial starts, from the point under the optical axis (mm).
        QTest::newRow("left, down") << QPointF(-3.0, -2.5);
        QTest::newRow("right, up") << QPointF(4.5, 3.0);
        QTest::newRow("near a corner") << QPointF(9.0, -7.0);
    }
    void rightClickBringsTheFiducialUnderTheCrosshair()
    {
        QFETCH(QPointF, away);
        PanelPtr pPanel(makePanel());
        pPanel->show();
        QVERIFY(QTest::qWaitForWindowExposed(pPanel.get()));
        HXLDisplayLabel* pLabel = pPanel->m_pShowLabel;
        const QRectF picture = pLabel->imageRect();
        QVERIFY(picture.width() > 0);
        const QSizeF frame(m_pCamera->frameWidth(), m_pCamera->frameHeight());
        auto labelToFrame = [&](const QPointF& pt) {
            return QPointF(frame.width() / 2 + (pt.x() - picture.center().x()) / picture.width() * frame.width(),
                           frame.height() / 2 + (pt.y() - picture.center().y()) / picture.height() * frame.height());
        };

        // A label pixel is several picture pixels: the fiducial is put exactly
        // under the label pixel that is clicked (with the calibration's scale).
        const QPointF head = kFiducial - QPointF(12.5, -7.25) - away;
        HostSim::machine().setPosition(head.x(), head.y());
        const QPointF start = crossCentroid(m_pCamera->renderFrame(), QPointF(640 + away.x() / 0.021, 512 - away.y() / 0.02), 130);
        const QPoint click((start.x() / frame.width() * picture.width() + picture.left()),
                           (start.y() / frame.height() * picture.height() + picture.top()));
        const QPointF target = labelToFrame(click);
        const hostsim::CameraModel model = HostSim::cameraManager().cameraModel(0);
        QPointF seen = start;
        for (int i = 0; i < 3; ++i) {
            double x = 0, y = 0;
            HostSim::machine().position(x, y);
            HostSim::machine().setPosition(x + (seen.x() - target.x()) * model.alignedMmPerPixelX(),
                                           y + (target.y() - seen.y()) * model.alignedMmPerPixelY());
            seen = crossCentroid(m_pCamera->renderFrame(), target, 130);
        }
        QVERIFY2(std::hypot(seen.x() - target.x(), seen.y() - target.y()) < 0.1,
                 qPrintable(text(seen) + " should be at the clicked point " + text(target)));

        HostSim::journal().clear();
        rightPress(pLabel, click);
        QCOMPARE(HostSim::journal().count(QStringLiteral("HXL_MachineMoveTo(")), 1);
        // The next frame: the fiducial at the crosshair, the centre of the picture.
        const QPointF after = crossCentroid(m_pCamera->renderFrame(), QPointF(640, 512), 130);
        const double dMiss = std::hypot(after.x() - 640.0, after.y() - 512.0);
        std::printf("right click from %s mm: fiducial %.3f pixels from the crosshair (noise seed %u)\n",
                    qPrintable(text(away)), dMiss, kNoiseSeed);
        QVERIFY2(dMiss < 1.0, qPrintable(QStringLiteral("fiducial at %1, %2 pixels from the crosshair")
                                             .arg(text(after))
                                             .arg(dMiss)));
    }

    void photoLiesWhereTheWorkpieceIs()
    {
        PanelPtr pPanel(makePanel());
        // The fiducials at (0, 0) and (10, 5) both in view.
        const QPointF head = QPointF(5.0, 2.5) - QPointF(12.5, -7.25) + QPointF(0.37, -0.41);
        HostSim::machine().setPosition(head.x(), head.y());
        pPanel->slotCapture();
        const auto entities = HostSim::database().entitiesOnLayer(210);
        QCOMPARE(int(entities.size()), 1);
        auto* pImage = dynamic_cast<hostsim::SimDbImage*>(entities[0]);
        QVERIFY(pImage);
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        pImage->GetExtents(x0, y0, x1, y1);
        const QImage image = pImage->image().convertToFormat(QImage::Format_RGB888);
        QCOMPARE(image.size(), QSize(1280, 1024));
        const cv::Mat rgb(image.height(), image.width(), CV_8UC3, const_cast<uchar*>(image.constBits()),
                          static_cast<size_t>(image.bytesPerLine()));
        for (const QPointF& fiducial : {QPointF(0, 0), kFiducial}) {
            const QPointF guess((fiducial.x() - x0) / (x1 - x0) * image.width(),
                                (y1 - fiducial.y()) / (y1 - y0) * image.height());
            const QPointF seen = crossCentroid(rgb, guess, 130);
            const QPointF mm(x0 + seen.x() / image.width() * (x1 - x0), y1 - seen.y() / image.height() * (y1 - y0));
            const double dOff = std::hypot(mm.x() - fiducial.x(), mm.y() - fiducial.y());
            std::printf("photo: fiducial %s found at %s on the drawing, %.4f mm off (noise seed %u)\n",
                        qPrintable(text(fiducial)), qPrintable(text(mm)), dOff, kNoiseSeed);
            QVERIFY2(dOff < 0.05, qPrintable(text(mm) + " for " + text(fiducial)));
        }
    }
};

QTEST_MAIN(TestCalibrationPanel)
#include "tst_calibration_panel.moc"
