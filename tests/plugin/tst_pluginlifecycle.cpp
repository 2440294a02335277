#include "host.h"
#include "testmain.h"

#include <core/plugin/cplugininitializer.h>
#include <core/plugin/iplugininfoservice.h>
#include <core/parametercollectionpool/iparameterservice.h>
#include <plugins/optiroster/internal/servicelookup.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/optirosterplugin.h>

#include "camerafixture.h"

#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>

#include <QFile>
#include <QJsonArray>
#include <QPluginLoader>
#include <QThreadPool>

#include <atomic>

using Core::Plugin::CPluginInitializer;
using Plugin::OptiRoster::COptiRosterPlugin;
using Plugin::OptiRoster::Internal::findService;

namespace {

// A registry that notes whether its lock was held for reading while the services were read.
class CCheckingRegistry : public CPluginInitializer
{
public:
    void getServices(QList<QSharedPointer<Core::Service::IService>>& services) override
    {
        readLockHeld = !getServicesLock()->tryLockForWrite();
        if (!readLockHeld)
            getServicesLock()->unlock();
        CPluginInitializer::getServices(services);
    }
    bool readLockHeld = false;
};

class CListenedInfoService : public Core::Plugin::CPluginInfoService
{
public:
    int listeners() const { return receivers(SIGNAL(aboutToUninitialize())); }
};

QString pluginPath()
{
    const QString directory = qEnvironmentVariable("TAVIX_PLUGIN_DIR",
                                                   QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
    return CHost::findPlugin(directory);
}

// After the plug-in's end: every share of the SDK given back, every object of it released.
void expectBalanced(const TavixSim::RuntimeCounters& before)
{
    const TavixSim::RuntimeCounters after = TavixSim::runtimeCounters();
    QCOMPARE(after.users, before.users);
    QCOMPARE(after.initializeCalls - before.initializeCalls, after.terminateCalls - before.terminateCalls);
    for (int kind = 0; kind < TavixSim::LiveObjectKinds; ++kind)
        QCOMPARE(TavixSim::liveObjects(TavixSim::LiveObject(kind)), 0);
}

// A figure of this process from /proc/self/status, such as "VmRSS" (kB) or "Threads".
long procStatus(const char* key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(QByteArray(key) + ':'))
            return line.mid(int(qstrlen(key)) + 1).trimmed().split(' ').first().toLong();
    }
    return -1;
}

class CCountingObserver : public Plugin::OptiRoster::IImageGrabbedObserver
{
public:
    void onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr&, const Tavix::CGrabResultPtr&) override { ++images; }
    std::atomic<int> images{0};
};

// One life of the plug-in as a host runs it: load, first enumeration, open and grab from one
// camera, unload.
void runOneLife()
{
    using namespace Plugin::OptiRoster;
    const TavixSim::RuntimeCounters before = TavixSim::runtimeCounters();
    {
        CHost host;
        QVERIFY2(host.load(pluginPath()), qPrintable(host.errorString()));
        QStringList events;
        QObject::connect(host.registry().data(), &Core::Plugin::IPluginInitializer::initializationDone,
                         [&] { events << QStringLiteral("initializationDone"); });
        QVERIFY(host.start());
        const auto enumeration = findService<ICameraEnumerationService>(host.registry());
        QTRY_VERIFY_WITH_TIMEOUT(!enumeration->getTransportLayers().isEmpty(), 10000);
        const CameraInfoPtr camera = enumeration->getTransportLayers().at(0)->getCameraInfoList().value(0);
        QVERIFY(camera);
        CCountingObserver observer;
        const auto notifier = findService<IImageGrabbedNotifierService>(host.registry());
        notifier->addObserver(&observer);
        QVERIFY(findService<ICameraControlService>(host.registry())->open(camera, false));
        findService<ICameraStreamControlService>(host.registry())->startGrabbing(camera);
        QTRY_VERIFY_WITH_TIMEOUT(observer.images.load() >= 3, 10000);
        findService<ICameraStreamControlService>(host.registry())->stopGrabbing(camera);
        notifier->removeObserver(&observer);
        QVERIFY(host.stop());
        QVERIFY(!host.stop()); // once only
        QCOMPARE(events, QStringList{QStringLiteral("initializationDone")});
        // The host's own services stay; the plug-in's come and go with the plug-in.
        QVERIFY(host.serviceNames().contains(QStringLiteral("Core::Plugin::CPluginInfoService")));
    }
    expectBalanced(before);
}

} // namespace

class TestPluginLifecycle : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void servicesAreFoundByTypeUnderTheReadLock();
    void pluginLoadsWithItsMetadata();
    void hostRunsTheLifecycleAndLeavesTheSdkBalanced();
    void missingServicesAreNoError();
    void initializeWiresTheNotifierAndThePools();
    void hundredLoadAndUnloadCyclesStayStable();
    void postInitializeListensForTheShutdownWhichClosesEveryDevice();
    void catalogues_data();
    void catalogues();
};

