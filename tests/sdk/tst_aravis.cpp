#include "aravisfixture.h"
#include "featuretexts.h"
#include "testmain.h"

#include <tavix/defectpixelcorrection.h>
#include <tavix/instantcamera.h>
#include <tavix/sim/simcontrol.h>

#include <QMutex>

#include <memory>
#include <set>
#include <tuple>

using namespace Tavix;

namespace {

// Records the handler calls of one camera and the images it gets.
class CGrabRecorder : public CImageEventHandler, public CConfigurationEventHandler
{
public:
    void OnGrabStart(CInstantCamera&) override { note("OnGrabStart"); }
    void OnGrabStarted(CInstantCamera&) override { note("OnGrabStarted"); }
    void OnGrabStop(CInstantCamera&) override { note("OnGrabStop"); }
    void OnGrabStopped(CInstantCamera&) override { note("OnGrabStopped"); }
    void OnGrabError(CInstantCamera&, const char* message) override { note(QStringLiteral("OnGrabError ") + message); }
    void OnImageGrabbed(CInstantCamera&, const CGrabResultPtr& result) override
    {
        QMutexLocker locker(&m_mutex);
        if (m_numbers.isEmpty())
            m_events << QStringLiteral("OnImageGrabbed");
        m_numbers << result->GetImageNumber();
        m_buffers.insert(result->GetBuffer());
        m_payloadSizes.insert(result->GetPayloadSize());
        m_succeeded = m_succeeded && result->GrabSucceeded();
        const ImageShape& shape = result->GetImageShape();
        m_shapes.insert({shape.width, shape.height, shape.offsetX, shape.offsetY, shape.paddingX, shape.pixelType,
                         result->GetPayloadSize()});
    }
    void DestroyImageEventHandler() override {}
    void DestroyConfiguration() override {}

    // Copies of their own: a shared copy's count would be dropped on this thread after the grab
    // thread's next append detached it, an order that ThreadSanitizer can't see inside Qt.
    QStringList events() const { QMutexLocker locker(&m_mutex); return QStringList(m_events.cbegin(), m_events.cend()); }
    QList<int64_t> numbers() const { QMutexLocker locker(&m_mutex); return QList<int64_t>(m_numbers.cbegin(), m_numbers.cend()); }
    std::set<const void*> buffers() const { QMutexLocker locker(&m_mutex); return m_buffers; }
    std::set<size_t> payloadSizes() const { QMutexLocker locker(&m_mutex); return m_payloadSizes; }
    bool allSucceeded() const { QMutexLocker locker(&m_mutex); return m_succeeded; }
    // Width, height, offsets, padding, pixel type and payload of each image.
    using Shape = std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, EPixelType, size_t>;
    std::set<Shape> shapes() const { QMutexLocker locker(&m_mutex); return m_shapes; }

private:
    void note(const QString& event)
    {
        QMutexLocker locker(&m_mutex);
        m_events << event;
    }

    mutable QMutex m_mutex;
    QStringList m_events;
    QList<int64_t> m_numbers;
    std::set<const void*> m_buffers;
    std::set<size_t> m_payloadSizes;
    std::set<Shape> m_shapes;
    bool m_succeeded = true;
};

// Keeps the first results it gets, so that the pool runs dry, and notes each image's number
// with the skipped images reported just before it.
class CHoldingHandler : public CImageEventHandler
{
public:
    void OnImagesSkipped(CInstantCamera&, size_t count) override
    {
        QMutexLocker locker(&m_mutex);
        m_pendingSkipped += count;
    }
    void OnImageGrabbed(CInstantCamera&, const CGrabResultPtr& result) override
    {
        QMutexLocker locker(&m_mutex);
        m_images.append({result->GetImageNumber(), m_pendingSkipped});
        m_pendingSkipped = 0;
        if (m_holding)
            m_held.push_back(result);
    }
    void DestroyImageEventHandler() override {}

    void letGo()
    {
        QMutexLocker locker(&m_mutex);
        m_holding = false;
        m_held.clear();
    }
    int count() const { QMutexLocker locker(&m_mutex); return m_images.size(); }
    QList<QPair<int64_t, size_t>> images() const { QMutexLocker locker(&m_mutex); return m_images; }

private:
    mutable QMutex m_mutex;
    bool m_holding = true;
    std::vector<CGrabResultPtr> m_held;
    size_t m_pendingSkipped = 0;
    QList<QPair<int64_t, size_t>> m_images;
};

template <typename Exception>
QString descriptionOf(const std::function<void()>& fn)
{
    try {
        fn();
    } catch (const Exception& e) {
        return QString::fromUtf8(e.GetDescription());
    } catch (const GenICam::GenericException& e) {
        return QStringLiteral("other exception: ") + e.GetExceptionType() + " " + e.GetDescription();
    }
    return QStringLiteral("nothing thrown");
}

} // namespace

