#include "services/CameraConfigFile.h"

#include <QJsonDocument>
#include <QJsonValue>
#include <QStringList>

#include <cmath>
#include <utility>

namespace hostsim {

QStringList cameraTypeNames()
{
    return {QStringLiteral("Auto"), QStringLiteral("Sim"), QStringLiteral("GenICam"), QStringLiteral("V4L2")};
}

bool cameraTypeFromName(const QString& strName, CameraType& type)
{
    const QStringList names = cameraTypeNames();
    for (int i = 0; i < names.size(); ++i) {
        if (names[i].compare(strName.trimmed(), Qt::CaseInsensitive) == 0) {
            type = static_cast<CameraType>(i);
            return true;
        }
    }
    return false;
}

namespace {

// A JSON number that is a whole number of 32 bits (2.0 is, 2.5 and 1e10 are not).
bool int32FromJson(const QJsonValue& value, int32_t& nOut)
{
    if (!value.isDouble())
        return false;
    const double d = value.toDouble();
    // NaN fails the range test; the conversion happens only inside the range.
    if (!(d >= -2147483648.0 && d <= 2147483647.0) || d != std::floor(d))
        return false;
    nOut = static_cast<int32_t>(d);
    return true;
}

} // namespace

bool cameraConfigFromJson(const QByteArray& json, CameraConfig& config, QString* pWhy)
{
    auto fail = [pWhy](const QString& strWhy) {
        if (pWhy)
            *pWhy = strWhy;
        return false;
    };
    if (json.size() > kMaxCameraConfigBytes)
        return fail(QStringLiteral("%1 bytes, more than the %2 a camera configuration may have")
                        .arg(json.size())
                        .arg(kMaxCameraConfigBytes));
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &parseError);
    if (doc.isNull())
        return fail(QStringLiteral("not JSON (%1 at offset %2)").arg(parseError.errorString()).arg(parseError.offset));
    if (!doc.isObject())
        return fail(QStringLiteral("the top level is not an object"));
    const QJsonObject root = doc.object();
    const QJsonValue recordValue = root.value(QStringLiteral("record"));
    const QJsonValue cameras = root.value(QStringLiteral("cameras"));
    // An operator may write only the cameras; the record then keeps its defaults.
    if (recordValue.isUndefined() && cameras.isUndefined())
        return fail(QStringLiteral("neither a \"record\" object nor a \"cameras\" list"));
    if (!recordValue.isUndefined() && !recordValue.isObject())
        return fail(QStringLiteral("\"record\" is not an object"));
    if (!cameras.isUndefined() && !cameras.isArray())
        return fail(QStringLiteral("\"cameras\" is not a list"));
    if (cameras.toArray().size() > kMaxConfiguredCameras)
        return fail(QStringLiteral("more than %1 cameras").arg(kMaxConfiguredCameras));
    for (const QJsonValue& v : cameras.toArray())
        if (!v.isObject())
            return fail(QStringLiteral("a camera of \"cameras\" is not an object"));
    const QJsonValue calibration = root.value(QStringLiteral("calibration"));
    if (!calibration.isUndefined() && !calibration.isObject())
        return fail(QStringLiteral("\"calibration\" is not an object"));
    const QJsonObject calibrationEntries = calibration.toObject();
    if (calibrationEntries.size() > kMaxConfiguredCameras)
        return fail(QStringLiteral("calibrations of more than %1 cameras").arg(kMaxConfiguredCameras));
    for (auto it = calibrationEntries.begin(); it != calibrationEntries.end(); ++it)
        if (!it.value().isObject())
            return fail(QStringLiteral("the calibration of camera \"%1\" is not an object").arg(it.key()));

