#pragma once

#include <tavix/aravis/araviscontrol.h>
#include <tavix/backendcontrol.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QtTest>

#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

// Helpers for tests against Aravis's fake cameras: the in-process one (the "Fake" interface)
// and arv-fake-gv-camera, a process of its own that speaks GigE Vision on the loopback interface.
namespace AravisFixture {

inline void useBackends(const std::string& backends, const std::vector<std::string>& interfaces)
{
    std::string error;
    QVERIFY2(TavixBackends::setActiveBackends(backends, &error), error.c_str());
    QVERIFY2(TavixAravis::setInterfaces(interfaces, &error), error.c_str());
}

// The first listed device of the Aravis layer with the given TL type (and serial number, if
// given), or an empty record.
inline Tavix::CDeviceInfo firstDevice(const char* tlType, const QString& serial = QString())
{
    Tavix::DeviceInfoList devices;
    Tavix::DeviceInfoList filter(1);
    filter[0].SetTLType(tlType);
    filter[0].SetVendorName("Aravis");
    if (!serial.isEmpty())
        filter[0].SetSerialNumber(serial.toUtf8().constData());
    Tavix::CTlFactory::GetInstance().EnumerateDevices(devices, filter, false);
    return devices.empty() ? Tavix::CDeviceInfo() : devices[0];
}

// A serial number that no other run's fake camera has: tests use only the camera they started.
inline QString ownFakeSerial()
{
    return QStringLiteral("TVX%1").arg(QCoreApplication::applicationPid());
}

// Whether the GigE Vision control port of 127.0.0.1 is free: a fake camera started while another
// one holds it serves nobody.
inline bool loopbackControlPortFree()
{
    const int probe = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(3956);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool free = ::bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return free;
}

// Starts arv-fake-gv-camera on 127.0.0.1 with the serial number; an empty text when it runs,
// else why not.
inline QString startFakeGvCamera(QProcess& process, const QString& serial)
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
    if (program.isEmpty())
        return QStringLiteral("arv-fake-gv-camera-0.8 is not installed (package aravis-tools)");
    if (!loopbackControlPortFree())
        return QStringLiteral("another GigE Vision camera holds port 3956 of 127.0.0.1, so a fake camera of this test can't serve "
                              "there; tools/privatenet.sh runs the test on a loopback of its own");
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, {QStringLiteral("-i"), QStringLiteral("127.0.0.1"), QStringLiteral("-s"), serial});
    if (!process.waitForStarted(10000))
        return QStringLiteral("arv-fake-gv-camera-0.8 did not start: ") + process.errorString();
    // A camera that can't find its interface ends at once.
    if (process.waitForFinished(500))
        return QStringLiteral("arv-fake-gv-camera-0.8 can't serve on 127.0.0.1: ") + QString::fromLocal8Bit(process.readAll());
    return {};
}

inline void stopFakeGvCamera(QProcess& process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    process.waitForFinished(10000);
}

} // namespace AravisFixture

// SDK objects of every kind that are alive now, Aravis's as the simulator's.
inline int liveSdkObjects()
{
    int live = 0;
    for (int kind = 0; kind < TavixSim::LiveObjectKinds; ++kind)
        live += TavixSim::liveObjects(TavixSim::LiveObject(kind));
    return live;
}
