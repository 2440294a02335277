#include "aravisfixture.h"
#include "camerafixture.h"
#include "hostedplugin.h"
#include "testmain.h"

#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/cplugininitializer.h>
#include <core/plugin/iplugininfoservice.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/servicelookup.h>
#include <plugins/optiroster/optirosterplugin.h>

#include <tavix/sim/simcontrol.h>

#include <QElapsedTimer>

#include <mutex>
#include <set>

using namespace Plugin::OptiRoster;
using Internal::findService;

namespace {

// Keeps what an observer of the plug-in sees of each image.
class CImageLog : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr& grabResult) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_numbers.append(grabResult->GetImageNumber());
        m_payloadSizes.insert(grabResult->GetPayloadSize());
    }
    int count()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_numbers.size();
    }
    QList<int64_t> numbers()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_numbers;
    }
    std::set<size_t> payloadSizes()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_payloadSizes;
    }

private:
    std::mutex m_mutex;
    QList<int64_t> m_numbers;
    std::set<size_t> m_payloadSizes;
};

// An Aravis camera of the TL type; with a serial number, only that camera.
CameraInfoPtr aravisCamera(const QVector<TransportLayerInfoPtr>& layers, const QString& tlType, const QString& serial = QString())
{
    for (const auto& layer : layers) {
        if (layer->getTlType() != tlType)
            continue;
        for (const auto& camera : layer->getCameraInfoList()) {
            if (camera->getVendorName() == QLatin1String("Aravis") && (serial.isEmpty() || camera->getSerialNumber() == serial))
                return camera;
        }
    }
    return {};
}

void verifyGaplessFromOne(const QList<int64_t>& numbers)
{
    QVERIFY(!numbers.isEmpty());
    for (int i = 0; i < numbers.size(); ++i)
        QCOMPARE(numbers.at(i), int64_t(i + 1));
}

} // namespace

// A client's view of Aravis's cameras: a host's registry with the plug-in, and its services.
class TestAravisPlugin : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void cleanupTestCase();
    void theInProcessFakeCameraThroughTheServices();
    void theFakeGigEVisionCameraIsFoundGrabbedAndLost();
    void bothWorldsInOneEnumeration();

private:
    void startAndWaitForTheFirstPass();
    // Asks for passes until the enumeration's camera of the TL type and serial is there (or gone).
    CameraInfoPtr waitForCamera(const QString& tlType, const QString& serial, bool present);
    void grab(const CameraInfoPtr& info, int images, CImageLog& log);

    CHostedPlugin m_host;
    QProcess m_fakeGvCamera;
};

void TestAravisPlugin::init()
{
    TavixSim::reset();
    QVERIFY(m_host.start());
}

void TestAravisPlugin::cleanup()
{
    QVERIFY(m_host.stop());
    AravisFixture::stopFakeGvCamera(m_fakeGvCamera);
    QCOMPARE(liveSdkObjects(), 0);
    QCOMPARE(TavixSim::runtimeCounters().users, 0);
}

void TestAravisPlugin::cleanupTestCase()
{
    TavixBackends::setActiveBackends("sim");
}

