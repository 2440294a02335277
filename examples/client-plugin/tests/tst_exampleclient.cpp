// The example client tested as it runs: the host of plug-ins loads the camera roster and the
// example's module in this process, on a simulated camera world of the test's own, and the test
// plugs, loses and spoils cameras while it watches what the example does: what it prints, the
// status it ends with, and the state in which it leaves the roster.
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <core/plugin/servicelookup.h>
#include <tavix-host/host.h>
#include <tavix/sim/simcontrol.h>

#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QtTest>

#include <cstdio>
#include <memory>
#include <unistd.h>

using Core::OptiRosterComponents::CameraInfoPtr;
using Plugin::OptiRoster::ICameraEnumerationService;
using Plugin::OptiRoster::ICameraStatusService;

namespace {

const std::string Steady = "VorlanGigE#192.168.50.1#OVK-64m#80000001";
const std::string Slow = "VorlanGigE#192.168.50.2#OVK-64m#80000002";
const std::string Flaky = "VorlanGigE#192.168.50.3#OVK-64m#80000003";
// Generous: the machine may be busy; nothing here waits for a fixed time.
constexpr int TimeoutMs = 60000;

// What the process writes to its standard output while it lives, where the example prints.
class CCapturedOutput
{
public:
    CCapturedOutput()
    {
        m_file.open();
        std::fflush(stdout);
        m_saved = ::dup(STDOUT_FILENO);
        ::dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~CCapturedOutput()
    {
        std::fflush(stdout);
        ::dup2(m_saved, STDOUT_FILENO);
        ::close(m_saved);
    }
    QString text()
    {
        std::fflush(stdout);
        QFile file(m_file.fileName());
        file.open(QIODevice::ReadOnly);
        return QString::fromUtf8(file.readAll());
    }

private:
    QTemporaryFile m_file;
    int m_saved = -1;
};

// The roster and the example, hosted as tavix-host hosts them.
class CHostedExample
{
public:
    //! [start]
    bool start()
    {
        // The roster first, from the kit's plug-in folder; then the plug-in under test.
        if (!m_host.load(CHost::findPlugin(QStringLiteral(EXAMPLE_ROSTER_DIR))) || !m_host.load(QStringLiteral(EXAMPLE_CLIENT_MODULE)))
            return false;
        client = m_host.plugins().last();
        // The module's own class is not this test's: its signal is found by name.
        finished = std::make_unique<QSignalSpy>(client, SIGNAL(finished(int)));
        if (!m_host.start())
            return false;
        enumeration = Core::Plugin::findService<ICameraEnumerationService>(m_host.registry());
        status = Core::Plugin::findService<ICameraStatusService>(m_host.registry());
        return enumeration && status;
    }
    //! [start]
    // The description of a camera of the last enumeration result.
    CameraInfoPtr camera(const std::string& fullName) const
    {
        for (const auto& layer : enumeration->getTransportLayers()) {
            for (const CameraInfoPtr& camera : layer->getCameraInfoList()) {
                if (camera->getFullName() == QString::fromStdString(fullName))
                    return camera;
            }
        }
        return {};
    }
    //! [plug]
    void plug(const std::string& fullName)
    {
        TavixSim::plugDevice(fullName);
        // Seen by the next pass: ask for one rather than wait for the timer.
        enumeration->requestEnumeration();
    }
    //! [plug]
    // The status the example finished with; -1 when it didn't within the time.
    int waitForFinish()
    {
        if (finished->isEmpty() && !finished->wait(TimeoutMs))
            return -1;
        return finished->first().first().toInt();
    }
    // Stops and unloads as the host does at its end: true when no plug-in kept another's
    // service past its uninitialize.
    //! [unload]
    bool unload()
    {
        enumeration.reset();
        status.reset();
        m_host.stop();
        const bool released = m_host.unload();
        for (const QString& line : m_host.heldServices())
            qWarning("%s", qPrintable(line));
        return released;
    }
    //! [unload]

private:
    CHost m_host; // goes last, once the test has let go of the services

public:
    QObject* client = nullptr;
    std::unique_ptr<QSignalSpy> finished;
    QSharedPointer<ICameraEnumerationService> enumeration;
    QSharedPointer<ICameraStatusService> status;
};

} // namespace

class TestExampleClient : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void waitsForACameraAndGrabsFromItWhenItIsPluggedIn();
    void reportsACameraThatIsLostWhileItGrabs();
    void reportsAGrabThatTheCameraRefuses();
    void countsFailedImagesApartFromGoodOnes();
};

//! [scenario]
void TestExampleClient::init()
{
    // Each test starts from the bench's world, with every camera unplugged.
    QFile scenario(QStringLiteral(EXAMPLE_SCENARIO));
    QVERIFY(scenario.open(QIODevice::ReadOnly));
    QString error;
    QVERIFY2(TavixSim::loadScenario(scenario.readAll(), &error, scenario.fileName()), qPrintable(error));
}
//! [scenario]

