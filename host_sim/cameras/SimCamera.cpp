#include "cameras/SimCamera.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "HostState.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"
#include "cameras/PictureFile.h"
#include "cameras/Workpiece.h"

#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QMutexLocker>
#include <QPainter>
#include <QSlider>
#include <QWidget>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace hostsim {

namespace {

cv::Mat matFromImage(const QImage& image)
{
    if (image.isNull())
        return cv::Mat();
    const bool bGray = image.format() == QImage::Format_Grayscale8 || image.allGray();
    if (bGray) {
        const QImage gray = image.convertToFormat(QImage::Format_Grayscale8);
        cv::Mat wrapped(gray.height(), gray.width(), CV_8UC1, const_cast<uchar*>(gray.constBits()),
                        static_cast<size_t>(gray.bytesPerLine()));
        return wrapped.clone();
    }
    const QImage rgb = image.convertToFormat(QImage::Format_RGB888);
    cv::Mat wrapped(rgb.height(), rgb.width(), CV_8UC3, const_cast<uchar*>(rgb.constBits()),
                    static_cast<size_t>(rgb.bytesPerLine()));
    return wrapped.clone();
}

CameraModel mountOf(const CameraSetup& setup)
{
    CameraModel mount = CameraModel::plain(setup.mmPerPixel);
    if (setup.mmPerPixelY > 0.0)
        mount.mmPerPixelY = setup.mmPerPixelY;
    mount.rotationDeg = setup.rotationDeg;
    mount.mirrored = setup.mirrored;
    mount.offsetX = setup.offsetX;
    mount.offsetY = setup.offsetY;
    return mount;
}

} // namespace

// --- SimImageAdapter ---------------------------------------------------------

SimImageAdapter::SimImageAdapter() = default;
SimImageAdapter::~SimImageAdapter() = default;

int SimImageAdapter::ReadFile(std::string strPath)
{
    const QString path = QString::fromLocal8Bit(strPath.c_str());
    HostSim::journal().append(QStringLiteral("ImageAdapter::ReadFile(%1)").arg(path));
    QImage image;
    QString why;
    if (!readPictureFile(path, image, &why)) {
        m_buffer.release();
        HostSim::tellOperator(QStringLiteral("picture %1 not read: %2").arg(QFileInfo(path).fileName(), why));
        return -1;
    }
    hostState().nImageDpi = image.dotsPerMeterX() > 0 ? qRound(image.dotsPerMeterX() * 0.0254) : 96;
    m_buffer = matFromImage(image);
    return 0;
}

void SimImageAdapter::setSrcData()
{
    HostSim::journal().append(QStringLiteral("ImageAdapter::setSrcData()"));
    m_source = m_buffer.clone();
}

void SimImageAdapter::bufferUseSrc()
{
    HostSim::journal().append(QStringLiteral("ImageAdapter::bufferUseSrc()"));
    m_buffer = m_source.clone();
}

void SimImageAdapter::Release()
{
    HostSim::journal().append(QStringLiteral("ImageAdapter::Release()"));
    m_buffer.release();
}

void SimImageAdapter::ReleaseSrc()
{
    HostSim::journal().append(QStringLiteral("ImageAdapter::ReleaseSrc()"));
    m_source.release();
}

bool SimImageAdapter::IsEmpty()
{
    HostSim::journal().append(QStringLiteral("ImageAdapter::IsEmpty()"));
    return m_buffer.empty();
}

unsigned char* SimImageAdapter::GetBuffer()
{
    HostSim::journal().append(QStringLiteral("ImageAdapter::GetBuffer()"));
    return m_buffer.empty() ? nullptr : m_buffer.data;
}

int SimImageAdapter::GetWidth()
{
    return m_buffer.cols;
}

int SimImageAdapter::GetHeight()
{
    return m_buffer.rows;
}

int SimImageAdapter::GetChannels()
{
    return m_buffer.empty() ? 0 : m_buffer.channels();
}

IZKDbImage* SimImageAdapter::CreateDbImage()
{
    HostSim::journal().append(QStringLiteral("ImageAdapter::CreateDbImage()"));
    if (m_buffer.empty())
        return nullptr;
    return new SimDbImage(imageFromFrame(m_buffer));
}

void SimImageAdapter::setBuffer(const cv::Mat& image)
{
    m_buffer = image.clone();
}

QImage SimImageAdapter::bufferImage() const
{
    return imageFromFrame(m_buffer);
}

// --- SimCamera -------------------------------------------------------------------

