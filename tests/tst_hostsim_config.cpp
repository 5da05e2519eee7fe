// The host configuration (the processing record) is saved by WriteSystemCFG in
// the work directory and read back when the host starts. A corrupt file is
// never silently lost.

#include "HostJournal.h"
#include "HostSim.h"
#include "SimCameraManager.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
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
        QTest::newRow("no record") << QByteArray("{\"version\": 1}");
        QTest::newRow("wrong type") << QByteArray("{\"record\": {\"nSatMode\": \"two\"}}");
        QTest::newRow("bool as number") << QByteArray("{\"record\": {\"bIsInver\": 1}}");
        QTest::newRow("bad morphology") << QByteArray("{\"record\": {\"vecMorphology\": 5}}");
        QTest::newRow("array root") << QByteArray("[1, 2, 3]");
    }
    void corruptFileIsSetAsideAndDefaultsUsed()
    {
        QFETCH(QByteArray, content);
        writeFile(configPath(), content);
        HostSim::cameraManager().nSatMode = 2; // must not survive: a fresh start reads the file
        HostSim::reset();
        QCOMPARE(HostSim::cameraManager().nSatMode, 0); // defaults
        QCOMPARE(HostSim::cameraManager().bIsInver, false);
        QVERIFY(!QFile::exists(configPath()));
        const QStringList aside = QDir(m_pDir->path()).entryList({hostsim::SimCameraManager::configFileName() + ".corrupt-*"});
        QCOMPARE(aside.size(), 1);
        QFile kept(m_pDir->filePath(aside.first()));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), content); // the operator's file, byte for byte
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
