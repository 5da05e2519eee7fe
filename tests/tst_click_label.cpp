// The click label: mouse activity on a picture turned into signals that carry
// the position in the label's own coordinates.

#include "MouseTestSupport.h"

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "display/HXLCustomLabel.h"

#include "HostSim.h"

#include <QApplication>
#include <QMetaMethod>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using hostsim::HostSim;
using mouse_test::sendMouse;

namespace {

// A parent that counts the mouse events which reach it, i.e. those the label
// left unaccepted.
class MouseCountingParent : public QWidget
{
public:
    int nEvents = 0;

protected:
    void mousePressEvent(QMouseEvent*) override { ++nEvents; }
    void mouseReleaseEvent(QMouseEvent*) override { ++nEvents; }
    void mouseMoveEvent(QMouseEvent*) override { ++nEvents; }
};

// Records every signal of a label by name, in emission order.
class SignalRecorder : public QObject
{
public:
    explicit SignalRecorder(HXLCustomLabel* pLabel)
    {
        connect(pLabel, &HXLCustomLabel::sigClicked, this, [this](QPoint pt) { add("sigClicked", pt); });
        connect(pLabel, &HXLCustomLabel::sigRMouseDown, this, [this](QPoint pt) { add("sigRMouseDown", pt); });
        connect(pLabel, &HXLCustomLabel::sigLMouseUp, this, [this](QPoint pt) { add("sigLMouseUp", pt); });
        connect(pLabel, &HXLCustomLabel::sigRMouseUp, this, [this](QPoint pt) { add("sigRMouseUp", pt); });
        connect(pLabel, &HXLCustomLabel::sigDbClicked, this, [this]() { names << QStringLiteral("sigDbClicked"); });
        connect(pLabel, &HXLCustomLabel::sigMouseMove, this, [this](QPoint pt) { add("sigMouseMove", pt); });
    }
    QStringList names;
    QList<QPoint> points;

private:
    void add(const char* pName, QPoint pt)
    {
        names << QString::fromLatin1(pName);
        points << pt;
    }
};

} // namespace

