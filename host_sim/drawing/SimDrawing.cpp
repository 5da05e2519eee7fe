#include "drawing/SimDrawing.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimApp.h"

#include <QtGlobal>

#include <algorithm>
#include <atomic>
#include <cmath>

namespace hostsim {

namespace {
std::atomic<int> g_nLivePolylines{0};

double distanceToSegment(const ZKGePoint& p, const ZKGePoint& a, const ZKGePoint& b)
{
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double dLen2 = dx * dx + dy * dy;
    double t = dLen2 > 0.0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / dLen2 : 0.0;
    t = std::clamp(t, 0.0, 1.0);
    return std::hypot(p.x - (a.x + t * dx), p.y - (a.y + t * dy));
}
} // namespace

// --- SimBound -------------------------------------------------------------------

SimBound::SimBound(double dMinX, double dMinY, double dMaxX, double dMaxY)
{
    set(dMinX, dMinY, dMaxX, dMaxY);
}

SimBound::~SimBound() = default;

void SimBound::Release()
{
    HostSim::journal().append(QStringLiteral("IZKBound::Release()"));
    delete this;
}

ZKGePoint SimBound::GetCenter() const
{
    if (!m_bValid)
        return ZKGePoint();
    return ZKGePoint((m_dMinX + m_dMaxX) / 2.0, (m_dMinY + m_dMaxY) / 2.0, 0.0);
}

void SimBound::AddPoint(const ZKGePoint& pt)
{
    if (!m_bValid) {
        set(pt.x, pt.y, pt.x, pt.y);
        return;
    }
    m_dMinX = std::min(m_dMinX, pt.x);
    m_dMinY = std::min(m_dMinY, pt.y);
    m_dMaxX = std::max(m_dMaxX, pt.x);
    m_dMaxY = std::max(m_dMaxY, pt.y);
}

void SimBound::AddBound(const IZKBound* pOther)
{
    HostSim::journal().append(QStringLiteral("IZKBound::AddBound()"));
    if (!pOther || !pOther->IsValid())
        return;
    AddPoint(ZKGePoint(pOther->GetMinX(), pOther->GetMinY()));
    AddPoint(ZKGePoint(pOther->GetMaxX(), pOther->GetMaxY()));
}

void SimBound::set(double dMinX, double dMinY, double dMaxX, double dMaxY)
{
    m_bValid = true;
    m_dMinX = std::min(dMinX, dMaxX);
    m_dMaxX = std::max(dMinX, dMaxX);
    m_dMinY = std::min(dMinY, dMaxY);
    m_dMaxY = std::max(dMinY, dMaxY);
}

// --- SimLayer -----------------------------------------------------------------------

SimLayer::~SimLayer() = default;

std::string SimLayer::GetLayerName() const
{
    return "Layer " + std::to_string(m_nId);
}

// --- SimPolyline ---------------------------------------------------------------------

SimPolyline::SimPolyline()
{
    ++g_nLivePolylines;
}

SimPolyline::~SimPolyline()
{
    --g_nLivePolylines;
}

int SimPolyline::liveCount()
{
    return g_nLivePolylines.load();
}

SimPolyline* SimPolyline::Clone() const
{
    HostSim::journal().append(QStringLiteral("IZKGePolyline::Clone()"));
    auto* pCopy = new SimPolyline();
    pCopy->m_vertices = m_vertices;
    pCopy->m_pLayer = m_pLayer;
    return pCopy;
}

void SimPolyline::Release()
{
    HostSim::journal().append(QStringLiteral("IZKGePolyline::Release()"));
    if (m_pOwner)
        m_pOwner->forget(this);
    delete this;
}

IZKBound* SimPolyline::GetBound()
{
    if (m_vertices.empty())
        return nullptr;
    m_bound.Reset();
    for (const ZKGePoint& pt : m_vertices)
        m_bound.AddPoint(pt);
    return &m_bound;
}

bool SimPolyline::IsPointOnCurve(const ZKGePoint& pt, double dTolerance) const
{
    if (m_vertices.empty())
        return false;
    if (m_vertices.size() == 1)
        return std::hypot(pt.x - m_vertices[0].x, pt.y - m_vertices[0].y) <= dTolerance;
    for (size_t i = 1; i < m_vertices.size(); ++i)
        if (distanceToSegment(pt, m_vertices[i - 1], m_vertices[i]) <= dTolerance)
            return true;
    return false;
}

void SimPolyline::Move(double dx, double dy)
{
    for (ZKGePoint& pt : m_vertices) {
        pt.x += dx;
        pt.y += dy;
    }
}

void SimPolyline::Scale(const ZKGePoint& ptBase, double sx, double sy)
{
    for (ZKGePoint& pt : m_vertices) {
        pt.x = ptBase.x + (pt.x - ptBase.x) * sx;
        pt.y = ptBase.y + (pt.y - ptBase.y) * sy;
    }
}

void SimPolyline::AddVertex(const ZKGePoint& pt)
{
    m_vertices.push_back(pt);
}

void SimPolyline::SetVertexAt(int nIndex, const ZKGePoint& pt)
{
    if (nIndex >= 0 && nIndex < static_cast<int>(m_vertices.size()))
        m_vertices[static_cast<size_t>(nIndex)] = pt;
}

ZKGePoint SimPolyline::GetVertexAt(int nIndex) const
{
    if (nIndex >= 0 && nIndex < static_cast<int>(m_vertices.size()))
        return m_vertices[static_cast<size_t>(nIndex)];
    return ZKGePoint();
}

int SimPolyline::GetVertexCount() const
{
    return static_cast<int>(m_vertices.size());
}

void SimPolyline::Clear()
{
    m_vertices.clear();
}

// --- SimDbImage ------------------------------------------------------------------------

SimDbImage::SimDbImage(const QImage& image) : m_image(image) {}

SimDbImage::~SimDbImage() = default;

SimDbImage* SimDbImage::Clone() const
{
    HostSim::journal().append(QStringLiteral("IZKDbImage::Clone()"));
    auto* pCopy = new SimDbImage(m_image);
    pCopy->m_pLayer = m_pLayer;
    pCopy->m_bHasExtents = m_bHasExtents;
    pCopy->m_dMinX = m_dMinX;
    pCopy->m_dMinY = m_dMinY;
    pCopy->m_dMaxX = m_dMaxX;
    pCopy->m_dMaxY = m_dMaxY;
    return pCopy;
}

void SimDbImage::Release()
{
    HostSim::journal().append(QStringLiteral("IZKDbImage::Release()"));
    if (m_pOwner)
        m_pOwner->forget(this);
    delete this;
}

IZKBound* SimDbImage::GetBound()
{
    if (!m_bHasExtents)
        return nullptr;
    m_bound.set(m_dMinX, m_dMinY, m_dMaxX, m_dMaxY);
    return &m_bound;
}

void SimDbImage::SetExtents(double dMinX, double dMinY, double dMaxX, double dMaxY)
{
    HostSim::journal().append(QStringLiteral("IZKDbImage::SetExtents(%1, %2, %3, %4)")
                                  .arg(jnum(dMinX), jnum(dMinY), jnum(dMaxX), jnum(dMaxY)));
    m_bHasExtents = true;
    m_dMinX = dMinX;
    m_dMinY = dMinY;
    m_dMaxX = dMaxX;
    m_dMaxY = dMaxY;
}

void SimDbImage::GetExtents(double& dMinX, double& dMinY, double& dMaxX, double& dMaxY) const
{
    dMinX = m_dMinX;
    dMinY = m_dMinY;
    dMaxX = m_dMaxX;
    dMaxY = m_dMaxY;
}

void SimDbImage::GetImageSize(int& nWidth, int& nHeight) const
{
    nWidth = m_image.width();
    nHeight = m_image.height();
}

// --- tables ------------------------------------------------------------------------------

SimLayerTable::~SimLayerTable() = default;

IZKLayer* SimLayerTable::GetLayer(int nLayerId)
{
    auto& pLayer = m_layers[nLayerId];
    if (!pLayer)
        pLayer = std::make_unique<SimLayer>(nLayerId);
    return pLayer.get();
}

int SimLayerTable::GetLayerCount() const
{
    return static_cast<int>(m_layers.size());
}

IZKLayer* SimLayerTable::GetLayerAt(int nIndex) const
{
    if (nIndex < 0 || nIndex >= static_cast<int>(m_layers.size()))
        return nullptr;
    auto it = m_layers.begin();
    std::advance(it, nIndex);
    return it->second.get();
}

void SimLayerTable::clear()
{
    m_layers.clear();
}

SimShapeTable::~SimShapeTable()
{
    clear();
}

void SimShapeTable::AppendEntity(IZKEntity* pEntity)
{
    if (!pEntity)
        return;
    HostSim::journal().append(QStringLiteral("IZKShapeTable::AppendEntity(%1, layer %2)")
                                  .arg(pEntity->GetEntityType() == ZKEntity_Image ? "image" : "polyline")
                                  .arg(pEntity->GetLayer() ? pEntity->GetLayer()->GetLayerId() : 0));
    if (!pEntity->GetLayer())
        pEntity->SetLayer(m_pOwner->layers().GetLayer(0));
    if (auto* pLine = dynamic_cast<SimPolyline*>(pEntity))
        pLine->setOwner(m_pOwner);
    else if (auto* pImage = dynamic_cast<SimDbImage*>(pEntity))
        pImage->setOwner(m_pOwner);
    m_entities.push_back(pEntity);
}

bool SimShapeTable::RemoveEntity(IZKEntity* pEntity)
{
    auto it = std::find(m_entities.begin(), m_entities.end(), pEntity);
    if (it == m_entities.end())
        return false;
    m_entities.erase(it);
    if (auto* pLine = dynamic_cast<SimPolyline*>(pEntity))
        pLine->setOwner(nullptr);
    else if (auto* pImage = dynamic_cast<SimDbImage*>(pEntity))
        pImage->setOwner(nullptr);
    return true;
}

int SimShapeTable::GetEntityCount() const
{
    return static_cast<int>(m_entities.size());
}

IZKEntity* SimShapeTable::GetEntityAt(int nIndex) const
{
    if (nIndex < 0 || nIndex >= static_cast<int>(m_entities.size()))
        return nullptr;
    return m_entities[static_cast<size_t>(nIndex)];
}

void SimShapeTable::clear()
{
    std::vector<IZKEntity*> entities;
    entities.swap(m_entities);
    for (IZKEntity* pEntity : entities) {
        if (auto* pLine = dynamic_cast<SimPolyline*>(pEntity))
            pLine->setOwner(nullptr);
        else if (auto* pImage = dynamic_cast<SimDbImage*>(pEntity))
            pImage->setOwner(nullptr);
        if (auto* pLine = dynamic_cast<SimPolyline*>(pEntity))
            delete pLine;
        else if (auto* pImage = dynamic_cast<SimDbImage*>(pEntity))
            delete pImage;
    }
}

// --- SimDatabase -------------------------------------------------------------------------

SimDatabase::SimDatabase() : m_shapes(this) {}

SimDatabase::~SimDatabase()
{
    m_shapes.clear();
}

IZKShapeTable* SimDatabase::GetShapeTable()
{
    HostSim::journal().append(QStringLiteral("IZKDatabase::GetShapeTable()"));
    return &m_shapes;
}

IZKLayerTable* SimDatabase::GetLayerTable()
{
    HostSim::journal().append(QStringLiteral("IZKDatabase::GetLayerTable()"));
    return &m_layers;
}

void SimDatabase::Update()
{
    HostSim::journal().append(QStringLiteral("IZKDatabase::Update()"));
    ++m_nUpdates;
}

void SimDatabase::UpdateDisplay()
{
    HostSim::journal().append(QStringLiteral("IZKDatabase::UpdateDisplay()"));
    ++m_nDisplayUpdates;
    HostSim::view().redraw();
}

void SimDatabase::clear()
{
    m_shapes.clear();
    m_layers.clear();
    m_nUpdates = 0;
    m_nDisplayUpdates = 0;
}

std::vector<IZKEntity*> SimDatabase::entitiesOnLayer(int nLayer) const
{
    std::vector<IZKEntity*> result;
    for (IZKEntity* pEntity : m_shapes.entities())
        if (pEntity->GetLayer() && pEntity->GetLayer()->GetLayerId() == nLayer)
            result.push_back(pEntity);
    return result;
}

SimBound SimDatabase::extents() const
{
    SimBound bound;
    for (IZKEntity* pEntity : m_shapes.entities()) {
        const IZKBound* pOne = pEntity->GetBound();
        if (!pOne)
            continue;
        bound.AddPoint(ZKGePoint(pOne->GetMinX(), pOne->GetMinY()));
        bound.AddPoint(ZKGePoint(pOne->GetMaxX(), pOne->GetMaxY()));
    }
    return bound;
}

void SimDatabase::forget(IZKEntity* pEntity)
{
    m_shapes.RemoveEntity(pEntity);
}

void SimDatabase::destroy(IZKEntity* pEntity)
{
    m_shapes.RemoveEntity(pEntity);
    if (auto* pLine = dynamic_cast<SimPolyline*>(pEntity))
        delete pLine;
    else if (auto* pImage = dynamic_cast<SimDbImage*>(pEntity))
        delete pImage;
}

} // namespace hostsim
