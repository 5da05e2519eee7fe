#include "cameras/V4l2Camera.h"

#include "HostJournal.h"
#include "HostSim.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>
#include <QFormLayout>
#include <QLabel>
#include <QSlider>
#include <QWidget>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace hostsim {

namespace {

const uint32_t kControlIds[3] = {V4L2_CID_EXPOSURE_ABSOLUTE, V4L2_CID_GAIN, V4L2_CID_BRIGHTNESS};

QString fourccText(int nFourcc)
{
    QString text;
    for (int i = 0; i < 4; ++i) {
        const char c = char((nFourcc >> (8 * i)) & 0xff);
        text += (c >= 32 && c < 127) ? QChar::fromLatin1(c) : QLatin1Char('?');
    }
    return text;
}

// The device's controls are read and written through a descriptor of our
// own: V4L2 lets several openers share a device while one of them streams.
class ControlHandle
{
public:
    explicit ControlHandle(const QString& strDevice)
        : m_fd(::open(QFile::encodeName(strDevice).constData(), O_RDWR | O_NONBLOCK))
    {
    }
    ~ControlHandle()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    bool isOpen() const { return m_fd >= 0; }
    V4l2Control query(uint32_t nId) const
    {
        V4l2Control control;
        v4l2_queryctrl query{};
        query.id = nId;
        if (m_fd < 0 || ::ioctl(m_fd, VIDIOC_QUERYCTRL, &query) != 0 || (query.flags & V4L2_CTRL_FLAG_DISABLED))
            return control;
        v4l2_control value{};
        value.id = nId;
        if (::ioctl(m_fd, VIDIOC_G_CTRL, &value) != 0)
            return control;
        control.available = true;
        control.minimum = query.minimum;
        control.maximum = query.maximum;
        control.step = query.step > 0 ? query.step : 1;
        control.value = value.value;
        return control;
    }
    bool set(uint32_t nId, int nValue) const
    {
        v4l2_control value{};
        value.id = nId;
        value.value = nValue;
        return m_fd >= 0 && ::ioctl(m_fd, VIDIOC_S_CTRL, &value) == 0;
    }
    QString card() const
    {
        v4l2_capability caps{};
        if (m_fd < 0 || ::ioctl(m_fd, VIDIOC_QUERYCAP, &caps) != 0)
            return QString();
        return QString::fromUtf8(reinterpret_cast<const char*>(caps.card));
    }

private:
    int m_fd;
};

} // namespace

V4l2Camera::V4l2Camera(const V4l2Setup& setup)
    : StreamingCamera([&setup] {
          Options options;
          options.name = setup.name.isEmpty() ? QStringLiteral("V4L2 %1").arg(setup.device) : setup.name;
          options.mmPerPixel = setup.mmPerPixel;
          options.calibrated = setup.calibrated;
          options.retryMs = setup.retryMs;
          return options;
      }()),
      m_setup(setup)
{
    // OpenCV waits up to 10 s (its default) for each frame of a stalled
    // webcam, and the worker can neither apply a setting nor stop meanwhile:
    // one second at most. OpenCV reads this once, before its first wait for a
    // frame in the process; an operator's own setting is kept.
    if (qEnvironmentVariableIsEmpty("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT"))
        qputenv("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT", "1");
    startWorker();
}

V4l2Camera::~V4l2Camera()
{
    stopWorker();
}

