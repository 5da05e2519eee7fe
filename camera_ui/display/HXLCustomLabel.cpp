#include "HXLCustomLabel.h"

#include "HXL_ModuleGlobals.h"

#include <QMouseEvent>

HXLCustomLabel::HXLCustomLabel(QWidget* parent) : QLabel(nullptr, Qt::WindowFlags())
{
    setParent(parent);
}

HXLCustomLabel::~HXLCustomLabel() = default;

bool HXLCustomLabel::event(QEvent* event)
{
    // The base class goes on to turn the double click into one more press,
    // so a double click also reports a click.
    if (event->type() == QEvent::MouseButtonDblClick)
        emit sigDbClicked();
    return QLabel::event(event);
}

void HXLCustomLabel::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        emit sigClicked(event->pos());
    else if (event->button() == Qt::RightButton)
        emit sigRMouseDown(event->pos());
}

void HXLCustomLabel::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        emit sigLMouseUp(event->pos());
    else if (event->button() == Qt::RightButton)
        emit sigRMouseUp(event->pos());
}

void HXLCustomLabel::mouseMoveEvent(QMouseEvent* event)
{
    emit sigMouseMove(event->pos());
}
