// The demo host run headless, as on a machine without a screen: it writes a
// picture of its window, and that picture shows the camera panel's live
// picture and, with --snapshot, the photo the panel placed on the drawing.
// The demo is started as its own process, beside this program, with Qt's
// "-platform offscreen" on its command line.

#include "ChildProcess.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <memory>

#ifdef Q_OS_WIN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace {

// The panel's crosshair: pure red, one pixel wide, across the whole picture label.
bool isCrosshairRed(QRgb c)
{
    return qRed(c) >= 250 && qGreen(c) <= 10 && qBlue(c) <= 10;
}

// The blue fill of the workpiece's circles as the camera sees them.
bool isWorkpieceBlue(QRgb c)
{
    return qBlue(c) > qRed(c) + 60 && qBlue(c) > qGreen(c) + 30;
}

// A camera picture's pixel: neither the drawing's near-white paper nor its gray grid.
bool isPicturePixel(QRgb c)
{
    const int nMin = std::min({qRed(c), qGreen(c), qBlue(c)});
    const int nMax = std::max({qRed(c), qGreen(c), qBlue(c)});
    return nMin < 235 && nMax - nMin > 12;
}

// The straight line of crosshair red with the most pixels, across rows
// (horizontal) or down columns, among the columns from x0 on. The search
// ranges drawn over the picture cross it here and there.
struct RedLine
{
    int line = -1; // the row of a horizontal line, the column of a vertical one
    int from = 0;  // its first and last red pixel
    int to = -1;
    int count = 0; // its red pixels
    int length() const { return to - from + 1; }
};

RedLine longestRedLine(const QImage& image, bool bHorizontal, int x0)
{
    RedLine best;
    const int nLines = bHorizontal ? image.height() : image.width() - x0;
    for (int i = 0; i < nLines; ++i) {
        RedLine line;
        line.line = bHorizontal ? i : x0 + i;
        const int nFrom = bHorizontal ? x0 : 0;
        const int nTo = bHorizontal ? image.width() : image.height();
        for (int j = nFrom; j < nTo; ++j) {
            if (!isCrosshairRed(bHorizontal ? image.pixel(j, line.line) : image.pixel(line.line, j)))
                continue;
            if (line.count++ == 0)
                line.from = j;
            line.to = j;
        }
        if (line.count > best.count)
            best = line;
    }
    return best;
}

// Share of the pixels in a rectangle that pass a test.
template <class Test>
double share(const QImage& image, const QRect& rect, Test test)
{
    qint64 nHits = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            nHits += test(image.pixel(x, y)) ? 1 : 0;
    return rect.isEmpty() ? 0.0 : double(nHits) / (double(rect.width()) * rect.height());
}

struct DemoPicture
{
    QImage image;
    QRect label;   // the live picture label, found by its crosshair
    QRect drawing; // the drawing view, left of the camera panel
};

} // namespace

class TestDemoHeadless : public QObject
{
    Q_OBJECT

private:
    // Runs the demo headless for a few live frames and reads its picture.
    // The demo program, built beside this one.
    static QString demoProgram()
    {
        return QStandardPaths::findExecutable(QStringLiteral("camera_host"), {QCoreApplication::applicationDirPath()});
    }

