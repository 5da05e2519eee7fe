#include "HXL_AdvancedMorphologyDialog.h"

#include "HXLParamDialogCommon.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"

#include "host/ZKWindowManager.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTableWidget>

using namespace HXLParamDialogCommon;

namespace {

constexpr int kOkText = 40;
constexpr int kCancelText = 41;
constexpr int kBlackAddText = 45;
constexpr int kBlackDeleteText = 46;
constexpr int kWhiteAddText = 47;
constexpr int kWhiteDeleteText = 48;
constexpr int kDeleteRowText = 49;
constexpr int kClearText = 50;
constexpr int kOperationHeaderText = 51;
constexpr int kLineSizeHeaderText = 52;
constexpr int kApplyText = 53;
constexpr int kNoOperationText = 54;
constexpr int kClearTitleText = 55;
constexpr int kClearQuestionText = 56;

// Operations of a step, as the host numbers them (the combo box index).
constexpr int kBlackAdd = 1;
constexpr int kBlackDelete = 2;
constexpr int kWhiteAdd = 3;
constexpr int kWhiteDelete = 4;

// Line size of a new row.
constexpr int kNewRowLineSize = 11;

} // namespace

HXL_AdvancedMorphologyDialog::HXL_AdvancedMorphologyDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    setStyleSheet(advancedDialogStyleSheet());
}

HXL_AdvancedMorphologyDialog::~HXL_AdvancedMorphologyDialog()
{
    delete m_pShowDealWithDialog;
    m_pShowDealWithDialog = nullptr;
}