class TestAravis : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanupTestCase();
    void backendListsAreChecked();
    void theFakeCameraIsListedWithItsDescription();
    void aGrabDeliversEveryImageIntoThePoolsBuffers();
    void imagesLostWhileTheApplicationHoldsEveryBufferAreCounted();
    void nodeMapReadsWritesAndRefuses();
    void aResultCarriesTheShapeOfItsImageAlsoAfterAChangeWhileGrabbing();
    void featureTextsAreTakenOnlyWhole_data();
    void featureTextsAreTakenOnlyWhole();
    void aravisFailuresBecomeGenICamExceptions();
    void layersAndInterfacesOfAravis();
    void featuresAreDescribedAndGroupedAsTheCameraDescribesThem();

private:
    std::unique_ptr<CInstantCamera> openFakeCamera();
};

void TestAravis::init()
{
    AravisFixture::useBackends("aravis", {"Fake"});
}

void TestAravis::cleanupTestCase()
{
    QCOMPARE(liveSdkObjects(), 0);
    TavixBackends::setActiveBackends("sim");
}

std::unique_ptr<CInstantCamera> TestAravis::openFakeCamera()
{
    const CDeviceInfo info = AravisFixture::firstDevice("Custom");
    if (info.GetFullName().empty())
        return nullptr;
    auto camera = std::make_unique<CInstantCamera>(CTlFactory::GetInstance().CreateDevice(info));
    camera->Open();
    return camera;
}

void TestAravis::backendListsAreChecked()
{
    std::string error;
    QVERIFY(!TavixBackends::setActiveBackends("sim,nowhere", &error));
    QCOMPARE(QString::fromStdString(error), QStringLiteral("Unknown camera backend 'nowhere'; this build knows sim, aravis."));
    QVERIFY(!TavixBackends::setActiveBackends(" , ", &error));
    QCOMPARE(TavixBackends::activeBackends(), (std::vector<std::string>{"aravis"})); // unchanged
    QVERIFY(!TavixAravis::setInterfaces({"Firewire"}, &error));
    QCOMPARE(TavixAravis::interfaces(), (std::vector<std::string>{"Fake"}));
}

void TestAravis::theFakeCameraIsListedWithItsDescription()
{
    const CDeviceInfo info = AravisFixture::firstDevice("Custom");
    QVERIFY(!info.GetFullName().empty());
    QCOMPARE(info.GetVendorName(), GenICam::gcstring("Aravis"));
    QCOMPARE(info.GetModelName(), GenICam::gcstring("Fake"));
    QVERIFY(!info.GetSerialNumber().empty());
    QCOMPARE(info.GetDeviceClass(), GenICam::gcstring("AravisFake"));
    QCOMPARE(info.GetPropertyValue("Protocol"), GenICam::gcstring("Fake"));
}

void TestAravis::aGrabDeliversEveryImageIntoThePoolsBuffers()
{
    const std::unique_ptr<CInstantCamera> camera = openFakeCamera();
    QVERIFY(camera);
    CGrabRecorder recorder;
    camera->RegisterConfiguration(&recorder, RegistrationMode_Append, Cleanup_None);
    camera->RegisterImageEventHandler(&recorder, RegistrationMode_Append, Cleanup_None);
    CFloatParameter(camera->GetNodeMap(), "AcquisitionFrameRate").TrySetValue(200.0);
    camera->MaxNumBuffer.SetValue(4);
    const int64_t width = CIntegerParameter(camera->GetNodeMap(), "Width").GetValue();
    const int64_t height = CIntegerParameter(camera->GetNodeMap(), "Height").GetValue();
    QCOMPARE(CEnumParameter(camera->GetNodeMap(), "PixelFormat").GetValue(), GenICam::gcstring("Mono8"));

    const int count = 12;
    camera->StartGrabbing(count);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.events().contains("OnGrabStopped"), 20000);
    QVERIFY(!camera->IsGrabbing());

    QCOMPARE(recorder.events(), (QStringList{"OnGrabStart", "OnGrabStarted", "OnImageGrabbed", "OnGrabStop", "OnGrabStopped"}));
    QList<int64_t> expected;
    for (int number = 1; number <= count; ++number)
        expected << number;
    QCOMPARE(recorder.numbers(), expected);
    QVERIFY(recorder.allSucceeded());
    QCOMPARE(recorder.payloadSizes(), (std::set<size_t>{size_t(width * height)}));
    // Aravis wrote into the pool's own buffers: no more addresses than the pool holds.
    QVERIFY(recorder.buffers().size() <= 4);

    // A second grab on the same camera, stopped from outside.
    camera->StartGrabbing();
    QTRY_VERIFY_WITH_TIMEOUT(recorder.numbers().size() > count + 3, 20000);
    camera->StopGrabbing();
    QVERIFY(!camera->IsGrabbing());
    camera->Close();
    QVERIFY(!camera->IsOpen());
}

