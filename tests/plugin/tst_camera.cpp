#include "camerafixture.h"
#include "exceptiontext.h"
#include "logrecorder.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/camera.h>
#include <plugins/optiroster/internal/newswaker.h>
#include <plugins/optiroster/internal/grabsettings.h>
#include <plugins/optiroster/internal/seqlockedvalue.h>

#include <tavix/imagedecompressor.h>

#include <QElapsedTimer>
#include <QSettings>

#include <atomic>
#include <optional>
#include <thread>

using namespace Plugin::OptiRoster;
using Internal::CCamera;
using ParameterCollection::EObjectState;

namespace {

const QString CameraCategory = QStringLiteral("tavix.viewer.plugins.optiRoster.camera");

QJsonObject feature(const char* name, const char* type, const QJsonValue& value)
{
    return QJsonObject{{"name", name}, {"type", type}, {"value", value}};
}

QJsonArray size(int width, int height, QJsonArray more = {})
{
    more.prepend(feature("Height", "integer", height));
    more.prepend(feature("Width", "integer", width));
    return more;
}

const QJsonObject AcquisitionMode{{"name", "AcquisitionMode"}, {"type", "enumeration"}, {"value", "Continuous"},
                                  {"entries", QJsonArray{"Continuous", "SingleFrame"}}};
const QJsonObject TransmissionType{{"name", "TransmissionType"}, {"type", "enumeration"}, {"value", "Unicast"},
                                   {"entries", QJsonArray{"Unicast", "UseCameraConfig"}}};

QJsonObject stream(QJsonObject more = {})
{
    more.insert("frameRate", 200);
    return more;
}

// What the statistic signal carried, one record for each emission.
struct Statistic
{
    int grabbed;
    int failed;
    double fps;
    CCompressionStatistic compression;
};

using StatisticRecorder = CQueuedRecorder<Statistic>;

std::unique_ptr<StatisticRecorder> recordStatistics(CCamera& camera)
{
    return std::make_unique<StatisticRecorder>(&camera, &ICamera::cameraStatisticChanged,
                                               [](int grabbed, int failed, double fps, uint64_t, CCompressionStatistic c) {
                                                   return Statistic{grabbed, failed, fps, c};
                                               });
}

QString enumValue(CCamera& camera, const QString& path)
{
    const auto parameter = camera.getParameterCollection()->getEnumParameter(path);
    return parameter ? parameter->getValue() : QString();
}

} // namespace

class TestCamera : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void openAndCloseSignalTheirStepsAndAGrabStopsFirst();
    void aFailedStepIsReportedAndTheNextTryGoesThrough_data();
    void aFailedStepIsReportedAndTheNextTryGoesThrough();
    void aCameraWithoutDescriptionOpensTheFirstDevice();
    void monitorModeChangesTheGrabSteps();
    void buffersAreSizedFromThePayload_data();
    void buffersAreSizedFromThePayload();
    void statisticsOfACompressedStreamWithFailures();
    void theTimerKeepsStatisticsMovingUntilAfterTheStop();
    void camerasSharingANewsWakerGetOnlyTheirOwnNews();
    void chunkDataIsParsedOnlyInChunkMode();
    void aLostDeviceLeavesTheCameraOpenButNotConnected();
    void compressionDataIsReadAndChecked();
    void settingsAreWrittenBack();
    void aClientsCollectionOutlivesTheCamera();
    void parameterPathsResolveInTheCollection();
    void aTimeOfFlightCameraOpensItsRangeComponent();
    void aChunkBufferTheParserRefusesIsReportedAndTheGrabGoesOn();
    void statisticRecordsCrossThreadsWhole();

private:
};

