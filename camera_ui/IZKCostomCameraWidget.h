#pragma once

#include "HXL_CameraUI_global.h"

class QWidget;

// The camera panel as the host sees it. The host makes it with NewInstance,
// calls the builder once, then places the widget in its own layouts and talks
// to the panel through host events.
class HXL_CAMERAUI_EXPORT IZKCostomCameraWidget
{
public:
    // A new panel with the given parent, or null when it cannot be made.
    static IZKCostomCameraWidget* NewInstance(QWidget* parent);

    // The panel itself, to be placed in the host's layouts.
    virtual QWidget* GetWidget() = 0;
    // Builds the widget tree, reads the initial parameter values and starts
    // the live video. Called once, after NewInstance, before the panel shows.
    virtual void InitWidget() = 0;

protected:
    // The panel is a widget: its parent (or the host, through GetWidget) deletes it.
    ~IZKCostomCameraWidget() = default;
};
