// The exported image-combine dialog: its look and layout, the machine-position
// buttons, OK's calls into the host's combine manager and drawing, and Cancel.

#include "PanelTestSupport.h"

#include "HXL_RefreshCameraThread.h"
#include "auxiliary/ZKCCDImageCombineUI.h"

#include "services/SimApp.h"
#include "cameras/SimCamera.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"

#include "host/IZKDatabase.h"
#include "host/ZKWindowManager.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMetaMethod>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpacerItem>
#include <QVBoxLayout>

#include <memory>

using hostsim::HostSim;
using namespace panel_test;

namespace {

const char* const kFieldNames[] = {"CombineStartPosX", "CombineStartPosY", "CombineEndPosX", "CombineEndPosY"};

QLineEdit* field(const QDialog& dialog, const char* pszName)
{
    return dialog.findChild<QLineEdit*>(QLatin1String(pszName));
}

QPushButton* button(const QDialog& dialog, const QString& strText)
{
    const auto buttons = dialog.findChildren<QPushButton*>();
    for (QPushButton* pButton : buttons) {
        if (pButton->text() == strText)
            return pButton;
    }
    return nullptr;
}

void setFields(const QDialog& dialog, const QString& strStartX, const QString& strStartY, const QString& strEndX,
               const QString& strEndY)
{
    field(dialog, "CombineStartPosX")->setText(strStartX);
    field(dialog, "CombineStartPosY")->setText(strStartY);
    field(dialog, "CombineEndPosX")->setText(strEndX);
    field(dialog, "CombineEndPosY")->setText(strEndY);
}

ZKGePoint managerStart()
{
    ZKGePoint pt;
    HostSim::combineManager().GetCombineStartPos(pt);
    return pt;
}

ZKGePoint managerEnd()
{
    ZKGePoint pt;
    HostSim::combineManager().GetCombineEndPos(pt);
    return pt;
}

QStringList combineLines()
{
    return HostSim::journal().linesStartingWith(QStringLiteral("ZKCCDImageCombineManager::"));
}

} // namespace

