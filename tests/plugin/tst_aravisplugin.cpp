#include "aravisfixture.h"
#include "camerafixture.h"
#include "testmain.h"

#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/internal/cameraenumerator.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/transportlayerlist.h>

#include <core/parametercollection/parameter.h>
#include <core/parametercollection/parametercollection.h>

#include <tavix/sim/simcontrol.h>

#include <mutex>
#include <set>

using namespace Plugin::OptiRoster;
using Internal::CCameraEnumerator;
using Internal::COptiRoster;
using Internal::ImageGrabbedNotifierService;

namespace {

// Keeps what an observer of the roster sees of each image.
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

QVector<TransportLayerInfoPtr> enumerate()
{
    CCameraEnumerator enumerator;
    CQueuedRecorder<QVector<TransportLayerInfoPtr>> results(&enumerator, &CCameraEnumerator::enumerationFinished,
                                                           [](const QVector<TransportLayerInfoPtr>& layers) { return layers; });
    enumerator.startEnumeration();
    if (!QTest::qWaitFor([&] { return !results.values.isEmpty(); }, 30000))
        return {};
    return results.values.first();
}

CameraInfoPtr aravisCamera(const QVector<TransportLayerInfoPtr>& layers, const QString& tlType)
{
    for (const auto& layer : layers) {
        if (layer->getTlType() != tlType)
            continue;
        for (const auto& camera : layer->getCameraInfoList()) {
            if (camera->getVendorName() == QLatin1String("Aravis"))
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

int liveSdkObjects()
{
    int live = 0;
    for (int kind = 0; kind < TavixSim::LiveObjectKinds; ++kind)
        live += TavixSim::liveObjects(TavixSim::LiveObject(kind));
    return live;
}

} // namespace

class TestAravisPlugin : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void cleanupTestCase();
    void theInProcessFakeCameraThroughTheRoster();
    void theFakeGigEVisionCameraIsFoundGrabbedAndLost();
    void bothWorldsInOneEnumeration();

private:
    void grab(const CameraInfoPtr& info, int images, CImageLog& log);

    QSharedPointer<ImageGrabbedNotifierService> m_notifier;
    std::unique_ptr<COptiRoster> m_pRoster;
    QProcess m_fakeGvCamera;
};

void TestAravisPlugin::init()
{
    TavixSim::reset();
    m_notifier.reset(new ImageGrabbedNotifierService(nullptr));
    m_pRoster = std::make_unique<COptiRoster>(m_notifier, nullptr);
}

void TestAravisPlugin::cleanup()
{
    m_pRoster.reset();
    m_notifier.reset();
    AravisFixture::stopFakeGvCamera(m_fakeGvCamera);
    QCOMPARE(liveSdkObjects(), 0);
    QCOMPARE(TavixSim::runtimeCounters().users, 0);
}

void TestAravisPlugin::cleanupTestCase()
{
    TavixBackends::setActiveBackends("sim");
}

void TestAravisPlugin::grab(const CameraInfoPtr& info, int images, CImageLog& log)
{
    m_notifier->addObserver(&log);
    m_pRoster->startGrabbing(info);
    QTRY_VERIFY_WITH_TIMEOUT(log.count() >= images, 20000);
    m_pRoster->stopGrabbing(info);
    QVERIFY(!m_pRoster->isCameraGrabbing(info));
    m_notifier->removeObserver(&log);
}

void TestAravisPlugin::theInProcessFakeCameraThroughTheRoster()
{
    AravisFixture::useBackends("aravis", {"Fake"});
    const CameraInfoPtr info = aravisCamera(enumerate(), QStringLiteral("Custom"));
    QVERIFY(info);
    QCOMPARE(info->getModelName(), QStringLiteral("Fake"));
    QVERIFY(!info->getSerialNumber().isEmpty());

    m_pRoster->addDevice(info);
    QVERIFY(m_pRoster->openDevice(info, false));
    const auto camera = m_pRoster->getDevice(info).objectCast<ICamera>();
    QVERIFY(camera);
    const auto parameters = camera->getParameterCollection();
    const auto width = parameters->getIntegerParameter(QStringLiteral("Width"));
    QVERIFY(width);
    width->setValue(320);
    QCOMPARE(width->getValue(), qint64(320));
    const qint64 height = parameters->getIntegerParameter(QStringLiteral("Height"))->getValue();
    QCOMPARE(parameters->getEnumParameter(QStringLiteral("PixelFormat"))->getValue(), QStringLiteral("Mono8"));

    CImageLog log;
    grab(info, 8, log);
    verifyGaplessFromOne(log.numbers());
    QCOMPARE(log.payloadSizes(), (std::set<size_t>{size_t(320 * height)}));

    m_pRoster->closeDevice(DeviceBaseInfoPtr(info));
    QVERIFY(!camera->isOpen());
}

void TestAravisPlugin::theFakeGigEVisionCameraIsFoundGrabbedAndLost()
{
    const QString notStarted = AravisFixture::startFakeGvCamera(m_fakeGvCamera);
    if (!notStarted.isEmpty())
        QSKIP(qPrintable(notStarted));
    AravisFixture::useBackends("aravis", {"GigEVision"});
    // The fake answers discovery once it has set up; a pass or two may go by before that.
    CameraInfoPtr info;
    for (int pass = 0; pass < 5 && !info; ++pass)
        info = aravisCamera(enumerate(), QStringLiteral("GEV"));
    QVERIFY2(info, "discovery found no fake GigE Vision camera on 127.0.0.1");
    QCOMPARE(QString::fromUtf8(info->getDeviceInfo().GetIpAddress().c_str()), QStringLiteral("127.0.0.1"));

    m_pRoster->addDevice(info);
    QVERIFY(m_pRoster->openDevice(info, false));
    CImageLog log;
    grab(info, 5, log);
    verifyGaplessFromOne(log.numbers());

    // The camera goes away mid-grab: Aravis misses its heartbeat and the roster lets it go.
    QSignalSpy lost(m_pRoster.get(), &COptiRoster::cameraConnectionLost);
    m_notifier->addObserver(&log);
    m_pRoster->startGrabbing(info);
    const int before = log.count();
    QTRY_VERIFY_WITH_TIMEOUT(log.count() > before, 20000);
    AravisFixture::stopFakeGvCamera(m_fakeGvCamera);
    QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 30000);
    QVERIFY(!m_pRoster->getDevice(info));
    m_notifier->removeObserver(&log);
}

void TestAravisPlugin::bothWorldsInOneEnumeration()
{
    AravisFixture::useBackends("sim,aravis", {"Fake"});
    QSet<QString> tlTypes;
    const QVector<TransportLayerInfoPtr> layers = enumerate();
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
