#include "services/SimApp.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "drawing/SimDrawing.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>

namespace hostsim {

void SimView::RefreshView(bool bUpdateAll)
{
    HostSim::journal().append(QStringLiteral("IZKView::RefreshView(%1)").arg(bUpdateAll ? "true" : "false"));
    ++m_nRefreshes;
    redraw(bUpdateAll);
}

void SimView::redraw(bool bUpdateAll)
{
    if (m_fnRedraw)
        m_fnRedraw(bUpdateAll);
}

void SimView::zoomToData()
{
    if (m_fnZoom)
        m_fnZoom();
}

IZKDatabase* SimDocument::GetDatabase()
{
    HostSim::journal().append(QStringLiteral("IZKDocument::GetDatabase()"));
    return HostSim::isAbsent(AbsentPart::Database) ? nullptr : m_pDatabase;
}

IZKView* SimDocument::GetView()
{
    HostSim::journal().append(QStringLiteral("IZKDocument::GetView()"));
    return HostSim::isAbsent(AbsentPart::View) ? nullptr : m_pView;
}

IZKDocument* SimMainApp::GetDocument()
{
    HostSim::journal().append(QStringLiteral("ZKGloabVisionAppBase::GetDocument()"));
    return HostSim::isAbsent(AbsentPart::Document) ? nullptr : m_pDocument;
}

int SimMainApp::RunCommand(const std::string& strCommand)
{
    const QString command = QString::fromStdString(strCommand);
    HostSim::journal().append(QStringLiteral("ZKGloabVisionAppBase::RunCommand(%1)").arg(command));
    if (command == QLatin1String("ZoomToData")) {
        m_pView->zoomToData();
        return 0;
    }
    if (command == QLatin1String("Redraw")) {
        m_pView->redraw(true);
        return 0;
    }
    return -1;
}

ZKGloabVisionAppBase* SimAppService::GetMainApp()
{
    HostSim::journal().append(QStringLiteral("ZKAppService::GetMainApp()"));
    return HostSim::isAbsent(AbsentPart::MainApp) ? nullptr : m_pApp;
}

// --- progress box ------------------------------------------------------------------

SimProgressUI::SimProgressUI(QWidget* pParent)
    : ZKProgressUI(pParent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    setObjectName(QStringLiteral("HostProgressUI"));
    setFixedSize(320, 64);
    auto* pLayout = new QVBoxLayout(this);
    m_pLabel = new QLabel(this);
    m_pBar = new QProgressBar(this);
    m_pBar->setRange(0, 100);
    pLayout->addWidget(m_pLabel);
    pLayout->addWidget(m_pBar);
    setStyleSheet(QStringLiteral("SimProgressUI, QWidget#HostProgressUI { border: 1px solid gray; }"));
}

void SimProgressUI::UpdateProgress(int nPercent, QString strText)
{
    HostSim::journal().append(QStringLiteral("ZKProgressUI::UpdateProgress(%1, %2)").arg(nPercent).arg(strText));
    m_pBar->setValue(qBound(0, nPercent, 100));
    m_pLabel->setText(strText);
}

int SimProgressUI::percent() const
{
    return m_pBar->value();
}

QString SimProgressUI::text() const
{
    return m_pLabel->text();
}

void SimProgressUI::setVisible(bool bVisible)
{
    if (bVisible)
        HostSim::journal().append(QStringLiteral("ZKProgressUI::show(%1, %2)").arg(x()).arg(y()));
    else
        HostSim::journal().append(QStringLiteral("ZKProgressUI::hide()"));
    ZKProgressUI::setVisible(bVisible);
}

// --- main window -----------------------------------------------------------------------

SimMainWindow::SimMainWindow(QWidget* pParent) : IMainWindow(pParent)
{
    m_pProgress = new SimProgressUI(this);
}

SimMainWindow::~SimMainWindow() = default;

ZKProgressUI* SimMainWindow::GetProgressUI()
{
    HostSim::journal().append(QStringLiteral("IMainWindow::GetProgressUI()"));
    return HostSim::isAbsent(AbsentPart::ProgressUI) ? nullptr : m_pProgress;
}

void SimMainWindow::slotImageParamChanged()
{
    HostSim::journal().append(QStringLiteral("IMainWindow::slotImageParamChanged()"));
    ++m_nImageParamChanged;
    HostSim::view().redraw(true);
}

} // namespace hostsim
