#pragma once

#include <tavix/aravis/araviscontrol.h>
#include <tavix/backendcontrol.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QtTest>

#include <string>
#include <vector>

// Helpers for tests against Aravis's fake cameras: the in-process one (the "Fake" interface)
// and arv-fake-gv-camera, a process of its own that speaks GigE Vision on the loopback interface.
namespace AravisFixture {

inline void useBackends(const std::string& backends, const std::vector<std::string>& interfaces)
{
    std::string error;
    QVERIFY2(TavixBackends::setActiveBackends(backends, &error), error.c_str());
    QVERIFY2(TavixAravis::setInterfaces(interfaces, &error), error.c_str());
}

// The first listed device of the Aravis layer with the given TL type, or an empty record.
inline Tavix::CDeviceInfo firstDevice(const char* tlType)
{
    Tavix::DeviceInfoList devices;
    Tavix::DeviceInfoList filter(1);
    filter[0].SetTLType(tlType);
    filter[0].SetVendorName("Aravis");
    Tavix::CTlFactory::GetInstance().EnumerateDevices(devices, filter, false);
    return devices.empty() ? Tavix::CDeviceInfo() : devices[0];
}

// Starts arv-fake-gv-camera on 127.0.0.1; an empty text when it runs, else why not.
inline QString startFakeGvCamera(QProcess& process)
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
    if (program.isEmpty())
        return QStringLiteral("arv-fake-gv-camera-0.8 is not installed (package aravis-tools)");
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, {QStringLiteral("-i"), QStringLiteral("127.0.0.1")});
    if (!process.waitForStarted(10000))
        return QStringLiteral("arv-fake-gv-camera-0.8 did not start: ") + process.errorString();
    // A camera that can't bind its port ends at once.
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
