#pragma once

#include "HXL_HostExport.h"

// A point of the drawing. Where it carries a machine position the unit is the
// machine millimetre (x to the right, y away from the operator, i.e. upward in
// the drawing); where it carries a picture position the unit is the pixel of
// the label or picture (y downward). z is 0 for everything the panel writes.
struct ZKGePoint
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    ZKGePoint() = default;
    ZKGePoint(double dx, double dy, double dz = 0.0) : x(dx), y(dy), z(dz) {}
};

// Axis-aligned bounding box. An empty bound (no point added) is invalid and
// reports 0 for every measure.
class HXL_CADBASE_EXPORT IZKBound
{
public:
    // Frees a bound made by IZKPartFactory::CreateBound. Bounds owned by an
    // entity or a manager must not be released by callers.
    virtual void Release() = 0;
    virtual ZKGePoint GetCenter() const = 0;
    virtual double GetMinX() const = 0;
    virtual double GetMaxX() const = 0;
    virtual double GetMinY() const = 0;
    virtual double GetMaxY() const = 0;
    virtual double GetWidth() const = 0;
    virtual double GetHeight() const = 0;
    virtual bool IsValid() const = 0;
    // Grow the bound to enclose a point / another bound (an invalid one adds nothing).
    virtual void AddPoint(const ZKGePoint& pt) = 0;
    virtual void AddBound(const IZKBound* pOther) = 0;
    // Forget every point: the bound becomes invalid again.
    virtual void Reset() = 0;

protected:
    virtual ~IZKBound();
};
