#include "DemoOptions.h"

#include "cameras/PictureFile.h"


#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <cmath>

namespace {

QString invalid(const QString& strOption, const QString& strValue, const QString& strExpected)
{
    return QStringLiteral("invalid value '%1' for %2: %3").arg(strValue, strOption, strExpected);
}

bool parseInt(const QString& strText, int nMin, int nMax, int& nValue)
{
    static const QRegularExpression reInt(QStringLiteral("^[+]?[0-9]{1,9}$"));
    if (!reInt.match(strText.trimmed()).hasMatch())
        return false;
    bool bOk = false;
    const int n = strText.trimmed().toInt(&bOk);
    if (!bOk || n < nMin || n > nMax)
        return false;
    nValue = n;
    return true;
}

bool parseDouble(const QString& strText, double& dValue)
{
    bool bOk = false;
    const double d = strText.trimmed().toDouble(&bOk);
    if (!bOk || !std::isfinite(d))
        return false;
    dValue = d;
    return true;
}

bool parsePoint(const QString& strText, double& dX, double& dY)
{
    const QStringList parts = strText.split(QLatin1Char(','));
    if (parts.size() != 2)
        return false;
    return parseDouble(parts[0], dX) && parseDouble(parts[1], dY);
}

// A real camera: genicam:ADDRESS_OR_NAME, v4l2:DEVICE or auto. Empty string
// when fine; bRecognised false when the value is none of these.
QString parseRealCamera(const QString& strValue, DemoOptions& options, bool& bRecognised)
{
    const QString strOption = QStringLiteral("--camera");
    bRecognised = true;
    hostsim::CameraRequest request;
    if (strValue == QLatin1String("auto")) {
        request.type = hostsim::CameraType::Auto;
    } else if (strValue.startsWith(QLatin1String("genicam:"))) {
        // An IP address, or a device id / serial number as Aravis lists them
        // (arv-tool-0.8 prints them), e.g. "Aravis-Fake-GV01".
        static const QRegularExpression reAddress(QStringLiteral("^[A-Za-z0-9][A-Za-z0-9._:()\\- ]{0,127}$"));
        request.type = hostsim::CameraType::GenICam;
        request.address = strValue.mid(8);
        if (!reAddress.match(request.address).hasMatch())
            return invalid(strOption, strValue,
                           QStringLiteral("expected genicam:ADDRESS_OR_NAME, e.g. genicam:192.168.1.20 or "
                                          "genicam:Basler-12345678"));
    } else if (strValue.startsWith(QLatin1String("v4l2:"))) {
        request.type = hostsim::CameraType::V4L2;
        QString strDevice = strValue.mid(5);
        static const QRegularExpression reIndex(QStringLiteral("^[0-9]{1,2}$"));
        if (reIndex.match(strDevice).hasMatch())
            strDevice = QStringLiteral("/dev/video") + strDevice;
        if (!strDevice.startsWith(QLatin1Char('/')))
            return invalid(strOption, strValue, QStringLiteral("expected v4l2:DEVICE, e.g. v4l2:/dev/video0 or v4l2:0"));
        const QFileInfo info(strDevice);
        // A device that is not there may be plugged in later; one that is a
        // plain file or a directory is a mistake.
        if (info.exists() && (info.isDir() || info.isFile()))
            return invalid(strOption, strValue, QStringLiteral("not a video device"));
        request.address = strDevice;
    } else {
        bRecognised = false;
        return QString();
    }
    if (!hostsim::cameraTypeAvailable(request.type))
        return invalid(strOption, strValue, QStringLiteral("this build has no %1 camera")
                                                .arg(hostsim::cameraTypeNames().value(int(request.type))));
    options.cameras.append(request);
    return QString();
}

// Checks one --camera value and fills the options; empty string when fine.
QString parseCamera(const QString& strValue, DemoOptions& options)
{
    const QString strOption = QStringLiteral("--camera");
    bool bRecognised = false;
    const QString strError = parseRealCamera(strValue, options, bRecognised);
    if (bRecognised)
        return strError;
    hostsim::CameraRequest simulated;
    simulated.type = hostsim::CameraType::Sim;
    options.cameras.append(simulated);
    if (strValue == QLatin1String("sim")) {
        options.source = hostsim::FrameSource::Scene;
        return QString();
    }
    if (strValue == QLatin1String("pattern")) {
        options.source = hostsim::FrameSource::TestPattern;
        return QString();
    }
    if (strValue.startsWith(QLatin1String("solid:"))) {
        static const QRegularExpression reColour(QStringLiteral("^#[0-9A-Fa-f]{6}$"));
        const QString strColour = strValue.mid(6);
        if (!reColour.match(strColour).hasMatch())
            return invalid(strOption, strValue, QStringLiteral("expected solid:#RRGGBB, e.g. solid:#40a0ff"));
        options.source = hostsim::FrameSource::Solid;
        options.solidColour = QColor(strColour);
        return QString();
    }
    if (strValue.startsWith(QLatin1String("picture:"))) {
        const QString strPath = strValue.mid(8);
        if (strPath.isEmpty())
            return invalid(strOption, strValue, QStringLiteral("expected picture:PATH"));
        const QFileInfo info(strPath);
        if (!info.exists())
            return invalid(strOption, strValue, QStringLiteral("no such file"));
        if (!info.isFile())
            return invalid(strOption, strValue, QStringLiteral("not a file"));
        // The host's own check: a whole JPEG, BMP or PNG within its size limit.
        QString strWhy;
        if (!hostsim::checkPictureFile(strPath, &strWhy))
            return invalid(strOption, strValue, strWhy);
        options.source = hostsim::FrameSource::Picture;
        options.picturePath = info.absoluteFilePath();
        return QString();
    }
    options.cameras.removeLast();
    return invalid(strOption, strValue,
                   QStringLiteral("expected sim, picture:PATH, solid:#RRGGBB, pattern, genicam:ADDRESS_OR_NAME, "
                                  "v4l2:DEVICE or auto"));
}

// --sim-mount KEY=VALUE,...: the keys of a simulated camera's "mount" in the
// configuration file; true/false for "mirrored", numbers for the rest.
QString parseSimMount(const QString& strValue, DemoOptions& options)
{
    const QString strOption = QStringLiteral("--sim-mount");
    const QString strExpected = QStringLiteral(
        "expected KEY=VALUE,... with keys mmPerPixelX, mmPerPixelY, rotationDeg, offsetX, offsetY, mirrored, noise, "
        "noiseSeed, e.g. rotationDeg=3,offsetX=12.5,offsetY=-7.25");
    static const QStringList keys{QStringLiteral("mmPerPixelX"), QStringLiteral("mmPerPixelY"),
                                  QStringLiteral("rotationDeg"), QStringLiteral("offsetX"),
                                  QStringLiteral("offsetY"),     QStringLiteral("mirrored"),
                                  QStringLiteral("noise"),       QStringLiteral("noiseSeed")};
    QJsonObject mount;
    for (const QString& strPart : strValue.split(QLatin1Char(','))) {
        const int nEquals = strPart.indexOf(QLatin1Char('='));
        const QString strKey = strPart.left(nEquals).trimmed();
        const QString strText = strPart.mid(nEquals + 1).trimmed();
        if (nEquals < 0 || !keys.contains(strKey))
            return invalid(strOption, strValue, strExpected);
        if (strText == QLatin1String("true") || strText == QLatin1String("false")) {
            mount.insert(strKey, strText == QLatin1String("true"));
            continue;
        }
        double d = 0.0;
        if (!parseDouble(strText, d))
            return invalid(strOption, strValue, QStringLiteral("%1 is not a number").arg(strKey));
        mount.insert(strKey, d);
    }
    hostsim::CameraSetup probe;
    QString strWhy;
    if (!hostsim::simMountFromJson(mount, probe, &strWhy))
        return invalid(strOption, strValue, strWhy);
    options.simMount = mount;
    return QString();
}

// Help text like QCommandLineParser's, which needs an application object
// (the demo parses before it makes one).
QString helpText(const QString& strDescription, const QList<QCommandLineOption>& options)
{
    QStringList names;
    int nWidth = 0;
    for (const QCommandLineOption& option : options) {
        QStringList parts;
        for (const QString& strName : option.names())
            parts << (strName.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + strName;
        QString strNames = parts.join(QStringLiteral(", "));
        if (!option.valueName().isEmpty())
            strNames += QLatin1Char(' ') + option.valueName();
        nWidth = std::max(nWidth, int(strNames.size()));
        names << strNames;
    }
    QString strText = QStringLiteral("Usage: camera_host [options]\n%1\n\nOptions:\n").arg(strDescription);
    for (int i = 0; i < options.size(); ++i)
        strText += QStringLiteral("  %1  %2\n").arg(names[i], -nWidth).arg(options[i].description());
    return strText;
}

} // namespace

QString demoUsageHint()
{
    return QStringLiteral("Try 'camera_host --help' for more information.");
}

QString describeCameras(const DemoOptions& options)
{
    bool bReal = false;
    for (const hostsim::CameraRequest& request : options.cameras)
        bReal = bReal || request.type != hostsim::CameraType::Sim;
    if (bReal) {
        QStringList parts;
        for (const hostsim::CameraRequest& request : options.cameras) {
            switch (request.type) {
            case hostsim::CameraType::GenICam: parts << QStringLiteral("genicam:") + request.address; break;
            case hostsim::CameraType::V4L2: parts << QStringLiteral("v4l2:") + request.address; break;
            case hostsim::CameraType::Auto: parts << QStringLiteral("auto"); break;
            case hostsim::CameraType::Sim: parts << QStringLiteral("sim"); break;
            }
        }
        return parts.join(QStringLiteral(", "));
    }
    QString strSource;
    switch (options.source) {
    case hostsim::FrameSource::Scene: strSource = QStringLiteral("sim"); break;
    case hostsim::FrameSource::Picture: strSource = QStringLiteral("picture:") + options.picturePath; break;
    case hostsim::FrameSource::Solid: strSource = QStringLiteral("solid:") + options.solidColour.name(); break;
    case hostsim::FrameSource::TestPattern: strSource = QStringLiteral("pattern"); break;
    }
    return QStringLiteral("%1, %2 camera%3 %4x%5 %6")
        .arg(strSource)
        .arg(options.cameraCount)
        .arg(options.cameraCount == 1 ? QString() : QStringLiteral("s"))
        .arg(options.frameWidth)
        .arg(options.frameHeight)
        .arg(options.gray ? QStringLiteral("gray") : QStringLiteral("colour"));
}

DemoParseResult parseDemoOptions(const QStringList& arguments, const QProcessEnvironment& environment,
                                 bool bCreateWorkDir)
{
    DemoParseResult result;
    DemoOptions& options = result.options;

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Demo host of the camera panel: a simulated XY machine with a camera over a virtual workpiece."));
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption optHelp(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                     QStringLiteral("Shows this help and exits."));
    const QCommandLineOption optWorkDir(
        QStringLiteral("work-dir"),
        QStringLiteral("Host work directory (default: $HXL_WORK_PATH, else the application data location); created "
                       "when missing."),
        QStringLiteral("DIR"));
    const QCommandLineOption optCamera(
        QStringLiteral("camera"),
        QStringLiteral("Camera: sim (default, the virtual workpiece under the machine), picture:PATH, "
                       "solid:#RRGGBB, pattern, genicam:ADDRESS_OR_NAME (GigE Vision / USB3 Vision), v4l2:DEVICE "
                       "(webcam) or auto. Repeat for several cameras. A real camera that does not answer yet is "
                       "opened in the background."),
        QStringLiteral("SOURCE"));
    const QCommandLineOption optCameras(QStringLiteral("cameras"),
                                        QStringLiteral("Number of simulated cameras, 1..8 (default 1)."),
                                        QStringLiteral("N"));
    const QCommandLineOption optFrameSize(QStringLiteral("frame-size"),
                                          QStringLiteral("Camera frame size (default 1280x1024; real cameras "
                                                         "keep their own unless given)."),
                                          QStringLiteral("WxH"));
    const QCommandLineOption optGray(QStringLiteral("gray"), QStringLiteral("Gray cameras instead of colour ones."));
    const QCommandLineOption optLanguage(QStringLiteral("language"),
                                         QStringLiteral("Language of the texts: en or zh_CN (default: "
                                                        "$HXL_LANGUAGE, else en)."),
                                         QStringLiteral("CODE"));
    const QCommandLineOption optSpeed(QStringLiteral("speed"),
                                      QStringLiteral("Machine speed in mm/s (default 20; 0 = instant moves)."),
                                      QStringLiteral("MM_PER_S"));
    const QCommandLineOption optHeadless(
        QStringLiteral("headless"),
        QStringLiteral("Runs without a screen: writes a picture of the window to PNG after the live frames given "
                       "by --frames, then exits."),
        QStringLiteral("PNG"));
    const QCommandLineOption optFrames(QStringLiteral("frames"),
                                       QStringLiteral("Live frames before the headless picture (default 30)."),
                                       QStringLiteral("N"));
    const QCommandLineOption optPosition(QStringLiteral("position"),
                                         QStringLiteral("Machine position at start in mm (default 0,0)."),
                                         QStringLiteral("X,Y"));
    const QCommandLineOption optMoveTo(QStringLiteral("move-to"),
                                       QStringLiteral("Starts a machine move to X,Y (mm) once the window shows."),
                                       QStringLiteral("X,Y"));
    const QCommandLineOption optSnapshot(QStringLiteral("snapshot"),
                                         QStringLiteral("Places a camera snapshot on the drawing at start."));
    const QCommandLineOption optSimMount(
        QStringLiteral("sim-mount"),
        QStringLiteral("How the simulated cameras are mounted, e.g. rotationDeg=3,offsetX=12.5,offsetY=-7.25,"
                       "mmPerPixelX=0.021,mmPerPixelY=0.02,mirrored=false,noise=2,noiseSeed=1 (the host's "
                       "calibration is apart: Camera > Calibrate camera measures it)."),
        QStringLiteral("KEY=VALUE,..."));
    const QCommandLineOption optStats(QStringLiteral("stats"),
                                      QStringLiteral("Prints at exit the live frames shown and the process's CPU "
                                                     "time per frame (counted after the first 20 frames)."));
    const QCommandLineOption optListCameras(QStringLiteral("list-cameras"),
                                            QStringLiteral("Prints what camera discovery finds (GenICam and V4L2), "
                                                           "one --camera value a line, and exits."));
    // Qt's own option, taken by the application object as in every Qt
    // program; named here so that it is not refused before that.
    const QCommandLineOption optPlatform(QStringLiteral("platform"),
                                         QStringLiteral("Qt platform plugin (e.g. offscreen; the headless mode "
                                                        "takes offscreen by itself)."),
                                         QStringLiteral("NAME"));
    const QList<QCommandLineOption> allOptions{optHelp,     optWorkDir,  optCamera,   optCameras, optFrameSize,
                                               optGray,     optLanguage, optSpeed,    optHeadless, optFrames,
                                               optPosition, optMoveTo,   optSnapshot, optSimMount, optStats,
                                               optPlatform, optListCameras};
    parser.addOptions(allOptions);

    if (!parser.parse(arguments)) {
        result.error = parser.errorText();
        return result;
    }
    if (parser.isSet(optListCameras)) {
        result.listCameras = true;
        return result;
    }
    if (parser.isSet(optHelp)) {
        result.helpRequested = true;
        result.helpText = helpText(parser.applicationDescription(), allOptions);
        return result;
    }
    if (!parser.positionalArguments().isEmpty()) {
        result.error = QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first());
        return result;
    }

