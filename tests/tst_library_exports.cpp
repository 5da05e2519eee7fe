// The module's library as a host loads it: its file name (a Windows host asks
// for "HXL_CameraUI.dll"), and in its export table the entry points, the panel
// factory and the members of the exported classes, while the module's own
// classes stay inside.

#include "LibrarySymbols.h"

#include <QFileInfo>
#include <QtTest>

#ifdef Q_OS_WIN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace {

// Everything a host may link to, by the names the compiler gives them (GCC
// and MinGW mangle alike).
const char* const kExported[] = {
    // the entry points
    "_Z22HXL_CameraUI_ReadParamv",
    "_Z26HXL_CameraUI_SetVideoClosei",
    "_Z24HXL_CameraUI_TellAppExitv",
    // the panel factory, and the panel interface's type information
    "_ZN21IZKCostomCameraWidget11NewInstanceEP7QWidget",
    "_ZTI21IZKCostomCameraWidget",
    // the camera tab host
    "_ZN15HXLCameraWidgetC1EP7QWidget",
    "_ZN15HXLCameraWidgetD0Ev",
    "_ZN15HXLCameraWidgetD1Ev",
    "_ZN15HXLCameraWidget11InitDisplayEv",
    "_ZN15HXLCameraWidget16staticMetaObjectE",
    "_ZNK15HXLCameraWidget10metaObjectEv",
    "_ZN15HXLCameraWidget11qt_metacastEPKc",
    "_ZN15HXLCameraWidget11qt_metacallEN11QMetaObject4CallEiPPv",
    "_ZTV15HXLCameraWidget",
    "_ZTI15HXLCameraWidget",
    // the image combine dialog
    "_ZN19ZKCCDImageCombineUIC1EP7QWidget",
    "_ZN19ZKCCDImageCombineUID0Ev",
    "_ZN19ZKCCDImageCombineUID1Ev",
    "_ZN19ZKCCDImageCombineUI10InitDialogEv",
    "_ZN19ZKCCDImageCombineUI6slotOkEv",
    "_ZN19ZKCCDImageCombineUI10slotCancelEv",
    "_ZN19ZKCCDImageCombineUI15slotGetStartPosEv",
    "_ZN19ZKCCDImageCombineUI13slotGetEndPosEv",
    "_ZN19ZKCCDImageCombineUI16staticMetaObjectE",
    "_ZNK19ZKCCDImageCombineUI10metaObjectEv",
    "_ZN19ZKCCDImageCombineUI11qt_metacastEPKc",
    "_ZN19ZKCCDImageCombineUI11qt_metacallEN11QMetaObject4CallEiPPv",
    "_ZTV19ZKCCDImageCombineUI",
    "_ZTI19ZKCCDImageCombineUI",
};

// The module's own classes: none of their members is exported.
const char* const kInternal[] = {
    "ZKCostomCameraWidget",        "HXL_RefreshCameraThread",      "ZKFullScreenUI",
    "CLock",                       "HXLDisplayLabel",              "HXLCustomLabel",
    "HXL_ShowDealWithDialog",      "HXLCameraParameterSettingDialog", "HXLBriSettingDialog",
    "HXLGaySettingDialog",         "HXLGoInterfereSettingDialog",  "HXLSatSettingDialog",
    "HXL_AdvancedMorphologyDialog", "HXL_AdvancedPreprocessingDialog",
};

#ifdef Q_OS_WIN
const char kModuleFile[] = "HXL_CameraUI.dll";
const char kHostFile[] = "HXL_HostSim.dll";
#else
const char kModuleFile[] = "libHXL_CameraUI.so";
const char kHostFile[] = "libHXL_HostSim.so";
#endif

} // namespace

class TestLibraryExports : public QObject
{
    Q_OBJECT

private slots:
    void librariesHaveThePlatformsNames()
    {
        QCOMPARE(QStringLiteral(HXL_CAMERAUI_LIBRARY_NAME), QString::fromLatin1(kModuleFile));
        QCOMPARE(QStringLiteral(HXL_HOSTSIM_LIBRARY_NAME), QString::fromLatin1(kHostFile));
        QVERIFY(QFileInfo::exists(library_symbols::besideProgram(QStringLiteral(HXL_CAMERAUI_LIBRARY_NAME))));
        QVERIFY(QFileInfo::exists(library_symbols::besideProgram(QStringLiteral(HXL_HOSTSIM_LIBRARY_NAME))));
    }

#ifdef Q_OS_WIN
    // A Windows host loads the module by its name alone, from its own folder,
    // and finds the entry points and the panel factory in it.
    void windowsHostLoadsTheModuleByName()
    {
        const HMODULE hModule = LoadLibraryW(L"HXL_CameraUI.dll");
        QVERIFY2(hModule, qPrintable(QStringLiteral("LoadLibrary failed: error %1").arg(GetLastError())));
        for (const char* pszEntry : {"_Z22HXL_CameraUI_ReadParamv", "_Z26HXL_CameraUI_SetVideoClosei",
                                     "_Z24HXL_CameraUI_TellAppExitv",
                                     "_ZN21IZKCostomCameraWidget11NewInstanceEP7QWidget"})
            QVERIFY2(GetProcAddress(hModule, pszEntry), pszEntry);
        QVERIFY(!GetProcAddress(hModule, "_ZN20ZKCostomCameraWidget10InitWidgetEv"));
        FreeLibrary(hModule);
    }
#endif

    void everyHostEntryIsExported()
    {
        QString strError;
        const QStringList names =
            library_symbols::exportedNames(library_symbols::besideProgram(QString::fromLatin1(kModuleFile)), &strError);
        QVERIFY2(!names.isEmpty(), qPrintable(strError));
        const QSet<QString> exported(names.begin(), names.end());
        for (const char* pszName : kExported)
            QVERIFY2(exported.contains(QLatin1String(pszName)),
                     qPrintable(QStringLiteral("%1 (%2) is not exported")
                                    .arg(QLatin1String(pszName), library_symbols::demangled(QLatin1String(pszName)))));
    }

    void internalClassesStayInside()
    {
        QString strError;
        const QStringList names =
            library_symbols::exportedNames(library_symbols::besideProgram(QString::fromLatin1(kModuleFile)), &strError);
        QVERIFY2(!names.isEmpty(), qPrintable(strError));
        for (const char* pszClass : kInternal) {
            // A mangled name carries a class name as <length><name>.
            const QString strMangled = QString::number(qstrlen(pszClass)) + QLatin1String(pszClass);
            for (const QString& strName : names)
                QVERIFY2(!strName.contains(strMangled),
                         qPrintable(QStringLiteral("%1 is exported").arg(library_symbols::demangled(strName))));
        }
    }
};

QTEST_GUILESS_MAIN(TestLibraryExports)
#include "tst_library_exports.moc"