bool V4l2Camera::convertFrame(const QString& strFourcc, int nWidth, int nHeight, const void* pData, size_t nSize,
                              cv::Mat& out, QString* pError)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    if (!pData || nSize == 0)
        return fail(QStringLiteral("empty buffer"));
    if (strFourcc == QLatin1String("MJPG")) {
        const cv::Mat bytes(1, int(nSize), CV_8UC1, const_cast<void*>(pData));
        cv::Mat bgr;
        try {
            bgr = cv::imdecode(bytes, cv::IMREAD_COLOR);
        } catch (const cv::Exception&) {
        }
        if (bgr.empty())
            return fail(QStringLiteral("damaged MJPG frame (%1 bytes)").arg(nSize));
        if (nWidth > 0 && nHeight > 0 && (bgr.cols != nWidth || bgr.rows != nHeight))
            return fail(QStringLiteral("MJPG frame of %1 x %2, expected %3 x %4")
                            .arg(bgr.cols)
                            .arg(bgr.rows)
                            .arg(nWidth)
                            .arg(nHeight));
        cv::cvtColor(bgr, out, cv::COLOR_BGR2RGB);
        return true;
    }
    if (strFourcc == QLatin1String("YUYV")) {
        if (nWidth <= 0 || nHeight <= 0 || nWidth % 2 != 0)
            return fail(QStringLiteral("YUYV frame of %1 x %2: the width must be even").arg(nWidth).arg(nHeight));
        if (nSize < size_t(nWidth) * size_t(nHeight) * 2)
            return fail(QStringLiteral("YUYV frame too short: %1 bytes for %2 x %3").arg(nSize).arg(nWidth).arg(nHeight));
        const cv::Mat yuyv(nHeight, nWidth, CV_8UC2, const_cast<void*>(pData));
        cv::cvtColor(yuyv, out, cv::COLOR_YUV2RGB_YUYV);
        return true;
    }
    if (strFourcc == QLatin1String("GREY") || strFourcc == QLatin1String("Y16 ")) {
        // One gray sample a pixel, 8 or 16 bits (little-endian); a driver may
        // pad its rows, which shows as a buffer of whole longer rows.
        const int nBytes = strFourcc == QLatin1String("GREY") ? 1 : 2;
        if (nWidth <= 0 || nHeight <= 0)
            return fail(QStringLiteral("%1 frame of %2 x %3").arg(strFourcc.trimmed()).arg(nWidth).arg(nHeight));
        const size_t nRow = size_t(nWidth) * size_t(nBytes);
        if (nSize < nRow * size_t(nHeight))
            return fail(QStringLiteral("%1 frame too short: %2 bytes for %3 x %4")
                            .arg(strFourcc.trimmed())
                            .arg(nSize)
                            .arg(nWidth)
                            .arg(nHeight));
        const size_t nStride = nSize % size_t(nHeight) == 0 ? nSize / size_t(nHeight) : nRow;
        const cv::Mat raw(nHeight, nWidth, nBytes == 1 ? CV_8UC1 : CV_16UC1, const_cast<void*>(pData), nStride);
        if (nBytes == 1) {
            out = raw.clone();
            return true;
        }
        // Shown by its top 8 bits, as the GenICam cameras show their deep pictures.
        out.create(nHeight, nWidth, CV_8UC1);
        for (int y = 0; y < nHeight; ++y) {
            const auto* pIn = raw.ptr<quint16>(y);
            auto* pOut = out.ptr<uchar>(y);
            for (int x = 0; x < nWidth; ++x)
                pOut[x] = uchar(qFromLittleEndian(pIn[x]) >> 8);
        }
        return true;
    }
    return fail(QStringLiteral("pixel format %1 is not supported: MJPG, YUYV, GREY or Y16").arg(strFourcc.trimmed()));
}

QString V4l2Camera::frameSizeNote(const QString& strDevice, int nWantedW, int nWantedH, int nGotW, int nGotH)
{
    if (nWantedW <= 0 || nWantedH <= 0 || (nWantedW == nGotW && nWantedH == nGotH))
        return QString();
    return QStringLiteral("%1 has no %2 x %3 frames; it gives %4 x %5")
        .arg(strDevice)
        .arg(nWantedW)
        .arg(nWantedH)
        .arg(nGotW)
        .arg(nGotH);
}

bool V4l2Camera::probe(const QString& strDevice, QString* pError)
{
    if (!QFileInfo::exists(strDevice)) {
        if (pError)
            *pError = QStringLiteral("no V4L2 device at %1").arg(strDevice);
        return false;
    }
    cv::VideoCapture capture;
    if (!capture.open(strDevice.toStdString(), cv::CAP_V4L2)) {
        if (pError)
            *pError = QStringLiteral("%1 cannot be opened as a V4L2 capture device").arg(strDevice);
        return false;
    }
    return true;
}