class TestClickLabel : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
        HXL_CameraUI_ReadParam();
    }

    void metaObjectHasSixSignalsAndNoSlots()
    {
        const QMetaObject& mo = HXLCustomLabel::staticMetaObject;
        QCOMPARE(mo.className(), "HXLCustomLabel");
        QCOMPARE(mo.superClass(), &QLabel::staticMetaObject);

        const QStringList expected = {QStringLiteral("sigClicked(QPoint)"),   QStringLiteral("sigRMouseDown(QPoint)"),
                                      QStringLiteral("sigLMouseUp(QPoint)"),  QStringLiteral("sigRMouseUp(QPoint)"),
                                      QStringLiteral("sigDbClicked()"),       QStringLiteral("sigMouseMove(QPoint)")};
        QStringList actual;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            const QMetaMethod method = mo.method(i);
            QCOMPARE(method.methodType(), QMetaMethod::Signal);
            actual << QString::fromLatin1(method.methodSignature());
            if (method.parameterCount() == 1)
                QCOMPARE(method.parameterNames().value(0), QByteArray("pt"));
        }
        QCOMPARE(actual, expected);
    }

    void constructorSetsParentAndStaysAChild()
    {
        QWidget parent;
        HXLCustomLabel label(&parent);
        QCOMPARE(label.parentWidget(), &parent);
        QVERIFY(!label.isWindow());
        QCOMPARE(label.windowType(), Qt::Widget);
        // Moves arrive only while a button is held.
        QVERIFY(!label.hasMouseTracking());
    }

    void pressEmitsByButton_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("signal");
        QTest::newRow("left") << int(Qt::LeftButton) << QStringLiteral("sigClicked");
        QTest::newRow("right") << int(Qt::RightButton) << QStringLiteral("sigRMouseDown");
        QTest::newRow("middle") << int(Qt::MiddleButton) << QString();
    }
    void pressEmitsByButton()
    {
        QFETCH(int, button);
        QFETCH(QString, signal);
        MouseCountingParent parent;
        auto* pLabel = new HXLCustomLabel(&parent);
        pLabel->setGeometry(0, 0, 200, 100);
        SignalRecorder recorder(pLabel);

        const auto mouseButton = static_cast<Qt::MouseButton>(button);
        sendMouse(pLabel, QEvent::MouseButtonPress, mouseButton, mouseButton, QPoint(17, 42));

        if (signal.isEmpty()) {
            QVERIFY(recorder.names.isEmpty());
        } else {
            QCOMPARE(recorder.names, QStringList{signal});
            QCOMPARE(recorder.points.value(0), QPoint(17, 42));
        }
        // The base class is not called: it would leave the press unaccepted
        // and pass it on to the parent.
        QCOMPARE(parent.nEvents, 0);
    }

    void releaseEmitsByButton_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("signal");
        QTest::newRow("left") << int(Qt::LeftButton) << QStringLiteral("sigLMouseUp");
        QTest::newRow("right") << int(Qt::RightButton) << QStringLiteral("sigRMouseUp");
        QTest::newRow("middle") << int(Qt::MiddleButton) << QString();
    }
    void releaseEmitsByButton()
    {
        QFETCH(int, button);
        QFETCH(QString, signal);
        MouseCountingParent parent;
        auto* pLabel = new HXLCustomLabel(&parent);
        pLabel->setGeometry(0, 0, 200, 100);
        SignalRecorder recorder(pLabel);

        sendMouse(pLabel, QEvent::MouseButtonRelease, static_cast<Qt::MouseButton>(button), Qt::NoButton,
                  QPoint(120, 7));

        if (signal.isEmpty()) {
            QVERIFY(recorder.names.isEmpty());
        } else {
            QCOMPARE(recorder.names, QStringList{signal});
            QCOMPARE(recorder.points.value(0), QPoint(120, 7));
        }
        QCOMPARE(parent.nEvents, 0);
    }

    void moveEmitsWithPosition_data()
    {
        QTest::addColumn<int>("buttons");
        QTest::addColumn<bool>("tracking");
        QTest::addColumn<int>("expected");
        QTest::newRow("left held") << int(Qt::LeftButton) << false << 2;
        QTest::newRow("right held") << int(Qt::RightButton) << false << 2;
        // Without mouse tracking (the label does not switch it on) Qt does
        // not deliver moves with no button held.
        QTest::newRow("no button, no tracking") << int(Qt::NoButton) << false << 0;
        QTest::newRow("no button, host turned tracking on") << int(Qt::NoButton) << true << 2;
    }
    void moveEmitsWithPosition()
    {
        QFETCH(int, buttons);
        QFETCH(bool, tracking);
        QFETCH(int, expected);
        MouseCountingParent parent;
        auto* pLabel = new HXLCustomLabel(&parent);
        pLabel->setGeometry(10, 10, 200, 100);
        pLabel->setMouseTracking(tracking);
        QSignalSpy spy(pLabel, &HXLCustomLabel::sigMouseMove);

        sendMouse(pLabel, QEvent::MouseMove, Qt::NoButton, Qt::MouseButtons(buttons), QPoint(33, 44));
        sendMouse(pLabel, QEvent::MouseMove, Qt::NoButton, Qt::MouseButtons(buttons), QPoint(34, 46));

        QCOMPARE(spy.count(), expected);
        if (expected > 0) {
            QCOMPARE(spy.at(0).at(0).toPoint(), QPoint(33, 44));
            QCOMPARE(spy.at(1).at(0).toPoint(), QPoint(34, 46));
        }
        QCOMPARE(parent.nEvents, 0);
    }

    void leftDoubleClickReportsClickDoubleClickClick()
    {
        HXLCustomLabel label(nullptr);
        label.resize(200, 100);
        SignalRecorder recorder(&label);
        const QPoint at(50, 60);

        // What a window system delivers for a double click.
        sendMouse(&label, QEvent::MouseButtonPress, Qt::LeftButton, Qt::LeftButton, at);
        sendMouse(&label, QEvent::MouseButtonRelease, Qt::LeftButton, Qt::NoButton, at);
        sendMouse(&label, QEvent::MouseButtonDblClick, Qt::LeftButton, Qt::LeftButton, at);
        sendMouse(&label, QEvent::MouseButtonRelease, Qt::LeftButton, Qt::NoButton, at);

        const QStringList expected = {QStringLiteral("sigClicked"), QStringLiteral("sigLMouseUp"),
                                      QStringLiteral("sigDbClicked"), QStringLiteral("sigClicked"),
                                      QStringLiteral("sigLMouseUp")};
        QCOMPARE(recorder.names, expected);
        for (const QPoint& pt : recorder.points)
            QCOMPARE(pt, at);
    }

    void rightDoubleClickAlsoReportsDoubleClick()
    {
        HXLCustomLabel label(nullptr);
        label.resize(200, 100);
        SignalRecorder recorder(&label);
        QTest::mouseDClick(&label, Qt::RightButton, Qt::NoModifier, QPoint(5, 6));
        const QStringList expected = {QStringLiteral("sigDbClicked"), QStringLiteral("sigRMouseDown")};
        QCOMPARE(recorder.names, expected);
    }

    void middleDoubleClickOnlyReportsDoubleClick()
    {
        HXLCustomLabel label(nullptr);
        label.resize(200, 100);
        SignalRecorder recorder(&label);
        sendMouse(&label, QEvent::MouseButtonPress, Qt::MiddleButton, Qt::MiddleButton, QPoint(5, 6));
        sendMouse(&label, QEvent::MouseButtonRelease, Qt::MiddleButton, Qt::NoButton, QPoint(5, 6));
        sendMouse(&label, QEvent::MouseButtonDblClick, Qt::MiddleButton, Qt::MiddleButton, QPoint(5, 6));
        QCOMPARE(recorder.names, QStringList{QStringLiteral("sigDbClicked")});
    }

    void realClicksThroughQTest()
    {
        HXLCustomLabel label(nullptr);
        label.resize(200, 100);
        SignalRecorder recorder(&label);
        QTest::mouseClick(&label, Qt::LeftButton, Qt::NoModifier, QPoint(10, 20));
        QTest::mouseClick(&label, Qt::RightButton, Qt::NoModifier, QPoint(30, 40));
        const QStringList expected = {QStringLiteral("sigClicked"), QStringLiteral("sigLMouseUp"),
                                      QStringLiteral("sigRMouseDown"), QStringLiteral("sigRMouseUp")};
        QCOMPARE(recorder.names, expected);
        const QList<QPoint> points = {QPoint(10, 20), QPoint(10, 20), QPoint(30, 40), QPoint(30, 40)};
        QCOMPARE(recorder.points, points);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestClickLabel)
#include "tst_click_label.moc"
