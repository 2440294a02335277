#pragma once

#include <plugins/optiroster/icameracontrolservice.h>

#include <QPointer>

namespace Plugin::OptiRoster::Internal {

class ADevicePool;
class COptiRoster;
class CInterfacePool;

// Opens and closes devices of either kind and hands cameras into exclusive use. It holds no
// state of its own: each call picks a pool by the dynamic type of what it is given.
class CControlService : public ICameraControlService
{
    Q_OBJECT
public:
    CControlService(QPointer<COptiRoster> optiRoster, QPointer<CInterfacePool> interfacePool, QObject* parent);
    ~CControlService() override;

public slots:
    bool open(bool monitorMode = false) override;

public:
    bool open(DeviceBaseInfoPtr info, bool monitorMode) override;

public slots:
    void close() override;

public:
    void close(DeviceBaseInfoPtr info) override;
    void close(QSharedPointer<IDevice> device) override;
    QSharedPointer<ICamera> openExclusive(CameraInfoPtr info) override;
    QSharedPointer<ICamera> takeExclusive(CameraInfoPtr info) override;
    bool releaseExclusive(QSharedPointer<ICamera> camera) override;
    void announceCameraByAddress(const QString& ipAddress) override;

private:
    ADevicePool* poolFor(const DeviceBaseInfoPtr& info) const;
    ADevicePool* poolFor(const QSharedPointer<IDevice>& device) const;

    QPointer<COptiRoster> m_optiRoster;
    QPointer<CInterfacePool> m_interfacePool;
};

} // namespace Plugin::OptiRoster::Internal