void TestCamera::init()
{
    TavixSim::reset();
    QSettings().clear();
    const QJsonObject compressed{{"statusErrorFrames", QJsonArray{3}}};
    QJsonObject compressedCamera = TestScenario::camera(QStringLiteral("401"),
        QJsonObject{{"failures", QJsonArray{QJsonObject{{"frame", 2}, {"text", "incomplete"}}}},
                    {"firstImageNumber", "2147483647"}, {"frameLimit", 4}}, size(1000, 10));
    compressedCamera.insert("compression", compressed);
    QJsonObject oddCompression = TestScenario::camera(QStringLiteral("409"), stream(), size(100, 1, {QJsonObject{
        {"name", "ImageCompressionMode"}, {"type", "enumeration"}, {"value", "Weird"},
        {"entries", QJsonArray{QJsonObject{{"name", "Off"}, {"value", 0}}, QJsonObject{{"name", "Weird"}, {"value", 7}}}}}}));
    oddCompression.insert("compression", QJsonObject{{"imageSize", 0}});

    const QJsonArray cameras{
        TestScenario::camera(QStringLiteral("400"), stream(), size(64, 1, {AcquisitionMode, TransmissionType})),
        compressedCamera,
        TestScenario::camera(QStringLiteral("402"), stream(), size(64, 1, {feature("ChunkModeActive", "boolean", true)})),
        TestScenario::camera(QStringLiteral("403"), stream({{"payloadType", "image"}}), size(64, 1, {feature("ChunkModeActive", "boolean", true)})),
        TestScenario::camera(QStringLiteral("404"), stream({{"frameLimit", 3}}), size(64, 1)),
        TestScenario::camera(QStringLiteral("406"), stream(), size(1024, 1024)),
        TestScenario::camera(QStringLiteral("407"), stream(), size(4096, 1)),
        [] {
            QJsonObject camera = TestScenario::camera(QStringLiteral("408"), stream(), size(4096, 1));
            camera.insert("streamFeatures", QJsonArray{feature("PayloadSize", "integer", 0)});
            return camera;
        }(),
        oddCompression,
        TestScenario::camera(QStringLiteral("410"), stream({{"chunkTrailerMissingEvery", 2}}),
                             size(64, 1, {feature("ChunkModeActive", "boolean", true)})),
    };
    const QJsonObject timeOfFlight{{"fullName", "ToF#420"}, {"serialNumber", "420"}, {"vendorName", "Vorlan"},
        {"features", QJsonArray{
            QJsonObject{{"name", "ComponentSelector"}, {"type", "enumeration"}, {"value", "Intensity"},
                        {"entries", QJsonArray{"Range", "Intensity"}}},
            feature("ComponentEnable", "boolean", false),
            QJsonObject{{"name", "PixelFormat"}, {"type", "enumeration"}, {"value", "Mono8"}, {"entries", QJsonArray{"Mono8", "Mono16"}}}}}};
    const QJsonObject timeOfFlightLayer{{"deviceClass", "VorlanGTC/Vorlan/GenTL_Producer_for_Vorlan_quaro_707_cameras"},
                                        {"tlType", "Custom"}, {"friendlyName", "ToF"}, {"devices", QJsonArray{timeOfFlight}}};
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(cameras), timeOfFlightLayer}), QString());
}

