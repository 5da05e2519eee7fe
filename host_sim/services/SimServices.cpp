#include "services/SimServices.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "HostState.h"
#include "cameras/SimCamera.h"

#include <QApplication>
#include <QPainter>

#include <opencv2/core.hpp>

#include <cmath>
#include <cstring>

// ZKWindowManager::singleton, for HXL_CommonCtrl.
ZKWindowManager* hostsim::windowManager()
{
    static hostsim::SimWindowManager s_manager;
    return &s_manager;
}

namespace hostsim {

IZKGePolyline* SimEntityFactory::CreatePolyline()
{
    HostSim::journal().append(QStringLiteral("IZKEntityFactory::CreatePolyline()"));
    if (HostSim::isAbsent(AbsentPart::Polyline))
        return nullptr;
    return new SimPolyline();
}

IZKBound* SimPartFactory::CreateBound()
{
    HostSim::journal().append(QStringLiteral("IZKPartFactory::CreateBound()"));
    if (HostSim::isAbsent(AbsentPart::Bound))
        return nullptr;
    return new SimBound();
}

void SimDataPoolManager::ClearCache()
{
    HostSim::journal().append(QStringLiteral("ZKVisionDataPoolManager::ClearCache()"));
    cacheEntries = 0;
}

void SimDataPoolManager::ClearOverlapCache()
{
    HostSim::journal().append(QStringLiteral("ZKVisionDataPoolManager::ClearOverlapCache()"));
    overlapEntries = 0;
}

void SimDataPoolManager::ClearOneOverlapCache()
{
    HostSim::journal().append(QStringLiteral("ZKVisionDataPoolManager::ClearOneOverlapCache()"));
    oneOverlapEntries = 0;
}

ZKVisionDataPoolManager* SimLocatorManager::GetDataPoolMgr()
{
    HostSim::journal().append(QStringLiteral("ZKVisionLocatorManager::GetDataPoolMgr()"));
    return HostSim::isAbsent(AbsentPart::DataPool) ? nullptr : &m_pool;
}

void SimLocatorManager::AddSearchDataToMap(std::string strName, IZKDatabase* pDatabase)
{
    const QString name = QString::fromLocal8Bit(strName.c_str());
    HostSim::journal().append(QStringLiteral("ZKVisionLocatorManager::AddSearchDataToMap(%1)").arg(name));
    if (pDatabase)
        m_searchData.append(name);
}

void SimCombineManager::GetCombineStartPos(ZKGePoint& ptStart)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::GetCombineStartPos()"));
    ptStart = m_ptStart;
}

void SimCombineManager::GetCombineEndPos(ZKGePoint& ptEnd)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::GetCombineEndPos()"));
    ptEnd = m_ptEnd;
}

void SimCombineManager::SetCombineStartPos(ZKGePoint ptStart)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::SetCombineStartPos(%1, %2, %3)")
                                  .arg(jnum(ptStart.x), jnum(ptStart.y), jnum(ptStart.z)));
    m_ptStart = ptStart;
}

void SimCombineManager::SetCombineEndPos(ZKGePoint ptEnd)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::SetCombineEndPos(%1, %2, %3)")
                                  .arg(jnum(ptEnd.x), jnum(ptEnd.y), jnum(ptEnd.z)));
    m_ptEnd = ptEnd;
}

void SimCombineManager::SetCameraIndex(int nCamera)
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::SetCameraIndex(%1)").arg(nCamera));
    m_nCamera = nCamera;
}

