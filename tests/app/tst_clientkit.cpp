// What the kit promises a client plug-in, checked as a client meets it: the roster loaded as a
// module by the host of plug-ins, reached through the registry and the public headers alone.
#include "host.h"
#include "simscenario.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/servicelookup.h>
#include <plugins/optiroster/icameraactioncommandsservice.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagedecompressorservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>
#include <plugins/optiroster/istaticdefectpixelcorrectionservice.h>
#include <plugins/optiroster/observerregistration.h>

#include <QMetaMethod>
#include <QSignalSpy>

#include <atomic>
#include <functional>
#include <memory>

using Core::OptiRosterComponents::CameraInfoPtr;
using namespace Plugin::OptiRoster;

namespace {

constexpr int TimeoutMs = 30000;
const QString Steady = QStringLiteral("SimGigE#701");
const QString Refusing = QStringLiteral("SimGigE#702");

// Counts the images of every camera.
class CCounter : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr&) override { ++count; }
    std::atomic<int> count{0};
};

// A notifier that only records what it is asked to do.
class CRecordingNotifier : public IImageGrabbedNotifierService
{
public:
    void addObserver(IImageGrabbedObserver* observer) override { calls << QStringLiteral("add %1").arg(quintptr(observer)); }
    void removeObserver(IImageGrabbedObserver* observer) override
    {
        calls << QStringLiteral("remove %1").arg(quintptr(observer));
    }
    QStringList calls;
};

QString added(const IImageGrabbedObserver* observer)
{
    return QStringLiteral("add %1").arg(quintptr(observer));
}

QString removed(const IImageGrabbedObserver* observer)
{
    return QStringLiteral("remove %1").arg(quintptr(observer));
}

// A service's signals in the order in which they arrive: the signal's name and the serial number
// of the device it carries.
class CSignalRecorder : public QObject
{
    Q_OBJECT
public:
    explicit CSignalRecorder(QObject* service)
    {
        const QMetaMethod device = metaObject()->method(metaObject()->indexOfSlot("recordDevice(Core::OptiRosterComponents::DeviceBaseInfoPtr)"));
        const QMetaMethod camera = metaObject()->method(metaObject()->indexOfSlot("recordCamera(Core::OptiRosterComponents::CameraInfoPtr)"));
        for (int i = 0; i < service->metaObject()->methodCount(); ++i) {
            const QMetaMethod method = service->metaObject()->method(i);
            if (method.methodType() != QMetaMethod::Signal || method.parameterCount() == 0)
                continue;
            const QByteArray type = method.parameterTypes().first();
            if (type.endsWith("CameraInfoPtr"))
                connect(service, method, this, camera);
            else if (type.endsWith("DeviceBaseInfoPtr"))
                connect(service, method, this, device);
        }
    }
    QStringList events;

private slots:
    void recordDevice(Core::OptiRosterComponents::DeviceBaseInfoPtr info) { record(info); }
    void recordCamera(Core::OptiRosterComponents::CameraInfoPtr info) { record(info); }

private:
    void record(const Core::OptiRosterComponents::DeviceBaseInfoPtr& info)
    {
        const auto camera = info.objectCast<Core::OptiRosterComponents::ICameraInfo>();
        events << QStringLiteral("%1 %2").arg(QString::fromLatin1(sender()->metaObject()->method(senderSignalIndex()).name()),
                                             camera ? camera->getSerialNumber() : QStringLiteral("-"));
    }
};

} // namespace

class TestClientKit : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void anObserverIsCalledWhileItsRegistrationLivesAndNoMoreAfter();
    void aRegistrationIsMovedAndEndsOnce();
    void aRegistrationOfNothingAndOfAGoneNotifierDoNothing();
    void theStatusSignalsOfAnOpenAndAClose();
    void aFailedOpenSendsOnlyItsOpeningSignals();
    void aRefusedStartSendsOnlyItsAnnouncement();
    void anEmptyPointerIsOneMistakeWithOneType_data();
    void anEmptyPointerIsOneMistakeWithOneType();
    void servicesAnswerAfterUninitializeAndNothingOnceTheRosterIsGone();