    // Everything is checked into a copy, so that a bad file leaves config as it was.
    CameraConfig read;
    const QJsonObject record = recordValue.toObject();
    for (auto it = record.begin(); it != record.end(); ++it) {
        const QString key = it.key();
        const QJsonValue value = it.value();
        if (key == QLatin1String("vecMorphology")) {
            if (!value.isArray())
                return fail(QStringLiteral("\"vecMorphology\" is not a list"));
            const QJsonArray list = value.toArray();
            if (list.size() > kMaxMorphologySteps)
                return fail(QStringLiteral("more than %1 morphology steps").arg(kMaxMorphologySteps));
            std::vector<ZKMorphologyParam> steps;
            for (const QJsonValue& v : list) {
                if (!v.isObject())
                    return fail(QStringLiteral("a morphology step is not an object"));
                const QJsonObject o = v.toObject();
                ZKMorphologyParam step;
                const std::pair<const char*, int32_t*> fields[] = {{"nMorphType", &step.nMorphType},
                                                                   {"nLineSize", &step.nLineSize},
                                                                   {"bEnable", &step.bEnable},
                                                                   {"nReserved", &step.nReserved}};
                for (const auto& field : fields) {
                    const QJsonValue fieldValue = o.value(QLatin1String(field.first));
                    if (!fieldValue.isUndefined() && !int32FromJson(fieldValue, *field.second))
                        return fail(QStringLiteral("\"%1\" of a morphology step is not a whole number of 32 bits")
                                        .arg(QLatin1String(field.first)));
                }
                steps.push_back(step);
            }
            read.vecMorphology = std::move(steps);
            continue;
        }
#define HXL_GET(f)                                                                                                 \
    if (key == QLatin1String(#f)) {                                                                                \
        int32_t n = 0;                                                                                             \
        if (!int32FromJson(value, n))                                                                              \
            return fail(QStringLiteral("\"%1\" is not a whole number of 32 bits").arg(key));                      \
        read.f = n;                                                                                                \
        continue;                                                                                                  \
    }
        HXL_RECORD_INT_FIELDS(HXL_GET)
#undef HXL_GET
#define HXL_GET(f)                                                                                                 \
    if (key == QLatin1String(#f)) {                                                                                \
        if (!value.isBool())                                                                                       \
            return fail(QStringLiteral("\"%1\" is not true or false").arg(key));                                  \
        read.f = value.toBool();                                                                                   \
        continue;                                                                                                  \
    }
        HXL_RECORD_BOOL_FIELDS(HXL_GET)
#undef HXL_GET
        // Keys the host does not know are left alone.
    }
    read.cameras = cameras.toArray();
    read.calibration = calibrationEntries;
    config = std::move(read);
    return true;
}

QByteArray cameraConfigToJson(const CameraConfig& config)
{
    QJsonObject record;
#define HXL_PUT(f)                                                                                                 \
    if (config.f)                                                                                                  \
        record.insert(QStringLiteral(#f), static_cast<int>(*config.f));
    HXL_RECORD_INT_FIELDS(HXL_PUT)
#undef HXL_PUT
#define HXL_PUT(f)                                                                                                 \
    if (config.f)                                                                                                  \
        record.insert(QStringLiteral(#f), *config.f);
    HXL_RECORD_BOOL_FIELDS(HXL_PUT)
#undef HXL_PUT
    if (config.vecMorphology) {
        QJsonArray steps;
        for (const ZKMorphologyParam& step : *config.vecMorphology) {
            QJsonObject o;
            o.insert(QStringLiteral("nMorphType"), step.nMorphType);
            o.insert(QStringLiteral("nLineSize"), step.nLineSize);
            o.insert(QStringLiteral("bEnable"), step.bEnable);
            o.insert(QStringLiteral("nReserved"), step.nReserved);
            steps.append(o);
        }
        record.insert(QStringLiteral("vecMorphology"), steps);
    }
    QJsonObject root;
    root.insert(QStringLiteral("format"), QStringLiteral("HXL vision camera configuration"));
    root.insert(QStringLiteral("version"), config.version);
    root.insert(QStringLiteral("record"), record);
    if (!config.cameras.isEmpty())
        root.insert(QStringLiteral("cameras"), config.cameras);
    if (!config.calibration.isEmpty())
        root.insert(QStringLiteral("calibration"), config.calibration);
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool cameraRequestFromJson(const QJsonObject& entry, CameraRequest& request, QString* pWhy)
{
    auto fail = [pWhy](const QString& strWhy) {
        if (pWhy)
            *pWhy = strWhy;
        return false;
    };
    // A field may be left out; one that is there must have the right type.
    auto text = [&entry](const char* pszKey, QString& strOut) {
        const QJsonValue value = entry.value(QLatin1String(pszKey));
        if (value.isUndefined())
            return true;
        strOut = value.toString();
        return value.isString();
    };
    auto flag = [&entry](const char* pszKey, bool& bOut) {
        const QJsonValue value = entry.value(QLatin1String(pszKey));
        if (value.isUndefined())
            return true;
        bOut = value.toBool();
        return value.isBool();
    };
    auto side = [&entry](const char* pszKey, int& nOut) {
        const QJsonValue value = entry.value(QLatin1String(pszKey));
        if (value.isUndefined())
            return true;
        int32_t n = 0;
        if (!int32FromJson(value, n) || n < 0 || n > kMaxFrameSide)
            return false;
        nOut = n;
        return true;
    };

    request = CameraRequest();
    QString strType = QStringLiteral("Sim");
    if (!text("type", strType))
        return fail(QStringLiteral("\"type\" is not text"));
    if (!cameraTypeFromName(strType, request.type))
        return fail(QStringLiteral("unknown camera type \"%1\" (expected one of %2)")
                        .arg(strType, cameraTypeNames().join(QStringLiteral(", "))));
    for (const auto& field : {std::make_pair("address", &request.address), std::make_pair("name", &request.name),
                              std::make_pair("pixelFormat", &request.pixelFormat)})
        if (!text(field.first, *field.second))
            return fail(QStringLiteral("\"%1\" is not text").arg(QLatin1String(field.first)));
    if (!side("width", request.width) || !side("height", request.height))
        return fail(QStringLiteral("\"width\" and \"height\" must be whole numbers from 0 to %1").arg(kMaxFrameSide));
    if (qint64(request.width) * request.height > kMaxPicturePixels)
        return fail(QStringLiteral("a %1 x %2 frame is more than the %3 pixels the host takes")
                        .arg(request.width)
                        .arg(request.height)
                        .arg(kMaxPicturePixels));
    const QJsonValue fps = entry.value(QStringLiteral("framesPerSecond"));
    if (!fps.isUndefined()) {
        request.framesPerSecond = fps.toDouble();
        if (!fps.isDouble() || !(request.framesPerSecond >= 0.0 && request.framesPerSecond <= 1000.0))
            return fail(QStringLiteral("\"framesPerSecond\" must be a number from 0 to 1000"));
    }
    const QJsonValue mmPerPixel = entry.value(QStringLiteral("mmPerPixel"));
    if (!mmPerPixel.isUndefined()) {
        request.mmPerPixel = mmPerPixel.toDouble();
        if (!mmPerPixel.isDouble() || !(request.mmPerPixel > 0.0 && request.mmPerPixel <= kMaxMmPerPixel))
            return fail(QStringLiteral("\"mmPerPixel\" must be a number above 0 and at most %1").arg(kMaxMmPerPixel));
    }
    if (!flag("calibrated", request.calibrated))
        return fail(QStringLiteral("\"calibrated\" is not true or false"));
    if (!flag("colour", request.sim.colour))
        return fail(QStringLiteral("\"colour\" is not true or false"));
    request.sim.name = request.name.isEmpty() ? request.sim.name : request.name;
    if (request.width > 0 && request.height > 0) {
        request.sim.width = request.width;
        request.sim.height = request.height;
    }
    request.sim.mmPerPixel = request.mmPerPixel;
    request.sim.calibrated = request.calibrated;
    return true;
}

} // namespace hostsim