void HXL_AdvancedMorphologyDialog::InitUI()
{
    setFixedWidth(600);
    setFixedHeight(250);

    auto* pMainGrid = new QGridLayout(this);
    pMainGrid->setContentsMargins(3, 3, 3, 3);

    auto* pBlackAddBtn = new QPushButton(HXL_Text(kBlackAddText), this);
    auto* pBlackDelBtn = new QPushButton(HXL_Text(kBlackDeleteText), this);
    auto* pWhiteAddBtn = new QPushButton(HXL_Text(kWhiteAddText), this);
    auto* pWhiteDelBtn = new QPushButton(HXL_Text(kWhiteDeleteText), this);
    pMainGrid->addWidget(pBlackAddBtn, 0, 0);
    pMainGrid->addWidget(pBlackDelBtn, 1, 0);
    pMainGrid->addWidget(pWhiteAddBtn, 2, 0);
    pMainGrid->addWidget(pWhiteDelBtn, 3, 0);
    connect(pBlackAddBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotBlackAdd);
    connect(pBlackDelBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotBlackDel);
    connect(pWhiteAddBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotWhiteAdd);
    connect(pWhiteDelBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotWhiteDel);

    auto* pGroupBox = new QGroupBox(this);
    pGroupBox->setObjectName(QStringLiteral("myGroupBox"));
    pGroupBox->setStyleSheet(QStringLiteral("QGroupBox#myGroupBox { border: 1px solid black; }"));
    auto* pGroupGrid = new QGridLayout(pGroupBox);
    pGroupGrid->setContentsMargins(2, 2, 2, 2);
    pMainGrid->addWidget(pGroupBox, 0, 1, 4, 1);

    m_pTableWidget = new QTableWidget(pGroupBox);
    m_pTableWidget->setColumnCount(2);
    m_pTableWidget->setHorizontalHeaderLabels({HXL_Text(kOperationHeaderText), HXL_Text(kLineSizeHeaderText)});
    m_pTableWidget->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pTableWidget->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pTableWidget->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_pTableWidget->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_pTableWidget->setColumnWidth(0, static_cast<int>(width() * 0.34));
    m_pTableWidget->setColumnWidth(1, static_cast<int>(width() * 0.31));
    m_pTableWidget->verticalHeader()->setMinimumWidth(30);
    // Rows as high as the host's own table rows; a host without a user
    // interface configuration gets the configuration's defaults.
    const UiUserConfig* pUiConfig = ZKWindowManager::singleton().GetUiCfg();
    const int nRowHeight = pUiConfig ? pUiConfig->nRowHeight : UiUserConfig().nRowHeight;
    m_pTableWidget->verticalHeader()->setDefaultSectionSize(nRowHeight + 4);
    m_pTableWidget->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_pTableWidget->setStyleSheet(
        QStringLiteral("QTableWidget::Item{border:0px solid rgb(255,0,0);border-bottom:1px solid rgb(255,0,0);}"));
    pGroupGrid->addWidget(m_pTableWidget, 0, 0, 2, 1);

    auto* pDeleteBtn = new QPushButton(HXL_Text(kDeleteRowText), pGroupBox);
    auto* pClearBtn = new QPushButton(HXL_Text(kClearText), pGroupBox);
    pGroupGrid->addWidget(pDeleteBtn, 0, 1);
    pGroupGrid->addWidget(pClearBtn, 1, 1);
    connect(pDeleteBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotDelete);
    connect(pClearBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotClear);

    auto* pButtonRow = new QWidget(this);
    auto* pButtonLayout = new QHBoxLayout(pButtonRow);
    pButtonLayout->setContentsMargins(0, 0, 0, 0);
    auto* pOkBtn = new QPushButton(HXL_Text(kOkText), pButtonRow);
    auto* pCancelBtn = new QPushButton(HXL_Text(kCancelText), pButtonRow);
    auto* pApplyBtn = new QPushButton(HXL_Text(kApplyText), pButtonRow);
    pButtonLayout->addWidget(pOkBtn);
    pButtonLayout->addWidget(pCancelBtn);
    pButtonLayout->addWidget(pApplyBtn);
    pMainGrid->addWidget(pButtonRow, 6, 0, 1, 2);
    connect(pOkBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotOK);
    connect(pCancelBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotCancle);
    connect(pApplyBtn, &QPushButton::clicked, this, &HXL_AdvancedMorphologyDialog::slotApplication);

    m_pShowDealWithDialog = new HXL_ShowDealWithDialog(this);
    m_pShowDealWithDialog->InitUI();

    // Without the camera manager there is no list: the table starts empty,
    // and OK, Cancel and Apply only announce the change.
    if (const IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager()) {
        vecMorphologyBak = pManager->vecMorphology;
        for (const ZKMorphologyParam& step : pManager->vecMorphology)
            addRow(step.nMorphType, step.nLineSize);
    }

    connectToMainWindow(this, &HXL_AdvancedMorphologyDialog::sigGrayParamChanged);
}

void HXL_AdvancedMorphologyDialog::addRow(int nMorphType, int nLineSize)
{
    const int nRow = m_pTableWidget->rowCount();
    m_pTableWidget->insertRow(nRow);

    auto* pCombo = new QComboBox();
    pCombo->addItem(HXL_Text(kNoOperationText));
    pCombo->addItem(HXL_Text(kBlackAddText));
    pCombo->addItem(HXL_Text(kBlackDeleteText));
    pCombo->addItem(HXL_Text(kWhiteAddText));
    pCombo->addItem(HXL_Text(kWhiteDeleteText));
    pCombo->setCurrentIndex(nMorphType);
    // Scrolling the table must not change a step's operation by accident.
    pCombo->installEventFilter(this);
    m_pTableWidget->setCellWidget(nRow, 0, pCombo);

    auto* pLineEdit = new QLineEdit(QString::number(nLineSize));
    connect(pLineEdit, &QLineEdit::editingFinished, this, &HXL_AdvancedMorphologyDialog::slotlineSizeLimit);
    m_pTableWidget->setCellWidget(nRow, 1, pLineEdit);
}

bool HXL_AdvancedMorphologyDialog::eventFilter(QObject* watched, QEvent* event)
{
    if (isSliderOrComboWheel(watched, event))
        return true;
    return QDialog::eventFilter(watched, event);
}

