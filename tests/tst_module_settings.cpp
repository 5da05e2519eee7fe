// Entry points and the settings file "qcv.dat" in the host's work directory.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"

#include "HostJournal.h"
#include "HostSim.h"

#include "host/IHXLLanguageManager.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <type_traits>

using hostsim::HostSim;

class TestModuleSettings : public QObject
{
    Q_OBJECT

private:
    QString qcvPath() const { return m_pDir->filePath(QStringLiteral("qcv.dat")); }

    static void scrambleSettings()
    {
        isAutoPhoto = 5;
        isOpenVideo = 7;
        bIsDebug = true;
        dPerMinX = dPerMaxX = dPerMinY = dPerMaxY = 0.5;
    }

    QByteArray fileText() const
    {
        QFile file(qcvPath());
        if (!file.open(QIODevice::ReadOnly))
            return QByteArray();
        return file.readAll();
    }

private slots:
    // Runs first: the language manager of the process is made here.
    void readParamMakesOneLanguageManager()
    {
        m_pDir.reset(new QTemporaryDir());
        HostSim::reset(m_pDir->path());
        QCOMPARE(g_pLanguageManager, static_cast<IHXLLanguageManager*>(nullptr));
        QCOMPARE(HXL_CameraUI_ReadParam(), 0);
        IHXLLanguageManager* pFirst = g_pLanguageManager;
        QVERIFY(pFirst);
        const QStringList setUp = HostSim::journal().linesStartingWith(QStringLiteral("IHXLLanguageManager::"));
        QCOMPARE(setUp, QStringList({QStringLiteral("IHXLLanguageManager::Create()"),
                                     QStringLiteral("IHXLLanguageManager::LoadTextTable(CameraUI)"),
                                     QStringLiteral("IHXLLanguageManager::ApplyLanguage()")}));
        QCOMPARE(HXL_CameraUI_ReadParam(), 0);
        QCOMPARE(g_pLanguageManager, pFirst);
        QCOMPARE(HostSim::journal().count(QStringLiteral("IHXLLanguageManager::Create()")), 1);
    }

    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        HostSim::reset(m_pDir->path());
    }

    void settingsFileIsWorkPathPlusName()
    {
        QCOMPARE(HXL_SettingsFilePath(), HostSim::workPath() + QStringLiteral("qcv.dat"));
    }

    void noFileGivesDefaults()
    {
        scrambleSettings();
        QVERIFY(!QFile::exists(qcvPath()));
        QCOMPARE(HXL_CameraUI_ReadParam(), 0);
        QCOMPARE(isAutoPhoto, 0);
        QCOMPARE(isOpenVideo, 1);
        QCOMPARE(bIsDebug, false);
        QCOMPARE(dPerMinX, 0.0);
        QCOMPARE(dPerMaxX, 0.0);
        QCOMPARE(dPerMinY, 0.0);
        QCOMPARE(dPerMaxY, 0.0);
        QVERIFY(!QFile::exists(qcvPath())); // reading writes nothing
    }

    void exitWritesSixKeysAndNoDebugEntry()
    {
        HXL_CameraUI_ReadParam();
        HXL_CameraUI_TellAppExit();
        QSettings settings(qcvPath(), QSettings::IniFormat);
        QCOMPARE(settings.childGroups(), QStringList{QStringLiteral("HXL_CameraUI")});
        settings.beginGroup(QStringLiteral("HXL_CameraUI"));
        QStringList keys = settings.childKeys();
        keys.sort();
        QCOMPARE(keys, QStringList({QStringLiteral("dPerMaxX"), QStringLiteral("dPerMaxY"), QStringLiteral("dPerMinX"),
                                    QStringLiteral("dPerMinY"), QStringLiteral("isAutoPhoto"),
                                    QStringLiteral("isOpenVideo")}));
        QCOMPARE(settings.value(QStringLiteral("isOpenVideo")).toString(), QStringLiteral("1"));
        QCOMPARE(settings.value(QStringLiteral("isAutoPhoto")).toString(), QStringLiteral("0"));
    }

    void valuesRoundTrip()
    {
        isAutoPhoto = 1;
        isOpenVideo = 0;
        dPerMinX = 0.1;
        dPerMaxX = 0.9;
        dPerMinY = 0.25;
        dPerMaxY = 0.75;
        HXL_CameraUI_TellAppExit();
        scrambleSettings();
        HXL_CameraUI_ReadParam();
        QCOMPARE(isAutoPhoto, 1);
        QCOMPARE(isOpenVideo, 0);
        QCOMPARE(dPerMinX, 0.1);
        QCOMPARE(dPerMaxX, 0.9);
        QCOMPARE(dPerMinY, 0.25);
        QCOMPARE(dPerMaxY, 0.75);
        QCOMPARE(bIsDebug, false);
    }

    void fractionsKeepSixSignificantDigits()
    {
        HXL_CameraUI_ReadParam();
        dPerMinX = 0.123456789;
        dPerMaxY = 0.987654321;
        HXL_CameraUI_TellAppExit();
        const QByteArray text = fileText();
        QVERIFY2(text.contains("dPerMinX=0.123457\n") || text.contains("dPerMinX=0.123457\r\n"), text.constData());
        QVERIFY(text.contains("dPerMaxY=0.987654"));
        HXL_CameraUI_ReadParam();
        QCOMPARE(dPerMinX, 0.123457);
    }

    void debugEntryIsKeptUntouched()
    {
        QFile file(qcvPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[HXL_CameraUI]\nbIsDebug=true\nisOpenVideo=0\n");
        file.close();
        HXL_CameraUI_ReadParam();
        QCOMPARE(bIsDebug, true);
        QCOMPARE(isOpenVideo, 0);
        bIsDebug = false; // nothing in the module writes it back, whatever it holds
        HXL_CameraUI_TellAppExit();
        QSettings settings(qcvPath(), QSettings::IniFormat);
        QCOMPARE(settings.value(QStringLiteral("HXL_CameraUI/bIsDebug")).toString(), QStringLiteral("true"));
        QCOMPARE(settings.value(QStringLiteral("HXL_CameraUI/isOpenVideo")).toString(), QStringLiteral("0"));
    }

    void readingAgainRereads()
    {
        HXL_CameraUI_ReadParam();
        QSettings settings(qcvPath(), QSettings::IniFormat);
        settings.setValue(QStringLiteral("HXL_CameraUI/isAutoPhoto"), QStringLiteral("1"));
        settings.sync();
        HXL_CameraUI_ReadParam();
        QCOMPARE(isAutoPhoto, 1);
    }

    void utf8CodecForTheFile()
    {
        // Values are plain numbers; the group and keys must read back through a UTF-8 codec.
        HXL_CameraUI_TellAppExit();
        QSettings settings(qcvPath(), QSettings::IniFormat);
        settings.setIniCodec(QTextCodec::codecForName("utf-8"));
        QVERIFY(settings.contains(QStringLiteral("HXL_CameraUI/dPerMinY")));
    }

    void textsComeFromTheHostTable()
    {
        HXL_CameraUI_ReadParam();
        QCOMPARE(HXL_Text(0), QStringLiteral("Take Photo"));
        QCOMPARE(HXL_Text(44), QStringLiteral("Processing"));
        // Chinese texts arrive intact through UTF-8.
        g_pLanguageManager->SetLanguage("zh_CN");
        g_pLanguageManager->ApplyLanguage();
        QCOMPARE(HXL_Text(0), QStringLiteral("拍照"));
        QCOMPARE(HXL_Text(56), QStringLiteral("确定删除全部形态学步骤吗？"));
        g_pLanguageManager->SetLanguage("en");
        g_pLanguageManager->ApplyLanguage();
        HostSim::journal().clear();
        HXL_Text(36);
        QCOMPARE(HostSim::journal().lines(), QStringList{QStringLiteral("IHXLLanguageManager::GetText(36)")});
    }

    void videoCloseFlagIsStored()
    {
        HXL_CameraUI_SetVideoClose(3);
        QCOMPARE(g_nVideoClose, 3);
        HXL_CameraUI_SetVideoClose(0);
        QCOMPARE(g_nVideoClose, 0);
    }

    void cameraTypeNames()
    {
        const QStringList names = {QStringLiteral("Auto"),      QStringLiteral("Canon"), QStringLiteral("MindVision"),
                                   QStringLiteral("Microview"), QStringLiteral("Baler"), QStringLiteral("Galaxy")};
        QCOMPARE(int(sizeof(CameraTypeNames) / sizeof(CameraTypeNames[0])), 6);
        for (int i = 0; i < 6; ++i)
            QCOMPARE(QString::fromStdString(CameraTypeNames[i]), names.at(i));
    }

    void moduleClassIsEmptyAndTrivial()
    {
        QVERIFY(std::is_empty<HXL_CameraUI>::value);
        QVERIFY(std::is_trivially_default_constructible<HXL_CameraUI>::value);
        QVERIFY(std::is_trivially_copy_assignable<HXL_CameraUI>::value);
        QVERIFY(std::is_trivially_move_assignable<HXL_CameraUI>::value);
        HXL_CameraUI a, b;
        a = b;
        a = std::move(b);
    }

    void moduleWideStateStartsAsTheHostExpects()
    {
        QVERIFY(g_bCanApply);
        QVERIFY(g_bCanCapture);
        QVERIFY(!g_bCameraChangeAllowed);
        QVERIFY(!g_bSkipContextMenu);
        QVERIFY(!g_pMorphologyDialog);
        QVERIFY(!g_pPreprocessingDialog);
    }

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
};

QTEST_MAIN(TestModuleSettings)
#include "tst_module_settings.moc"