SimCamera::SimCamera(const CameraSetup& setup, SimMachine* pMachine, Workpiece* pWorkpiece)
    : m_setup(setup), m_pMachine(pMachine), m_pWorkpiece(pWorkpiece), m_noise(setup.noiseSeed)
{
    if (m_setup.source == FrameSource::Picture && !setSource(FrameSource::Picture, m_setup.picturePath))
        m_setup.source = FrameSource::TestPattern;
    m_bReportedColour = m_setup.colour;
    m_nReportedWidth = m_setup.width;
    m_nReportedHeight = m_setup.height;
}

SimCamera::~SimCamera() = default;

QString SimCamera::tag() const
{
    return QStringLiteral(" [%1]").arg(m_setup.name);
}

int SimCamera::StartGrab()
{
    QMutexLocker lock(&m_mutex);
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::StartGrab()") + tag());
    if (m_bEnded)
        return -1;
    m_bGrabbing = true;
    return 0;
}

int SimCamera::StopGrab()
{
    QMutexLocker lock(&m_mutex);
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::StopGrab()") + tag());
    m_bGrabbing = false;
    return 0;
}

bool SimCamera::IsColorful()
{
    QMutexLocker lock(&m_mutex);
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::IsColorful()") + tag());
    m_bReportedColour = m_setup.colour;
    return m_setup.colour;
}

int SimCamera::GetImageWidth(bool bCurrent)
{
    QMutexLocker lock(&m_mutex);
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GetImageWidth(%1)").arg(bCurrent) + tag());
    if (m_bZeroSize)
        return 0;
    if (bCurrent)
        m_nReportedWidth = m_setup.width;
    return bCurrent ? m_setup.width : m_nLastWidth;
}

int SimCamera::GetImageHeight(bool bCurrent)
{
    QMutexLocker lock(&m_mutex);
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GetImageHeight(%1)").arg(bCurrent) + tag());
    if (m_bZeroSize)
        return 0;
    if (bCurrent)
        m_nReportedHeight = m_setup.height;
    return bCurrent ? m_setup.height : m_nLastHeight;
}

int SimCamera::GrabImage(unsigned char* pBuffer)
{
    QMutexLocker lock(&m_mutex);
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::GrabImage(%1)").arg(pBuffer ? "buffer" : "null") +
                              tag());
    if (m_bEnded)
        return 1;
    if (!pBuffer)
        return 2;
    if (m_bGrabFails || m_bZeroSize)
        return 2;
    // The frame changed size or depth since the client asked: its buffer is
    // sized for the old one. Refused (like a real camera's frame of another
    // format); the client asks again before its next grab.
    if (m_setup.width != m_nReportedWidth || m_setup.height != m_nReportedHeight
        || m_setup.colour != m_bReportedColour)
        return 2;
    double dX = 0.0, dY = 0.0;
    m_pMachine->position(dX, dY);
    const cv::Mat frame = renderLocked(dX, dY);
    if (frame.cols != m_nReportedWidth || frame.rows != m_nReportedHeight
        || frame.channels() != (m_bReportedColour ? 3 : 1))
        return 2;
    writeFrameRows(frame, pBuffer);
    m_nLastWidth = frame.cols;
    m_nLastHeight = frame.rows;
    ++m_nGrabCount;
    return 0;
}

int SimCamera::grabFrame(cv::Mat& frame)
{
    QMutexLocker lock(&m_mutex);
    if (m_bEnded)
        return 1;
    if (m_bGrabFails || m_bZeroSize)
        return 2;
    double dX = 0.0, dY = 0.0;
    m_pMachine->position(dX, dY);
    frame = renderLocked(dX, dY).clone();
    m_nLastWidth = frame.cols;
    m_nLastHeight = frame.rows;
    ++m_nGrabCount;
    return 0;
}

void SimCamera::CreateParamWidget(QWidget* pContainer)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::CreateParamWidget()") + tag());
    if (!pContainer)
        return;
    auto* pLayout = new QFormLayout(pContainer);

    auto* pExposure = new QSlider(Qt::Horizontal, pContainer);
    pExposure->setObjectName(QStringLiteral("SimCameraExposure"));
    pExposure->setRange(100, 100000);
    pExposure->setSingleStep(100);
    pExposure->setPageStep(1000);
    pExposure->setValue(exposureUs());
    auto* pExposureText = new QLabel(QStringLiteral("%1 us").arg(exposureUs()), pContainer);
    QObject::connect(pExposure, &QSlider::valueChanged, pContainer, [this, pExposureText](int nValue) {
        setExposureUs(nValue);
        pExposureText->setText(QStringLiteral("%1 us").arg(nValue));
    });
    pLayout->addRow(QObject::tr("Exposure"), pExposure);
    pLayout->addRow(QString(), pExposureText);

    auto* pGain = new QDoubleSpinBox(pContainer);
    pGain->setObjectName(QStringLiteral("SimCameraGain"));
    pGain->setRange(0.0, 24.0);
    pGain->setSingleStep(0.5);
    pGain->setSuffix(QStringLiteral(" dB"));
    pGain->setValue(gainDb());
    QObject::connect(pGain, QOverload<double>::of(&QDoubleSpinBox::valueChanged), pContainer,
                     [this](double dValue) { setGainDb(dValue); });
    pLayout->addRow(QObject::tr("Gain"), pGain);

    const CameraSetup s = setup();
    pLayout->addRow(QObject::tr("Frame"), new QLabel(QStringLiteral("%1 x %2 %3")
                                                          .arg(s.width)
                                                          .arg(s.height)
                                                          .arg(s.colour ? QStringLiteral("RGB8")
                                                                        : QStringLiteral("Mono8")),
                                                      pContainer));
}

