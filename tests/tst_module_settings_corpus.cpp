// The settings file "qcv.dat" fed damaged files: cut short, bits flipped,
// values of the wrong type, NUL bytes, bytes that are not UTF-8, noise, deep
// group paths and files of 100 MB. The module must not crash or hang, must read
// what can be read and give the default for every other key, and must keep the
// operator's file whenever it holds something the module cannot read: a copy
// "qcv.dat.corrupt-<date>" is made before the file is written at exit.
//
// Expected values come from one of two places. For files made only of plain
// "key=value" lines, "[group]" lines, comments and blank lines (the cut seeds
// and the swapped values), a small model of those lines says what each key
// holds; the conversions are the module's own (QVariant's toInt, toBool,
// toDouble). For the rest (flipped bits, NULs, escapes, quotes, lists, noise)
// QSettings itself, opened on a copy of the file, is the reference.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "PanelTestSupport.h"

#include "CorpusSupport.h"
#include "HostSim.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>

using corpus::readFile;
using corpus::writeFile;
using hostsim::HostSim;

namespace {

const QString kGroup = QStringLiteral("HXL_CameraUI");

// What the module holds after reading a file.
struct Values
{
    int isAutoPhoto = 0;
    int isOpenVideo = 1;
    bool bIsDebug = false;
    double dPer[4] = {0.0, 0.0, 0.0, 0.0};
};

// QSettings reads groups and keys of INI files without regard to case on
// Windows, as Windows itself does, and with it elsewhere.
#ifdef Q_OS_WIN
const Qt::CaseSensitivity kIniCase = Qt::CaseInsensitive;
#else
const Qt::CaseSensitivity kIniCase = Qt::CaseSensitive;
#endif

QString iniName(const QString& strName)
{
    return kIniCase == Qt::CaseInsensitive ? strName.toLower() : strName;
}

const char* const kFractionKeys[4] = {"dPerMinX", "dPerMaxX", "dPerMinY", "dPerMaxY"};

Values moduleValues()
{
    Values v;
    v.isAutoPhoto = isAutoPhoto;
    v.isOpenVideo = isOpenVideo;
    v.bIsDebug = bIsDebug;
    v.dPer[0] = dPerMinX;
    v.dPer[1] = dPerMaxX;
    v.dPer[2] = dPerMinY;
    v.dPer[3] = dPerMaxY;
    return v;
}

// The module's conversions, given how a key is looked up with its default
// (as the module does: the default is a string, and a key that is there
// gives its own value, even an invalid one).
using Lookup = std::function<QVariant(const QString& key, const QString& strDefault)>;

Values valuesFrom(const Lookup& value)
{
    Values v;
    v.isAutoPhoto = value(QStringLiteral("isAutoPhoto"), QStringLiteral("0")).toInt();
    v.isOpenVideo = value(QStringLiteral("isOpenVideo"), QStringLiteral("1")).toInt();
    v.bIsDebug = value(QStringLiteral("bIsDebug"), QStringLiteral("0")).toBool();
    for (int i = 0; i < 4; ++i)
        v.dPer[i] = value(QLatin1String(kFractionKeys[i]), QStringLiteral("0")).toDouble();
    return v;
}

// A model of plain INI files: "[group]", "key=value", ";comment" and blank
// lines, lines ending at CR or LF; values without quotes, commas, escapes or
// a leading '@'. Says what each key of the group holds and whether the file
// has a line that is none of these (QSettings then reports a format error).
struct PlainIni
{
    QMap<QString, QString> keys; // keys of the group HXL_CameraUI, by iniName
    bool bUnreadable = false;
};

PlainIni modelOf(const QByteArray& bytes)
{
    PlainIni model;
    QString strSection;
    QByteArray text = bytes;
    // QSettings skips a byte-order mark when it looks for groups, but reads it
    // as the start of the file's first line when it reads keys: unless that
    // line holds a key, it is a line it cannot read.
    if (text.startsWith("\xef\xbb\xbf")) {
        text.remove(0, 3);
        const QByteArray first = text.left(text.indexOf('\n')).split('\r').first();
        if (first.trimmed().startsWith('[') || !first.contains('='))
            model.bUnreadable = true;
    }
    text.replace('\r', '\n');
    for (const QByteArray& rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char(';')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            const int nClose = line.indexOf(QLatin1Char(']'));
            if (nClose < 0)
                model.bUnreadable = true;
            strSection = (nClose < 0 ? line.mid(1) : line.mid(1, nClose - 1)).trimmed();
            continue;
        }
        const int nEquals = line.indexOf(QLatin1Char('='));
        if (nEquals < 0) {
            model.bUnreadable = true;
            continue;
        }
        if (QString::compare(strSection, kGroup, kIniCase) == 0)
            model.keys.insert(iniName(line.left(nEquals).trimmed()), line.mid(nEquals + 1).trimmed());
    }
    return model;
}