void TestCamera::openAndCloseSignalTheirStepsAndAGrabStopsFirst()
{
    CCamera camera(cameraInfo(QStringLiteral("400")), nullptr);
    QStringList steps;
    const std::pair<void (IDevice::*)(), const char*> named[]{
        {&IDevice::deviceOpening, "opening"}, {&IDevice::deviceOpened, "opened"},
        {&IDevice::deviceClosing, "closing"}, {&IDevice::deviceClosed, "closed"}};
    for (const auto& [signal, name] : named)
        connect(&camera, signal, &camera, [&steps, name = name] { steps << name; });
    connect(&camera, &ICamera::cameraGrabStopped, &camera, [&] { steps << "grab stopped"; }, Qt::DirectConnection);
    const auto collection = camera.getParameterCollection();
    QCOMPARE(collection->getNodeMapNames(),
             (QStringList{"@CameraDevice", "@StreamGrabber0", "@DeviceTransportLayer", "@EventGrabber"}));
    QVERIFY(!camera.isOpen());
    QVERIFY(camera.open(true));
    QVERIFY(camera.open(false)); // open already: no signal, monitor mode kept
    QVERIFY(camera.isMonitorMode());
    QVERIFY(camera.isConnected());
    QCOMPARE(collection->getObjectState()->getState(), ParameterCollection::ObjectStateOpen);
    QVERIFY(collection->getNodeMap(QStringLiteral("@EventGrabber")));
    QVERIFY(collection->getIntegerParameter(QStringLiteral("Width")));

    camera.close();
    camera.close();
    QCOMPARE(steps, (QStringList{"opening", "opened", "closing", "closed"}));
    QCOMPARE(collection->getNodeMapNames().size(), 4);
    for (const QString& name : collection->getNodeMapNames())
        QVERIFY(!collection->getNodeMap(name));
    QCOMPARE(collection->getObjectState()->getState(), ParameterCollection::ObjectStateClosing);
    QVERIFY(!camera.isMonitorMode());
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveDevice), 0); // the device went with the close

    // Closing while grabbing stops the grab first.
    steps.clear();
    QVERIFY(camera.open(false));
    camera.startGrabbing();
    QVERIFY(camera.isGrabbing());
    camera.close();
    QCOMPARE(steps, (QStringList{"opening", "opened", "closing", "grab stopped", "closed"}));
    QVERIFY(!camera.isGrabbing());
}

void TestCamera::aFailedStepIsReportedAndTheNextTryGoesThrough_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("atStart"); // the camera is open, the grab's start fails
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("logged");
    const QString open = QStringLiteral("Camera could not be opened. Reason:  ");
    const QString start = QStringLiteral("Couldn't start continuous grab. Reason:  ");
    QTest::newRow("creation") << "400" << false << "CreateDevice" << "AccessException"
                              << "Tavix device creation failed. Reason:  AccessException: link down";
    QTest::newRow("open") << "400" << false << "Open" << "AccessException" << open + "AccessException: link down";
    QTest::newRow("component selector locked") << "420" << false << "Write:ComponentSelector" << "AccessException"
                                               << open + "AccessException: link down";
    QTest::newRow("payload unreadable") << "400" << true << "Read:PayloadSize" << "AccessException" << start + "AccessException: link down";
    QTest::newRow("payload, below the SDK") << "400" << true << "Read:PayloadSize" << "std::runtime_error" << start + "link down";
    QTest::newRow("start refused") << "400" << true << "StartGrabbing" << "RuntimeException" << start + "RuntimeException: link down";
}

void TestCamera::aFailedStepIsReportedAndTheNextTryGoesThrough()
{
    QFETCH(QString, serial);
    QFETCH(bool, atStart);
    QFETCH(QString, operation);
    QFETCH(QString, type);
    QFETCH(QString, logged);
    const CameraInfoPtr info = cameraInfo(serial);
    CCamera camera(info, nullptr);
    QVERIFY(!atStart || camera.open(false));
    CLogRecorder log;
    QSignalSpy opening(&camera, &IDevice::deviceOpening);
    QSignalSpy opened(&camera, &IDevice::deviceOpened);
    QSignalSpy closed(&camera, &IDevice::deviceClosed);
    TavixSim::injectFault({"*", operation.toStdString(), type.toStdString(), "link down", 1});
    if (atStart)
        camera.startGrabbing(); // a client's start throws nothing
    else
        QVERIFY(!camera.open(false));
    QVERIFY(!camera.isGrabbing());
    QCOMPARE(opening.count(), atStart ? 0 : 1);
    QCOMPARE(opened.count(), 0);
    QCOMPARE(closed.count(), 0);
    QCOMPARE(info->getLastError(), QStringLiteral("link down"));
    // A start logs more than its failure; an open, the failure alone.
    const QStringList lines = atStart ? log.messages(CameraCategory).filter(QStringLiteral("Reason:")) : log.messages(CameraCategory);
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines[0].startsWith(logged), qPrintable(lines[0]));
    if (atStart)
        camera.startGrabbing();
    QVERIFY(atStart ? camera.isGrabbing() : camera.open(false));
}