class TestCombineDialog : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        freshHost(*m_pDir);
        HostSim::combineManager().setOverlap(0.2);
        HostSim::combineManager().SetCombineStartPos(ZKGePoint(0, 0, 0));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(0, 0, 0));
        HostSim::combineManager().SetCameraIndex(0);
        m_nZooms = 0;
        HostSim::view().setZoomToData([this]() { ++m_nZooms; });
        HostSim::journal().clear();
    }

    void cleanup()
    {
        HostSim::view().setZoomToData(nullptr);
    }

    // --- the class ------------------------------------------------------------------

    void slotsInOrderAndNoSignals()
    {
        const QMetaObject& meta = ZKCCDImageCombineUI::staticMetaObject;
        QCOMPARE(meta.superClass(), &QDialog::staticMetaObject);
        QStringList slotNames;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            QVERIFY2(method.methodType() != QMetaMethod::Signal, method.methodSignature().constData());
            if (method.methodType() == QMetaMethod::Slot) {
                QCOMPARE(method.access(), QMetaMethod::Public);
                QCOMPARE(method.parameterCount(), 0);
                slotNames << QString::fromLatin1(method.methodSignature());
            }
        }
        QCOMPARE(slotNames, QStringList({"slotOk()", "slotCancel()", "slotGetStartPos()", "slotGetEndPos()"}));
    }

    // --- construction -----------------------------------------------------------------

    void styleSheetCarriesTheConfiguredBackground_data()
    {
        QTest::addColumn<QColor>("colour");
        QTest::addColumn<QString>("rgb");
        QTest::newRow("host default") << QColor(53, 53, 53) << "53,53,53";
        QTest::newRow("single digits") << QColor(0, 7, 9) << "0,7,9";
        QTest::newRow("mixed") << QColor(255, 10, 128) << "255,10,128";
    }

    void styleSheetCarriesTheConfiguredBackground()
    {
        QFETCH(QColor, colour);
        QFETCH(QString, rgb);
        HostSim::uiConfig().clrBackground = colour;
        ZKCCDImageCombineUI dialog(nullptr);
        const QString expected =
            "QWidget{background-color:rgb(" + rgb +
            ");}QPushButton{background-color:lightGray;border:none;border-radius:4px;}QPushButton:hover{font-weight:"
            "bold;color:rgb(128,0,128);}QLabel{color:rgb(255,255,255);width:70px;alignment:right;}QComboBox{border: "
            "1px solid gray;color:rgb(255,255,255);border - radius: 3px;background: "
            "transparent;}QComboBox::item{color:rgb(255,255,255);}QComboBox QAbstractItemView{outline: 0px solid "
            "gray; border: 1px solid yellow;color: green;background-color:#FFFFFF;selection-background-color: blue; "
            "}QCheckBox{color:rgb(255,255,255);}QLineEdit{background-color:rgb(255,255,255);width:35px;}";
        QCOMPARE(dialog.styleSheet(), expected);
    }

    void titleAndWindowFlags()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("CombineImage"));
        QDialog plain(nullptr);
        QCOMPARE(dialog.windowFlags(), plain.windowFlags());
        QVERIFY(!dialog.testAttribute(Qt::WA_DeleteOnClose)); // the host destroys it
        QVERIFY(!dialog.isModal());
    }

    void constructionAsksTheHostInOrder()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        QCOMPARE(HostSim::journal().lines(),
                 QStringList({"ZKWindowManager::GetUiCfg()", "ZKCCDImageCombineManager::GetCombineStartPos()",
                              "ZKCCDImageCombineManager::GetCombineEndPos()"}));
    }

    void layoutIsAGroupedGridAndAButtonRow()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        auto* pMain = qobject_cast<QVBoxLayout*>(dialog.layout());
        QVERIFY(pMain);
        QCOMPARE(pMain->count(), 2);
        auto* pGroupBox = qobject_cast<QGroupBox*>(pMain->itemAt(0)->widget());
        QVERIFY(pGroupBox);
        QVERIFY(pGroupBox->title().isEmpty());
        auto* pGrid = qobject_cast<QGridLayout*>(pGroupBox->layout());
        QVERIFY(pGrid);
        QCOMPARE(pGrid->rowCount(), 2);
        QCOMPARE(pGrid->columnCount(), 5);
        QCOMPARE(pGrid->count(), 10);

        const char* const labels[2][2] = {{"CombineStartPosX", "CombineStartPosY"}, {"CombineEndPosX", "CombineEndPosY"}};
        const char* const buttons[2] = {"GetStartPos", "GetEndPos"};
        for (int row = 0; row < 2; ++row) {
            for (int pair = 0; pair < 2; ++pair) {
                QLayoutItem* pLabelItem = pGrid->itemAtPosition(row, pair * 2);
                auto* pLabel = qobject_cast<QLabel*>(pLabelItem->widget());
                QVERIFY(pLabel);
                QCOMPARE(pLabel->text(), QString::fromLatin1(labels[row][pair]));
                QCOMPARE(pLabelItem->alignment(), Qt::Alignment(Qt::AlignRight));
                QVERIFY(pLabel->objectName().isEmpty());

                QLayoutItem* pEditItem = pGrid->itemAtPosition(row, pair * 2 + 1);
                auto* pEdit = qobject_cast<QLineEdit*>(pEditItem->widget());
                QVERIFY(pEdit);
                QCOMPARE(pEdit->objectName(), QString::fromLatin1(labels[row][pair]));
                QCOMPARE(pEditItem->alignment(), Qt::Alignment());
                QVERIFY(!pEdit->validator());
            }
            auto* pButton = qobject_cast<QPushButton*>(pGrid->itemAtPosition(row, 4)->widget());
            QVERIFY(pButton);
            QCOMPARE(pButton->text(), QString::fromLatin1(buttons[row]));
        }

        auto* pRow = qobject_cast<QHBoxLayout*>(pMain->itemAt(1)->layout());
        QVERIFY(pRow);
        QCOMPARE(pRow->count(), 3);
        QSpacerItem* pSpacer = pRow->itemAt(0)->spacerItem();
        QVERIFY(pSpacer);
        QCOMPARE(pSpacer->sizeHint(), QSize(100, 20));
        QCOMPARE(pSpacer->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(pSpacer->sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
        auto* pOk = qobject_cast<QPushButton*>(pRow->itemAt(1)->widget());
        auto* pCancel = qobject_cast<QPushButton*>(pRow->itemAt(2)->widget());
        QVERIFY(pOk && pCancel);
        QCOMPARE(pOk->text(), QStringLiteral("Ok"));
        QCOMPARE(pCancel->text(), QStringLiteral("Cancel"));

        QCOMPARE(dialog.findChildren<QLineEdit*>().size(), 4);
        QCOMPARE(dialog.findChildren<QPushButton*>().size(), 4);
    }

    void fieldsShowTheManagersPositions_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("integer") << 7.0 << "7";
        QTest::newRow("negative") << -2.25 << "-2.25";
        QTest::newRow("six digits") << 123.456789 << "123.457";
        QTest::newRow("small") << 0.000012345678 << "1.23457e-05";
        QTest::newRow("large") << 1234567.0 << "1.23457e+06";
        QTest::newRow("zero") << 0.0 << "0";
    }

    void fieldsShowTheManagersPositions()
    {
        QFETCH(double, value);
        QFETCH(QString, text);
        HostSim::combineManager().SetCombineStartPos(ZKGePoint(value, 1.5, 99));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(-3, value, 99));
        ZKCCDImageCombineUI dialog(nullptr);
        QCOMPARE(field(dialog, "CombineStartPosX")->text(), text);
        QCOMPARE(field(dialog, "CombineStartPosY")->text(), QStringLiteral("1.5"));
        QCOMPARE(field(dialog, "CombineEndPosX")->text(), QStringLiteral("-3"));
        QCOMPARE(field(dialog, "CombineEndPosY")->text(), text);
    }

    // --- machine position buttons -----------------------------------------------------

    void getStartPosFillsOnlyTheStartFields()
    {
        HostSim::combineManager().SetCombineStartPos(ZKGePoint(1, 2, 0));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(3, 4, 0));
        ZKCCDImageCombineUI dialog(nullptr);
        HostSim::machine().setPosition(12.3456789, -4.5);
        HostSim::journal().clear();
        button(dialog, QStringLiteral("GetStartPos"))->click();
        QCOMPARE(field(dialog, "CombineStartPosX")->text(), QStringLiteral("12.3457"));
        QCOMPARE(field(dialog, "CombineStartPosY")->text(), QStringLiteral("-4.5"));
        QCOMPARE(field(dialog, "CombineEndPosX")->text(), QStringLiteral("3"));
        QCOMPARE(field(dialog, "CombineEndPosY")->text(), QStringLiteral("4"));
        QCOMPARE(HostSim::journal().lines(),
                 QStringList({"IZKRobotService::GetCurMachine()", "IZKMachine::GetAxisPos(0)",
                              "IZKMachine::GetAxisPos(1)"}));
        // The manager learns nothing until OK.
        QVERIFY(combineLines().isEmpty());
        QCOMPARE(managerStart().x, 1.0);
        QCOMPARE(managerStart().y, 2.0);
    }

    void getEndPosFillsOnlyTheEndFields()
    {
        HostSim::combineManager().SetCombineStartPos(ZKGePoint(1, 2, 0));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(3, 4, 0));
        ZKCCDImageCombineUI dialog(nullptr);
        HostSim::machine().setPosition(-100.0, 250.125);
        HostSim::journal().clear();
        button(dialog, QStringLiteral("GetEndPos"))->click();
        QCOMPARE(field(dialog, "CombineStartPosX")->text(), QStringLiteral("1"));
        QCOMPARE(field(dialog, "CombineStartPosY")->text(), QStringLiteral("2"));
        QCOMPARE(field(dialog, "CombineEndPosX")->text(), QStringLiteral("-100"));
        QCOMPARE(field(dialog, "CombineEndPosY")->text(), QStringLiteral("250.125"));
        QCOMPARE(HostSim::journal().lines(),
                 QStringList({"IZKRobotService::GetCurMachine()", "IZKMachine::GetAxisPos(0)",
                              "IZKMachine::GetAxisPos(1)"}));
        QCOMPARE(managerEnd().x, 3.0);
        QCOMPARE(managerEnd().y, 4.0);
    }

    void positionButtonsThenOkSendTheMachinePositions()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        HostSim::machine().setPosition(5, 6);
        dialog.slotGetStartPos();
        HostSim::machine().setPosition(15, 6);
        dialog.slotGetEndPos();
        HostSim::journal().clear();
        dialog.slotOk();
        QCOMPARE(managerStart().x, 5.0);
        QCOMPARE(managerEnd().x, 15.0);
        QCOMPARE(managerEnd().y, 6.0);
    }

    // --- OK ---------------------------------------------------------------------------

    void okCallsTheHostInOrder()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        setFields(dialog, "0", "0", "40", "0");
        HostSim::journal().clear();
        dialog.slotOk();
        const QStringList expected = {
            "ZKCCDImageCombineManager::SetCombineStartPos(0, 0, 0)",
            "ZKCCDImageCombineManager::SetCombineEndPos(40, 0, 0)",
            "ZKCCDImageCombineManager::SetCameraIndex(0)",
            "ZKCCDImageCombineManager::GetCombineStartPos()",
            "ZKCCDImageCombineManager::GetCombineEndPos()",
            "IZKVisionCameraManager::GetImageSize(0)",
            "IZKVisionCameraManager::GetCamera(0)",
            "IZKVisionCamera::GetCalibration() [SimCam]",
            "IZKCameraCalibration::ImageToMachine(640, 512)", // centre of the 1280 x 1024 picture
            "IZKCameraCalibration::GetMmPerPixel()",
            "ZKCCDImageCombineManager::CombineImage()",
            "IZKDbImage::SetExtents(-12.8, -10.24, 52.8, 10.24)", // made inside the combine
            "ZKAppService::GetMainApp()",
            "ZKGloabVisionAppBase::GetDocument()",
            "IZKDocument::GetDatabase()",
            "IZKDatabase::GetLayerTable()",
            "IZKDatabase::GetShapeTable()",
            "IZKShapeTable::AppendEntity(image, layer 210)",
            "ZKGloabVisionAppBase::RunCommand(ZoomToData)",
            "IZKDatabase::UpdateDisplay()",
        };
        const QStringList lines = HostSim::journal().lines();
        QString why;
        QVERIFY2(hasSequence(lines, expected, &why), qPrintable(why + "\n" + lines.join('\n')));
        // Nothing else was asked of the host's services by the dialog.
        QVERIFY2(lines == expected, qPrintable(lines.join('\n')));
    }

    void okPlacesTheCombinedPictureOnLayer210()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        setFields(dialog, "0", "0", "40", "0");
        const int nDisplayUpdates = HostSim::database().displayUpdateCount();
        dialog.slotOk();

        const auto entities = HostSim::database().entitiesOnLayer(210);
        QCOMPARE(entities.size(), size_t(1));
        QCOMPARE(HostSim::database().shapes().GetEntityCount(), 1);
        auto* pImage = dynamic_cast<hostsim::SimDbImage*>(entities[0]);
        QVERIFY(pImage);
        QCOMPARE(pImage->GetLayer()->GetLayerId(), 210);
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        pImage->GetExtents(x0, y0, x1, y1);
        // The stretch widened by half a field (25.6 mm x 20.48 mm) on each side.
        QCOMPARE(x0, -12.8);
        QCOMPARE(y0, -10.24);
        QCOMPARE(x1, 52.8);
        QCOMPARE(y1, 10.24);
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        QCOMPARE(w, 3280);
        QCOMPARE(h, 1024);
        QVERIFY(HostSim::combineManager().lastFrameCount() >= 3);
        // The machine travelled the stretch.
        double mx = 0, my = 0;
        HostSim::machine().position(mx, my);
        QCOMPARE(mx, 40.0);
        QCOMPARE(my, 0.0);
        // The view zoomed to the drawing and the database redrew.
        QCOMPARE(m_nZooms, 1);
        QCOMPARE(HostSim::database().displayUpdateCount(), nDisplayUpdates + 1);
    }

    void okAcceptsTheDialog()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        dialog.show();
        QSignalSpy accepted(&dialog, &QDialog::accepted);
        QSignalSpy finished(&dialog, &QDialog::finished);
        button(dialog, QStringLiteral("Ok"))->click();
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Accepted));
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QVERIFY(!dialog.isVisible());
        QCOMPARE(HostSim::combineManager().lastFrameCount(), 1);
    }

    void typedValueIsRoundedToTheNearestFloat()
    {
        {
            ZKCCDImageCombineUI dialog(nullptr);
            setFields(dialog, "12.3456789", "0.1", "12.3456789", "-0.1");
            HostSim::journal().clear();
            dialog.slotOk();
            const QStringList lines = combineLines();
            QCOMPARE(lines.value(0), QStringLiteral("ZKCCDImageCombineManager::SetCombineStartPos(12.34567928, 0.1000000015, 0)"));
            QCOMPARE(lines.value(1), QStringLiteral("ZKCCDImageCombineManager::SetCombineEndPos(12.34567928, -0.1000000015, 0)"));
        }
        const float fTyped = 12.3456789f;
        QCOMPARE(managerStart().x, static_cast<double>(fTyped));
        QVERIFY(managerStart().x != 12.3456789);
        QCOMPARE(managerStart().y, static_cast<double>(0.1f));
        QCOMPARE(managerStart().z, 0.0);
        QCOMPARE(managerEnd().z, 0.0);

        // The next dialog shows six significant digits.
        ZKCCDImageCombineUI again(nullptr);
        QCOMPARE(field(again, "CombineStartPosX")->text(), QStringLiteral("12.3457"));
        QCOMPARE(field(again, "CombineStartPosY")->text(), QStringLiteral("0.1"));
        QCOMPARE(field(again, "CombineEndPosX")->text(), QStringLiteral("12.3457"));
        QCOMPARE(field(again, "CombineEndPosY")->text(), QStringLiteral("-0.1"));
    }

    void nonNumbersReadAsZero_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("letters") << "abc";
        QTest::newRow("empty") << "";
        QTest::newRow("blank") << "   ";
        QTest::newRow("trailing letters") << "12abc";
        QTest::newRow("two signs") << "--1";
        QTest::newRow("decimal comma") << "1,5";
        QTest::newRow("two points") << "1.2.3";
    }

    void nonNumbersReadAsZero()
    {
        QFETCH(QString, text);
        HostSim::combineManager().SetCombineStartPos(ZKGePoint(9, 9, 0));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(9, 9, 0));
        ZKCCDImageCombineUI dialog(nullptr);
        setFields(dialog, text, "3", "4", text);
        QSignalSpy accepted(&dialog, &QDialog::accepted);
        HostSim::journal().clear();
        dialog.slotOk();
        QCOMPARE(combineLines().value(0), QStringLiteral("ZKCCDImageCombineManager::SetCombineStartPos(0, 3, 0)"));
        QCOMPARE(combineLines().value(1), QStringLiteral("ZKCCDImageCombineManager::SetCombineEndPos(4, 0, 0)"));
        QCOMPARE(managerStart().x, 0.0);
        QCOMPARE(managerEnd().y, 0.0);
        QCOMPARE(accepted.count(), 1); // no message, no refusal
    }

    void numbersAsTheFieldsMayHoldThem_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::newRow("surrounding blanks") << " 2.5 " << 2.5;
        QTest::newRow("plus sign") << "+8" << 8.0;
        QTest::newRow("exponent") << "1.5e2" << 150.0;
        QTest::newRow("negative") << "-0.75" << -0.75;
    }

    void numbersAsTheFieldsMayHoldThem()
    {
        QFETCH(QString, text);
        QFETCH(double, value);
        ZKCCDImageCombineUI dialog(nullptr);
        setFields(dialog, text, "0", "0", "0");
        dialog.slotOk();
        QCOMPARE(managerStart().x, value);
    }

    void startEqualToEndIsPassedOn()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        setFields(dialog, "10", "5", "10", "5");
        HostSim::journal().clear();
        dialog.slotOk();
        QCOMPARE(combineLines().value(0), QStringLiteral("ZKCCDImageCombineManager::SetCombineStartPos(10, 5, 0)"));
        QCOMPARE(combineLines().value(1), QStringLiteral("ZKCCDImageCombineManager::SetCombineEndPos(10, 5, 0)"));
        QCOMPARE(HostSim::combineManager().lastFrameCount(), 1);
        const auto entities = HostSim::database().entitiesOnLayer(210);
        QCOMPARE(entities.size(), size_t(1));
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        static_cast<IZKDbImage*>(entities[0])->GetExtents(x0, y0, x1, y1);
        QCOMPARE(x0, 10.0 - 12.8);
        QCOMPARE(x1, 10.0 + 12.8);
        QCOMPARE(y0, 5.0 - 10.24);
        QCOMPARE(y1, 5.0 + 10.24);
    }

    void combineRunsOnCameraZeroWhateverThePanelShows()
    {
        hostsim::CameraSetup second;
        second.name = QStringLiteral("Second");
        hostsim::CameraSetup third;
        third.name = QStringLiteral("Third");
        third.width = 640;
        third.height = 480;
        third.mmPerPixel = 0.05;
        HostSim::addCamera(second);
        HostSim::addCamera(third);
        QCOMPARE(HostSim::cameraCount(), 3);

        // The panel shows camera 2 (live video off, so only the combine grabs).
        isOpenVideo = 0;
        PanelPtr pPanel(makePanel());
        QTRY_COMPARE_WITH_TIMEOUT(pPanel->m_pRefreshThread->m_bParked.load(), 1, 3000);
        g_bCameraChangeAllowed = true;
        pPanel->slotCameraChange(2);
        QCOMPARE(HostSim::cameraManager().GetCurCameraIndex(), 2);
        HostSim::combineManager().SetCameraIndex(2);

        const int nGrabs0 = HostSim::camera(0)->grabCount();
        const int nGrabs2 = HostSim::camera(2)->grabCount();
        ZKCCDImageCombineUI dialog(nullptr);
        setFields(dialog, "0", "0", "0", "0");
        HostSim::journal().clear();
        dialog.slotOk();

        const QStringList lines = HostSim::journal().lines();
        QString why;
        QVERIFY2(hasSequence(lines,
                             {"ZKCCDImageCombineManager::SetCameraIndex(0)", "IZKVisionCameraManager::GetImageSize(0)",
                              "IZKVisionCameraManager::GetCamera(0)", "IZKVisionCamera::GetCalibration() [SimCam]",
                              "IZKCameraCalibration::ImageToMachine(640, 512)",
                              "ZKCCDImageCombineManager::CombineImage()"},
                             &why),
                 qPrintable(why + "\n" + lines.join('\n')));
        QCOMPARE(HostSim::journal().count(QStringLiteral("ZKCCDImageCombineManager::SetCameraIndex(")), 1);
        QCOMPARE(HostSim::combineManager().cameraIndex(), 0);
        QCOMPARE(HostSim::cameraManager().GetCurCameraIndex(), 2); // the panel's camera is left alone
        QCOMPARE(HostSim::camera(0)->grabCount(), nGrabs0 + 1);
        QCOMPARE(HostSim::camera(2)->grabCount(), nGrabs2);
        const auto entities = HostSim::database().entitiesOnLayer(210);
        QCOMPARE(entities.size(), size_t(1));
        int w = 0, h = 0;
        static_cast<IZKDbImage*>(entities[0])->GetImageSize(w, h);
        QCOMPARE(w, 1280); // camera 0's frame, not camera 2's 640 x 480
        QCOMPARE(h, 1024);
    }

    void nullCombineAddsNothingAndStillAccepts()
    {
        HostSim::camera(0)->setGrabFails(true);
        ZKCCDImageCombineUI dialog(nullptr);
        dialog.show();
        setFields(dialog, "0", "0", "40", "0");
        QSignalSpy accepted(&dialog, &QDialog::accepted);
        const int nDisplayUpdates = HostSim::database().displayUpdateCount();
        HostSim::journal().clear();
        dialog.slotOk();

        QCOMPARE(HostSim::database().shapes().GetEntityCount(), 0);
        QCOMPARE(m_nZooms, 0);
        QCOMPARE(HostSim::database().displayUpdateCount(), nDisplayUpdates);
        const QStringList lines = HostSim::journal().lines();
        QCOMPARE(lines.last(), QStringLiteral("ZKCCDImageCombineManager::CombineImage()"));
        QCOMPARE(HostSim::journal().count(QStringLiteral("ZKGloabVisionAppBase::RunCommand(")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKShapeTable::AppendEntity(")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IZKDatabase::UpdateDisplay()")), 0);
        QCOMPARE(HostSim::journal().count(QStringLiteral("ZKAppService::GetMainApp()")), 0);
        // The positions were still handed over, and the dialog closes as on success.
        QCOMPARE(managerEnd().x, 40.0);
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QVERIFY(!dialog.isVisible());
    }

    void eachOkAddsAnotherPicture()
    {
        ZKCCDImageCombineUI first(nullptr);
        first.slotOk();
        ZKCCDImageCombineUI second(nullptr);
        second.slotOk();
        QCOMPARE(HostSim::database().entitiesOnLayer(210).size(), size_t(2));
        QCOMPARE(m_nZooms, 2);
    }

    // --- Cancel and close -------------------------------------------------------------

    void cancelClosesWithoutWriting()
    {
        HostSim::combineManager().SetCombineStartPos(ZKGePoint(1, 2, 0));
        HostSim::combineManager().SetCombineEndPos(ZKGePoint(3, 4, 0));
        ZKCCDImageCombineUI dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        setFields(dialog, "10", "20", "30", "40");
        QSignalSpy accepted(&dialog, &QDialog::accepted);
        QSignalSpy rejected(&dialog, &QDialog::rejected);
        HostSim::journal().clear();
        button(dialog, QStringLiteral("Cancel"))->click();
        QVERIFY(!dialog.isVisible());
        QCOMPARE(accepted.count(), 0);
        QCOMPARE(rejected.count(), 1); // closing a shown dialog rejects it
        QVERIFY(HostSim::journal().lines().isEmpty());
        QCOMPARE(managerStart().x, 1.0);
        QCOMPARE(managerEnd().y, 4.0);
        QCOMPARE(HostSim::database().shapes().GetEntityCount(), 0);

        ZKCCDImageCombineUI again(nullptr);
        QCOMPARE(field(again, "CombineStartPosX")->text(), QStringLiteral("1"));
        QCOMPARE(field(again, "CombineEndPosY")->text(), QStringLiteral("4"));
    }

    void closeBoxWritesNothing()
    {
        ZKCCDImageCombineUI dialog(nullptr);
        dialog.show();
        setFields(dialog, "10", "20", "30", "40");
        HostSim::journal().clear();
        QVERIFY(dialog.close());
        QVERIFY(!dialog.isVisible());
        QVERIFY(combineLines().isEmpty());
        QCOMPARE(managerStart().x, 0.0);
    }

    void reopenedDialogShowsTheLastValuesSet()
    {
        {
            ZKCCDImageCombineUI dialog(nullptr);
            setFields(dialog, "1.25", "-7", "30", "0.5");
            dialog.slotOk();
        }
        ZKCCDImageCombineUI again(nullptr);
        const QStringList expected = {"1.25", "-7", "30", "0.5"};
        for (int i = 0; i < 4; ++i)
            QCOMPARE(field(again, kFieldNames[i])->text(), expected.at(i));
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    int m_nZooms = 0;
};

QTEST_MAIN(TestCombineDialog)
#include "tst_combine_dialog.moc"