Values valuesOf(const PlainIni& model)
{
    return valuesFrom([&model](const QString& key, const QString& strDefault) {
        return QVariant(model.keys.value(iniName(key), strDefault));
    });
}

// A case: the file's bytes and how its expected values are found.
enum class Oracle
{
    Model,
    QSettingsReference
};

bool isPlain(const QByteArray& bytes)
{
    for (char c : bytes)
        if (c == '"' || c == ',' || c == '\\' || c == '@' || c == '%' || c == '\0' || c == '#')
            return false;
    return true;
}

} // namespace

Q_DECLARE_METATYPE(Oracle)

class TestModuleSettingsCorpus : public QObject
{
    Q_OBJECT

private:
    QString qcvPath() const { return m_pDir->filePath(QStringLiteral("qcv.dat")); }

    QStringList keptCopies() const
    {
        return QDir(m_pDir->path()).entryList({QStringLiteral("qcv.dat.corrupt-*")}, QDir::Files, QDir::Name);
    }

    static void scramble()
    {
        isAutoPhoto = 77;
        isOpenVideo = 77;
        bIsDebug = true;
        dPerMinX = dPerMaxX = dPerMinY = dPerMaxY = 7.5;
    }

    static void compareValues(const Values& actual, const Values& expected)
    {
        QCOMPARE(actual.isAutoPhoto, expected.isAutoPhoto);
        QCOMPARE(actual.isOpenVideo, expected.isOpenVideo);
        QCOMPARE(actual.bIsDebug, expected.bIsDebug);
        for (int i = 0; i < 4; ++i) {
            if (std::isnan(expected.dPer[i]))
                QVERIFY2(std::isnan(actual.dPer[i]), kFractionKeys[i]);
            else
                QCOMPARE(actual.dPer[i], expected.dPer[i]);
        }
    }

    // QSettings on a copy of the bytes: the values the module should read and
    // whether the file holds something QSettings cannot read.
    Values reference(const QByteArray& bytes, bool& bUnreadable)
    {
        QTemporaryDir scratch;
        const QString path = scratch.filePath(QStringLiteral("reference.dat"));
        writeFile(path, bytes);
        QSettings settings(path, QSettings::IniFormat);
        settings.setIniCodec(QTextCodec::codecForName("utf-8"));
        settings.allKeys();
        bUnreadable = settings.status() == QSettings::FormatError;
        settings.beginGroup(kGroup);
        return valuesFrom(
            [&settings](const QString& key, const QString& strDefault) { return settings.value(key, strDefault); });
    }