void TestExampleClient::cleanup()
{
    TavixSim::clearFaults();
}

void TestExampleClient::waitsForACameraAndGrabsFromItWhenItIsPluggedIn()
{
    CCapturedOutput output;
    CHostedExample hosted;
    QVERIFY(hosted.start());
    QTRY_VERIFY_WITH_TIMEOUT(output.text().contains("ExampleClient: no camera yet; waiting for one"), TimeoutMs);
    hosted.plug(Steady);
    QCOMPARE(hosted.waitForFinish(), 0);
    const QString text = output.text();
    QVERIFY2(text.contains("  Bench steady (80000001)  serial 80000001"), qPrintable(text));
    QVERIFY2(text.contains(QRegularExpression("ExampleClient: \\d+ images from Bench steady \\(80000001\\), 0 failed")), qPrintable(text));
    QVERIFY2(text.contains("ExampleClient: exclusive use: taken, given back"), qPrintable(text));
    // It closed the camera and gave up the active device it borrowed.
    QVERIFY2(text.contains("ExampleClient: closed Bench steady (80000001)"), qPrintable(text));
    QVERIFY(!hosted.status->isDeviceOpen(hosted.camera(Steady)));
    QVERIFY(!hosted.status->getActiveDevice());
    QVERIFY(hosted.unload());
}

//! [lost]
void TestExampleClient::reportsACameraThatIsLostWhileItGrabs()
{
    CCapturedOutput output;
    CHostedExample hosted;
    QVERIFY(hosted.start());
    hosted.plug(Slow);
    QTRY_VERIFY_WITH_TIMEOUT(output.text().contains("ExampleClient: grabbing 20 images from Bench slow (80000002)"), TimeoutMs);
    const CameraInfoPtr camera = hosted.camera(Slow);
    QVERIFY(camera);
    QVERIFY(hosted.status->isCameraGrabbing(camera));
    TavixSim::loseDevice(Slow);
    QCOMPARE(hosted.waitForFinish(), 1);
    const QString text = output.text();
    QVERIFY2(text.contains("ExampleClient: the connection to Bench slow (80000002) was lost."), qPrintable(text));
    QVERIFY(!hosted.status->isCameraGrabbing(camera));
    QVERIFY(!hosted.status->isDeviceOpen(camera));
    QVERIFY(hosted.unload());
}
//! [lost]

void TestExampleClient::reportsAGrabThatTheCameraRefuses()
{
    //! [fault]
    TavixSim::Fault held;
    held.target = Steady;
    held.operation = "StartGrabbing";
    held.exceptionType = "AccessException";
    held.description = "The camera is held by another application.";
    held.count = -1;
    TavixSim::injectFault(held);
    //! [fault]
    CCapturedOutput output;
    CHostedExample hosted;
    QVERIFY(hosted.start());
    hosted.plug(Steady);
    QCOMPARE(hosted.waitForFinish(), 1);
    const QString text = output.text();
    QVERIFY2(text.contains("ExampleClient: Bench steady (80000001) could not start grabbing: ")
                 && text.contains("The camera is held by another application."),
             qPrintable(text));
    QVERIFY2(text.contains("ExampleClient: closed Bench steady (80000001)"), qPrintable(text));
    QVERIFY(!hosted.status->isDeviceOpen(hosted.camera(Steady)));
    QVERIFY(hosted.unload());
}

void TestExampleClient::countsFailedImagesApartFromGoodOnes()
{
    CCapturedOutput output;
    CHostedExample hosted;
    QVERIFY(hosted.start());
    hosted.plug(Flaky);
    // The observer counts 20 good images; the status service counts every image, failed ones
    // among them: every fourth one here.
    QCOMPARE(hosted.waitForFinish(), 0);
    const QString text = output.text();
    const QRegularExpressionMatch figures =
        QRegularExpression("ExampleClient: (\\d+) images from Bench flaky \\(80000003\\), (\\d+) failed").match(text);
    QVERIFY2(figures.hasMatch(), qPrintable(text));
    const int images = figures.captured(1).toInt();
    const int failed = figures.captured(2).toInt();
    QVERIFY2(failed >= 5 && images - failed >= 20, qPrintable(figures.captured(0)));
    QVERIFY(hosted.unload());
}

//! [main]
int main(int argc, char* argv[])
{
    // The roster keeps a few settings; a test's go to a folder of Qt's test mode.
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("ExampleClientTests"));
    QCoreApplication::setApplicationName(QStringLiteral("TestExampleClient"));
    TestExampleClient test;
    return QTest::qExec(&test, argc, argv);
}
//! [main]

#include "tst_exampleclient.moc"