private:
    bool startHost();
    CameraInfoPtr camera(const QString& fullName) const;

    std::unique_ptr<CHost> m_host;
    QSharedPointer<ICameraEnumerationService> m_enumeration;
    QSharedPointer<ICameraStatusService> m_status;
    QSharedPointer<ICameraControlService> m_control;
    QSharedPointer<ICameraStreamControlService> m_stream;
    QSharedPointer<IImageGrabbedNotifierService> m_notifier;
};

void TestClientKit::init()
{
    const QString error = TestScenario::load({TestScenario::gigeLayer({
        TestScenario::camera("701", QJsonObject{{"frameRate", 200}}),
        TestScenario::camera("702"),
    })});
    QVERIFY2(error.isEmpty(), qPrintable(error));
    TavixSim::Fault refusal;
    refusal.target = Refusing.toStdString();
    refusal.operation = "StartGrabbing";
    refusal.exceptionType = "AccessException";
    refusal.description = "The camera is held by another application.";
    refusal.count = -1;
    TavixSim::injectFault(refusal);
    QVERIFY(startHost());
}

void TestClientKit::cleanup()
{
    m_enumeration.reset();
    m_status.reset();
    m_control.reset();
    m_stream.reset();
    m_notifier.reset();
    if (m_host) {
        m_host->stop();
        const bool released = m_host->unload();
        QVERIFY2(released, qPrintable(m_host->heldServices().join('\n')));
        m_host.reset();
    }
    TavixSim::clearFaults();
}

bool TestClientKit::startHost()
{
    m_host = std::make_unique<CHost>();
    if (!m_host->load(CHost::findPlugin(qEnvironmentVariable("TAVIX_PLUGIN_DIR"))))
        return false;
    QSignalSpy initialized(m_host->registry().data(), &Core::Plugin::IPluginInitializer::initializationDone);
    if (!m_host->start())
        return false;
    const auto registry = m_host->registry();
    m_enumeration = Core::Plugin::findService<ICameraEnumerationService>(registry);
    m_status = Core::Plugin::findService<ICameraStatusService>(registry);
    m_control = Core::Plugin::findService<ICameraControlService>(registry);
    m_stream = Core::Plugin::findService<ICameraStreamControlService>(registry);
    m_notifier = Core::Plugin::findService<IImageGrabbedNotifierService>(registry);
    if (!m_enumeration || !m_status || !m_control || !m_stream || !m_notifier)
        return false;
    QSignalSpy enumerated(m_enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    return !m_enumeration->getTransportLayers().isEmpty() || enumerated.wait(TimeoutMs);
}

CameraInfoPtr TestClientKit::camera(const QString& fullName) const
{
    for (const auto& layer : m_enumeration->getTransportLayers()) {
        for (const CameraInfoPtr& camera : layer->getCameraInfoList()) {
            if (camera->getFullName() == fullName)
                return camera;
        }
    }
    return {};
}

void TestClientKit::anObserverIsCalledWhileItsRegistrationLivesAndNoMoreAfter()
{
    const CameraInfoPtr steady = camera(Steady);
    QVERIFY(m_control->open(steady, false));
    CCounter counter;
    CObserverRegistration registration(m_notifier, &counter);
    QVERIFY(registration.isRegistered());
    QCOMPARE(registration.observer(), &counter);
    QSignalSpy statistics(m_status.data(), &ICameraStatusService::cameraStatisticUpdated);
    m_stream->startGrabbing(steady);
    QTRY_VERIFY_WITH_TIMEOUT(counter.count >= 10, TimeoutMs);
    registration.reset();
    QVERIFY(!registration.isRegistered());
    const int counted = counter.count;
    // More images come and are counted by the roster, none by the observer.
    statistics.clear();
    QTRY_VERIFY_WITH_TIMEOUT(statistics.size() >= 5, TimeoutMs);
    QCOMPARE(counter.count.load(), counted);
    m_stream->stopGrabbing(steady);
    m_control->close(steady);
}

void TestClientKit::aRegistrationIsMovedAndEndsOnce()
{
    const QSharedPointer<CRecordingNotifier> notifier(new CRecordingNotifier);
    CCounter first;
    CCounter second;
    {
        CObserverRegistration registration(notifier, &first);
        CObserverRegistration moved(std::move(registration));
        QVERIFY(!registration.isRegistered());
        QCOMPARE(moved.observer(), &first);
        CObserverRegistration other(notifier, &second);
        // The one it replaces is taken out first.
        other = std::move(moved);
        QCOMPARE(notifier->calls, (QStringList{added(&first), added(&second), removed(&second)}));
        QCOMPARE(other.observer(), &first);
    }
    QCOMPARE(notifier->calls, (QStringList{added(&first), added(&second), removed(&second), removed(&first)}));
}

void TestClientKit::aRegistrationOfNothingAndOfAGoneNotifierDoNothing()
{
    CCounter counter;
    const CObserverRegistration empty;
    QVERIFY(!empty.isRegistered());
    const CObserverRegistration withoutNotifier({}, &counter);
    QVERIFY(!withoutNotifier.isRegistered());
    QSharedPointer<CRecordingNotifier> notifier(new CRecordingNotifier);
    const CObserverRegistration withoutObserver(notifier, nullptr);
    QVERIFY(!withoutObserver.isRegistered());
    QVERIFY(notifier->calls.isEmpty());
    // The registration holds the notifier weakly: once it has gone, there is nothing to remove.
    CObserverRegistration outlived(notifier, &counter);
    const QWeakPointer<CRecordingNotifier> watched = notifier;
    notifier.reset();
    QVERIFY(watched.isNull());
    outlived.reset();
    QVERIFY(!outlived.isRegistered());
}

// What the guide tells of a camera's opening and closing, as a client of the status service sees it.
void TestClientKit::theStatusSignalsOfAnOpenAndAClose()
{
    const CameraInfoPtr steady = camera(Steady);
    CSignalRecorder recorder(m_status.data());
    QVERIFY(m_control->open(steady, false));
    m_control->close(steady);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.events,
                              (QStringList{"deviceOpening 701", "deviceOpening 701", "deviceOpened 701", "deviceClosing 701",
                                           "deviceClosed 701"}),
                              TimeoutMs);
}

