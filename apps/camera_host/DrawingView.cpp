#include "DrawingView.h"

#include "HostSim.h"
#include "drawing/SimDrawing.h"

#include <QGraphicsPathItem>
#include <QGraphicsPixmapItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QSet>
#include <QShowEvent>
#include <QThread>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kMinPixelsPerMm = 0.05;
constexpr double kMaxPixelsPerMm = 1000.0;
constexpr double kSceneHalfMm = 20000.0;   // panning range
constexpr double kEmptyFitMm = 60.0;       // square shown around the machine when the drawing is empty

constexpr int kLayerContour = 480;
constexpr int kLayerRange = 360;

constexpr double kZImage = 0.0;
constexpr double kZPolyline = 1.0;
constexpr double kZField = 10.0;
constexpr double kZMarker = 11.0;

QColor layerColour(int nLayer)
{
    switch (nLayer) {
    case kLayerContour: return QColor(0, 110, 0);
    case kLayerRange: return QColor(0, 0, 255);
    default: return QColor(0, 0, 0);
    }
}

QPen cosmeticPen(const QColor& colour, qreal dWidth = 1.0, Qt::PenStyle style = Qt::SolidLine)
{
    QPen pen(colour, dWidth, style);
    pen.setCosmetic(true);
    return pen;
}

} // namespace

DrawingView::DrawingView(QWidget* pParent)
    : QGraphicsView(pParent)
    , m_pScene(new QGraphicsScene(this))
{
    m_pScene->setItemIndexMethod(QGraphicsScene::NoIndex);
    m_pScene->setSceneRect(-kSceneHalfMm, -kSceneHalfMm, 2 * kSceneHalfMm, 2 * kSceneHalfMm);
    setScene(m_pScene);
    setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    setDragMode(QGraphicsView::ScrollHandDrag);
    setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    setResizeAnchor(QGraphicsView::AnchorViewCenter);
    setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setMinimumSize(200, 150);

    // The field of view of the current camera, centred on the machine.
    m_pField = m_pScene->addRect(QRectF(), cosmeticPen(QColor(220, 0, 0), 1.0, Qt::DashLine));
    m_pField->setZValue(kZField);
    m_pField->setVisible(false);

    // The machine position: a cross in a circle, of constant size on screen.
    QPainterPath marker;
    marker.moveTo(-12, 0);
    marker.lineTo(12, 0);
    marker.moveTo(0, -12);
    marker.lineTo(0, 12);
    marker.addEllipse(QPointF(0, 0), 6, 6);
    m_pMarker = m_pScene->addPath(marker, cosmeticPen(QColor(230, 0, 0), 2.0));
    m_pMarker->setFlag(QGraphicsItem::ItemIgnoresTransformations, true);
    m_pMarker->setZValue(kZMarker);

    scale(10.0, 10.0);
    updateOverlay();
}

DrawingView::~DrawingView() = default;

double DrawingView::pixelsPerMm() const
{
    return transform().m11();
}

QRectF DrawingView::visibleMachineRect() const
{
    const QRectF rectScene = mapToScene(viewport()->rect()).boundingRect();
    return QRectF(rectScene.left(), -rectScene.bottom(), rectScene.width(), rectScene.height());
}

