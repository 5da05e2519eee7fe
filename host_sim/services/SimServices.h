#pragma once

#include "host/IZKDatabase.h"
#include "host/ZKCCDImageCombineManager.h"
#include "host/ZKVisionLocatorManager.h"
#include "host/ZKWindowManager.h"

#include <QStringList>

namespace hostsim {

class HXL_HOST_EXPORT SimEntityFactory : public IZKEntityFactory
{
public:
    IZKGePolyline* CreatePolyline() override;
};

class HXL_HOST_EXPORT SimPartFactory : public IZKPartFactory
{
public:
    IZKBound* CreateBound() override;
};

class HXL_HOST_EXPORT SimDataPoolManager : public ZKVisionDataPoolManager
{
public:
    void ClearCache() override;
    void ClearOverlapCache() override;
    void ClearOneOverlapCache() override;

    // Search results held; the clears empty them.
    int cacheEntries = 0;
    int overlapEntries = 0;
    int oneOverlapEntries = 0;
};

class HXL_HOST_EXPORT SimLocatorManager : public ZKVisionLocatorManager
{
public:
    ZKVisionDataPoolManager* GetDataPoolMgr() override;
    void AddSearchDataToMap(std::string strName, IZKDatabase* pDatabase) override;

    SimDataPoolManager& dataPool() { return m_pool; }
    QStringList searchData() const { return m_searchData; }

private:
    SimDataPoolManager m_pool;
    QStringList m_searchData;
};

// Combines pictures along a stretch: the machine moves from the start to the
// end position in steps whose fields of view overlap by overlap(); at each
// step camera cameraIndex grabs a frame, and the frames are laid into one
// picture by their machine positions (later frames over earlier ones).
class HXL_HOST_EXPORT SimCombineManager : public ZKCCDImageCombineManager
{
public:
    void GetCombineStartPos(ZKGePoint& ptStart) override;
    void GetCombineEndPos(ZKGePoint& ptEnd) override;
    void SetCombineStartPos(ZKGePoint ptStart) override;
    void SetCombineEndPos(ZKGePoint ptEnd) override;
    void SetCameraIndex(int nCamera) override;
    IZKDbImage* CombineImage() override;

    void setOverlap(double dFraction) { m_dOverlap = qBound(0.0, dFraction, 0.9); }
    double overlap() const { return m_dOverlap; }
    int cameraIndex() const { return m_nCamera; }
    int lastFrameCount() const { return m_nLastFrames; }

private:
    // Moves along the stretch and puts the pictures together; null, with a
    // line for the operator, when a frame fails or the operator cancels.
    IZKDbImage* combineStretch();

    bool m_bCombining = false;
    ZKGePoint m_ptStart;
    ZKGePoint m_ptEnd;
    int m_nCamera = 0;
    double m_dOverlap = 0.2;
    int m_nLastFrames = 0;
};

class HXL_HOST_EXPORT SimWindowManager : public ZKWindowManager
{
public:
    IMainWindow* getMainWindow() override;
    UiUserConfig* GetUiCfg() override;
};

} // namespace hostsim
