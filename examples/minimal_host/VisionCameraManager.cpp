// HXL_VisionCameraManager of the minimal host: a camera manager with one
// test-pattern camera, its image adapter and calibration, and the open-file flag.

#include "MinimalHost.h"

#include <host/HXL_HostFunctions.h>
#include <host/HXL_ServiceKeys.h>
#include <host/IZKDatabase.h>
#include <host/IZKVisionCameraManager.h>

#include <QImage>

#include <atomic>
#include <cstring>
#include <mutex>

IZKVisionCameraManager::~IZKVisionCameraManager() = default;
IZKVisionCamera::~IZKVisionCamera() = default;
IZKCameraCalibration::~IZKCameraCalibration() = default;
ImageAdapter::~ImageAdapter() = default;

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

std::atomic<long> g_nFramesDelivered{0};
bool g_bOpenFile = false;

// Eight vertical bars: red, green, blue, white, yellow, cyan, magenta, black.
void patternPixel(int x, unsigned char* pRgb)
{
    static const unsigned char kBars[8][3] = {{255, 0, 0},     {0, 255, 0},   {0, 0, 255},   {255, 255, 255},
                                              {255, 255, 0},   {0, 255, 255}, {255, 0, 255}, {0, 0, 0}};
    const unsigned char* pBar = kBars[(x * 8) / kWidth];
    std::memcpy(pRgb, pBar, 3);
}

// Picture buffers: 8-bit RGB, rows packed without padding.
class Adapter : public ImageAdapter
{
public:
    int ReadFile(std::string strPath) override
    {
        QImage image;
        if (!image.load(QString::fromLocal8Bit(strPath.c_str()))) {
            Release();
            return -1;
        }
        image = image.convertToFormat(QImage::Format_RGB888);
        setFromRows(image.width(), image.height(), [&](int y) { return image.constScanLine(y); });
        return 0;
    }
    void setSrcData() override { m_source = m_work; }
    void bufferUseSrc() override { m_work = m_source; }
    void Release() override { m_work = Picture(); }
    void ReleaseSrc() override { m_source = Picture(); }
    bool IsEmpty() override { return m_work.pixels.empty(); }
    unsigned char* GetBuffer() override { return m_work.pixels.empty() ? nullptr : m_work.pixels.data(); }
    int GetWidth() override { return m_work.nWidth; }
    int GetHeight() override { return m_work.nHeight; }
    int GetChannels() override { return 3; }
    IZKDbImage* CreateDbImage() override
    {
        return IsEmpty() ? nullptr : MinimalHost_NewDbImage(m_work.nWidth, m_work.nHeight);
    }

    // A fresh test pattern in the working buffer.
    void takePattern()
    {
        std::vector<unsigned char> row(size_t(kWidth) * 3);
        for (int x = 0; x < kWidth; ++x)
            patternPixel(x, row.data() + 3 * x);
        setFromRows(kWidth, kHeight, [&](int) { return row.data(); });
    }
    // The working buffer as a picture (for SaveImageFile).
    QImage image() const
    {
        return QImage(m_work.pixels.data(), m_work.nWidth, m_work.nHeight, m_work.nWidth * 3, QImage::Format_RGB888)
            .copy();
    }

private:
    struct Picture
    {
        int nWidth = 0;
        int nHeight = 0;
        std::vector<unsigned char> pixels;
    };
    template <class RowOf>
    void setFromRows(int nWidth, int nHeight, RowOf rowOf)
    {
        m_work.nWidth = nWidth;
        m_work.nHeight = nHeight;
        m_work.pixels.resize(size_t(nWidth) * 3 * size_t(nHeight));
        for (int y = 0; y < nHeight; ++y)
            std::memcpy(m_work.pixels.data() + size_t(y) * nWidth * 3, rowOf(y), size_t(nWidth) * 3);
    }
    Picture m_work;
    Picture m_source;
};

class Calibration : public IZKCameraCalibration
{
public:
    void ImageToMachine(double dPixelX, double dPixelY, double& dMachineX, double& dMachineY) override
    {
        double dX = 0, dY = 0;
        MinimalHost_GetCalibrationPosition(dX, dY);
        dMachineX = dX + (dPixelX - kWidth / 2.0) * kMinimalHostMmPerPixel;
        dMachineY = dY - (dPixelY - kHeight / 2.0) * kMinimalHostMmPerPixel;
    }
    void GetMmPerPixel(double& dX, double& dY) override { dX = dY = kMinimalHostMmPerPixel; }
    bool IsCalibrated() override { return true; }
};

