#include "services/SimCameraManager.h"

#include "services/CameraConfigFile.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "HostState.h"
#include "cameras/SimCamera.h"
#include "drawing/SimDrawing.h"
#include "processing/SimPreprocess.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QJsonArray>
#include <QMutexLocker>
#include <QSaveFile>

#include <opencv2/core.hpp>


namespace hostsim {


SimCameraManager::SimCameraManager()
{
    m_pCalBound = new SimBound();
    m_models.append({QStringLiteral("Main"), QRectF(-5.0, -4.0, 10.0, 8.0)});
}

SimCameraManager::~SimCameraManager()
{
    delete m_pCalBound;
}

HostCamera* SimCameraManager::currentCamera() const
{
    QMutexLocker lock(&m_mutex);
    if (m_nCurrent < 0 || m_nCurrent >= static_cast<int>(m_cameras.size()))
        return nullptr;
    return m_cameras[static_cast<size_t>(m_nCurrent)].get();
}

int SimCameraManager::GetCameraCount()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetCameraCount()"));
    return cameraCount();
}

int SimCameraManager::GetCurCameraIndex()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetCurCameraIndex()"));
    QMutexLocker lock(&m_mutex);
    return m_nCurrent;
}

void SimCameraManager::SetCurCameraIndex(int nIndex)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::SetCurCameraIndex(%1)").arg(nIndex));
    QMutexLocker lock(&m_mutex);
    if (nIndex >= 0 && nIndex < static_cast<int>(m_cameras.size()))
        m_nCurrent = nIndex;
}

IZKVisionCamera* SimCameraManager::GetCamera(int nIndex)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetCamera(%1)").arg(nIndex));
    if (HostSim::isAbsent(AbsentPart::Camera))
        return nullptr;
    return hostCamera(nIndex);
}

ImageAdapter* SimCameraManager::GetImageAdapter()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetImageAdapter()"));
    if (HostSim::isAbsent(AbsentPart::ImageAdapter))
        return nullptr;
    HostCamera* pCamera = currentCamera();
    return pCamera ? &pCamera->adapter() : nullptr;
}

int SimCameraManager::SaveImageFile(std::string strPath)
{
    const QString path = QString::fromLocal8Bit(strPath.c_str());
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::SaveImageFile(%1)").arg(path));
    HostCamera* pCamera = currentCamera();
    if (!pCamera)
        return -1;
    cv::Mat frame;
    if (pCamera->grabFrame(frame) != 0)
        return -3;
    SimImageAdapter* pAdapter = &pCamera->adapter();
    pAdapter->setBuffer(frame);
    pAdapter->source() = frame.clone();
    // Qt's image writer (the format follows the file name, JPEG for the
    // module's "VisSourcePic.jpg"), which every build of the host has: the
    // Windows OpenCV has no JPEG codec. Quality 95, as a camera host saves.
    QImageWriter writer(path);
    writer.setQuality(kSavedPictureQuality);
    return writer.write(pAdapter->bufferImage()) ? 0 : -4;
}

int SimCameraManager::CalibrateImages()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::CalibrateImages()"));
    if (m_bCalibrationFails)
        return -1;
    HostCamera* pCamera = currentCamera();
    if (!pCamera)
        return -2;
    if (!pCamera->isCalibrated())
        return -3;
    auto* pAdapter = &pCamera->adapter();
    if (pAdapter->buffer().empty())
        return -4;
    // The simulated lens has no distortion: calibrating fixes the picture's
    // size and its place (the position given by MovableCam_SetCurMachineMmPos).
    m_nCalWidth = pAdapter->buffer().cols;
    m_nCalHeight = pAdapter->buffer().rows;
    if (m_bCalibrationDropsPicture)
        pAdapter->buffer().release();
    return 0;
}

IZKBound* SimCameraManager::GetCamerasCalImageBound()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetCamerasCalImageBound()"));
    HostCamera* pCamera = currentCamera();
    if (!pCamera || m_bBoundMissing)
        return nullptr;
    if (!pCamera->isCalibrated())
        return nullptr;
    // The picture in the machine's axes, centred where the optical axis
    // meets the work plane.
    const HostState& state = hostState();
    const CameraModel model = pCamera->model();
    const double dWidth = pCamera->frameWidth() * model.alignedMmPerPixelX();
    const double dHeight = pCamera->frameHeight() * model.alignedMmPerPixelY();
    const double dCentreX = state.dCalX + model.offsetX;
    const double dCentreY = state.dCalY + model.offsetY;
    m_pCalBound->set(dCentreX - dWidth / 2.0, dCentreY - dHeight / 2.0, dCentreX + dWidth / 2.0,
                     dCentreY + dHeight / 2.0);
    return m_pCalBound;
}

