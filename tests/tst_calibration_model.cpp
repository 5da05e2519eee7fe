// The camera model: pixels of a camera's picture to machine millimetres and
// back, through scale per axis, rotation, mirror and the offset of the
// optical axis from the head; the picture turned into the machine's axes.

#include "calibration/CameraModel.h"

#include <QJsonDocument>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <cmath>

using hostsim::CameraModel;
using hostsim::Linear2;

namespace {

CameraModel model(double dSx, double dSy, double dRotation, bool bMirrored, double dOx = 0.0, double dOy = 0.0)
{
    CameraModel m;
    m.mmPerPixelX = dSx;
    m.mmPerPixelY = dSy;
    m.rotationDeg = dRotation;
    m.mirrored = bMirrored;
    m.offsetX = dOx;
    m.offsetY = dOy;
    return m;
}

double distance(const QPointF& a, const QPointF& b)
{
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

// Intensity-weighted centre (continuous coordinates) of the bright pixels of a gray picture.
QPointF brightCentre(const cv::Mat& gray)
{
    double sx = 0.0, sy = 0.0, sw = 0.0;
    for (int y = 0; y < gray.rows; ++y)
        for (int x = 0; x < gray.cols; ++x) {
            const double w = gray.at<uchar>(y, x);
            sx += w * (x + 0.5);
            sy += w * (y + 0.5);
            sw += w;
        }
    return sw > 0 ? QPointF(sx / sw, sy / sw) : QPointF(-1e9, -1e9);
}

} // namespace

class TestCameraModel : public QObject
{
    Q_OBJECT

private slots:
    void plainCameraIsTheSimpleScale()
    {
        const CameraModel m = CameraModel::plain(0.02);
        const QSize frame(1280, 1024);
        // The centre is the head; picture x is machine x, picture y runs against machine y.
        QCOMPARE(m.pixelToMachine(QPointF(640, 512), frame, QPointF(3, 4)), QPointF(3, 4));
        const QPointF pt = m.pixelToMachine(QPointF(740, 412), frame, QPointF(3, 4));
        QVERIFY(distance(pt, QPointF(3 + 2.0, 4 + 2.0)) < 1e-12);
        QVERIFY(!m.needsResampling());
        QCOMPARE(m.alignedMmPerPixelX(), 0.02);
        QCOMPARE(m.alignedMmPerPixelY(), 0.02);
    }

    void roundTripPixelMachinePixel_data()
    {
        QTest::addColumn<double>("rotation");
        QTest::addColumn<bool>("mirrored");
        QTest::addColumn<QSize>("frame");
        // Every 15 degrees around, both handednesses, even and odd frames.
        for (int nDeg = -180; nDeg <= 180; nDeg += 15)
            for (bool bMirrored : {false, true})
                for (const QSize& frame : {QSize(1280, 1024), QSize(321, 7)})
                    QTest::newRow(qPrintable(QStringLiteral("%1 deg%2 %3x%4")
                                                 .arg(nDeg)
                                                 .arg(bMirrored ? QStringLiteral(" mirrored") : QString())
                                                 .arg(frame.width())
                                                 .arg(frame.height())))
                        << double(nDeg) << bMirrored << frame;
    }
    void roundTripPixelMachinePixel()
    {
        QFETCH(double, rotation);
        QFETCH(bool, mirrored);
        QFETCH(QSize, frame);
        const CameraModel m = model(0.021, 0.0197, rotation, mirrored, 12.5, -7.25);
        const QPointF head(-40.0, 115.5);
        for (const QPointF& px : {QPointF(0, 0), QPointF(frame.width(), frame.height()), QPointF(17.25, 3.5),
                                  QPointF(frame.width() / 2.0, frame.height() / 2.0)}) {
            const QPointF mm = m.pixelToMachine(px, frame, head);
            QVERIFY2(distance(m.machineToPixel(mm, frame, head), px) < 1e-9, "camera pixels");
            const QPointF aligned = m.machineToAlignedPixel(mm, frame, head);
            QVERIFY2(distance(m.alignedPixelToMachine(aligned, frame, head), mm) < 1e-9, "aligned pixels");
            // The aligned picture and the camera's picture agree through alignedToPixelLinear.
            const QPointF centre(frame.width() / 2.0, frame.height() / 2.0);
            const QPointF back = centre + m.alignedToPixelLinear().map(aligned - centre);
            QVERIFY2(distance(back, px) < 1e-9, "aligned to camera pixels");
        }
        // The picture centre is where the optical axis meets the work plane.
        QVERIFY(distance(m.pixelToMachine(QPointF(frame.width() / 2.0, frame.height() / 2.0), frame, head),
                         head + QPointF(12.5, -7.25))
                < 1e-12);
    }

