// The host's drawing model: layers, entities with extents, polylines, bounds,
// and the layer helpers the panel calls.

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimApp.h"
#include "drawing/SimDrawing.h"

#include "host/HXL_HostFunctions.h"
#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"
#include "host/IZKDatabase.h"

#include <QTemporaryDir>
#include <QtTest>

using hostsim::HostSim;
using hostsim::SimPolyline;

namespace {
IZKEntityFactory* entityFactory()
{
    return dynamic_cast<IZKEntityFactory*>(IServiceManager::singleton()->m_mapService.at(HXLServiceKey::EntityFactory));
}
IZKPartFactory* partFactory()
{
    return dynamic_cast<IZKPartFactory*>(IServiceManager::singleton()->m_mapService.at(HXLServiceKey::PartFactory));
}
IZKGePolyline* rectangle(double x0, double y0, double x1, double y1)
{
    IZKGePolyline* p = entityFactory()->CreatePolyline();
    p->AddVertex(ZKGePoint(x0, y0));
    p->AddVertex(ZKGePoint(x1, y0));
    p->AddVertex(ZKGePoint(x1, y1));
    p->AddVertex(ZKGePoint(x0, y1));
    p->AddVertex(ZKGePoint(x0, y0));
    return p;
}
} // namespace

class TestDrawing : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
    }

    void polylineOperations()
    {
        const int nLiveBefore = SimPolyline::liveCount();
        IZKGePolyline* p = rectangle(10, 20, 30, 60);
        QCOMPARE(p->GetVertexCount(), 5);
        IZKBound* b = p->GetBound();
        QVERIFY(b && b->IsValid());
        QCOMPARE(b->GetMinX(), 10.0);
        QCOMPARE(b->GetMaxY(), 60.0);
        QCOMPARE(b->GetWidth(), 20.0);
        QCOMPARE(b->GetHeight(), 40.0);
        QCOMPARE(b->GetCenter().x, 20.0);
        QCOMPARE(b->GetCenter().y, 40.0);

        QVERIFY(p->IsPointOnCurve(ZKGePoint(20, 23.9), 4.0));  // 3.9 from the top edge
        QVERIFY(!p->IsPointOnCurve(ZKGePoint(20, 25.0), 4.0)); // 5 away
        QVERIFY(p->IsPointOnCurve(ZKGePoint(33.5, 40), 4.0));  // outside, 3.5 from the right edge

        p->Move(5, -5);
        QCOMPARE(p->GetBound()->GetMinX(), 15.0);
        QCOMPARE(p->GetBound()->GetMinY(), 15.0);
        p->Scale(ZKGePoint(15, 15), 2.0, 0.5);
        QCOMPARE(p->GetBound()->GetMaxX(), 55.0);
        QCOMPARE(p->GetBound()->GetMaxY(), 35.0);
        p->SetVertexAt(0, ZKGePoint(1, 2));
        QCOMPARE(p->GetVertexAt(0).x, 1.0);
        p->SetVertexAt(99, ZKGePoint(1, 2)); // ignored
        QCOMPARE(p->GetVertexAt(99).x, 0.0);

        IZKGePolyline* pCopy = p->Clone();
        QVERIFY(pCopy != p);
        QCOMPARE(pCopy->GetVertexCount(), 5);
        p->Clear();
        QCOMPARE(p->GetVertexCount(), 0);
        QCOMPARE(p->GetBound(), static_cast<IZKBound*>(nullptr));
        QCOMPARE(pCopy->GetVertexCount(), 5);
        QCOMPARE(SimPolyline::liveCount(), nLiveBefore + 2);
        std::vector<IZKGePolyline*> lines{p, pCopy};
        BatchReleasePolyline(lines);
        QVERIFY(lines.empty());
        QCOMPARE(SimPolyline::liveCount(), nLiveBefore);
    }

    void boundsFromThePartFactory()
    {
        IZKBound* b = partFactory()->CreateBound();
        QVERIFY(!b->IsValid());
        QCOMPARE(b->GetWidth(), 0.0);
        b->AddBound(nullptr);
        QVERIFY(!b->IsValid());
        hostsim::SimBound one(0, 0, 10, 5), two(-3, 2, 4, 8);
        b->AddBound(&one);
        b->AddBound(&two);
        QCOMPARE(b->GetMinX(), -3.0);
        QCOMPARE(b->GetMinY(), 0.0);
        QCOMPARE(b->GetMaxX(), 10.0);
        QCOMPARE(b->GetMaxY(), 8.0);
        b->Release();
    }

    void layersAndLayerHelpers()
    {
        IZKDatabase& db = HostSim::database();
        IZKLayerTable* pLayers = db.GetLayerTable();
        IZKShapeTable* pShapes = db.GetShapeTable();
        const int layers[] = {210, 360, 370, 380, 390, 400, 410, 480, 7};
        for (int nLayer : layers) {
            IZKGePolyline* p = rectangle(0, 0, nLayer, 1);
            p->SetLayer(pLayers->GetLayer(nLayer));
            pShapes->AppendEntity(p);
        }
        QCOMPARE(pShapes->GetEntityCount(), 9);
        QCOMPARE(pLayers->GetLayer(210), pLayers->GetLayer(210));
        QCOMPARE(pLayers->GetLayer(210)->GetLayerId(), 210);

        std::vector<IZKEntity*> on210;
        GetLayerData(&db, 210, on210);
        QCOMPARE(on210.size(), size_t(1));
        QCOMPARE(on210[0]->GetBound()->GetMaxX(), 210.0);

        ClearLayerData(&db, 210, true);
        QCOMPARE(pShapes->GetEntityCount(), 8);
        QCOMPARE(HostSim::database().updateCount(), 1);
        on210.clear();
        GetLayerData(&db, 210, on210);
        QVERIFY(on210.empty());

        ClearExceptLayer(&db, {210, 370, 380, 390, 400, 360, 410});
        QCOMPARE(pShapes->GetEntityCount(), 6); // 480 and 7 went
        QVERIFY(HostSim::database().entitiesOnLayer(480).empty());
        QVERIFY(HostSim::database().entitiesOnLayer(7).empty());
        QCOMPARE(HostSim::database().entitiesOnLayer(410).size(), size_t(1));
    }

    void releasingAnEntityTakesItOutOfTheDrawing()
    {
        IZKDatabase& db = HostSim::database();
        IZKGePolyline* p = rectangle(0, 0, 1, 1);
        db.GetShapeTable()->AppendEntity(p);
        QCOMPARE(p->GetLayer()->GetLayerId(), 0);
        QCOMPARE(db.GetShapeTable()->GetEntityCount(), 1);
        p->Release();
        QCOMPARE(db.GetShapeTable()->GetEntityCount(), 0);
    }

    void imageRangeIsARectangleOfFractions()
    {
        IZKDatabase& db = HostSim::database();
        hostsim::SimBound bound(100, 50, 125.6, 70.48); // a 25.6 x 20.48 mm picture
        HXL_AddImageRange(&db, &bound, db.GetShapeTable(), db.GetLayerTable(), 0.1, 0.9, 0.25, 0.75, 480);
        const std::vector<IZKEntity*> on480 = HostSim::database().entitiesOnLayer(480);
        QCOMPARE(on480.size(), size_t(1));
        auto* pLine = dynamic_cast<IZKGePolyline*>(on480[0]);
        QVERIFY(pLine);
        QCOMPARE(pLine->GetVertexCount(), 5);
        QCOMPARE(pLine->GetVertexAt(0).x, pLine->GetVertexAt(4).x);
        QCOMPARE(pLine->GetVertexAt(0).y, pLine->GetVertexAt(4).y);
        IZKBound* r = pLine->GetBound();
        QVERIFY(qFuzzyCompare(r->GetMinX(), 100 + 25.6 * 0.1));
        QVERIFY(qFuzzyCompare(r->GetMaxX(), 100 + 25.6 * 0.9));
        // y counted upward from the picture's bottom edge
        QVERIFY(qFuzzyCompare(r->GetMinY(), 50 + 20.48 * 0.25));
        QVERIFY(qFuzzyCompare(r->GetMaxY(), 50 + 20.48 * 0.75));
        // No bound, nothing drawn.
        HXL_AddImageRange(&db, nullptr, db.GetShapeTable(), db.GetLayerTable(), 0, 1, 0, 1, 360);
        QVERIFY(HostSim::database().entitiesOnLayer(360).empty());
    }

    void imagesCarryExtentsInMillimetres()
    {
        QImage picture(40, 20, QImage::Format_RGB888);
        picture.fill(Qt::red);
        auto* pImage = new hostsim::SimDbImage(picture);
        QCOMPARE(pImage->GetBound(), static_cast<IZKBound*>(nullptr));
        pImage->SetExtents(1.0, 2.0, 5.0, 4.0);
        pImage->SetLayer(HostSim::database().GetLayerTable()->GetLayer(210));
        HostSim::database().GetShapeTable()->AppendEntity(pImage);
        int w = 0, h = 0;
        pImage->GetImageSize(w, h);
        QCOMPARE(w, 40);
        QCOMPARE(h, 20);
        const hostsim::SimBound all = HostSim::database().extents();
        QCOMPARE(all.GetMinX(), 1.0);
        QCOMPARE(all.GetMaxY(), 4.0);
        IZKDbImage* pCopy = pImage->Clone();
        double x0, y0, x1, y1;
        pCopy->GetExtents(x0, y0, x1, y1);
        QCOMPARE(x1, 5.0);
        pCopy->Release();
    }

    void viewRefreshAndCommands()
    {
        int nRedraws = 0;
        int nZooms = 0;
        HostSim::view().setRedraw([&nRedraws](bool) { ++nRedraws; });
        HostSim::view().setZoomToData([&nZooms] { ++nZooms; });
        auto* pApp = dynamic_cast<ZKAppService*>(IServiceManager::singleton()->m_mapService.at(HXLServiceKey::AppService));
        QVERIFY(pApp);
        HostSim::journal().clear();
        pApp->GetMainApp()->GetDocument()->GetView()->RefreshView(true);
        QCOMPARE(HostSim::view().refreshCount(), 1);
        QCOMPARE(nRedraws, 1);
        QCOMPARE(pApp->GetMainApp()->RunCommand("ZoomToData"), 0);
        QCOMPARE(nZooms, 1);
        QVERIFY(pApp->GetMainApp()->RunCommand("NoSuchCommand") < 0);
        pApp->GetMainApp()->GetDocument()->GetDatabase()->UpdateDisplay();
        QCOMPARE(nRedraws, 2);
        QCOMPARE(HostSim::journal().lines().mid(0, 4),
                 QStringList({QStringLiteral("ZKAppService::GetMainApp()"),
                              QStringLiteral("ZKGloabVisionAppBase::GetDocument()"),
                              QStringLiteral("IZKDocument::GetView()"), QStringLiteral("IZKView::RefreshView(true)")}));
        HostSim::view().setRedraw(nullptr);
        HostSim::view().setZoomToData(nullptr);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestDrawing)
#include "tst_hostsim_drawing.moc"
