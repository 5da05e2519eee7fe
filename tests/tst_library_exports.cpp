// The module's library as a host loads it: its file name (a Windows host asks
// for "HXL_CameraUI.dll"), in its export table the entry points, the panel
// factory and the members of the exported classes, while the module's own
// classes stay inside; and what it asks the loader for: Qt, the C and C++
// runtime and the host's eight libraries by their own names, each host symbol
// from the library that holds it in the host.

#include "LibrarySymbols.h"

#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QtEndian>
#include <QtTest>

#include <algorithm>

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

// Where each host symbol comes from: a free function by its name, a member or
// the type information of a class by the class.
struct HostSymbol
{
    const char* pszName;
    const char* pszLibrary;
};
const HostSymbol kHostFunctions[] = {
    {"GetCurrentWorkPath", "HXL_CadBase"},
    {"IsFileExists", "HXL_CadBase"},
    {"HXL_GetImageDpi", "HXL_CadBase"},
    {"HXL_GetCurPos", "HXL_CadBase"},
    {"HXL_MachineMoveTo", "HXL_CadBase"},
    {"BatchReleasePolyline", "HXL_CadBase"},
    {"HXL_GetIsOpenFile", "HXL_VisionCameraManager"},
    {"HXL_SetIsOpenFile", "HXL_VisionCameraManager"},
    {"ClearLayerData", "HXL_VisionBase"},
    {"ClearExceptLayer", "HXL_VisionBase"},
    {"GetLayerData", "HXL_VisionBase"},
    {"HXL_AddImageRange", "HXL_VisionBase"},
    {"FTGetScreenSize", "HXL_VisionBase"},
    {"Dll_HXL_VisionFeature_GetSearchRangeCalibPer", "HXL_VisionFeature"},
    {"Dll_HXL_VisionFeature_GetSearchRangeSelectedPer", "HXL_VisionFeature"},
    {"Dll_HXL_VisionFeature_SetSearchRangeSelectedPer", "HXL_VisionFeature"},
    {"MovableCam_SetCurMachineMmPos", "HXL_VisionCameraCalibration"},
};
const HostSymbol kHostClasses[] = {
    {"IService", "HXL_CadBase"},
    {"IServiceManager", "HXL_CadBase"},
    {"IZKEventManger", "HXL_CadBase"},
    {"IZKEventListener", "HXL_CadBase"},
    {"IZKEntityFactory", "HXL_CadBase"},
    {"IZKPartFactory", "HXL_CadBase"},
    {"IZKBound", "HXL_CadBase"},
    {"IZKEntity", "HXL_CadBase"},
    {"IZKGePolyline", "HXL_CadBase"},
    {"IZKDbImage", "HXL_CadBase"},
    {"IZKLayer", "HXL_CadBase"},
    {"IZKLayerTable", "HXL_CadBase"},
    {"IZKShapeTable", "HXL_CadBase"},
    {"IZKDatabase", "HXL_CadBase"},
    {"IZKVisionCameraManager", "HXL_VisionCameraManager"},
    {"IZKVisionCamera", "HXL_VisionCameraManager"},
    {"IZKCameraCalibration", "HXL_VisionCameraManager"},
    {"ImageAdapter", "HXL_VisionCameraManager"},
    {"ZKVisionLocatorManager", "HXL_VisionBase"},
    {"ZKVisionDataPoolManager", "HXL_VisionBase"},
    {"ZKCCDImageCombineManager", "HXL_VisionBase"},
    {"ZKWindowManager", "HXL_CommonCtrl"},
    {"IMainWindow", "HXL_CommonCtrl"},
    {"ZKProgressUI", "HXL_CommonCtrl"},
    {"ZKAppService", "HXL_CommonCtrl"},
    {"ZKGloabVisionAppBase", "HXL_CommonCtrl"},
    {"IZKDocument", "HXL_CommonCtrl"},
    {"IZKView", "HXL_CommonCtrl"},
    {"IZKRobotService", "HXL_ControlCard"},
    {"IZKMachine", "HXL_ControlCard"},
    {"IHXLLanguageManager", "HXL_Language"},
};

// What the module imports today, at the least: one check that the tables
// above are read against real imports.
const char* const kKnownImports[] = {
    "IServiceManager::singleton", "GetCurrentWorkPath", "HXL_GetIsOpenFile", "ClearLayerData",
    "Dll_HXL_VisionFeature_SetSearchRangeSelectedPer", "MovableCam_SetCurMachineMmPos",
    "ZKWindowManager::singleton", "IHXLLanguageManager::Create",
};

const char* const kHostLibraries[] = {
    "HXL_CadBase",   "HXL_VisionCameraManager", "HXL_VisionBase", "HXL_VisionFeature", "HXL_VisionCameraCalibration",
    "HXL_CommonCtrl", "HXL_ControlCard",        "HXL_Language",
};

// A host library's file name beside the module.
QString hostLibraryFile(const QString& strLibrary)
{
#ifdef Q_OS_WIN
    return strLibrary + QStringLiteral(".dll");
#else
    return QStringLiteral("lib") + strLibrary + QStringLiteral(".so");
#endif
}