void TestAravisPlugin::startAndWaitForTheFirstPass()
{
    QSignalSpy changed(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    m_host.registry->announceInitializationDone();
    QVERIFY(changed.wait(30000));
}

CameraInfoPtr TestAravisPlugin::waitForCamera(const QString& tlType, const QString& serial, bool present)
{
    QElapsedTimer clock;
    clock.start();
    CameraInfoPtr camera = aravisCamera(m_host.enumeration->getTransportLayers(), tlType, serial);
    while (bool(camera) != present && clock.elapsed() < 30000) {
        // A request during a running pass is dropped; the next round asks again.
        QSignalSpy changed(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
        m_host.enumeration->requestEnumeration();
        changed.wait(1500);
        camera = aravisCamera(m_host.enumeration->getTransportLayers(), tlType, serial);
    }
    return camera;
}

void TestAravisPlugin::grab(const CameraInfoPtr& info, int images, CImageLog& log)
{
    m_host.notifier->addObserver(&log);
    m_host.stream->startGrabbing(info);
    QTRY_VERIFY_WITH_TIMEOUT(log.count() >= images, 20000);
    m_host.stream->stopGrabbing(info);
    QVERIFY(!m_host.status->isCameraGrabbing(info));
    m_host.notifier->removeObserver(&log);
}

void TestAravisPlugin::theInProcessFakeCameraThroughTheServices()
{
    AravisFixture::useBackends("aravis", {"Fake"});
    startAndWaitForTheFirstPass();
    const CameraInfoPtr info = aravisCamera(m_host.enumeration->getTransportLayers(), QStringLiteral("Custom"));
    QVERIFY(info);
    QCOMPARE(info->getVendorName(), QStringLiteral("Aravis"));
    QCOMPARE(info->getModelName(), QStringLiteral("Fake"));
    QVERIFY(!info->getSerialNumber().isEmpty());

    QVERIFY(m_host.control->open(info, false));
    m_host.parameterService->setParameterText(info, QStringLiteral("@CameraDevice/Width"), QStringLiteral("320"));
    QCOMPARE(m_host.parameterService->getParameterText(info, QStringLiteral("@CameraDevice/Width")), QStringLiteral("320"));
    QCOMPARE(m_host.parameterService->getParameterText(info, QStringLiteral("PixelFormat")), QStringLiteral("Mono8"));
    const size_t height = m_host.parameterService->getParameterText(info, QStringLiteral("Height")).toULongLong();

    CImageLog log;
    grab(info, 8, log);
    verifyGaplessFromOne(log.numbers());
    QCOMPARE(log.payloadSizes(), (std::set<size_t>{320 * height}));

    m_host.control->close(DeviceBaseInfoPtr(info));
    QVERIFY(!m_host.status->isDeviceOpen(info));
}

void TestAravisPlugin::theFakeGigEVisionCameraIsFoundGrabbedAndLost()
{
    const QString serial = AravisFixture::ownFakeSerial();
    const QString notStarted = AravisFixture::startFakeGvCamera(m_fakeGvCamera, serial);
    if (!notStarted.isEmpty())
        QSKIP(qPrintable(notStarted));
    AravisFixture::useBackends("aravis", {"GigEVision"});
    startAndWaitForTheFirstPass();
    const CameraInfoPtr info = waitForCamera(QStringLiteral("GEV"), serial, true);
    QVERIFY2(info, qPrintable(QStringLiteral("discovery found no fake GigE Vision camera %1 on 127.0.0.1").arg(serial)));
    QCOMPARE(QString::fromUtf8(info->getDeviceInfo().GetIpAddress().c_str()), QStringLiteral("127.0.0.1"));

    QVERIFY(m_host.control->open(info, false));
    CImageLog log;
    grab(info, 5, log);
    verifyGaplessFromOne(log.numbers());

    // The camera goes away mid-grab: Aravis misses its heartbeats and the roster lets it go.
    QSignalSpy lost(m_host.status.data(), &ICameraStatusService::cameraConnectionLost);
    m_host.notifier->addObserver(&log);
    m_host.stream->startGrabbing(info);
    const int before = log.count();
    QTRY_VERIFY_WITH_TIMEOUT(log.count() > before, 20000);
    AravisFixture::stopFakeGvCamera(m_fakeGvCamera);
    QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 30000);
    m_host.notifier->removeObserver(&log);
    QVERIFY(!m_host.status->isDeviceOpen(info));
    QVERIFY(m_host.enumeration->getOpenCameras().isEmpty());
    QVERIFY(!waitForCamera(QStringLiteral("GEV"), serial, false));
}

void TestAravisPlugin::bothWorldsInOneEnumeration()
{
    AravisFixture::useBackends("sim,aravis", {"Fake"});
    startAndWaitForTheFirstPass();
    const QVector<TransportLayerInfoPtr> layers = m_host.enumeration->getTransportLayers();
    QSet<QString> tlTypes;
    for (const auto& layer : layers) {
        if (!layer->getCameraInfoList().isEmpty())
            tlTypes.insert(layer->getTlType());
    }
    QVERIFY(aravisCamera(layers, QStringLiteral("Custom")));
    QVERIFY2(tlTypes.contains(QStringLiteral("GEV")), "the simulated GigE cameras are missing");
    QVERIFY(tlTypes.contains(QStringLiteral("Custom")));
}

TAVIX_TEST_MAIN(TestAravisPlugin)
#include "tst_aravisplugin.moc"
