#include "simscenario.h"
#include "testmain.h"

#include <tavix/defectpixelcorrection.h>
#include <tavix/imagedecompressor.h>
#include <tavix/instantcamera.h>
#include <tavix/parameters.h>
#include <tavix/sim/testpattern.h>
#include <tavix/runtime.h>
#include <tavix/tlfactory.h>

#include <QMutex>
#include <QThread>
#include <QtConcurrent>

#include <cmath>
#include <deque>
#include <thread>
#include <type_traits>
#include <utility>

using namespace Tavix;

namespace {

template <typename T, typename = void>
struct HasDetach : std::false_type {};
template <typename T>
struct HasDetach<T, std::void_t<decltype(std::declval<T&>().detach())>> : std::true_type {};

// Records what the SDK calls, with the thread it calls on.
class CRecorder : public CImageEventHandler, public CConfigurationEventHandler
{
public:
    explicit CRecorder(QString name = QStringLiteral("h")) : m_name(std::move(name)) {}

    void OnOpen(CInstantCamera&) override { note("OnOpen"); }
    void OnOpened(CInstantCamera&) override { note("OnOpened"); }
    void OnClose(CInstantCamera&) override { note("OnClose"); }
    void OnClosed(CInstantCamera&) override { note("OnClosed"); }
    void OnGrabStart(CInstantCamera&) override { note("OnGrabStart"); }
    void OnGrabStarted(CInstantCamera&) override { note("OnGrabStarted"); }
    void OnGrabStop(CInstantCamera&) override { note("OnGrabStop"); }
    void OnGrabStopped(CInstantCamera&) override { note("OnGrabStopped"); stopped.store(true); }
    void OnGrabError(CInstantCamera&, const char* message) override { note(QStringLiteral("OnGrabError:") + QString::fromUtf8(message)); }
    void OnCameraDeviceRemoved(CInstantCamera&) override { note("OnCameraDeviceRemoved"); removed.store(true); }
    void OnImageGrabbed(CInstantCamera&, const CGrabResultPtr& result) override
    {
        QMutexLocker locker(&mutex);
        if (images.isEmpty())
            events << m_name + QStringLiteral(":OnImageGrabbed");
        imageThread = std::this_thread::get_id();
        images.append(result->GetImageNumber());
        succeeded.append(result->GrabSucceeded());
        payloadTypes.append(result->GetPayloadType());
        if (keepResults)
            kept.push_back(result);
        if (order)
            order->append(m_name);
    }

    void note(const QString& event)
    {
        QMutexLocker locker(&mutex);
        events << m_name + QLatin1Char(':') + event;
        threads[event] = std::this_thread::get_id();
    }
    // Reads a member for the test's thread, under the lock the grab thread writes with. A Qt
    // container is copied whole there: a shared copy would be let go on this thread while the
    // grab thread appends, an order that ThreadSanitizer can't see inside Qt.
    template <typename T>
    T read(const T& member)
    {
        QMutexLocker locker(&mutex);
        T copy = member;
        if constexpr (HasDetach<T>::value)
            copy.detach();
        return copy;
    }
    std::thread::id threadOf(const char* event) { return read(threads).value(QLatin1String(event)); }

    QMutex mutex;
    QStringList events;
    QMap<QString, std::thread::id> threads;
    std::thread::id imageThread;
    QVector<int64_t> images;
    QVector<bool> succeeded;
    QVector<int> payloadTypes;
    std::deque<CGrabResultPtr> kept;
    bool keepResults = false;
    QStringList* order = nullptr;
    std::atomic<bool> stopped{false};
    std::atomic<bool> removed{false};

private:
    QString m_name;
};

struct OpenCamera
{
    explicit OpenCamera(const QString& serial, CRecorder& recorder)
        : camera(CTlFactory::GetInstance().CreateDevice(CDeviceInfo().SetSerialNumber(serial.toUtf8().constData())))
    {
        camera.RegisterConfiguration(&recorder, RegistrationMode_ReplaceAll, Cleanup_None);
        camera.RegisterImageEventHandler(&recorder, RegistrationMode_ReplaceAll, Cleanup_None);
        camera.Open();
    }
    CInstantCamera camera;
};

} // namespace