std::string SimCamera::GetCameraName()
{
    QMutexLocker lock(&m_mutex);
    return m_setup.name.toStdString();
}

int SimCamera::frameWidth() const
{
    QMutexLocker lock(&m_mutex);
    return m_setup.width;
}

int SimCamera::frameHeight() const
{
    QMutexLocker lock(&m_mutex);
    return m_setup.height;
}

bool SimCamera::isCalibrated() const
{
    QMutexLocker lock(&m_mutex);
    return m_setup.calibrated;
}

CameraSetup SimCamera::setup() const
{
    QMutexLocker lock(&m_mutex);
    return m_setup;
}

void SimCamera::setSetup(const CameraSetup& setup)
{
    QMutexLocker lock(&m_mutex);
    m_setup = setup;
    m_noise = cv::RNG(setup.noiseSeed);
    touchLocked();
}

CameraModel SimCamera::mount() const
{
    QMutexLocker lock(&m_mutex);
    return mountOf(m_setup);
}

void SimCamera::setFrameSize(int nWidth, int nHeight)
{
    QMutexLocker lock(&m_mutex);
    m_setup.width = qMax(1, nWidth);
    m_setup.height = qMax(1, nHeight);
    touchLocked();
}

void SimCamera::setColour(bool bColour)
{
    QMutexLocker lock(&m_mutex);
    m_setup.colour = bColour;
    touchLocked();
}

bool SimCamera::setSource(FrameSource source, const QString& strPicturePath)
{
    QImage picture;
    QString why;
    if (source == FrameSource::Picture && !readPictureFile(strPicturePath, picture, &why)) {
        HostSim::tellOperator(QStringLiteral("picture %1 not read for camera %2: %3")
                                  .arg(QFileInfo(strPicturePath).fileName(), m_setup.name, why));
        return false;
    }
    QMutexLocker lock(&m_mutex);
    m_setup.source = source;
    m_setup.picturePath = strPicturePath;
    m_picture = picture;
    touchLocked();
    return true;
}

void SimCamera::setPicture(const QImage& picture)
{
    QMutexLocker lock(&m_mutex);
    m_setup.source = FrameSource::Picture;
    m_setup.picturePath.clear();
    m_picture = picture;
    touchLocked();
}

void SimCamera::setCalibrated(bool bCalibrated)
{
    QMutexLocker lock(&m_mutex);
    m_setup.calibrated = bCalibrated;
}

double SimCamera::mmPerPixel() const
{
    QMutexLocker lock(&m_mutex);
    return m_setup.mmPerPixel;
}

void SimCamera::setExposureUs(int nExposureUs)
{
    QMutexLocker lock(&m_mutex);
    m_nExposureUs = qBound(1, nExposureUs, 1000000);
    touchLocked();
}

int SimCamera::exposureUs() const
{
    QMutexLocker lock(&m_mutex);
    return m_nExposureUs;
}

void SimCamera::setGainDb(double dGainDb)
{
    QMutexLocker lock(&m_mutex);
    m_dGainDb = qBound(0.0, dGainDb, 48.0);
    touchLocked();
}

double SimCamera::gainDb() const
{
    QMutexLocker lock(&m_mutex);
    return m_dGainDb;
}

void SimCamera::setGrabFails(bool bFails)
{
    QMutexLocker lock(&m_mutex);
    m_bGrabFails = bFails;
}

void SimCamera::setZeroSize(bool bZero)
{
    QMutexLocker lock(&m_mutex);
    m_bZeroSize = bZero;
}

void SimCamera::setEnded(bool bEnded)
{
    QMutexLocker lock(&m_mutex);
    m_bEnded = bEnded;
}

bool SimCamera::isGrabbing() const
{
    QMutexLocker lock(&m_mutex);
    return m_bGrabbing;
}

cv::Mat SimCamera::renderFrame()
{
    double dX = 0.0, dY = 0.0;
    m_pMachine->position(dX, dY);
    return renderFrameAt(dX, dY);
}

