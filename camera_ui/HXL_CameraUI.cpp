// Entry points, settings and module-wide state.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"

#include "host/HXL_HostFunctions.h"
#include "host/IHXLLanguageManager.h"

#include <QSettings>
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
    QSettings settings(HXL_SettingsFilePath(), QSettings::IniFormat);
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
