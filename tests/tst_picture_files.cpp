// Bad picture files through the panel's "Open picture" command and through
// the debug source of a photograph ("VisSourcePicTest.jpg" with bIsDebug):
// a file cut short, an empty one, text named .jpg, a 20000 x 20000 picture.
// The host refuses each with one line for the operator; the panel does what
// it does after any failed read (nothing placed, the capture re-armed); and a
// refused picture costs no memory worth the name, measured in a child process.

#include "ChildProcess.h"
#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"

#include "cameras/PictureFile.h"
#include "cameras/SimCamera.h"
#include "drawing/SimDrawing.h"
#include "services/SimCameraManager.h"
#include "services/SimMachine.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"
#include "host/ZKWindowManager.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QProcess>
#include <QThread>

#ifdef Q_OS_WIN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <psapi.h>
#endif

using hostsim::HostSim;
using namespace panel_test;

namespace {

QString g_strNextFile;

QString fakeOpenFileName(QWidget*, const QString&, const QString&, const QString&)
{
    return g_strNextFile;
}

hostsim::SimDbImage* pictureOnLayer210()
{
    const auto entities = HostSim::database().entitiesOnLayer(210);
    return entities.size() == 1 ? dynamic_cast<hostsim::SimDbImage*>(entities[0]) : nullptr;
}

void put16(QByteArray& bytes, int n)
{
    bytes.append(char((n >> 8) & 0xff));
    bytes.append(char(n & 0xff));
}

// A baseline JPEG of any size whose every 8 x 8 block is flat mid-gray: one
// Huffman code of one bit for "no change of the DC value", one for "end of
// block", so the coded data is two zero bits a block. 20000 x 20000 in colour
// is 4.7 MB on disk and 1.2 GB decoded. With bScan false, the header alone.
QByteArray flatJpeg(int nWidth, int nHeight, int nComponents, bool bScan = true)
{
    QByteArray b("\xff\xd8", 2);
    b.append("\xff\xdb", 2); // quantisation table 0: all ones
    put16(b, 67);
    b.append(char(0));
    b.append(QByteArray(64, char(1)));
    b.append("\xff\xc0", 2); // baseline frame
    put16(b, 8 + 3 * nComponents);
    b.append(char(8));
    put16(b, nHeight);
    put16(b, nWidth);
    b.append(char(nComponents));
    for (int i = 0; i < nComponents; ++i) {
        b.append(char(i + 1));
        b.append(char(0x11));
        b.append(char(0));
    }
    for (int nClass : {0, 1}) { // DC and AC table 0: one code "0" for symbol 0
        b.append("\xff\xc4", 2);
        put16(b, 2 + 1 + 16 + 1);
        b.append(char(nClass << 4));
        QByteArray counts(16, char(0));
        counts[0] = 1;
        b.append(counts);
        b.append(char(0));
    }
    b.append("\xff\xda", 2);
    put16(b, 6 + 2 * nComponents);
    b.append(char(nComponents));
    for (int i = 0; i < nComponents; ++i) {
        b.append(char(i + 1));
        b.append(char(0));
    }
    b.append(char(0));
    b.append(char(63));
    b.append(char(0));
    if (bScan) {
        const qint64 nBits = qint64((nWidth + 7) / 8) * ((nHeight + 7) / 8) * nComponents * 2;
        QByteArray data(int((nBits + 7) / 8), char(0));
        const int nPad = int(data.size() * 8 - nBits);
        if (nPad)
            data[data.size() - 1] = char((1 << nPad) - 1);
        b.append(data);
    }
    b.append("\xff\xd9", 2);
    return b;
}

// A picture with detail, saved in a format: the coded data is real.
QByteArray detailedPicture(const char* pszFormat)
{
    QImage image(640, 480, QImage::Format_RGB888);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x % 256, y % 256, (x * y) % 256));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, pszFormat);
    return bytes;
}