class TestSdkGrab : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void aGrabReportsItsStepsInOrderOnTheirThreadsAndItsResultsOutliveTheCamera_data();
    void aGrabReportsItsStepsInOrderOnTheirThreadsAndItsResultsOutliveTheCamera();
    void imageHandlersRunInRegistrationOrder();
    void buffersComeBackWhenTheLastCopyGoesOnAnotherThread();
    void aLostDeviceIsReportedFromAThreadOfItsOwn();
    void failedFramesChunkDataAndGrabErrorsArrive();
    void defectPixelsShowUnlessTheCorrectionCoversThem_data();
    void defectPixelsShowUnlessTheCorrectionCoversThem();
    void aResultCarriesTheShapeOfItsOwnImage_data();
    void aResultCarriesTheShapeOfItsOwnImage();
    void whatShapesTheImageIsLockedWhileTheCameraGrabs();
    void theTestPatternHasNoSeamAndMoves_data();
    void theTestPatternHasNoSeamAndMoves();
};

namespace {

// A camera's features that give its images a shape of their own: an offset on the sensor, and
// formats that the stream has to tell apart.
QJsonArray shapedFeatures(int width, int height, const QString& pixelFormat)
{
    return QJsonArray{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", width}, {"min", 1}, {"max", 4096}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", height}, {"min", 1}, {"max", 4096}},
        QJsonObject{{"name", "OffsetX"}, {"type", "integer"}, {"value", 8}},
        QJsonObject{{"name", "OffsetY"}, {"type", "integer"}, {"value", 2}},
        QJsonObject{{"name", "PixelFormat"}, {"type", "enumeration"}, {"value", pixelFormat},
                    {"entries", QJsonArray{"Mono8", "Mono12", "BayerRG8", "BGR8"}}},
        QJsonObject{{"name", "BinningHorizontal"}, {"type", "integer"}, {"value", 1}, {"min", 1}, {"max", 4}},
        QJsonObject{{"name", "Gain"}, {"type", "float"}, {"value", 0.0}, {"min", 0.0}, {"max", 24.0}},
    };
}

} // namespace

void TestSdkGrab::init()
{
    TavixSim::reset();
    QJsonObject compressing = TestScenario::camera(QStringLiteral("107"), QJsonObject{{"frameRate", 200}},
                                                   shapedFeatures(32, 4, "Mono8"));
    compressing.insert("compression", QJsonObject{});
    QJsonObject defective = TestScenario::camera(QStringLiteral("103"), {},
                                                 QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 16}},
                                                            QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 4}}});
    defective.insert("defectPixels", QJsonObject{{"factory", QJsonArray{QJsonArray{2, 1}, QJsonArray{4, 2}}},
                                                 {"sensor", QJsonArray{QJsonArray{8, 1}, QJsonArray{11, 3}}}});
    const QJsonArray devices{
        TestScenario::camera(QStringLiteral("100")),
        TestScenario::camera(QStringLiteral("101"), QJsonObject{{"failures", QJsonArray{QJsonObject{{"every", 2}, {"code", 7}, {"text", "incomplete"}}}},
                                                             {"errors", QJsonArray{QJsonObject{{"afterFrame", 3}, {"message", "link lost"}}}},
                                                             {"payloadType", "chunk"}}),
        TestScenario::camera(QStringLiteral("102"), QJsonObject{{"firstImageNumber", "2147483646"}, {"frameRate", 200}}),
        defective,
        TestScenario::camera(QStringLiteral("104"), QJsonObject{{"frameRate", 200}}, shapedFeatures(40, 3, "BayerRG8")),
        TestScenario::camera(QStringLiteral("105"), QJsonObject{{"frameRate", 200}}, shapedFeatures(21, 5, "Mono12")),
        TestScenario::camera(QStringLiteral("106"), QJsonObject{{"frameRate", 200}}, shapedFeatures(7, 2, "BGR8")),
        compressing,
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(devices)}), QString());
}

void TestSdkGrab::aGrabReportsItsStepsInOrderOnTheirThreadsAndItsResultsOutliveTheCamera_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<QVector<int64_t>>("numbers"); // empty: a grab without end, stopped by the test
    QTest::newRow("stopped by the caller") << "100" << QVector<int64_t>{};
    QTest::newRow("a single frame") << "100" << QVector<int64_t>{1};
    QTest::newRow("numbers from where the scenario says") << "102" << QVector<int64_t>{2147483646ll, 2147483647ll, 2147483648ll};
}

