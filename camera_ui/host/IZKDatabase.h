#pragma once

#include "HXL_HostExport.h"
#include "IServiceManager.h"
#include "ZKGeometry.h"

#include <string>
#include <vector>

class IZKLayer;

// Kinds of drawing entity.
enum ZKEntityType
{
    ZKEntity_Polyline = 1,
    ZKEntity_Image = 2
};

// Any drawing entity. Entities made by a factory belong to the caller until
// they are appended to a shape table, which then owns them.
//
// Virtual order: Clone comes first (the live-video thread relies on the
// polyline's first operation being its clone), then release, the bounding
// box, the layer and the kind.
class HXL_CADBASE_EXPORT IZKEntity
{
public:
    // A free-standing deep copy (not in any table, same layer).
    virtual IZKEntity* Clone() const = 0;
    // Frees the entity. An entity still in a shape table is removed from it first.
    virtual void Release() = 0;
    // The bounding box in the entity's own unit, owned by the entity and
    // updated on every call; null when the entity has no geometry.
    virtual IZKBound* GetBound() = 0;
    virtual void SetLayer(IZKLayer* pLayer) = 0;
    virtual IZKLayer* GetLayer() const = 0;
    virtual int GetEntityType() const = 0;

protected:
    virtual ~IZKEntity();
};

// A polyline: an ordered list of vertices; a closed rectangle is five vertices
// with the last equal to the first.
class HXL_CADBASE_EXPORT IZKGePolyline : public IZKEntity
{
public:
    IZKGePolyline* Clone() const override = 0;
    // True when pt lies within dTolerance of one of the segments (or of the
    // only vertex, for a single-vertex polyline).
    virtual bool IsPointOnCurve(const ZKGePoint& pt, double dTolerance) const = 0;
    // Translate every vertex by (dx, dy).
    virtual void Move(double dx, double dy) = 0;
    // Scale every vertex about ptBase by (sx, sy).
    virtual void Scale(const ZKGePoint& ptBase, double sx, double sy) = 0;
    virtual void AddVertex(const ZKGePoint& pt) = 0;
    // Out-of-range indexes are ignored (set) or give the origin (get).
    virtual void SetVertexAt(int nIndex, const ZKGePoint& pt) = 0;
    virtual ZKGePoint GetVertexAt(int nIndex) const = 0;
    virtual int GetVertexCount() const = 0;
    virtual void Clear() = 0;
};

// A picture placed on the drawing. Its extent is in machine millimetres with y
// upward: (minX, minY) is the picture's bottom-left corner.
class HXL_CADBASE_EXPORT IZKDbImage : public IZKEntity
{
public:
    IZKDbImage* Clone() const override = 0;
    virtual void SetExtents(double dMinX, double dMinY, double dMaxX, double dMaxY) = 0;
    virtual void GetExtents(double& dMinX, double& dMinY, double& dMaxX, double& dMaxY) const = 0;
    // Size of the picture in pixels.
    virtual void GetImageSize(int& nWidth, int& nHeight) const = 0;
};

class HXL_CADBASE_EXPORT IZKLayer
{
public:
    virtual int GetLayerId() const = 0;
    virtual std::string GetLayerName() const = 0;

protected:
    virtual ~IZKLayer();
};

class HXL_CADBASE_EXPORT IZKLayerTable
{
public:
    // The layer with this id, created on first use; never null.
    virtual IZKLayer* GetLayer(int nLayerId) = 0;
    virtual int GetLayerCount() const = 0;
    virtual IZKLayer* GetLayerAt(int nIndex) const = 0;

protected:
    virtual ~IZKLayerTable();
};

// The model space: the entities of the drawing, in drawing order.
class HXL_CADBASE_EXPORT IZKShapeTable
{
public:
    // Takes ownership. An entity without a layer goes to layer 0.
    virtual void AppendEntity(IZKEntity* pEntity) = 0;
    // Gives ownership back to the caller; false when the entity is not here.
    virtual bool RemoveEntity(IZKEntity* pEntity) = 0;
    virtual int GetEntityCount() const = 0;
    virtual IZKEntity* GetEntityAt(int nIndex) const = 0;

protected:
    virtual ~IZKShapeTable();
};

class HXL_CADBASE_EXPORT IZKDatabase
{
public:
    virtual IZKShapeTable* GetShapeTable() = 0;
    virtual IZKLayerTable* GetLayerTable() = 0;
    // Bring derived data (extents, indexes) up to date after entities changed.
    virtual void Update() = 0;
    // Ask every view of the database to redraw it.
    virtual void UpdateDisplay() = 0;

protected:
    virtual ~IZKDatabase();
};

// Makes drawing entities (registry key HXLServiceKey::EntityFactory).
class HXL_CADBASE_EXPORT IZKEntityFactory : public IService
{
public:
    // A new empty polyline, owned by the caller (release it with Release or BatchReleasePolyline).
    virtual IZKGePolyline* CreatePolyline() = 0;
    // Out of line in the host library: the type information that the
    // registry lookup casts to lives there, once.
    ~IZKEntityFactory() override;
};

// Makes geometric parts (registry key HXLServiceKey::PartFactory).
class HXL_CADBASE_EXPORT IZKPartFactory : public IService
{
public:
    // A new empty (invalid) bound, owned by the caller (IZKBound::Release).
    virtual IZKBound* CreateBound() = 0;
    // Out of line in the host library: the type information that the
    // registry lookup casts to lives there, once.
    ~IZKPartFactory() override;
};