void TestClientKit::aFailedOpenSendsOnlyItsOpeningSignals()
{
    TavixSim::Fault fault;
    fault.target = Steady.toStdString();
    fault.operation = "Open";
    fault.description = "The device answers nothing.";
    TavixSim::injectFault(fault);
    const CameraInfoPtr steady = camera(Steady);
    CSignalRecorder recorder(m_status.data());
    steady->clearLastError();
    QVERIFY(!m_control->open(steady, false));
    QVERIFY2(steady->getLastError().contains("The device answers nothing."), qPrintable(steady->getLastError()));
    // Another camera's open and close mark where any late signal of the failed open would stand.
    QVERIFY(m_control->open(camera(Refusing), false));
    m_control->close(camera(Refusing));
    QTRY_VERIFY_WITH_TIMEOUT(recorder.events.contains("deviceClosed 702"), TimeoutMs);
    QCOMPARE(recorder.events.filter(" 701"), (QStringList{"deviceOpening 701", "deviceOpening 701"}));
}

void TestClientKit::aRefusedStartSendsOnlyItsAnnouncement()
{
    const CameraInfoPtr refusing = camera(Refusing);
    QVERIFY(m_control->open(refusing, false));
    CSignalRecorder recorder(m_status.data());
    refusing->clearLastError();
    m_stream->startGrabbing(refusing);
    QVERIFY(!m_status->isCameraGrabbing(refusing));
    QVERIFY2(refusing->getLastError().contains("The camera is held by another application."), qPrintable(refusing->getLastError()));
    m_control->close(refusing);
    QTRY_VERIFY_WITH_TIMEOUT(recorder.events.contains("deviceClosed 702"), TimeoutMs);
    // The camera was about to start; then nothing: no cameraGrabStarted, no cameraGrabStopped.
    QVERIFY2(recorder.events == (QStringList{"cameraGrabStart 702", "deviceClosing 702", "deviceClosed 702"}),
             qPrintable(recorder.events.join(", ")));
}