void TestSdkGrab::aGrabReportsItsStepsInOrderOnTheirThreadsAndItsResultsOutliveTheCamera()
{
    QFETCH(QString, serial);
    QFETCH(QVector<int64_t>, numbers);
    CRecorder recorder;
    recorder.keepResults = !numbers.isEmpty(); // a grab without end would wait for the buffers held
    std::deque<CGrabResultPtr> held;
    {
        OpenCamera open(serial, recorder);
        CInstantCamera& camera = open.camera;
        if (numbers.isEmpty()) {
            camera.StartGrabbing(GrabStrategy_OneByOne, GrabLoop_ProvidedByInstantCamera);
            QVERIFY(camera.IsGrabbing());
            QTRY_VERIFY_WITH_TIMEOUT(recorder.read(recorder.images).size() >= 10, 10000);
            camera.StopGrabbing();
        } else {
            camera.StartGrabbing(size_t(numbers.size()), GrabStrategy_OneByOne, GrabLoop_ProvidedByInstantCamera);
            QTRY_VERIFY_WITH_TIMEOUT(recorder.stopped.load(), 10000);
        }
        QVERIFY(!camera.IsGrabbing());
        const int delivered = recorder.read(recorder.images).size();
        camera.StopGrabbing(); // harmless, reports nothing
        QCOMPARE(recorder.read(recorder.images).size(), delivered); // nothing arrives after the stop returned
        camera.Close();
        held.swap(recorder.kept);
    }
    QCOMPARE(recorder.read(recorder.events), (QStringList{"h:OnOpen", "h:OnOpened", "h:OnGrabStart", "h:OnGrabStarted", "h:OnImageGrabbed",
                                           "h:OnGrabStop", "h:OnGrabStopped", "h:OnClose", "h:OnClosed"}));
    for (const char* event : {"OnOpen", "OnGrabStart", "OnGrabStarted", "OnClose"})
        QVERIFY(recorder.threadOf(event) == std::this_thread::get_id());
    const std::thread::id imageThread = recorder.read(recorder.imageThread);
    QVERIFY(imageThread != std::thread::id() && imageThread != std::this_thread::get_id());
    // A grab that ends by itself reports its stop on the grab loop thread.
    QVERIFY(recorder.threadOf("OnGrabStopped") == (numbers.isEmpty() ? std::this_thread::get_id() : imageThread));
    const QVector<int64_t> images = recorder.read(recorder.images);
    if (!numbers.isEmpty())
        QCOMPARE(images, numbers);
    for (int i = 1; i < images.size(); ++i)
        QCOMPARE(images[i], images[i - 1] + 1); // one by one, in order

    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), 0);
    QCOMPARE(int(held.size()), numbers.size());
    for (const CGrabResultPtr& result : held) {
        QVERIFY(result->GrabSucceeded());
        QCOMPARE(result->GetPayloadSize(), size_t(64));
        const auto* pixels = static_cast<const unsigned char*>(result->GetBuffer());
        QVERIFY(pixels[1] != pixels[0]); // a pattern, not a blank
    }
    held.clear(); // the pool goes with the last result
}

void TestSdkGrab::imageHandlersRunInRegistrationOrder()
{
    CRecorder first(QStringLiteral("first"));
    CRecorder second(QStringLiteral("second"));
    QStringList order;
    first.order = &order;
    second.order = &order;
    OpenCamera open(QStringLiteral("100"), first);
    open.camera.RegisterImageEventHandler(&second, RegistrationMode_Append, Cleanup_None);
    open.camera.StartGrabbing(3);
    QTRY_VERIFY_WITH_TIMEOUT(first.stopped.load(), 10000);
    QCOMPARE(order, (QStringList{"first", "second", "first", "second", "first", "second"}));
    // Handlers can't change while a grab runs, since the loop reads them without a lock.
    open.camera.StartGrabbing(GrabStrategy_OneByOne);
    QVERIFY_EXCEPTION_THROWN(open.camera.RegisterImageEventHandler(&second, RegistrationMode_Append, Cleanup_None),
                             GenICam::LogicalErrorException);
}

void TestSdkGrab::buffersComeBackWhenTheLastCopyGoesOnAnotherThread()
{
    CRecorder recorder;
    recorder.keepResults = true;
    OpenCamera open(QStringLiteral("100"), recorder);
    open.camera.MaxNumBuffer.SetValue(3);
    open.camera.StartGrabbing(GrabStrategy_OneByOne);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.read(recorder.images).size(), 3, 10000);
    QCOMPARE(TavixSim::lastGrab("SimGigE#100").bufferCount, size_t(3));

    // All buffers are held: the loop waits. A copy dropped elsewhere gives its buffer back.
    std::deque<CGrabResultPtr> held;
    {
        QMutexLocker locker(&recorder.mutex);
        held.swap(recorder.kept);
        recorder.keepResults = false;
    }
    QCOMPARE(recorder.read(recorder.images).size(), 3);
    QtConcurrent::run([&held] { held.clear(); }).waitForFinished();
    QTRY_VERIFY_WITH_TIMEOUT(recorder.read(recorder.images).size() > 6, 10000);
    open.camera.StopGrabbing();
}

