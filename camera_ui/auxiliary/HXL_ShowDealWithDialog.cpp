#include "HXL_ShowDealWithDialog.h"

#include "HXL_ModuleGlobals.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QTimer>

namespace {
// Text number of the processing notice.
constexpr int kProcessingText = 44;
// The row of marks grows to this many and starts again.
constexpr int kMarkCycle = 5;
} // namespace

HXL_ShowDealWithDialog::HXL_ShowDealWithDialog(QWidget* parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint);
}

HXL_ShowDealWithDialog::~HXL_ShowDealWithDialog()
{
    // The animation timer has no parent; it lives exactly as long as the box.
    delete m_pTimer;
}

void HXL_ShowDealWithDialog::InitUI()
{
    setFixedSize(250, 40);

    auto* pLayout = new QHBoxLayout();
    pLayout->setContentsMargins(0, 0, 0, 0);
    setLayout(pLayout);

    auto* pGroupBox = new QGroupBox();
    pGroupBox->setStyleSheet(QStringLiteral("border: 3px solid gray;border-radius:5px;"));
    auto* pGroupLayout = new QHBoxLayout();
    pGroupLayout->setContentsMargins(2, 2, 2, 2);
    pGroupBox->setLayout(pGroupLayout);

    m_pLabel = new QLabel();
    m_pLabel->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    m_pLabel->setText(HXL_Text(kProcessingText));
    pGroupLayout->addWidget(m_pLabel);
    pLayout->addWidget(pGroupBox);

    m_pTimer = new QTimer();
    connect(m_pTimer, SIGNAL(timeout()), this, SLOT(onTimeout()));
    m_pTimer->start(200);
}

void HXL_ShowDealWithDialog::StartShow()
{
    if (m_nTimerId == -1)
        m_nTimerId = startTimer(200, Qt::CoarseTimer);
    show();
}

void HXL_ShowDealWithDialog::StopShow()
{
    if (m_nTimerId != -1) {
        killTimer(m_nTimerId);
        m_nTimerId = -1;
    }
    hide();
}

void HXL_ShowDealWithDialog::onTimeout()
{
    QString strText = HXL_Text(kProcessingText);
    for (int i = 0; i < g_nDotCount; ++i)
        strText += QLatin1Char('>');
    if (m_pLabel)
        m_pLabel->setText(strText);

    // Shared by every box: the row carries on where the last box left it.
    ++g_nDotCount;
    if (g_nDotCount >= kMarkCycle)
        g_nDotCount = 0;
}

void HXL_ShowDealWithDialog::timerEvent(QTimerEvent* /*event*/)
{
    // The show timer only marks the box as shown; the animation has its own timer.
}
