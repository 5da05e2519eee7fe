#pragma once

#include "HostSimExport.h"

#include <QColor>
#include <QMutex>
#include <QPainterPath>
#include <QPointF>
#include <QString>
#include <QVector>

class QPainter;

namespace hostsim {

// The virtual workpiece under the camera: a 2D scene in machine millimetres
// (y upward). The simulated camera renders the part of it that its field of
// view covers around the machine position.
class HXL_HOSTSIM_EXPORT Workpiece
{
public:
    struct Cross { QPointF centre; double armMm; };
    struct Circle { QPointF centre; double radiusMm; };
    // A mark the machine's head made on the workpiece (a laser spot, a pen dot).
    struct Mark { QPointF centre; double diameterMm; };
    // The glyph outlines are made when the text is added (fonts belong to the
    // GUI thread); the camera thread only fills them.
    struct Text { QPointF anchor; double heightMm; QString text; QPainterPath path; };

    Workpiece();

    // The default scene: a 5 mm grid over +-150 mm, fiducial crosses at
    // (0, 0), (10, 5), (-12, -8), (40, 30), circles and labelled coordinates.
    void setDefault();
    void clear();
    void addCross(const QPointF& centreMm, double armMm);
    void addCircle(const QPointF& centreMm, double radiusMm);
    void addText(const QPointF& anchorMm, double heightMm, const QString& strText);
    void addMark(const QPointF& centreMm, double diameterMm);
    void setGrid(double dPitchMm, double dHalfSizeMm);

    QVector<Cross> crosses() const;
    QVector<Mark> marks() const;

    // Paints the scene on a painter whose transform maps millimetres to the
    // target (the caller sets it up); rectMm is the visible area.
    void paint(QPainter& painter, const QRectF& rectMm) const;

    QColor background() const { return m_clrBackground; }

private:
    mutable QMutex m_mutex;
    QColor m_clrBackground = QColor(232, 226, 210);
    QColor m_clrInk = QColor(20, 20, 20);
    double m_dGridPitch = 5.0;
    double m_dGridHalf = 150.0;
    QVector<Cross> m_crosses;
    QVector<Circle> m_circles;
    QVector<Text> m_texts;
    QVector<Mark> m_marks;
};

} // namespace hostsim