    // --camera (repeatable)
    if (parser.isSet(optCamera)) {
        const QStringList values = parser.values(optCamera);
        options.cameraText = values.first();
        int nSimulated = 0;
        for (const QString& strValue : values) {
            result.error = parseCamera(strValue, options);
            if (!result.error.isEmpty())
                return result;
            if (options.cameras.last().type == hostsim::CameraType::Sim)
                ++nSimulated;
        }
        if (values.size() > kDemoMaxCameras) {
            result.error = QStringLiteral("option --camera: %1 cameras at most").arg(kDemoMaxCameras);
            return result;
        }
        if (nSimulated > 1) {
            result.error = QStringLiteral("option --camera: one simulated source at most (use --cameras N for "
                                          "several simulated cameras)");
            return result;
        }
    }

    // --cameras
    if (parser.isSet(optCameras)) {
        const QString strValue = parser.value(optCameras);
        if (!parseInt(strValue, 1, kDemoMaxCameras, options.cameraCount)) {
            result.error = invalid(QStringLiteral("--cameras"), strValue,
                                   QStringLiteral("expected a whole number from 1 to %1").arg(kDemoMaxCameras));
            return result;
        }
        for (const hostsim::CameraRequest& request : options.cameras) {
            if (request.type != hostsim::CameraType::Sim) {
                result.error = QStringLiteral("option --cameras counts simulated cameras; give --camera once for "
                                              "each real camera");
                return result;
            }
        }
    }

