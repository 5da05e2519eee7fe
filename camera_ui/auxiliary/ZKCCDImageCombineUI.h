#pragma once

#include "HXL_CameraUI_global.h"

#include <QDialog>

// Sets the stretch of machine travel along which the host's image-combine
// service stitches camera pictures, runs the combine and places the combined
// picture on the drawing (layer 210), then zooms the host view to it.
//
// The dialog keeps no state of its own: the four position fields are found
// again by their object names ("CombineStartPosX", "CombineStartPosY",
// "CombineEndPosX", "CombineEndPosY"), and the positions themselves live in
// the host's combine manager, so the next dialog shows the last values set.
// The host creates, shows and destroys it.
class HXL_CAMERAUI_EXPORT ZKCCDImageCombineUI : public QDialog
{
    Q_OBJECT
public:
    explicit ZKCCDImageCombineUI(QWidget* parent);
    ~ZKCCDImageCombineUI() override;

    // Builds the widgets and fills the fields from the combine manager.
    void InitDialog();

public slots:
    // Sends the fields to the combine manager, combines with camera 0 and, when
    // a picture comes back, places it on the drawing. Always accepts.
    void slotOk();
    // Closes without writing anything.
    void slotCancel();
    // Copy the machine's current X and Y into the start or end fields only;
    // the combine manager learns them on OK.
    void slotGetStartPos();
    void slotGetEndPos();
};