IZKDbImage* SimCombineManager::CombineImage()
{
    HostSim::journal().append(QStringLiteral("ZKCCDImageCombineManager::CombineImage()"));
    m_nLastFrames = 0;
    if (HostSim::isAbsent(AbsentPart::CombinedImage))
        return nullptr;
    HostState& state = hostState();
    SimCamera* pCamera = state.cameraManager.camera(m_nCamera);
    if (!pCamera)
        return nullptr;
    const CameraSetup setup = pCamera->setup();
    // The frames are in the machine's axes (the camera's calibration turned
    // them), each centred where the optical axis meets the work plane.
    const CameraModel model = pCamera->model();
    const double kx = model.alignedMmPerPixelX();
    const double ky = model.alignedMmPerPixelY();
    const double dFieldW = setup.width * kx;
    const double dFieldH = setup.height * ky;

    // Steps along the stretch so that neighbouring fields overlap.
    const double dx = m_ptEnd.x - m_ptStart.x;
    const double dy = m_ptEnd.y - m_ptStart.y;
    const double dLength = std::hypot(dx, dy);
    int nFrames = 1;
    if (dLength > 0.0) {
        // Field extent along the direction of travel.
        const double dAlong = std::min(std::abs(dx) > 0 ? dFieldW * dLength / std::abs(dx) : 1e300,
                                       std::abs(dy) > 0 ? dFieldH * dLength / std::abs(dy) : 1e300);
        const double dStep = std::max(1e-6, dAlong * (1.0 - m_dOverlap));
        nFrames = static_cast<int>(std::ceil(dLength / dStep)) + 1;
    }

    const double dMinX = std::min(m_ptStart.x, m_ptEnd.x) + model.offsetX - dFieldW / 2.0;
    const double dMaxX = std::max(m_ptStart.x, m_ptEnd.x) + model.offsetX + dFieldW / 2.0;
    const double dMinY = std::min(m_ptStart.y, m_ptEnd.y) + model.offsetY - dFieldH / 2.0;
    const double dMaxY = std::max(m_ptStart.y, m_ptEnd.y) + model.offsetY + dFieldH / 2.0;
    const int nCanvasW = static_cast<int>(std::lround((dMaxX - dMinX) / kx));
    const int nCanvasH = static_cast<int>(std::lround((dMaxY - dMinY) / ky));
    cv::Mat canvas(nCanvasH, nCanvasW, setup.colour ? CV_8UC3 : CV_8UC1, cv::Scalar::all(0));

    for (int i = 0; i < nFrames; ++i) {
        const double f = nFrames > 1 ? static_cast<double>(i) / (nFrames - 1) : 0.0;
        const double px = m_ptStart.x + dx * f;
        const double py = m_ptStart.y + dy * f;
        state.machine.startMove(px, py);
        state.machine.waitIdle();
        cv::Mat frame;
        if (pCamera->grabFrame(frame) != 0)
            return nullptr;
        const int nLeft = static_cast<int>(std::lround((px + model.offsetX - dFieldW / 2.0 - dMinX) / kx));
        const int nTop = static_cast<int>(std::lround((dMaxY - (py + model.offsetY + dFieldH / 2.0)) / ky));
        const cv::Rect target = cv::Rect(nLeft, nTop, frame.cols, frame.rows) & cv::Rect(0, 0, nCanvasW, nCanvasH);
        if (target.area() > 0)
            frame(cv::Rect(target.x - nLeft, target.y - nTop, target.width, target.height)).copyTo(canvas(target));
        ++m_nLastFrames;
    }

    auto* pImage = new SimDbImage(imageFromFrame(canvas));
    pImage->SetExtents(dMinX, dMinY, dMaxX, dMaxY);
    return pImage;
}

IMainWindow* SimWindowManager::getMainWindow()
{
    HostSim::journal().append(QStringLiteral("ZKWindowManager::getMainWindow()"));
    if (HostSim::isAbsent(AbsentPart::MainWindow))
        return nullptr;
    HostState& state = hostState();
    if (!state.pMainWindow && qobject_cast<QApplication*>(QCoreApplication::instance())) {
        // A host always has a main window; without the demo's, make a hidden
        // one. It is kept for the life of the process.
        static QPointer<SimMainWindow> s_pDefault;
        if (!s_pDefault)
            s_pDefault = new SimMainWindow();
        state.pMainWindow = s_pDefault.data();
    }
    return state.pMainWindow.data();
}

UiUserConfig* SimWindowManager::GetUiCfg()
{
    HostSim::journal().append(QStringLiteral("ZKWindowManager::GetUiCfg()"));
    return HostSim::isAbsent(AbsentPart::UiConfig) ? nullptr : &hostState().uiConfig;
}

} // namespace hostsim