    // --frame-size
    if (parser.isSet(optFrameSize)) {
        const QString strValue = parser.value(optFrameSize);
        static const QRegularExpression reSize(QStringLiteral("^([0-9]{1,6})[xX]([0-9]{1,6})$"));
        const QRegularExpressionMatch match = reSize.match(strValue.trimmed());
        int nWidth = 0, nHeight = 0;
        if (!match.hasMatch()
            || !parseInt(match.captured(1), kDemoMinFrameSide, kDemoMaxFrameSide, nWidth)
            || !parseInt(match.captured(2), kDemoMinFrameSide, kDemoMaxFrameSide, nHeight)) {
            result.error = invalid(QStringLiteral("--frame-size"), strValue,
                                   QStringLiteral("expected WxH with each side from %1 to %2, e.g. 1280x1024")
                                       .arg(kDemoMinFrameSide)
                                       .arg(kDemoMaxFrameSide));
            return result;
        }
        options.frameWidth = nWidth;
        options.frameHeight = nHeight;
        options.frameSizeGiven = true;
    }

    options.gray = parser.isSet(optGray);

    if (parser.isSet(optSimMount)) {
        result.error = parseSimMount(parser.value(optSimMount), options);
        if (!result.error.isEmpty())
            return result;
    }

    // --language
    {
        QString strOption = QStringLiteral("--language");
        QString strValue = QStringLiteral("en");
        if (parser.isSet(optLanguage)) {
            strValue = parser.value(optLanguage);
        } else if (!environment.value(QStringLiteral("HXL_LANGUAGE")).isEmpty()) {
            strValue = environment.value(QStringLiteral("HXL_LANGUAGE"));
            strOption = QStringLiteral("HXL_LANGUAGE (default of --language)");
        }
        if (strValue != QLatin1String("en") && strValue != QLatin1String("zh_CN")) {
            result.error = invalid(strOption, strValue, QStringLiteral("expected en or zh_CN"));
            return result;
        }
        options.language = strValue;
    }

