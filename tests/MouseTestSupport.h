#pragma once

// Mouse events sent straight to a widget: the button that changed and the
// buttons held are given separately, as the picture labels tell a drag from a
// hover by the buttons held.

#include <QApplication>
#include <QMouseEvent>
#include <QWidget>

namespace mouse_test {

inline void sendMouse(QWidget* pWidget, QEvent::Type type, Qt::MouseButton button, Qt::MouseButtons buttons,
                      const QPoint& pos)
{
    QMouseEvent event(type, pos, pWidget->mapToGlobal(pos), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(pWidget, &event);
}

inline void leftPress(QWidget* w, QPoint p) { sendMouse(w, QEvent::MouseButtonPress, Qt::LeftButton, Qt::LeftButton, p); }
inline void leftRelease(QWidget* w, QPoint p) { sendMouse(w, QEvent::MouseButtonRelease, Qt::LeftButton, Qt::NoButton, p); }
inline void leftDrag(QWidget* w, QPoint p) { sendMouse(w, QEvent::MouseMove, Qt::NoButton, Qt::LeftButton, p); }
inline void hover(QWidget* w, QPoint p) { sendMouse(w, QEvent::MouseMove, Qt::NoButton, Qt::NoButton, p); }
inline void rightPress(QWidget* w, QPoint p) { sendMouse(w, QEvent::MouseButtonPress, Qt::RightButton, Qt::RightButton, p); }
inline void rightRelease(QWidget* w, QPoint p) { sendMouse(w, QEvent::MouseButtonRelease, Qt::RightButton, Qt::NoButton, p); }

} // namespace mouse_test