    bool runDemo(const QStringList& extraArguments, DemoPicture& picture)
    {
        const QString strDemo = demoProgram();
        if (strDemo.isEmpty()) {
            qWarning("no camera_host beside %s", qPrintable(QCoreApplication::applicationDirPath()));
            return false;
        }
        const QString strPng = m_pDir->filePath(QStringLiteral("camera_host.png"));
        QProcess demo;
        demo.setProcessChannelMode(QProcess::MergedChannels);
        const QStringList arguments = QStringList{QStringLiteral("-platform"), QStringLiteral("offscreen"),
                                                  QStringLiteral("--work-dir"), m_pDir->filePath(QStringLiteral("work")),
                                                  QStringLiteral("--headless"), strPng, QStringLiteral("--frames"),
                                                  QStringLiteral("10")}
                                      + extraArguments;
        if (!startChildProcess(demo, strDemo, arguments)) {
            qWarning("camera_host did not start: %s", qPrintable(demo.errorString()));
            return false;
        }
        const bool bFinished = demo.waitForFinished(120000);
        const QByteArray output = demo.readAll();
        if (!bFinished || demo.exitStatus() != QProcess::NormalExit || demo.exitCode() != 0) {
            qWarning("camera_host failed (exit code %d):\n%s", demo.exitCode(), output.constData());
            if (!bFinished)
                demo.kill();
            return false;
        }
        picture.image = QImage(strPng).convertToFormat(QImage::Format_RGB32);
        if (picture.image.isNull()) {
            qWarning("no picture at %s:\n%s", qPrintable(strPng), output.constData());
            return false;
        }
        const int nPanelSide = picture.image.width() / 2;
        const RedLine horizontal = longestRedLine(picture.image, true, nPanelSide);
        const RedLine vertical = longestRedLine(picture.image, false, nPanelSide);
        picture.label = QRect(QPoint(horizontal.from, vertical.from), QPoint(horizontal.to, vertical.to));
        picture.drawing = QRect(QPoint(0, 30), QPoint(horizontal.from - 10, picture.image.height() - 30));
        qInfo("crosshair: row %d, %d red from x %d to %d; column %d, %d red from y %d to %d", horizontal.line,
              horizontal.count, horizontal.from, horizontal.to, vertical.line, vertical.count, vertical.from,
              vertical.to);
        m_horizontal = horizontal;
        m_vertical = vertical;
        return true;
    }