    // --speed
    if (parser.isSet(optSpeed)) {
        const QString strValue = parser.value(optSpeed);
        double dSpeed = 0.0;
        if (!parseDouble(strValue, dSpeed) || dSpeed < 0.0 || dSpeed > kDemoMaxSpeed) {
            result.error = invalid(QStringLiteral("--speed"), strValue,
                                   QStringLiteral("expected millimetres per second from 0 (instant) to %1")
                                       .arg(kDemoMaxSpeed));
            return result;
        }
        options.speed = dSpeed;
    }

    // --headless and --frames
    if (parser.isSet(optHeadless)) {
        const QString strValue = parser.value(optHeadless);
        if (strValue.trimmed().isEmpty()) {
            result.error = invalid(QStringLiteral("--headless"), strValue, QStringLiteral("expected a PNG file name"));
            return result;
        }
        if (QFileInfo(strValue).isDir()) {
            result.error = invalid(QStringLiteral("--headless"), strValue,
                                   QStringLiteral("is a directory, expected a PNG file name"));
            return result;
        }
        options.headlessPng = QFileInfo(strValue).absoluteFilePath();
    }
    if (parser.isSet(optFrames)) {
        const QString strValue = parser.value(optFrames);
        if (!parseInt(strValue, 1, kDemoMaxFrames, options.frames)) {
            result.error = invalid(QStringLiteral("--frames"), strValue,
                                   QStringLiteral("expected a whole number from 1 to %1").arg(kDemoMaxFrames));
            return result;
        }
        if (options.headlessPng.isEmpty()) {
            result.error = QStringLiteral("option --frames %1 needs --headless PNG").arg(strValue);
            return result;
        }
    }