// "HXL_GetCurPos" for "HXL_GetCurPos(double&, double&)", "GetCurrentWorkPath"
// for "GetCurrentWorkPath[abi:cxx11]()".
QString bareName(const QString& strDemangled)
{
    QString strName = strDemangled.section(QLatin1Char('('), 0, 0);
    strName.remove(QRegularExpression(QStringLiteral("\\[abi:\\w+\\]")));
    return strName;
}

// The host library a symbol is to come from (by its bare name), or an empty
// string when it is not a host symbol: free functions by name; members, type
// information and virtual tables by their class.
QString hostLibraryOf(const QString& strBare)
{
    for (const HostSymbol& function : kHostFunctions)
        if (strBare == QLatin1String(function.pszName))
            return QLatin1String(function.pszLibrary);
    static const QRegularExpression classRe(
        QStringLiteral("^(?:typeinfo for |typeinfo name for |vtable for )?(\\w+)(?:::|$)"));
    const QString strClass = classRe.match(strBare).captured(1);
    for (const HostSymbol& hostClass : kHostClasses)
        if (strClass == QLatin1String(hostClass.pszName))
            return QLatin1String(hostClass.pszLibrary);
    return QString();
}

// The runtime libraries a module built with this tool chain may need besides
// Qt and the host: the C and C++ runtime (and the sanitizers' in instrumented builds).
bool isRuntimeLibrary(const QString& strName)
{
#ifdef Q_OS_WIN
    static const QRegularExpression re(
        QStringLiteral("^(KERNEL32|msvcrt|libgcc_s_seh-1|libstdc\\+\\+-6|libwinpthread-1|api-ms-win-[\\w-]+)\\.dll$"),
        QRegularExpression::CaseInsensitiveOption);
#else
    static const QRegularExpression re(
        QStringLiteral("^(libc|libm|libstdc\\+\\+|libgcc_s|libpthread|libdl|ld-linux-x86-64|lib(a|ub|t)san)\\.so(\\.\\d+)*$"));
#endif
    return re.match(strName).hasMatch();
}