void HXL_AdvancedMorphologyDialog::writeListToHost(IZKVisionCameraManager* pManager)
{
    // Rows left at "no operation" are written too; the host skips them.
    pManager->vecMorphology.clear();
    for (int nRow = 0; nRow < m_pTableWidget->rowCount(); ++nRow) {
        auto* pCombo = qobject_cast<QComboBox*>(m_pTableWidget->cellWidget(nRow, 0));
        auto* pLineEdit = qobject_cast<QLineEdit*>(m_pTableWidget->cellWidget(nRow, 1));
        ZKMorphologyParam step;
        step.nMorphType = pCombo ? pCombo->currentIndex() : 0;
        step.nLineSize = pLineEdit ? pLineEdit->text().toInt() : 0;
        step.bEnable = 1;
        pManager->vecMorphology.push_back(step);
    }
}

void HXL_AdvancedMorphologyDialog::slotOK()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager) {
        emit sigGrayParamChanged();
        return;
    }
    m_pShowDealWithDialog->StartShow();
    writeListToHost(pManager);
    emit sigGrayParamChanged();
    m_pShowDealWithDialog->StopShow();
    accept();
    emit sigClose();
}

void HXL_AdvancedMorphologyDialog::slotCancle()
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager) {
        emit sigGrayParamChanged();
        return;
    }
    m_pShowDealWithDialog->StartShow();
    pManager->vecMorphology = vecMorphologyBak;
    emit sigGrayParamChanged();
    m_pShowDealWithDialog->StopShow();
    // The base class: the override comes back here.
    QDialog::reject();
    emit sigClose();
}

void HXL_AdvancedMorphologyDialog::reject()
{
    slotCancle();
}

void HXL_AdvancedMorphologyDialog::slotApplication()
{
    m_pShowDealWithDialog->StartShow();
    waitTimeOfDay(kApplyWaitMs);
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (pManager) {
        writeListToHost(pManager);
        emit sigGrayParamChanged();
        refreshHostView();
        m_pShowDealWithDialog->StopShow();
    } else {
        // Without a camera manager the notice stays up: nothing has been processed.
        emit sigGrayParamChanged();
    }
}

void HXL_AdvancedMorphologyDialog::slotDelete()
{
    const QModelIndexList selected = m_pTableWidget->selectionModel()->selectedIndexes();
    if (selected.isEmpty())
        return;
    m_pTableWidget->removeRow(selected.first().row());
}

void HXL_AdvancedMorphologyDialog::slotClear()
{
    const QMessageBox::StandardButton answer =
        QMessageBox::information(this, HXL_Text(kClearTitleText), HXL_Text(kClearQuestionText),
                                 QMessageBox::Ok | QMessageBox::Cancel);
    if (answer == QMessageBox::Cancel)
        return;
    for (int nRow = m_pTableWidget->rowCount() - 1; nRow >= 0; --nRow)
        m_pTableWidget->removeRow(nRow);
}

void HXL_AdvancedMorphologyDialog::slotBlackAdd()
{
    addRow(kBlackAdd, kNewRowLineSize);
}

void HXL_AdvancedMorphologyDialog::slotBlackDel()
{
    addRow(kBlackDelete, kNewRowLineSize);
}

void HXL_AdvancedMorphologyDialog::slotWhiteAdd()
{
    addRow(kWhiteAdd, kNewRowLineSize);
}

void HXL_AdvancedMorphologyDialog::slotWhiteDel()
{
    addRow(kWhiteDelete, kNewRowLineSize);
}

void HXL_AdvancedMorphologyDialog::slotlineSizeLimit()
{
    auto* pLineEdit = qobject_cast<QLineEdit*>(sender());
    if (!pLineEdit)
        return;
    // Text that is not a number reads as 0 and so becomes 1.
    const int nLineSize = pLineEdit->text().toInt();
    if (nLineSize <= 0)
        pLineEdit->setText(QStringLiteral("1"));
    else if (nLineSize >= 100)
        pLineEdit->setText(QStringLiteral("100"));
}