bool V4l2Camera::openDevice(QString& strError)
{
    if (!QFileInfo::exists(m_setup.device)) {
        strError = QStringLiteral("no V4L2 device at %1 (is the webcam plugged in?)").arg(m_setup.device);
        return false;
    }
    m_pCapture = std::make_unique<cv::VideoCapture>();
    if (!m_pCapture->open(m_setup.device.toStdString(), cv::CAP_V4L2)) {
        strError = QStringLiteral("%1 cannot be opened as a V4L2 capture device").arg(m_setup.device);
        return false;
    }
    // MJPG first: at the same USB bandwidth it gives larger frames at full rate.
    m_strFourcc.clear();
    // Then the raw formats, gray ones last (machine-vision USB cameras offer only those).
    for (const char* pszFourcc : {"MJPG", "YUYV", "GREY", "Y16 "}) {
        m_pCapture->set(cv::CAP_PROP_FOURCC, cv::VideoWriter::fourcc(pszFourcc[0], pszFourcc[1], pszFourcc[2], pszFourcc[3]));
        if (m_setup.width > 0 && m_setup.height > 0) {
            m_pCapture->set(cv::CAP_PROP_FRAME_WIDTH, m_setup.width);
            m_pCapture->set(cv::CAP_PROP_FRAME_HEIGHT, m_setup.height);
        }
        const QString strGot = fourccText(int(m_pCapture->get(cv::CAP_PROP_FOURCC)));
        if (strGot == QLatin1String(pszFourcc)) {
            m_strFourcc = strGot;
            break;
        }
    }
    if (m_strFourcc.isEmpty()) {
        strError = QStringLiteral("%1 offers none of MJPG, YUYV, GREY and Y16 (it offers %2)")
                       .arg(m_setup.device, fourccText(int(m_pCapture->get(cv::CAP_PROP_FOURCC))));
        return false;
    }
    // Raw buffers: the host converts them itself (the same code the tests check).
    m_pCapture->set(cv::CAP_PROP_CONVERT_RGB, 0);
    m_nFailedReads = 0;

    // Controls the operator set before, then what the device has now.
    ControlHandle handle(m_setup.device);
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        for (int i = 0; i < 3; ++i)
            if (m_controls[i]) {
                if (i == 0)
                    handle.set(V4L2_CID_EXPOSURE_AUTO, V4L2_EXPOSURE_MANUAL);
                handle.set(kControlIds[i], *m_controls[i]);
            }
        m_bDirty = false;
    }
    V4l2Parameters parameters;
    parameters.fourcc = m_strFourcc;
    parameters.width = int(m_pCapture->get(cv::CAP_PROP_FRAME_WIDTH));
    parameters.height = int(m_pCapture->get(cv::CAP_PROP_FRAME_HEIGHT));
    parameters.card = handle.card();
    // A size the device does not have is said once per opening, not silently replaced.
    const QString strSizeNote =
        frameSizeNote(m_setup.device, m_setup.width, m_setup.height, parameters.width, parameters.height);
    if (!strSizeNote.isEmpty() && strSizeNote != m_strSizeNoteSaid) {
        m_strSizeNoteSaid = strSizeNote;
        HostSim::tellOperator(strSizeNote);
    }
    readControls(parameters);
    std::lock_guard<std::mutex> lock(m_settingsMutex);
    m_parameters = parameters;
    return true;
}

void V4l2Camera::readControls(V4l2Parameters& parameters)
{
    ControlHandle handle(m_setup.device);
    parameters.exposure = handle.query(kControlIds[0]);
    parameters.gain = handle.query(kControlIds[1]);
    parameters.brightness = handle.query(kControlIds[2]);
    parameters.valid = true;
}