cv::Mat SimCamera::renderFrameAt(double dX, double dY)
{
    QMutexLocker lock(&m_mutex);
    return renderLocked(dX, dY).clone();
}

// Renders into the cache unless the cached frame already shows this position
// with these settings; the returned Mat is the cache (valid while locked).
cv::Mat SimCamera::renderLocked(double dX, double dY)
{
    const int w = m_setup.width;
    const int h = m_setup.height;
    const bool bStatic = m_setup.source != FrameSource::Scene;
    const quint64 nModelRevision = modelRevision();
    if (!m_cache.empty() && m_nCacheStamp == m_nStamp && m_nCacheModelRevision == nModelRevision
        && (bStatic || (m_dCacheX == dX && m_dCacheY == dY)))
        return m_cache;

    QImage canvas(w, h, QImage::Format_RGB32);
    {
        QPainter painter(&canvas);
        switch (m_setup.source) {
        case FrameSource::Scene: {
            // Workpiece millimetres to picture pixels through the mounting:
            // the inverse of the mount's pixel-to-millimetre map, about the
            // point under the optical axis.
            const CameraModel mount = mountOf(m_setup);
            const Linear2 toPixel = mount.pixelToMachineLinear().inverted();
            const double ax = dX + mount.offsetX;
            const double ay = dY + mount.offsetY;
            painter.setTransform(QTransform(toPixel.a, toPixel.c, toPixel.b, toPixel.d,
                                            w / 2.0 - toPixel.a * ax - toPixel.b * ay,
                                            h / 2.0 - toPixel.c * ax - toPixel.d * ay));
            // The part of the workpiece the picture covers: its corners' bounding box.
            double x0 = 1e300, y0 = 1e300, x1 = -1e300, y1 = -1e300;
            for (const QPointF& corner : {QPointF(0, 0), QPointF(w, 0), QPointF(0, h), QPointF(w, h)}) {
                const QPointF pt = mount.pixelToMachine(corner, QSize(w, h), QPointF(dX, dY));
                x0 = std::min(x0, pt.x());
                y0 = std::min(y0, pt.y());
                x1 = std::max(x1, pt.x());
                y1 = std::max(y1, pt.y());
            }
            m_pWorkpiece->paint(painter, QRectF(x0, y0, x1 - x0, y1 - y0));
            break;
        }
        case FrameSource::Picture: {
            canvas.fill(Qt::black);
            const QImage scaled = m_picture.scaled(w, h, Qt::KeepAspectRatio, Qt::SmoothTransformation);
            painter.drawImage((w - scaled.width()) / 2, (h - scaled.height()) / 2, scaled);
            break;
        }
        case FrameSource::Solid:
            canvas.fill(m_setup.solidColour);
            break;
        case FrameSource::TestPattern: {
            const QColor bars[] = {Qt::white, Qt::yellow, Qt::cyan, Qt::green, Qt::magenta, Qt::red, Qt::blue, Qt::black};
            for (int i = 0; i < 8; ++i)
                painter.fillRect(QRect(i * w / 8, 0, (i + 1) * w / 8 - i * w / 8, h), bars[i]);
            painter.setPen(QPen(Qt::black, 3));
            painter.drawLine(w / 2, 0, w / 2, h);
            painter.drawLine(0, h / 2, w, h / 2);
            break;
        }
        }
    }

    cv::Mat bgra(h, w, CV_8UC4, canvas.bits(), static_cast<size_t>(canvas.bytesPerLine()));
    cv::Mat frame;
    if (m_setup.colour)
        cv::cvtColor(bgra, frame, cv::COLOR_BGRA2RGB);
    else
        cv::cvtColor(bgra, frame, cv::COLOR_BGRA2GRAY);

    // Exposure and gain scale the light that reaches the sensor.
    const double dFactor = (m_nExposureUs / 10000.0) * std::pow(10.0, m_dGainDb / 20.0);
    if (std::abs(dFactor - 1.0) > 1e-9)
        frame.convertTo(frame, -1, dFactor, 0.0);
    if (m_setup.noise > 0.0) {
        cv::Mat noisy;
        frame.convertTo(noisy, CV_32F);
        cv::Mat noise(noisy.size(), noisy.type());
        m_noise.fill(noise, cv::RNG::NORMAL, 0.0, m_setup.noise);
        noisy += noise;
        noisy.convertTo(frame, CV_8U);
    }

    // What the host hands out: the picture in the machine's axes.
    m_cache = modelOr(m_setup.mmPerPixel).alignFrame(frame);
    m_dCacheX = dX;
    m_dCacheY = dY;
    m_nCacheStamp = m_nStamp;
    m_nCacheModelRevision = nModelRevision;
    return m_cache;
}

} // namespace hostsim