    // The live picture: the crosshair spans the label and crosses in its
    // middle, and the camera's frame of the workpiece fills the label.
    void verifyLivePanel(const DemoPicture& picture)
    {
        QVERIFY2(m_horizontal.length() >= 300, qPrintable(QString::number(m_horizontal.length())));
        QVERIFY2(m_vertical.length() >= 150, qPrintable(QString::number(m_vertical.length())));
        // Unbroken but for the few places where a search range crosses it.
        QVERIFY(m_horizontal.count >= m_horizontal.length() * 9 / 10);
        QVERIFY(m_vertical.count >= m_vertical.length() * 9 / 10);
        QVERIFY(qAbs(m_vertical.line - picture.label.center().x()) <= 1);
        QVERIFY(qAbs(m_horizontal.line - picture.label.center().y()) <= 1);
        const double dPicture = share(picture.image, picture.label, isPicturePixel);
        const double dBlue = share(picture.image, picture.label, isWorkpieceBlue);
        qInfo("live label: %.3f picture, %.3f workpiece blue", dPicture, dBlue);
        QVERIFY(dPicture > 0.4);
        QVERIFY(dBlue > 0.01);
    }

private slots:
    void init()
    {
        m_pDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_pDir->isValid());
    }

    void headlessPictureShowsTheLivePanelAndAPlacedPhoto()
    {
        DemoPicture picture;
        QVERIFY(runDemo({QStringLiteral("--snapshot")}, picture));
        QCOMPARE(picture.image.size(), QSize(1280, 800));
        verifyLivePanel(picture);
        if (QTest::currentTestFailed())
            return;
        // The photo covers much of the drawing and shows the workpiece.
        const double dPicture = share(picture.image, picture.drawing, isPicturePixel);
        const double dBlue = share(picture.image, picture.drawing, isWorkpieceBlue);
        qInfo("drawing: %.3f picture, %.3f workpiece blue", dPicture, dBlue);
        QVERIFY(dPicture > 0.25);
        QVERIFY(dBlue > 0.01);
    }

    // Without a snapshot the live panel is the same and the drawing is bare paper.
    void withoutSnapshotTheDrawingHasNoPhoto()
    {
        DemoPicture picture;
        QVERIFY(runDemo({}, picture));
        verifyLivePanel(picture);
        if (QTest::currentTestFailed())
            return;
        const double dPicture = share(picture.image, picture.drawing, isPicturePixel);
        qInfo("drawing: %.3f picture", dPicture);
        QVERIFY(dPicture < 0.02);
        QCOMPARE(share(picture.image, picture.drawing, isWorkpieceBlue), 0.0);
    }

    // The panel finds its files ("qcv.dat", the photo) through the work
    // directory written in the system's code page. A name that code page can
    // write is used as it is; one it cannot is refused at start with one line,
    // and nothing is written anywhere else.
    void workDirectoryNamesAndTheCodePage_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("plain") << QStringLiteral("work");
        QTest::newRow("Chinese") << QStringLiteral("w\u5de5\u4f5c\u76ee\u5f55");
        QTest::newRow("Korean") << QStringLiteral("w\uc791\uc5c5");
        QTest::newRow("accented") << QStringLiteral("w\u00e9t\u00e9");
    }
    void workDirectoryNamesAndTheCodePage()
    {
        QFETCH(QString, name);
        const QString strDemo = demoProgram();
        QVERIFY2(!strDemo.isEmpty(), "no camera_host beside the test");
        const QString strWork = QDir::cleanPath(m_pDir->filePath(name));
        const bool bWritable = QString::fromLocal8Bit(strWork.toLocal8Bit()) == strWork;
        qInfo("%s: the code page %s", QTest::currentDataTag(), bWritable ? "writes the name" : "cannot write the name");
#ifdef Q_OS_WIN
        // The run under a Chinese Windows (code page 936) sees both answers.
        if (GetACP() == 936 && QByteArray(QTest::currentDataTag()) == "Chinese")
            QVERIFY(bWritable);
        if (GetACP() == 936 && QByteArray(QTest::currentDataTag()) == "Korean")
            QVERIFY(!bWritable);
#endif

        QProcess demo;
        demo.setProcessChannelMode(QProcess::MergedChannels);
        QVERIFY2(startChildProcess(demo, strDemo,
                                   {QStringLiteral("-platform"), QStringLiteral("offscreen"), QStringLiteral("--work-dir"),
                                    strWork, QStringLiteral("--headless"), m_pDir->filePath(QStringLiteral("out.png")),
                                    QStringLiteral("--frames"), QStringLiteral("5"), QStringLiteral("--snapshot")}),
                 qPrintable(demo.errorString()));
        QVERIFY(demo.waitForFinished(120000));
        const QString output = QString::fromLocal8Bit(demo.readAll());
        QCOMPARE(demo.exitStatus(), QProcess::NormalExit);
        if (bWritable) {
            QVERIFY2(demo.exitCode() == 0, qPrintable(output));
            QVERIFY2(QFileInfo::exists(strWork + QStringLiteral("/qcv.dat")), qPrintable(output));
            QVERIFY2(QFileInfo::exists(strWork + QStringLiteral("/VisSourcePic.jpg")), qPrintable(output));
        } else {
            QVERIFY2(demo.exitCode() == 2, qPrintable(output));
            QVERIFY2(output.contains(QStringLiteral("for --work-dir: this system's code page cannot write its name")),
                     qPrintable(output));
            QVERIFY(!QFileInfo::exists(strWork));
        }
        // Nothing of the panel's lies anywhere but in the work directory.
        QDirIterator files(m_pDir->path(), {QStringLiteral("qcv.dat"), QStringLiteral("VisSourcePic.jpg")}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString strFile = files.next();
            QVERIFY2(bWritable && QFileInfo(strFile).absolutePath() == QFileInfo(strWork).absoluteFilePath(),
                     qPrintable(strFile));
        }
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    RedLine m_horizontal;
    RedLine m_vertical;
};

QTEST_GUILESS_MAIN(TestDemoHeadless)
#include "tst_demo_headless.moc"