void TestCamera::aCameraWithoutDescriptionOpensTheFirstDevice()
{
    CLogRecorder log;
    CCamera camera(nullptr);
    QVERIFY(!camera.getInfo());
    QVERIFY(camera.open(false));
    camera.close();
    TavixSim::injectFault({"*", "Open", "RuntimeException", "no", 1});
    QVERIFY(!camera.open(false));
    QCOMPARE(log.messages(CameraCategory).size(), 1); // the reason reaches the log alone
}

void TestCamera::monitorModeChangesTheGrabSteps()
{
    CCamera camera(cameraInfo(QStringLiteral("400")), nullptr);
    QVERIFY(camera.open(true));
    camera.getParameterCollection()->getEnumParameter(QStringLiteral("AcquisitionMode"))->setValue(QStringLiteral("SingleFrame"));
    camera.startGrabbing();
    QVERIFY(camera.isGrabbing());
    QCOMPARE(enumValue(camera, QStringLiteral("TransmissionType")), QStringLiteral("UseCameraConfig"));
    QCOMPARE(enumValue(camera, QStringLiteral("AcquisitionMode")), QStringLiteral("SingleFrame")); // untouched
    camera.stopGrabbing();
    camera.close();

    QVERIFY(camera.open(false));
    QVERIFY(!camera.isMonitorMode());
    camera.startGrabbing();
    QCOMPARE(enumValue(camera, QStringLiteral("@CameraDevice/AcquisitionMode")), QStringLiteral("Continuous"));
    camera.stopGrabbing();
    // A single shot ends by itself, and reports its stop from the grab thread.
    CQueuedRecorder<int> stopped(&camera, &ICamera::cameraGrabStopped, [] { return 1; });
    camera.singleShot(5000);
    QCOMPARE(enumValue(camera, QStringLiteral("AcquisitionMode")), QStringLiteral("SingleFrame"));
    QTRY_COMPARE_WITH_TIMEOUT(stopped.values.size(), 1, 10000);
    QVERIFY(!camera.isGrabbing());

    // A camera without TransmissionType grabs in monitor mode as it is configured.
    CLogRecorder log;
    CCamera plain(cameraInfo(QStringLiteral("404")), nullptr);
    QVERIFY(plain.open(true));
    plain.startGrabbing();
    QVERIFY(plain.isGrabbing());
    plain.stopGrabbing();
    QVERIFY(log.contains(QStringLiteral(
        "CCamera::startGrabbing: the camera has no parameter 'TransmissionType'; it grabs as it is configured.")));
}

void TestCamera::buffersAreSizedFromThePayload_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<int>("buffers");
    QTest::addColumn<bool>("sharedRead"); // the camera is made while a pass holds one read of the settings
    QTest::newRow("1 MiB: 8 raised to the minimum") << "406" << 15 << 450 << 15 << false;
    QTest::newRow("4 KiB: 2048 cut to the maximum") << "407" << 15 << 450 << 450 << false;
    QTest::newRow("contradictory: the minimum wins") << "407" << 600 << 20 << 600 << false;
    QTest::newRow("contradictory, read once by a pass") << "407" << 600 << 20 << 600 << true;
    QTest::newRow("stream payload 0: the camera's counts") << "408" << 15 << 450 << 450 << false;
}

void TestCamera::buffersAreSizedFromThePayload()
{
    QFETCH(QString, serial);
    QFETCH(int, minimum);
    QFETCH(int, maximum);
    QFETCH(int, buffers);
    QFETCH(bool, sharedRead);
    {
        QSettings settings;
        settings.setValue(QStringLiteral("Grab/MinNumBuffersContinuousShot"), minimum);
        settings.setValue(QStringLiteral("Grab/MaxNumBuffersContinuousShot"), maximum);
    }
    CLogRecorder log;
    std::optional<Internal::CGrabSettings::CSharedRead> pass;
    if (sharedRead)
        pass.emplace();
    CCamera camera(cameraInfo(serial), nullptr);
    QVERIFY(camera.open(false));
    camera.startGrabbing();
    camera.stopGrabbing();
    const TavixSim::GrabRecord grab = TavixSim::lastGrab(QStringLiteral("SimGigE#%1").arg(serial).toStdString());
    QCOMPARE(int(grab.bufferCount), buffers);
    QCOMPARE(int(grab.queuedBufferCount), buffers);
    const QStringList lines = log.messages(CameraCategory);
    QVERIFY(!lines.filter(QStringLiteral("Boosted Instant Camera Thread Priority to: ")).isEmpty());
}

