#include "simscenario.h"
#include "testmain.h"

#include <tavix/instantcamera.h>
#include <tavix/parameters.h>
#include <tavix/sim/testpattern.h>
#include <tavix/tlfactory.h>

#include <QElapsedTimer>
#include <QMutex>

#include <cmath>
#include <memory>
#include <vector>

using namespace Tavix;

namespace {

const QString Serial = QStringLiteral("70000081");

using TestScenario::feature;

// A camera as the built-in world describes its cameras: the standard features with nothing but
// their values and limits, and a few of its own with their own texts.
QJsonArray cameraFeatures()
{
    return QJsonArray{
        feature("SensorWidth", "integer", 256, {{"access", "RO"}}),
        feature("Width", "integer", 256, {{"min", 16}, {"max", 256}, {"inc", 4}}),
        feature("Height", "integer", 8, {{"min", 1}, {"max", 64}}),
        feature("OffsetX", "integer", 0, {{"min", 0}, {"inc", 4}}),
        feature("BinningHorizontal", "integer", 1, {{"min", 1}, {"max", 4}}),
        feature("PixelFormat", "enumeration", "Mono8", {{"entries", QJsonArray{"Mono8", "Mono16"}}}),
        feature("AcquisitionFrameRateEnable", "boolean", true),
        feature("AcquisitionFrameRate", "float", 100.0, {{"min", 1.0}, {"max", 200.0}}),
        feature("ExposureTime", "float", 5000.0, {{"min", 20.0}, {"max", 1000000.0}}),
        feature("ExposureAuto", "enumeration", "Off", {{"entries", QJsonArray{"Off", "Once", "Continuous"}}}),
        feature("Gain", "float", 0.0, {{"min", 0.0}, {"max", 24.0}, {"visibility", "Expert"}}),
        feature("GainAuto", "enumeration", "Off", {{"entries", QJsonArray{"Off", "Once", "Continuous"}}}),
        feature("BlackLevel", "float", 0.0, {{"min", 0.0}, {"max", 64.0}}),
        feature("TriggerMode", "enumeration", "Off", {{"entries", QJsonArray{"Off", "On"}}}),
        feature("TriggerSource", "enumeration", "Software", {{"entries", QJsonArray{"Software", "Line1"}}}),
        feature("TriggerSoftware", "command", QJsonValue()),
        feature("UserSetSelector", "enumeration", "Default", {{"entries", QJsonArray{"Default", "UserSet1"}}}),
        feature("UserSetLoad", "command", QJsonValue()),
        feature("UserSetSave", "command", QJsonValue()),
        QJsonObject{{"name", "Optics"}, {"type", "category"}, {"displayName", "Lens and Optics"},
                    {"description", "The motorised lens."}},
        feature("ZoomPosition", "integer", 0, {{"category", "Optics"}, {"min", 0}, {"max", 100}}),
        feature("FocusPosition", "integer", 50, {{"category", "Optics"}, {"displayName", "Focus"}, {"tooltip", "Where the lens focuses."},
                                                  {"visibility", "Guru"}, {"unit", "mm"}, {"dependsOn", QJsonArray{"ZoomPosition"}}}),
        feature("Counter", "integer", 7),
    };
}

// Records the images of a grab: the number and time of each, and the last one itself, so that
// the camera's buffers go back to it.
class CImages : public CImageEventHandler
{
public:
    struct Record
    {
        int64_t number = 0;
        uint64_t timestamp = 0;
    };