void DrawingView::rebuild()
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, &DrawingView::rebuild, Qt::QueuedConnection);
        return;
    }
    ++m_nRebuilds;
    for (QGraphicsItem* pItem : qAsConst(m_drawingItems)) {
        m_pScene->removeItem(pItem);
        delete pItem;
    }
    m_drawingItems.clear();
    m_nImages = 0;
    m_nPolylines = 0;

    QSet<qint64> usedPixmaps;
    QRectF rectItems;
    const std::vector<IZKEntity*>& entities = hostsim::HostSim::database().shapes().entities();
    for (IZKEntity* pEntity : entities) {
        if (!pEntity)
            continue;
        const int nLayer = pEntity->GetLayer() ? pEntity->GetLayer()->GetLayerId() : 0;

        if (auto* pImage = dynamic_cast<hostsim::SimDbImage*>(pEntity)) {
            const QImage& image = pImage->image();
            if (image.isNull() || !pImage->hasExtents())
                continue;
            double dMinX = 0, dMinY = 0, dMaxX = 0, dMaxY = 0;
            pImage->GetExtents(dMinX, dMinY, dMaxX, dMaxY);
            if (!(dMaxX > dMinX) || !(dMaxY > dMinY))
                continue;
            const qint64 nKey = image.cacheKey();
            auto it = m_pixmapCache.find(nKey);
            if (it == m_pixmapCache.end())
                it = m_pixmapCache.insert(nKey, QPixmap::fromImage(image));
            usedPixmaps.insert(nKey);
            const QPixmap& pixmap = it.value();
            auto* pItem = m_pScene->addPixmap(pixmap);
            pItem->setTransformationMode(Qt::SmoothTransformation);
            pItem->setShapeMode(QGraphicsPixmapItem::BoundingRectShape);
            // Pixmap pixel (0, 0) is the picture's top-left corner: machine (minX, maxY).
            pItem->setTransform(QTransform::fromScale((dMaxX - dMinX) / pixmap.width(),
                                                      (dMaxY - dMinY) / pixmap.height()));
            pItem->setPos(toScene(dMinX, dMaxY));
            pItem->setZValue(kZImage);
            m_drawingItems.append(pItem);
            rectItems |= pItem->sceneBoundingRect();
            ++m_nImages;
            continue;
        }

        if (auto* pPolyline = dynamic_cast<IZKGePolyline*>(pEntity)) {
            const int nCount = pPolyline->GetVertexCount();
            if (nCount <= 0)
                continue;
            QPainterPath path;
            for (int i = 0; i < nCount; ++i) {
                const ZKGePoint pt = pPolyline->GetVertexAt(i);
                if (i == 0)
                    path.moveTo(toScene(pt.x, pt.y));
                else
                    path.lineTo(toScene(pt.x, pt.y));
            }
            if (nCount == 1)
                path.lineTo(path.currentPosition()); // a dot
            auto* pItem = m_pScene->addPath(path, cosmeticPen(layerColour(nLayer)));
            pItem->setZValue(kZPolyline);
            m_drawingItems.append(pItem);
            rectItems |= path.boundingRect();
            ++m_nPolylines;
        }
    }

    // Forget pixmaps of pictures that left the drawing.
    for (auto it = m_pixmapCache.begin(); it != m_pixmapCache.end();) {
        if (usedPixmaps.contains(it.key()))
            ++it;
        else
            it = m_pixmapCache.erase(it);
    }

    // Keep everything drawn reachable by panning.
    const QRectF rectDefault(-kSceneHalfMm, -kSceneHalfMm, 2 * kSceneHalfMm, 2 * kSceneHalfMm);
    m_pScene->setSceneRect(rectDefault | rectItems.adjusted(-100, -100, 100, 100));
    viewport()->update();
}

void DrawingView::zoomToData()
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, &DrawingView::zoomToData, Qt::QueuedConnection);
        return;
    }
    QRectF rectScene;
    const hostsim::SimBound bound = hostsim::HostSim::database().extents();
    if (bound.IsValid()) {
        rectScene = QRectF(QPointF(bound.GetMinX(), -bound.GetMaxY()), QPointF(bound.GetMaxX(), -bound.GetMinY()));
        // A drawing that is a line or a point still gets some room around it.
        const double dMin = 1.0;
        if (rectScene.width() < dMin)
            rectScene.adjust(-(dMin - rectScene.width()) / 2, 0, (dMin - rectScene.width()) / 2, 0);
        if (rectScene.height() < dMin)
            rectScene.adjust(0, -(dMin - rectScene.height()) / 2, 0, (dMin - rectScene.height()) / 2);
        const double dMargin = 0.05 * std::max(rectScene.width(), rectScene.height());
        rectScene.adjust(-dMargin, -dMargin, dMargin, dMargin);
    } else {
        const QPointF ptCentre = toScene(m_dMachineX, m_dMachineY);
        rectScene = QRectF(ptCentre.x() - kEmptyFitMm / 2, ptCentre.y() - kEmptyFitMm / 2, kEmptyFitMm, kEmptyFitMm);
    }
    fitMachineRect(rectScene);
}