void TestCamera::statisticsOfACompressedStreamWithFailures()
{
    CCamera camera(cameraInfo(QStringLiteral("401")), nullptr);
    const auto statistics = recordStatistics(camera);
    // One statistic per image, as long as this thread keeps up with the camera; the gate makes
    // sure that it does.
    CKeepUpGate gate;
    std::atomic<bool> keptUp{true};
    int images = 0;
    connect(&camera, &ICamera::cameraStatisticChanged, this, [&] { gate.received(); });
    connect(&camera, &ICamera::cameraImageGrabbed, this,
            [&] { keptUp.store(keptUp.load() && gate.waitForStatistic(++images)); }, Qt::DirectConnection);
    QVERIFY(camera.open(false));
    camera.startGrabbing();
    QTRY_VERIFY_WITH_TIMEOUT(statistics->values.size() >= 4, 10000);
    QVERIFY(keptUp.load());
    gate.open();
    camera.stopGrabbing();

    const auto& s = statistics->values;
    QCOMPARE(s[0].grabbed, 2147483647);
    QCOMPARE(s[1].grabbed, int(-2147483647 - 1)); // the SDK's number wraps as an int
    QCOMPARE(s[0].failed, 0);
    QCOMPARE(s[1].failed, 1);
    QVERIFY(s[1].fps > 0.0); // the failed image counts in the rate
    // The ratios are the real ones of the simulator's codec on the moving pattern.
    QVERIFY(s[0].compression.hasCompressionInfo);
    QVERIFY(s[0].compression.currentRatio > 0.0 && s[0].compression.currentRatio < 50.0);
    QCOMPARE(s[0].compression.minRatio, s[0].compression.currentRatio);
    QCOMPARE(s[0].compression.maxRatio, s[0].compression.currentRatio);
    QCOMPARE(s[1].compression.minRatio, std::min(s[0].compression.currentRatio, s[1].compression.currentRatio));
    QCOMPARE(s[1].compression.maxRatio, std::max(s[0].compression.currentRatio, s[1].compression.currentRatio));
    QCOMPARE(s[1].compression.losslessCount, 2);
    QCOMPARE(s[2].compression.errorCount, 1); // status not 0: only the error count moves
    QCOMPARE(s[2].compression.currentRatio, s[1].compression.currentRatio);
    QCOMPARE(s[2].compression.losslessCount, 2);
    QCOMPARE(s[3].compression.lossyCount, 0);
}

void TestCamera::theTimerKeepsStatisticsMovingUntilAfterTheStop()
{
    CCamera camera(cameraInfo(QStringLiteral("404")), nullptr); // three images, then the stream dries up
    const auto statistics = recordStatistics(camera);
    QVERIFY(camera.open(false));
    camera.startGrabbing();
    QTRY_VERIFY_WITH_TIMEOUT(statistics->values.size() >= 3, 10000);
    QVERIFY(statistics->values.last().fps > 0.0);
    const CCompressionStatistic c = statistics->values[0].compression; // no compression figures
    QVERIFY(!c.hasCompressionInfo);
    QCOMPARE(c.currentRatio, 0.0);
    QCOMPARE(c.minRatio, 100.0);
    QCOMPARE(c.maxRatio, 0.0);
    // Ticks of 500 ms go on while the camera grabs, each with the last image number.
    QTRY_VERIFY_WITH_TIMEOUT(statistics->values.size() >= 6, 10000);
    QCOMPARE(statistics->values.last().grabbed, 3);
    QCOMPARE(statistics->values.last().fps, 0.0); // the rate has fallen away
    camera.stopGrabbing();
    const int atStop = statistics->values.size();
    QTRY_COMPARE_WITH_TIMEOUT(statistics->values.size(), atStop + 1, 10000); // one more after the stop
    QTest::qWait(1200);
    QCOMPARE(statistics->values.size(), atStop + 1); // and then none
}