void TestPluginLifecycle::init()
{
    TavixSim::reset();
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer({TestScenario::camera(QStringLiteral("750"), QJsonObject{{"frameRate", 500}})})}),
             QString());
}

void TestPluginLifecycle::servicesAreFoundByTypeUnderTheReadLock()
{
    QSharedPointer<CCheckingRegistry> registry(new CCheckingRegistry);
    QSharedPointer<Core::Plugin::CPluginInfoService> info(new Core::Plugin::CPluginInfoService);
    QSharedPointer<Plugin::ParameterCollectionPool::CParameterService> parameters(new Plugin::ParameterCollectionPool::CParameterService);
    registry->registerService(info);
    registry->registerService(parameters);
    registry->registerService(info); // registered once only

    QCOMPARE(findService<Plugin::ParameterCollectionPool::IParameterService>(registry), parameters);
    QVERIFY(registry->readLockHeld);
    QCOMPARE(findService<Core::Plugin::IPluginInfoService>(registry), info);
    registry->unregisterService(parameters);
    QVERIFY(!findService<Plugin::ParameterCollectionPool::IParameterService>(registry));
    QVERIFY(!findService<Core::Plugin::IPluginInfoService>({}));
}

void TestPluginLifecycle::pluginLoadsWithItsMetadata()
{
    const QString path = pluginPath();
    QVERIFY2(!path.isEmpty(), "the plug-in was not built next to the tests");
    QPluginLoader loader(path);
    const QJsonObject metaData = loader.metaData();
    QCOMPARE(metaData.value(QStringLiteral("IID")).toString(), QStringLiteral(TAVIX_CORE_PLUGIN_IID));
    QCOMPARE(metaData.value(QStringLiteral("className")).toString(), QStringLiteral("COptiRosterPlugin"));
    // What the host reads to order and check its plug-ins.
    const QJsonObject data = metaData.value(QStringLiteral("MetaData")).toObject();
    const QJsonObject expected{
        {"Name", "OptiRoster"}, {"Version", "2.0.0"}, {"CompatVersion", "2.0.0"}, {"Required", true},
        {"Description", "The camera roster plugin for the tavix application framework."},
        {"Dependencies", QJsonArray{QJsonObject{{"Name", "AppCore"}, {"Version", "2.0.0"}},
                                    QJsonObject{{"Name", "ParameterCollectionPool"}, {"Version", "2.0.0"}}}},
    };
    for (auto it = expected.begin(); it != expected.end(); ++it)
        QVERIFY2(data.value(it.key()) == it.value(), qPrintable(it.key()));
    QVERIFY2(loader.load(), qPrintable(loader.errorString()));
    QVERIFY(qobject_cast<Core::Plugin::ALocalizedPlugin*>(loader.instance()));
}

void TestPluginLifecycle::hostRunsTheLifecycleAndLeavesTheSdkBalanced()
{
    runOneLife();
}

void TestPluginLifecycle::missingServicesAreNoError()
{
    QSharedPointer<CPluginInitializer> registry(new CPluginInitializer);
    COptiRosterPlugin plugin;
    QVERIFY(plugin.initialize(registry));
    registry.reset(); // the plug-in holds the registry weakly
    QVERIFY(plugin.postInitialize());
    QVERIFY(plugin.uninitialize({}));
}

void TestPluginLifecycle::initializeWiresTheNotifierAndThePools()
{
    QSharedPointer<CPluginInitializer> registry(new CPluginInitializer);
    const int users = TavixSim::runtimeCounters().users;
    auto plugin = new COptiRosterPlugin;
    QVERIFY(plugin->initialize(registry));

    const auto classesOf = [&registry] {
        QList<QSharedPointer<Core::Service::IService>> services;
        registry->getServices(services);
        QStringList classes;
        for (const auto& service : qAsConst(services))
            classes << QString::fromLatin1(service->metaObject()->className()).section(QStringLiteral("::"), -1);
        return classes;
    };
    // Clients that look services up by interface see them in this order.
    QCOMPARE(classesOf(), (QStringList{"ImageGrabbedNotifierService", "CCameraEnumerationService", "CStatusService",
                                       "CControlService", "CCameraStreamControlService", "CCameraActionCommandsService",
                                       "CDeviceFirmwareUpdateService", "CImageDecompressorService", "CStaticDefectPixelCorrectionService"}));
    const QObjectList children = plugin->children();
    QCOMPARE(children.size(), 2);
    QVERIFY(qobject_cast<Plugin::OptiRoster::Internal::COptiRoster*>(children[0]));
    QVERIFY(qobject_cast<Plugin::OptiRoster::Internal::CInterfacePool*>(children[1]));
    // Each pool and the enumerator hold a share of the SDK; no camera is searched for yet.
    QCOMPARE(TavixSim::runtimeCounters().users, users + 3);
    QCOMPARE(TavixSim::callCount("EnumerateTls"), 0);

    QVERIFY(plugin->uninitialize(registry));
    QCOMPARE(classesOf(), QStringList{"ImageGrabbedNotifierService"}); // the notifier stays registered
    delete plugin;
    QCOMPARE(TavixSim::runtimeCounters().users, users);
}

