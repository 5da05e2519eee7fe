#include "cameras/V4l2Camera.h"

#include "HostJournal.h"
#include "HostSim.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>
#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>
#include <QSlider>
#include <QWidget>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <algorithm>
#include <functional>
#include <cmath>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace hostsim {

namespace {

// The controls, in the order of V4l2Camera::Control. Their values are read
// and written through OpenCV's properties, each of which its V4L2 back-end
// maps onto the V4L2 control beside it; the V4L2 id serves only to ask the
// control's range and step, which OpenCV has no property for.
const int kControlProperties[V4l2Camera::kControlCount] = {
    cv::CAP_PROP_EXPOSURE, cv::CAP_PROP_GAIN,    cv::CAP_PROP_BRIGHTNESS,    cv::CAP_PROP_FOCUS,
    cv::CAP_PROP_AUTOFOCUS, cv::CAP_PROP_AUTO_WB, cv::CAP_PROP_WB_TEMPERATURE};
const uint32_t kControlIds[V4l2Camera::kControlCount] = {
    V4L2_CID_EXPOSURE_ABSOLUTE, V4L2_CID_GAIN,       V4L2_CID_BRIGHTNESS,
    V4L2_CID_FOCUS_ABSOLUTE,    V4L2_CID_FOCUS_AUTO, V4L2_CID_AUTO_WHITE_BALANCE,
    V4L2_CID_WHITE_BALANCE_TEMPERATURE};
const char* const kControlNames[V4l2Camera::kControlCount] = {
    "exposure", "gain", "brightness", "focus", "autofocus", "auto white balance", "white balance temperature"};
// V4L2's manual exposure (V4L2_EXPOSURE_MANUAL) as OpenCV passes it on for
// CAP_PROP_AUTO_EXPOSURE when it gives raw values.
const int kManualExposure = V4L2_EXPOSURE_MANUAL;

// The record of one control among the parameters.
const V4l2Control& controlOf(const V4l2Parameters& parameters, V4l2Camera::Control control)
{
    using C = V4l2Camera::Control;
    switch (control) {
    case C::Exposure: return parameters.exposure;
    case C::Gain: return parameters.gain;
    case C::Brightness: return parameters.brightness;
    case C::Focus: return parameters.focus;
    case C::AutoFocus: return parameters.autoFocus;
    case C::AutoWhiteBalance: return parameters.autoWhiteBalance;
    case C::WhiteBalanceTemperature: break;
    }
    return parameters.whiteBalanceTemperature;
}

QString fourccText(int nFourcc)
{
    QString text;
    for (int i = 0; i < 4; ++i) {
        const char c = char((nFourcc >> (8 * i)) & 0xff);
        text += (c >= 32 && c < 127) ? QChar::fromLatin1(c) : QLatin1Char('?');
    }
    return text;
}

// What OpenCV cannot ask of the device is asked through a descriptor of our
// own (V4L2 lets several openers share a device while one of them streams):
// a control's range and step, the device's name, its sizes and rates.
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
    // The range and step of a control (VIDIOC_QUERYCTRL): OpenCV reads and
    // writes a control's value but cannot tell its range, nor whether the
    // device has it at all (its get() answers -1 for a control the device
    // lacks, a value a brightness may really have). A control the driver
    // marks disabled counts as absent.
    V4l2Control range(uint32_t nId) const
    {
        V4l2Control control;
        v4l2_queryctrl query{};
        query.id = nId;
        if (m_fd < 0 || ::ioctl(m_fd, VIDIOC_QUERYCTRL, &query) != 0 || (query.flags & V4L2_CTRL_FLAG_DISABLED))
            return control;
        control.available = true;
        control.minimum = query.minimum;
        control.maximum = query.maximum;
        control.step = query.step > 0 ? query.step : 1;
        return control;
    }
    // Frame sizes of the format, with their discrete rates (VIDIOC_ENUM_FRAMESIZES
    // and VIDIOC_ENUM_FRAMEINTERVALS: OpenCV cannot list them). A stepwise
    // device is given by its smallest and largest size.
    QVector<V4l2Mode> modes(const QString& strFourcc) const
    {
        QVector<V4l2Mode> modes;
        if (m_fd < 0 || strFourcc.size() != 4)
            return modes;
        const QByteArray code = strFourcc.toLatin1();
        const uint32_t nFormat = v4l2_fourcc(code[0], code[1], code[2], code[3]);
        for (uint32_t i = 0; i < 64; ++i) {
            v4l2_frmsizeenum size{};
            size.index = i;
            size.pixel_format = nFormat;
            if (::ioctl(m_fd, VIDIOC_ENUM_FRAMESIZES, &size) != 0)
                break;
            if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
                V4l2Mode mode;
                mode.width = int(size.discrete.width);
                mode.height = int(size.discrete.height);
                mode.framesPerSecond = rates(nFormat, size.discrete.width, size.discrete.height);
                modes.append(mode);
            } else {
                for (const auto& wh : {std::make_pair(size.stepwise.min_width, size.stepwise.min_height),
                                       std::make_pair(size.stepwise.max_width, size.stepwise.max_height)}) {
                    V4l2Mode mode;
                    mode.width = int(wh.first);
                    mode.height = int(wh.second);
                    mode.framesPerSecond = rates(nFormat, wh.first, wh.second);
                    modes.append(mode);
                }
                break;
            }
        }
        return modes;
    }
    QVector<double> rates(uint32_t nFormat, uint32_t nWidth, uint32_t nHeight) const
    {
        QVector<double> fps;
        for (uint32_t i = 0; i < 32; ++i) {
            v4l2_frmivalenum interval{};
            interval.index = i;
            interval.pixel_format = nFormat;
            interval.width = nWidth;
            interval.height = nHeight;
            if (::ioctl(m_fd, VIDIOC_ENUM_FRAMEINTERVALS, &interval) != 0 ||
                interval.type != V4L2_FRMIVAL_TYPE_DISCRETE)
                break;
            if (interval.discrete.numerator > 0)
                fps.append(double(interval.discrete.denominator) / double(interval.discrete.numerator));
        }
        std::sort(fps.begin(), fps.end(), std::greater<double>());
        return fps;
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
    m_pCapture = m_setup.makeCapture ? m_setup.makeCapture() : std::make_unique<cv::VideoCapture>();
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
    // The rate through OpenCV, after the format and size it depends on.
    // OpenCV asks whole frames a second (1/n s, the value rounded); the
    // device picks the nearest it has, which the parameter dialog shows
    // beside the rates it offers.
    if (m_setup.framesPerSecond > 0.0)
        m_pCapture->set(cv::CAP_PROP_FPS, m_setup.framesPerSecond);
    // Raw buffers: the host converts them itself (the same code the tests check).
    m_pCapture->set(cv::CAP_PROP_CONVERT_RGB, 0);
    // Control values in the device's own units, those of the ranges the
    // dialog's sliders take: OpenCV scales some of them to 0..1 instead when
    // OPENCV_VIDEOIO_V4L_RANGE_NORMALIZED is set, which it reads at each
    // opening; CAP_PROP_MODE 0 turns that off for this capture.
    m_pCapture->set(cv::CAP_PROP_MODE, 0);
    m_nFailedReads = 0;

    // Controls the operator set before, then what the device has now. What
    // the device refuses on opening stays unsaid: the dialog shows the
    // values the device kept.
    KeptControls controls;
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        for (int i = 0; i < kControlCount; ++i)
            controls[i] = m_controls[i];
        m_bDirty = false;
    }
    writeControls(controls, V4l2Parameters(), nullptr);
    ControlHandle handle(m_setup.device);
    V4l2Parameters parameters;
    parameters.fourcc = m_strFourcc;
    parameters.width = int(m_pCapture->get(cv::CAP_PROP_FRAME_WIDTH));
    parameters.height = int(m_pCapture->get(cv::CAP_PROP_FRAME_HEIGHT));
    parameters.card = handle.card();
    parameters.framesPerSecond = m_pCapture->get(cv::CAP_PROP_FPS);
    parameters.modes = handle.modes(m_strFourcc);
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
    std::unique_ptr<ControlHandle> pHandle;
    auto control = [&](Control which) {
        const uint32_t nId = kControlIds[int(which)];
        V4l2Control c;
        if (m_setup.queryControl) {
            c = m_setup.queryControl(nId);
        } else {
            if (!pHandle)
                pHandle = std::make_unique<ControlHandle>(m_setup.device);
            c = pHandle->range(nId);
        }
        if (!c.available || !m_pCapture)
            return V4l2Control();
        // OpenCV answers -1 when it could not read the control; outside the
        // control's range that can mean nothing else, and the control is
        // not offered.
        const double dValue = m_pCapture->get(kControlProperties[int(which)]);
        if (dValue == -1.0 && (c.minimum > -1 || c.maximum < -1))
            return V4l2Control();
        c.value = int(std::lround(dValue));
        return c;
    };
    parameters.exposure = control(Control::Exposure);
    parameters.gain = control(Control::Gain);
    parameters.brightness = control(Control::Brightness);
    parameters.focus = control(Control::Focus);
    parameters.autoFocus = control(Control::AutoFocus);
    parameters.autoWhiteBalance = control(Control::AutoWhiteBalance);
    parameters.whiteBalanceTemperature = control(Control::WhiteBalanceTemperature);
    parameters.valid = true;
}

