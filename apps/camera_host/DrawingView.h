#pragma once

// The demo host's view of the drawing: pictures and polylines of the host
// database in machine millimetres, a light grid, the machine position and the
// current camera's field of view. Scene coordinates are millimetres with y
// flipped (scene y = -machine y), so machine +Y is up on screen.

#include <QGraphicsView>
#include <QHash>
#include <QList>
#include <QPixmap>
#include <QRectF>

class QGraphicsItem;
class QGraphicsPathItem;
class QGraphicsRectItem;
class QGraphicsScene;

class DrawingView : public QGraphicsView
{
    Q_OBJECT
public:
    explicit DrawingView(QWidget* pParent = nullptr);
    ~DrawingView() override;

    // Machine millimetres (y up) to scene coordinates and back.
    static QPointF toScene(double dX, double dY) { return QPointF(dX, -dY); }
    static QPointF toMachine(const QPointF& ptScene) { return QPointF(ptScene.x(), -ptScene.y()); }

    double pixelsPerMm() const;
    // Visible area in machine millimetres (y up: top() is the minimum y).
    QRectF visibleMachineRect() const;

    int imageItemCount() const { return m_nImages; }
    int polylineItemCount() const { return m_nPolylines; }
    int rebuildCount() const { return m_nRebuilds; }
    QPointF machinePosition() const { return QPointF(m_dMachineX, m_dMachineY); }

public slots:
    // Rebuilds the items from the host database.
    void rebuild();
    // Fits the drawing's extents (a 60 mm square around the machine when the drawing is empty).
    void zoomToData();
    void setMachinePosition(double dX, double dY);
    // Field of view of the current camera in millimetres, centred the offset
    // away from the machine position; 0 hides it.
    void setCameraField(double dWidthMm, double dHeightMm, double dOffsetXMm = 0.0, double dOffsetYMm = 0.0);

protected:
    void wheelEvent(QWheelEvent* pEvent) override;
    void drawBackground(QPainter* pPainter, const QRectF& rect) override;
    void showEvent(QShowEvent* pEvent) override;
    void resizeEvent(QResizeEvent* pEvent) override;

private:
    void fitMachineRect(const QRectF& rectScene);
    void clampZoom();
    void updateOverlay();

    QGraphicsScene* m_pScene;
    QList<QGraphicsItem*> m_drawingItems;
    QGraphicsPathItem* m_pMarker;
    QGraphicsRectItem* m_pField;
    QHash<qint64, QPixmap> m_pixmapCache;
    double m_dMachineX = 0.0;
    double m_dMachineY = 0.0;
    double m_dFieldW = 0.0;
    double m_dFieldH = 0.0;
    double m_dFieldOffsetX = 0.0;
    double m_dFieldOffsetY = 0.0;
    bool m_bFitPending = true;
    int m_nImages = 0;
    int m_nPolylines = 0;
    int m_nRebuilds = 0;
};
