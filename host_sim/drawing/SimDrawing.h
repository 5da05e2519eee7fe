#pragma once

#include "HostSimExport.h"
#include "host/IZKDatabase.h"

#include <QImage>
#include <QMutex>
#include <QVector>

#include <map>
#include <memory>
#include <vector>

namespace hostsim {

class SimDatabase;

class HXL_HOSTSIM_EXPORT SimBound : public IZKBound
{
public:
    SimBound() = default;
    SimBound(double dMinX, double dMinY, double dMaxX, double dMaxY);
    ~SimBound() override;
    void Release() override;
    ZKGePoint GetCenter() const override;
    double GetMinX() const override { return m_bValid ? m_dMinX : 0.0; }
    double GetMaxX() const override { return m_bValid ? m_dMaxX : 0.0; }
    double GetMinY() const override { return m_bValid ? m_dMinY : 0.0; }
    double GetMaxY() const override { return m_bValid ? m_dMaxY : 0.0; }
    double GetWidth() const override { return m_bValid ? m_dMaxX - m_dMinX : 0.0; }
    double GetHeight() const override { return m_bValid ? m_dMaxY - m_dMinY : 0.0; }
    bool IsValid() const override { return m_bValid; }
    void AddPoint(const ZKGePoint& pt) override;
    void AddBound(const IZKBound* pOther) override;
    void Reset() override { m_bValid = false; }

    void set(double dMinX, double dMinY, double dMaxX, double dMaxY);

private:
    bool m_bValid = false;
    double m_dMinX = 0.0, m_dMinY = 0.0, m_dMaxX = 0.0, m_dMaxY = 0.0;
};

class HXL_HOSTSIM_EXPORT SimLayer : public IZKLayer
{
public:
    explicit SimLayer(int nId) : m_nId(nId) {}
    ~SimLayer() override;
    int GetLayerId() const override { return m_nId; }
    std::string GetLayerName() const override;

private:
    int m_nId;
};

// Common part of the simulated entities: layer, owner table, bound.
template <class Interface>
class SimEntityBase : public Interface
{
public:
    void SetLayer(IZKLayer* pLayer) override { m_pLayer = pLayer; }
    IZKLayer* GetLayer() const override { return m_pLayer; }
    SimDatabase* owner() const { return m_pOwner; }
    void setOwner(SimDatabase* pOwner) { m_pOwner = pOwner; }

protected:
    IZKLayer* m_pLayer = nullptr;
    SimDatabase* m_pOwner = nullptr;
    SimBound m_bound;
};

class HXL_HOSTSIM_EXPORT SimPolyline : public SimEntityBase<IZKGePolyline>
{
public:
    SimPolyline();
    ~SimPolyline() override;
    SimPolyline* Clone() const override;
    void Release() override;
    IZKBound* GetBound() override;
    int GetEntityType() const override { return ZKEntity_Polyline; }
    bool IsPointOnCurve(const ZKGePoint& pt, double dTolerance) const override;
    void Move(double dx, double dy) override;
    void Scale(const ZKGePoint& ptBase, double sx, double sy) override;
    void AddVertex(const ZKGePoint& pt) override;
    void SetVertexAt(int nIndex, const ZKGePoint& pt) override;
    ZKGePoint GetVertexAt(int nIndex) const override;
    int GetVertexCount() const override;
    void Clear() override;

    const std::vector<ZKGePoint>& vertices() const { return m_vertices; }
    // Polylines alive in the process (made and not yet released): leak checks in tests.
    static int liveCount();

private:
    std::vector<ZKGePoint> m_vertices;
};

class HXL_HOSTSIM_EXPORT SimDbImage : public SimEntityBase<IZKDbImage>
{
public:
    explicit SimDbImage(const QImage& image);
    ~SimDbImage() override;
    SimDbImage* Clone() const override;
    void Release() override;
    IZKBound* GetBound() override;
    int GetEntityType() const override { return ZKEntity_Image; }
    void SetExtents(double dMinX, double dMinY, double dMaxX, double dMaxY) override;
    void GetExtents(double& dMinX, double& dMinY, double& dMaxX, double& dMaxY) const override;
    void GetImageSize(int& nWidth, int& nHeight) const override;

    const QImage& image() const { return m_image; }
    bool hasExtents() const { return m_bHasExtents; }

private:
    QImage m_image;
    bool m_bHasExtents = false;
    double m_dMinX = 0.0, m_dMinY = 0.0, m_dMaxX = 0.0, m_dMaxY = 0.0;
};

class HXL_HOSTSIM_EXPORT SimLayerTable : public IZKLayerTable
{
public:
    ~SimLayerTable() override;
    IZKLayer* GetLayer(int nLayerId) override;
    int GetLayerCount() const override;
    IZKLayer* GetLayerAt(int nIndex) const override;
    void clear();

private:
    std::map<int, std::unique_ptr<SimLayer>> m_layers;
};

class HXL_HOSTSIM_EXPORT SimShapeTable : public IZKShapeTable
{
public:
    explicit SimShapeTable(SimDatabase* pOwner) : m_pOwner(pOwner) {}
    ~SimShapeTable() override;
    void AppendEntity(IZKEntity* pEntity) override;
    bool RemoveEntity(IZKEntity* pEntity) override;
    int GetEntityCount() const override;
    IZKEntity* GetEntityAt(int nIndex) const override;

    // Frees every entity (reset).
    void clear();
    const std::vector<IZKEntity*>& entities() const { return m_entities; }

private:
    SimDatabase* m_pOwner;
    std::vector<IZKEntity*> m_entities;
};

// The drawing database. GUI thread only, like the real host's.
class HXL_HOSTSIM_EXPORT SimDatabase : public IZKDatabase
{
public:
    SimDatabase();
    ~SimDatabase() override;
    IZKShapeTable* GetShapeTable() override;
    IZKLayerTable* GetLayerTable() override;
    void Update() override;
    void UpdateDisplay() override;

    // --- facade --------------------------------------------------------------
    void clear();
    SimShapeTable& shapes() { return m_shapes; }
    SimLayerTable& layers() { return m_layers; }
    // Entities on a layer, in drawing order.
    std::vector<IZKEntity*> entitiesOnLayer(int nLayer) const;
    // Bound of everything drawn (millimetres); invalid when the drawing is empty.
    SimBound extents() const;
    int updateCount() const { return m_nUpdates; }
    int displayUpdateCount() const { return m_nDisplayUpdates; }
    // Detaches an entity that is being freed from its table (called by the entity).
    void forget(IZKEntity* pEntity);
    // Removes an entity of this database and frees it (the host's own clean-up, no journal line).
    void destroy(IZKEntity* pEntity);

private:
    SimShapeTable m_shapes;
    SimLayerTable m_layers;
    int m_nUpdates = 0;
    int m_nDisplayUpdates = 0;
};

} // namespace hostsim
