// The demo host's calibration wizard: it runs the host's measurement from a
// timer while the machine moves, shows the result, saves on Save, and on
// Cancel leaves the calibration file byte for byte as it was.

#include "CalibrationWizard.h"

#include "HostSim.h"
#include "calibration/CameraModel.h"
#include "cameras/SimCamera.h"
#include "cameras/Workpiece.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <memory>

using hostsim::CameraModel;
using hostsim::CameraSetup;
using hostsim::HostSim;

namespace {

CameraSetup mountedSetup(bool bMirrored)
{
    CameraSetup setup;
    setup.mmPerPixel = 0.021;
    setup.mmPerPixelY = 0.020;
    setup.rotationDeg = 3.0;
    setup.mirrored = bMirrored;
    setup.offsetX = 12.5;
    setup.offsetY = -7.25;
    setup.noise = 2.0;
    setup.noiseSeed = 20240517;
    return setup;
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

template <class T>
T* child(QWidget* pParent, const char* pszName)
{
    return pParent->findChild<T*>(QLatin1String(pszName));
}

} // namespace

class TestCalibrationWizard : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_pDir;

    QString configPath() const { return m_pDir->filePath(hostsim::SimCameraManager::configFileName()); }

    void mountedCamera(bool bMirrored)
    {
        HostSim::removeAllCameras();
        const CameraSetup setup = mountedSetup(bMirrored);
        HostSim::addCamera(setup);
        // The operator centred the fiducial at the origin.
        HostSim::machine().setPosition(-setup.offsetX, -setup.offsetY);
    }

    // Runs step 1 through the dialog; true when it measured.
    static bool runScale(CalibrationWizard& wizard)
    {
        QSignalSpy finished(&wizard, &CalibrationWizard::runFinished);
        child<QPushButton>(&wizard, "startButton")->click();
        if (finished.isEmpty() && !finished.wait(30000))
            return false;
        return finished.first().first().toBool();
    }

