// The module finds host services by key in the host's ordered registry: the
// entry with exactly that key, cast to the wanted interface.

#include "HXL_ModuleGlobals.h"

#include "HostSim.h"
#include "services/SimCameraManager.h"

#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"
#include "host/IZKDatabase.h"
#include "host/IZKRobotService.h"
#include "host/IZKVisionCameraManager.h"
#include "host/ZKAppService.h"
#include "host/ZKCCDImageCombineManager.h"
#include "host/ZKVisionLocatorManager.h"

#include <QTemporaryDir>
#include <QtTest>

using hostsim::HostSim;

namespace {
// A service of no interface the module knows.
class ForeignService : public IService
{
};

// Each lookup of the module, by the key it uses.
IService* lookupByKey(int nKey)
{
    switch (nKey) {
    case HXLServiceKey::VisionCameraManager: return HXL_GetVisionCameraManager();
    case HXLServiceKey::AppService: return HXL_GetAppService();
    case HXLServiceKey::EntityFactory: return HXL_GetEntityFactory();
    case HXLServiceKey::RobotService: return HXL_GetRobotService();
    case HXLServiceKey::CCDImageCombineManager: return HXL_GetCCDImageCombineManager();
    case HXLServiceKey::PartFactory: return HXL_GetPartFactory();
    case HXLServiceKey::VisionLocatorManager: return HXL_GetVisionLocatorManager();
    }
    return nullptr;
}

quint32 crc32TableEntry(quint32 n)
{
    quint32 c = n;
    for (int k = 0; k < 8; ++k)
        c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    return c;
}
} // namespace

