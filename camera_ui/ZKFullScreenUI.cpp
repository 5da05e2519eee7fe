#include "ZKFullScreenUI.h"

#include "HXL_RefreshCameraThread.h"
#include "auxiliary/HXLCameraParameterSettingDialog.h"
#include "display/HXLDisplayLabel.h"

#include "host/IZKVisionCameraManager.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <new>

ZKFullScreenUI::ZKFullScreenUI(QWidget* parent) : QDialog(parent)
{
    auto* pLayout = new QVBoxLayout();
    setLayout(pLayout);
    m_pShowLabel = new HXLDisplayLabel(this);
    pLayout->addWidget(m_pShowLabel);

    auto* pBar = new QWidget();
    pBar->setFixedHeight(50);
    auto* pBarLayout = new QHBoxLayout(pBar);
    auto* pParamButton = new QPushButton(tr("photographPara"));
    pParamButton->setFixedWidth(100);
    pBarLayout->addWidget(pParamButton);
    connect(pParamButton, &QPushButton::clicked, this, &ZKFullScreenUI::slotParamSetting);
    pLayout->addWidget(pBar);

    connect(m_pShowLabel, &HXLDisplayLabel::sigDbClicked, this, &ZKFullScreenUI::slotCloseUI);

    showFullScreen();
    m_nTimerId = startTimer(200, Qt::CoarseTimer);
}

ZKFullScreenUI::~ZKFullScreenUI() = default;

void ZKFullScreenUI::slotCloseUI()
{
    killTimer(m_nTimerId);
    close();
}

void ZKFullScreenUI::slotParamSetting()
{
    HXLCameraParameterSettingDialog dialog(this);
    dialog.exec(); // the preview keeps refreshing meanwhile
}

void ZKFullScreenUI::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        killTimer(m_nTimerId);
        close();
    }
    QDialog::keyPressEvent(event);
}

void ZKFullScreenUI::timerEvent(QTimerEvent*)
{
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager || pManager->GetCameraCount() == 0)
        return;
    if (IZKVisionCamera* pFirst = pManager->GetCamera(pManager->GetCurCameraIndex()))
        pFirst->StartGrab();
    IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex());
    if (!pCamera)
        return;
    const int nHeight = pCamera->GetImageHeight(true);
    const int nWidth = pCamera->GetImageWidth(true);
    const bool bColour = pCamera->IsColorful();
    if (nHeight <= 0 || nWidth <= 0)
        return;

    // A fresh buffer every tick: the preview shares nothing with the live
    // thread, but takes the frame in the same layout (rows padded to 4 bytes).
    auto* pBuffer = new (std::nothrow)
        unsigned char[static_cast<size_t>(HXL_RefreshCameraThread::FrameBytes(nWidth, nHeight, bColour))];
    if (!pBuffer)
        return;
    QImage image = HXL_RefreshCameraThread::WrapBuffer(pBuffer, bColour, nWidth, nHeight);
    if (pCamera->GrabImage(pBuffer) != 0)
        return; // the buffer of a failed tick is not freed; the preview has always done so
    pCamera->GrabImage(pBuffer);
    image = HXL_RefreshCameraThread::WrapBuffer(pBuffer, bColour, nWidth, nHeight);

    const int nShowW = m_pShowLabel->geometry().width();
    const int nShowH = m_pShowLabel->geometry().height();
    if (nShowW > 0 && nShowH > 0) {
        // Not filled first: what the fitted picture leaves free shows whatever the pixmap held.
        QPixmap pixmap(nShowW, nShowH);
        {
            QPainter painter(&pixmap);
            HXL_RefreshCameraThread::DrawFrame(painter, image, nShowW, nShowH);
            painter.setPen(QPen(QColor(255, 0, 0, 255), 1));
            painter.drawText(QPointF(20, 20), tr("Print Esc or DoubleClickMouse to exit!"));
        }
        m_pShowLabel->setPixmap(pixmap);
    }
    image = QImage();
    delete[] pBuffer;
}