StreamingCamera::ReadResult V4l2Camera::readFrame(cv::Mat& frame, int /*nTimeoutMs*/, QString& strError)
{
    // grab() waits for the device's next buffer; a device that was unplugged
    // fails at once.
    cv::Mat raw;
    if (!m_pCapture || !m_pCapture->grab() || !m_pCapture->retrieve(raw) || raw.empty()) {
        if (!QFileInfo::exists(m_setup.device) || ++m_nFailedReads >= 10) {
            strError = QStringLiteral("%1 stopped delivering frames").arg(m_setup.device);
            return ReadResult::Lost;
        }
        return ReadResult::Timeout;
    }
    m_nFailedReads = 0;
    if (!raw.isContinuous())
        raw = raw.clone();
    const V4l2Parameters p = parameters();
    QString strWhy;
    if (!convertFrame(m_strFourcc, p.width, p.height, raw.data, raw.total() * raw.elemSize(), frame, &strWhy)) {
        setError(strWhy);
        return ReadResult::Timeout;
    }
    return ReadResult::Frame;
}

void V4l2Camera::closeDevice()
{
    m_pCapture.reset();
    std::lock_guard<std::mutex> lock(m_settingsMutex);
    m_parameters.valid = false;
}

void V4l2Camera::serviceDevice()
{
    std::optional<int> controls[3];
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        if (!m_bDirty)
            return;
        for (int i = 0; i < 3; ++i)
            controls[i] = m_controls[i];
        m_bDirty = false;
    }
    ControlHandle handle(m_setup.device);
    for (int i = 0; i < 3; ++i)
        if (controls[i]) {
            if (i == 0)
                handle.set(V4L2_CID_EXPOSURE_AUTO, V4L2_EXPOSURE_MANUAL);
            if (!handle.set(kControlIds[i], *controls[i]))
                setError(QStringLiteral("%1 refused a control value (%2)").arg(m_setup.device, QString::fromLocal8Bit(std::strerror(errno))));
        }
    V4l2Parameters parameters = this->parameters();
    readControls(parameters);
    std::lock_guard<std::mutex> lock(m_settingsMutex);
    m_parameters = parameters;
}

V4l2Parameters V4l2Camera::parameters() const
{
    std::lock_guard<std::mutex> lock(m_settingsMutex);
    return m_parameters;
}

void V4l2Camera::setControl(Control control, int nValue)
{
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        m_controls[int(control)] = nValue;
        m_bDirty = true;
    }
    wakeWorker();
}

void V4l2Camera::CreateParamWidget(QWidget* pContainer)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCamera::CreateParamWidget()") + journalTag());
    if (!pContainer)
        return;
    auto* pLayout = new QFormLayout(pContainer);
    const V4l2Parameters p = parameters();
    auto* pStatus = new QLabel(pContainer);
    pStatus->setObjectName(QStringLiteral("V4l2Status"));
    pStatus->setWordWrap(true);
    pStatus->setText(p.valid ? QStringLiteral("%1 (%2), %3 x %4 %5")
                                   .arg(p.card, m_setup.device)
                                   .arg(p.width)
                                   .arg(p.height)
                                   .arg(p.fourcc)
                             : QObject::tr("Camera not connected: %1").arg(lastError()));
    pLayout->addRow(QObject::tr("Camera"), pStatus);
    if (!p.valid)
        return;
    auto addSlider = [&](const char* pszName, const QString& strLabel, const V4l2Control& control, Control which) {
        if (!control.available)
            return;
        auto* pSlider = new QSlider(Qt::Horizontal, pContainer);
        pSlider->setObjectName(QString::fromLatin1(pszName));
        pSlider->setRange(control.minimum, control.maximum);
        pSlider->setSingleStep(control.step);
        pSlider->setValue(control.value);
        pSlider->setTracking(false);
        QObject::connect(pSlider, &QSlider::valueChanged, pContainer, [this, which](int n) { setControl(which, n); });
        pLayout->addRow(strLabel, pSlider);
    };
    addSlider("V4l2Exposure", QObject::tr("Exposure"), p.exposure, Control::Exposure);
    addSlider("V4l2Gain", QObject::tr("Gain"), p.gain, Control::Gain);
    addSlider("V4l2Brightness", QObject::tr("Brightness"), p.brightness, Control::Brightness);
}

} // namespace hostsim
