#include "cameras/Workpiece.h"

#include <QGuiApplication>
#include <QMutexLocker>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace hostsim {

namespace {

struct TextPathCache
{
    QString text;
    QPainterPath path; // glyph outlines 100 units high, baseline at y = 0
};

// Glyph outlines need the GUI application's fonts; they are made once, on the
// thread that builds the scene, so that the camera thread only fills paths.
QPainterPath textPath(const QString& strText)
{
    QPainterPath path;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return path;
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(100);
    path.addText(0, 0, font, strText);
    return path;
}

} // namespace

Workpiece::Workpiece()
{
    setDefault();
}

void Workpiece::setDefault()
{
    clear();
    setGrid(5.0, 150.0);
    const QPointF fiducials[] = {{0, 0}, {10, 5}, {-12, -8}, {40, 30}, {-30, 20}, {25, -25}};
    for (const QPointF& pt : fiducials)
        addCross(pt, 2.0);
    addCircle({5, -5}, 1.5);
    addCircle({-6, 6}, 3.0);
    addCircle({15, 15}, 2.0);
    addCircle({-20, -20}, 4.0);
    for (int x = -100; x <= 100; x += 25)
        for (int y = -100; y <= 100; y += 25)
            addText(QPointF(x + 0.4, y + 0.4), 1.2, QStringLiteral("%1,%2").arg(x).arg(y));
}

void Workpiece::clear()
{
    QMutexLocker lock(&m_mutex);
    m_crosses.clear();
    m_circles.clear();
    m_texts.clear();
    m_marks.clear();
    m_dGridPitch = 0.0;
}

void Workpiece::addCross(const QPointF& centreMm, double armMm)
{
    QMutexLocker lock(&m_mutex);
    m_crosses.append({centreMm, armMm});
}

void Workpiece::addCircle(const QPointF& centreMm, double radiusMm)
{
    QMutexLocker lock(&m_mutex);
    m_circles.append({centreMm, radiusMm});
}

void Workpiece::addText(const QPointF& anchorMm, double heightMm, const QString& strText)
{
    const QPainterPath path = textPath(strText);
    QMutexLocker lock(&m_mutex);
    m_texts.append({anchorMm, heightMm, strText, path});
}

void Workpiece::setGrid(double dPitchMm, double dHalfSizeMm)
{
    QMutexLocker lock(&m_mutex);
    m_dGridPitch = dPitchMm;
    m_dGridHalf = dHalfSizeMm;
}

void Workpiece::addMark(const QPointF& centreMm, double diameterMm)
{
    QMutexLocker lock(&m_mutex);
    m_marks.append({centreMm, diameterMm});
}

QVector<Workpiece::Cross> Workpiece::crosses() const
{
    QMutexLocker lock(&m_mutex);
    return m_crosses;
}

QVector<Workpiece::Mark> Workpiece::marks() const
{
    QMutexLocker lock(&m_mutex);
    return m_marks;
}

void Workpiece::paint(QPainter& painter, const QRectF& rectMm) const
{
    QMutexLocker lock(&m_mutex);
    painter.fillRect(rectMm, m_clrBackground);
    painter.setRenderHint(QPainter::Antialiasing, true);

    // Grid: thin lines every pitch, heavier every fifth line.
    if (m_dGridPitch > 0.0) {
        const double p = m_dGridPitch;
        const double x0 = std::max(-m_dGridHalf, std::floor(rectMm.left() / p) * p);
        const double x1 = std::min(m_dGridHalf, std::ceil(rectMm.right() / p) * p);
        const double y0 = std::max(-m_dGridHalf, std::floor(rectMm.top() / p) * p);
        const double y1 = std::min(m_dGridHalf, std::ceil(rectMm.bottom() / p) * p);
        QPen thin(QColor(150, 150, 150), 0.04);
        QPen heavy(QColor(110, 110, 110), 0.10);
        for (double x = x0; x <= x1 + 1e-9; x += p) {
            const bool bMajor = std::fmod(std::abs(x) + 1e-9, 5 * p) < 1e-6;
            painter.setPen(bMajor ? heavy : thin);
            painter.drawLine(QPointF(x, std::max(y0, -m_dGridHalf)), QPointF(x, std::min(y1, m_dGridHalf)));
        }
        for (double y = y0; y <= y1 + 1e-9; y += p) {
            const bool bMajor = std::fmod(std::abs(y) + 1e-9, 5 * p) < 1e-6;
            painter.setPen(bMajor ? heavy : thin);
            painter.drawLine(QPointF(std::max(x0, -m_dGridHalf), y), QPointF(std::min(x1, m_dGridHalf), y));
        }
    }

    // Circles: filled dark discs with a light ring, easy to find by eye and by a locator.
    painter.setPen(QPen(m_clrInk, 0.12));
    for (const Circle& c : m_circles) {
        const QRectF box(c.centre.x() - c.radiusMm, c.centre.y() - c.radiusMm, 2 * c.radiusMm, 2 * c.radiusMm);
        if (!box.intersects(rectMm))
            continue;
        painter.setBrush(QColor(60, 90, 160));
        painter.drawEllipse(c.centre, c.radiusMm, c.radiusMm);
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(c.centre, c.radiusMm * 1.4, c.radiusMm * 1.4);
    }

    // Fiducial crosses: red-brown arms with a dot at the centre.
    for (const Cross& c : m_crosses) {
        const QRectF box(c.centre.x() - c.armMm, c.centre.y() - c.armMm, 2 * c.armMm, 2 * c.armMm);
        if (!box.intersects(rectMm))
            continue;
        painter.setPen(QPen(QColor(170, 30, 20), 0.15, Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(QPointF(c.centre.x() - c.armMm, c.centre.y()), QPointF(c.centre.x() + c.armMm, c.centre.y()));
        painter.drawLine(QPointF(c.centre.x(), c.centre.y() - c.armMm), QPointF(c.centre.x(), c.centre.y() + c.armMm));
    }

    // Coordinates written on the workpiece (upright in the picture).
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_clrInk);
    for (const Text& t : m_texts) {
        const QRectF box(t.anchor.x(), t.anchor.y(), t.heightMm * t.text.size(), t.heightMm);
        if (!box.intersects(rectMm))
            continue;
        if (t.path.isEmpty())
            continue;
        painter.save();
        painter.translate(t.anchor);
        const double k = t.heightMm / 100.0;
        painter.scale(k, -k); // the scene's y is up, glyphs are drawn y-down
        painter.drawPath(t.path);
        painter.restore();
    }

    // Marks of the head: dark round burns, over everything drawn so far.
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(35, 28, 24));
    for (const Mark& m : m_marks) {
        const double r = m.diameterMm / 2.0;
        if (!QRectF(m.centre.x() - r, m.centre.y() - r, 2 * r, 2 * r).intersects(rectMm))
            continue;
        painter.drawEllipse(m.centre, r, r);
    }
    painter.setBrush(Qt::NoBrush);
}

} // namespace hostsim