void TestSdkGrab::aLostDeviceIsReportedFromAThreadOfItsOwn()
{
    CRecorder recorder;
    OpenCamera open(QStringLiteral("100"), recorder);
    open.camera.StartGrabbing(GrabStrategy_OneByOne);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.read(recorder.images).size() > 0, 10000);

    TavixSim::loseDevice("SimGigE#100");
    QVERIFY(open.camera.IsCameraDeviceRemoved());
    QTRY_VERIFY_WITH_TIMEOUT(recorder.removed.load(), 10000);
    const std::thread::id reporter = recorder.threadOf("OnCameraDeviceRemoved");
    QVERIFY(reporter != std::this_thread::get_id());
    QVERIFY(reporter != recorder.read(recorder.imageThread));
    QVERIFY(open.camera.IsGrabbing()); // the grab stands until somebody stops it
    QVERIFY(open.camera.IsOpen());
    open.camera.StopGrabbing();
    open.camera.Close();

    DeviceInfoList devices;
    CTlFactory::GetInstance().EnumerateDevices(devices);
    for (const auto& device : devices)
        QVERIFY(device.GetFullName() != "SimGigE#100");
    QVERIFY_EXCEPTION_THROWN(CTlFactory::GetInstance().CreateDevice(CDeviceInfo().SetSerialNumber("100")), GenICam::RuntimeException);
}

void TestSdkGrab::failedFramesChunkDataAndGrabErrorsArrive()
{
    CRecorder recorder;
    recorder.keepResults = true;
    OpenCamera open(QStringLiteral("101"), recorder);
    IChunkParser* parser = open.camera.GetDevice()->CreateChunkParser();
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveChunkParser), 1);
    open.camera.StartGrabbing(4);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.stopped.load(), 10000);
    QCOMPARE(recorder.succeeded, (QVector<bool>{true, false, true, false}));
    QCOMPARE(recorder.payloadTypes, (QVector<int>{3, 3, 3, 3}));
    QVERIFY(recorder.read(recorder.events).contains(QStringLiteral("h:OnGrabError:link lost")));
    QCOMPARE(recorder.kept[1]->GetErrorCode(), 7u);
    QCOMPARE(QString::fromUtf8(recorder.kept[1]->GetErrorDescription()), QStringLiteral("incomplete"));

    const CGrabResultPtr& last = recorder.kept.back();
    parser->AttachBuffer(last->GetBuffer(), last->GetPayloadSize());
    QCOMPARE(CIntegerParameter(open.camera.GetNodeMap(), "ChunkFrameID").GetValue(), last->GetImageNumber());
    QVERIFY_EXCEPTION_THROWN(parser->AttachBuffer(last->GetBuffer(), 8), GenICam::RuntimeException);
    open.camera.GetDevice()->DestroyChunkParser(parser);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveChunkParser), 0);
}

void TestSdkGrab::defectPixelsShowUnlessTheCorrectionCoversThem_data()
{
    // The sensor of camera 103 (16 x 4 Mono8) has defects at 2,1 and 4,2 (its factory list) and
    // at 8,1 and 11,3 (on no list): hot where x + y is even, dead where it is odd.
    QTest::addColumn<bool>("correction");
    QTest::addColumn<QString>("userList");
    QTest::addColumn<QString>("visible");
    QTest::newRow("on, factory list") << true << "" << "8,1;11,3";
    QTest::newRow("on, the user list names one more") << true << "8,1" << "11,3";
    QTest::newRow("off") << false << "8,1" << "2,1;4,2;8,1;11,3";
}