    void OnImageGrabbed(CInstantCamera&, const CGrabResultPtr& result) override
    {
        QMutexLocker locker(&m_mutex);
        m_records.push_back({result->GetImageNumber(), result->GetTimeStamp()});
        m_last = result;
    }
    std::vector<Record> records()
    {
        QMutexLocker locker(&m_mutex);
        return m_records;
    }
    int count() { return int(records().size()); }
    CGrabResultPtr last()
    {
        QMutexLocker locker(&m_mutex);
        return m_last;
    }
    void clear()
    {
        QMutexLocker locker(&m_mutex);
        m_records.clear();
        m_last.Release();
    }

private:
    QMutex m_mutex;
    std::vector<Record> m_records;
    CGrabResultPtr m_last;
};

QString categoryPath(GenApi::INodeMap& map, const QString& feature)
{
    QString found;
    std::function<void(GenApi::INode*, const QString&)> walk = [&](GenApi::INode* category, const QString& path) {
        GenApi::NodeList_t listed;
        dynamic_cast<GenApi::ICategory*>(category)->GetFeatures(listed);
        for (GenApi::INode* node : listed) {
            const QString name = QString::fromUtf8(node->GetName().c_str());
            if (node->GetPrincipalInterfaceType() == GenApi::intfICategory)
                walk(node, path + QLatin1Char('/') + name);
            else if (name == feature)
                found = path.isEmpty() ? QStringLiteral("/") : path;
        }
    };
    walk(map.GetNode("Root"), QString());
    return found;
}

QStringList dependentsOf(GenApi::INodeMap& map, const char* name)
{
    GenApi::NodeList_t nodes;
    map.GetNode(name)->GetDependents(nodes);
    QStringList names;
    for (GenApi::INode* node : nodes)
        names << QString::fromUtf8(node->GetName().c_str());
    names.sort();
    return names;
}

QString refusalOf(const std::function<void()>& write)
{
    try {
        write();
    } catch (const GenICam::GenericException& e) {
        return QString::fromUtf8(e.GetDescription());
    }
    return QString();
}

} // namespace