    void machinePositionOnlyShiftsTheResult_data()
    {
        QTest::addColumn<double>("rotation");
        QTest::addColumn<bool>("mirrored");
        QTest::newRow("plain") << 0.0 << false;
        QTest::newRow("3 deg") << 3.0 << false;
        QTest::newRow("-97 deg mirrored") << -97.0 << true;
    }
    void machinePositionOnlyShiftsTheResult()
    {
        QFETCH(double, rotation);
        QFETCH(bool, mirrored);
        const CameraModel m = model(0.021, 0.020, rotation, mirrored, 12.5, -7.25);
        const QSize frame(640, 480);
        const QPointF px(100.5, 37.25);
        const QPointF atOrigin = m.pixelToMachine(px, frame, QPointF(0, 0));
        for (const QPointF& head : {QPointF(1, 0), QPointF(0, 1), QPointF(-250.75, 33.125)}) {
            QVERIFY(distance(m.pixelToMachine(px, frame, head), atOrigin + head) < 1e-9);
            QVERIFY(distance(m.alignedPixelToMachine(px, frame, head),
                             m.alignedPixelToMachine(px, frame, QPointF(0, 0)) + head)
                    < 1e-9);
        }
    }

    // Picture y points down and machine y up: a plain camera's map reverses
    // handedness; a mirror image does not.
    void mirrorChangesHandedness_data()
    {
        QTest::addColumn<double>("rotation");
        for (int nDeg = -170; nDeg <= 180; nDeg += 35)
            QTest::newRow(qPrintable(QStringLiteral("%1 deg").arg(nDeg))) << double(nDeg);
    }
    void mirrorChangesHandedness()
    {
        QFETCH(double, rotation);
        QVERIFY(model(0.02, 0.03, rotation, false).pixelToMachineLinear().det() < 0.0);
        QVERIFY(model(0.02, 0.03, rotation, true).pixelToMachineLinear().det() > 0.0);
        QVERIFY(std::abs(std::abs(model(0.02, 0.03, rotation, true).pixelToMachineLinear().det()) - 0.02 * 0.03)
                < 1e-15);
    }

    void directionsOfTheAxes()
    {
        const QSize frame(100, 100);
        const QPointF centre(50, 50);
        auto step = [&](const CameraModel& m, const QPointF& d) {
            return m.pixelToMachine(centre + d, frame, QPointF()) - m.pixelToMachine(centre, frame, QPointF());
        };
        // A quarter turn counter-clockwise: picture +x is machine +y, picture +y (down) is machine +x.
        QVERIFY(distance(step(model(1, 1, 90, false), QPointF(1, 0)), QPointF(0, 1)) < 1e-12);
        QVERIFY(distance(step(model(1, 1, 90, false), QPointF(0, 1)), QPointF(1, 0)) < 1e-12);
        // A mirror image: picture +x is machine -x.
        QVERIFY(distance(step(model(1, 1, 0, true), QPointF(1, 0)), QPointF(-1, 0)) < 1e-12);
        QVERIFY(distance(step(model(1, 1, 0, true), QPointF(0, 1)), QPointF(0, -1)) < 1e-12);
        // Scale per axis.
        QVERIFY(distance(step(model(0.5, 2, 0, false), QPointF(1, 1)), QPointF(0.5, -2)) < 1e-12);
    }

    void alignedScalesFollowTheNearerAxis()
    {
        QCOMPARE(model(0.021, 0.02, 3, false).alignedMmPerPixelX(), 0.021);
        QCOMPARE(model(0.021, 0.02, 3, false).alignedMmPerPixelY(), 0.02);
        QCOMPARE(model(0.021, 0.02, 91, false).alignedMmPerPixelX(), 0.02);
        QCOMPARE(model(0.021, 0.02, -179, true).alignedMmPerPixelX(), 0.021);
    }

    void modelComesBackFromItsMap_data()
    {
        QTest::addColumn<double>("rotation");
        QTest::addColumn<bool>("mirrored");
        for (int nDeg = -175; nDeg <= 180; nDeg += 25)
            for (bool bMirrored : {false, true})
                QTest::newRow(qPrintable(QStringLiteral("%1 deg%2").arg(nDeg).arg(bMirrored ? " mirrored" : "")))
                    << double(nDeg) << bMirrored;
    }
    void modelComesBackFromItsMap()
    {
        QFETCH(double, rotation);
        QFETCH(bool, mirrored);
        const CameraModel m = model(0.021, 0.0195, rotation, mirrored);
        double dSkew = -1.0;
        const CameraModel back = CameraModel::fromLinear(m.pixelToMachineLinear(), &dSkew);
        QVERIFY(std::abs(back.mmPerPixelX - m.mmPerPixelX) < 1e-15);
        QVERIFY(std::abs(back.mmPerPixelY - m.mmPerPixelY) < 1e-15);
        QVERIFY2(std::abs(back.rotationDeg - m.rotationDeg) < 1e-9, qPrintable(QString::number(back.rotationDeg)));
        QCOMPARE(back.mirrored, mirrored);
        QVERIFY(dSkew < 1e-9);
    }

    void skewOfAMapThatNoCameraHasIsReported()
    {
        // The picture's x axis a degree off square to its y axis.
        const double t = 1.0 * 3.14159265358979323846 / 180.0;
        const Linear2 skewed{0.02 * std::cos(t), 0.0, 0.02 * std::sin(t), -0.02};
        double dSkew = 0.0;
        CameraModel::fromLinear(skewed, &dSkew);
        QVERIFY2(std::abs(dSkew - 1.0) < 1e-9, qPrintable(QString::number(dSkew)));
    }