void TestAravis::imagesLostWhileTheApplicationHoldsEveryBufferAreCounted()
{
    const std::unique_ptr<CInstantCamera> camera = openFakeCamera();
    QVERIFY(camera);
    CHoldingHandler handler;
    camera->RegisterImageEventHandler(&handler, RegistrationMode_Append, Cleanup_None);
    CFloatParameter(camera->GetNodeMap(), "AcquisitionFrameRate").TrySetValue(500.0);
    camera->MaxNumBuffer.SetValue(2);
    camera->StartGrabbing();
    QTRY_COMPARE_WITH_TIMEOUT(handler.count(), 2, 20000);
    // The pool is dry now; the grab must go on once the buffers come back.
    handler.letGo();
    QTRY_VERIFY_WITH_TIMEOUT(handler.count() > 10, 20000);
    camera->StopGrabbing();

    // Each number follows the one before (0 before the first) by one more than the images
    // skipped in between; a slow start may skip some before the first image.
    int64_t previous = 0;
    for (const auto& image : handler.images()) {
        QCOMPARE(image.first, previous + 1 + int64_t(image.second));
        previous = image.first;
    }
}

void TestAravis::nodeMapReadsWritesAndRefuses()
{
    const std::unique_ptr<CInstantCamera> camera = openFakeCamera();
    QVERIFY(camera);
    GenApi::INodeMap& nodeMap = camera->GetNodeMap();
    CIntegerParameter width(nodeMap, "Width");
    QVERIFY(width.IsWritable());
    width.SetValue(320);
    QCOMPARE(width.GetValue(), int64_t(320));
    QCOMPARE(CIntegerParameter(nodeMap, "PayloadSize").GetValue(), 320 * CIntegerParameter(nodeMap, "Height").GetValue());
    QVERIFY(!width.TrySetValue(width.GetMax() + 1000));

    QCOMPARE(descriptionOf<GenICam::AccessException>([&] { CStringParameter(nodeMap, "DeviceVendorName").SetValue("Someone"); }),
             QStringLiteral("Node 'DeviceVendorName' is not writable."));
    QCOMPARE(CStringParameter(nodeMap, "DeviceVendorName").GetValue(), GenICam::gcstring("Aravis"));

    CEnumParameter pixelFormat(nodeMap, "PixelFormat");
    GenICam::gcstring_vector formats;
    pixelFormat.GetSettableValues(formats);
    QVERIFY(std::find(formats.begin(), formats.end(), GenICam::gcstring("Mono8")) != formats.end());
    QVERIFY(!pixelFormat.TrySetValue("NoSuchFormat"));

    QVERIFY(!CParameter(nodeMap, "NoSuchFeature").IsValid());
    GenApi::NodeList_t nodes;
    nodeMap.GetNodes(nodes);
    QVERIFY(std::any_of(nodes.begin(), nodes.end(), [](GenApi::INode* node) { return node->GetName() == "Width"; }));

    StaticDefectPixelList pixels;
    QCOMPARE(descriptionOf<GenICam::LogicalErrorException>([&] {
                 CStaticDefectPixelCorrection::GetDefectPixelList(&nodeMap, pixels, CStaticDefectPixelCorrection::ListType_Factory);
             }),
             QStringLiteral("The camera doesn't support static defect pixel correction."));

    // Closed, the handles stay and refuse.
    camera->Close();
    QVERIFY(!width.IsReadable());
    QCOMPARE(descriptionOf<GenICam::AccessException>([&] { width.GetValue(); }), QStringLiteral("Node 'Width' is not readable."));
    camera->Open();
    QVERIFY(width.IsReadable());
    width.SetValue(width.GetMax());
}