bool isQtLibrary(const QString& strName)
{
#ifdef Q_OS_WIN
    static const QRegularExpression re(QStringLiteral("^Qt5\\w+\\.dll$"));
#else
    static const QRegularExpression re(QStringLiteral("^libQt5\\w+\\.so\\.5$"));
#endif
    return re.match(strName).hasMatch();
}

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

    // The module asks the loader for Qt, the runtime and the host's eight
    // libraries by their own names; nothing of the replacement host's own.
    void moduleNeedsTheHostLibrariesByTheirNames()
    {
        QString strError;
        const QStringList needed =
            library_symbols::neededLibraries(library_symbols::besideProgram(QString::fromLatin1(kModuleFile)), &strError);
        QVERIFY2(!needed.isEmpty(), qPrintable(strError));
        QSet<QString> hostNeeded;
        for (const QString& strName : needed) {
            if (isQtLibrary(strName) || isRuntimeLibrary(strName))
                continue;
            hostNeeded.insert(strName);
        }
        QSet<QString> expected;
        for (const char* pszLibrary : kHostLibraries)
            expected.insert(hostLibraryFile(QLatin1String(pszLibrary)));
#ifdef Q_OS_WIN
        // Everything the module uses of HXL_ControlCard is reached through
        // virtual calls on the robot service found in the registry, and MinGW
        // keeps the type information of imported classes in the importing
        // DLL: its import table has no entry to give for that library.
        expected.remove(hostLibraryFile(QStringLiteral("HXL_ControlCard")));
#endif
        auto sorted = [](const QSet<QString>& set) {
            QStringList names(set.begin(), set.end());
            names.sort();
            return names.join(QStringLiteral(", "));
        };
        QVERIFY2(hostNeeded == expected, qPrintable(QStringLiteral("the module needs [%1] besides Qt and the runtime, not [%2]")
                                                        .arg(sorted(hostNeeded), sorted(expected))));
        QVERIFY(std::any_of(needed.begin(), needed.end(), isQtLibrary));
    }

    // Each host symbol the module imports comes from the library that holds
    // it in the host: on Windows the import table names that DLL; on Linux
    // that library, and no other of the eight, defines it.
    void eachHostSymbolComesFromItsLibrary()
    {
        QString strError;
        const QMap<QString, QStringList> imports =
            library_symbols::importsByLibrary(library_symbols::besideProgram(QString::fromLatin1(kModuleFile)), &strError);
        QVERIFY2(!imports.isEmpty(), qPrintable(strError));

        // Which of the eight libraries define each name.
        const QStringList needed =
            library_symbols::neededLibraries(library_symbols::besideProgram(QString::fromLatin1(kModuleFile)), &strError);
        QVERIFY2(!needed.isEmpty(), qPrintable(strError));
        QMap<QString, QStringList> definedBy;
        for (const char* pszLibrary : kHostLibraries) {
            const QString strFile = hostLibraryFile(QLatin1String(pszLibrary));
            const QStringList names = library_symbols::exportedNames(library_symbols::besideProgram(strFile), &strError);
            QVERIFY2(!names.isEmpty(), qPrintable(strError));
            for (const QString& strName : names)
                definedBy[strName] << strFile;
        }

        QSet<QString> seen;
        for (auto it = imports.begin(); it != imports.end(); ++it) {
            for (const QString& strName : it.value()) {
                const QString strBare = bareName(library_symbols::demangled(strName));
                const QString strLibrary = hostLibraryOf(strBare);
#ifdef Q_OS_WIN
                const bool bFromHost = !strLibrary.isEmpty() || it.key().startsWith(QStringLiteral("HXL_"));
#else
                const bool bFromHost = !strLibrary.isEmpty() || definedBy.contains(strName);
#endif
                if (!bFromHost)
                    continue;
                seen.insert(strBare);
                QVERIFY2(!strLibrary.isEmpty(),
                         qPrintable(QStringLiteral("the module imports %1, which no host library is to provide").arg(strBare)));
                const QString strExpected = hostLibraryFile(strLibrary);
#ifdef Q_OS_WIN
                QVERIFY2(it.key().compare(strExpected, Qt::CaseInsensitive) == 0,
                         qPrintable(QStringLiteral("%1 is imported from %2, not %3").arg(strBare, it.key(), strExpected)));
#else
                // The loader looks for it only in the libraries the module names.
                QVERIFY2(needed.contains(strExpected),
                         qPrintable(QStringLiteral("%1 is to come from %2, which the module does not name").arg(strBare, strExpected)));
#endif
                QVERIFY2(definedBy.value(strName) == QStringList{strExpected},
                         qPrintable(QStringLiteral("%1 is defined by [%2], not by %3 alone")
                                        .arg(strBare, definedBy.value(strName).join(QStringLiteral(", ")), strExpected)));
            }
        }
        for (const char* pszName : kKnownImports)
            QVERIFY2(seen.contains(QLatin1String(pszName)), pszName);
    }

    // The library carries its version: on Linux the SONAME names the ABI
    // version (libHXL_CameraUI.so.0.1), on Windows the DLL has a version
    // resource with its file and product version.
    void libraryCarriesItsVersion()
    {
#ifdef Q_OS_WIN
        QFile file(library_symbols::besideProgram(QString::fromLatin1(kModuleFile)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        auto utf16 = [](const QString& strText) {
            return QByteArray(reinterpret_cast<const char*>(strText.utf16()), strText.size() * 2);
        };
        // The resource section, as the PE file's section table names it.
        QVERIFY(bytes.contains(QByteArray(".rsrc")));
        for (const char* pszKey : {"VS_VERSION_INFO", "FileVersion", "ProductVersion"})
            QVERIFY2(bytes.contains(utf16(QLatin1String(pszKey))), pszKey);
        QVERIFY(bytes.contains(utf16(QStringLiteral(HXL_CAMERAUI_VERSION))));
        // The fixed part: signature 0xFEEF04BD, then the file version's two
        // 32-bit halves (major << 16 | minor, patch << 16 | build).
        const QStringList parts = QStringLiteral(HXL_CAMERAUI_VERSION).split(QLatin1Char('.'));
        QByteArray fixed("\xBD\x04\xEF\xFE", 4);
        const quint32 nMs = (parts.value(0).toUInt() << 16) | parts.value(1).toUInt();
        const quint32 nLs = parts.value(2).toUInt() << 16;
        QByteArray versions(8, '\0');
        qToLittleEndian(nMs, versions.data());
        qToLittleEndian(nLs, versions.data() + 4);
        const int nAt = bytes.indexOf(fixed);
        QVERIFY(nAt >= 0);
        QCOMPARE(bytes.mid(nAt + 8, 8), versions); // after the signature and the structure version
#else
        QProcess readelf;
        readelf.start(QStringLiteral("readelf"),
                      {QStringLiteral("-d"), library_symbols::besideProgram(QString::fromLatin1(kModuleFile))});
        QVERIFY(readelf.waitForFinished(30000));
        const QStringList sonames =
            library_symbols::dynamicEntries(QString::fromLatin1(readelf.readAllStandardOutput()), QStringLiteral("SONAME"));
        const QStringList parts = QStringLiteral(HXL_CAMERAUI_VERSION).split(QLatin1Char('.'));
        // Before 1.0 each minor release is an ABI of its own; from 1.0 on, each major.
        const QString strAbi = parts.value(0) == QStringLiteral("0") ? parts.mid(0, 2).join(QLatin1Char('.')) : parts.value(0);
        QCOMPARE(sonames, QStringList{QString::fromLatin1(kModuleFile) + QLatin1Char('.') + strAbi});
        QCOMPARE(sonames, QStringList{QStringLiteral(HXL_CAMERAUI_SONAME)});
        // The versioned file itself, and the link the loader follows.
        QVERIFY(QFileInfo::exists(library_symbols::besideProgram(sonames.value(0))));
        QVERIFY(QFileInfo::exists(library_symbols::besideProgram(QString::fromLatin1(kModuleFile) + QLatin1Char('.') +
                                                                 QStringLiteral(HXL_CAMERAUI_VERSION))));
#endif
    }

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