    // Step 2 as the operator does it: mark, bring the mark near the crosshair, measure.
    static void measureOffset(CalibrationWizard& wizard)
    {
        HostSim::machine().setPosition(2.5, 2.5);
        child<QPushButton>(&wizard, "markButton")->click();
        QVERIFY(HostSim::machine().waitIdle(5000));
        HostSim::machine().setPosition(2.5 - 12.5 + 0.3, 2.5 + 7.25 - 0.2);
        child<QPushButton>(&wizard, "measureButton")->click();
    }

private slots:
    void init()
    {
        m_pDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_pDir->isValid());
        HostSim::reset(m_pDir->path());
        HostSim::machine().setSpeed(0.0);
    }

    void measuresShowsAndSavesOnSave()
    {
        mountedCamera(false);
        CalibrationWizard wizard(0);
        wizard.show();
        QCOMPARE(child<QDoubleSpinBox>(&wizard, "rangeSpin")->value(), 3.0);
        QVERIFY(!child<QPushButton>(&wizard, "saveButton")->isEnabled());
        QVERIFY(runScale(wizard));
        QCOMPARE(child<QTableWidget>(&wizard, "pointTable")->rowCount(), 9);
        const QString strScale = child<QLabel>(&wizard, "scaleResult")->text();
        QVERIFY2(strScale.contains("rotation 3.00") && strScale.contains("not mirrored"), qPrintable(strScale));
        QVERIFY(child<QPushButton>(&wizard, "saveButton")->isEnabled());
        measureOffset(wizard);
        const QString strOffset = child<QLabel>(&wizard, "offsetResult")->text();
        QVERIFY2(strOffset.contains("12.5") && strOffset.contains("-7.2"), qPrintable(strOffset));

        QVERIFY(!QFile::exists(configPath()));
        child<QPushButton>(&wizard, "saveButton")->click();
        QCOMPARE(wizard.result(), int(QDialog::Accepted));
        const QJsonObject saved = QJsonDocument::fromJson(readAll(configPath()))
                                      .object()
                                      .value("calibration")
                                      .toObject()
                                      .value("SimCam")
                                      .toObject();
        CameraModel model;
        QVERIFY(CameraModel::fromJson(saved, CameraModel(), model));
        QVERIFY(std::abs(model.rotationDeg - 3.0) < 0.05);
        QVERIFY(std::abs(model.offsetX - 12.5) < 0.05 && std::abs(model.offsetY + 7.25) < 0.05);
        QCOMPARE(HostSim::cameraManager().cameraModel(0), model);
    }

    void flippedCameraIsShownFlipped()
    {
        mountedCamera(true);
        CalibrationWizard wizard(0);
        QVERIFY(runScale(wizard));
        QVERIFY(wizard.run()->model().mirrored);
        const QString strScale = child<QLabel>(&wizard, "scaleResult")->text();
        QVERIFY2(strScale.contains(", mirrored"), qPrintable(strScale));
    }

    void cancelKeepsTheOldCalibrationByteForByte()
    {
        mountedCamera(false);
        CameraModel old = CameraModel::plain(0.0205);
        old.offsetX = 10.0;
        QVERIFY(HostSim::cameraManager().saveCameraModel(0, old));
        const QByteArray before = readAll(configPath());
        QVERIFY(before.contains("\"calibration\""));
        {
            CalibrationWizard wizard(0);
            wizard.show();
            QVERIFY(runScale(wizard));
            measureOffset(wizard);
            QVERIFY(wizard.run()->offsetMeasured());
            wizard.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel)->click();
            QCOMPARE(wizard.result(), int(QDialog::Rejected));
        }
        QCOMPARE(readAll(configPath()), before);
        QCOMPARE(HostSim::cameraManager().cameraModel(0), old);
    }

    void refusalSaysWhyAndSavesNothing()
    {
        mountedCamera(false);
        HostSim::workpiece().clear(); // nothing to follow
        CalibrationWizard wizard(0);
        wizard.show();
        QVERIFY(!runScale(wizard));
        const QString strStatus = child<QLabel>(&wizard, "statusLabel")->text();
        QVERIFY2(strStatus.startsWith("Calibration failed: texture too poor"), qPrintable(strStatus));
        QVERIFY(!strStatus.contains('\n'));
        QVERIFY(!child<QPushButton>(&wizard, "saveButton")->isEnabled());
        child<QPushButton>(&wizard, "saveButton")->click();
        QVERIFY(!QFile::exists(configPath()));
        QVERIFY(!HostSim::hostCamera(0)->hasModel());
    }

    // Moves take time: the wizard follows them without holding the event loop.
    void theWindowKeepsRunningWhileTheMachineMoves()
    {
        mountedCamera(false);
        HostSim::machine().setSpeed(40.0); // 2 mm steps take 50 to 100 ms
        CalibrationWizard wizard(0);
        child<QDoubleSpinBox>(&wizard, "rangeSpin")->setValue(2.0);
        int nTicks = 0;
        QTimer other;
        connect(&other, &QTimer::timeout, &wizard, [&nTicks] { ++nTicks; });
        other.start(10);
        QSignalSpy finished(&wizard, &CalibrationWizard::runFinished);
        child<QPushButton>(&wizard, "startButton")->click();
        QVERIFY(!child<QPushButton>(&wizard, "startButton")->isEnabled());
        QVERIFY(child<QLabel>(&wizard, "statusLabel")->text().startsWith("Position 1 of 9"));
        QVERIFY(finished.wait(30000));
        QVERIFY(finished.first().first().toBool());
        // Well over a second of moves: the other timer ran all along.
        QVERIFY2(nTicks > 30, qPrintable(QString::number(nTicks)));
    }

    void noCameraDisablesTheSteps()
    {
        HostSim::removeAllCameras();
        CalibrationWizard wizard(0);
        QVERIFY(!child<QPushButton>(&wizard, "startButton")->isEnabled());
        QVERIFY(!child<QPushButton>(&wizard, "markButton")->isEnabled());
        QVERIFY(child<QLabel>(&wizard, "currentCalibration")->text().contains("no camera 1"));
    }
};

QTEST_MAIN(TestCalibrationWizard)
#include "tst_calibration_wizard.moc"