class TestRegistry : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        HostSim::reset(m_dir.path());
    }

    void keysAreTheCrcTableEntries_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("entry");
        QTest::newRow("camera manager") << HXLServiceKey::VisionCameraManager << 7;
        QTest::newRow("app service") << HXLServiceKey::AppService << 8;
        QTest::newRow("entity factory") << HXLServiceKey::EntityFactory << 2;
        QTest::newRow("robot service") << HXLServiceKey::RobotService << 5;
        QTest::newRow("combine manager") << HXLServiceKey::CCDImageCombineManager << 10;
        QTest::newRow("part factory") << HXLServiceKey::PartFactory << 1;
        QTest::newRow("locator manager") << HXLServiceKey::VisionLocatorManager << 9;
    }
    void keysAreTheCrcTableEntries()
    {
        QFETCH(int, key);
        QFETCH(int, entry);
        QCOMPARE(static_cast<quint32>(key), crc32TableEntry(static_cast<quint32>(entry)));
    }

    void eachLookupFindsItsService_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("camera manager") << HXLServiceKey::VisionCameraManager;
        QTest::newRow("app service") << HXLServiceKey::AppService;
        QTest::newRow("entity factory") << HXLServiceKey::EntityFactory;
        QTest::newRow("robot service") << HXLServiceKey::RobotService;
        QTest::newRow("combine manager") << HXLServiceKey::CCDImageCombineManager;
        QTest::newRow("part factory") << HXLServiceKey::PartFactory;
        QTest::newRow("locator manager") << HXLServiceKey::VisionLocatorManager;
    }
    void eachLookupFindsItsService()
    {
        QFETCH(int, key);
        IService* pRegistered = IServiceManager::singleton()->m_mapService.at(key);
        QVERIFY(pRegistered);
        QCOMPARE(lookupByKey(key), pRegistered);
    }

    void lookupsReturnTheRightInterfaces()
    {
        QCOMPARE(HXL_GetVisionCameraManager(),
                 static_cast<IZKVisionCameraManager*>(&HostSim::cameraManager()));
        QVERIFY(HXL_GetAppService()->GetMainApp());
        QVERIFY(HXL_GetRobotService()->GetCurMachine());
        QVERIFY(HXL_GetPartFactory());
        QVERIFY(HXL_GetEntityFactory());
        QVERIFY(HXL_GetVisionLocatorManager()->GetDataPoolMgr());
        QVERIFY(HXL_GetCCDImageCombineManager());
    }

    // The registry map is searched with lower_bound: a missing key lands on
    // the next larger key, which must not be taken.
    void missingKeyGivesNullNotTheNextService_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("camera manager") << HXLServiceKey::VisionCameraManager;
        QTest::newRow("entity factory") << HXLServiceKey::EntityFactory;
        QTest::newRow("combine manager") << HXLServiceKey::CCDImageCombineManager;
        QTest::newRow("app service") << HXLServiceKey::AppService;
        QTest::newRow("robot service") << HXLServiceKey::RobotService;
        QTest::newRow("part factory") << HXLServiceKey::PartFactory;
        QTest::newRow("locator manager (largest key)") << HXLServiceKey::VisionLocatorManager;
    }
    void missingKeyGivesNullNotTheNextService()
    {
        QFETCH(int, key);
        IServiceManager* pRegistry = IServiceManager::singleton();
        IService* pRemoved = pRegistry->UnregisterService(key);
        QVERIFY(pRemoved);
        // Something registered just above the key, of the same interface as
        // the wanted service, so that only the key comparison can refuse it.
        pRegistry->RegisterService(key + 1, pRemoved);
        QVERIFY(pRegistry->m_mapService.lower_bound(key) != pRegistry->m_mapService.end());
        QCOMPARE(lookupByKey(key), static_cast<IService*>(nullptr));
        pRegistry->UnregisterService(key + 1);
        pRegistry->RegisterService(key, pRemoved);
        QCOMPARE(lookupByKey(key), pRemoved);
    }

    void wrongTypeGivesNull_data() { eachLookupFindsItsService_data(); }
    void wrongTypeGivesNull()
    {
        QFETCH(int, key);
        ForeignService foreign;
        IServiceManager* pRegistry = IServiceManager::singleton();
        IService* pOld = pRegistry->RegisterService(key, &foreign);
        QCOMPARE(lookupByKey(key), static_cast<IService*>(nullptr));
        pRegistry->RegisterService(key, pOld);
    }

    void nullEntryGivesNull()
    {
        IServiceManager* pRegistry = IServiceManager::singleton();
        IService* pOld = pRegistry->RegisterService(HXLServiceKey::RobotService, nullptr);
        QCOMPARE(HXL_GetRobotService(), static_cast<IZKRobotService*>(nullptr));
        pRegistry->RegisterService(HXLServiceKey::RobotService, pOld);
    }

    void emptyRegistryGivesNull()
    {
        IServiceManager* pRegistry = IServiceManager::singleton();
        const auto saved = pRegistry->m_mapService;
        pRegistry->m_mapService.clear();
        QCOMPARE(HXL_GetVisionCameraManager(), static_cast<IZKVisionCameraManager*>(nullptr));
        QCOMPARE(HXL_GetVisionLocatorManager(), static_cast<ZKVisionLocatorManager*>(nullptr));
        pRegistry->m_mapService = saved;
    }

    // The facade's switch for a host without a service: only that key goes,
    // until the next reset.
    void withdrawnServiceIsGoneUntilReset_data() { eachLookupFindsItsService_data(); }
    void withdrawnServiceIsGoneUntilReset()
    {
        QFETCH(int, key);
        QVERIFY(HostSim::withdrawService(key));
        QCOMPARE(lookupByKey(key), static_cast<IService*>(nullptr));
        QCOMPARE(IServiceManager::singleton()->m_mapService.count(key), size_t(0));
        QCOMPARE(IServiceManager::singleton()->m_mapService.size(), size_t(6));
        QVERIFY(!HostSim::withdrawService(key)); // nothing left to withdraw
        HostSim::reset();
        QVERIFY(lookupByKey(key));
    }

    void registryMapIsTheFirstMember()
    {
        IServiceManager* pRegistry = IServiceManager::singleton();
        QCOMPARE(static_cast<void*>(&pRegistry->m_mapService), static_cast<void*>(pRegistry));
    }

    void resetRegistersAFreshHost()
    {
        IZKVisionCameraManager* pBefore = HXL_GetVisionCameraManager();
        pBefore->nSatMode = 2;
        HostSim::reset();
        IZKVisionCameraManager* pAfter = HXL_GetVisionCameraManager();
        QVERIFY(pAfter);
        QVERIFY(pAfter != pBefore);
        QCOMPARE(pAfter->nSatMode, 0);
        QCOMPARE(IServiceManager::singleton()->m_mapService.size(), size_t(7));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestRegistry)
#include "tst_hostsim_registry.moc"