void DrawingView::fitMachineRect(const QRectF& rectScene)
{
    if (!isVisible() || viewport()->width() < 2 || viewport()->height() < 2) {
        m_bFitPending = true; // done again once the view has its size
        return;
    }
    m_bFitPending = false;
    fitInView(rectScene, Qt::KeepAspectRatio);
    clampZoom();
    centerOn(rectScene.center());
    viewport()->update();
}

void DrawingView::clampZoom()
{
    const double dScale = pixelsPerMm();
    if (dScale <= 0.0)
        return;
    const double dClamped = std::clamp(dScale, kMinPixelsPerMm, kMaxPixelsPerMm);
    if (dClamped != dScale) {
        const ViewportAnchor anchor = transformationAnchor();
        setTransformationAnchor(QGraphicsView::AnchorViewCenter);
        scale(dClamped / dScale, dClamped / dScale);
        setTransformationAnchor(anchor);
    }
}

void DrawingView::setMachinePosition(double dX, double dY)
{
    if (dX == m_dMachineX && dY == m_dMachineY)
        return;
    // Follow the machine when it leaves the view, unless the operator had
    // already panned it out of sight.
    const QRectF rectView = mapToScene(viewport()->rect()).boundingRect();
    const bool bWasVisible = rectView.contains(toScene(m_dMachineX, m_dMachineY));
    m_dMachineX = dX;
    m_dMachineY = dY;
    updateOverlay();
    if (isVisible() && !m_bFitPending && bWasVisible && !rectView.contains(toScene(dX, dY)))
        centerOn(toScene(dX, dY));
}

void DrawingView::setCameraField(double dWidthMm, double dHeightMm, double dOffsetXMm, double dOffsetYMm)
{
    if (dWidthMm == m_dFieldW && dHeightMm == m_dFieldH && dOffsetXMm == m_dFieldOffsetX
        && dOffsetYMm == m_dFieldOffsetY)
        return;
    m_dFieldW = dWidthMm;
    m_dFieldH = dHeightMm;
    m_dFieldOffsetX = dOffsetXMm;
    m_dFieldOffsetY = dOffsetYMm;
    updateOverlay();
}

void DrawingView::updateOverlay()
{
    const QPointF ptCentre = toScene(m_dMachineX, m_dMachineY);
    m_pMarker->setPos(ptCentre);
    if (m_dFieldW > 0.0 && m_dFieldH > 0.0) {
        const QPointF ptField = toScene(m_dMachineX + m_dFieldOffsetX, m_dMachineY + m_dFieldOffsetY);
        m_pField->setRect(QRectF(ptField.x() - m_dFieldW / 2, ptField.y() - m_dFieldH / 2, m_dFieldW, m_dFieldH));
        m_pField->setVisible(true);
    } else {
        m_pField->setVisible(false);
    }
}

