// HXL_CadBase of the minimal host: the service registry, the event manager and
// the listener base, an in-memory drawing (entities, layers, bounds) with its
// factories, the work path, the image resolution and the machine position.

#include "MinimalHost.h"

#include <host/HXL_HostFunctions.h>
#include <host/HXL_ServiceKeys.h>
#include <host/IServiceManager.h>
#include <host/IZKDatabase.h>
#include <host/IZKEventManger.h>
#include <host/ZKGeometry.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

// --- out-of-line members: the type information lives here, once --------------------
IService::~IService() = default;
IZKBound::~IZKBound() = default;
IZKEntity::~IZKEntity() = default;
IZKLayer::~IZKLayer() = default;
IZKLayerTable::~IZKLayerTable() = default;
IZKShapeTable::~IZKShapeTable() = default;
IZKDatabase::~IZKDatabase() = default;
IZKEntityFactory::~IZKEntityFactory() = default;
IZKPartFactory::~IZKPartFactory() = default;
IZKEventManger::~IZKEventManger() = default;
IZKEventListener::~IZKEventListener() = default;
void IZKEventListener::OnEvent(int, int*) {}

// --- registry --------------------------------------------------------------------------
IServiceManager* IServiceManager::singleton()
{
    static IServiceManager s_manager;
    return &s_manager;
}

IService* IServiceManager::RegisterService(int nKey, IService* pService)
{
    IService*& pSlot = m_mapService[nKey];
    IService* pOld = pSlot;
    pSlot = pService;
    return pOld;
}

IService* IServiceManager::UnregisterService(int nKey)
{
    auto it = m_mapService.find(nKey);
    if (it == m_mapService.end())
        return nullptr;
    IService* pOld = it->second;
    m_mapService.erase(it);
    return pOld;
}

namespace {

// --- events ------------------------------------------------------------------------------
class EventManager : public IZKEventManger
{
public:
    void AddListener(int nChannel, IZKEventListener* pListener) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto& listeners = m_listeners[nChannel];
        if (pListener && std::find(listeners.begin(), listeners.end(), pListener) == listeners.end())
            listeners.push_back(pListener);
    }
    void RemoveListener(int nChannel, IZKEventListener* pListener) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto& listeners = m_listeners[nChannel];
        listeners.erase(std::remove(listeners.begin(), listeners.end(), pListener), listeners.end());
    }
    void FireEvent(int nChannel, int nEventId, void* pParam) override
    {
        std::vector<IZKEventListener*> listeners;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            listeners = m_listeners[nChannel];
        }
        for (IZKEventListener* pListener : listeners)
            pListener->OnEvent(nEventId, static_cast<int*>(pParam));
    }

private:
    std::mutex m_mutex;
    std::map<int, std::vector<IZKEventListener*>> m_listeners;
};

// --- drawing -------------------------------------------------------------------------------
class Bound : public IZKBound
{
public:
    void Release() override { delete this; }
    ZKGePoint GetCenter() const override
    {
        return m_bValid ? ZKGePoint((m_dMinX + m_dMaxX) / 2, (m_dMinY + m_dMaxY) / 2) : ZKGePoint();
    }
    double GetMinX() const override { return m_bValid ? m_dMinX : 0.0; }
    double GetMaxX() const override { return m_bValid ? m_dMaxX : 0.0; }
    double GetMinY() const override { return m_bValid ? m_dMinY : 0.0; }
    double GetMaxY() const override { return m_bValid ? m_dMaxY : 0.0; }
    double GetWidth() const override { return GetMaxX() - GetMinX(); }
    double GetHeight() const override { return GetMaxY() - GetMinY(); }
    bool IsValid() const override { return m_bValid; }
    void AddPoint(const ZKGePoint& pt) override
    {
        if (!m_bValid) {
            m_dMinX = m_dMaxX = pt.x;
            m_dMinY = m_dMaxY = pt.y;
            m_bValid = true;
            return;
        }
        m_dMinX = std::min(m_dMinX, pt.x);
        m_dMaxX = std::max(m_dMaxX, pt.x);
        m_dMinY = std::min(m_dMinY, pt.y);
        m_dMaxY = std::max(m_dMaxY, pt.y);
    }
    void AddBound(const IZKBound* pOther) override
    {
        if (!pOther || !pOther->IsValid())
            return;
        AddPoint(ZKGePoint(pOther->GetMinX(), pOther->GetMinY()));
        AddPoint(ZKGePoint(pOther->GetMaxX(), pOther->GetMaxY()));
    }
    void Reset() override { m_bValid = false; }

private:
    bool m_bValid = false;
    double m_dMinX = 0, m_dMaxX = 0, m_dMinY = 0, m_dMaxY = 0;
};

class Layer : public IZKLayer
{
public:
    explicit Layer(int nId) : m_nId(nId) {}
    int GetLayerId() const override { return m_nId; }
    std::string GetLayerName() const override { return std::to_string(m_nId); }

private:
    int m_nId;
};