bool V4l2Camera::writeControls(const KeptControls& controls, const V4l2Parameters& offered, QString* pRefused)
{
    bool bAll = true;
    // A manual value keeps its automatic mode off, and automatic modes are
    // written first: the manual value's own turning off of its automatic
    // mode would repeat what was just written, and is left out.
    QVector<ControlWrite> written;
    for (int i = 0; i < kControlCount; ++i) {
        const Control control = applyOrder()[i];
        const std::optional<int>& value = controls[int(control)];
        if (!value)
            continue;
        const QVector<ControlWrite> writes = controlWrites(control, *value);
        for (int w = 0; w < writes.size(); ++w) {
            const bool bOwnValue = w == writes.size() - 1;
            if (!bOwnValue && written.contains(writes[w]))
                continue;
            written.append(writes[w]);
            // OpenCV's set() is false when the device lacks the control or
            // refuses the value. Only a value of a control the device offers
            // is worth a word: a device may have a manual focus without an
            // autofocus to turn off first (the autofocus kept off all the same).
            if (!m_pCapture->set(writes[w].property, writes[w].value) && bOwnValue &&
                controlOf(offered, control).available) {
                if (pRefused && bAll)
                    *pRefused = QStringLiteral("%1 %2").arg(QLatin1String(kControlNames[int(control)])).arg(*value);
                bAll = false;
            }
        }
    }
    return bAll;
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
    KeptControls controls;
    {
        std::lock_guard<std::mutex> lock(m_settingsMutex);
        if (!m_bDirty)
            return;
        for (int i = 0; i < kControlCount; ++i)
            controls[i] = m_controls[i];
        m_bDirty = false;
    }
    if (!m_pCapture)
        return;
    // A value the operator chose and the device refused is said in the
    // window, once: the kept settings are all written again at each change,
    // and the same refusal would come back with every other setting.
    QString strRefused;
    if (!writeControls(controls, parameters(), &strRefused)) {
        const QString strLine = QStringLiteral("%1 refused a control value (%2)").arg(m_setup.device, strRefused);
        setError(strLine);
        if (strLine != m_strRefusalSaid) {
            m_strRefusalSaid = strLine;
            HostSim::tellOperator(strLine);
        }
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
        keepControl(m_controls, control, nValue);
        m_bDirty = true;
    }
    wakeWorker();
}

