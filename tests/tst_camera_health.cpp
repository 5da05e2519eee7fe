// The demo's camera health line: the state in words and the frames a second
// received from the camera and taken for the panel, over windows of a second.

#include "CameraHealth.h"

#include "HostSim.h"
#include "cameras/HostCamera.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"

#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/core.hpp>

#include <condition_variable>
#include <mutex>

using hostsim::HostSim;

namespace {

// A streaming camera that delivers exactly the frames the test lets through.
class MeteredCamera : public hostsim::StreamingCamera
{
public:
    static Options options()
    {
        Options o;
        o.name = QStringLiteral("metered");
        o.retryMs = 50;
        o.staleMs = 60000;
        o.silenceMs = 60000;
        return o;
    }
    MeteredCamera() : StreamingCamera(options()) { startWorker(); }
    ~MeteredCamera() override
    {
        lose(false);
        stopWorker();
    }
    QString typeName() const override { return QStringLiteral("Metered"); }
    void CreateParamWidget(QWidget*) override {}

    void deliver(int nFrames)
    {
        const quint64 nBefore = framesReceived();
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_nAllowed += nFrames;
        }
        m_wake.notify_all();
        QVERIFY(waitForFrame(nBefore + quint64(nFrames) - 1, 5000));
    }
    void lose(bool bLost)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bLost = bLost;
        }
        m_wake.notify_all();
    }

protected:
    bool openDevice(QString& strError) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bLost)
            strError = QStringLiteral("cable pulled");
        return !m_bLost;
    }
    ReadResult readFrame(cv::Mat& frame, int nTimeoutMs, QString& strError) override
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wake.wait_for(lock, std::chrono::milliseconds(qMin(nTimeoutMs, 50)),
                        [this] { return m_nAllowed > 0 || m_bLost; });
        if (m_bLost) {
            strError = QStringLiteral("cable pulled");
            return ReadResult::Lost;
        }
        if (m_nAllowed == 0)
            return ReadResult::Timeout;
        --m_nAllowed;
        frame = cv::Mat(48, 64, CV_8UC1, cv::Scalar(100));
        return ReadResult::Frame;
    }
    bool probeDevice() override { return true; }
    void closeDevice() override {}

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    int m_nAllowed = 0;
    bool m_bLost = false;
};

} // namespace

class TestCameraHealth : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
    }

    void noCamera()
    {
        CameraHealth health;
        health.sample(nullptr, 0);
        QCOMPARE(health.text(), QStringLiteral("no camera"));
        QVERIFY(health.receivedPerSecond() < 0);
    }

    // The simulated camera renders one frame per grab: what it delivers is what was taken.
    void simulatedCameraCountsItsGrabs()
    {
        hostsim::SimCamera* pCamera = HostSim::camera(0);
        QVERIFY(pCamera);
        CameraHealth health;
        health.sample(pCamera, 5000);
        QCOMPARE(health.text(), QStringLiteral("simulated %1 x %2").arg(pCamera->frameWidth()).arg(pCamera->frameHeight()));
        cv::Mat frame;
        for (int i = 0; i < 6; ++i)
            QCOMPARE(pCamera->grabFrame(frame), 0);
        health.sample(pCamera, 5999); // not a whole window yet: no rates
        QVERIFY(health.receivedPerSecond() < 0);
        health.sample(pCamera, 7000); // two seconds
        QCOMPARE(health.receivedPerSecond(), 3.0);
        QCOMPARE(health.shownPerSecond(), 3.0);
        QVERIFY2(health.text().endsWith(QStringLiteral(", 3.0 fps from the camera, 3.0 shown")),
                 qPrintable(health.text()));
        // The next window starts where this one ended.
        health.sample(pCamera, 8000);
        QCOMPARE(health.receivedPerSecond(), 0.0);
    }

    // A streaming camera: frames received from the device and frames taken
    // for the panel are counted apart, and its state is said in words.
    void streamingCameraReceivedAndShownApart()
    {
        auto* pCamera = static_cast<MeteredCamera*>(
            HostSim::cameraManager().addCamera(std::unique_ptr<hostsim::HostCamera>(new MeteredCamera())));
        pCamera->deliver(1);
        CameraHealth health;
        health.sample(pCamera, 0);
        QCOMPARE(health.state(), QStringLiteral("streaming 64 x 48 gray"));
        pCamera->deliver(12);
        cv::Mat frame;
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(pCamera->grabFrame(frame), 0);
            pCamera->deliver(1);
        }
        health.sample(pCamera, 1000);
        QCOMPARE(health.receivedPerSecond(), 15.0);
        QCOMPARE(health.shownPerSecond(), 3.0);
        QCOMPARE(health.text(), QStringLiteral("streaming 64 x 48 gray, 15.0 fps from the camera, 3.0 shown"));

        // The camera goes away: the line says it waits, and why.
        pCamera->lose(true);
        QTRY_VERIFY(pCamera->state() == hostsim::StreamingCamera::State::Connecting &&
                    !pCamera->lastError().isEmpty());
        health.sample(pCamera, 2000);
        QVERIFY2(health.text().startsWith(QStringLiteral("waiting: cable pulled, 0.0 fps from the camera")),
                 qPrintable(health.text()));
        pCamera->lose(false);
        pCamera->deliver(1);
        health.sample(pCamera, 3000);
        QVERIFY2(health.text().startsWith(QStringLiteral("streaming 64 x 48 gray, 1.0 fps")), qPrintable(health.text()));
    }

    // Another camera starts a new measurement: no rate of the old one is shown for it.
    void anotherCameraStartsAgain()
    {
        hostsim::SimCamera* pFirst = HostSim::camera(0);
        auto* pSecond = HostSim::cameraManager().addCamera(std::unique_ptr<hostsim::HostCamera>(new MeteredCamera()));
        CameraHealth health;
        health.sample(pFirst, 0);
        cv::Mat frame;
        pFirst->grabFrame(frame);
        health.sample(pFirst, 1000);
        QVERIFY(health.receivedPerSecond() > 0);
        health.sample(pSecond, 1500);
        QVERIFY(health.receivedPerSecond() < 0);
        QVERIFY(!health.text().contains(QStringLiteral("fps")));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestCameraHealth)
#include "tst_camera_health.moc"
