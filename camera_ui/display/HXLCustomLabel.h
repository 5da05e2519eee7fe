#pragma once

#include <QLabel>
#include <QPoint>

// A picture label that reports mouse activity as signals carrying the
// position in the label's own coordinates, so that a host can react to clicks
// on a picture without subclassing. Mouse tracking stays off: moves arrive
// only while a button is held.
class HXLCustomLabel : public QLabel
{
    Q_OBJECT
public:
    explicit HXLCustomLabel(QWidget* parent);
    ~HXLCustomLabel() override;

signals:
    void sigClicked(QPoint pt);
    void sigRMouseDown(QPoint pt);
    void sigLMouseUp(QPoint pt);
    void sigRMouseUp(QPoint pt);
    void sigDbClicked();
    void sigMouseMove(QPoint pt);

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
};
