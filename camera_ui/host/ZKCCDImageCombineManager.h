#pragma once

#include "HXL_HostExport.h"
#include "IServiceManager.h"
#include "ZKGeometry.h"

class IZKDbImage;

// Combines camera pictures taken along a stretch of machine travel
// (registry key HXLServiceKey::CCDImageCombineManager).
class HXL_VISIONBASE_EXPORT ZKCCDImageCombineManager : public IService
{
public:
    virtual void GetCombineStartPos(ZKGePoint& ptStart) = 0;
    virtual void GetCombineEndPos(ZKGePoint& ptEnd) = 0;
    virtual void SetCombineStartPos(ZKGePoint ptStart) = 0;
    virtual void SetCombineEndPos(ZKGePoint ptEnd) = 0;
    virtual void SetCameraIndex(int nCamera) = 0;
    // Moves along the stretch, grabs and stitches. A new picture entity with its
    // extent in millimetres (owned by the caller), or null when a grab failed.
    virtual IZKDbImage* CombineImage() = 0;
    // Out of line in the host library: the type information that the
    // registry lookup casts to lives there, once.
    ~ZKCCDImageCombineManager() override;
};