class LayerTable : public IZKLayerTable
{
public:
    IZKLayer* GetLayer(int nLayerId) override
    {
        std::unique_ptr<Layer>& pLayer = m_layers[nLayerId];
        if (!pLayer)
            pLayer = std::make_unique<Layer>(nLayerId);
        return pLayer.get();
    }
    int GetLayerCount() const override { return int(m_layers.size()); }
    IZKLayer* GetLayerAt(int nIndex) const override
    {
        if (nIndex < 0 || nIndex >= int(m_layers.size()))
            return nullptr;
        return std::next(m_layers.begin(), nIndex)->second.get();
    }

private:
    std::map<int, std::unique_ptr<Layer>> m_layers;
};

class ShapeTable;

// What every entity of this drawing shares: its layer and the table that owns it.
template <class Interface>
class Entity : public Interface
{
public:
    void SetLayer(IZKLayer* pLayer) override { m_pLayer = pLayer; }
    IZKLayer* GetLayer() const override { return m_pLayer; }
    void Release() override;
    ShapeTable* m_pOwner = nullptr;

protected:
    IZKLayer* m_pLayer = nullptr;
    Bound m_bound;
};

class ShapeTable : public IZKShapeTable
{
public:
    explicit ShapeTable(LayerTable& layers) : m_layers(layers) {}
    ~ShapeTable() override
    {
        const std::vector<IZKEntity*> entities = m_entities;
        for (IZKEntity* pEntity : entities)
            pEntity->Release();
    }
    void AppendEntity(IZKEntity* pEntity) override;
    bool RemoveEntity(IZKEntity* pEntity) override;
    int GetEntityCount() const override { return int(m_entities.size()); }
    IZKEntity* GetEntityAt(int nIndex) const override
    {
        return nIndex >= 0 && nIndex < int(m_entities.size()) ? m_entities[size_t(nIndex)] : nullptr;
    }

private:
    LayerTable& m_layers;
    std::vector<IZKEntity*> m_entities;
};

template <class Interface>
void Entity<Interface>::Release()
{
    if (m_pOwner)
        m_pOwner->RemoveEntity(this);
    delete this;
}

class Polyline : public Entity<IZKGePolyline>
{
public:
    IZKGePolyline* Clone() const override
    {
        auto* pCopy = new Polyline();
        pCopy->m_points = m_points;
        pCopy->m_pLayer = m_pLayer;
        return pCopy;
    }
    IZKBound* GetBound() override
    {
        if (m_points.empty())
            return nullptr;
        m_bound.Reset();
        for (const ZKGePoint& pt : m_points)
            m_bound.AddPoint(pt);
        return &m_bound;
    }
    int GetEntityType() const override { return ZKEntity_Polyline; }
    bool IsPointOnCurve(const ZKGePoint& pt, double dTolerance) const override
    {
        if (m_points.size() == 1)
            return std::hypot(pt.x - m_points[0].x, pt.y - m_points[0].y) <= dTolerance;
        for (size_t i = 1; i < m_points.size(); ++i) {
            const ZKGePoint& a = m_points[i - 1];
            const ZKGePoint& b = m_points[i];
            const double dx = b.x - a.x, dy = b.y - a.y;
            const double dLength2 = dx * dx + dy * dy;
            double t = dLength2 > 0 ? ((pt.x - a.x) * dx + (pt.y - a.y) * dy) / dLength2 : 0.0;
            t = std::clamp(t, 0.0, 1.0);
            if (std::hypot(pt.x - (a.x + t * dx), pt.y - (a.y + t * dy)) <= dTolerance)
                return true;
        }
        return false;
    }
    void Move(double dx, double dy) override
    {
        for (ZKGePoint& pt : m_points) {
            pt.x += dx;
            pt.y += dy;
        }
    }
    void Scale(const ZKGePoint& ptBase, double sx, double sy) override
    {
        for (ZKGePoint& pt : m_points) {
            pt.x = ptBase.x + (pt.x - ptBase.x) * sx;
            pt.y = ptBase.y + (pt.y - ptBase.y) * sy;
        }
    }
    void AddVertex(const ZKGePoint& pt) override { m_points.push_back(pt); }
    void SetVertexAt(int nIndex, const ZKGePoint& pt) override
    {
        if (nIndex >= 0 && nIndex < int(m_points.size()))
            m_points[size_t(nIndex)] = pt;
    }
    ZKGePoint GetVertexAt(int nIndex) const override
    {
        return nIndex >= 0 && nIndex < int(m_points.size()) ? m_points[size_t(nIndex)] : ZKGePoint();
    }
    int GetVertexCount() const override { return int(m_points.size()); }
    void Clear() override { m_points.clear(); }

private:
    std::vector<ZKGePoint> m_points;
};

