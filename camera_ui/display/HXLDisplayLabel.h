#pragma once

#include <QCursor>
#include <QLabel>
#include <QPoint>
#include <QRectF>

class IZKGePolyline;
struct ZKGePoint;

// The picture area of the camera panel and of the full-screen preview. Its
// owner puts the live picture on it; the label draws the host's calibration
// search range, the operator's selected search range (drawn anew, moved and
// resized here) and the rubber band of a range being drawn, and turns a right
// click into a machine move that brings the clicked point under the camera.
//
// The selected range lives as four fractions (left, right, bottom, top) of
// the picture fitted into the label, with y counted upward from the picture's
// bottom edge, as the host's vision feature library counts them.
class HXLDisplayLabel : public QLabel
{
    Q_OBJECT
public:
    explicit HXLDisplayLabel(QWidget* parent);
    ~HXLDisplayLabel() override;

    // Fits the current camera's picture into the label (nothing happens
    // while the host has no camera).
    void UpdateImageRect();
    // Rebuilds the selection rectangle from m_dSelectPer.
    void UpdateSelectRect();
    // Makes m_dSelectPer the module-wide committed range.
    void SaveSelectPer();

    // Bounding boxes of the picture, calibration range and selection in label
    // pixels; null rectangles while the outline has no vertex.
    QRectF imageRect() const;
    QRectF calibRect() const;
    QRectF selectRect() const;
    // Edit status: the selection is moved and resized, a right click commits it.
    bool isEditStatus() const { return m_IsSelect; }
    bool isDrawing() const { return m_bDrawing; }
    int hitHandle() const { return m_nHitHandle; }
    // Handle code under p (1 centre, 2..9 clockwise from the top-left corner, -1 none).
    int HitTest(const QPoint& p) const;

signals:
    // Declared for owners that connect to them; the label itself emits only sigDbClicked.
    void sigClicked(QPoint pt);
    void sigRMouseDown(QPoint pt);
    void sigLMouseUp(QPoint pt);
    void sigRMouseUp(QPoint pt);
    void sigDbClicked();
    void sigMouseMove(QPoint pt);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

public:
    // Recomputes the picture rectangle and both ranges from the settings and
    // the host. The event is not used: the owner calls this with null to
    // refresh everything (e.g. after the full-screen preview has closed).
    void resizeEvent(QResizeEvent* event) override;

private:
    void ClampPoint(QPoint& pt) const;
    void ClampPoint(ZKGePoint& pt) const;
    void ClampPolyline(IZKGePolyline* pLine) const;
    // Builds a closed rectangle on the picture from fractions (left, right, bottom, top).
    void BuildRectFromPer(IZKGePolyline* pLine, const double dPer[4]) const;
    // Fractions of the selection rectangle: stored, given to the host and
    // made the module-wide committed range.
    void CommitSelection();
    bool SelectionInsideImage() const;
    void MoveSelection();
    void ResizeSelection();
    // Moves the machine so that the picture point pt comes under the camera centre.
    void MoveMachineToPoint(const QPoint& pt);

    QPoint m_rectStart;
    QPoint m_rectEnd;
    QPoint m_pressPos;
    QPoint m_curPos;
    bool m_bDrawing = false;
    int m_bDbClick = 0;
    IZKGePolyline* m_pCalibRangeLine = nullptr;
    IZKGePolyline* m_pSelectLine = nullptr;
    IZKGePolyline* m_pImageRectLine = nullptr;
    bool m_IsSelect = false;
    int m_nHitHandle = -1;
    bool m_bDragging = false;
    QCursor m_cursor;

public:
    // Selected range: left, right, bottom, top. Public: the panel reads the
    // host's range straight into it before calling UpdateSelectRect.
    double m_dSelectPer[4] = {0.0, 0.0, 0.0, 0.0};

private:
    bool m_bImageRectValid = false;
};
