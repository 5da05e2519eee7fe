// The host's camera configuration file (HXL_VisionCamera.json) fed damaged
// files: cut short, bits flipped, values of the wrong type, numbers beyond 32
// bits, NUL bytes, bytes that are not UTF-8, deep nesting, long lists and
// files of 100 MB. The host must not crash or hang; it either reads the file
// (every record field it holds, the defaults for the rest) or keeps it aside
// byte for byte as "<name>.corrupt-<date>", tells the operator in one line and
// takes the defaults; and it always reads back what it writes next.
//
// Which of the two a file deserves is judged here from the JSON on its own,
// by the rules of the file: an object with a "record" object or a "cameras"
// list of objects (at most 64), record numbers that are 32-bit whole numbers,
// true or false where the record has a switch, at most 256 morphology steps,
// at most 1 MiB in all.

#include "CorpusSupport.h"
#include "HostSim.h"
#include "services/CameraConfigFile.h"
#include "services/SimCameraManager.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using corpus::readFile;
using corpus::writeFile;
using hostsim::HostSim;

namespace {

bool isInt32(const QJsonValue& value)
{
    const double d = value.toDouble();
    return value.isDouble() && d >= -2147483648.0 && d <= 2147483647.0 && d == std::floor(d);
}

// What the host must make of a file.
struct Verdict
{
    bool bReadable = false;
    QJsonObject record;                    // the fields it must take
    QVector<ZKMorphologyParam> morphology; // when the record has "vecMorphology"
};

Verdict judge(const QByteArray& bytes)
{
    Verdict refused;
    if (bytes.size() > hostsim::kMaxCameraConfigBytes)
        return refused;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    if (!doc.isObject())
        return refused;
    const QJsonObject root = doc.object();
    const QJsonValue record = root.value(QStringLiteral("record"));
    const QJsonValue cameras = root.value(QStringLiteral("cameras"));
    if (record.isUndefined() && cameras.isUndefined())
        return refused;
    if (!record.isUndefined() && !record.isObject())
        return refused;
    if (!cameras.isUndefined()) {
        if (!cameras.isArray() || cameras.toArray().size() > hostsim::kMaxConfiguredCameras)
            return refused;
        for (const QJsonValue& camera : cameras.toArray())
            if (!camera.isObject())
                return refused;
    }
    Verdict verdict;
    const QJsonObject fields = record.toObject();
    for (auto it = fields.begin(); it != fields.end(); ++it) {
        const QString key = it.key();
#define HXL_CHECK(f)                                                                                               \
    if (key == QLatin1String(#f)) {                                                                                \
        if (!isInt32(it.value()))                                                                                  \
            return refused;                                                                                        \
        verdict.record.insert(key, it.value());                                                                    \
    }
        HXL_RECORD_INT_FIELDS(HXL_CHECK)
#undef HXL_CHECK
#define HXL_CHECK(f)                                                                                               \
    if (key == QLatin1String(#f)) {                                                                                \
        if (!it.value().isBool())                                                                                  \
            return refused;                                                                                        \
        verdict.record.insert(key, it.value());                                                                    \
    }
        HXL_RECORD_BOOL_FIELDS(HXL_CHECK)
#undef HXL_CHECK
        if (key == QLatin1String("vecMorphology")) {
            if (!it.value().isArray() || it.value().toArray().size() > hostsim::kMaxMorphologySteps)
                return refused;
            for (const QJsonValue& v : it.value().toArray()) {
                if (!v.isObject())
                    return refused;
                const QJsonObject o = v.toObject();
                for (const char* pszField : {"nMorphType", "nLineSize", "bEnable", "nReserved"})
                    if (o.contains(QLatin1String(pszField)) && !isInt32(o.value(QLatin1String(pszField))))
                        return refused;
                ZKMorphologyParam step;
                step.nMorphType = o.value(QStringLiteral("nMorphType")).toInt(step.nMorphType);
                step.nLineSize = o.value(QStringLiteral("nLineSize")).toInt(step.nLineSize);
                step.bEnable = o.value(QStringLiteral("bEnable")).toInt(step.bEnable);
                step.nReserved = o.value(QStringLiteral("nReserved")).toInt(step.nReserved);
                verdict.morphology.append(step);
            }
            verdict.record.insert(key, it.value());
        }
    }
    verdict.bReadable = true;
    return verdict;
}

} // namespace

class TestConfigCorpus : public QObject
{
    Q_OBJECT

private:
    QString configPath() const { return m_pDir->filePath(hostsim::SimCameraManager::configFileName()); }

    QStringList asideFiles() const
    {
        return QDir(m_pDir->path()).entryList({hostsim::SimCameraManager::configFileName() + ".corrupt-*"});
    }

    // The record as the host holds it, cameras left out.
    static QByteArray recordOnly()
    {
        hostsim::SimCameraManager& m = HostSim::cameraManager();
        const QJsonArray cameras = m.configuredCameras();
        m.setConfiguredCameras(QJsonArray());
        const QByteArray json = m.recordToJson();
        m.setConfiguredCameras(cameras);
        return json;
    }

    void compareRecord(const Verdict& verdict)
    {
        const IZKVisionCameraManager& m = HostSim::cameraManager();
        const IZKVisionCameraManager& d = *m_pDefaults;
#define HXL_SAME(f)                                                                                                \
    QVERIFY2(m.f == (verdict.record.contains(QLatin1String(#f)) ? static_cast<decltype(d.f)>(verdict.record.value(QLatin1String(#f)).toDouble()) : d.f), #f);
        HXL_RECORD_INT_FIELDS(HXL_SAME)
#undef HXL_SAME
#define HXL_SAME(f)                                                                                                \
    QVERIFY2(m.f == (verdict.record.contains(QLatin1String(#f)) ? verdict.record.value(QLatin1String(#f)).toBool() : d.f), #f);
        HXL_RECORD_BOOL_FIELDS(HXL_SAME)
#undef HXL_SAME
        if (!verdict.record.contains(QLatin1String("vecMorphology"))) {
            QCOMPARE(m.vecMorphology.size(), d.vecMorphology.size());
            return;
        }
        QCOMPARE(int(m.vecMorphology.size()), verdict.morphology.size());
        for (int i = 0; i < verdict.morphology.size(); ++i) {
            QCOMPARE(m.vecMorphology[size_t(i)].nMorphType, verdict.morphology[i].nMorphType);
            QCOMPARE(m.vecMorphology[size_t(i)].nLineSize, verdict.morphology[i].nLineSize);
            QCOMPARE(m.vecMorphology[size_t(i)].bEnable, verdict.morphology[i].bEnable);
            QCOMPARE(m.vecMorphology[size_t(i)].nReserved, verdict.morphology[i].nReserved);
        }
    }

    void checkCase(const QByteArray& bytes)
    {
        const Verdict verdict = judge(bytes);
        writeFile(configPath(), bytes);
        const int nLines = HostSim::operatorLines().size();
        HostSim::reset();
        const QStringList told = HostSim::operatorLines(nLines);
        if (verdict.bReadable) {
            QVERIFY2(QFile::exists(configPath()), "a readable file was set aside");
            QCOMPARE(readFile(configPath()), bytes);
            QCOMPARE(asideFiles(), QStringList());
            for (const QString& line : told)
                QVERIFY2(line.startsWith(QStringLiteral("camera ")), qPrintable(line)); // at most skipped cameras
            compareRecord(verdict);
            if (QTest::currentTestFailed())
                return;
        } else {
            QVERIFY2(!QFile::exists(configPath()), "an unreadable file was read");
            const QStringList aside = asideFiles();
            QCOMPARE(aside.size(), 1);
            QVERIFY(readFile(m_pDir->filePath(aside.first())) == bytes);
            QCOMPARE(told.size(), 1);
            QVERIFY2(told.first().contains(QStringLiteral("unreadable")), qPrintable(told.first()));
            QCOMPARE(recordOnly(), m_defaultsJson);
            QCOMPARE(HostSim::cameraCount(), 1); // the default camera
        }

        // The host reads back what it writes next, and never writes over a kept file.
        const QStringList asideBefore = asideFiles();
        const QByteArray held = recordOnly();
        QCOMPARE(HostSim::cameraManager().WriteSystemCFG(), 0);
        HostSim::reset();
        QCOMPARE(recordOnly(), held);
        QCOMPARE(asideFiles(), asideBefore);
        for (const QString& name : asideBefore)
            QVERIFY(readFile(m_pDir->filePath(name)) == bytes);
    }

    // The host's own file: every field away from its default, two morphology
    // steps and one simulated camera.
    static QByteArray seedAsWritten()
    {
        QTemporaryDir scratch;
        HostSim::reset(scratch.path());
        hostsim::SimCameraManager& m = HostSim::cameraManager();
        int32_t n = 1;
#define HXL_SET(f) m.f = static_cast<int32_t>(n++);
        HXL_RECORD_INT_FIELDS(HXL_SET)
#undef HXL_SET
#define HXL_SET(f) m.f = !m.f;
        HXL_RECORD_BOOL_FIELDS(HXL_SET)
#undef HXL_SET
        m.vecMorphology = {{1, 11, 1, 0}, {4, 100, 1, 7}};
        m.setConfiguredCameras(QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("Sim")},
                                                      {QStringLiteral("name"), QStringLiteral("Seed")},
                                                      {QStringLiteral("width"), 320},
                                                      {QStringLiteral("height"), 240}}});
        return m.recordToJson();
    }

    static QByteArray seedCamerasOnly()
    {
        return QByteArrayLiteral("{\"cameras\": [{\"type\": \"Sim\", \"name\": \"Only\", \"width\": 320, \"height\": 240, "
                                 "\"colour\": false}]}\n");
    }

    static QByteArray seedByHand()
    {
        return QByteArrayLiteral("{\"record\": {\"nSatMode\": 1, \"bGrayPro\": true, \"nFilterMax\": 200, "
                                 "\"vecMorphology\": [{\"nMorphType\": 2}], \"comment\": \"mine\"}}\n");
    }

private slots:
    void initTestCase()
    {
        const QByteArray seed = seedAsWritten(); // made before anything else resets the host
        m_seedAsWritten = seed;
        m_pDir.reset(new QTemporaryDir());
        HostSim::reset(m_pDir->path());
        m_defaultsJson = recordOnly();
        m_pDefaults = &HostSim::cameraManager(); // a reset keeps the old manager alive
    }

    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        HostSim::setWorkPath(m_pDir->path());
    }

    void theJudgeAgreesWithTheSeeds()
    {
        QVERIFY(judge(m_seedAsWritten).bReadable);
        QVERIFY(judge(seedCamerasOnly()).bReadable);
        QVERIFY(judge(seedByHand()).bReadable);
        QVERIFY(!judge(QByteArray()).bReadable);
        QVERIFY(!judge("{\"record\": {\"nSatMode\": 2147483648}}").bReadable);
        QVERIFY(judge("{\"record\": {\"nSatMode\": 2147483647}}").bReadable);
    }

    void damagedFiles_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        int nRows = 0, nReadable = 0;
        auto add = [&nRows, &nReadable](const corpus::Case& c) {
            QTest::newRow(qPrintable(c.name)) << c.bytes;
            ++nRows;
            nReadable += judge(c.bytes).bReadable ? 1 : 0;
        };
        const QByteArray written = m_seedAsWritten;
        const QByteArray camerasOnly = seedCamerasOnly();
        const QByteArray byHand = seedByHand();
        add({QStringLiteral("as written"), written});
        add({QStringLiteral("cameras only"), camerasOnly});
        add({QStringLiteral("by hand"), byHand});
        add({QStringLiteral("empty"), QByteArray()});
        add({QStringLiteral("one space"), QByteArray(" ")});

        for (const corpus::Case& c : corpus::truncations(QStringLiteral("as written"), written, 13))
            add(c);
        for (const corpus::Case& c : corpus::truncations(QStringLiteral("cameras only"), camerasOnly, 2))
            add(c);
        for (const corpus::Case& c : corpus::truncations(QStringLiteral("by hand"), byHand, 3))
            add(c);
        for (const corpus::Case& c : corpus::bitFlips(QStringLiteral("as written"), written, 60, 11))
            add(c);
        for (const corpus::Case& c : corpus::bitFlips(QStringLiteral("cameras only"), camerasOnly, 30, 12))
            add(c);
        for (const corpus::Case& c : corpus::bitFlips(QStringLiteral("by hand"), byHand, 30, 13))
            add(c);
        for (const corpus::Case& c : corpus::nulBytes(QStringLiteral("by hand"), byHand, 8))
            add(c);
        const int nInName = camerasOnly.indexOf("Only") + 2;
        for (const corpus::Case& c :
             corpus::withInvalidUtf8(QStringLiteral("cameras only"), camerasOnly, {0, nInName, camerasOnly.size() - 2}))
            add(c);
        add({QStringLiteral("escaped NUL in a name"), QByteArray(camerasOnly).replace("Only", "On\\u0000ly")});
        add({QStringLiteral("lone surrogate in a name"), QByteArray(camerasOnly).replace("Only", "\\ud800")});

        // Every kind of value in the places that hold a number, a switch or a list.
        const QByteArrayList values = {"\"2\"", "true", "null", "[]", "{}", "2.5", "-0", "1e-7", "2147483647",
                                       "-2147483648", "2147483648", "-2147483649", "1e308", "-1e308", "1e400",
                                       "123456789012345678901234567890"};
        const QByteArrayList places = {"{\"record\": {\"nSatMode\": %1}}",
                                       "{\"record\": {\"bIsInver\": %1}}",
                                       "{\"record\": {\"vecMorphology\": %1}}",
                                       "{\"record\": {\"vecMorphology\": [{\"nLineSize\": %1}]}}",
                                       "{\"record\": %1}",
                                       "{\"cameras\": %1}",
                                       "{\"cameras\": [%1]}",
                                       "{\"record\": {}, \"cameras\": [{\"width\": %1, \"height\": 240}]}",
                                       "{\"record\": {}, \"cameras\": [{\"mmPerPixel\": %1}]}"};
        for (int p = 0; p < places.size(); ++p)
            for (const QByteArray& value : values)
                add({QStringLiteral("place %1 holds %2").arg(p).arg(QString::fromLatin1(value.left(16))),
                     QByteArray(places.at(p)).replace("%1", value)});

        // Nesting and lengths.
        add({QStringLiteral("10000 nested lists in the record"),
             "{\"record\": {\"x\": " + QByteArray(10000, '[') + QByteArray(10000, ']') + "}}"});
        add({QStringLiteral("500 nested lists in the record"),
             "{\"record\": {\"x\": " + QByteArray(500, '[') + QByteArray(500, ']') + "}}"});
        QByteArray nested = "{\"record\": {}, \"cameras\": [{\"name\": \"n\", \"x\": ";
        for (int i = 0; i < 2000; ++i)
            nested += "{\"a\": ";
        nested += "1" + QByteArray(2000, '}') + "}]}";
        add({QStringLiteral("2000 nested objects in a camera"), nested});
        for (int nSteps : {hostsim::kMaxMorphologySteps, hostsim::kMaxMorphologySteps + 1}) {
            QByteArray steps = "{\"record\": {\"vecMorphology\": [";
            for (int i = 0; i < nSteps; ++i)
                steps += QByteArray(i ? "," : "") + "{\"nMorphType\": 1, \"nLineSize\": 3}";
            add({QStringLiteral("%1 morphology steps").arg(nSteps), steps + "]}}"});
        }
        for (int nCameras : {hostsim::kMaxConfiguredCameras, hostsim::kMaxConfiguredCameras + 1}) {
            QByteArray cameras = "{\"cameras\": [";
            for (int i = 0; i < nCameras; ++i)
                cameras += QByteArray(i ? "," : "") + "{\"name\": \"c" + QByteArray::number(i) + "\"}";
            add({QStringLiteral("%1 cameras").arg(nCameras), cameras + "]}"});
        }
        add({QStringLiteral("a name of 500000 characters"),
             "{\"cameras\": [{\"name\": \"" + QByteArray(500000, 'n') + "\"}]}"});
        add({QStringLiteral("just over the size limit"),
             "{\"record\": {\"nSatMode\": 1, \"pad\": \"" + QByteArray(hostsim::kMaxCameraConfigBytes, ' ') + "\"}}"});
        add({QStringLiteral("the same key twice"), "{\"record\": {\"nSatMode\": 1, \"nSatMode\": 2}}"});
        add({QStringLiteral("a byte-order mark"), "\xef\xbb\xbf" + byHand});
        add({QStringLiteral("UTF-16"), QByteArray::fromRawData(reinterpret_cast<const char*>(u"{\"record\": {}}"), 28)});
        add({QStringLiteral("trailing text"), byHand + "and more"});
        add({QStringLiteral("two documents"), byHand + byHand});
        for (int nSize : {1, 2, 17, 4096, 1024 * 1024})
            add({QStringLiteral("noise of %1 bytes").arg(nSize), corpus::noise(nSize, unsigned(nSize) + 40)});
        add({QStringLiteral("all NUL"), QByteArray(4096, '\0')});

        QVERIFY2(nRows >= 200, qPrintable(QStringLiteral("only %1 cases").arg(nRows)));
        // Both answers are tried often.
        QVERIFY2(nReadable >= 50 && nRows - nReadable >= 50,
                 qPrintable(QStringLiteral("%1 of %2 cases readable").arg(nReadable).arg(nRows)));
        qInfo("%d cases, %d of them readable", nRows, nReadable);
    }

    void damagedFiles()
    {
        QFETCH(QByteArray, bytes);
        checkCase(bytes);
    }

    // Not read at all (no camera configuration is that large): set aside whole.
    void hugeFiles_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("100 MB string in the record") << 0;
        QTest::newRow("100 MB of noise") << 1;
        QTest::newRow("100 MB of nested lists") << 2;
    }
    void hugeFiles()
    {
        QFETCH(int, kind);
        const int nSize = 100 * 1024 * 1024;
        QByteArray bytes;
        if (kind == 0)
            bytes = "{\"record\": {\"nSatMode\": 1, \"pad\": \"" + QByteArray(nSize, 'x') + "\"}}";
        else if (kind == 1)
            bytes = corpus::noise(nSize, 101);
        else
            bytes = "{\"record\": {\"x\": " + QByteArray(nSize / 2, '[') + QByteArray(nSize / 2, ']') + "}}";
        checkCase(bytes);
    }

    void aDirectoryInsteadOfTheFile()
    {
        QVERIFY(QDir().mkpath(configPath()));
        const int nLines = HostSim::operatorLines().size();
        HostSim::reset();
        QCOMPARE(recordOnly(), m_defaultsJson);
        QVERIFY(QFileInfo(configPath()).isDir());
        QCOMPARE(asideFiles(), QStringList());
        QCOMPARE(HostSim::operatorLines(nLines).size(), 1);
        QVERIFY(HostSim::cameraManager().WriteSystemCFG() != 0);
        QVERIFY(QFileInfo(configPath()).isDir());
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    QByteArray m_seedAsWritten;
    QByteArray m_defaultsJson;
    const IZKVisionCameraManager* m_pDefaults = nullptr;
};

QTEST_MAIN(TestConfigCorpus)
#include "tst_hostsim_config_corpus.moc"
