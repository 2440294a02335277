#pragma once

#include <plugins/optiroster/icamerastatusservice.h>

#include <QMutex>
#include <QPointer>

namespace Plugin::OptiRoster::Internal {

class ADevicePool;
class COptiRoster;
class CInterfacePool;

// Merges the signals of both pools into one set, answers state questions, and is the only
// writer of the active device. Its mutex is taken before a pool's own.
class CStatusService : public ICameraStatusService
{
    Q_OBJECT
public:
    CStatusService(QPointer<COptiRoster> optiRoster, QPointer<CInterfacePool> interfacePool, QObject* parent);
    ~CStatusService() override;

    bool isDeviceOpen(DeviceBaseInfoPtr info) override;
    void setActiveDevice(DeviceBaseInfoPtr info) override;
    DeviceBaseInfoPtr getActiveDevice() override;
    bool isExclusive(CameraInfoPtr info) override;
    bool isCameraGrabbing(CameraInfoPtr info) override;
    size_t getNumberOfGrabbingCameras() override;

private:
    void relayInterfacePool();
    void relayCameraRoster();
    ADevicePool* poolFor(const DeviceBaseInfoPtr& info) const;

    QPointer<COptiRoster> m_optiRoster;
    QPointer<CInterfacePool> m_interfacePool;
    QMutex m_mutex;
};

} // namespace Plugin::OptiRoster::Internal