    // Demo extras.
    options.stats = parser.isSet(optStats);
    if (parser.isSet(optPosition)) {
        const QString strValue = parser.value(optPosition);
        if (!parsePoint(strValue, options.startX, options.startY)) {
            result.error = invalid(QStringLiteral("--position"), strValue,
                                   QStringLiteral("expected X,Y in millimetres, e.g. 10,-5.5"));
            return result;
        }
        options.hasStartPosition = true;
    }
    if (parser.isSet(optMoveTo)) {
        const QString strValue = parser.value(optMoveTo);
        if (!parsePoint(strValue, options.moveToX, options.moveToY)) {
            result.error = invalid(QStringLiteral("--move-to"), strValue,
                                   QStringLiteral("expected X,Y in millimetres, e.g. 10,-5.5"));
            return result;
        }
        options.hasMoveTo = true;
    }
    options.snapshot = parser.isSet(optSnapshot);
    options.platform = parser.value(optPlatform);

    // --work-dir (last: it may create a directory)
    {
        QString strOption = QStringLiteral("--work-dir");
        QString strDir;
        if (parser.isSet(optWorkDir)) {
            strDir = parser.value(optWorkDir);
            if (strDir.trimmed().isEmpty()) {
                result.error = invalid(strOption, strDir, QStringLiteral("expected a directory"));
                return result;
            }
        } else if (!environment.value(QStringLiteral("HXL_WORK_PATH")).isEmpty()) {
            strDir = environment.value(QStringLiteral("HXL_WORK_PATH"));
            strOption = QStringLiteral("HXL_WORK_PATH (default of --work-dir)");
        } else {
            strDir = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
            strOption = QStringLiteral("the default --work-dir");
            if (strDir.isEmpty()) {
                result.error = QStringLiteral("no application data location: give --work-dir DIR");
                return result;
            }
        }
        // The camera panel is handed the work directory as a string of the
        // system's code page and finds its files ("qcv.dat", the photo)
        // through it: a directory whose name that code page cannot write
        // (a Chinese name on a Western Windows, a Korean one on a Chinese
        // Windows) would have the panel read and write somewhere else, and
        // lose the operator's settings on every start.
        const QString strAbsolute = QDir::cleanPath(QDir(strDir).absolutePath());
        if (QString::fromLocal8Bit(strAbsolute.toLocal8Bit()) != strAbsolute) {
            result.error = invalid(strOption, strDir,
                                   QStringLiteral("this system's code page cannot write its name, and the camera panel "
                                                  "finds its files through that code page: choose a directory named "
                                                  "in it"));
            return result;
        }
        const QFileInfo info(strDir);
        if (info.exists() && !info.isDir()) {
            result.error = invalid(strOption, strDir, QStringLiteral("exists and is not a directory"));
            return result;
        }
        if (bCreateWorkDir && !info.exists() && !QDir().mkpath(strDir)) {
            result.error = invalid(strOption, strDir, QStringLiteral("the directory cannot be created"));
            return result;
        }
        options.workDir = strAbsolute;
    }

    return result;
}