QVector<V4l2Camera::ControlWrite> V4l2Camera::controlWrites(Control control, int nValue)
{
    const int nProperty = kControlProperties[int(control)];
    switch (control) {
    case Control::Exposure: return {{cv::CAP_PROP_AUTO_EXPOSURE, kManualExposure}, {nProperty, nValue}};
    case Control::Focus: return {{cv::CAP_PROP_AUTOFOCUS, 0}, {nProperty, nValue}};
    case Control::WhiteBalanceTemperature: return {{cv::CAP_PROP_AUTO_WB, 0}, {nProperty, nValue}};
    case Control::AutoFocus:
    case Control::AutoWhiteBalance: return {{nProperty, nValue ? 1 : 0}};
    case Control::Gain:
    case Control::Brightness: break;
    }
    return {{nProperty, nValue}};
}

void V4l2Camera::keepControl(KeptControls& kept, Control control, int nValue)
{
    switch (control) {
    case Control::Focus: kept[int(Control::AutoFocus)] = 0; break;
    case Control::WhiteBalanceTemperature: kept[int(Control::AutoWhiteBalance)] = 0; break;
    case Control::AutoFocus:
        if (nValue)
            kept[int(Control::Focus)].reset();
        break;
    case Control::AutoWhiteBalance:
        if (nValue)
            kept[int(Control::WhiteBalanceTemperature)].reset();
        break;
    default: break;
    }
    kept[int(control)] = (control == Control::AutoFocus || control == Control::AutoWhiteBalance) ? (nValue ? 1 : 0)
                                                                                                 : nValue;
}

