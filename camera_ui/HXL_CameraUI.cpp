// Entry points, settings and module-wide state.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"

#include "host/HXL_HostFunctions.h"
#include "host/IHXLLanguageManager.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextCodec>

int isAutoPhoto = 0;
int isOpenVideo = 1;
bool bIsDebug = false;
double dPerMinX = 0.0;
double dPerMaxX = 0.0;
double dPerMinY = 0.0;
double dPerMaxY = 0.0;

int g_nVideoClose = 0;
IHXLLanguageManager* g_pLanguageManager = nullptr;

bool g_bCanApply = true;
bool g_bCanCapture = true;
bool g_bCameraChangeAllowed = false;
bool g_bSkipContextMenu = false;
HXL_AdvancedMorphologyDialog* g_pMorphologyDialog = nullptr;
HXL_AdvancedPreprocessingDialog* g_pPreprocessingDialog = nullptr;
int g_nDotCount = 0;

namespace {
const char* const kSettingsGroup = "HXL_CameraUI";

// Whether QSettings can read every line of a settings file's bytes. Judged
// on a private copy: QSettings keeps what it parsed of a file for the whole
// process and reports a format error only to the object that parsed it, so a
// file read at start would look whole to the object that writes it at exit.
// False also when it cannot be judged.
bool SettingsReadWhole(const QByteArray& bytes)
{
    QTemporaryDir probeDir;
    QFile probeFile(probeDir.path() + QStringLiteral("/qcv.dat"));
    if (!probeDir.isValid() || !probeFile.open(QIODevice::WriteOnly) || probeFile.write(bytes) != bytes.size())
        return false;
    probeFile.close();
    QSettings probe(probeFile.fileName(), QSettings::IniFormat);
    probe.setIniCodec(QTextCodec::codecForName("utf-8"));
    probe.allKeys(); // sections are parsed on first use: this parses them all
    return probe.status() == QSettings::NoError;
}

// Writes the settings file's bytes beside it as "qcv.dat.corrupt-<date>"
// (with "-2", "-3"... when that name is taken; an existing file is never
// replaced). False when the copy could not be made whole.
bool KeepSettingsAside(const QString& strPath, const QByteArray& bytes)
{
    const QString strStem = strPath + QStringLiteral(".corrupt-")
        + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"));
    QString strAside = strStem;
    for (int n = 2; QFile::exists(strAside); ++n)
        strAside = strStem + QStringLiteral("-%1").arg(n);
    QFile aside(strAside);
    if (!aside.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    if (aside.write(bytes) == bytes.size() && aside.flush())
        return true;
    aside.remove();
    return false;
}
} // namespace

QString HXL_SettingsFilePath()
{
    return QString::fromLocal8Bit((GetCurrentWorkPath() + "qcv.dat").c_str());
}

QString HXL_Text(int nId)
{
    if (!g_pLanguageManager)
        return QString();
    return QString::fromUtf8(g_pLanguageManager->GetText(nId).c_str());
}

int HXL_CameraUI_ReadParam()
{
    if (!g_pLanguageManager) {
        g_pLanguageManager = IHXLLanguageManager::Create();
        g_pLanguageManager->LoadTextTable("CameraUI");
        g_pLanguageManager->ApplyLanguage();
    }

    QSettings settings(HXL_SettingsFilePath(), QSettings::IniFormat);
    settings.setIniCodec(QTextCodec::codecForName("utf-8"));
    settings.beginGroup(QLatin1String(kSettingsGroup));
    isAutoPhoto = settings.value(QStringLiteral("isAutoPhoto"), QStringLiteral("0")).toInt();
    isOpenVideo = settings.value(QStringLiteral("isOpenVideo"), QStringLiteral("1")).toInt();
    bIsDebug = settings.value(QStringLiteral("bIsDebug"), QStringLiteral("0")).toBool();
    dPerMinX = settings.value(QStringLiteral("dPerMinX"), QStringLiteral("0")).toDouble();
    dPerMaxX = settings.value(QStringLiteral("dPerMaxX"), QStringLiteral("0")).toDouble();
    dPerMinY = settings.value(QStringLiteral("dPerMinY"), QStringLiteral("0")).toDouble();
    dPerMaxY = settings.value(QStringLiteral("dPerMaxY"), QStringLiteral("0")).toDouble();
    settings.endGroup();
    return 0;
}

void HXL_CameraUI_SetVideoClose(int nClose)
{
    g_nVideoClose = nClose;
}

void HXL_CameraUI_TellAppExit()
{
    const QString strPath = HXL_SettingsFilePath();
    // QSettings writes back only the lines it understood. A file it cannot read
    // whole is the operator's own: a copy of it is kept before it is written
    // again, and without a copy it is not written at all. Silently, as every
    // failure here.
    if (QFileInfo(strPath).isFile()) {
        QFile current(strPath);
        if (!current.open(QIODevice::ReadOnly))
            return; // QSettings could neither read nor keep it
        const QByteArray bytes = current.readAll();
        current.close();
        if (!SettingsReadWhole(bytes) && !KeepSettingsAside(strPath, bytes))
            return;
    }
    QSettings settings(strPath, QSettings::IniFormat);
    settings.setIniCodec(QTextCodec::codecForName("utf-8"));
    settings.beginGroup(QLatin1String(kSettingsGroup));
    settings.setValue(QStringLiteral("isAutoPhoto"), QString::number(isAutoPhoto, 10));
    settings.setValue(QStringLiteral("isOpenVideo"), QString::number(isOpenVideo, 10));
    settings.setValue(QStringLiteral("dPerMinX"), QString::number(dPerMinX, 'g', 6));
    settings.setValue(QStringLiteral("dPerMaxX"), QString::number(dPerMaxX, 'g', 6));
    settings.setValue(QStringLiteral("dPerMinY"), QString::number(dPerMinY, 'g', 6));
    settings.setValue(QStringLiteral("dPerMaxY"), QString::number(dPerMaxY, 'g', 6));
    // bIsDebug is not written: only a person sets it, by editing the file.
    settings.endGroup();
}
