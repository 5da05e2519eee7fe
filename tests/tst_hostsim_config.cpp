// The host configuration (the processing record) is saved by WriteSystemCFG in
// the work directory and read back when the host starts. A corrupt file is
// never silently lost.

#include "HostJournal.h"
#include "HostSim.h"
#include "cameras/SimCamera.h"
#include "services/CameraConfigFile.h"
#include "services/SimCameraManager.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QJsonDocument>
#include <QtTest>

using hostsim::HostSim;

class TestConfig : public QObject
{
    Q_OBJECT

private:
    QString configPath() const { return m_pDir->filePath(hostsim::SimCameraManager::configFileName()); }

    static void writeFile(const QString& path, const QByteArray& bytes)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    static QByteArray readFile(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QStringList asideFiles() const
    {
        return QDir(m_pDir->path()).entryList({hostsim::SimCameraManager::configFileName() + ".corrupt-*"});
    }

    // The "cameras" example of the README, as the whole of a file.
    static QByteArray readmeCamerasExample()
    {
        QFile readme(QStringLiteral(HXL_SOURCE_DIR "/README.md"));
        if (!readme.open(QIODevice::ReadOnly))
            return QByteArray();
        const QString text = QString::fromUtf8(readme.readAll());
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("```json\\n(\"cameras\":.*?)```"), QRegularExpression::DotMatchesEverythingOption)
                .match(text);
        return match.hasMatch() ? "{\n" + match.captured(1).toUtf8() + "}\n" : QByteArray();
    }

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        HostSim::reset(m_pDir->path());
    }

    void workPathEndsWithASeparator()
    {
        QVERIFY(HostSim::workPath().endsWith(QLatin1Char('/')));
        QCOMPARE(QDir(HostSim::workPath()).absolutePath(), QDir(m_pDir->path()).absolutePath());
    }

    void noFileMeansDefaults()
    {
        QVERIFY(!QFile::exists(configPath()));
        IZKVisionCameraManager& m = HostSim::cameraManager();
        QCOMPARE(m.nMode5, 10);
        QCOMPARE(m.nSatMode, 0);
        QVERIFY(m.vecMorphology.empty());
    }

    void writeThenRestartRestoresEveryField()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        m.nSatMode = 2;
        m.nBriMode = 1;
        m.nGrayMode = 8;
        m.nGrayProMode = 2;
        m.nMode5 = 3;
        m.nMorphologyType = 4;
        m.nMorphologyW = 7;
        m.nMorphologyH = 9;
        m.bIsInver = true;
        m.bShowGray = true;
        m.nSatValue = 77;
        m.nBriValue = 66;
        m.nGrayValue = 55;
        m.nBriWidth = 250;
        m.nGrayWidth = 120;
        m.nAdvancedSetting = 1;
        m.nGoInterfereValue = 42;
        m.nFilterMode = 2;
        m.nFilterMin = 10;
        m.nFilterMax = 20;
        m.nFilterPoleMode = 1;
        m.nFilterPoleValue = 99;
        m.bSharpening = 1;
        m.nSharpenKernel = 9;
        m.nAdvancedSetting1 = 1;
        m.vecMorphology = {{1, 11, 1, 0}, {4, 100, 1, 0}, {0, 1, 1, 0}};
        m.bGoInterfere = true;
        m.bGoInterfereDef = false;
        m.bGrayscaleEqualization = true;
        m.bGrayPro = true;
        m.bSatDef = false;
        m.bBriDef = false;
        m.nSatValueDef = 31;
        m.nBriValueDef = 32;
        m.nGrayValueDef = 33;
        m.nBriWidthDef = 34;
        m.nGrayWidthDef = 35;
        m.nGoInterfereValueDef = 36;
        const QByteArray saved = HostSim::cameraManager().recordToJson();
        QCOMPARE(m.WriteSystemCFG(), 0);
        QVERIFY(QFile::exists(configPath()));

        HostSim::reset(); // the host starts again in the same work directory
        IZKVisionCameraManager& again = HostSim::cameraManager();
        QVERIFY(&again != &m);
        QCOMPARE(HostSim::cameraManager().recordToJson(), saved);
        QCOMPARE(again.nGrayMode, 8);
        QCOMPARE(again.vecMorphology.size(), size_t(3));
        QCOMPARE(again.vecMorphology[1].nMorphType, 4);
        QCOMPARE(again.vecMorphology[1].nLineSize, 100);
        QCOMPARE(again.bIsInver, true);
        QCOMPARE(again.nGoInterfereValueDef, 36);
    }

    void writeIsJournaled()
    {
        HostSim::journal().clear();
        HostSim::cameraManager().WriteSystemCFG();
        QCOMPARE(HostSim::journal().lines(), QStringList{QStringLiteral("IZKVisionCameraManager::WriteSystemCFG()")});
    }

    void corruptFileIsSetAsideAndDefaultsUsed_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("not json") << QByteArray("this is not a configuration {");
        QTest::newRow("truncated") << QByteArray("{\"record\": {\"nSatMode\": 2, ");
        QTest::newRow("no record, no cameras") << QByteArray("{\"version\": 1}");
        QTest::newRow("empty object") << QByteArray("{}");
        QTest::newRow("record not an object") << QByteArray("{\"record\": 5, \"cameras\": []}");
        QTest::newRow("wrong type") << QByteArray("{\"record\": {\"nSatMode\": \"two\"}}");
        QTest::newRow("bool as number") << QByteArray("{\"record\": {\"bIsInver\": 1}}");
        QTest::newRow("not a whole number") << QByteArray("{\"record\": {\"nSatMode\": 2.5}}");
        QTest::newRow("above 32 bits") << QByteArray("{\"record\": {\"nFilterMin\": 2147483648}}");
        QTest::newRow("far above 32 bits") << QByteArray("{\"record\": {\"nSharpenKernel\": -1e300}}");
        QTest::newRow("bad morphology") << QByteArray("{\"record\": {\"vecMorphology\": 5}}");
        QTest::newRow("bad morphology step") << QByteArray("{\"record\": {\"vecMorphology\": [{\"nLineSize\": \"big\"}]}}");
        QByteArray steps = "{\"record\": {\"vecMorphology\": [{}";
        for (int i = 1; i <= hostsim::kMaxMorphologySteps; ++i)
            steps += ", {}";
        QTest::newRow("too many morphology steps") << steps + "]}}";
        QTest::newRow("cameras not a list") << QByteArray("{\"record\": {}, \"cameras\": {\"type\": \"Sim\"}}");
        QTest::newRow("camera not an object") << QByteArray("{\"record\": {}, \"cameras\": [5]}");
        QByteArray cameras = "{\"record\": {}, \"cameras\": [{}";
        for (int i = 1; i <= hostsim::kMaxConfiguredCameras; ++i)
            cameras += ", {}";
        QTest::newRow("too many cameras") << cameras + "]}";
        QTest::newRow("array root") << QByteArray("[1, 2, 3]");
    }
    void corruptFileIsSetAsideAndDefaultsUsed()
    {
        QFETCH(QByteArray, content);
        writeFile(configPath(), content);
        HostSim::cameraManager().nSatMode = 2; // must not survive: a fresh start reads the file
        const int nLines = HostSim::operatorLines().size();
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().nSatMode, 0); // defaults
        QCOMPARE(HostSim::cameraManager().bIsInver, false);
        QVERIFY(HostSim::cameraManager().vecMorphology.empty());
        QCOMPARE(HostSim::cameraCount(), 1); // the default camera
        QVERIFY(!QFile::exists(configPath()));
        const QStringList aside = asideFiles();
        QCOMPARE(aside.size(), 1);
        const QString keptPath = m_pDir->filePath(aside.first());
        QCOMPARE(readFile(keptPath), content); // the operator's file, byte for byte
        // The operator is told in one line where the file went.
        const QStringList told = HostSim::operatorLines(nLines);
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.first().contains(QStringLiteral("unreadable"))
                     && told.first().contains(QStringLiteral("kept as ") + aside.first()),
                 qPrintable(told.first()));

        // Never overwritten: the host's next save writes a new file.
        QCOMPARE(HostSim::cameraManager().WriteSystemCFG(), 0);
        QVERIFY(QFile::exists(configPath()));
        QCOMPARE(asideFiles(), aside);
        QCOMPARE(readFile(keptPath), content);
    }

    // An operator may write only the cameras (as the README shows): the file
    // is read, the record keeps its defaults, and saving keeps the cameras.
    void camerasOnlyFileIsRead()
    {
        hostsim::SimCameraManager& fresh = HostSim::cameraManager();
        const QByteArray defaults = fresh.recordToJson(); // no file yet: the host's defaults
        const QByteArray content = "{\"cameras\": [{\"type\": \"Sim\", \"name\": \"Left\", \"width\": 640, "
                                   "\"height\": 480, \"colour\": false, \"mmPerPixel\": 0.05}]}\n";
        writeFile(configPath(), content);
        const int nLines = HostSim::operatorLines().size();
        HostSim::reset();

        QCOMPARE(readFile(configPath()), content); // read where it is, not declared corrupt
        QCOMPARE(asideFiles(), QStringList());
        QCOMPARE(HostSim::operatorLines(nLines), QStringList());
        QVERIFY(HostSim::camerasFromConfiguration());
        QCOMPARE(HostSim::cameraCount(), 1);
        hostsim::SimCamera* pCamera = HostSim::camera(0);
        QVERIFY(pCamera);
        QCOMPARE(QString::fromStdString(pCamera->GetCameraName()), QStringLiteral("Left"));
        QCOMPARE(pCamera->frameWidth(), 640);
        QCOMPARE(pCamera->frameHeight(), 480);
        QVERIFY(!pCamera->IsColorful());
        QCOMPARE(pCamera->mmPerPixel(), 0.05);

        hostsim::SimCameraManager& m = HostSim::cameraManager();
        const QJsonArray cameras = m.configuredCameras();
        QCOMPARE(cameras.size(), 1);
        m.setConfiguredCameras(QJsonArray());
        QCOMPARE(m.recordToJson(), defaults); // every record field at its default
        m.setConfiguredCameras(cameras);

        m.nSatMode = 2;
        QCOMPARE(m.WriteSystemCFG(), 0);
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().nSatMode, 2);
        QCOMPARE(HostSim::cameraManager().configuredCameras(), cameras);
        QCOMPARE(QString::fromStdString(HostSim::camera(0)->GetCameraName()), QStringLiteral("Left"));
    }

    void theReadmeExampleIsACameraConfiguration()
    {
        const QByteArray content = readmeCamerasExample();
        QVERIFY2(!content.isEmpty(), "README.md shows no \"cameras\" example");
        hostsim::CameraConfig config;
        QString why;
        QVERIFY2(hostsim::cameraConfigFromJson(content, config, &why), qPrintable(why));
#define HXL_EMPTY(f) QVERIFY2(!config.f, #f);
        HXL_RECORD_INT_FIELDS(HXL_EMPTY)
        HXL_RECORD_BOOL_FIELDS(HXL_EMPTY)
#undef HXL_EMPTY
        QVERIFY(!config.vecMorphology);
        QCOMPARE(config.cameras.size(), 3);
        const hostsim::CameraType types[] = {hostsim::CameraType::GenICam, hostsim::CameraType::V4L2,
                                             hostsim::CameraType::Auto};
        for (int i = 0; i < 3; ++i) {
            hostsim::CameraRequest request;
            QVERIFY2(hostsim::cameraRequestFromJson(config.cameras.at(i).toObject(), request, &why), qPrintable(why));
            QCOMPARE(request.type, types[i]);
        }
        hostsim::CameraRequest first;
        hostsim::cameraRequestFromJson(config.cameras.at(0).toObject(), first, &why);
        QCOMPARE(first.address, QStringLiteral("192.168.1.20"));
        QCOMPARE(first.pixelFormat, QStringLiteral("Mono8"));
        QCOMPARE(QSize(first.width, first.height), QSize(1280, 1024));
        QCOMPARE(first.mmPerPixel, 0.02);
        QCOMPARE(first.framesPerSecond, 0.0); // the device's own rate unless asked

        // A webcam asked for a rate.
        hostsim::CameraRequest webcam;
        QVERIFY2(hostsim::cameraRequestFromJson(
                     QJsonDocument::fromJson("{\"type\": \"V4L2\", \"address\": \"/dev/video0\", \"framesPerSecond\": 15}")
                         .object(),
                     webcam, &why),
                 qPrintable(why));
        QCOMPARE(webcam.framesPerSecond, 15.0);
    }

    // A camera entry the host cannot open is skipped with one line; the rest
    // of the file is read.
    void aBadCameraIsSkippedNotTheFile_data()
    {
        QTest::addColumn<QByteArray>("camera");
        QTest::addColumn<QString>("named");
        QTest::newRow("frame above the limit") << QByteArray("{\"width\": 100000, \"height\": 100000}") << "width";
        QTest::newRow("too many pixels") << QByteArray("{\"width\": 65535, \"height\": 65535}") << "65535 x 65535";
        QTest::newRow("negative width") << QByteArray("{\"width\": -1, \"height\": 480}") << "width";
        QTest::newRow("width as text") << QByteArray("{\"width\": \"640\", \"height\": 480}") << "width";
        QTest::newRow("fractional height") << QByteArray("{\"width\": 640, \"height\": 480.5}") << "height";
        QTest::newRow("huge pixel size") << QByteArray("{\"mmPerPixel\": 1e308}") << "mmPerPixel";
        QTest::newRow("zero pixel size") << QByteArray("{\"mmPerPixel\": 0}") << "mmPerPixel";
        QTest::newRow("negative rate") << QByteArray("{\"framesPerSecond\": -5}") << "framesPerSecond";
        QTest::newRow("rate as text") << QByteArray("{\"framesPerSecond\": \"30\"}") << "framesPerSecond";
        QTest::newRow("type as number") << QByteArray("{\"type\": 1}") << "type";
        QTest::newRow("unknown type") << QByteArray("{\"type\": \"FireWire\"}") << "FireWire";
        QTest::newRow("name as list") << QByteArray("{\"name\": [\"a\"]}") << "name";
        QTest::newRow("colour as text") << QByteArray("{\"colour\": \"no\"}") << "colour";
    }
    void aBadCameraIsSkippedNotTheFile()
    {
        QFETCH(QByteArray, camera);
        QFETCH(QString, named);
        const QByteArray content = "{\"record\": {\"nSatMode\": 1}, \"cameras\": [" + camera
                                   + ", {\"type\": \"Sim\", \"name\": \"Good\", \"width\": 320, \"height\": 240}]}";
        writeFile(configPath(), content);
        const int nLines = HostSim::operatorLines().size();
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().nSatMode, 1);
        QCOMPARE(readFile(configPath()), content);
        QCOMPARE(HostSim::cameraCount(), 1);
        QCOMPARE(QString::fromStdString(HostSim::camera(0)->GetCameraName()), QStringLiteral("Good"));
        const QStringList told = HostSim::operatorLines(nLines);
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.first().startsWith(QStringLiteral("camera 1 of the configuration skipped"))
                     && told.first().contains(named),
                 qPrintable(told.first()));
    }

    void partialFileKeepsDefaultsForMissingFields()
    {
        writeFile(configPath(), "{\"record\": {\"nSatMode\": 1, \"bGrayPro\": true, \"unknownKey\": 5}}");
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().nSatMode, 1);
        QCOMPARE(HostSim::cameraManager().bGrayPro, true);
        QCOMPARE(HostSim::cameraManager().nMode5, 10);
        QVERIFY(QFile::exists(configPath()));
    }

    void writeIntoAnUnusableWorkPathFailsLoudly()
    {
        IZKVisionCameraManager& m = HostSim::cameraManager();
        QCOMPARE(m.WriteSystemCFG(), 0);
        // The work path names a file, not a directory: nothing can be written there.
        const QString notADirectory = m_pDir->filePath(hostsim::SimCameraManager::configFileName());
        HostSim::setWorkPath(notADirectory);
        QVERIFY(m.WriteSystemCFG() != 0);
        HostSim::setWorkPath(m_pDir->path());
        QVERIFY(QFile::exists(configPath()));
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestConfig)
#include "tst_hostsim_config.moc"
