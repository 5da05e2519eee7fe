#pragma once

#include "HostSimExport.h"
#include "calibration/CameraModel.h"
#include "host/IZKVisionCameraManager.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QRectF>
#include <QString>
#include <QVector>

#include <memory>

class IZKBound;

namespace hostsim {

class HostCamera;
class SimCamera;
class SimBound;

class HXL_HOSTSIM_EXPORT SimCameraManager : public IZKVisionCameraManager
{
public:
    SimCameraManager();
    ~SimCameraManager() override;

    int GetCameraCount() override;
    int GetCurCameraIndex() override;
    void SetCurCameraIndex(int nIndex) override;
    IZKVisionCamera* GetCamera(int nIndex) override;
    ImageAdapter* GetImageAdapter() override;
    // Writes the current camera's frame; JPEG quality kSavedPictureQuality.
    int SaveImageFile(std::string strPath) override;
    static constexpr int kSavedPictureQuality = 95;
    int CalibrateImages() override;
    IZKBound* GetCamerasCalImageBound() override;
    void GetCameraCalImageSize(int& nWidth, int& nHeight) override;
    void GetImageSize(int nCamera, int& nWidth, int& nHeight) override;
    int PreprocessImage() override;
    int WriteSystemCFG() override;
    void GetSearchRangeByModelName(const std::string& strModelName,
                                   std::vector<IZKGePolyline*>& vecOutlines) override;
    void WorldToStandardImage(int nCamera, std::vector<IZKGePolyline*>& vecPolylines) override;

    // --- facade --------------------------------------------------------------
    // Cameras are owned here and live until the manager is destroyed, so that a
    // camera pointer a worker thread holds stays valid; removing them only
    // hides them (count 0).
    HostCamera* addCamera(std::unique_ptr<HostCamera> pCamera);
    SimCamera* addCamera(std::unique_ptr<SimCamera> pCamera);
    void removeAllCameras();
    // The camera at nIndex when it is a simulated one, else null.
    SimCamera* camera(int nIndex) const;
    // The camera at nIndex, of any kind.
    HostCamera* hostCamera(int nIndex) const;
    int cameraCount() const;

    // The "cameras" list of the configuration file as read (empty when the
    // file has none). It belongs to the operator: the host reads it at start
    // and writes it back unchanged.
    QJsonArray configuredCameras() const;
    void setConfiguredCameras(const QJsonArray& cameras);

    // --- calibration of each camera -------------------------------------------
    // Kept in the configuration file under "calibration", by camera name; a
    // camera without an entry is a plain camera of its pixel size (an entry
    // may also give only some of the keys). Entries of cameras that are not
    // in use are kept and written back.
    CameraModel cameraModel(int nIndex) const;
    // Camera nIndex uses model from now on (in memory only).
    void setCameraModel(int nIndex, const CameraModel& model);
    // Stores model for camera nIndex and writes the configuration file. When
    // the file cannot be written, nothing changes (neither the file nor the
    // camera) and pError says why in one line.
    bool saveCameraModel(int nIndex, const CameraModel& model, QString* pError = nullptr);

    // Puts every record field back to the host's defaults.
    void resetRecord();
    // The configuration file in the work directory.
    static QString configFileName();
    QString configPath() const;
    // Reads the configuration file into the record. A missing file leaves the
    // defaults; an unreadable one (see cameraConfigFromJson, or larger than
    // kMaxCameraConfigBytes) is renamed aside as "<name>.corrupt-<date>",
    // never deleted or overwritten, the operator is told in one line and the
    // defaults stay. Returns true when a file was read.
    bool readSystemCFG();
    // Writes the record (atomically: a failed write leaves the old file whole).
    // On failure pError says why in one line (also printed on stderr).
    bool writeSystemCFG(QString* pError = nullptr);

    void setCalibrationFails(bool bFails); // CalibrateImages answers -1
    // CalibrateImages succeeds but no calibrated bound is given.
    void setCalImageBoundMissing(bool bMissing);
    // CalibrateImages succeeds but leaves the current adapter without a picture.
    void setCalibrationDropsPicture(bool bDrops);
    // Locator models: search ranges in millimetres (default model "Main").
    void setModelSearchRange(const QString& strModel, const QRectF& rectMm);

    // The configuration as JSON text and back (used for the file and tests).
    QByteArray recordToJson() const;
    bool recordFromJson(const QByteArray& json, QString* pError);

private:
    HostCamera* currentCamera() const;
    // Gives a camera its stored calibration, or none (m_mutex held).
    void applyCalibrationLocked(HostCamera* pCamera) const;

    mutable QMutex m_mutex;
    std::vector<std::unique_ptr<HostCamera>> m_cameras;
    std::vector<std::unique_ptr<HostCamera>> m_retired; // removed, kept alive for threads that still hold them
    QJsonArray m_configuredCameras;
    QMap<QString, QJsonObject> m_calibrations; // by camera name, as in the file
    int m_nCurrent = 0;
    bool m_bCalibrationFails = false;
    bool m_bBoundMissing = false;
    bool m_bCalibrationDropsPicture = false;
    int m_nCalWidth = 0;
    int m_nCalHeight = 0;
    SimBound* m_pCalBound = nullptr;
    QVector<QPair<QString, QRectF>> m_models;
};

} // namespace hostsim
