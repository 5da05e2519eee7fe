#include "SimCameraManager.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "HostState.h"
#include "SimCamera.h"
#include "SimDrawing.h"
#include "SimPreprocess.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutexLocker>
#include <QSaveFile>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>

namespace hostsim {

namespace {

// The record's fields by kind, in record order (for the configuration file).
#define HXL_RECORD_INT_FIELDS(X)                                                                                   \
    X(nSatMode) X(nBriMode) X(nGrayMode) X(nGrayProMode) X(nMode5) X(nMorphologyType) X(nMorphologyW)             \
    X(nMorphologyH) X(nSatValue) X(nBriValue) X(nGrayValue) X(nBriWidth) X(nGrayWidth) X(nAdvancedSetting)        \
    X(nGoInterfereValue) X(nFilterMode) X(nFilterMin) X(nFilterMax) X(nFilterPoleMode) X(nFilterPoleValue)        \
    X(bSharpening) X(nSharpenKernel) X(nAdvancedSetting1) X(nSatValueDef) X(nBriValueDef) X(nGrayValueDef)        \
    X(nBriWidthDef) X(nGrayWidthDef) X(nGoInterfereValueDef)
#define HXL_RECORD_BOOL_FIELDS(X)                                                                                  \
    X(bIsInver) X(bShowGray) X(bGoInterfere) X(bGoInterfereDef) X(bGrayscaleEqualization) X(bGrayPro) X(bSatDef) \
    X(bBriDef)

} // namespace

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
    return hostCamera(nIndex);
}