void TestAravis::aResultCarriesTheShapeOfItsImageAlsoAfterAChangeWhileGrabbing()
{
    const std::unique_ptr<CInstantCamera> camera = openFakeCamera();
    QVERIFY(camera);
    CGrabRecorder recorder;
    camera->RegisterImageEventHandler(&recorder, RegistrationMode_Append, Cleanup_None);
    GenApi::INodeMap& nodeMap = camera->GetNodeMap();
    CFloatParameter(nodeMap, "AcquisitionFrameRate").TrySetValue(100.0);
    CIntegerParameter width(nodeMap, "Width");
    const uint32_t before = uint32_t(width.GetValue());
    const uint32_t height = uint32_t(CIntegerParameter(nodeMap, "Height").GetValue());
    const auto shape = [height](uint32_t w) {
        return CGrabRecorder::Shape{w, height, 0, 0, 0, PixelType_Mono8, size_t(w) * height};
    };
    camera->StartGrabbing();
    QTRY_VERIFY_WITH_TIMEOUT(recorder.shapes().count(shape(before)) == 1, 20000);

    // Aravis's fake camera takes a new width while it streams: the images that follow say so
    // themselves, whatever the camera's settings say by the time they are looked at.
    width.SetValue(256);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.shapes().count(shape(256)) == 1, 20000);
    camera->StopGrabbing();
    for (const CGrabRecorder::Shape& seen : recorder.shapes())
        QVERIFY(seen == shape(before) || seen == shape(256));

    // An integer whose description has no <Min> reads with the type's own limits.
    CIntegerParameter payloadSize(nodeMap, "PayloadSize");
    QCOMPARE(payloadSize.GetValue(), int64_t(256) * height);
    auto* node = dynamic_cast<GenApi::IInteger*>(nodeMap.GetNode("PayloadSize"));
    QVERIFY(node);
    QVERIFY(node->GetMin() <= node->GetValue() && node->GetValue() <= node->GetMax());
    QCOMPARE(node->GetInc(), int64_t(1));
    width.SetValue(before);
}

void TestAravis::featureTextsAreTakenOnlyWhole_data()
{
    FeatureTexts::addRows("Width", "AcquisitionFrameRate");
}

void TestAravis::featureTextsAreTakenOnlyWhole()
{
    const std::unique_ptr<CInstantCamera> camera = openFakeCamera();
    QVERIFY(camera);
    FeatureTexts::check(camera->GetNodeMap());
}

void TestAravis::aravisFailuresBecomeGenICamExceptions()
{
    CDeviceInfo unknown;
    unknown.SetSerialNumber("no-such-serial");
    QCOMPARE(descriptionOf<GenICam::RuntimeException>([&] { CTlFactory::GetInstance().CreateDevice(unknown); }),
             QStringLiteral("No device is available or no device contains the provided device info properties."));

    const std::unique_ptr<CInstantCamera> camera = openFakeCamera();
    QVERIFY(camera);
    // Aravis itself refuses a value out of range, and its message comes through.
    const QString outOfRange = descriptionOf<GenICam::OutOfRangeException>(
        [&] { CIntegerParameter(camera->GetNodeMap(), "Width").SetValue(1 << 30); });
    QVERIFY2(outOfRange.startsWith("Writing 'Width': "), qPrintable(outOfRange));
}

