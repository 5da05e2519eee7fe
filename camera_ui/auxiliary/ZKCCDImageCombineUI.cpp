#include "ZKCCDImageCombineUI.h"

#include "HXL_ModuleGlobals.h"

#include "host/IZKDatabase.h"
#include "host/IZKRobotService.h"
#include "host/IZKVisionCameraManager.h"
#include "host/ZKAppService.h"
#include "host/ZKCCDImageCombineManager.h"
#include "host/ZKWindowManager.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpacerItem>
#include <QVBoxLayout>

namespace {

// The host's dialog look, with the configured background colour as %1 %2 %3.
// Kept as the host's other dialogs have it (including "border - radius").
const char* const kCombineStyleSheet =
    "QWidget{background-color:rgb(%1,%2,%3);}"
    "QPushButton{background-color:lightGray;border:none;border-radius:4px;}"
    "QPushButton:hover{font-weight:bold;color:rgb(128,0,128);}"
    "QLabel{color:rgb(255,255,255);width:70px;alignment:right;}"
    "QComboBox{border: 1px solid gray;color:rgb(255,255,255);border - radius: 3px;background: transparent;}"
    "QComboBox::item{color:rgb(255,255,255);}"
    "QComboBox QAbstractItemView{outline: 0px solid gray; border: 1px solid yellow;color: green;"
    "background-color:#FFFFFF;selection-background-color: blue; }"
    "QCheckBox{color:rgb(255,255,255);}"
    "QLineEdit{background-color:rgb(255,255,255);width:35px;}";

QString positionText(double dValue)
{
    return QString::number(dValue, 'g', 6);
}

} // namespace

ZKCCDImageCombineUI::ZKCCDImageCombineUI(QWidget* parent) : QDialog(parent)
{
    const UiUserConfig* pConfig = ZKWindowManager::singleton().GetUiCfg();
    const QColor clrBackground = pConfig ? pConfig->clrBackground : UiUserConfig().clrBackground;
    setStyleSheet(QString::fromLatin1(kCombineStyleSheet)
                      .arg(clrBackground.red())
                      .arg(clrBackground.green())
                      .arg(clrBackground.blue()));
    setWindowTitle(tr("CombineImage"));
    InitDialog();
}

ZKCCDImageCombineUI::~ZKCCDImageCombineUI() = default;

void ZKCCDImageCombineUI::InitDialog()
{
    ZKGePoint ptStart;
    ZKGePoint ptEnd;
    if (ZKCCDImageCombineManager* pManager = HXL_GetCCDImageCombineManager()) {
        pManager->GetCombineStartPos(ptStart);
        pManager->GetCombineEndPos(ptEnd);
    }

    auto* pMainLayout = new QVBoxLayout(this);
    auto* pGroupBox = new QGroupBox(this);
    auto* pGrid = new QGridLayout(pGroupBox);

    // One row per end of the stretch: X and Y fields, then the button that
    // copies the machine position into them. Made in reading order, which is
    // also the tab order.
    auto addRow = [pGroupBox, pGrid](int nRow, const QString& strLabelX, const QString& strNameX,
                                     const QString& strLabelY, const QString& strNameY, const ZKGePoint& pt,
                                     const QString& strButton) {
        auto* pLabelX = new QLabel(strLabelX, pGroupBox);
        auto* pEditX = new QLineEdit(positionText(pt.x), pGroupBox);
        pEditX->setObjectName(strNameX);
        auto* pLabelY = new QLabel(strLabelY, pGroupBox);
        auto* pEditY = new QLineEdit(positionText(pt.y), pGroupBox);
        pEditY->setObjectName(strNameY);
        auto* pButton = new QPushButton(strButton, pGroupBox);
        pGrid->addWidget(pLabelX, nRow, 0, Qt::AlignRight);
        pGrid->addWidget(pEditX, nRow, 1);
        pGrid->addWidget(pLabelY, nRow, 2, Qt::AlignRight);
        pGrid->addWidget(pEditY, nRow, 3);
        pGrid->addWidget(pButton, nRow, 4);
        return pButton;
    };

    QPushButton* pStartButton = addRow(0, tr("CombineStartPosX"), QStringLiteral("CombineStartPosX"),
                                       tr("CombineStartPosY"), QStringLiteral("CombineStartPosY"), ptStart,
                                       tr("GetStartPos"));
    QPushButton* pEndButton = addRow(1, tr("CombineEndPosX"), QStringLiteral("CombineEndPosX"),
                                     tr("CombineEndPosY"), QStringLiteral("CombineEndPosY"), ptEnd, tr("GetEndPos"));
    connect(pStartButton, &QPushButton::clicked, this, &ZKCCDImageCombineUI::slotGetStartPos);
    connect(pEndButton, &QPushButton::clicked, this, &ZKCCDImageCombineUI::slotGetEndPos);
    pMainLayout->addWidget(pGroupBox);

    auto* pButtonLayout = new QHBoxLayout();
    pButtonLayout->addItem(new QSpacerItem(100, 20, QSizePolicy::Expanding, QSizePolicy::Fixed));
    auto* pOkButton = new QPushButton(tr("Ok"), this);
    auto* pCancelButton = new QPushButton(tr("Cancel"), this);
    pButtonLayout->addWidget(pOkButton);
    pButtonLayout->addWidget(pCancelButton);
    connect(pOkButton, &QPushButton::clicked, this, &ZKCCDImageCombineUI::slotOk);
    connect(pCancelButton, &QPushButton::clicked, this, &ZKCCDImageCombineUI::slotCancel);
    pMainLayout->addLayout(pButtonLayout);
}