void SimCameraManager::GetCameraCalImageSize(int& nWidth, int& nHeight)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetCameraCalImageSize()"));
    nWidth = m_nCalWidth;
    nHeight = m_nCalHeight;
    if (nWidth <= 0 || nHeight <= 0) {
        HostCamera* pCamera = currentCamera();
        nWidth = pCamera ? pCamera->frameWidth() : 0;
        nHeight = pCamera ? pCamera->frameHeight() : 0;
    }
}

void SimCameraManager::GetImageSize(int nCamera, int& nWidth, int& nHeight)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetImageSize(%1)").arg(nCamera));
    HostCamera* pCamera = hostCamera(nCamera);
    if (!pCamera) {
        nWidth = nHeight = 0;
        return;
    }
    nWidth = pCamera->frameWidth();
    nHeight = pCamera->frameHeight();
}

int SimCameraManager::PreprocessImage()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::PreprocessImage()"));
    HostCamera* pCamera = currentCamera();
    if (!pCamera)
        return -1;
    auto* pAdapter = &pCamera->adapter();
    if (pAdapter->buffer().empty())
        return -2;
    QElapsedTimer clock;
    clock.start();
    preprocessImage(pAdapter->buffer(), *this);
    nLastProcessMs = static_cast<int32_t>(clock.elapsed());
    return 0;
}

int SimCameraManager::WriteSystemCFG()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::WriteSystemCFG()"));
    return writeSystemCFG() ? 0 : -1;
}

void SimCameraManager::GetSearchRangeByModelName(const std::string& strModelName,
                                                 std::vector<IZKGePolyline*>& vecOutlines)
{
    const QString name = QString::fromStdString(strModelName);
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetSearchRangeByModelName(%1)").arg(name));
    for (const auto& model : m_models) {
        if (model.first != name)
            continue;
        const QRectF& r = model.second;
        auto* pLine = new SimPolyline();
        pLine->AddVertex(ZKGePoint(r.left(), r.top()));
        pLine->AddVertex(ZKGePoint(r.right(), r.top()));
        pLine->AddVertex(ZKGePoint(r.right(), r.bottom()));
        pLine->AddVertex(ZKGePoint(r.left(), r.bottom()));
        pLine->AddVertex(ZKGePoint(r.left(), r.top()));
        vecOutlines.push_back(pLine);
    }
}

void SimCameraManager::WorldToStandardImage(int nCamera, std::vector<IZKGePolyline*>& vecPolylines)
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::WorldToStandardImage(%1, %2)")
                                  .arg(nCamera)
                                  .arg(vecPolylines.size()));
    HostCamera* pCamera = hostCamera(nCamera);
    if (!pCamera)
        return;
    const HostState& state = hostState();
    for (IZKGePolyline* pLine : vecPolylines) {
        if (!pLine)
            continue;
        for (int i = 0; i < pLine->GetVertexCount(); ++i) {
            const ZKGePoint pt = pLine->GetVertexAt(i);
            double u = 0.0, v = 0.0;
            pCamera->machineToPixel(pt.x, pt.y, state.dCalX, state.dCalY, u, v);
            pLine->SetVertexAt(i, ZKGePoint(u, v, 0.0));
        }
    }
}

HostCamera* SimCameraManager::addCamera(std::unique_ptr<HostCamera> pCamera)
{
    QMutexLocker lock(&m_mutex);
    applyCalibrationLocked(pCamera.get());
    m_cameras.push_back(std::move(pCamera));
    return m_cameras.back().get();
}

void SimCameraManager::applyCalibrationLocked(HostCamera* pCamera) const
{
    const auto it = m_calibrations.constFind(QString::fromStdString(pCamera->GetCameraName()));
    CameraModel model;
    // Entries were checked when they were read.
    if (it != m_calibrations.constEnd()
        && CameraModel::fromJson(it.value(), CameraModel::plain(pCamera->mmPerPixel()), model))
        pCamera->setModel(model);
    else if (pCamera->hasModel())
        pCamera->clearModel();
}

CameraModel SimCameraManager::cameraModel(int nIndex) const
{
    HostCamera* pCamera = hostCamera(nIndex);
    return pCamera ? pCamera->model() : CameraModel();
}

void SimCameraManager::setCameraModel(int nIndex, const CameraModel& model)
{
    QMutexLocker lock(&m_mutex);
    if (nIndex < 0 || nIndex >= static_cast<int>(m_cameras.size()))
        return;
    HostCamera* pCamera = m_cameras[static_cast<size_t>(nIndex)].get();
    m_calibrations.insert(QString::fromStdString(pCamera->GetCameraName()), model.toJson());
    pCamera->setModel(model);
}

