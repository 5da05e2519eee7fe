// docs/host-integration.md against the code it describes: the record's order
// and widths, the service keys, the host operations the module calls, the
// events, the settings keys and the host symbols the library imports.

#include "HostSim.h"
#include "services/SimCameraManager.h"

#include "host/HXL_ServiceKeys.h"
#include "host/IZKVisionCameraManager.h"

#include "LibrarySymbols.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdint>

namespace {

const QString kSourceDir = QStringLiteral(HXL_SOURCE_DIR);

QString readText(const QString& strPath)
{
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    return QString::fromUtf8(file.readAll());
}

QString guideText()
{
    return readText(kSourceDir + QStringLiteral("/docs/host-integration.md"));
}

// The lines of the guide from the heading that starts with strHeading up to the
// next heading of the same or a higher level.
QStringList guideSection(const QString& strHeading)
{
    const QStringList lines = guideText().split(QLatin1Char('\n'));
    const int nLevel = strHeading.indexOf(QLatin1Char(' '));
    QStringList section;
    bool bInside = false;
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1Char('#'))) {
            const int nLineLevel = line.indexOf(QLatin1Char(' '));
            if (bInside && nLineLevel <= nLevel)
                break;
            if (line.startsWith(strHeading))
                bInside = true;
        }
        if (bInside)
            section << line;
    }
    return section;
}

// The cells of the table rows of a section (header and separator rows dropped).
QList<QStringList> tableRows(const QStringList& section)
{
    QList<QStringList> rows;
    for (const QString& line : section) {
        const QString trimmed = line.trimmed();
        if (!trimmed.startsWith(QLatin1Char('|')) || trimmed.startsWith(QStringLiteral("|---")))
            continue;
        QStringList cells = trimmed.mid(1, trimmed.size() - 2).split(QLatin1Char('|'));
        for (QString& cell : cells)
            cell = cell.trimmed();
        rows << cells;
    }
    return rows;
}

QString unquote(QString strCell)
{
    strCell.remove(QLatin1Char('`'));
    return strCell.trimmed();
}

// Every source file of the module, the host declarations excepted.
QStringList moduleSources()
{
    QStringList texts;
    QDirIterator it(kSourceDir + QStringLiteral("/camera_ui"), {QStringLiteral("*.cpp"), QStringLiteral("*.h")},
                    QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString strPath = it.next();
        if (!strPath.contains(QStringLiteral("/camera_ui/host/")))
            texts << readText(strPath);
    }
    return texts;
}

// Classes of the host declarations with the operations (virtual or static
// member functions) each declares.
QMap<QString, QSet<QString>> hostOperations()
{
    QMap<QString, QSet<QString>> operations;
    const QRegularExpression classRe(QStringLiteral("^(?:class|struct)\\s+(?:HXL_\\w+_EXPORT\\s+)?(\\w+)\\b[^;]*$"));
    const QRegularExpression opRe(QStringLiteral("^\\s*(?:virtual|static)\\s[^(;]*?\\b(~?\\w+)\\s*\\("));
    // Redeclared with a covariant result, without "virtual" (IZKGePolyline::Clone).
    const QRegularExpression overrideRe(QStringLiteral("^\\s*[\\w:<>&\\*\\s]+?\\b(\\w+)\\s*\\([^;]*\\)\\s*(?:const\\s*)?override\\b"));
    const QDir dir(kSourceDir + QStringLiteral("/camera_ui/host"));
    for (const QString& strName : dir.entryList({QStringLiteral("*.h")}, QDir::Files)) {
        QString strClass;
        for (const QString& line : readText(dir.filePath(strName)).split(QLatin1Char('\n'))) {
            const QRegularExpressionMatch classMatch = classRe.match(line);
            if (classMatch.hasMatch()) {
                strClass = classMatch.captured(1);
                continue;
            }
            QRegularExpressionMatch opMatch = opRe.match(line);
            if (!opMatch.hasMatch())
                opMatch = overrideRe.match(line);
            if (opMatch.hasMatch() && !strClass.isEmpty())
                operations[strClass].insert(opMatch.captured(1));
        }
    }
    return operations;
}

