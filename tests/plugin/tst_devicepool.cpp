#include "testdevices.h"
#include "testmain.h"

using Plugin::OptiRoster::DeviceBaseInfoPtr;
using Plugin::OptiRoster::IDevice;
using Plugin::OptiRoster::Internal::ADevicePool;

namespace {

DeviceBaseInfoPtr camera(const QString& fullName)
{
    return DeviceBaseInfoPtr(new CTestCameraInfo(fullName));
}

DeviceBaseInfoPtr interface(const QString& id, const QString& fullName)
{
    return DeviceBaseInfoPtr(new CTestInterfaceInfo(id, fullName));
}

// One enumeration pass as the enumeration service runs it on one pool.
void pass(CTestPool& pool, const QVector<DeviceBaseInfoPtr>& infos)
{
    pool.clearDeviceInfos();
    pool.addDevices(infos);
    pool.removeVanishedDevices();
}

} // namespace

class TestDevicePool : public QObject
{
    Q_OBJECT

private slots:
    void init() { ADevicePool::setActiveDevice({}); }
    void anEmptyDescriptionIsSkippedAndADuplicateAnnouncedOnce();
    void openAndExclusiveDevicesSurviveAPassWithoutThemAClosedOneIsRemovedOnce();
    void openingAnUnreportedDeviceCreatesItSilently();
    void deviceSignalsAreRelayedWithTheDescription();
    void lookupComparesFullNamesOfCamerasAndIdsOfInterfaces();
    void activeDeviceIsKeptByPointer();
    void closeAllDevicesClosesTheOpenOnesInOrder();
    void isDeviceOpenAnswersFalseDuringDestruction();
};

void TestDevicePool::anEmptyDescriptionIsSkippedAndADuplicateAnnouncedOnce()
{
    CTestPool pool;
    QSignalSpy connected(&pool, &ADevicePool::deviceConnected);
    pool.addDevice({});
    QVERIFY(pool.devices().isEmpty());
    QVERIFY(pool.deviceInfos().isEmpty());
    QCOMPARE(connected.count(), 0);
    // A duplicate report is entered twice.
    const auto info = camera(QStringLiteral("cam-1"));
    pool.addDevices({info, info});
    QCOMPARE(pool.deviceInfos().size(), 2);
    QCOMPARE(pool.devices().size(), 1);
    QCOMPARE(connected.count(), 1);
    QCOMPARE(connected.at(0).at(0).value<DeviceBaseInfoPtr>(), info);
}

void TestDevicePool::openAndExclusiveDevicesSurviveAPassWithoutThemAClosedOneIsRemovedOnce()
{
    CTestPool pool;
    const auto open = camera(QStringLiteral("open"));
    const auto exclusive = camera(QStringLiteral("exclusive"));
    pass(pool, {open, exclusive});
    QVERIFY(pool.openDevice(open, false));
    pool.exclusive << QStringLiteral("exclusive");

    QSignalSpy disconnected(&pool, &ADevicePool::deviceDisconnected);
    pass(pool, {});
    pass(pool, {});
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(pool.devices().size(), 2);

    pool.closeDevice(open);
    QWeakPointer<IDevice> device = pool.getDevice(open);
    pass(pool, {});
    pass(pool, {});
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(disconnected.at(0).at(0).value<DeviceBaseInfoPtr>(), open);
    QCOMPARE(pool.devices().size(), 1); // the exclusive one
    QVERIFY(device.isNull()); // the pool held the last reference
}

void TestDevicePool::openingAnUnreportedDeviceCreatesItSilently()
{
    CTestPool pool;
    QSignalSpy connected(&pool, &ADevicePool::deviceConnected);
    QSignalSpy disconnected(&pool, &ADevicePool::deviceDisconnected);
    const auto info = camera(QStringLiteral("named"));
    QVERIFY(pool.openDevice(info, true));
    QCOMPARE(pool.devices().size(), 1);
    QVERIFY(pool.deviceInfos().isEmpty());
    QCOMPARE(connected.count(), 0);
    QVERIFY(pool.getDevice(info).staticCast<CTestDevice>()->lastMonitorMode);

    pass(pool, {}); // open: stays
    QCOMPARE(pool.devices().size(), 1);
    pool.closeDevice(info);
    pass(pool, {});
    QVERIFY(pool.devices().isEmpty());
    QCOMPARE(disconnected.count(), 1);
}