// A BMP whose header claims nWidth x nHeight (its rows are those of a small one).
QByteArray bmpClaiming(int nWidth, int nHeight)
{
    QByteArray bytes = detailedPicture("BMP");
    for (int i = 0; i < 4; ++i) {
        bytes[18 + i] = char((nWidth >> (8 * i)) & 0xff);
        bytes[22 + i] = char((nHeight >> (8 * i)) & 0xff);
    }
    return bytes;
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

// A panel whose live video is paused, so that the journal holds only the commands' calls.
ZKCostomCameraWidget* quietPanel()
{
    isOpenVideo = 0;
    ZKCostomCameraWidget* pPanel = makePanel();
    QElapsedTimer clock;
    clock.start();
    while (pPanel->m_pRefreshThread->m_bParked.load() != 1 && clock.elapsed() < 5000) {
        QCoreApplication::processEvents();
        QThread::msleep(5);
    }
    return pPanel;
}

// Peak resident memory: started again from the present, then read, in KiB.
// -1 where the platform cannot tell.
qint64 restartPeak();
qint64 peakSinceRestart();

#if defined(Q_OS_LINUX)
qint64 statusKiB(const char* pszField)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(pszField))
            return line.mid(int(qstrlen(pszField))).trimmed().split(' ').first().toLongLong();
    return -1;
}
qint64 g_nBaseline = -1;
qint64 restartPeak()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (!clear.open(QIODevice::WriteOnly) || clear.write("5") != 1) // 5: the peak starts again
        return -1;
    clear.close();
    g_nBaseline = statusKiB("VmRSS:");
    return g_nBaseline;
}
qint64 peakSinceRestart()
{
    const qint64 nPeak = statusKiB("VmHWM:");
    return nPeak < 0 || g_nBaseline < 0 ? -1 : nPeak - g_nBaseline;
}
#elif defined(Q_OS_WIN)
qint64 peakWorkingSetKiB()
{
    PROCESS_MEMORY_COUNTERS counters{};
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)))
        return -1;
    return qint64(counters.PeakWorkingSetSize / 1024);
}
qint64 g_nBaseline = -1;
qint64 restartPeak()
{
    // The peak cannot be started again here: growth above the peak so far.
    g_nBaseline = peakWorkingSetKiB();
    return g_nBaseline;
}
qint64 peakSinceRestart()
{
    const qint64 nPeak = peakWorkingSetKiB();
    return nPeak < 0 || g_nBaseline < 0 ? -1 : nPeak - g_nBaseline;
}
#else
qint64 restartPeak() { return -1; }
qint64 peakSinceRestart() { return -1; }
#endif

const char* const kMeasureOption = "--measure-peak";

// The child: a host and a panel, then one command on the picture file;
// prints how far the peak resident memory rose during the command.
int measureInChild(const QString& strCommand, const QString& strPicture)
{
    QTemporaryDir dir;
    freshHost(dir);
    std::unique_ptr<ZKCostomCameraWidget, PanelDeleter> pPanel(quietPanel());
    ZKCostomCameraWidget::SetOpenFileNameFunction(&fakeOpenFileName);
    g_strNextFile = strPicture;
    if (strCommand == QLatin1String("capture")) {
        QFile::copy(strPicture, HostSim::workPath() + QStringLiteral("VisSourcePicTest.jpg"));
        bIsDebug = true;
    }
    if (restartPeak() < 0)
        return 3;
    if (strCommand == QLatin1String("capture"))
        pPanel->slotCapture();
    else
        pPanel->slotOpenThePicture();
    const qint64 nGrowth = peakSinceRestart();
    const bool bPlaced = pictureOnLayer210() != nullptr;
    pPanel.reset();
    std::printf("peak growth %lld KiB, placed %d\n", static_cast<long long>(nGrowth), bPlaced ? 1 : 0);
    std::fflush(stdout);
    return 0;
}

} // namespace

class TestPictureFiles : public QObject
{
    Q_OBJECT

private:
    QString filePath(const QString& strName) const { return m_pDir->filePath(strName); }

    void placeAGoodPicture(ZKCostomCameraWidget* pPanel)
    {
        g_strNextFile = filePath(QStringLiteral("good.jpg"));
        writeFile(g_strNextFile, detailedPicture("JPG"));
        pPanel->slotOpenThePicture();
    }