class TestSdkFeatures : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<CInstantCamera> m_pCamera;
    CImages m_images;

    GenApi::INodeMap& nodeMap() { return m_pCamera->GetNodeMap(); }
    void open()
    {
        m_pCamera = std::make_unique<CInstantCamera>(
            CTlFactory::GetInstance().CreateDevice(CDeviceInfo().SetSerialNumber(Serial.toUtf8().constData())));
        m_pCamera->RegisterImageEventHandler(&m_images, RegistrationMode_ReplaceAll, Cleanup_None);
        m_pCamera->Open();
    }
    // The pixels of the camera's next image, in a grab of one; empty when none came.
    QByteArray nextImage()
    {
        m_images.clear();
        m_pCamera->StartGrabbing(1);
        QElapsedTimer waited;
        waited.start();
        while ((m_images.count() == 0 || m_pCamera->IsGrabbing()) && waited.elapsed() < 10000)
            QTest::qWait(10);
        const CGrabResultPtr result = m_images.last();
        return result ? QByteArray(static_cast<const char*>(result->GetBuffer()), int(result->GetPayloadSize())) : QByteArray();
    }
    // The frames per second of the next images, from their time stamps and numbers (which count
    // the frames a late grab loop missed too).
    double measuredRate(int images)
    {
        m_images.clear();
        QElapsedTimer waited;
        waited.start();
        while (m_images.count() < images && waited.elapsed() < 20000)
            QTest::qWait(10);
        const auto records = m_images.records();
        if (records.size() < 2)
            return 0.0;
        const double seconds = double(records.back().timestamp - records.front().timestamp) / 1e9;
        const double frames = double(records.back().number - records.front().number);
        return frames / seconds;
    }
    QByteArray expectedImage(int64_t imageNumber, double gain, double offset)
    {
        TavixSim::CTestPattern::Response response;
        response.gain = gain;
        response.offset = offset;
        const auto bytes = TavixSim::CTestPattern::frame(uint32_t(CIntegerParameter(nodeMap(), "Width").GetValue()),
                                                         uint32_t(CIntegerParameter(nodeMap(), "Height").GetValue()), 1,
                                                         PixelType_Mono8, uint64_t(imageNumber), response);
        return QByteArray(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
    }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(TestScenario::load({TestScenario::gigeLayer(
                     {TestScenario::camera(Serial, QJsonObject{{"frameRate", 200}}, cameraFeatures())})}),
                 QString());
        open();
    }
    void cleanup()
    {
        if (m_pCamera && m_pCamera->IsGrabbing())
            m_pCamera->StopGrabbing();
        m_pCamera.reset();
        m_images.clear();
    }

    // Each feature sits in its category with its texts: the scenario's own where it gives them,
    // the standard ones for the standard names, the bare name and the root for the rest.
    void featuresAreGroupedAndDescribed_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("category");
        QTest::addColumn<QString>("displayName");
        QTest::addColumn<int>("visibility");
        QTest::addColumn<QString>("unit");
        QTest::newRow("standard, described by the standard") << "ExposureTime" << "/AcquisitionControl" << "Exposure Time"
                                                             << int(GenApi::Beginner) << "us";
        QTest::newRow("standard, visibility of the scenario") << "Gain" << "/AnalogControl" << "Gain" << int(GenApi::Expert) << "dB";
        QTest::newRow("a default of every camera") << "AcquisitionMode" << "/AcquisitionControl" << "Acquisition Mode"
                                                   << int(GenApi::Beginner) << "";
        QTest::newRow("computed by the camera") << "PayloadSize" << "/TransportLayerControl" << "Payload Size"
                                                << int(GenApi::Expert) << "B";
        QTest::newRow("in a category of the scenario") << "FocusPosition" << "/Optics" << "Focus" << int(GenApi::Guru) << "mm";
        QTest::newRow("of no standard name") << "Counter" << "/" << "Counter" << int(GenApi::Beginner) << "";
    }
    void featuresAreGroupedAndDescribed()
    {
        QFETCH(QString, feature);
        QFETCH(QString, category);
        QFETCH(QString, displayName);
        QFETCH(int, visibility);
        QFETCH(QString, unit);
        GenApi::INode* node = nodeMap().GetNode(feature.toUtf8().constData());
        QVERIFY(node);
        QCOMPARE(categoryPath(nodeMap(), feature), category);
        QCOMPARE(QString::fromUtf8(node->GetDisplayName().c_str()), displayName);
        QCOMPARE(int(node->GetVisibility()), visibility);
        const auto* integer = dynamic_cast<GenApi::IInteger*>(node);
        const auto* floating = dynamic_cast<GenApi::IFloat*>(node);
        QCOMPARE(QString::fromUtf8((integer ? integer->GetUnit() : floating ? floating->GetUnit() : GenICam::gcstring()).c_str()), unit);
        if (feature != QLatin1String("Counter"))
            QVERIFY2(!node->GetDescription().empty() || feature == QLatin1String("FocusPosition"), qPrintable(feature));
    }

    void categoriesFormATreeOfTheirOwn()
    {
        GenApi::INode* optics = nodeMap().GetNode("Optics");
        QVERIFY(dynamic_cast<GenApi::ICategory*>(optics));
        QCOMPARE(optics->GetDisplayName(), GenICam::gcstring("Lens and Optics"));
        QCOMPARE(optics->GetDescription(), GenICam::gcstring("The motorised lens."));
        QCOMPARE(nodeMap().GetNode("AnalogControl")->GetDisplayName(), GenICam::gcstring("Analog Control"));
        // Categories are no features: the list of features leaves them out.
        GenApi::NodeList_t all;
        nodeMap().GetNodes(all);
        for (GenApi::INode* node : all)
            QVERIFY2(node->GetPrincipalInterfaceType() != GenApi::intfICategory, node->GetName().c_str());
        QCOMPARE(dynamic_cast<GenApi::IFloat*>(nodeMap().GetNode("ExposureTime"))->GetRepresentation(), GenApi::Logarithmic);
    }

    // A feature names those that change with it: read again, they show what it did to them.
    void dependentsAreTheFeaturesThatChangeWithOne_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QStringList>("dependents");
        QTest::newRow("an automatic mode") << "ExposureAuto" << QStringList{"ExposureTime"};
        QTest::newRow("the region") << "OffsetX" << QStringList{"Width"};
        QTest::newRow("the size") << "Width" << QStringList{"OffsetX", "PayloadSize"};
        QTest::newRow("the trigger") << "TriggerMode" << QStringList{"ResultingFrameRate", "TriggerSoftware"};
        QTest::newRow("the frame rate's switch") << "AcquisitionFrameRateEnable" << QStringList{"AcquisitionFrameRate", "ResultingFrameRate"};
        QTest::newRow("of the scenario") << "ZoomPosition" << QStringList{"FocusPosition"};
        QTest::newRow("none") << "Counter" << QStringList{};
    }
    void dependentsAreTheFeaturesThatChangeWithOne()
    {
        QFETCH(QString, feature);
        QFETCH(QStringList, dependents);
        QCOMPARE(dependentsOf(nodeMap(), feature.toUtf8().constData()), dependents);
    }

    // Exposure, gain and black level light the picture; their starting values give it plain.
    void exposureGainAndBlackLevelLightThePicture_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("value");
        QTest::addColumn<double>("gain");
        QTest::addColumn<double>("offset");
        QTest::newRow("as it starts") << "Counter" << "7" << 1.0 << 0.0;
        QTest::newRow("twice the exposure") << "ExposureTime" << "10000" << 2.0 << 0.0;
        QTest::newRow("half the exposure") << "ExposureTime" << "2500" << 0.5 << 0.0;
        QTest::newRow("12 dB of gain") << "Gain" << "12" << std::pow(10.0, 12.0 / 20.0) << 0.0;
        QTest::newRow("a black level") << "BlackLevel" << "40" << 1.0 << 40.0;
    }
    void exposureGainAndBlackLevelLightThePicture()
    {
        QFETCH(QString, feature);
        QFETCH(QString, value);
        QFETCH(double, gain);
        QFETCH(double, offset);
        nodeMap().GetNode(feature.toUtf8().constData())->FromString(value.toUtf8().constData());
        const QByteArray pixels = nextImage();
        QVERIFY(!pixels.isEmpty());
        QCOMPARE(pixels, expectedImage(m_images.last()->GetImageNumber(), gain, offset));
        if (gain > 1.5) // the bright bands saturate
            QVERIFY(pixels.count(char(255)) > pixels.size() / 10);
    }

    // An automatic mode brings the picture back to its plain light while the camera grabs; the
    // value it adjusts can't be written meanwhile, and "Once" ends by itself.
    void automaticModesBringThePictureBack_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("adjusted");
        QTest::addColumn<QString>("wrong");
        QTest::addColumn<double>("plain");
        QTest::addColumn<double>("within"); // the picture counts as plain within 2 %
        QTest::newRow("exposure, continuous") << "ExposureAuto" << "ExposureTime" << "20000" << 5000.0 << 110.0;
        QTest::newRow("exposure, once") << "ExposureAuto" << "ExposureTime" << "1250" << 5000.0 << 110.0;
        QTest::newRow("gain, continuous") << "GainAuto" << "Gain" << "12" << 0.0 << 0.2;
    }
    void automaticModesBringThePictureBack()
    {
        QFETCH(QString, mode);
        QFETCH(QString, adjusted);
        QFETCH(QString, wrong);
        QFETCH(double, plain);
        QFETCH(double, within);
        const QString how = QString::fromLatin1(QTest::currentDataTag()).endsWith("once") ? "Once" : "Continuous";
        CFloatParameter value(nodeMap(), adjusted.toUtf8().constData());
        value.FromString(wrong.toUtf8().constData());
        CEnumParameter(nodeMap(), mode.toUtf8().constData()).SetValue(how.toUtf8().constData());
        QVERIFY(!value.IsWritable());
        QCOMPARE(refusalOf([&] { value.SetValue(plain); }),
                 QStringLiteral("Node '%1' is locked while %2 is %3.").arg(adjusted, mode, how));
        m_pCamera->StartGrabbing();
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(value.GetValue() - plain) <= within, 10000);
        if (how == QLatin1String("Once")) {
            QTRY_COMPARE_WITH_TIMEOUT(CEnumParameter(nodeMap(), mode.toUtf8().constData()).GetValue(), GenICam::gcstring("Off"), 10000);
            QVERIFY(value.IsWritable());
        }
    }

    // The acquisition frame rate paces the stream, up to what the camera can; a change takes effect
    // while it streams.
    void theFrameRatePacesTheStream()
    {
        CFloatParameter rate(nodeMap(), "AcquisitionFrameRate");
        CFloatParameter resulting(nodeMap(), "ResultingFrameRate");
        rate.SetValue(20.0);
        QCOMPARE(resulting.GetValue(), 20.0);
        m_pCamera->StartGrabbing();
        double measured = measuredRate(8);
        QVERIFY2(measured > 15 && measured < 25, qPrintable(QString::number(measured)));
        rate.SetValue(100.0);
        measured = measuredRate(30);
        QVERIFY2(measured > 70 && measured < 130, qPrintable(QString::number(measured)));

        // Without the limit the camera runs as fast as it can: the scenario's 200 frames a second.
        CBooleanParameter(nodeMap(), "AcquisitionFrameRateEnable").SetValue(false);
        QCOMPARE(resulting.GetValue(), 200.0);
        QCOMPARE(refusalOf([&] { rate.SetValue(50.0); }),
                 QStringLiteral("Node 'AcquisitionFrameRate' is locked while AcquisitionFrameRateEnable is false; enable it to set a frame rate."));
    }

    // In trigger mode the camera takes an image for each software trigger, and runs freely
    // again when the mode is switched off while it waits.
    void aSoftwareTriggerTakesOneImage()
    {
        CCommandParameter trigger(nodeMap(), "TriggerSoftware");
        QVERIFY(!trigger.IsWritable());
        QCOMPARE(refusalOf([&] { trigger.Execute(); }), QStringLiteral("Node 'TriggerSoftware' is locked while TriggerMode is Off."));
        CEnumParameter(nodeMap(), "TriggerMode").SetValue("On");
        QVERIFY(trigger.IsWritable());
        m_pCamera->StartGrabbing();
        QTest::qWait(100);
        QCOMPARE(m_images.count(), 0);
        for (int i = 1; i <= 3; ++i) {
            trigger.Execute();
            QTRY_COMPARE_WITH_TIMEOUT(m_images.count(), i, 10000);
        }
        CEnumParameter(nodeMap(), "TriggerMode").SetValue("Off");
        QTRY_VERIFY_WITH_TIMEOUT(m_images.count() > 10, 10000);
    }

    // A user set keeps the camera's values for the run, across closing and opening; the default
    // set is the camera's own and can't be saved over; a load waits for the grab's end.
    void userSetsSaveAndLoadTheCamerasValues()
    {
        CEnumParameter selector(nodeMap(), "UserSetSelector");
        CCommandParameter save(nodeMap(), "UserSetSave");
        CCommandParameter load(nodeMap(), "UserSetLoad");
        QVERIFY(!save.IsWritable());
        QCOMPARE(refusalOf([&] { save.Execute(); }),
                 QStringLiteral("Node 'UserSetSave' is locked while the UserSetSelector is Default: the factory's set can't be saved over."));
        selector.SetValue("UserSet1");
        CFloatParameter(nodeMap(), "Gain").SetValue(12.0);
        CIntegerParameter(nodeMap(), "Width").SetValue(128);
        save.Execute();
        CFloatParameter(nodeMap(), "Gain").SetValue(3.0);
        CIntegerParameter(nodeMap(), "Width").SetValue(64);

        m_pCamera->StartGrabbing();
        QCOMPARE(refusalOf([&] { load.Execute(); }),
                 QStringLiteral("Node 'UserSetLoad' is locked while the camera streams images; stop the grab to load a set."));
        m_pCamera->StopGrabbing();

        m_pCamera.reset();
        open();
        QCOMPARE(CFloatParameter(nodeMap(), "Gain").GetValue(), 0.0); // the camera starts as the scenario says
        CEnumParameter(nodeMap(), "UserSetSelector").SetValue("UserSet1");
        CCommandParameter(nodeMap(), "UserSetLoad").Execute();
        QCOMPARE(CFloatParameter(nodeMap(), "Gain").GetValue(), 12.0);
        QCOMPARE(CIntegerParameter(nodeMap(), "Width").GetValue(), int64_t(128));
        CEnumParameter(nodeMap(), "UserSetSelector").SetValue("Default");
        CCommandParameter(nodeMap(), "UserSetLoad").Execute();
        QCOMPARE(CFloatParameter(nodeMap(), "Gain").GetValue(), 0.0);
        QCOMPARE(CIntegerParameter(nodeMap(), "Width").GetValue(), int64_t(256));
    }

    // Width and offset share the sensor; binning scales the region and the images with it.
    void theRegionStaysOnTheSensor()
    {
        CIntegerParameter width(nodeMap(), "Width");
        CIntegerParameter offset(nodeMap(), "OffsetX");
        QCOMPARE(offset.GetMax(), int64_t(0));
        width.SetValue(200);
        QCOMPARE(offset.GetMax(), int64_t(56));
        offset.SetValue(40);
        QCOMPARE(width.GetMax(), int64_t(216));
        QVERIFY(refusalOf([&] { width.SetValue(256); }).contains("out of range (16 to 216)"));

        CIntegerParameter(nodeMap(), "BinningHorizontal").SetValue(2);
        QCOMPARE(width.GetValue(), int64_t(100));
        QCOMPARE(offset.GetValue(), int64_t(20));
        QCOMPARE(width.GetMax(), int64_t(108));
        QVERIFY(!nextImage().isEmpty());
        QCOMPARE(m_images.last()->GetWidth(), 100u);
        QCOMPARE(m_images.last()->GetOffsetX(), 20u);
    }
};

TAVIX_TEST_MAIN(TestSdkFeatures)
#include "tst_sdkfeatures.moc"