const V4l2Camera::Control* V4l2Camera::applyOrder()
{
    static const Control kOrder[kControlCount] = {Control::AutoFocus,  Control::AutoWhiteBalance, Control::Exposure,
                                                  Control::Gain,       Control::Brightness,       Control::Focus,
                                                  Control::WhiteBalanceTemperature};
    return kOrder;
}

QStringList V4l2Camera::describeModes(const QVector<V4l2Mode>& modes)
{
    QStringList lines;
    for (const V4l2Mode& mode : modes) {
        QStringList rates;
        for (double dFps : mode.framesPerSecond)
            rates << QString::number(dFps, 'g', 4);
        lines << (rates.isEmpty() ? QStringLiteral("%1 x %2").arg(mode.width).arg(mode.height)
                                  : QStringLiteral("%1 x %2: %3 fps").arg(mode.width).arg(mode.height).arg(rates.join(QStringLiteral(", "))));
    }
    return lines;
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
    auto addCheck = [&](const char* pszName, const QString& strLabel, const V4l2Control& control, Control which) {
        if (!control.available)
            return;
        auto* pCheck = new QCheckBox(pContainer);
        pCheck->setObjectName(QString::fromLatin1(pszName));
        pCheck->setChecked(control.value != 0);
        QObject::connect(pCheck, &QCheckBox::toggled, pContainer, [this, which](bool b) { setControl(which, b ? 1 : 0); });
        pLayout->addRow(strLabel, pCheck);
    };
    addCheck("V4l2AutoFocus", QObject::tr("Autofocus"), p.autoFocus, Control::AutoFocus);
    addSlider("V4l2Focus", QObject::tr("Focus"), p.focus, Control::Focus);
    addCheck("V4l2AutoWhiteBalance", QObject::tr("Auto white balance"), p.autoWhiteBalance, Control::AutoWhiteBalance);
    addSlider("V4l2WhiteBalance", QObject::tr("White balance (K)"), p.whiteBalanceTemperature,
              Control::WhiteBalanceTemperature);
    // What the device offers in this format; a size is chosen with
    // --frame-size or "width"/"height" in the camera configuration.
    auto* pModes = new QLabel(pContainer);
    pModes->setObjectName(QStringLiteral("V4l2Modes"));
    pModes->setWordWrap(true);
    const QStringList modes = describeModes(p.modes);
    pModes->setText(modes.isEmpty() ? QObject::tr("not told by the device") : modes.join(QLatin1Char('\n')));
    pLayout->addRow(p.framesPerSecond > 0 ? QObject::tr("Sizes (now %1 fps)").arg(p.framesPerSecond, 0, 'g', 4)
                                          : QObject::tr("Sizes"),
                    pModes);
}

} // namespace hostsim