// The type of what an operation threw, by the host's exception classes; empty when it threw
// nothing.
template <typename Operation>
QString thrownType(Operation operation)
{
    try {
        operation();
    } catch (const Core::Exception::InvalidArgumentException&) {
        return QStringLiteral("InvalidArgumentException");
    } catch (const Core::Exception::ArgumentException&) {
        return QStringLiteral("ArgumentException");
    } catch (const Core::Exception::RuntimeException&) {
        return QStringLiteral("RuntimeException");
    } catch (const Core::Exception::BaseException&) {
        return QStringLiteral("BaseException");
    }
    return {};
}

void TestClientKit::anEmptyPointerIsOneMistakeWithOneType_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("type");
    QTest::newRow("IImageDecompressorService::getCompressionDescriptor") << "descriptor" << "InvalidArgumentException";
    QTest::newRow("IParameterService::getParameterText") << "parameter" << "InvalidArgumentException";
    QTest::newRow("ICameraActionCommandsService::issueScheduledActionCommand") << "scheduled" << "InvalidArgumentException";
    // Looked up as any camera is, and not found: as for a camera the roster doesn't know.
    QTest::newRow("IStaticDefectPixelCorrectionService::isDefectPixelCorrectionSupported") << "defects" << "RuntimeException";
}

void TestClientKit::anEmptyPointerIsOneMistakeWithOneType()
{
    QFETCH(QString, operation);
    QFETCH(QString, type);
    const auto registry = m_host->registry();
    const auto decompressor = Core::Plugin::findService<IImageDecompressorService>(registry);
    const auto parameters = Core::Plugin::findService<Plugin::ParameterCollectionPool::IParameterService>(registry);
    const auto actions = Core::Plugin::findService<ICameraActionCommandsService>(registry);
    const auto defects = Core::Plugin::findService<IStaticDefectPixelCorrectionService>(registry);
    QVERIFY(decompressor && parameters && actions && defects);
    const QMap<QString, std::function<void()>> operations{
        {"descriptor", [&] { decompressor->getCompressionDescriptor({}); }},
        {"parameter", [&] { parameters->getParameterText({}, QStringLiteral("@CameraDevice/Width")); }},
        {"scheduled",
         [&] {
             QVector<CActionCommandResult> results;
             actions->issueScheduledActionCommand(1, 1, 1, 0, results, QStringLiteral("255.255.255.255"), 10, nullptr);
         }},
        {"defects", [&] { defects->isDefectPixelCorrectionSupported({}); }},
    };
    QCOMPARE(thrownType(operations.value(operation)), type);
}

// A service taken out of the registry by uninitialize() still works while the roster's plug-in
// object lives; once that is deleted, a service still held answers as one whose pools are gone,
// and the host keeps it, and the roster's module, for the rest of the process.
void TestClientKit::servicesAnswerAfterUninitializeAndNothingOnceTheRosterIsGone()
{
    const CameraInfoPtr steady = camera(Steady);
    QSharedPointer<ICameraControlService> kept = m_control;
    QVERIFY(m_host->stop());
    QVERIFY(!Core::Plugin::findService<ICameraControlService>(m_host->registry()));
    QVERIFY(kept->open(steady, false)); // the devices were closed, the pools are still there
    kept->close(steady);
    m_enumeration.reset();
    m_status.reset();
    m_control.reset();
    m_stream.reset();
    m_notifier.reset();
    QVERIFY(!m_host->unload());
    QCOMPARE(m_host->heldServices().size(), 1);
    QVERIFY2(m_host->heldServices().first().startsWith("OptiRoster's ICameraControlService is still held"),
             qPrintable(m_host->heldServices().first()));
    QVERIFY(!kept->open(steady, false));
    QVERIFY(!kept->openExclusive(steady));
    kept.reset(); // the host's own reference keeps it: nothing runs in a module that is gone
    m_host.reset();
}

TAVIX_TEST_MAIN(TestClientKit)

#include "tst_clientkit.moc"