bool SimCameraManager::saveCameraModel(int nIndex, const CameraModel& model, QString* pError)
{
    HostCamera* pCamera = hostCamera(nIndex);
    if (!pCamera) {
        if (pError)
            *pError = QStringLiteral("there is no camera %1").arg(nIndex + 1);
        return false;
    }
    const QString strName = QString::fromStdString(pCamera->GetCameraName());
    QMap<QString, QJsonObject> previous;
    {
        QMutexLocker lock(&m_mutex);
        previous = m_calibrations;
        m_calibrations.insert(strName, model.toJson());
    }
    if (!writeSystemCFG(pError)) {
        QMutexLocker lock(&m_mutex);
        m_calibrations = previous;
        return false;
    }
    pCamera->setModel(model);
    return true;
}

SimCamera* SimCameraManager::addCamera(std::unique_ptr<SimCamera> pCamera)
{
    SimCamera* pSim = pCamera.get();
    addCamera(std::unique_ptr<HostCamera>(std::move(pCamera)));
    return pSim;
}

void SimCameraManager::removeAllCameras()
{
    QMutexLocker lock(&m_mutex);
    for (auto& pCamera : m_cameras) {
        pCamera->retire();
        m_retired.push_back(std::move(pCamera));
    }
    m_cameras.clear();
    m_nCurrent = 0;
}

SimCamera* SimCameraManager::camera(int nIndex) const
{
    return dynamic_cast<SimCamera*>(hostCamera(nIndex));
}

HostCamera* SimCameraManager::hostCamera(int nIndex) const
{
    QMutexLocker lock(&m_mutex);
    if (nIndex < 0 || nIndex >= static_cast<int>(m_cameras.size()))
        return nullptr;
    return m_cameras[static_cast<size_t>(nIndex)].get();
}

QJsonArray SimCameraManager::configuredCameras() const
{
    QMutexLocker lock(&m_mutex);
    return m_configuredCameras;
}

void SimCameraManager::setConfiguredCameras(const QJsonArray& cameras)
{
    QMutexLocker lock(&m_mutex);
    m_configuredCameras = cameras;
}

int SimCameraManager::cameraCount() const
{
    QMutexLocker lock(&m_mutex);
    return static_cast<int>(m_cameras.size());
}

void SimCameraManager::resetRecord()
{
    // The record's defaults are the member initialisers of the declaration.
    struct Defaults : IZKVisionCameraManager
    {
        int GetCameraCount() override { return 0; }
        int GetCurCameraIndex() override { return 0; }
        void SetCurCameraIndex(int) override {}
        IZKVisionCamera* GetCamera(int) override { return nullptr; }
        ImageAdapter* GetImageAdapter() override { return nullptr; }
        int SaveImageFile(std::string) override { return -1; }
        int CalibrateImages() override { return -1; }
        IZKBound* GetCamerasCalImageBound() override { return nullptr; }
        void GetCameraCalImageSize(int&, int&) override {}
        void GetImageSize(int, int&, int&) override {}
        int PreprocessImage() override { return -1; }
        int WriteSystemCFG() override { return -1; }
        void GetSearchRangeByModelName(const std::string&, std::vector<IZKGePolyline*>&) override {}
        void WorldToStandardImage(int, std::vector<IZKGePolyline*>&) override {}
    } defaults;
#define HXL_COPY(f) f = defaults.f;
    HXL_RECORD_INT_FIELDS(HXL_COPY)
    HXL_RECORD_BOOL_FIELDS(HXL_COPY)
#undef HXL_COPY
    vecMorphology = defaults.vecMorphology;
    nCfgVersion = defaults.nCfgVersion;
}

QString SimCameraManager::configFileName()
{
    return QStringLiteral("HXL_VisionCamera.json");
}

QString SimCameraManager::configPath() const
{
    return HostSim::workPath() + configFileName();
}

QByteArray SimCameraManager::recordToJson() const
{
    CameraConfig config;
#define HXL_PUT(f) config.f = f;
    HXL_RECORD_INT_FIELDS(HXL_PUT)
    HXL_RECORD_BOOL_FIELDS(HXL_PUT)
#undef HXL_PUT
    config.vecMorphology = vecMorphology;
    config.version = nCfgVersion;
    config.cameras = configuredCameras();
    {
        QMutexLocker lock(&m_mutex);
        for (auto it = m_calibrations.constBegin(); it != m_calibrations.constEnd(); ++it)
            config.calibration.insert(it.key(), it.value());
    }
    return cameraConfigToJson(config);
}

