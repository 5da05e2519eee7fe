// The demo host: a window over the replacement host with its simulated
// machine and cameras, for an operator to watch them work.

#include "DemoOptions.h"
#include "DrawingView.h"
#include "cameras/HostCamera.h"
#include "HostSim.h"
#include "HXL_CameraUI.h"
#include "HostWindow.h"
#include "services/SimApp.h"
#include "services/SimMachine.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPixmap>
#include <QSettings>
#include <QStatusBar>
#include <QTextCodec>
#include <QTimer>

#include <algorithm>
#include <cstdio>

#ifdef Q_OS_WIN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <shellapi.h>
#else
#include <sys/resource.h>
#endif

namespace {

// The command line as the operator typed it. On Windows argv holds it in the
// system's code page, which turns every character the code page lacks into
// '?' (a Chinese folder on a Western Windows): the wide command line does not.
QStringList commandLineArguments(int argc, char* argv[])
{
    QStringList arguments;
#ifdef Q_OS_WIN
    int nCount = 0;
    if (LPWSTR* ppWide = CommandLineToArgvW(GetCommandLineW(), &nCount)) {
        for (int i = 0; i < nCount; ++i)
            arguments << QString::fromWCharArray(ppWide[i]);
        LocalFree(ppWide);
        return arguments;
    }
#endif
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    return arguments;
}

void printLine(FILE* pStream, const QString& strLine)
{
    std::fputs(strLine.toLocal8Bit().constData(), pStream);
    std::fputc('\n', pStream);
    std::fflush(pStream);
}

// Magnification of simulated camera nIndex: the cameras differ so that switching shows.
double cameraMmPerPixel(int nIndex)
{
    static const double s_scales[] = {0.02, 0.04, 0.01, 0.03, 0.05, 0.015, 0.025, 0.035};
    return s_scales[nIndex % int(sizeof(s_scales) / sizeof(s_scales[0]))];
}

void addSimulatedCameras(const DemoOptions& options)
{
    for (int i = 0; i < options.cameraCount; ++i) {
        hostsim::CameraSetup setup;
        setup.name = QStringLiteral("SimCam%1").arg(i + 1);
        setup.width = options.frameWidth;
        setup.height = options.frameHeight;
        setup.colour = !options.gray;
        setup.mmPerPixel = cameraMmPerPixel(i);
        setup.source = options.source;
        setup.picturePath = options.picturePath;
        if (options.source == hostsim::FrameSource::Solid)
            setup.solidColour = options.solidColour;
        hostsim::simMountFromJson(options.simMount, setup, nullptr); // checked when parsed
        hostsim::HostSim::addCamera(setup);
    }
}

// The cameras of --camera in order; without --camera the configuration's
// "cameras" list when it has one, else the simulated camera. A real camera
// that does not answer yet is kept: it opens in the background when it comes.
bool setUpCameras(const DemoOptions& options, QString* pError)
{
    if (options.cameras.isEmpty() && hostsim::HostSim::camerasFromConfiguration())
        return true;
    hostsim::HostSim::removeAllCameras();
    if (options.cameras.isEmpty()) {
        addSimulatedCameras(options);
        return true;
    }
    for (hostsim::CameraRequest request : options.cameras) {
        if (request.type == hostsim::CameraType::Sim) {
            addSimulatedCameras(options);
            continue;
        }
        if (options.frameSizeGiven) {
            request.width = options.frameWidth;
            request.height = options.frameHeight;
        }
        if (!hostsim::HostSim::addCamera(request, pError))
            return false;
    }
    return true;
}

// The camera panel reads its settings file silently and keeps a copy of a
// damaged one when it writes the file at exit; the host tells the operator.
void checkPanelSettings()
{
    const QString strPath = hostsim::HostSim::workPath() + QStringLiteral("qcv.dat");
    if (!QFileInfo(strPath).isFile())
        return;
    QSettings settings(strPath, QSettings::IniFormat);
    settings.setIniCodec(QTextCodec::codecForName("utf-8"));
    settings.allKeys();
    if (settings.status() == QSettings::FormatError)
        hostsim::HostSim::tellOperator(QStringLiteral("qcv.dat has lines the camera panel cannot read: it uses the "
                                                      "rest, and at exit keeps the file as qcv.dat.corrupt-<date>"));
}

} // namespace

