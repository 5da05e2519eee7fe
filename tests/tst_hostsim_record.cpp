// The processing record is an in-memory interface: the panel writes the camera
// manager's public fields in place, so their order and widths are fixed.

#include "HostSim.h"
#include "services/SimCameraManager.h"

#include "host/IZKVisionCameraManager.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstddef>
#include <cstdint>
#include <type_traits>

using hostsim::HostSim;

class TestRecord : public QObject
{
    Q_OBJECT

private:
    struct Field
    {
        const char* name;
        const void* address;
        size_t size;
    };

    static std::vector<Field> fieldsInOrder(const IZKVisionCameraManager& m)
    {
#define F(f) Field{#f, static_cast<const void*>(&m.f), sizeof(m.f)}
        return {F(nSatMode), F(nBriMode), F(nGrayMode), F(nGrayProMode), F(nMode5), F(nMorphologyType),
                F(nMorphologyW), F(nMorphologyH), F(bIsInver), F(bShowGray), F(nSatValue), F(nBriValue),
                F(nGrayValue), F(nBriWidth), F(nGrayWidth), F(nAdvancedSetting), F(nGoInterfereValue),
                F(nFilterMode), F(nFilterMin), F(nFilterMax), F(nFilterPoleMode), F(nFilterPoleValue),
                F(bSharpening), F(nSharpenKernel), F(nAdvancedSetting1), F(vecMorphology), F(bGoInterfere),
                F(bGoInterfereDef), F(bGrayscaleEqualization), F(bGrayPro), F(bSatDef), F(bBriDef),
                F(nSatValueDef), F(nBriValueDef), F(nGrayValueDef), F(nBriWidthDef), F(nGrayWidthDef),
                F(nGoInterfereValueDef)};
#undef F
    }

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
    }

    void fieldsLieInRecordOrder()
    {
        const std::vector<Field> fields = fieldsInOrder(HostSim::cameraManager());
        QCOMPARE(fields.size(), size_t(38));
        for (size_t i = 1; i < fields.size(); ++i) {
            const auto* pPrev = static_cast<const char*>(fields[i - 1].address);
            const auto* pThis = static_cast<const char*>(fields[i].address);
            QVERIFY2(pThis >= pPrev + fields[i - 1].size,
                     qPrintable(QStringLiteral("%1 does not follow %2").arg(fields[i].name, fields[i - 1].name)));
        }
    }

    // The host keeps members of its own between some record fields.
    void hostMembersSitBetweenRecordFields()
    {
        const IZKVisionCameraManager& m = HostSim::cameraManager();
        const auto* pShowGray = reinterpret_cast<const char*>(&m.bShowGray);
        const auto* pSatValue = reinterpret_cast<const char*>(&m.nSatValue);
        const auto* pVersion = reinterpret_cast<const char*>(&m.nCfgVersion);
        QVERIFY(pVersion > pShowGray && pVersion < pSatValue);
        const auto* pPole = reinterpret_cast<const char*>(&m.nFilterPoleValue);
        const auto* pSharp = reinterpret_cast<const char*>(&m.bSharpening);
        const auto* pLast = reinterpret_cast<const char*>(&m.nLastProcessMs);
        QVERIFY(pLast > pPole && pLast < pSharp);
    }

    void fieldWidths()
    {
        const IZKVisionCameraManager& m = HostSim::cameraManager();
        QCOMPARE(sizeof(m.nSatMode), size_t(4));
        QCOMPARE(sizeof(m.nMorphologyH), size_t(4));
        QCOMPARE(sizeof(m.bIsInver), size_t(1));
        QCOMPARE(sizeof(m.bShowGray), size_t(1));
        QCOMPARE(sizeof(m.bSharpening), size_t(4));
        QCOMPARE(sizeof(m.nAdvancedSetting1), size_t(4));
        QCOMPARE(sizeof(m.bGoInterfere), size_t(1));
        QCOMPARE(sizeof(m.bBriDef), size_t(1));
        QCOMPARE(sizeof(m.nGoInterfereValueDef), size_t(4));
        QVERIFY((std::is_same<decltype(IZKVisionCameraManager::bIsInver), bool>::value));
        QVERIFY((std::is_same<decltype(IZKVisionCameraManager::bSharpening), int32_t>::value));
    }

    void morphologyStepIsFourInt32()
    {
        QCOMPARE(sizeof(ZKMorphologyParam), size_t(16));
        QCOMPARE(offsetof(ZKMorphologyParam, nMorphType), size_t(0));
        QCOMPARE(offsetof(ZKMorphologyParam, nLineSize), size_t(4));
        QCOMPARE(offsetof(ZKMorphologyParam, bEnable), size_t(8));
        QCOMPARE(offsetof(ZKMorphologyParam, nReserved), size_t(12));
        // A contiguous array of records, in execution order.
        std::vector<ZKMorphologyParam>& steps = HostSim::cameraManager().vecMorphology;
        steps = {{1, 11, 1, 0}, {4, 3, 1, 0}};
        QCOMPARE(reinterpret_cast<char*>(&steps[1]) - reinterpret_cast<char*>(&steps[0]), ptrdiff_t(16));
    }

    void resetRecordRestoresDefaults()
    {
        hostsim::SimCameraManager& m = HostSim::cameraManager();
        const QByteArray defaults = m.recordToJson();
        m.nSatMode = 2;
        m.bIsInver = true;
        m.vecMorphology.push_back({2, 5, 1, 0});
        QVERIFY(m.recordToJson() != defaults);
        m.resetRecord();
        QCOMPARE(m.recordToJson(), defaults);
        QCOMPARE(m.nMode5, 10);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestRecord)
#include "tst_hostsim_record.moc"