void TestSdkGrab::defectPixelsShowUnlessTheCorrectionCoversThem()
{
    QFETCH(bool, correction);
    QFETCH(QString, userList);
    QFETCH(QString, visible);
    CRecorder recorder;
    recorder.keepResults = true;
    OpenCamera open(QStringLiteral("103"), recorder);
    GenApi::INodeMap& nodeMap = open.camera.GetNodeMap();
    StaticDefectPixelList user = CStaticDefectPixelCorrection::FromText(userList.toStdString());
    QVERIFY(CStaticDefectPixelCorrection::SetDefectPixelList(&nodeMap, user, CStaticDefectPixelCorrection::ListType_User));
    CEnumParameter(nodeMap, "VrlStaticDefectPixelCorrectionMode").SetValue(correction ? "On" : "Off");
    open.camera.StartGrabbing(1);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.stopped.load(), 10000);
    QMutexLocker locker(&recorder.mutex);
    QCOMPARE(recorder.kept.size(), size_t(1));
    const auto* image = static_cast<const unsigned char*>(recorder.kept.front()->GetBuffer());
    const auto pixel = [image](int x, int y) { return int(image[y * 16 + x]); };

    const StaticDefectPixelList shown = CStaticDefectPixelCorrection::FromText(visible.toStdString());
    for (const QPoint& defect : {QPoint(2, 1), QPoint(4, 2), QPoint(8, 1), QPoint(11, 3)}) {
        const bool expectShown = std::find(shown.begin(), shown.end(), StaticDefectPixel{uint32_t(defect.x()), uint32_t(defect.y())})
                                 != shown.end();
        // A corrected pixel is what the ramp of the test pattern has there: its neighbours' mean.
        const int expected = expectShown ? ((defect.x() + defect.y()) % 2 == 0 ? 255 : 0)
                                         : (pixel(defect.x() - 1, defect.y()) + pixel(defect.x() + 1, defect.y())) / 2;
        QCOMPARE(pixel(defect.x(), defect.y()), expected);
    }
    // A pixel without a defect keeps the pattern's value.
    QCOMPARE(pixel(6, 2), (pixel(5, 2) + pixel(7, 2)) / 2);
}

void TestSdkGrab::aResultCarriesTheShapeOfItsOwnImage_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<int>("pixelType");
    QTest::addColumn<int>("bytesPerPixel");
    QTest::newRow("Mono8, the default shape") << "100" << QSize(64, 1) << QPoint(0, 0) << int(PixelType_Mono8) << 1;
    QTest::newRow("BayerRG8 at an offset") << "104" << QSize(40, 3) << QPoint(8, 2) << int(PixelType_BayerRG8) << 1;
    QTest::newRow("Mono12 in two bytes") << "105" << QSize(21, 5) << QPoint(8, 2) << int(PixelType_Mono12) << 2;
    QTest::newRow("BGR8") << "106" << QSize(7, 2) << QPoint(8, 2) << int(PixelType_BGR8) << 3;
}

void TestSdkGrab::aResultCarriesTheShapeOfItsOwnImage()
{
    QFETCH(QString, serial);
    QFETCH(QSize, size);
    QFETCH(QPoint, offset);
    QFETCH(int, pixelType);
    QFETCH(int, bytesPerPixel);
    CRecorder recorder;
    recorder.keepResults = true;
    OpenCamera open(serial, recorder);
    open.camera.StartGrabbing(2);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.stopped.load(), 10000);
    QMutexLocker locker(&recorder.mutex);
    QCOMPARE(recorder.kept.size(), size_t(2));
    for (const CGrabResultPtr& result : recorder.kept) {
        QCOMPARE(int(result->GetWidth()), size.width());
        QCOMPARE(int(result->GetHeight()), size.height());
        QCOMPARE(int(result->GetOffsetX()), offset.x());
        QCOMPARE(int(result->GetOffsetY()), offset.y());
        QCOMPARE(result->GetPaddingX(), 0u);
        QCOMPARE(int(result->GetPixelType()), pixelType);
        // The bytes are the pattern's picture of that shape, in the frame of that number.
        const std::vector<unsigned char> expected = TavixSim::CTestPattern::frame(
            uint32_t(size.width()), uint32_t(size.height()), size_t(bytesPerPixel), EPixelType(pixelType), uint64_t(result->GetImageNumber()));
        QCOMPARE(result->GetPayloadSize(), expected.size());
        QVERIFY(std::equal(expected.begin(), expected.end(), static_cast<const unsigned char*>(result->GetBuffer())));
    }
}