// CPU time of the whole process (all threads), in seconds.
static double processCpuSeconds()
{
#ifdef Q_OS_WIN
    FILETIME created, exited, kernel, user;
    if (!GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user))
        return 0.0;
    auto seconds = [](const FILETIME& t) {
        return double((ULONGLONG(t.dwHighDateTime) << 32) | t.dwLowDateTime) * 1e-7;
    };
    return seconds(kernel) + seconds(user);
#else
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
#endif
}

// --stats: the live view's cost, counted from the 20th frame on (opening the
// camera and building the window are not part of it).
struct LiveStats
{
    static constexpr int kWarmUpFrames = 20;
    bool started = false;
    int firstFrame = 0;
    double firstCpu = 0.0;
    QElapsedTimer clock;
};


int main(int argc, char* argv[])
{
    // Parse before the application object exists, so that a bad option is
    // reported even where no display is available.
    QCoreApplication::setApplicationName(QStringLiteral("camera_host"));
    const DemoParseResult parsed = parseDemoOptions(commandLineArguments(argc, argv));
    if (!parsed.ok()) {
        printLine(stderr, QStringLiteral("camera_host: ") + parsed.error);
        printLine(stderr, demoUsageHint());
        return 2;
    }
    if (parsed.listCameras) {
        for (const QString& strLine : hostsim::discoverCameras())
            printLine(stdout, strLine);
        return 0;
    }
    if (parsed.helpRequested) {
        std::fputs(parsed.helpText.toLocal8Bit().constData(), stdout);
        return 0;
    }
    const DemoOptions& options = parsed.options;
    const bool bHeadless = !options.headlessPng.isEmpty();

    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && options.platform.isEmpty()) {
        if (bHeadless) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        } else if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
            printLine(stderr, QStringLiteral("camera_host: no display; run it under xvfb-run, set "
                                             "QT_QPA_PLATFORM=offscreen, or use --headless PNG"));
            return 1;
        }
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("camera_host"));

    hostsim::HostSim::reset(options.workDir);
    hostsim::HostSim::setLanguage(options.language);
    QString strCameraError;
    if (!setUpCameras(options, &strCameraError)) {
        printLine(stderr, QStringLiteral("camera_host: ") + strCameraError);
        return 2;
    }
    // The camera module reads its settings ("qcv.dat" in the work directory) once at start.
    checkPanelSettings();
    HXL_CameraUI_ReadParam();
    hostsim::SimMachine& machine = hostsim::HostSim::machine();
    if (options.hasStartPosition)
        machine.setPosition(options.startX, options.startY);
    machine.setSpeed(options.speed);

    printLine(stdout, QStringLiteral("camera_host: work dir %1, camera %2, language %3")
                          .arg(QDir::toNativeSeparators(hostsim::HostSim::workPath()), describeCameras(options),
                               options.language));

    int nExitCode = 0;
    {
        HostWindow window(options);
        hostsim::HostSim::setMainWindow(&window);
        window.show();

        if (options.snapshot) {
            QString strError;
            if (window.placeSnapshot(&strError))
                hostsim::HostSim::view().zoomToData();
            else
                printLine(stderr, QStringLiteral("camera_host: snapshot not placed: ") + strError);
        }
        if (options.hasMoveTo)
            window.moveTo(options.moveToX, options.moveToY);

        if (bHeadless) {
            // Writes the picture of the window and leaves the event loop.
            auto writePicture = [&window, &options](bool bComplete) {
                const QImage image = window.grab().toImage();
                if (image.isNull() || !image.save(options.headlessPng, "PNG")) {
                    printLine(stderr, QStringLiteral("camera_host: cannot write %1")
                                          .arg(QDir::toNativeSeparators(options.headlessPng)));
                    QCoreApplication::exit(1);
                    return;
                }
                printLine(stdout, QStringLiteral("camera_host: wrote %1")
                                      .arg(QDir::toNativeSeparators(options.headlessPng)));
                printLine(stdout, QStringLiteral("camera_host: camera: ") + window.cameraHealthText());
                // The picture holds the status bar; its message in words too.
                const QString strMessage = window.statusBar()->currentMessage();
                if (!strMessage.isEmpty())
                    printLine(stdout, QStringLiteral("camera_host: status bar: ") + strMessage);
                if (!bComplete) {
                    printLine(stderr, QStringLiteral("camera_host: only %1 of %2 live frames arrived in time")
                                          .arg(window.frameCount())
                                          .arg(options.frames));
                }
                QCoreApplication::exit(bComplete ? 0 : 1);
            };
            window.setFrameTarget(options.frames);
            QObject::connect(&window, &HostWindow::frameTargetReached, &window,
                             [writePicture]() { writePicture(true); });
            // A camera that never delivers must not hang a headless run.
            const int nWatchdogMs = std::max(15000, options.frames * HostWindow::kTickMs * 4 + 5000);
            QTimer::singleShot(nWatchdogMs, &window, [&window, &options, writePicture]() {
                if (window.frameCount() < options.frames)
                    writePicture(false);
            });
        }

        LiveStats stats;
        QTimer statsPoll;
        if (options.stats) {
            QObject::connect(&statsPoll, &QTimer::timeout, &window, [&stats, &window, &statsPoll]() {
                if (window.frameCount() < LiveStats::kWarmUpFrames)
                    return;
                stats.started = true;
                stats.firstFrame = window.frameCount();
                stats.firstCpu = processCpuSeconds();
                stats.clock.start();
                statsPoll.stop();
            });
            statsPoll.start(20);
        }

        nExitCode = app.exec();

        if (options.stats) {
            const int nFrames = stats.started ? window.frameCount() - stats.firstFrame : 0;
            if (nFrames <= 0) {
                printLine(stdout, QStringLiteral("camera_host: stats: fewer than %1 live frames, nothing measured")
                                      .arg(LiveStats::kWarmUpFrames + 1));
            } else {
                const double dSeconds = stats.clock.elapsed() / 1000.0;
                const double dCpuMs = (processCpuSeconds() - stats.firstCpu) * 1000.0;
                IZKVisionCamera* pCamera = hostsim::HostSim::hostCamera(0);
                const QString strFrame = pCamera ? QStringLiteral("%1x%2 %3")
                                                       .arg(pCamera->GetImageWidth(true))
                                                       .arg(pCamera->GetImageHeight(true))
                                                       .arg(pCamera->IsColorful() ? QStringLiteral("colour")
                                                                                  : QStringLiteral("gray"))
                                                 : QStringLiteral("no camera");
                printLine(stdout, QStringLiteral("camera_host: stats: %1 frames (%2) in %3 s after the first %4: "
                                                 "%5 frames/s, %6 ms CPU per frame, %7 % of one core")
                                      .arg(nFrames)
                                      .arg(strFrame)
                                      .arg(dSeconds, 0, 'f', 1)
                                      .arg(LiveStats::kWarmUpFrames)
                                      .arg(nFrames / dSeconds, 0, 'f', 2)
                                      .arg(dCpuMs / nFrames, 0, 'f', 2)
                                      .arg(dCpuMs / 10.0 / dSeconds, 0, 'f', 1));
            }
        }
        hostsim::HostSim::setMainWindow(nullptr);
    }
    // ... and writes them when the application ends.
    HXL_CameraUI_TellAppExit();
    // Real cameras close their devices before the process ends.
    hostsim::HostSim::removeAllCameras();
    return nExitCode;
}