class DbImage : public Entity<IZKDbImage>
{
public:
    DbImage(int nWidth, int nHeight) : m_nWidth(nWidth), m_nHeight(nHeight) {}
    IZKDbImage* Clone() const override
    {
        auto* pCopy = new DbImage(m_nWidth, m_nHeight);
        pCopy->m_pLayer = m_pLayer;
        pCopy->SetExtents(m_dMinX, m_dMinY, m_dMaxX, m_dMaxY);
        return pCopy;
    }
    IZKBound* GetBound() override
    {
        m_bound.Reset();
        m_bound.AddPoint(ZKGePoint(m_dMinX, m_dMinY));
        m_bound.AddPoint(ZKGePoint(m_dMaxX, m_dMaxY));
        return &m_bound;
    }
    int GetEntityType() const override { return ZKEntity_Image; }
    void SetExtents(double dMinX, double dMinY, double dMaxX, double dMaxY) override
    {
        m_dMinX = dMinX;
        m_dMinY = dMinY;
        m_dMaxX = dMaxX;
        m_dMaxY = dMaxY;
    }
    void GetExtents(double& dMinX, double& dMinY, double& dMaxX, double& dMaxY) const override
    {
        dMinX = m_dMinX;
        dMinY = m_dMinY;
        dMaxX = m_dMaxX;
        dMaxY = m_dMaxY;
    }
    void GetImageSize(int& nWidth, int& nHeight) const override
    {
        nWidth = m_nWidth;
        nHeight = m_nHeight;
    }

private:
    int m_nWidth, m_nHeight;
    double m_dMinX = 0, m_dMinY = 0, m_dMaxX = 0, m_dMaxY = 0;
};

void ShapeTable::AppendEntity(IZKEntity* pEntity)
{
    if (!pEntity)
        return;
    if (!pEntity->GetLayer())
        pEntity->SetLayer(m_layers.GetLayer(0));
    if (auto* pLine = dynamic_cast<Polyline*>(pEntity))
        pLine->m_pOwner = this;
    else if (auto* pImage = dynamic_cast<DbImage*>(pEntity))
        pImage->m_pOwner = this;
    m_entities.push_back(pEntity);
}

bool ShapeTable::RemoveEntity(IZKEntity* pEntity)
{
    auto it = std::find(m_entities.begin(), m_entities.end(), pEntity);
    if (it == m_entities.end())
        return false;
    m_entities.erase(it);
    if (auto* pLine = dynamic_cast<Polyline*>(pEntity))
        pLine->m_pOwner = nullptr;
    else if (auto* pImage = dynamic_cast<DbImage*>(pEntity))
        pImage->m_pOwner = nullptr;
    return true;
}

class Database : public IZKDatabase
{
public:
    ~Database() override = default;
    IZKShapeTable* GetShapeTable() override { return &m_shapes; }
    IZKLayerTable* GetLayerTable() override { return &m_layers; }
    void Update() override {}
    void UpdateDisplay() override {}

private:
    LayerTable m_layers; // declared first: the shapes refer to it until they are gone
    ShapeTable m_shapes{m_layers};
};

class EntityFactory : public IZKEntityFactory
{
public:
    IZKGePolyline* CreatePolyline() override { return new Polyline(); }
};

class PartFactory : public IZKPartFactory
{
public:
    IZKBound* CreateBound() override { return new Bound(); }
};

std::string g_strWorkPath;
double g_dMachineX = 10.0;
double g_dMachineY = 20.0;

} // namespace

IZKEventManger* IZKEventManger::singleton()
{
    static EventManager s_manager;
    return &s_manager;
}

void MinimalHost_SetWorkPath(const std::string& strPath) { g_strWorkPath = strPath; }

void MinimalHost_RegisterDrawingServices()
{
    static EntityFactory s_entities;
    static PartFactory s_parts;
    IServiceManager::singleton()->RegisterService(HXLServiceKey::EntityFactory, &s_entities);
    IServiceManager::singleton()->RegisterService(HXLServiceKey::PartFactory, &s_parts);
}

IZKDatabase* MinimalHost_NewDatabase() { return new Database(); }
void MinimalHost_DeleteDatabase(IZKDatabase* pDatabase) { delete static_cast<Database*>(pDatabase); }
IZKDbImage* MinimalHost_NewDbImage(int nWidth, int nHeight) { return new DbImage(nWidth, nHeight); }
IZKGePolyline* MinimalHost_NewPolyline() { return new Polyline(); }
IZKBound* MinimalHost_NewBound() { return new Bound(); }

// --- free functions -------------------------------------------------------------------------
std::string GetCurrentWorkPath() { return g_strWorkPath; }

bool IsFileExists(const std::string& strPath)
{
    std::ifstream file(strPath);
    return file.good();
}

int HXL_GetImageDpi() { return 96; }

void HXL_GetCurPos(double& dX, double& dY)
{
    dX = g_dMachineX;
    dY = g_dMachineY;
}

// The minimal machine arrives at once.
int HXL_MachineMoveTo(double dX, double dY)
{
    g_dMachineX = dX;
    g_dMachineY = dY;
    return 0;
}

void BatchReleasePolyline(std::vector<IZKGePolyline*>& vecPolylines)
{
    for (IZKGePolyline* pLine : vecPolylines)
        if (pLine)
            pLine->Release();
    vecPolylines.clear();
}
