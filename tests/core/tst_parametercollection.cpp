#include "testmain.h"

#include <core/callbacks/callbackhold.h>
#include <core/parametercollection/parametercollection.h>

#include <tavix/sim/nodemap.h>

#include <QtConcurrent>

#include <atomic>
#include <memory>
#include <thread>

using namespace ParameterCollection;

namespace {

const QString Device = QStringLiteral("@CameraDevice");

TavixSim::FeatureDesc integer(const char* name, int64_t value)
{
    TavixSim::FeatureDesc feature;
    feature.name = name;
    feature.intValue = value;
    feature.intMin = 0;
    feature.intMax = 4096;
    return feature;
}

// A camera's node map, as a device makes one when it opens and destroys it when it closes.
std::unique_ptr<TavixSim::CNodeMap> cameraMap()
{
    TavixSim::NodeMapDescription features{integer("Width", 640), integer("Height", 480)};
    TavixSim::FeatureDesc exposure;
    exposure.name = "ExposureTime";
    exposure.type = GenApi::intfIFloat;
    exposure.floatValue = 5000.0;
    exposure.floatMin = 20.0;
    exposure.floatMax = 1e6;
    features.push_back(exposure);
    TavixSim::FeatureDesc mode;
    mode.name = "ExposureAuto";
    mode.type = GenApi::intfIEnumeration;
    mode.entries = {{"Off", 0, true}, {"Continuous", 1, true}};
    mode.stringValue = "Off";
    features.push_back(mode);
    TavixSim::FeatureDesc counter = integer("Frames", 0);
    counter.category = "Statistics";
    counter.displayName = "Frames Counted";
    counter.toolTip = "Frames since the start.";
    counter.visibility = GenApi::Guru;
    counter.dependsOn = {"Width"};
    features.push_back(counter);
    TavixSim::FeatureDesc start;
    start.name = "AcquisitionStart";
    start.type = GenApi::intfICommand;
    start.access = GenApi::WO;
    features.push_back(start);
    return std::make_unique<TavixSim::CNodeMap>("camera", features);
}

QSharedPointer<CParameterCollection> collectionWith(GenApi::INodeMap* map)
{
    auto collection = CParameterCollection::create(QSharedPointer<CObjectState>::create());
    collection->announceNodeMap(Device);
    collection->attachNodeMap(Device, map);
    return collection;
}

} // namespace

class TestParameterCollection : public QObject
{
    Q_OBJECT

private slots:
    // A map is unbound only once the reads in progress are over; a read after that finds none.
    void anUnbindingWaitsForAReadInProgress()
    {
        auto map = cameraMap();
        const auto collection = collectionWith(map.get());
        std::atomic<bool> reading{false};
        std::atomic<bool> finishRead{false};
        std::atomic<bool> unbound{false};
        bool unboundDuringRead = true;
        GenICam::gcstring widthRead;
        QFuture<void> reader = QtConcurrent::run([&] {
            collection->readNodeMap(Device, [&](GenApi::INodeMap& nodeMap) {
                reading = true;
                while (!finishRead)
                    std::this_thread::yield();
                unboundDuringRead = unbound;
                widthRead = nodeMap.GetNode("Width")->ToString();
            });
        });
        QTRY_VERIFY(reading.load());
        std::atomic<bool> unbinding{false};
        std::thread owner([&] {
            unbinding = true;
            collection->attachNodeMap(Device, nullptr); // as a closing camera does
            unbound = true;
            map.reset(); // and then destroys the device
        });
        QTRY_VERIFY(unbinding.load());
        QTest::qWait(50); // long enough for an unbinding that doesn't wait to be over
        QVERIFY(!unbound);
        finishRead = true;
        reader.waitForFinished();
        owner.join();
        QVERIFY(!unboundDuringRead);
        QCOMPARE(widthRead, GenICam::gcstring("640"));
        QVERIFY(!collection->readNodeMap(Device, [](GenApi::INodeMap&) { QFAIL("no map is bound"); }));
        CIntegerParameter width(collection, Device, QStringLiteral("Width"));
        QVERIFY(!width.isReadable());
        QVERIFY_EXCEPTION_THROWN(width.getValue(), GenICam::AccessException);
    }

    // Threads that read through parameters while the owner binds, unbinds and destroys the map
    // again and again never touch a map that is gone (AddressSanitizer watches this in its build).
    void readsOnWorkersSurviveMapsThatComeAndGo()
    {
        const auto collection = CParameterCollection::create(QSharedPointer<CObjectState>::create());
        collection->announceNodeMap(Device);
        std::atomic<bool> done{false};
        std::atomic<int> reads{0};
        const auto read = [&] {
            CIntegerParameter width(collection, Device, QStringLiteral("Width"));
            CFloatParameter exposure(collection, Device, QStringLiteral("ExposureTime"));
            while (!done) {
                try {
                    if (width.getValue() == 640 && exposure.getUnit() == QLatin1String("us") && !width.getDependents().isEmpty())
                        ++reads;
                } catch (const GenICam::GenericException&) {
                    // Unbound meanwhile: the parameter isn't there, which is what it says.
                }
                collection->readNodeMap(Device, [](GenApi::INodeMap& nodeMap) {
                    GenApi::NodeList_t nodes;
                    nodeMap.GetNodes(nodes);
                    for (GenApi::INode* node : nodes)
                        node->GetDisplayName();
                });
            }
        };
        QFuture<void> first = QtConcurrent::run(read);
        QFuture<void> second = QtConcurrent::run(read);
        for (int round = 0; round < 300; ++round) {
            auto map = cameraMap();
            collection->attachNodeMap(Device, map.get());
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            if (round % 2)
                collection->detachAllNodeMaps();
            else
                collection->attachNodeMap(Device, nullptr);
        }
        done = true;
        first.waitForFinished();
        second.waitForFinished();
        QVERIFY(reads > 0);
    }