    // Reads the file, checks the values, writes at exit, checks what was kept
    // and what was written.
    void checkCase(const QByteArray& bytes, const Values& expected, bool bUnreadable)
    {
        writeFile(qcvPath(), bytes);
        scramble();
        QCOMPARE(HXL_CameraUI_ReadParam(), 0);
        compareValues(moduleValues(), expected);
        QCOMPARE(readFile(qcvPath()), bytes); // reading changes nothing

        isAutoPhoto = 3;
        isOpenVideo = 0;
        dPerMinX = 0.5;
        dPerMaxX = 0.625;
        dPerMinY = 0.125;
        dPerMaxY = 0.375;
        HXL_CameraUI_TellAppExit();
        const QStringList kept = keptCopies();
        if (bUnreadable) {
            QCOMPARE(kept.size(), 1);
            QVERIFY(readFile(m_pDir->filePath(kept.first())) == bytes); // the operator's bytes, all of them
        } else {
            QCOMPARE(kept, QStringList());
        }

        // The module reads back what it wrote. (The file need not read whole
        // yet: QSettings writes keys made of noise back in a form that it
        // reads whole only after a second rewrite.)
        scramble();
        HXL_CameraUI_ReadParam();
        QCOMPARE(isAutoPhoto, 3);
        QCOMPARE(isOpenVideo, 0);
        QCOMPARE(dPerMinX, 0.5);
        QCOMPARE(dPerMaxX, 0.625);
        QCOMPARE(dPerMinY, 0.125);
        QCOMPARE(dPerMaxY, 0.375);
        QCOMPARE(bIsDebug, expected.bIsDebug); // never written: the operator's entry stays as it was read
    }

    // As the module writes it, with the entry only a person adds.
    static QByteArray seedAsWritten()
    {
        return QByteArrayLiteral("[HXL_CameraUI]\nbIsDebug=true\ndPerMaxX=0.875\ndPerMaxY=0.75\ndPerMinX=0.125\n"
                                 "dPerMinY=0.25\nisAutoPhoto=1\nisOpenVideo=0\n");
    }