// Called from the panel's video thread and from the GUI thread: everything it
// touches is either fixed or atomic.
class TestPatternCamera : public IZKVisionCamera
{
public:
    int StartGrab() override { return 0; }
    int StopGrab() override { return 0; }
    bool IsColorful() override { return true; }
    int GetImageWidth(bool) override { return kWidth; }
    int GetImageHeight(bool) override { return kHeight; }
    // Rows padded to 4 bytes: 640 x 3 is a multiple of 4 already, so the
    // stride is the row; written the general way all the same.
    int GrabImage(unsigned char* pBuffer) override
    {
        if (!pBuffer)
            return 2; // no frame asked for; the camera has not ended
        const int nStride = (kWidth * 3 + 3) & ~3;
        for (int y = 0; y < kHeight; ++y) {
            unsigned char* pRow = pBuffer + size_t(y) * nStride;
            for (int x = 0; x < kWidth; ++x)
                patternPixel(x, pRow + 3 * x);
            std::memset(pRow + kWidth * 3, 0, size_t(nStride - kWidth * 3));
        }
        ++g_nFramesDelivered;
        return 0;
    }
    ImageAdapter* GetImageAdapter() override { return &m_adapter; }
    void CreateParamWidget(QWidget*) override {}
    IZKCameraCalibration* GetCalibration() override { return &m_calibration; }
    std::string GetCameraName() override { return "test pattern"; }

    Adapter m_adapter;
    Calibration m_calibration;
};

class CameraManager : public IZKVisionCameraManager
{
public:
    ~CameraManager() override
    {
        if (m_pBound)
            m_pBound->Release();
    }
    int GetCameraCount() override { return 1; }
    int GetCurCameraIndex() override { return 0; }
    void SetCurCameraIndex(int) override {}
    IZKVisionCamera* GetCamera(int nIndex) override { return nIndex == 0 ? &m_camera : nullptr; }
    ImageAdapter* GetImageAdapter() override { return &m_camera.m_adapter; }
    int SaveImageFile(std::string strPath) override
    {
        m_camera.m_adapter.takePattern();
        m_camera.m_adapter.setSrcData();
        return m_camera.m_adapter.image().save(QString::fromLocal8Bit(strPath.c_str()), "JPG") ? 0 : -1;
    }
    // The picture's extent: centred on the position the module gave, at the
    // camera's scale, y upward.
    int CalibrateImages() override
    {
        Adapter& adapter = m_camera.m_adapter;
        if (adapter.IsEmpty())
            return -1;
        m_nCalWidth = adapter.GetWidth();
        m_nCalHeight = adapter.GetHeight();
        double dX = 0, dY = 0;
        MinimalHost_GetCalibrationPosition(dX, dY);
        if (!m_pBound)
            m_pBound = MinimalHost_NewBound();
        m_pBound->Reset();
        const double dHalfW = m_nCalWidth * kMinimalHostMmPerPixel / 2;
        const double dHalfH = m_nCalHeight * kMinimalHostMmPerPixel / 2;
        m_pBound->AddPoint(ZKGePoint(dX - dHalfW, dY - dHalfH));
        m_pBound->AddPoint(ZKGePoint(dX + dHalfW, dY + dHalfH));
        return 0;
    }
    IZKBound* GetCamerasCalImageBound() override { return m_pBound && m_pBound->IsValid() ? m_pBound : nullptr; }
    void GetCameraCalImageSize(int& nWidth, int& nHeight) override
    {
        nWidth = m_nCalWidth;
        nHeight = m_nCalHeight;
    }
    void GetImageSize(int nCamera, int& nWidth, int& nHeight) override
    {
        nWidth = nCamera == 0 ? kWidth : 0;
        nHeight = nCamera == 0 ? kHeight : 0;
    }
    // The minimal host's only processing: inversion.
    int PreprocessImage() override
    {
        Adapter& adapter = m_camera.m_adapter;
        if (!bIsInver || adapter.IsEmpty())
            return 0;
        unsigned char* p = adapter.GetBuffer();
        const size_t nBytes = size_t(adapter.GetWidth()) * adapter.GetHeight() * adapter.GetChannels();
        for (size_t i = 0; i < nBytes; ++i)
            p[i] = static_cast<unsigned char>(255 - p[i]);
        return 0;
    }
    int WriteSystemCFG() override { return 0; }
    void GetSearchRangeByModelName(const std::string&, std::vector<IZKGePolyline*>&) override {}
    void WorldToStandardImage(int, std::vector<IZKGePolyline*>&) override {}

private:
    TestPatternCamera m_camera;
    IZKBound* m_pBound = nullptr;
    int m_nCalWidth = 0;
    int m_nCalHeight = 0;
};

} // namespace

void MinimalHost_RegisterCameraManager()
{
    static CameraManager s_manager;
    IServiceManager::singleton()->RegisterService(HXLServiceKey::VisionCameraManager, &s_manager);
}

long MinimalHost_FramesDelivered() { return g_nFramesDelivered.load(); }

bool HXL_GetIsOpenFile() { return g_bOpenFile; }
void HXL_SetIsOpenFile(bool bOpenFile) { g_bOpenFile = bOpenFile; }
