#pragma once

#include "HXL_HostExport.h"
#include "IServiceManager.h"

#include <cstdint>
#include <string>
#include <vector>

class QWidget;
class IZKBound;
class IZKDbImage;
class IZKGePolyline;

// Picture buffers of a camera: the source picture as taken (or read from a
// file) and the working buffer that pre-processing changes. Pixels are 8-bit,
// RGB for colour pictures and one channel for gray, rows packed without padding.
class HXL_VISIONCAMERAMANAGER_EXPORT ImageAdapter
{
public:
    // Reads a JPEG, BMP or PNG file into the working buffer (the path is in
    // the local 8-bit encoding). 0 on success, negative when it cannot be read
    // (the buffer is then left empty).
    virtual int ReadFile(std::string strPath) = 0;
    // Keeps a copy of the working buffer as the source picture.
    virtual void setSrcData() = 0;
    // Puts the source picture back into the working buffer (before processing anew).
    virtual void bufferUseSrc() = 0;
    // Frees the working buffer / the source picture.
    virtual void Release() = 0;
    virtual void ReleaseSrc() = 0;
    // True when the working buffer holds no picture.
    virtual bool IsEmpty() = 0;
    // The working buffer's pixels, or null when empty.
    virtual unsigned char* GetBuffer() = 0;
    virtual int GetWidth() = 0;
    virtual int GetHeight() = 0;
    virtual int GetChannels() = 0;
    // A new picture entity holding a copy of the working buffer, owned by the
    // caller until appended to a shape table; null when the buffer is empty.
    virtual IZKDbImage* CreateDbImage() = 0;

protected:
    virtual ~ImageAdapter();
};

// Pixel-to-machine calibration of one camera.
class HXL_VISIONCAMERAMANAGER_EXPORT IZKCameraCalibration
{
public:
    // Machine millimetres of a picture point (pixels, y down) taken at the
    // machine position last given to MovableCam_SetCurMachineMmPos.
    virtual void ImageToMachine(double dPixelX, double dPixelY, double& dMachineX, double& dMachineY) = 0;
    // Size of one pixel in millimetres, along x and y.
    virtual void GetMmPerPixel(double& dMmPerPixelX, double& dMmPerPixelY) = 0;
    virtual bool IsCalibrated() = 0;

protected:
    virtual ~IZKCameraCalibration();
};

// One camera. Safe to call from a worker thread: grabs are serialised by the camera.
class HXL_VISIONCAMERAMANAGER_EXPORT IZKVisionCamera
{
public:
    // Starts streaming (idempotent). 0 on success.
    virtual int StartGrab() = 0;
    virtual int StopGrab() = 0;
    virtual bool IsColorful() = 0;
    // Frame size in pixels; 0 when unknown. bCurrent true asks for the size
    // the next grab delivers, false for the size of the last delivered frame.
    virtual int GetImageWidth(bool bCurrent) = 0;
    virtual int GetImageHeight(bool bCurrent) = 0;
    // Copies the newest frame into pBuffer, row after row, each row's pixels
    // (RGB, 3 bytes each, or gray, 1 byte) padded to a multiple of 4 bytes:
    // stride = (width x channels + 3) & ~3, stride x height bytes in all
    // (a 1001-pixel gray row takes 1004 bytes). 0 = a frame was copied,
    // other values = no frame.
    // With a null buffer nothing is copied: the answer is 1 when the camera has
    // ended for good (removed or closed), another non-zero value otherwise.
    virtual int GrabImage(unsigned char* pBuffer) = 0;
    virtual ImageAdapter* GetImageAdapter() = 0;
    // Fills pContainer (which has no layout yet) with the camera's own parameter controls.
    virtual void CreateParamWidget(QWidget* pContainer) = 0;
    virtual IZKCameraCalibration* GetCalibration() = 0;
    virtual std::string GetCameraName() = 0;

protected:
    virtual ~IZKVisionCamera();
};

// One step of the morphology list. bEnable is always 1 when written by the panel.
struct ZKMorphologyParam
{
    int32_t nMorphType = 0; // 0 none, 1 black add, 2 black delete, 3 white add, 4 white delete
    int32_t nLineSize = 1;  // 1..100
    int32_t bEnable = 1;
    int32_t nReserved = 0;  // host only
};