void TestPluginLifecycle::hundredLoadAndUnloadCyclesStayStable()
{
    long rssBefore = 0;
    long threadsBefore = 0;
    for (int cycle = -5; cycle < 100; ++cycle) { // five to warm up
        if (cycle == 0) {
            rssBefore = procStatus("VmRSS");
            threadsBefore = procStatus("Threads");
        }
        runOneLife();
        if (QTest::currentTestFailed())
            return;
    }
    const long rssAfter = procStatus("VmRSS");
    const long threadsAfter = procStatus("Threads");
    qInfo("100 load and unload cycles: resident memory %ld kB before, %ld kB after; threads %ld before, %ld after",
          rssBefore, rssAfter, threadsBefore, threadsAfter);
#if !defined(__SANITIZE_ADDRESS__)
    // AddressSanitizer holds freed memory back on purpose; elsewhere the plug-in must give it back.
    QVERIFY2(rssAfter - rssBefore < 16 * 1024, "resident memory grew by more than 16 MB over 100 cycles");
#endif
    // The global thread pool keeps its idle workers for a while; no other thread may stay.
    QVERIFY(threadsAfter <= threadsBefore + QThreadPool::globalInstance()->maxThreadCount());
}

void TestPluginLifecycle::postInitializeListensForTheShutdownWhichClosesEveryDevice()
{
    QSharedPointer<CPluginInitializer> registry(new CPluginInitializer);
    QSharedPointer<CListenedInfoService> info(new CListenedInfoService);
    registry->registerService(info);
    registry->registerService(QSharedPointer<Plugin::ParameterCollectionPool::CParameterService>::create());
    COptiRosterPlugin plugin;
    QVERIFY(plugin.initialize(registry));
    QCOMPARE(info->listeners(), 0);
    QVERIFY(plugin.postInitialize());
    QCOMPARE(info->listeners(), 1);
    auto roster = plugin.findChild<Plugin::OptiRoster::Internal::COptiRoster*>();
    const auto camera = cameraInfo(QStringLiteral("750"));
    QVERIFY(roster->openDevice(camera, false));
    roster->startGrabbing(camera);
    info->announceUninitialization();
    QVERIFY(!roster->isDeviceOpen(camera));
    QVERIFY(plugin.uninitialize(registry));
}

void TestPluginLifecycle::catalogues_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("camera");
    QTest::addColumn<QString>("roster");
    QTest::addColumn<QString>("decompressor");

    QTest::newRow("ja") << "ja" << QString::fromUtf8("不明な圧縮モードが見つかりました。")
                        << QString::fromUtf8("GigEトランスポート層が見つかりません。")
                        << QString::fromUtf8("カメラから圧縮ステータスを取得中にエラーが発生しました。");
    QTest::newRow("zh") << "zh_CN" << QString::fromUtf8("找到未知的压缩模式。") << QString::fromUtf8("未找到 GigE 传输层。")
                        << QString::fromUtf8("从相机获取压缩状态时出错。");
    QTest::newRow("ko") << "ko" << QString::fromUtf8("알 수 없는 압축 모드가 발견되었습니다.")
                        << QString::fromUtf8("GigE 전송 계층이 없습니다.")
                        << QString::fromUtf8("카메라에서 압축 상태를 가져오는 동안 오류가 발생했습니다.");
    QTest::newRow("en") << "en" << "Unknown compression mode found." << "No GigE transport layer found."
                        << "Error while getting compression status from camera.";
}

void TestPluginLifecycle::catalogues()
{
    QFETCH(QString, language);
    QFETCH(QString, camera);
    QFETCH(QString, roster);
    QFETCH(QString, decompressor);

    COptiRosterPlugin plugin;
    QVERIFY(plugin.setLanguage(language));
    QCOMPARE(QCoreApplication::translate("Plugin::OptiRoster::Internal::CCamera", "Unknown compression mode found."), camera);
    QCOMPARE(QCoreApplication::translate("Plugin::OptiRoster::Internal::COptiRoster", "No GigE transport layer found."), roster);
    QCOMPARE(QCoreApplication::translate("Plugin::OptiRoster::Internal::CImageDecompressorService",
                                         "Error while getting compression status from camera."),
             decompressor);
    // Messages outside the catalogue stay English.
    QCOMPARE(QCoreApplication::translate("Plugin::OptiRoster::Internal::COptiRoster", "The image grab failed."),
             QStringLiteral("The image grab failed."));
    QVERIFY(!plugin.setLanguage(QStringLiteral("de")));
    QCOMPARE(QCoreApplication::translate("Plugin::OptiRoster::Internal::COptiRoster", "No GigE transport layer found."),
             QStringLiteral("No GigE transport layer found."));
}

TAVIX_TEST_MAIN(TestPluginLifecycle)
#include "tst_pluginlifecycle.moc"