// The free functions declared in host/HXL_HostFunctions.h.
QStringList hostFreeFunctions()
{
    QStringList names;
    const QRegularExpression re(QStringLiteral("HXL_[A-Z]+_EXPORT\\s+[\\w:<>&\\s\\*]*?\\b(\\w+)\\s*\\("));
    auto it = re.globalMatch(readText(kSourceDir + QStringLiteral("/camera_ui/host/HXL_HostFunctions.h")));
    while (it.hasNext())
        names << it.next().captured(1);
    return names;
}

// The entries of the host operations section: first cell of each operation row.
QStringList operationEntries()
{
    QStringList entries;
    for (const QStringList& row : tableRows(guideSection(QStringLiteral("## 5. Host operations")))) {
        if (!row.isEmpty() && row.first() != QStringLiteral("Operation"))
            entries << unquote(row.first());
    }
    return entries;
}

struct RecordField
{
    const char* szName;
    std::uintptr_t nAddress;
    std::size_t nBytes;
};

} // namespace

class TestIntegrationGuide : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(m_workDir.isValid(), "no temporary work directory");
        hostsim::HostSim::reset(m_workDir.path());
        QVERIFY2(!guideText().isEmpty(), "docs/host-integration.md cannot be read");
    }

    void recordTableFollowsTheDeclaration()
    {
        IZKVisionCameraManager& m = hostsim::HostSim::cameraManager();
#define HXL_FIELD(f) {#f, reinterpret_cast<std::uintptr_t>(&m.f), sizeof(m.f)}
        const RecordField fields[] = {
            HXL_FIELD(nSatMode), HXL_FIELD(nBriMode), HXL_FIELD(nGrayMode), HXL_FIELD(nGrayProMode),
            HXL_FIELD(nMode5), HXL_FIELD(nMorphologyType), HXL_FIELD(nMorphologyW), HXL_FIELD(nMorphologyH),
            HXL_FIELD(bIsInver), HXL_FIELD(bShowGray), HXL_FIELD(nSatValue), HXL_FIELD(nBriValue),
            HXL_FIELD(nGrayValue), HXL_FIELD(nBriWidth), HXL_FIELD(nGrayWidth), HXL_FIELD(nAdvancedSetting),
            HXL_FIELD(nGoInterfereValue), HXL_FIELD(nFilterMode), HXL_FIELD(nFilterMin), HXL_FIELD(nFilterMax),
            HXL_FIELD(nFilterPoleMode), HXL_FIELD(nFilterPoleValue), HXL_FIELD(bSharpening),
            HXL_FIELD(nSharpenKernel), HXL_FIELD(nAdvancedSetting1), HXL_FIELD(vecMorphology),
            HXL_FIELD(bGoInterfere), HXL_FIELD(bGoInterfereDef), HXL_FIELD(bGrayscaleEqualization),
            HXL_FIELD(bGrayPro), HXL_FIELD(bSatDef), HXL_FIELD(bBriDef), HXL_FIELD(nSatValueDef),
            HXL_FIELD(nBriValueDef), HXL_FIELD(nGrayValueDef), HXL_FIELD(nBriWidthDef), HXL_FIELD(nGrayWidthDef),
            HXL_FIELD(nGoInterfereValueDef),
        };
#undef HXL_FIELD
        QMap<QString, RecordField> byName;
        for (const RecordField& field : fields)
            byName.insert(QString::fromLatin1(field.szName), field);

        const QList<QStringList> rows = tableRows(guideSection(QStringLiteral("## 8. The processing-parameter record")));
        QStringList documented;
        std::uintptr_t nPrevious = 0;
        int nOrder = 0;
        for (const QStringList& row : rows) {
            bool bNumber = false;
            const int nRowOrder = row.value(0).toInt(&bNumber);
            if (!bNumber)
                continue; // the header row
            QCOMPARE(row.size(), 5);
            QCOMPARE(nRowOrder, ++nOrder);
            const QString strField = unquote(row.at(1));
            QVERIFY2(byName.contains(strField), qPrintable(QStringLiteral("unknown record field ") + strField));
            const RecordField& field = byName[strField];
            QVERIFY2(field.nAddress > nPrevious,
                     qPrintable(strField + QStringLiteral(" is not declared after the field before it")));
            nPrevious = field.nAddress;
            // The width column: "4", "1", or "24 with ..." for the vector.
            const int nBytes = row.at(3).section(QLatin1Char(' '), 0, 0).toInt();
            QCOMPARE(static_cast<std::size_t>(nBytes), field.nBytes);
            const QString strType = row.at(2);
            if (strType.startsWith(QStringLiteral("32-bit")))
                QCOMPARE(field.nBytes, std::size_t(4));
            else if (strType == QStringLiteral("bool"))
                QCOMPARE(field.nBytes, std::size_t(1));
            documented << strField;
        }
        QCOMPARE(documented.size(), int(sizeof(fields) / sizeof(fields[0])));
        // And the declaration itself keeps that order.
        for (std::size_t i = 1; i < sizeof(fields) / sizeof(fields[0]); ++i)
            QVERIFY2(fields[i].nAddress > fields[i - 1].nAddress, fields[i].szName);

        // The two host members named in the guide sit where the guide says.
        const QString strSection = guideSection(QStringLiteral("## 8. The processing-parameter record")).join('\n');
        QVERIFY(strSection.contains(QStringLiteral("`nCfgVersion` after `bShowGray`")));
        QVERIFY(strSection.contains(QStringLiteral("`nLastProcessMs` after\n`nFilterPoleValue`"))
                || strSection.contains(QStringLiteral("`nLastProcessMs` after `nFilterPoleValue`")));
        const auto addr = [](const auto& member) { return reinterpret_cast<std::uintptr_t>(&member); };
        QVERIFY(addr(m.nCfgVersion) > addr(m.bShowGray) && addr(m.nCfgVersion) < addr(m.nSatValue));
        QVERIFY(addr(m.nLastProcessMs) > addr(m.nFilterPoleValue) && addr(m.nLastProcessMs) < addr(m.bSharpening));
    }

    void everyServiceKeyIsListedWithItsValue()
    {
        const QMap<QString, int> compiled = {
            {QStringLiteral("VisionCameraManager"), HXLServiceKey::VisionCameraManager},
            {QStringLiteral("AppService"), HXLServiceKey::AppService},
            {QStringLiteral("EntityFactory"), HXLServiceKey::EntityFactory},
            {QStringLiteral("RobotService"), HXLServiceKey::RobotService},
            {QStringLiteral("CCDImageCombineManager"), HXLServiceKey::CCDImageCombineManager},
            {QStringLiteral("PartFactory"), HXLServiceKey::PartFactory},
            {QStringLiteral("VisionLocatorManager"), HXLServiceKey::VisionLocatorManager},
        };
        QMap<QString, int> declared;
        const QRegularExpression re(QStringLiteral("constexpr\\s+int\\s+(\\w+)\\s*=\\s*(-?\\d+)\\s*;"));
        auto it = re.globalMatch(readText(kSourceDir + QStringLiteral("/camera_ui/host/HXL_ServiceKeys.h")));
        while (it.hasNext()) {
            const auto match = it.next();
            declared.insert(match.captured(1), match.captured(2).toInt());
        }
        QCOMPARE(declared, compiled);

        QMap<QString, QStringList> documented;
        for (const QStringList& row : tableRows(guideSection(QStringLiteral("## 4. Service registry and keys")))) {
            const QString strKey = unquote(row.value(0));
            if (strKey.startsWith(QStringLiteral("HXLServiceKey::")))
                documented.insert(strKey.mid(15), row);
        }
        QCOMPARE(documented.keys(), declared.keys());
        for (auto entry = declared.cbegin(); entry != declared.cend(); ++entry) {
            const QStringList row = documented.value(entry.key());
            QCOMPARE(row.value(1), QString::number(entry.value()));
            const QString strHex = QStringLiteral("0x%1")
                                       .arg(static_cast<quint32>(entry.value()), 8, 16, QLatin1Char('0'))
                                       .toUpper()
                                       .replace(QStringLiteral("0X"), QStringLiteral("0x"));
            QCOMPARE(row.value(2), strHex);
        }
    }

    void everyFreeHostFunctionHasAnEntry()
    {
        const QStringList entries = operationEntries();
        const QStringList functions = hostFreeFunctions();
        QVERIFY(functions.size() >= 17);
        for (const QString& strName : functions)
            QVERIFY2(entries.contains(strName), qPrintable(strName + QStringLiteral(" has no entry in the guide")));
    }

    void everyCalledHostOperationHasAnEntry()
    {
        const QMap<QString, QSet<QString>> operations = hostOperations();
        const QStringList entries = operationEntries();
        const QString strSources = moduleSources().join(QLatin1Char('\n'));

        QSet<QString> allNames;
        for (const QSet<QString>& names : operations)
            allNames.unite(names);
        for (const QString& strName : allNames) {
            if (strName.startsWith(QLatin1Char('~')))
                continue;
            // A call through a pointer or reference, or a static call on a host class
            // (the module's own definitions of overrides do not count).
            QStringList owners;
            for (auto it = operations.cbegin(); it != operations.cend(); ++it)
                if (it.value().contains(strName))
                    owners << it.key();
            const QRegularExpression callRe(
                QStringLiteral("(->|\\.)%1\\s*\\(|\\b(%2)::%1\\s*\\(").arg(strName, owners.join(QLatin1Char('|'))));
            if (operations.contains(strName) || !strSources.contains(callRe))
                continue;
            bool bDocumented = false;
            for (auto it = operations.cbegin(); it != operations.cend() && !bDocumented; ++it)
                bDocumented = it.value().contains(strName) && entries.contains(it.key() + QStringLiteral("::") + strName);
            QVERIFY2(bDocumented, qPrintable(QStringLiteral("the module calls %1 but the guide has no entry for it")
                                                 .arg(strName)));
        }
    }

    void everyEntryNamesADeclaredOperationAndAnswersEachQuestion()
    {
        const QMap<QString, QSet<QString>> operations = hostOperations();
        const QStringList functions = hostFreeFunctions();
        const QList<QStringList> rows = tableRows(guideSection(QStringLiteral("## 5. Host operations")));
        int nEntries = 0;
        for (const QStringList& row : rows) {
            if (row.value(0) == QStringLiteral("Operation"))
                continue;
            ++nEntries;
            const QString strEntry = unquote(row.value(0));
            QVERIFY2(row.size() == 6, qPrintable(strEntry + QStringLiteral(": an entry has six columns")));
            for (const QString& cell : row)
                QVERIFY2(!cell.isEmpty(), qPrintable(strEntry + QStringLiteral(" has an empty column")));
            if (strEntry.contains(QStringLiteral("::"))) {
                const QString strClass = strEntry.section(QStringLiteral("::"), 0, 0);
                const QString strName = strEntry.section(QStringLiteral("::"), 1);
                QVERIFY2(operations.value(strClass).contains(strName),
                         qPrintable(strEntry + QStringLiteral(" is not declared in camera_ui/host/")));
            } else {
                QVERIFY2(functions.contains(strEntry),
                         qPrintable(strEntry + QStringLiteral(" is not declared in camera_ui/host/")));
            }
        }
        QVERIFY(nEntries > 80);
    }

    void eventsMatchThePanel()
    {
        const QString strPanel = readText(kSourceDir + QStringLiteral("/camera_ui/ZKCostomCameraWidget.cpp"));
        const int nStart = strPanel.indexOf(QStringLiteral("::OnEvent("));
        QVERIFY(nStart > 0);
        const int nEnd = strPanel.indexOf(QStringLiteral("\n}\n"), nStart);
        const QString strOnEvent = strPanel.mid(nStart, nEnd - nStart);
        QSet<QString> handled;
        auto caseIt = QRegularExpression(QStringLiteral("case\\s+(\\d+)\\s*:")).globalMatch(strOnEvent);
        while (caseIt.hasNext())
            handled.insert(caseIt.next().captured(1));

        QSet<QString> documentedHandled;
        for (const QStringList& row : tableRows(guideSection(QStringLiteral("### Events the panel handles")))) {
            bool bNumber = false;
            row.value(0).toInt(&bNumber);
            if (bNumber)
                documentedHandled.insert(row.value(0));
        }
        QCOMPARE(documentedHandled, handled);

        const QString strSources = moduleSources().join(QLatin1Char('\n'));
        QSet<QString> fired;
        auto fireIt = QRegularExpression(QStringLiteral("FireEvent\\((\\d+),\\s*(\\d+),")).globalMatch(strSources);
        while (fireIt.hasNext()) {
            const auto match = fireIt.next();
            fired.insert(match.captured(1) + QLatin1Char('/') + match.captured(2));
        }
        QSet<QString> documentedFired;
        for (const QStringList& row : tableRows(guideSection(QStringLiteral("### Events the panel fires")))) {
            bool bNumber = false;
            row.value(0).toInt(&bNumber);
            if (bNumber)
                documentedFired.insert(row.value(0) + QLatin1Char('/') + row.value(1));
        }
        QCOMPARE(documentedFired, fired);

        QStringList channels;
        auto addIt = QRegularExpression(QStringLiteral("AddListener\\((\\d+),")).globalMatch(strPanel);
        while (addIt.hasNext())
            channels << addIt.next().captured(1);
        QCOMPARE(channels.size(), 3);
        const QString strChannels = QStringLiteral("channels %1, %2 and %3").arg(channels[0], channels[1], channels[2]);
        const QString strEvents = guideSection(QStringLiteral("## 6. Events")).join(QLatin1Char(' '));
        QVERIFY2(strEvents.contains(strChannels), qPrintable(strChannels));
    }

    void settingsKeysMatchTheEntryPoints()
    {
        const QString strEntry = readText(kSourceDir + QStringLiteral("/camera_ui/HXL_CameraUI.cpp"));
        QStringList read;
        QSet<QString> written;
        auto readIt = QRegularExpression(QStringLiteral("settings\\.value\\(QStringLiteral\\(\"(\\w+)\"\\),\\s*QStringLiteral\\(\"([^\"]*)\"\\)"))
                          .globalMatch(strEntry);
        QMap<QString, QString> defaults;
        while (readIt.hasNext()) {
            const auto match = readIt.next();
            read << match.captured(1);
            defaults.insert(match.captured(1), match.captured(2));
        }
        auto writeIt = QRegularExpression(QStringLiteral("settings\\.setValue\\(QStringLiteral\\(\"(\\w+)\"\\)")).globalMatch(strEntry);
        while (writeIt.hasNext())
            written.insert(writeIt.next().captured(1));
        QCOMPARE(read.size(), 7);

        QStringList documented;
        for (const QStringList& row : tableRows(guideSection(QStringLiteral("## 7. The settings file")))) {
            const QString strKey = unquote(row.value(0));
            if (row.value(0).startsWith(QLatin1Char('`'))) {
                documented << strKey;
                QCOMPARE(row.value(3) == QStringLiteral("yes"), written.contains(strKey));
                // Defaults: "0", "1" and "false" as the file's "0" for a bool.
                const QString strDefault = row.value(2) == QStringLiteral("false") ? QStringLiteral("0") : row.value(2);
                QCOMPARE(strDefault, defaults.value(strKey));
            }
        }
        QCOMPARE(documented, read);
        const QString strSection = guideSection(QStringLiteral("## 7. The settings file")).join(QLatin1Char(' '));
        QVERIFY(strEntry.contains(QStringLiteral("\"qcv.dat\"")) && strSection.contains(QStringLiteral("`qcv.dat`")));
        QVERIFY(strEntry.contains(QStringLiteral("\"HXL_CameraUI\"")) && strSection.contains(QStringLiteral("`[HXL_CameraUI]`")));
    }

    void everyImportedHostSymbolIsListed()
    {
        // Both libraries as the loader sees them (the dynamic symbols on
        // Linux, the export and import tables of the DLLs on Windows), with
        // the names demangled as the guide writes them.
        auto demangledSet = [](const QStringList& names) {
            QSet<QString> symbols;
            for (const QString& strName : names)
                symbols.insert(library_symbols::demangled(strName));
            return symbols;
        };
        QString strError;
        // The host's eight libraries, by their own names.
        QSet<QString> hostDefined;
        for (const char* pszLibrary : {"HXL_CadBase", "HXL_VisionCameraManager", "HXL_VisionBase", "HXL_VisionFeature",
                                       "HXL_VisionCameraCalibration", "HXL_CommonCtrl", "HXL_ControlCard", "HXL_Language"}) {
#ifdef Q_OS_WIN
            const QString strFile = QLatin1String(pszLibrary) + QStringLiteral(".dll");
#else
            const QString strFile = QStringLiteral("lib") + QLatin1String(pszLibrary) + QStringLiteral(".so");
#endif
            const QSet<QString> defined =
                demangledSet(library_symbols::exportedNames(library_symbols::besideProgram(strFile), &strError));
            QVERIFY2(!defined.isEmpty(), qPrintable(strError));
            hostDefined += defined;
        }
        const QSet<QString> moduleUndefined = demangledSet(library_symbols::importedNames(
            library_symbols::besideProgram(QStringLiteral(HXL_CAMERAUI_LIBRARY_NAME)), &strError));
        QVERIFY2(!moduleUndefined.isEmpty(), qPrintable(strError));
        QSet<QString> imported = moduleUndefined;
        imported.intersect(hostDefined);
        QVERIFY(!imported.isEmpty());

        const QString strSection = guideSection(QStringLiteral("## 9. What each host library must export")).join(QLatin1Char(' '));
        const QMap<QString, QSet<QString>> hostClasses = hostOperations();
        const QRegularExpression typeInfoRe(QStringLiteral("^(?:typeinfo|typeinfo name|vtable) for (\\w+)$"));
        for (const QString& strSymbol : imported) {
            // Instrumented builds import the type information of more host
            // classes; the guide names the rule for those, not each class.
            const QRegularExpressionMatch typeInfo = typeInfoRe.match(strSymbol);
            if (typeInfo.hasMatch() && !strSection.contains(QLatin1Char('`') + strSymbol + QLatin1Char('`'))) {
                QVERIFY2(hostClasses.contains(typeInfo.captured(1)),
                         qPrintable(strSymbol + QStringLiteral(" is not the type information of a host class")));
                QVERIFY(strSection.contains(QStringLiteral("UndefinedBehaviorSanitizer")));
                continue;
            }
            // The name without its argument list and ABI tag.
            QString strName = strSymbol.section(QLatin1Char('('), 0, 0);
            strName.remove(QRegularExpression(QStringLiteral("\\[abi:\\w+\\]")));
            QVERIFY2(strSection.contains(QLatin1Char('`') + strName + QLatin1Char('`')),
                     qPrintable(QStringLiteral("the module imports %1 from the host; the guide does not list it").arg(strSymbol)));
        }
    }

private:
    QTemporaryDir m_workDir;
};

QTEST_MAIN(TestIntegrationGuide)
#include "tst_integration_guide.moc"