    // A bright dot at a camera pixel lands, in the aligned picture, where
    // the model puts that point of the work plane.
    void alignedPictureShowsPointsWhereTheModelSaysThey_data()
    {
        QTest::addColumn<double>("rotation");
        QTest::addColumn<bool>("mirrored");
        QTest::addColumn<QSize>("frame");
        QTest::newRow("3 deg") << 3.0 << false << QSize(320, 240);
        QTest::newRow("-30 deg mirrored") << -30.0 << true << QSize(320, 240);
        QTest::newRow("mirrored only, odd frame") << 0.0 << true << QSize(201, 99);
        QTest::newRow("quarter turn") << 90.0 << false << QSize(240, 240);
        QTest::newRow("180 deg, odd") << 180.0 << false << QSize(161, 121);
    }
    void alignedPictureShowsPointsWhereTheModelSaysThey()
    {
        QFETCH(double, rotation);
        QFETCH(bool, mirrored);
        QFETCH(QSize, frame);
        const CameraModel m = model(0.021, 0.020, rotation, mirrored, 1.0, 2.0);
        for (const QPoint& pixel : {QPoint(frame.width() / 2 + 20, frame.height() / 2 - 15),
                                    QPoint(frame.width() / 2 - 31, frame.height() / 2 + 8)}) {
            cv::Mat camera = cv::Mat::zeros(frame.height(), frame.width(), CV_8UC1);
            // A 3 x 3 bright square around the pixel; its centre in continuous coordinates.
            camera(cv::Rect(pixel.x() - 1, pixel.y() - 1, 3, 3)).setTo(255);
            const QPointF dot(pixel.x() + 0.5, pixel.y() + 0.5);
            const cv::Mat aligned = m.alignFrame(camera);
            QCOMPARE(aligned.size(), camera.size());
            const QPointF expected = m.machineToAlignedPixel(m.pixelToMachine(dot, frame, QPointF()), frame, QPointF());
            const QPointF seen = brightCentre(aligned);
            QVERIFY2(distance(seen, expected) < 0.05,
                     qPrintable(QStringLiteral("seen %1, %2 expected %3, %4")
                                    .arg(seen.x())
                                    .arg(seen.y())
                                    .arg(expected.x())
                                    .arg(expected.y())));
        }
    }

    void pictureWithoutTurnIsNotCopied()
    {
        const CameraModel m = model(0.021, 0.02, 0.0, false, 5, 5);
        cv::Mat picture(10, 10, CV_8UC3, cv::Scalar(1, 2, 3));
        QCOMPARE(m.alignFrame(picture).data, picture.data);
        QVERIFY(model(0.02, 0.02, 0.0, true).alignFrame(picture).data != picture.data);
    }

    void jsonRoundTrip()
    {
        const CameraModel m = model(0.021, 0.0199, -3.25, true, 12.5, -7.25);
        const QByteArray text = QJsonDocument(m.toJson()).toJson();
        CameraModel back;
        QVERIFY(CameraModel::fromJson(QJsonDocument::fromJson(text).object(), CameraModel(), back));
        QCOMPARE(back, m);
    }

    void missingKeysKeepTheDefaults()
    {
        CameraModel back;
        const CameraModel defaults = model(0.05, 0.05, 0, false);
        QVERIFY(CameraModel::fromJson(QJsonObject{{"rotationDeg", 370.0}}, defaults, back));
        QCOMPARE(back.mmPerPixelX, 0.05);
        QCOMPARE(back.mmPerPixelY, 0.05);
        QCOMPARE(back.rotationDeg, 10.0); // turned into (-180, 180]
        QVERIFY(CameraModel::fromJson(QJsonObject(), defaults, back));
        QCOMPARE(back, defaults);
    }

    void badValuesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("named");
        QTest::newRow("scale zero") << QByteArray(R"({"mmPerPixelX": 0})") << "mmPerPixelX";
        QTest::newRow("scale negative") << QByteArray(R"({"mmPerPixelY": -0.02})") << "mmPerPixelY";
        QTest::newRow("scale text") << QByteArray(R"({"mmPerPixelX": "0.02"})") << "mmPerPixelX";
        QTest::newRow("rotation text") << QByteArray(R"({"rotationDeg": "3"})") << "rotationDeg";
        QTest::newRow("mirror number") << QByteArray(R"({"mirrored": 1})") << "mirrored";
        QTest::newRow("offset null") << QByteArray(R"({"offsetY": null})") << "offsetY";
    }
    void badValuesAreRefused()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, named);
        const CameraModel before = model(0.03, 0.03, 1, false);
        CameraModel target = before;
        QString strWhy;
        QVERIFY(!CameraModel::fromJson(QJsonDocument::fromJson(json).object(), CameraModel(), target, &strWhy));
        QVERIFY2(strWhy.contains(named), qPrintable(strWhy));
        QCOMPARE(target, before);
    }
};

QTEST_GUILESS_MAIN(TestCameraModel)
#include "tst_calibration_model.moc"