ImageAdapter* SimCameraManager::GetImageAdapter()
{
    HostSim::journal().append(QStringLiteral("IZKVisionCameraManager::GetImageAdapter()"));
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
    cv::Mat onDisk;
    if (frame.channels() == 3)
        cv::cvtColor(frame, onDisk, cv::COLOR_RGB2BGR);
    else
        onDisk = frame;
    try {
        if (!cv::imwrite(path.toLocal8Bit().toStdString(), onDisk, {cv::IMWRITE_JPEG_QUALITY, 95}))
            return -4;
    } catch (const cv::Exception&) {
        return -4;
    }
    return 0;
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
    const HostState& state = hostState();
    const double dWidth = pCamera->frameWidth() * pCamera->mmPerPixel();
    const double dHeight = pCamera->frameHeight() * pCamera->mmPerPixel();
    m_pCalBound->set(state.dCalX - dWidth / 2.0, state.dCalY - dHeight / 2.0, state.dCalX + dWidth / 2.0,
                     state.dCalY + dHeight / 2.0);
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
    m_cameras.push_back(std::move(pCamera));
    return m_cameras.back().get();
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
    QJsonObject record;
#define HXL_PUT(f) record.insert(QStringLiteral(#f), static_cast<int>(f));
    HXL_RECORD_INT_FIELDS(HXL_PUT)
#undef HXL_PUT
#define HXL_PUT(f) record.insert(QStringLiteral(#f), static_cast<bool>(f));
    HXL_RECORD_BOOL_FIELDS(HXL_PUT)
#undef HXL_PUT
    QJsonArray steps;
    for (const ZKMorphologyParam& step : vecMorphology) {
        QJsonObject o;
        o.insert(QStringLiteral("nMorphType"), step.nMorphType);
        o.insert(QStringLiteral("nLineSize"), step.nLineSize);
        o.insert(QStringLiteral("bEnable"), step.bEnable);
        o.insert(QStringLiteral("nReserved"), step.nReserved);
        steps.append(o);
    }
    record.insert(QStringLiteral("vecMorphology"), steps);
    QJsonObject root;
    root.insert(QStringLiteral("format"), QStringLiteral("HXL vision camera configuration"));
    root.insert(QStringLiteral("version"), nCfgVersion);
    root.insert(QStringLiteral("record"), record);
    const QJsonArray cameras = configuredCameras();
    if (!cameras.isEmpty())
        root.insert(QStringLiteral("cameras"), cameras);
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool SimCameraManager::recordFromJson(const QByteArray& json, QString* pError)
{
    auto fail = [pError](const QString& strWhy) {
        if (pError)
            *pError = strWhy;
        return false;
    };
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &parseError);
    if (doc.isNull())
        return fail(QStringLiteral("not JSON (%1 at offset %2)").arg(parseError.errorString()).arg(parseError.offset));
    if (!doc.isObject())
        return fail(QStringLiteral("the top level is not an object"));
    const QJsonObject root = doc.object();
    if (!root.value(QStringLiteral("record")).isObject())
        return fail(QStringLiteral("no \"record\" object"));
    const QJsonObject record = root.value(QStringLiteral("record")).toObject();
    const QJsonValue cameras = root.value(QStringLiteral("cameras"));
    if (!cameras.isUndefined() && !cameras.isArray())
        return fail(QStringLiteral("\"cameras\" is not a list"));
    for (const QJsonValue& v : cameras.toArray())
        if (!v.isObject())
            return fail(QStringLiteral("a camera of \"cameras\" is not an object"));

    // Check every present field before changing anything, so that a bad file
    // leaves the record as it was.
    for (auto it = record.begin(); it != record.end(); ++it) {
        const QString key = it.key();
        if (key == QLatin1String("vecMorphology")) {
            if (!it.value().isArray())
                return fail(QStringLiteral("\"vecMorphology\" is not a list"));
            for (const QJsonValue& v : it.value().toArray())
                if (!v.isObject())
                    return fail(QStringLiteral("a morphology step is not an object"));
            continue;
        }
        bool bKnownInt = false, bKnownBool = false;
#define HXL_IS(f) if (key == QLatin1String(#f)) bKnownInt = true;
        HXL_RECORD_INT_FIELDS(HXL_IS)
#undef HXL_IS
#define HXL_IS(f) if (key == QLatin1String(#f)) bKnownBool = true;
        HXL_RECORD_BOOL_FIELDS(HXL_IS)
#undef HXL_IS
        if (bKnownInt && !it.value().isDouble())
            return fail(QStringLiteral("\"%1\" is not a number").arg(key));
        if (bKnownBool && !it.value().isBool())
            return fail(QStringLiteral("\"%1\" is not true or false").arg(key));
    }

#define HXL_GET(f)                                                                                                 \
    if (record.contains(QLatin1String(#f)))                                                                        \
        f = static_cast<int32_t>(record.value(QLatin1String(#f)).toDouble());
    HXL_RECORD_INT_FIELDS(HXL_GET)
#undef HXL_GET
#define HXL_GET(f)                                                                                                 \
    if (record.contains(QLatin1String(#f)))                                                                        \
        f = record.value(QLatin1String(#f)).toBool();
    HXL_RECORD_BOOL_FIELDS(HXL_GET)
#undef HXL_GET
    if (record.contains(QLatin1String("vecMorphology"))) {
        vecMorphology.clear();
        for (const QJsonValue& v : record.value(QLatin1String("vecMorphology")).toArray()) {
            const QJsonObject o = v.toObject();
            ZKMorphologyParam step;
            step.nMorphType = o.value(QLatin1String("nMorphType")).toInt();
            step.nLineSize = o.value(QLatin1String("nLineSize")).toInt(1);
            step.bEnable = o.value(QLatin1String("bEnable")).toInt(1);
            step.nReserved = o.value(QLatin1String("nReserved")).toInt();
            vecMorphology.push_back(step);
        }
    }
    setConfiguredCameras(cameras.toArray());
    return true;
}

bool SimCameraManager::readSystemCFG()
{
    const QString path = configPath();
    QFile file(path);
    if (!file.exists())
        return false;
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "host_sim: cannot read the camera configuration %s (%s); using defaults\n",
                     qPrintable(QDir::toNativeSeparators(path)), qPrintable(file.errorString()));
        return false;
    }
    const QByteArray json = file.readAll();
    file.close();
    QString why;
    if (recordFromJson(json, &why))
        return true;
    // Keep the operator's file: move it aside under a name that says why.
    const QString stem =
        path + QStringLiteral(".corrupt-") + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"));
    QString aside = stem;
    for (int n = 2; QFile::exists(aside); ++n)
        aside = stem + QStringLiteral("-%1").arg(n);
    const bool bMoved = QFile::rename(path, aside);
    std::fprintf(stderr, "host_sim: the camera configuration %s is corrupt (%s); %s; using defaults\n",
                 qPrintable(QDir::toNativeSeparators(path)), qPrintable(why),
                 bMoved ? qPrintable(QStringLiteral("kept as %1").arg(QDir::toNativeSeparators(aside)))
                        : "could not move it aside, left in place");
    return false;
}

bool SimCameraManager::writeSystemCFG()
{
    const QString path = configPath();
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        std::fprintf(stderr, "host_sim: cannot write the camera configuration %s (%s)\n",
                     qPrintable(QDir::toNativeSeparators(path)), qPrintable(file.errorString()));
        return false;
    }
    file.write(recordToJson());
    if (!file.commit()) {
        std::fprintf(stderr, "host_sim: cannot write the camera configuration %s (%s)\n",
                     qPrintable(QDir::toNativeSeparators(path)), qPrintable(file.errorString()));
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