void TestSdkGrab::whatShapesTheImageIsLockedWhileTheCameraGrabs()
{
    CRecorder recorder;
    recorder.keepResults = true;
    OpenCamera open(QStringLiteral("107"), recorder);
    GenApi::INodeMap& nodeMap = open.camera.GetNodeMap();
    open.camera.StartGrabbing(GrabStrategy_OneByOne);
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.read(recorder.images).isEmpty(), 10000);

    QCOMPARE(CIntegerParameter(nodeMap, "TLParamsLocked").GetValue(), int64_t(1));
    for (const char* name : {"Width", "Height", "PixelFormat", "BinningHorizontal"}) {
        QVERIFY2(!GenApi::IsWritable(nodeMap.GetNode(name)), name);
        try {
            nodeMap.GetNode(name)->FromString("2");
            QFAIL(name);
        } catch (const GenICam::AccessException& e) {
            QVERIFY2(QString::fromUtf8(e.GetDescription()).contains(QStringLiteral("locked while the camera streams images")),
                     e.GetDescription());
        }
    }
    // What doesn't change the image's layout stays writable.
    CFloatParameter(nodeMap, "Gain").SetValue(6.0);
    CIntegerParameter(nodeMap, "OffsetX").SetValue(4);
    open.camera.StopGrabbing();
    QCOMPARE(CIntegerParameter(nodeMap, "TLParamsLocked").GetValue(), int64_t(0));

    // Free again after the stop; the next grab's images have the new shape, compressed ones too.
    CIntegerParameter(nodeMap, "Width").SetValue(48);
    QCOMPARE(CIntegerParameter(nodeMap, "Width").GetValue(), int64_t(48));
    {
        QMutexLocker locker(&recorder.mutex);
        recorder.kept.clear();
        recorder.stopped.store(false);
    }
    const std::vector<unsigned char> descriptor = [&] {
        size_t size = 0;
        CImageDecompressor::GetCompressionDescriptor(nullptr, &size, nodeMap);
        std::vector<unsigned char> bytes(size);
        CImageDecompressor::GetCompressionDescriptor(bytes.data(), &size, nodeMap);
        return bytes;
    }();
    const CImageDecompressor decompressor(descriptor.data(), descriptor.size());
    open.camera.StartGrabbing(1);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.stopped.load(), 10000);
    QMutexLocker locker(&recorder.mutex);
    const CGrabResultPtr result = recorder.kept.front();
    QCOMPARE(result->GetWidth(), 48u);
    QCOMPARE(result->GetOffsetX(), 4u);
    std::vector<unsigned char> pixels(decompressor.GetImageSizeForDecompression());
    ImageShape shape;
    QCOMPARE(decompressor.DecompressImage(pixels.data(), pixels.size(), result, shape), size_t(48 * 4));
    QCOMPARE(shape.width, 48u);
    QCOMPARE(shape.height, 4u);
    QCOMPARE(shape.offsetX, 4u);
    QCOMPARE(shape.pixelType, PixelType_Mono8);
    // Written while grabbing, the gain of 6 dB lights the picture twice as brightly.
    TavixSim::CTestPattern::Response brighter;
    brighter.gain = std::pow(10.0, 6.0 / 20.0);
    QVERIFY(pixels == TavixSim::CTestPattern::frame(48, 4, 1, PixelType_Mono8, uint64_t(result->GetImageNumber()), brighter));
}

void TestSdkGrab::theTestPatternHasNoSeamAndMoves_data()
{
    QTest::addColumn<int>("width");
    QTest::newRow("a width the wave doesn't divide") << 1000;
    QTest::newRow("narrower than the wave") << 37;
}

void TestSdkGrab::theTestPatternHasNoSeamAndMoves()
{
    QFETCH(int, width);
    const int height = 300;
    const auto frame = [&](uint64_t phase) {
        return TavixSim::CTestPattern::frame(uint32_t(width), uint32_t(height), 1, PixelType_Mono8, phase);
    };
    const std::vector<unsigned char> first = frame(7);
    const std::vector<unsigned char> second = frame(8);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int here = first[size_t(y * width + x)];
            // No edge anywhere: neighbours to the right and below differ by one step at most.
            if (x + 1 < width)
                QVERIFY(std::abs(here - first[size_t(y * width + x + 1)]) <= 1);
            if (y + 1 < height)
                QVERIFY(std::abs(here - first[size_t((y + 1) * width + x)]) <= 1);
            // The next frame is this one moved a pixel to the left.
            if (x + 1 < width)
                QCOMPARE(int(second[size_t(y * width + x)]), int(first[size_t(y * width + x + 1)]));
        }
    }
    // A row as wide as the wave holds its whole range of brightness.
    if (width >= int(TavixSim::CTestPattern::Period)) {
        QCOMPARE(*std::max_element(first.begin(), first.begin() + width), uchar(255));
        QCOMPARE(*std::min_element(first.begin(), first.begin() + width), uchar(0));
    }
}

TAVIX_TEST_MAIN(TestSdkGrab)
#include "tst_sdkgrab.moc"