void TestAravis::layersAndInterfacesOfAravis()
{
    QVERIFY(TavixAravis::setInterfaces({"GigEVision", "Fake"}));
    TlInfoList layers;
    QCOMPARE(CTlFactory::GetInstance().EnumerateTls(layers), 2);
    QCOMPARE(layers[0].GetTLType(), GenICam::gcstring("GEV"));
    QCOMPARE(layers[1].GetTLType(), GenICam::gcstring("Custom"));
    ITransportLayer* gige = CTlFactory::GetInstance().CreateTl("AravisGigE");
    QVERIFY(gige);
    QVERIFY(dynamic_cast<IGigETransportLayer*>(gige));
    InterfaceInfoList interfaces;
    QCOMPARE(gige->EnumerateInterfaces(interfaces), 1);
    IInterface* arvInterface = gige->CreateInterface(interfaces[0]);
    QVERIFY(arvInterface);
    QVERIFY(!arvInterface->GetNodeMap());
    arvInterface->Open();
    QVERIFY(arvInterface->GetNodeMap());
    gige->DestroyInterface(arvInterface);
    // What Aravis can't do is refused, never pretended.
    uint32_t results = 0;
    QCOMPARE(descriptionOf<GenICam::LogicalErrorException>([&] {
                 dynamic_cast<IGigETransportLayer*>(gige)->IssueActionCommand(1, 1, 1, "127.255.255.255", 100, &results, nullptr);
             }),
             QStringLiteral("Sending action commands is not supported by this transport layer."));
    // The fake camera is listed, but it isn't the GigE layer's to create (whatever other cameras
    // the loopback interface has).
    const CDeviceInfo fake = AravisFixture::firstDevice("Custom");
    QVERIFY(!fake.GetFullName().empty());
    QVERIFY_EXCEPTION_THROWN(gige->CreateDevice(fake), GenICam::RuntimeException);
    CTlFactory::GetInstance().ReleaseTl(gige);
    QCOMPARE(liveSdkObjects(), 0);
}

TAVIX_TEST_MAIN(TestAravis)
#include "tst_aravis.moc"

namespace {

// Every feature below the category, with the path of categories that leads to it.
void walk(GenApi::INode* category, const QString& path, QMap<QString, QString>& found, int depth = 0)
{
    QVERIFY(depth < 16);
    GenApi::NodeList_t listed;
    dynamic_cast<GenApi::ICategory*>(category)->GetFeatures(listed);
    for (GenApi::INode* node : listed) {
        const QString name = QString::fromUtf8(node->GetName().c_str());
        if (node->GetPrincipalInterfaceType() == GenApi::intfICategory)
            walk(node, path + QLatin1Char('/') + name, found, depth + 1);
        else
            found.insert(name, path);
    }
}

QSet<QString> dependentsOf(GenApi::INodeMap& nodeMap, const char* feature)
{
    GenApi::NodeList_t dependents;
    nodeMap.GetNode(feature)->GetDependents(dependents);
    QSet<QString> names;
    for (GenApi::INode* node : dependents)
        names.insert(QString::fromUtf8(node->GetName().c_str()));
    return names;
}

} // namespace

// The camera's XML gives the categories, texts, visibility and the features that depend on one
// another; the node map passes them on as they stand.
void TestAravis::featuresAreDescribedAndGroupedAsTheCameraDescribesThem()
{
    const std::unique_ptr<CInstantCamera> camera = openFakeCamera();
    QVERIFY(camera);
    GenApi::INodeMap& nodeMap = camera->GetNodeMap();
    GenApi::INode* root = nodeMap.GetNode("Root");
    QVERIFY(root);
    QCOMPARE(root->GetPrincipalInterfaceType(), GenApi::intfICategory);
    QMap<QString, QString> found;
    walk(root, QString(), found);
    GenApi::NodeList_t all;
    nodeMap.GetNodes(all);
    QCOMPARE(found.size(), int(all.size())); // every feature in a category, once
    QCOMPARE(found.value("Width"), QStringLiteral("/ImageFormatControl"));
    QCOMPARE(found.value("ExposureTimeAbs"), QStringLiteral("/AcquisitionControl"));
    QCOMPARE(nodeMap.GetNode("PixelFormat")->GetDisplayName(), GenICam::gcstring("Pixel format"));
    QCOMPARE(nodeMap.GetNode("OffsetX")->GetDisplayName(), GenICam::gcstring("OffsetX")); // none in the XML: the name
    QCOMPARE(nodeMap.GetNode("Width")->GetVisibility(), GenApi::Beginner);
    // The payload size is computed from the width's register; the selector selects its features.
    QVERIFY(dependentsOf(nodeMap, "Width").contains("PayloadSize"));
    QVERIFY(dependentsOf(nodeMap, "PixelFormat").contains("PayloadSize"));
    QVERIFY(dependentsOf(nodeMap, "TriggerSelector").contains("TriggerMode"));
    QVERIFY(dependentsOf(nodeMap, "TriggerSelector").contains("TriggerSource"));
    QVERIFY(dependentsOf(nodeMap, "SensorWidth").contains("Width"));
    QVERIFY(dependentsOf(nodeMap, "PayloadSize").isEmpty());
}
