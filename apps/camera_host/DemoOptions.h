#pragma once

// Command line of the demo host.

#include "HostSim.h"

#include <QColor>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QVector>

struct DemoOptions
{
    QString workDir;                  // absolute; created by the parser
    QString cameraText = QStringLiteral("sim"); // --camera as given (the first one)
    // Every --camera in order; empty when none was given (the configuration's
    // cameras, else one simulated camera). Simulated sources are Sim requests.
    QVector<hostsim::CameraRequest> cameras;
    bool frameSizeGiven = false;      // --frame-size also sizes real cameras
    hostsim::FrameSource source = hostsim::FrameSource::Scene;
    QString picturePath;              // absolute, FrameSource::Picture
    QJsonObject simMount;             // --sim-mount: how the simulated cameras are mounted (configuration form)
    QColor solidColour;               // FrameSource::Solid
    int cameraCount = 1;
    int frameWidth = 1280;
    int frameHeight = 1024;
    bool gray = false;
    QString language = QStringLiteral("en");
    double speed = 20.0;              // mm/s, 0 = instant moves
    QString headlessPng;              // absolute; empty = interactive
    int frames = 30;                  // headless: live frames before the picture is taken

    // Demo extras.
    bool hasStartPosition = false;    // --position X,Y: machine put there at start
    double startX = 0.0, startY = 0.0;
    bool hasMoveTo = false;           // --move-to X,Y: a move started once the window shows
    double moveToX = 0.0, moveToY = 0.0;
    bool snapshot = false;            // --snapshot: place a snapshot on the drawing at start
    bool stats = false;               // --stats: live frames and CPU time per frame, printed at exit
    QString platform;                 // -platform NAME: Qt's option, which QApplication takes
};

struct DemoParseResult
{
    DemoOptions options;
    QString error;                    // one line naming the option and the value; empty when fine
    bool helpRequested = false;
    bool listCameras = false; // --list-cameras: print what discovery finds and exit
    QString helpText;
    bool ok() const { return error.isEmpty(); }
};

// Parses arguments (the first one is the program name). Environment variables
// HXL_WORK_PATH and HXL_LANGUAGE give the defaults of --work-dir and
// --language. The work directory is created unless bCreateWorkDir is false.
// The default work directory is the application data location of the
// application name in force (main sets it to "camera_host" before parsing).
DemoParseResult parseDemoOptions(const QStringList& arguments,
                                 const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
                                 bool bCreateWorkDir = true);

// "Try 'camera_host --help' for more information."
QString demoUsageHint();

// Short description of the cameras, e.g. "sim, 2 cameras 1280x1024 colour"
// or "genicam:127.0.0.1, v4l2:/dev/video0".
QString describeCameras(const DemoOptions& options);

// Frame size limits accepted by --frame-size.
constexpr int kDemoMinFrameSide = 16;
constexpr int kDemoMaxFrameSide = 8192;
constexpr int kDemoMaxCameras = 8;
constexpr int kDemoMaxFrames = 100000;
constexpr double kDemoMaxSpeed = 10000.0;