bool SimCameraManager::recordFromJson(const QByteArray& json, QString* pError)
{
    CameraConfig config;
    if (!cameraConfigFromJson(json, config, pError))
        return false;
    // Each camera's calibration is checked before anything changes, so that
    // a bad entry sends the whole file aside and leaves the record as it was.
    QMap<QString, QJsonObject> calibrations;
    for (auto it = config.calibration.constBegin(); it != config.calibration.constEnd(); ++it) {
        CameraModel model;
        QString strWhy;
        if (!CameraModel::fromJson(it.value().toObject(), CameraModel(), model, &strWhy)) {
            if (pError)
                *pError = QStringLiteral("the calibration of camera \"%1\": %2").arg(it.key(), strWhy);
            return false;
        }
        calibrations.insert(it.key(), it.value().toObject());
    }
#define HXL_SET(f)                                                                                                 \
    if (config.f)                                                                                                  \
        f = *config.f;
    HXL_RECORD_INT_FIELDS(HXL_SET)
    HXL_RECORD_BOOL_FIELDS(HXL_SET)
#undef HXL_SET
    if (config.vecMorphology)
        vecMorphology = *config.vecMorphology;
    setConfiguredCameras(config.cameras);
    QMutexLocker lock(&m_mutex);
    m_calibrations = calibrations;
    for (auto& pCamera : m_cameras)
        applyCalibrationLocked(pCamera.get());
    return true;
}

bool SimCameraManager::readSystemCFG()
{
    // The operator's lines name the file only: the demo shows the work
    // directory, and a status bar has room for one line.
    const QString path = configPath();
    const QString name = configFileName();
    const QFileInfo info(path);
    if (!info.exists())
        return false;
    if (!info.isFile()) {
        // A directory or a device: nothing to read and nothing to set aside.
        HostSim::tellOperator(QStringLiteral("camera configuration %1 is not a file; using defaults").arg(name));
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        HostSim::tellOperator(
            QStringLiteral("cannot read the camera configuration %1 (%2); using defaults").arg(name, file.errorString()));
        return false;
    }
    QString why;
    if (file.size() > kMaxCameraConfigBytes) {
        // Not read at all: no camera configuration is that large.
        why = QStringLiteral("%1 bytes, more than the %2 a camera configuration may have")
                  .arg(file.size())
                  .arg(kMaxCameraConfigBytes);
        file.close();
    } else {
        const QByteArray json = file.read(kMaxCameraConfigBytes + 1);
        file.close();
        if (recordFromJson(json, &why))
            return true;
    }
    // Keep the operator's file: move it aside under a name that says why;
    // the next WriteSystemCFG then writes a new file in its place.
    const QString stem =
        path + QStringLiteral(".corrupt-") + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"));
    QString aside = stem;
    for (int n = 2; QFile::exists(aside); ++n)
        aside = stem + QStringLiteral("-%1").arg(n);
    const bool bMoved = QFile::rename(path, aside);
    HostSim::tellOperator(QStringLiteral("camera configuration %1 unreadable (%2), %3; using defaults")
                              .arg(name, why,
                                   bMoved ? QStringLiteral("kept as %1").arg(QFileInfo(aside).fileName())
                                          : QStringLiteral("left in place (it could not be moved aside)")));
    return false;
}

bool SimCameraManager::writeSystemCFG(QString* pError)
{
    const QString path = configPath();
    QSaveFile file(path);
    bool bWritten = file.open(QIODevice::WriteOnly);
    if (bWritten) {
        file.write(recordToJson());
        bWritten = file.commit();
    }
    if (!bWritten) {
        const QString strWhy = QStringLiteral("cannot write the camera configuration %1 (%2)")
                                   .arg(QDir::toNativeSeparators(path), file.errorString());
        HostSim::tellOperator(strWhy);
        if (pError)
            *pError = strWhy;
        return false;
    }
    return true;
}

void SimCameraManager::setCalibrationFails(bool bFails)
{
    m_bCalibrationFails = bFails;
}

void SimCameraManager::setCalImageBoundMissing(bool bMissing)
{
    m_bBoundMissing = bMissing;
}

void SimCameraManager::setCalibrationDropsPicture(bool bDrops)
{
    m_bCalibrationDropsPicture = bDrops;
}

void SimCameraManager::setModelSearchRange(const QString& strModel, const QRectF& rectMm)
{
    for (auto& model : m_models) {
        if (model.first == strModel) {
            model.second = rectMm;
            return;
        }
    }
    m_models.append({strModel, rectMm});
}

} // namespace hostsim