    // As a person may write it: CRLF, a byte-order mark, comments, spaces, other groups.
    static QByteArray seedByHand()
    {
        return QByteArrayLiteral("\xef\xbb\xbf; camera panel\r\n[General]\r\nother=1\r\n\r\n[Other]\r\nisAutoPhoto=5\r\n"
                                 "[HXL_CameraUI]\r\n  isAutoPhoto = 1 \r\nisOpenVideo=0\r\n\tdPerMinX=0.2\r\n"
                                 "bIsDebug=false\r\n; end\r\n");
    }

private slots:
    void initTestCase()
    {
        m_pDir.reset(new QTemporaryDir());
        HostSim::reset(m_pDir->path());
    }

    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        HostSim::setWorkPath(m_pDir->path());
    }

    void theModelAgreesWithQSettingsOnPlainFiles()
    {
        // The model stands in for QSettings only where they agree: every cut of
        // both seeds, checked here once against QSettings itself.
        int nChecked = 0;
        for (const QByteArray& seed : {seedAsWritten(), seedByHand()}) {
            for (const corpus::Case& c : corpus::truncations(QStringLiteral("seed"), seed)) {
                bool bUnreadable = false;
                const Values fromQSettings = reference(c.bytes, bUnreadable);
                const PlainIni model = modelOf(c.bytes);
                compareValues(valuesOf(model), fromQSettings);
                QVERIFY2(model.bUnreadable == bUnreadable, qPrintable(c.name));
                ++nChecked;
            }
        }
        QVERIFY(nChecked > 200);
    }

    void damagedFiles_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Oracle>("oracle");
        int nRows = 0;
        auto add = [&nRows](const corpus::Case& c, Oracle oracle) {
            QTest::newRow(qPrintable(c.name)) << c.bytes << oracle;
            ++nRows;
        };
        const QByteArray written = seedAsWritten();
        const QByteArray byHand = seedByHand();

        add({QStringLiteral("empty"), QByteArray()}, Oracle::Model);
        add({QStringLiteral("as written"), written}, Oracle::Model);
        add({QStringLiteral("by hand"), byHand}, Oracle::Model);
        for (const corpus::Case& c : corpus::truncations(QStringLiteral("as written"), written))
            add(c, Oracle::Model);
        for (const corpus::Case& c : corpus::truncations(QStringLiteral("by hand"), byHand, 2))
            add(c, Oracle::Model);

        // Every key given values of the wrong type or out of range.
        const QStringList keys = {QStringLiteral("isAutoPhoto"), QStringLiteral("isOpenVideo"),
                                  QStringLiteral("bIsDebug"),    QStringLiteral("dPerMinX"),
                                  QStringLiteral("dPerMaxX"),    QStringLiteral("dPerMinY"),
                                  QStringLiteral("dPerMaxY")};
        const QStringList plainValues = {QString(),
                                         QStringLiteral("abc"),
                                         QStringLiteral("1.5"),
                                         QStringLiteral("-7"),
                                         QStringLiteral("2147483648"),
                                         QStringLiteral("99999999999999999999"),
                                         QStringLiteral("1e400"),
                                         QStringLiteral("-1e-400"),
                                         QStringLiteral("nan"),
                                         QStringLiteral("-inf"),
                                         QStringLiteral("FALSE"),
                                         QStringLiteral("0x10"),
                                         QStringLiteral("１２"),
                                         QString(4096, QLatin1Char('9'))};
        const QStringList specialValues = {QStringLiteral("@Invalid()"),
                                           QStringLiteral("@ByteArray(12)"),
                                           QStringLiteral("@Variant(\\0\\0\\0\\x87?\\xf0\\0\\0\\0\\0\\0\\0)"),
                                           QStringLiteral("@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x5\\0junk)"),
                                           QStringLiteral("@Variant(\\xff\\xff\\xff\\xff)"),
                                           QStringLiteral("@Rect(1 2 3 4)"),
                                           QStringLiteral("@Size(-1 -1)"),
                                           QStringLiteral("\"0.5\""),
                                           QStringLiteral("0.5, 0.7"),
                                           QStringLiteral("1;comment"),
                                           QStringLiteral("\\x31"),
                                           QStringLiteral("%U0031")};
        for (const QString& key : keys) {
            for (const QString& value : plainValues)
                add({QStringLiteral("%1=%2").arg(key, value.left(16)),
                     QStringLiteral("[HXL_CameraUI]\n%1=%2\n").arg(key, value).toUtf8()},
                    Oracle::Model);
            for (const QString& value : specialValues)
                add({QStringLiteral("%1=%2").arg(key, value), QStringLiteral("[HXL_CameraUI]\n%1=%2\n").arg(key, value).toUtf8()},
                    Oracle::QSettingsReference);
        }

        for (const corpus::Case& c : corpus::bitFlips(QStringLiteral("as written"), written, 60, 1))
            add(c, isPlain(c.bytes) ? Oracle::Model : Oracle::QSettingsReference);
        for (const corpus::Case& c : corpus::bitFlips(QStringLiteral("by hand"), byHand, 40, 2))
            add(c, isPlain(c.bytes) ? Oracle::Model : Oracle::QSettingsReference);
        for (const corpus::Case& c : corpus::nulBytes(QStringLiteral("as written"), written, 10))
            add(c, Oracle::QSettingsReference);
        for (const corpus::Case& c : corpus::withInvalidUtf8(QStringLiteral("as written"), written,
                                                             {0, written.indexOf("isAutoPhoto"), written.indexOf("0.25")}))
            add(c, Oracle::QSettingsReference);

        for (int nSize : {1, 2, 3, 64, 1000, 65536, 1024 * 1024})
            add({QStringLiteral("noise of %1 bytes").arg(nSize), corpus::noise(nSize, unsigned(nSize))},
                Oracle::QSettingsReference);
        QByteArray noisyLines = corpus::noise(20000, 7);
        for (int i = 0; i < noisyLines.size(); i += 37)
            noisyLines[i] = '\n';
        add({QStringLiteral("noise in lines"), noisyLines}, Oracle::QSettingsReference);
        add({QStringLiteral("noise then the group"), corpus::noise(5000, 8) + "\n" + written}, Oracle::QSettingsReference);
        add({QStringLiteral("all NUL"), QByteArray(4096, '\0')}, Oracle::QSettingsReference);
        add({QStringLiteral("CR only"), QByteArray(written).replace('\n', '\r')}, Oracle::Model);

        // Deep group paths and long names.
        QByteArray deep = "[";
        for (int i = 0; i < 10000; ++i)
            deep += "a/";
        deep += "HXL_CameraUI]\nisAutoPhoto=1\n[HXL_CameraUI]\nisOpenVideo=0\n";
        add({QStringLiteral("group 10000 levels deep"), deep}, Oracle::QSettingsReference);
        QByteArray deepKey = "[HXL_CameraUI]\n";
        for (int i = 0; i < 10000; ++i)
            deepKey += "isAutoPhoto\\";
        deepKey += "isAutoPhoto=4\nisAutoPhoto=2\n";
        add({QStringLiteral("key 10000 levels deep"), deepKey}, Oracle::QSettingsReference);
        add({QStringLiteral("long key"), "[HXL_CameraUI]\n" + QByteArray(100000, 'k') + "=1\nisAutoPhoto=6\n"},
            Oracle::Model);
        QByteArray manyGroups;
        for (int i = 0; i < 5000; ++i)
            manyGroups += "[g" + QByteArray::number(i) + "]\nk=" + QByteArray::number(i) + "\n";
        add({QStringLiteral("5000 groups"), manyGroups + written}, Oracle::Model);
        add({QStringLiteral("the group twice"), written + "[HXL_CameraUI]\nisAutoPhoto=9\n"},
            Oracle::QSettingsReference);
        add({QStringLiteral("unclosed group"), "[HXL_CameraUI\nisAutoPhoto=1\n"}, Oracle::Model);
        add({QStringLiteral("a line without ="), written + "# a comment the wrong way\n"}, Oracle::QSettingsReference);
        add({QStringLiteral("continued line"), "[HXL_CameraUI]\nisAutoPhoto=1\\\nisOpenVideo=0\n"},
            Oracle::QSettingsReference);

        QVERIFY2(nRows >= 200, qPrintable(QStringLiteral("only %1 cases").arg(nRows)));
    }

    void damagedFiles()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(Oracle, oracle);
        Values expected;
        bool bUnreadable = false;
        if (oracle == Oracle::Model) {
            const PlainIni model = modelOf(bytes);
            expected = valuesOf(model);
            bUnreadable = model.bUnreadable;
        } else {
            expected = reference(bytes, bUnreadable);
        }
        checkCase(bytes, expected, bUnreadable);
    }

    // Without the group there is nothing to read: every value is its default.
    void noiseGivesTheDefaults()
    {
        for (unsigned nGenerator = 1; nGenerator <= 20; ++nGenerator) {
            const QByteArray bytes = corpus::noise(int(nGenerator) * 500, nGenerator);
            QVERIFY(!bytes.contains("HXL_CameraUI"));
            writeFile(qcvPath(), bytes);
            scramble();
            HXL_CameraUI_ReadParam();
            compareValues(moduleValues(), Values());
        }
    }

    void hugeFiles_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("100 MB of NUL bytes") << 0;
        QTest::newRow("100 MB value") << 1;
        QTest::newRow("100 MB of lines, the group last") << 2;
    }
    void hugeFiles()
    {
        QFETCH(int, kind);
        const int nSize = 100 * 1024 * 1024;
        QByteArray bytes;
        Values expected;
        bool bUnreadable = true;
        if (kind == 0) {
            bytes = QByteArray(nSize, '\0');
        } else if (kind == 1) {
            bytes = "[HXL_CameraUI]\nisAutoPhoto=1\ndPerMinX=";
            bytes += QByteArray(nSize, '7');
            bytes += "\nisOpenVideo=0\n";
            expected.isAutoPhoto = 1;
            expected.isOpenVideo = 0;
            expected.dPer[0] = QVariant(QString(nSize, QLatin1Char('7'))).toDouble(); // a number too large: inf
            bUnreadable = false;
        } else {
            bytes.reserve(nSize + 100);
            while (bytes.size() < nSize)
                bytes += "this line is not a setting\n";
            bytes += "[HXL_CameraUI]\nisAutoPhoto=2\ndPerMaxY=0.5\n";
            expected.isAutoPhoto = 2;
            expected.dPer[3] = 0.5;
        }
        checkCase(bytes, expected, bUnreadable);
    }

    void aDirectoryInsteadOfTheFile()
    {
        QVERIFY(QDir().mkpath(qcvPath()));
        scramble();
        HXL_CameraUI_ReadParam();
        compareValues(moduleValues(), Values());
        HXL_CameraUI_TellAppExit();
        QVERIFY(QFileInfo(qcvPath()).isDir());
        QCOMPARE(keptCopies(), QStringList());
    }

    void aSecondExitKeepsNoSecondCopy()
    {
        const QByteArray bytes = "garbage\n[HXL_CameraUI]\nisAutoPhoto=1\n";
        writeFile(qcvPath(), bytes);
        HXL_CameraUI_ReadParam();
        HXL_CameraUI_TellAppExit();
        HXL_CameraUI_TellAppExit(); // the file is whole now
        QCOMPARE(keptCopies().size(), 1);
        QCOMPARE(readFile(m_pDir->filePath(keptCopies().first())), bytes);
    }

    void anEarlierCopyIsNeverOverwritten()
    {
        // The same damage twice within a second: two copies side by side.
        const QByteArray first = "first damage\n";
        const QByteArray second = "second damage\n";
        writeFile(qcvPath(), first);
        HXL_CameraUI_TellAppExit();
        writeFile(qcvPath(), second);
        HXL_CameraUI_TellAppExit();
        const QStringList kept = keptCopies();
        QCOMPARE(kept.size(), 2);
        QByteArrayList contents;
        for (const QString& name : kept)
            contents << readFile(m_pDir->filePath(name));
        std::sort(contents.begin(), contents.end());
        QCOMPARE(contents, QByteArrayList({first, second}));
    }

    // Whatever the file held, the panel built from it lives: live video, the
    // search range drawn from the fractions, a resize.
    void extremeValuesKeepThePanelAlive_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("infinities") << QByteArray("[HXL_CameraUI]\ndPerMinX=-inf\ndPerMaxX=inf\ndPerMinY=-inf\ndPerMaxY=inf\n");
        QTest::newRow("not a number") << QByteArray("[HXL_CameraUI]\ndPerMinX=nan\ndPerMaxX=nan\ndPerMinY=nan\ndPerMaxY=nan\n");
        QTest::newRow("huge") << QByteArray("[HXL_CameraUI]\ndPerMinX=-1e308\ndPerMaxX=1e308\ndPerMinY=-1e308\ndPerMaxY=1e308\n");
        QTest::newRow("tiny") << QByteArray("[HXL_CameraUI]\ndPerMinX=1e-320\ndPerMaxX=-1e-320\ndPerMinY=5e-324\ndPerMaxY=0\n");
        QTest::newRow("reversed") << QByteArray("[HXL_CameraUI]\ndPerMinX=0.9\ndPerMaxX=0.1\ndPerMinY=0.9\ndPerMaxY=0.1\n");
        QTest::newRow("odd switches") << QByteArray("[HXL_CameraUI]\nisAutoPhoto=2147483647\nisOpenVideo=-5\nbIsDebug=abc\n");
    }
    void extremeValuesKeepThePanelAlive()
    {
        QFETCH(QByteArray, bytes);
        HostSim::reset(m_pDir->path());
        writeFile(qcvPath(), bytes);
        HXL_CameraUI_ReadParam();
        panel_test::PanelPtr pPanel(panel_test::makePanel());
        pPanel->show();
        QTest::qWait(300);
        pPanel->resize(640, 290);
        QVERIFY(!pPanel->grab().isNull());
        pPanel.reset();
        bIsDebug = false;
        isOpenVideo = 1;
        isAutoPhoto = 0;
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestModuleSettingsCorpus)
#include "tst_module_settings_corpus.moc"
