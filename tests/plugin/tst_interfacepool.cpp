#include "logrecorder.h"
#include "simscenario.h"
#include "testmain.h"

#include <plugins/optiroster/interfaceinfolist.h>
#include <plugins/optiroster/internal/interface.h>
#include <plugins/optiroster/internal/interfacepool.h>

#include <stdexcept>

using namespace Plugin::OptiRoster;
using Internal::CInterfacePool;

class TestInterfacePool : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void anInterfaceOpensOnceAndEachReopenMakesANewSdkInterface();
    void aThrowingParameterCallbackDoesntStopTheClose();
    void aFailedOpenOrCloseIsReported_data();
    void aFailedOpenOrCloseIsReported();
    void aLayerThatCantBeHadDoesntStopTheClose();
    void anInterfaceThatNeverOpenedTakesItsSdkObjectAlong();

private:
    DeviceBaseInfoPtr m_info;
    std::unique_ptr<CInterfacePool> m_pPool;
};

void TestInterfacePool::init()
{
    TavixSim::reset();
    const QJsonArray interfaces{QJsonObject{{"id", "pool-eth0"}, {"friendlyName", "Ethernet"},
                                            {"features", QJsonArray{QJsonObject{{"name", "Mtu"}, {"type", "integer"}, {"value", 1500}}}}}};
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer({}, interfaces)}), QString());
    Tavix::InterfaceInfoList records(1);
    records[0].SetPropertyValue("InterfaceID", "pool-eth0");
    records[0].SetPropertyValue("DeviceClass", "VorlanGigE");
    m_info = CInterfaceInfoList::fromInterfaceInfoList(records).toDeviceBaseInfoVector().at(0);
    m_pPool = std::make_unique<CInterfacePool>(nullptr);
    m_pPool->addDevice(m_info);
}

// The life of an interface: a close before any open, two opens, closes and a reopen.
void TestInterfacePool::anInterfaceOpensOnceAndEachReopenMakesANewSdkInterface()
{
    QSignalSpy opening(m_pPool.get(), &Internal::ADevicePool::deviceOpening);
    QSignalSpy opened(m_pPool.get(), &Internal::ADevicePool::deviceOpened);
    QSignalSpy closing(m_pPool.get(), &Internal::ADevicePool::deviceClosing);
    const auto device = m_pPool->getDevice(m_info);
    QVERIFY(device->isConnected()); // an interface has no loss of device
    QVERIFY(!device->isOpen());
    m_pPool->closeDevice(m_info); // never opened: nothing happens
    QCOMPARE(closing.count(), 0);
    const auto collection = device->getParameterCollection();
    QCOMPARE(collection->getNodeMapNames(), QStringList{QStringLiteral("@Interface")});

    QVERIFY(m_pPool->openDevice(m_info, true));
    QVERIFY(!m_pPool->openDevice(m_info, false));
    QCOMPARE(opening.count(), 1);
    QCOMPARE(opened.count(), 1);
    QCOMPARE(collection->getIntegerParameter(QStringLiteral("@Interface/Mtu"))->getValue(), qint64(1500));
    QCOMPARE(collection->getObjectState()->getState(), ParameterCollection::ObjectStateOpen);
    const auto mtu = collection->getIntegerParameter(QStringLiteral("Mtu"));
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInterface), 1);
    m_pPool->closeDevice(m_info);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInterface), 0);
    QVERIFY(!mtu->isAvailable()); // the handle stays, the value is gone
    QCOMPARE(collection->getObjectState()->getState(), ParameterCollection::ObjectStateClosing);
    QVERIFY(m_pPool->openDevice(m_info, false));
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInterface), 1);
    QCOMPARE(mtu->getValue(), qint64(1500));
    // The layer that made the SDK interface lives exactly as long as that interface.
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), 1);
    m_pPool->closeDevice(m_info);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), 0);
}

void TestInterfacePool::aLayerThatCantBeHadDoesntStopTheClose()
{
    QVERIFY(m_pPool->openDevice(m_info, false));
    TavixSim::injectFault({"*", "CreateTl", "RuntimeException", "producer gone", -1});
    QSignalSpy closed(m_pPool.get(), &Internal::ADevicePool::deviceClosed);
    m_pPool->closeDevice(m_info);
    QCOMPARE(closed.count(), 1);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInterface), 0);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), 0);
    TavixSim::clearFaults();
}