void TestCamera::camerasSharingANewsWakerGetOnlyTheirOwnNews()
{
    // Two cameras' news waits for one waker while the main thread is busy; the camera that ends
    // meanwhile hears nothing more, and the other gets its own newest figures.
    const auto waker = Internal::CNewsWaker::create();
    auto ending = std::make_unique<CCamera>(cameraInfo(QStringLiteral("401")), waker, nullptr);
    CCamera staying(cameraInfo(QStringLiteral("404")), waker, nullptr);
    std::atomic<int> images{0};
    QVector<int> told;
    for (CCamera* camera : {ending.get(), &staying}) {
        connect(camera, &ICamera::cameraImageGrabbed, this, [&] { ++images; }, Qt::DirectConnection);
        connect(camera, &ICamera::cameraStatisticChanged, this, [&told](int grabbed) { told.append(grabbed); });
        QVERIFY(camera->open(false));
    }
    // Started by a client's thread: a start on this thread would tell the first images at once.
    std::thread([&] {
        ending->startGrabbing();
        staying.startGrabbing();
    }).join();
    QElapsedTimer waited;
    waited.start();
    while (images.load() < 4 + 3 && waited.elapsed() < 30000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    QCOMPARE(images.load(), 4 + 3);
    ending.reset();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(told, QVector<int>{3}); // the newest figures of the camera that stayed
}

void TestCamera::chunkDataIsParsedOnlyInChunkMode()
{
    {
        CCamera camera(cameraInfo(QStringLiteral("402")), nullptr);
        QVERIFY(camera.open(false));
        const auto statistics = recordStatistics(camera);
        camera.singleShot();
        QTRY_VERIFY_WITH_TIMEOUT(!statistics->values.isEmpty() && !camera.isGrabbing(), 10000);
        const auto frameId = camera.getParameterCollection()->getIntegerParameter(QStringLiteral("ChunkFrameID"));
        QCOMPARE(frameId->getValue(), qint64(statistics->values.last().grabbed));

        // Chunk mode off at the grab start: the handler leaves the images alone.
        camera.getParameterCollection()->getBooleanParameter(QStringLiteral("ChunkModeActive"))->setValue(false);
        camera.startGrabbing();
        QTRY_VERIFY_WITH_TIMEOUT(statistics->values.size() >= 4, 10000);
        camera.stopGrabbing();
        QCOMPARE(frameId->getValue(), qint64(1));
    }
    CCamera camera(cameraInfo(QStringLiteral("403")), nullptr); // chunk mode on, images without chunks
    QVERIFY(camera.open(false));
    const auto statistics = recordStatistics(camera);
    camera.startGrabbing();
    QTRY_VERIFY_WITH_TIMEOUT(statistics->values.size() >= 3, 10000);
    camera.stopGrabbing();
    QCOMPARE(camera.getParameterCollection()->getIntegerParameter(QStringLiteral("ChunkFrameID"))->getValue(), qint64(0));
}

void TestCamera::aLostDeviceLeavesTheCameraOpenButNotConnected()
{
    CLogRecorder log;
    CCamera camera(cameraInfo(QStringLiteral("400")), nullptr);
    QVERIFY(camera.open(false));
    camera.startGrabbing();
    CQueuedRecorder<bool> lost(&camera, &ICamera::cameraConnectionLost, [] { return true; });
    TavixSim::loseDevice("SimGigE#400");
    QTRY_COMPARE_WITH_TIMEOUT(lost.values.size(), 1, 10000);
    QCOMPARE(camera.getParameterCollection()->getObjectState()->getState(), ParameterCollection::ObjectStateDeviceRemoved);
    QVERIFY(!camera.isConnected());
    QVERIFY(camera.isOpen());
    QVERIFY(camera.isGrabbing());
    camera.stopGrabbing();
    camera.startGrabbing();
    QVERIFY(log.contains(QStringLiteral("CCamera::startGrabbing failed, because the camera is not connected.")));
    camera.close();
    QVERIFY(!camera.isOpen());
}

void TestCamera::compressionDataIsReadAndChecked()
{
    CCamera compressed(cameraInfo(QStringLiteral("401")), nullptr);
    QVERIFY_EXCEPTION_THROWN(compressed.getCompressionMode(), Core::Exception::InvalidOperationException); // closed
    QVERIFY(compressed.open(false));
    const QVector<unsigned char> descriptor = compressed.getCompressionDescriptor();
    QCOMPARE(Tavix::CImageDecompressor(descriptor.constData(), size_t(descriptor.size())).GetImageSizeForDecompression(),
             size_t(10000));
    QCOMPARE(compressed.getCompressionDescriptorHash().size(), 20);
    QCOMPARE(compressed.getCompressionMode(), 1);
    QCOMPARE(compressed.getImageSizeForDecompression(), size_t(10000));

    CCamera plain(cameraInfo(QStringLiteral("400")), nullptr);
    QVERIFY(plain.open(false));
    QCOMPARE(plain.getCompressionMode(), 0);
    QCOMPARE(messageOf<Core::Exception::RuntimeException>([&] { plain.getCompressionDescriptor(); }),
             QStringLiteral("Invalid compression descriptor size found."));

    CCamera odd(cameraInfo(QStringLiteral("409")), nullptr);
    QVERIFY(odd.open(false));
    QCOMPARE(messageOf<Core::Exception::RuntimeException>([&] { odd.getCompressionMode(); }),
             QStringLiteral("Unknown compression mode found."));
    QVERIFY_EXCEPTION_THROWN(odd.getImageSizeForDecompression(), Core::Exception::RuntimeException);
}

void TestCamera::settingsAreWrittenBack()
{
    for (const bool sharedRead : {false, true}) { // a pass that read the settings once ends it
        QSettings().clear();
        QVERIFY(!QSettings().contains(QStringLiteral("Grab/UsedBufferMemory")));
        {
            std::optional<Internal::CGrabSettings::CSharedRead> pass;
            if (sharedRead)
                pass.emplace();
            CCamera never(cameraInfo(QStringLiteral("400")), nullptr);
        }
        QSettings settings;
        QCOMPARE(settings.value(QStringLiteral("Grab/MinNumBuffersContinuousShot")).toInt(), 15);
        QCOMPARE(settings.value(QStringLiteral("Grab/MaxNumBuffersContinuousShot")).toInt(), 450);
        QCOMPARE(settings.value(QStringLiteral("Grab/UsedBufferMemory")).toUInt(), 8388608u);
    }
}

void TestCamera::aClientsCollectionOutlivesTheCamera()
{
    QSharedPointer<ParameterCollection::CParameterCollection> collection;
    QSharedPointer<ParameterCollection::CIntegerParameter> width;
    {
        CCamera camera(cameraInfo(QStringLiteral("400")), nullptr);
        QVERIFY(camera.open(false));
        collection = camera.getParameterCollection();
        width = collection->getIntegerParameter(QStringLiteral("Width"));
    }
    // The state object is shared with the collection and stays usable after the camera.
    QCOMPARE(collection->getObjectState()->getState(), ParameterCollection::ObjectStateFree);
    QVERIFY(!width->isAvailable());
    QVERIFY(width->isBlocked());
    collection.reset();
    QVERIFY(!width->isAvailable());
}

void TestCamera::parameterPathsResolveInTheCollection()
{
    CCamera camera(cameraInfo(QStringLiteral("408")), nullptr); // the stream's PayloadSize is 0
    const auto collection = camera.getParameterCollection();
    QVERIFY(!collection->getIntegerParameter(QStringLiteral("PayloadSize"))); // nothing attached yet
    QVERIFY(camera.open(false));
    // A bare name is found in the maps in the order of announcement: the camera's first.
    QCOMPARE(collection->getIntegerParameter(QStringLiteral("PayloadSize"))->getValue(), qint64(4096));
    QCOMPARE(collection->getIntegerParameter(QStringLiteral("@StreamGrabber0/PayloadSize"))->getValue(), qint64(0));
    QCOMPARE(collection->getIntegerParameter(QStringLiteral("Missing|@StreamGrabber0/PayloadSize"))->getNodeMapName(),
             QStringLiteral("@StreamGrabber0"));
    QVERIFY(!collection->getIntegerParameter(QStringLiteral("@EventGrabber/PayloadSize")));
    QVERIFY(!collection->getEnumParameter(QStringLiteral("Width"))); // another type
    QCOMPARE(collection->getEnumParameter(QStringLiteral("AcquisitionMode"))->getEntries(),
             (QStringList{"Continuous", "SingleFrame"}));
    QVERIFY(collection->isParameterAvailable(QStringLiteral("Width")));
    const auto width = collection->getParameter(QStringLiteral("Width"));
    QCOMPARE(width->toString(), QStringLiteral("4096"));
    QVERIFY(width->isReadable() && width->isWritable() && !width->isBlocked());
    QVERIFY_EXCEPTION_THROWN(collection->getIntegerParameter(QStringLiteral("PayloadSize"))->setValue(1), GenICam::AccessException);
}

void TestCamera::aTimeOfFlightCameraOpensItsRangeComponent()
{
    CCamera camera(cameraInfo(QStringLiteral("420")), nullptr);
    QVERIFY(camera.open(false)); // the range component alone, in 16 bits, the selector put back
    QCOMPARE(enumValue(camera, QStringLiteral("PixelFormat")), QStringLiteral("Mono16"));
    QCOMPARE(enumValue(camera, QStringLiteral("ComponentSelector")), QStringLiteral("Intensity"));
}

void TestCamera::aChunkBufferTheParserRefusesIsReportedAndTheGrabGoesOn()
{
    CLogRecorder log;
    CCamera camera(cameraInfo(QStringLiteral("410")), nullptr); // every second chunk image lacks its trailer
    const auto statistics = recordStatistics(camera);
    QVERIFY(camera.open(false));
    camera.startGrabbing();
    QTRY_VERIFY_WITH_TIMEOUT(statistics->values.size() >= 6, 10000);
    camera.stopGrabbing();
    const QStringList refused = log.messages(CameraCategory).filter(QStringLiteral("Couldn't parse the chunk data of an image. Reason:  "));
    QVERIFY(refused.size() >= 2);
    // The values of the last good buffer stay: an odd frame id.
    const qint64 frameId = camera.getParameterCollection()->getIntegerParameter(QStringLiteral("ChunkFrameID"))->getValue();
    QCOMPARE(frameId % 2, qint64(1));
}

void TestCamera::statisticRecordsCrossThreadsWhole()
{
    // The grab thread publishes each record while the timer's thread reads it: a reader must
    // never see a record that is half of one and half of the next.
    CCompressionStatistic initial;
    Internal::CSeqLockedValue<CCompressionStatistic> published(initial);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        CCompressionStatistic record;
        for (int i = 1; !done.load(std::memory_order_relaxed); ++i) {
            record.losslessCount = record.lossyCount = record.errorCount = i;
            record.currentRatio = record.minRatio = record.maxRatio = double(i);
            published.store(record);
        }
    });
    int torn = 0;
    for (int i = 0; i < 200000; ++i) {
        const CCompressionStatistic seen = published.load();
        torn += seen.losslessCount != seen.errorCount || seen.lossyCount != seen.errorCount
                || (seen.errorCount != 0 && seen.maxRatio != double(seen.errorCount));
    }
    done.store(true);
    writer.join();
    QCOMPARE(torn, 0);
}

TAVIX_TEST_MAIN(TestCamera)
#include "tst_camera.moc"