void ZKCCDImageCombineUI::slotOk()
{
    // The fields are read in single precision on purpose:
    // a typed value is rounded to the nearest float before it is widened.
    // Anything that is not a number reads as 0.
    auto fieldValue = [this](const QString& strName) -> float {
        const QLineEdit* pEdit = findChild<QLineEdit*>(strName);
        return pEdit ? pEdit->text().toFloat() : 0.0f;
    };

    ZKCCDImageCombineManager* pCombine = HXL_GetCCDImageCombineManager();
    if (pCombine) {
        const float fStartX = fieldValue(QStringLiteral("CombineStartPosX"));
        const float fStartY = fieldValue(QStringLiteral("CombineStartPosY"));
        pCombine->SetCombineStartPos(ZKGePoint(fStartX, fStartY, 0.0));
        const float fEndX = fieldValue(QStringLiteral("CombineEndPosX"));
        const float fEndY = fieldValue(QStringLiteral("CombineEndPosY"));
        pCombine->SetCombineEndPos(ZKGePoint(fEndX, fEndY, 0.0));

        // Combining always uses camera 0, whichever camera the panel shows.
        pCombine->SetCameraIndex(0);

        // Read back and not used any further.
        ZKGePoint ptStart;
        ZKGePoint ptEnd;
        pCombine->GetCombineStartPos(ptStart);
        pCombine->GetCombineEndPos(ptEnd);
    }

    // Where camera 0's picture centre lies on the machine, and the
    // calibration's second coordinate pair; neither is used further.
    if (IZKVisionCameraManager* pCameraManager = HXL_GetVisionCameraManager()) {
        int nWidth = 0;
        int nHeight = 0;
        pCameraManager->GetImageSize(0, nWidth, nHeight);
        IZKVisionCamera* pCamera = pCameraManager->GetCamera(0);
        if (IZKCameraCalibration* pCalibration = pCamera ? pCamera->GetCalibration() : nullptr) {
            double dCentreX = 0.0;
            double dCentreY = 0.0;
            pCalibration->ImageToMachine(nWidth * 0.5, nHeight * 0.5, dCentreX, dCentreY);
            double dSecondX = 0.0;
            double dSecondY = 0.0;
            pCalibration->GetMmPerPixel(dSecondX, dSecondY);
        }
    }

    IZKDbImage* pImage = pCombine ? pCombine->CombineImage() : nullptr;
    if (pImage) {
        ZKAppService* pAppService = HXL_GetAppService();
        ZKGloabVisionAppBase* pApp = pAppService ? pAppService->GetMainApp() : nullptr;
        IZKDocument* pDocument = pApp ? pApp->GetDocument() : nullptr;
        IZKDatabase* pDatabase = pDocument ? pDocument->GetDatabase() : nullptr;
        if (pDatabase) {
            pImage->SetLayer(pDatabase->GetLayerTable()->GetLayer(210));
            pDatabase->GetShapeTable()->AppendEntity(pImage);
            pApp->RunCommand("ZoomToData");
            pDatabase->UpdateDisplay();
        } else {
            // Nowhere to place it: the picture is ours to free.
            pImage->Release();
        }
    }

    accept();
}

void ZKCCDImageCombineUI::slotCancel()
{
    close();
}

void ZKCCDImageCombineUI::slotGetStartPos()
{
    IZKRobotService* pRobot = HXL_GetRobotService();
    IZKMachine* pMachine = pRobot ? pRobot->GetCurMachine() : nullptr;
    if (!pMachine)
        return;
    const double dX = pMachine->GetAxisPos(0);
    const double dY = pMachine->GetAxisPos(1);
    if (QLineEdit* pEdit = findChild<QLineEdit*>(QStringLiteral("CombineStartPosX")))
        pEdit->setText(positionText(dX));
    if (QLineEdit* pEdit = findChild<QLineEdit*>(QStringLiteral("CombineStartPosY")))
        pEdit->setText(positionText(dY));
}

void ZKCCDImageCombineUI::slotGetEndPos()
{
    IZKRobotService* pRobot = HXL_GetRobotService();
    IZKMachine* pMachine = pRobot ? pRobot->GetCurMachine() : nullptr;
    if (!pMachine)
        return;
    const double dX = pMachine->GetAxisPos(0);
    const double dY = pMachine->GetAxisPos(1);
    if (QLineEdit* pEdit = findChild<QLineEdit*>(QStringLiteral("CombineEndPosX")))
        pEdit->setText(positionText(dX));
    if (QLineEdit* pEdit = findChild<QLineEdit*>(QStringLiteral("CombineEndPosY")))
        pEdit->setText(positionText(dY));
}
