#include "HXLCameraWidget.h"

#include "HXL_ModuleGlobals.h"
#include "display/HXLCustomLabel.h"

#include <QPushButton>
#include <QSizePolicy>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {
// "拍照" and "相机视频" as local 8-bit strings: the Chinese code page (GBK) of
// the machines the host runs on under Windows, UTF-8 elsewhere. (A UTF-8
// literal read with fromLocal8Bit would come out garbled on a GBK Windows.)
#ifdef Q_OS_WIN
const char kPhotoCaption[] = "\xC5\xC4\xD5\xD5";
const char kVideoTabCaption[] = "\xCF\xE0\xBB\xFA\xCA\xD3\xC6\xB5";
#else
const char kPhotoCaption[] = "\xE6\x8B\x8D\xE7\x85\xA7";
const char kVideoTabCaption[] = "\xE7\x9B\xB8\xE6\x9C\xBA\xE8\xA7\x86\xE9\xA2\x91";
#endif
} // namespace

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
    auto* pPhotoButton = new QPushButton(QString::fromLocal8Bit(kPhotoCaption));
    pPageLayout->addWidget(pPhotoButton);

    // No layout of its own: the tab widget keeps its own size at the top left.
    auto* pTabWidget = new QTabWidget(this);
    pTabWidget->addTab(pPage, QString::fromLocal8Bit(kVideoTabCaption));
}
