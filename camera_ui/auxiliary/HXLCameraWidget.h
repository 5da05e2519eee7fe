#pragma once

#include "HXL_CameraUI_global.h"

#include "host/IZKEventManger.h"

#include <QWidget>

class HXLCustomLabel;

// A simple camera page for hosts: a tab holding a picture label that reports
// clicks (its signals are the host's to connect) and a photograph button.
// Build it with InitDisplay() after construction. The widget is an event
// listener by type only; it joins no event channel.
class HXL_CAMERAUI_EXPORT HXLCameraWidget : public QWidget, public IZKEventListener
{
    Q_OBJECT
public:
    explicit HXLCameraWidget(QWidget* parent);
    ~HXLCameraWidget() override;

    void InitDisplay();

private:
    void* m_pReserved1 = nullptr;
    HXLCustomLabel* m_pCustomLabel = nullptr;
    void* m_pReserved2 = nullptr;
};