    // A parameter tells what the camera's description says of its feature.
    void parametersTellTheDescriptionOfTheirFeature()
    {
        auto map = cameraMap();
        const auto collection = collectionWith(map.get());
        const auto frames = collection->getIntegerParameter(QStringLiteral("Frames"));
        QVERIFY(frames);
        QCOMPARE(frames->getDisplayName(), QStringLiteral("Frames Counted"));
        QCOMPARE(frames->getToolTip(), QStringLiteral("Frames since the start."));
        QCOMPARE(frames->getVisibility(), GenApi::Guru);
        QCOMPARE(frames->getCategory(), QStringLiteral("Statistics"));
        const auto width = collection->getIntegerParameter(QStringLiteral("Width"));
        QCOMPARE(width->getCategory(), QStringLiteral("ImageFormatControl"));
        QCOMPARE(width->getUnit(), QStringLiteral("px"));
        QVERIFY(width->getDependents().contains(QStringLiteral("Frames")));
        const auto exposure = collection->getFloatParameter(QStringLiteral("@CameraDevice/ExposureTime"));
        QVERIFY(exposure);
        QCOMPARE(exposure->getUnit(), QStringLiteral("us"));
        QVERIFY(exposure->isLogarithmic());
        QCOMPARE(exposure->getInc(), 0.0);
        QCOMPARE(exposure->getMax(), 1e6);
        QVERIFY(!collection->getFloatParameter(QStringLiteral("Width")));
        QCOMPARE(collection->getParameter(QStringLiteral("ExposureAuto"))->getDependents(), QStringList{"ExposureTime"});
        // Unbound, a parameter keeps its name and tells nothing more.
        collection->attachNodeMap(Device, nullptr);
        QCOMPARE(frames->getDisplayName(), QStringLiteral("Frames"));
        QCOMPARE(frames->getCategory(), QString());
    }

    // Listeners hear of every write that went through, on the writer's thread or after its hold,
    // and of nothing once removed.
    void writesAreToldToTheListeners()
    {
        auto map = cameraMap();
        const auto collection = collectionWith(map.get());
        QStringList heard;
        const int id = collection->addParameterListener([&](const QString& path) { heard << path; });
        collection->getIntegerParameter(QStringLiteral("Width"))->setValue(320);
        collection->getParameter(QStringLiteral("ExposureAuto"))->fromString(QStringLiteral("Continuous"));
        collection->getCommandParameter(QStringLiteral("AcquisitionStart"))->execute();
        QVERIFY_EXCEPTION_THROWN(collection->getIntegerParameter(QStringLiteral("Height"))->setValue(99999), GenICam::OutOfRangeException);
        QCOMPARE(heard, (QStringList{"@CameraDevice/Width", "@CameraDevice/ExposureAuto", "@CameraDevice/AcquisitionStart"}));
        heard.clear();
        {
            Core::CCallbackHold hold;
            collection->getIntegerParameter(QStringLiteral("Height"))->setValue(240);
            QVERIFY(heard.isEmpty());
        }
        QCOMPARE(heard, QStringList{"@CameraDevice/Height"});
        collection->removeParameterListener(id);
        collection->getIntegerParameter(QStringLiteral("Height"))->setValue(200);
        QCOMPARE(heard, QStringList{"@CameraDevice/Height"});
    }

    // A listener that follows a write with a write of its own, and then removes itself and the
    // next listener, is heard once and hangs nothing.
    void aListenerMayWriteAndRemoveListeners()
    {
        auto map = cameraMap();
        const auto collection = collectionWith(map.get());
        QStringList heard;
        int first = 0;
        int second = 0;
        first = collection->addParameterListener([&](const QString& path) {
            heard << path;
            if (path.endsWith(QLatin1String("Width")))
                collection->getIntegerParameter(QStringLiteral("Height"))->setValue(100);
            collection->removeParameterListener(first);
            collection->removeParameterListener(second);
        });
        second = collection->addParameterListener([&](const QString& path) { heard << QStringLiteral("second ") + path; });
        collection->getIntegerParameter(QStringLiteral("Width"))->setValue(320);
        QCOMPARE(heard, (QStringList{"@CameraDevice/Width", "@CameraDevice/Height"}));
    }
};

TAVIX_TEST_MAIN(TestParameterCollection)
#include "tst_parametercollection.moc"