void TestDevicePool::deviceSignalsAreRelayedWithTheDescription()
{
    CTestPool pool;
    const auto info = camera(QStringLiteral("cam"));
    QStringList order;
    auto record = [&](const char* name) {
        return [&order, &info, name](const DeviceBaseInfoPtr& relayed) {
            QCOMPARE(relayed, info);
            order << QString::fromLatin1(name);
        };
    };
    connect(&pool, &ADevicePool::deviceOpening, &pool, record("deviceOpening"));
    connect(&pool, &ADevicePool::deviceOpened, &pool, record("deviceOpened"));
    connect(&pool, &ADevicePool::deviceClosing, &pool, record("deviceClosing"));
    connect(&pool, &ADevicePool::deviceClosed, &pool, record("deviceClosed"));
    QVERIFY(pool.openDevice(info, false));
    pool.closeDevice(info);
    QCOMPARE(order, (QStringList{QStringLiteral("deviceOpening"), QStringLiteral("deviceOpened"),
                                 QStringLiteral("deviceClosing"), QStringLiteral("deviceClosed")}));

    // A failed open relays its opening alone.
    auto device = pool.getDevice(info).staticCast<CTestDevice>();
    device->openSucceeds = false;
    order.clear();
    QVERIFY(!pool.openDevice(info, false));
    QCOMPARE(order, QStringList{QStringLiteral("deviceOpening")});

    // A relay slot called without a sender relays nothing.
    QMetaObject::invokeMethod(&pool, "onDeviceOpened", Qt::DirectConnection);
    QCOMPARE(order, QStringList{QStringLiteral("deviceOpening")});
}

void TestDevicePool::lookupComparesFullNamesOfCamerasAndIdsOfInterfaces()
{
    CTestPool pool;
    const auto cam = camera(QStringLiteral("shared-name"));
    const auto port = interface(QStringLiteral("port-0"), QStringLiteral("board"));
    pool.addDevices({cam, port});

    // A fresh description with the camera's full name finds the same device object.
    QCOMPARE(pool.getDevice(camera(QStringLiteral("shared-name"))), pool.getDevice(cam));
    // An interface is found by its id, whatever its full name says.
    QCOMPARE(pool.getDevice(interface(QStringLiteral("port-0"), QStringLiteral("renamed"))), pool.getDevice(port));
    QVERIFY(!pool.getDevice(interface(QStringLiteral("port-1"), QStringLiteral("board"))));
    // An interface device is never matched by a camera's full name.
    QVERIFY(!pool.getDevice(camera(QStringLiteral("board"))));
    // An interface description with a camera's full name finds the camera: full names come first.
    QVERIFY(pool.getDevice(interface(QStringLiteral("x"), QStringLiteral("shared-name"))) == pool.getDevice(cam));
}

void TestDevicePool::activeDeviceIsKeptByPointer()
{
    CTestPool pool;
    QVERIFY(!pool.openActiveDevice(false));
    pool.closeActiveDevice(); // nothing to do, nothing happens

    const auto first = camera(QStringLiteral("cam"));
    const auto twin = camera(QStringLiteral("cam"));
    ADevicePool::setActiveDevice(first);
    QCOMPARE(ADevicePool::getActiveDevice(), first);
    ADevicePool::setActiveDevice(twin); // another object, though the same camera
    QCOMPARE(ADevicePool::getActiveDevice(), twin);

    QVERIFY(pool.openActiveDevice(true));
    QVERIFY(pool.isDeviceOpen(first));
    pool.closeActiveDevice();
    QVERIFY(!pool.isDeviceOpen(first));
    ADevicePool::setActiveDevice({});
}

void TestDevicePool::closeAllDevicesClosesTheOpenOnesInOrder()
{
    CTestPool pool;
    const auto a = camera(QStringLiteral("a"));
    const auto b = camera(QStringLiteral("b"));
    const auto c = camera(QStringLiteral("c"));
    pool.addDevices({a, b, c});
    pool.openDevice(c, false);
    pool.openDevice(a, false);
    QSignalSpy closing(&pool, &ADevicePool::deviceClosing);
    pool.closeAllDevices();
    QCOMPARE(closing.count(), 2);
    QCOMPARE(closing.at(0).at(0).value<DeviceBaseInfoPtr>(), a);
    QCOMPARE(closing.at(1).at(0).value<DeviceBaseInfoPtr>(), c);
}

void TestDevicePool::isDeviceOpenAnswersFalseDuringDestruction()
{
    auto pool = new CTestPool;
    const auto info = camera(QStringLiteral("cam"));
    bool answered = true;
    bool wasOpen = false;
    pool->onCreate = [&](CTestDevice* device) {
        device->onDestroy = [&](CTestDevice* self) {
            wasOpen = self->isOpen();
            answered = pool->isDeviceOpen(info);
        };
    };
    QVERIFY(pool->openDevice(info, false));
    delete pool;
    QVERIFY(wasOpen);
    QVERIFY(!answered);
}

TAVIX_TEST_MAIN(TestDevicePool)
#include "tst_devicepool.moc"