void TestInterfacePool::anInterfaceThatNeverOpenedTakesItsSdkObjectAlong()
{
    TavixSim::injectFault({"pool-eth0", "InterfaceOpen", "RuntimeException", "no link", 1});
    QVERIFY(!m_pPool->openDevice(m_info, false)); // the SDK interface exists, not open
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInterface), 1);
    m_pPool.reset();
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInterface), 0);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), 0);
}

void TestInterfacePool::aThrowingParameterCallbackDoesntStopTheClose()
{
    QVERIFY(m_pPool->openDevice(m_info, false));
    const auto collection = m_pPool->getDevice(m_info)->getParameterCollection();
    int told = 0;
    // A client that fails when the collection lets go of everything, after the map was unbound.
    collection->addNodeMapListener([&](const QString&, GenApi::INodeMap* map) {
        if (!map && ++told == 2)
            throw std::runtime_error("client callback failed");
    });
    CLogRecorder log;
    QSignalSpy closed(m_pPool.get(), &Internal::ADevicePool::deviceClosed);
    m_pPool->closeDevice(m_info);
    QCOMPARE(closed.count(), 1);
    QCOMPARE(told, 2);
    QVERIFY(!m_pPool->getDevice(m_info)->isOpen());
    QCOMPARE(m_info->getLastError(), QStringLiteral("client callback failed"));
    QCOMPARE(log.messages(QStringLiteral("tavix.viewer.plugins.optiRoster.interface")),
             QStringList{QStringLiteral("Could not detach from interface node maps. Unexpected exceptions e.g. from callbacks. "
                                        "Reason: client callback failed")});
    QVERIFY(m_pPool->openDevice(m_info, false)); // the collection stays usable

    m_pPool.reset(); // a client's collection outlives the interface
    QCOMPARE(collection->getObjectState()->getState(), ParameterCollection::ObjectStateFree);
    QVERIFY(collection->getNodeMapNames().isEmpty() || !collection->getNodeMap(QStringLiteral("@Interface")));
}

void TestInterfacePool::aFailedOpenOrCloseIsReported_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("logged");
    QTest::newRow("open") << "InterfaceOpen" << "AccessException" << "Interface could not be opened. Reason: AccessException: port in use";
    QTest::newRow("open, below the SDK") << "InterfaceOpen" << "std::runtime_error" << "Interface could not be opened. Reason: port in use";
    QTest::newRow("close") << "InterfaceClose" << "AccessException"
                           << "Interface could not be closed properly. Reason: AccessException: port in use";
    QTest::newRow("close, below the SDK") << "InterfaceClose" << "std::runtime_error"
                                          << "Interface could not be closed properly. Reason: port in use";
}

void TestInterfacePool::aFailedOpenOrCloseIsReported()
{
    QFETCH(QString, operation);
    QFETCH(QString, type);
    QFETCH(QString, logged);
    const bool closing = operation == QLatin1String("InterfaceClose");
    if (closing)
        QVERIFY(m_pPool->openDevice(m_info, false));
    CLogRecorder log;
    TavixSim::injectFault({"pool-eth0", operation.toStdString(), type.toStdString(), "port in use", 1});
    QSignalSpy opening(m_pPool.get(), &Internal::ADevicePool::deviceOpening);
    QSignalSpy opened(m_pPool.get(), &Internal::ADevicePool::deviceOpened);
    QSignalSpy closed(m_pPool.get(), &Internal::ADevicePool::deviceClosed);
    if (closing)
        m_pPool->closeDevice(m_info); // reported, not thrown at the client
    else
        QVERIFY(!m_pPool->openDevice(m_info, false));
    QCOMPARE(opening.count(), closing ? 0 : 1);
    QCOMPARE(opened.count(), 0);
    QCOMPARE(closed.count(), closing ? 1 : 0);
    QCOMPARE(m_info->getLastError(), QStringLiteral("port in use"));
    const QStringList lines = log.messages(QStringLiteral("tavix.viewer.plugins.optiRoster.interface"));
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines[0].startsWith(logged), qPrintable(lines[0]));
    if (closing) // the SDK interface went all the same
        QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInterface), 0);
    QVERIFY(m_pPool->openDevice(m_info, false)); // tried again
}

TAVIX_TEST_MAIN(TestInterfacePool)
#include "tst_interfacepool.moc"