void DrawingView::wheelEvent(QWheelEvent* pEvent)
{
    const int nDelta = pEvent->angleDelta().y();
    if (nDelta == 0) {
        pEvent->ignore();
        return;
    }
    const double dScale = pixelsPerMm();
    double dFactor = std::pow(1.0015, nDelta); // one notch (120) = x1.2
    dFactor = std::clamp(dScale * dFactor, kMinPixelsPerMm, kMaxPixelsPerMm) / dScale;
    // Keep the drawing point under the cursor in place.
    const QPointF ptView = pEvent->position();
    const QPointF ptScene = mapToScene(ptView.toPoint());
    const ViewportAnchor anchor = transformationAnchor();
    setTransformationAnchor(QGraphicsView::AnchorViewCenter);
    scale(dFactor, dFactor);
    setTransformationAnchor(anchor);
    const QPointF ptMoved = mapFromScene(ptScene) - ptView;
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + qRound(ptMoved.x()));
    verticalScrollBar()->setValue(verticalScrollBar()->value() + qRound(ptMoved.y()));
    m_bFitPending = false;
    pEvent->accept();
}

void DrawingView::drawBackground(QPainter* pPainter, const QRectF& rect)
{
    pPainter->fillRect(rect, QColor(250, 250, 248));

    // Grid pitch: 1, 2 or 5 x 10^k mm, at least 12 pixels apart; darker lines every 10^(k+1) mm.
    const double dScale = pixelsPerMm();
    if (dScale <= 0.0)
        return;
    const double dMinPitch = 12.0 / dScale;
    const double dDecade = std::pow(10.0, std::floor(std::log10(dMinPitch)));
    double dPitch = dDecade;
    for (double dStep : {1.0, 2.0, 5.0, 10.0}) {
        if (dDecade * dStep >= dMinPitch) {
            dPitch = dDecade * dStep;
            break;
        }
    }
    const double dMajor = std::pow(10.0, std::ceil(std::log10(dPitch * 1.0001)));
    const bool bMajorDiffers = dMajor > dPitch * 1.0001;

    if (rect.width() / dPitch > 4000 || rect.height() / dPitch > 4000)
        return;

    const QPen penMinor = cosmeticPen(QColor(232, 232, 232));
    const QPen penMajor = cosmeticPen(QColor(210, 210, 210));
    const QPen penAxis = cosmeticPen(QColor(170, 170, 170));
    pPainter->save();
    pPainter->setRenderHint(QPainter::Antialiasing, false);

    auto isMultiple = [](double dValue, double dOf) {
        const double dRatio = dValue / dOf;
        return std::fabs(dRatio - std::round(dRatio)) < 1e-6;
    };
    const double dX0 = std::floor(rect.left() / dPitch) * dPitch;
    for (double dX = dX0; dX <= rect.right(); dX += dPitch) {
        const double dSnapped = std::round(dX / dPitch) * dPitch;
        if (std::fabs(dSnapped) < dPitch * 1e-6)
            pPainter->setPen(penAxis);
        else if (bMajorDiffers && isMultiple(dSnapped, dMajor))
            pPainter->setPen(penMajor);
        else
            pPainter->setPen(bMajorDiffers ? penMinor : penMajor);
        pPainter->drawLine(QPointF(dSnapped, rect.top()), QPointF(dSnapped, rect.bottom()));
    }
    const double dY0 = std::floor(rect.top() / dPitch) * dPitch;
    for (double dY = dY0; dY <= rect.bottom(); dY += dPitch) {
        const double dSnapped = std::round(dY / dPitch) * dPitch;
        if (std::fabs(dSnapped) < dPitch * 1e-6)
            pPainter->setPen(penAxis);
        else if (bMajorDiffers && isMultiple(dSnapped, dMajor))
            pPainter->setPen(penMajor);
        else
            pPainter->setPen(bMajorDiffers ? penMinor : penMajor);
        pPainter->drawLine(QPointF(rect.left(), dSnapped), QPointF(rect.right(), dSnapped));
    }
    pPainter->restore();
}

void DrawingView::showEvent(QShowEvent* pEvent)
{
    QGraphicsView::showEvent(pEvent);
    if (m_bFitPending)
        zoomToData();
}

void DrawingView::resizeEvent(QResizeEvent* pEvent)
{
    QGraphicsView::resizeEvent(pEvent);
    if (m_bFitPending)
        zoomToData();
}