// The camera manager (registry key HXLServiceKey::VisionCameraManager).
//
// Besides its operations it carries the picture pre-processing record as plain
// public data members. Clients read and write them in place, without a lock;
// PreprocessImage reads them. Their order and widths are part of the interface:
// do not reorder, resize or insert record fields. The members marked "host"
// belong to the host and are not part of the record.
class HXL_VISIONCAMERAMANAGER_EXPORT IZKVisionCameraManager : public IService
{
public:
    virtual int GetCameraCount() = 0;
    virtual int GetCurCameraIndex() = 0;
    virtual void SetCurCameraIndex(int nIndex) = 0;
    // The camera at nIndex, or null.
    virtual IZKVisionCamera* GetCamera(int nIndex) = 0;
    // The image adapter of the current camera (null without camera).
    virtual ImageAdapter* GetImageAdapter() = 0;
    // Grabs the current camera's picture into its adapter (working buffer and
    // source) and writes it as a JPEG file. 0 on success.
    virtual int SaveImageFile(std::string strPath) = 0;
    // Calibrates the current adapter's picture at the machine position given to
    // MovableCam_SetCurMachineMmPos. 0 on success, negative on failure.
    virtual int CalibrateImages() = 0;
    // Extent in millimetres of the current camera's picture at the machine
    // position given to MovableCam_SetCurMachineMmPos; owned by the manager;
    // null when the camera is not calibrated.
    virtual IZKBound* GetCamerasCalImageBound() = 0;
    // Size in pixels of the picture that was calibrated last.
    virtual void GetCameraCalImageSize(int& nWidth, int& nHeight) = 0;
    // Frame size of camera nCamera (0, 0 when there is no such camera).
    virtual void GetImageSize(int nCamera, int& nWidth, int& nHeight) = 0;
    // Processes the current adapter's working buffer in place with the record below.
    virtual int PreprocessImage() = 0;
    // Saves the host configuration (the record included) in the work directory. 0 on success.
    virtual int WriteSystemCFG() = 0;
    // New polylines (owned by the caller) outlining the search ranges of a
    // locator model, in machine millimetres.
    virtual void GetSearchRangeByModelName(const std::string& strModelName, std::vector<IZKGePolyline*>& vecOutlines) = 0;
    // Converts polylines in place from machine millimetres to pixels of the
    // standard picture of camera nCamera (taken at the calibration position).
    virtual void WorldToStandardImage(int nCamera, std::vector<IZKGePolyline*>& vecPolylines) = 0;
    // Out of line in the host library: the type information that the
    // registry lookup casts to lives there, once.
    ~IZKVisionCameraManager() override;

public:
    // --- pre-processing record --------------------------------------------
    int32_t nSatMode = 0;
    int32_t nBriMode = 0;
    int32_t nGrayMode = 0;
    int32_t nGrayProMode = 0;
    int32_t nMode5 = 10;
    int32_t nMorphologyType = 0;
    int32_t nMorphologyW = 3;
    int32_t nMorphologyH = 3;
    bool bIsInver = false;
    bool bShowGray = false;
    int32_t nCfgVersion = 1;        // host: version of the saved configuration
    int32_t nSatValue = 50;
    int32_t nBriValue = 50;
    int32_t nGrayValue = 50;
    int32_t nBriWidth = 50;
    int32_t nGrayWidth = 50;
    int32_t nAdvancedSetting = 0;
    int32_t nGoInterfereValue = 10;
    int32_t nFilterMode = 0;
    int32_t nFilterMin = 0;
    int32_t nFilterMax = 255;
    int32_t nFilterPoleMode = 0;
    int32_t nFilterPoleValue = 128;
    int32_t nLastProcessMs = 0;     // host: duration of the last PreprocessImage
    int32_t bSharpening = 0;
    int32_t nSharpenKernel = 0;
    int32_t nAdvancedSetting1 = 0;
    std::vector<ZKMorphologyParam> vecMorphology;
    bool bGoInterfere = false;
    bool bGoInterfereDef = true;
    bool bGrayscaleEqualization = false;
    bool bGrayPro = false;
    bool bSatDef = true;
    bool bBriDef = true;
    int32_t nSatValueDef = 30;
    int32_t nBriValueDef = 30;
    int32_t nGrayValueDef = 50;
    int32_t nBriWidthDef = 50;
    int32_t nGrayWidthDef = 50;
    int32_t nGoInterfereValueDef = 10;
};
