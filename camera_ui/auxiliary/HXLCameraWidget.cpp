#include "HXLCameraWidget.h"

#include "HXL_ModuleGlobals.h"
#include "display/HXLCustomLabel.h"

#include <QPushButton>
#include <QSizePolicy>
#include <QTabWidget>
#include <QVBoxLayout>

HXLCameraWidget::HXLCameraWidget(QWidget* parent) : QWidget(parent), IZKEventListener()
{
}

HXLCameraWidget::~HXLCameraWidget() = default;

void HXLCameraWidget::InitDisplay()
{
    m_pCustomLabel = new HXLCustomLabel(this);
    m_pCustomLabel->setScaledContents(true);
    m_pCustomLabel->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::MinimumExpanding);
    m_pCustomLabel->setFixedHeight(268);

    auto* pPage = new QWidget(this);
    auto* pPageLayout = new QVBoxLayout();
    pPage->setLayout(pPageLayout);
    pPageLayout->addWidget(m_pCustomLabel);

    // The captions are the host's own, in its local 8-bit encoding.
    auto* pPhotoButton = new QPushButton(QString::fromLocal8Bit("拍照"));
    pPageLayout->addWidget(pPhotoButton);

    // No layout of its own: the tab widget keeps its own size at the top left.
    auto* pTabWidget = new QTabWidget(this);
    pTabWidget->addTab(pPage, QString::fromLocal8Bit("相机视频"));
}