    // What the child process reports: the peak's growth in KiB and whether a picture was placed.
    static bool measure(const QString& strCommand, const QString& strPicture, qint64& nGrowthKiB, bool& bPlaced)
    {
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        if (!startChildProcess(child, QCoreApplication::applicationFilePath(),
                               sameProgramArguments({QLatin1String(kMeasureOption), strCommand, strPicture}))) {
            qWarning("the measuring process did not start: %s", qPrintable(child.errorString()));
            return false;
        }
        if (!child.waitForFinished(240000) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0)
            return false;
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("peak growth (-?\\d+) KiB, placed (\\d)"))
                .match(QString::fromLatin1(child.readAllStandardOutput()));
        if (!match.hasMatch())
            return false;
        nGrowthKiB = match.captured(1).toLongLong();
        bPlaced = match.captured(2) == QLatin1String("1");
        return true;
    }

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
        HostSim::machine().setPosition(10.0, 5.0);
        ZKCostomCameraWidget::SetOpenFileNameFunction(&fakeOpenFileName);
    }

    void cleanup()
    {
        ZKCostomCameraWidget::SetOpenFileNameFunction(nullptr);
        bIsDebug = false;
    }

    // The made-up pictures are what they claim to be.
    void theFlatPictureIsAWholeJpeg()
    {
        for (int nComponents : {1, 3}) {
            QImage small;
            QVERIFY(small.loadFromData(flatJpeg(67, 45, nComponents), "JPG"));
            QCOMPARE(small.size(), QSize(67, 45));
            for (int y = 0; y < small.height(); ++y)
                for (int x = 0; x < small.width(); ++x)
                    QCOMPARE(small.pixel(x, y), qRgb(128, 128, 128));
            // The large one decodes too (here an eighth of the way, 2500 x 2500).
            QByteArray large = flatJpeg(20000, 20000, nComponents);
            QBuffer buffer(&large);
            QImageReader reader(&buffer, "jpeg");
            QCOMPARE(reader.size(), QSize(20000, 20000));
            reader.setScaledSize(QSize(2500, 2500));
            const QImage eighth = reader.read();
            QCOMPARE(eighth.size(), QSize(2500, 2500));
            QCOMPARE(eighth.pixel(1249, 1249), qRgb(128, 128, 128));
        }
    }

    void badFiles_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");
        const QByteArray jpeg = detailedPicture("JPG");
        const QByteArray bmp = detailedPicture("BMP");
        const QByteArray png = detailedPicture("PNG");
        const int nScan = jpeg.indexOf("\xff\xda");
        struct Bad
        {
            const char* pszName;
            QByteArray bytes;
            QString reason;
        };
        const QVector<Bad> bads = {
            {"zero bytes", QByteArray(), QStringLiteral("empty")},
            {"text named .jpg", QByteArray("this is not a picture\n"), QStringLiteral("not a JPEG, BMP or PNG")},
            {"XBM text named .jpg", QByteArray("#define x_width 8\n#define x_height 8\nstatic char x_bits[] = {\n"
                                               "0,0,0,0,0,0,0,0};\n"),
             QStringLiteral("not a JPEG, BMP or PNG")},
            {"JPEG cut after its header", jpeg.left(nScan + 20), QStringLiteral("cut short")},
            {"JPEG cut in half", jpeg.left(jpeg.size() / 2), QStringLiteral("cut short")},
            {"JPEG without its end marker", jpeg.left(jpeg.size() - 2), QStringLiteral("cut short")},
            {"BMP cut in half", bmp.left(bmp.size() / 2), QStringLiteral("cut short")},
            {"PNG cut in half", png.left(png.size() / 2), QStringLiteral("does not decode")},
            {"20000 x 20000 gray JPEG", flatJpeg(20000, 20000, 1), QStringLiteral("20000 x 20000 pixels")},
            {"20000 x 20000 colour JPEG", flatJpeg(20000, 20000, 3), QStringLiteral("20000 x 20000 pixels")},
            {"BMP header of 16384 x 16384", bmpClaiming(16384, 16384), QStringLiteral("16384 x 16384 pixels")},
            // Qt itself takes no BMP above 16384 pixels a side, nor a JPEG above 65500.
            {"BMP header of 20000 x 20000", bmpClaiming(20000, 20000), QStringLiteral("no picture size")},
            {"JPEG header of 65500 x 65500", flatJpeg(65500, 65500, 3, false), QStringLiteral("65500 x 65500 pixels")},
            {"JPEG header of 65535 x 65535", flatJpeg(65535, 65535, 3, false), QStringLiteral("no picture size")},
            {"JPEG header one column above the limit", flatJpeg(8193, 8192, 1, false),
             QStringLiteral("8193 x 8192 pixels")},
        };
        for (const QString& command : {QStringLiteral("open"), QStringLiteral("capture")})
            for (const Bad& bad : bads)
                QTest::newRow(qPrintable(command + QLatin1String(": ") + QLatin1String(bad.pszName)))
                    << command << bad.bytes << bad.reason;
    }

    void badFiles()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        PanelPtr pPanel(quietPanel());
        placeAGoodPicture(pPanel.get());
        QVERIFY(pictureOnLayer210());
        const int nLines = HostSim::operatorLines().size();
        HostSim::journal().clear();

        QString strPath;
        if (command == QLatin1String("open")) {
            strPath = filePath(QStringLiteral("bad.jpg"));
            writeFile(strPath, bytes);
            g_strNextFile = strPath;
            pPanel->slotOpenThePicture();
            // A failed read as the panel takes it: the opened picture replaces
            // the old one, and there is none.
            QVERIFY(HXL_GetIsOpenFile());
        } else {
            strPath = HostSim::workPath() + QStringLiteral("VisSourcePicTest.jpg");
            writeFile(strPath, bytes);
            bIsDebug = true;
            pPanel->slotCapture();
            bIsDebug = false;
            // ... and as a photograph takes it: calibration has no picture,
            // the box is hidden, the next photograph may start.
            QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::SaveImageFile")), 0);
            QCOMPARE(HostSim::journal().count(QStringLiteral("IZKVisionCameraManager::PreprocessImage()")), 0);
            QCOMPARE(HostSim::journal().count(QStringLiteral("IZKEventManger::FireEvent(0, 405")), 0);
            QVERIFY(g_bCanCapture);
            QVERIFY(!ZKWindowManager::singleton().getMainWindow()->GetProgressUI()->isVisible());
            QVERIFY(!HXL_GetIsOpenFile());
        }
        QCOMPARE(HostSim::journal().count(QStringLiteral("ImageAdapter::ReadFile(") + strPath + QLatin1Char(')')), 1);
        QVERIFY(!pictureOnLayer210());
        QVERIFY(HostSim::cameraManager().GetImageAdapter()->IsEmpty());
        const QStringList told = HostSim::operatorLines(nLines);
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.first().startsWith(QStringLiteral("picture ") + QFileInfo(strPath).fileName() + " not read: ")
                     && told.first().contains(reason),
                 qPrintable(told.first()));
    }

    // The same commands on whole pictures of every format still place them.
    void goodFilesArePlaced_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QSize>("size");
        for (const QString& command : {QStringLiteral("open"), QStringLiteral("capture")}) {
            QTest::newRow(qPrintable(command + ": JPEG")) << command << detailedPicture("JPG") << QSize(640, 480);
            QTest::newRow(qPrintable(command + ": BMP")) << command << detailedPicture("BMP") << QSize(640, 480);
            QTest::newRow(qPrintable(command + ": PNG")) << command << detailedPicture("PNG") << QSize(640, 480);
            QTest::newRow(qPrintable(command + ": flat JPEG with fill bytes"))
                << command << QByteArray(flatJpeg(99, 77, 3)).insert(2, "\xff\xff", 2) << QSize(99, 77);
            QTest::newRow(qPrintable(command + ": flat JPEG with stray bytes before a marker"))
                << command << QByteArray(flatJpeg(99, 77, 1)).insert(2, "junk") << QSize(99, 77);
            QTest::newRow(qPrintable(command + ": 8192 x 8192 flat gray JPEG")) << command << flatJpeg(8192, 8192, 1)
                                                                                << QSize(8192, 8192);
        }
    }
    void goodFilesArePlaced()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, bytes);
        QFETCH(QSize, size);
        PanelPtr pPanel(quietPanel());
        const int nLines = HostSim::operatorLines().size();
        if (command == QLatin1String("open")) {
            g_strNextFile = filePath(QStringLiteral("good.jpg"));
            writeFile(g_strNextFile, bytes);
            pPanel->slotOpenThePicture();
        } else {
            writeFile(HostSim::workPath() + QStringLiteral("VisSourcePicTest.jpg"), bytes);
            bIsDebug = true;
            pPanel->slotCapture();
            bIsDebug = false;
        }
        hostsim::SimDbImage* pImage = pictureOnLayer210();
        QVERIFY(pImage);
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        QCOMPARE(QSize(w, h), size);
        QCOMPARE(HostSim::operatorLines(nLines), QStringList());
    }

    // A refused picture costs next to nothing; a large one that is read costs
    // what it must (which shows that the measure sees it).
    void memoryStaysBounded_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("refused");
        for (const QString& command : {QStringLiteral("open"), QStringLiteral("capture")}) {
            QTest::newRow(qPrintable(command + ": 20000 x 20000 colour JPEG")) << command << flatJpeg(20000, 20000, 3)
                                                                               << true;
            QTest::newRow(qPrintable(command + ": 20000 x 20000 gray JPEG")) << command << flatJpeg(20000, 20000, 1)
                                                                             << true;
            QTest::newRow(qPrintable(command + ": 4000 x 4000 JPEG, read")) << command << flatJpeg(4000, 4000, 3)
                                                                            << false;
        }
        QTest::newRow("open: BMP header of 16384 x 16384") << QStringLiteral("open") << bmpClaiming(16384, 16384)
                                                           << true;
    }
    void memoryStaysBounded()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, bytes);
        QFETCH(bool, refused);
        const QString strPath = filePath(QStringLiteral("picture.jpg"));
        writeFile(strPath, bytes);
        qint64 nGrowthKiB = 0;
        bool bPlaced = false;
        QVERIFY2(measure(command, strPath, nGrowthKiB, bPlaced), "the child process failed");
        if (nGrowthKiB < 0)
            QSKIP("this platform does not tell the peak resident memory");
        qInfo("peak resident memory rose by %lld KiB", static_cast<long long>(nGrowthKiB));
        QCOMPARE(bPlaced, !refused);
        if (refused)
            QVERIFY2(nGrowthKiB < 32 * 1024, qPrintable(QStringLiteral("%1 KiB").arg(nGrowthKiB)));
        else // 64 MB for the decoded 4000 x 4000 picture alone
            QVERIFY2(nGrowthKiB > 60 * 1024, qPrintable(QStringLiteral("%1 KiB").arg(nGrowthKiB)));
    }

    // checkPictureFile judges without decoding: the demo host and the
    // picture camera use it on the same files.
    void theCheckAloneAgrees()
    {
        const QString strPath = filePath(QStringLiteral("x.jpg"));
        QString why;
        writeFile(strPath, flatJpeg(20000, 20000, 3));
        QVERIFY(!hostsim::checkPictureFile(strPath, &why));
        QVERIFY2(why.contains(QStringLiteral("20000 x 20000")), qPrintable(why));
        writeFile(strPath, detailedPicture("JPG"));
        QVERIFY2(hostsim::checkPictureFile(strPath, &why), qPrintable(why));
        QVERIFY(!hostsim::checkPictureFile(filePath(QStringLiteral("missing.jpg")), &why));
        QVERIFY2(why.startsWith(QStringLiteral("cannot be opened")), qPrintable(why));
    }

    // The picture camera is refused the same pictures and says so.
    void thePictureCameraRefusesThem()
    {
        const QString strPath = filePath(QStringLiteral("huge.jpg"));
        writeFile(strPath, flatJpeg(20000, 20000, 3));
        hostsim::SimCamera* pCamera = HostSim::camera(0);
        const int nLines = HostSim::operatorLines().size();
        QVERIFY(!pCamera->setSource(hostsim::FrameSource::Picture, strPath));
        QCOMPARE(pCamera->setup().source, hostsim::FrameSource::Scene);
        const QStringList told = HostSim::operatorLines(nLines);
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.first().contains(QStringLiteral("huge.jpg")) && told.first().contains(QStringLiteral("20000 x 20000")),
                 qPrintable(told.first()));
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], kMeasureOption) == 0)
        return measureInChild(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    TestPictureFiles test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_picture_files.moc"
