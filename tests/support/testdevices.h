#pragma once

#include <core/optirostercomponents/icamerainfo.h>
#include <core/optirostercomponents/iinterfaceinfo.h>
#include <plugins/optiroster/idevice.h>
#include <plugins/optiroster/internal/devicepool.h>
#include <tavix/deviceinfo.h>

#include <functional>

// Minimal descriptions and devices for testing the pool logic apart from any camera.

class CTestCameraInfo : public Core::OptiRosterComponents::ICameraInfo
{
    Q_OBJECT
public:
    explicit CTestCameraInfo(const QString& fullName) : m_fullName(fullName) {}
    QString getTypeName() const override { return QStringLiteral("Device"); }
    QString getDisplayName() const override { return m_fullName; }
    QString getFullName() const override { return m_fullName; }
    QString getVendorName() const override { return {}; }
    QString getTlType() const override { return {}; }
    int getDeviceType() const override { return 0; }
    QString getLastError() const override { return m_lastError; }
    void clearLastError() override { m_lastError.clear(); }
    void setLastError(const QString& text) { m_lastError = text; }
    QString getDeviceFactory() const override { return {}; }
    QString getDeviceVersion() const override { return {}; }
    QString getModelName() const override { return {}; }
    QString getSerialNumber() const override { return {}; }
    QString getUserDefinedName() const override { return {}; }
    const Tavix::CDeviceInfo& getDeviceInfo() const override { return m_deviceInfo; }

private:
    QString m_fullName;
    QString m_lastError;
    Tavix::CDeviceInfo m_deviceInfo;
};

class CTestInterfaceInfo : public Core::OptiRosterComponents::IInterfaceInfo
{
    Q_OBJECT
public:
    CTestInterfaceInfo(const QString& id, const QString& fullName) : m_id(id), m_fullName(fullName) {}
    QString getTypeName() const override { return QStringLiteral("Device"); }
    QString getDisplayName() const override { return m_fullName; }
    QString getFullName() const override { return m_fullName; }
    QString getVendorName() const override { return {}; }
    QString getTlType() const override { return {}; }
    int getDeviceType() const override { return 2; }
    QString getLastError() const override { return {}; }
    void clearLastError() override {}
    QString getInterfaceId() const override { return m_id; }
    const Tavix::CInterfaceInfo& getInterfaceInfo() const override { return m_interfaceInfo; }

private:
    QString m_id;
    QString m_fullName;
    Tavix::CInterfaceInfo m_interfaceInfo;
};

class CTestDevice : public Plugin::OptiRoster::IDevice
{
    Q_OBJECT
public:
    explicit CTestDevice(const Plugin::OptiRoster::DeviceBaseInfoPtr& info) : m_info(info) {}
    ~CTestDevice() override
    {
        if (onDestroy)
            onDestroy(this);
        if (m_open)
            close();
    }

    Plugin::OptiRoster::DeviceBaseInfoPtr getInfo() const override { return m_info; }
    bool isConnected() override { return m_open; }
    bool isOpen() override { return m_open; }
    QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection() const override { return {}; }

    bool open(bool monitorMode) override
    {
        if (m_open)
            return true;
        emit deviceOpening();
        if (!openSucceeds)
            return false;
        m_open = true;
        lastMonitorMode = monitorMode;
        emit deviceOpened();
        return true;
    }
    void close() override
    {
        if (!m_open)
            return;
        emit deviceClosing();
        m_open = false;
        emit deviceClosed();
    }

    bool openSucceeds = true;
    bool lastMonitorMode = false;
    std::function<void(CTestDevice*)> onDestroy;

private:
    Plugin::OptiRoster::DeviceBaseInfoPtr m_info;
    bool m_open = false;
};

class CTestPool : public Plugin::OptiRoster::Internal::ADevicePool
{
    Q_OBJECT
public:
    using ADevicePool::ADevicePool;

    QSharedPointer<Plugin::OptiRoster::IDevice> createDevice(const Plugin::OptiRoster::DeviceBaseInfoPtr& info) override
    {
        if (auto existing = getDevice(info))
            return existing;
        QSharedPointer<CTestDevice> device(new CTestDevice(info));
        if (onCreate)
            onCreate(device.data());
        appendDevice(device);
        connectDeviceSignals(device.data());
        return device;
    }
    bool isDeviceExclusive(const Plugin::OptiRoster::DeviceBaseInfoPtr& info) override
    {
        return exclusive.contains(info->getFullName());
    }

    const QVector<QSharedPointer<Plugin::OptiRoster::IDevice>>& devices() const { return m_devices; }
    const QVector<Plugin::OptiRoster::DeviceBaseInfoPtr>& deviceInfos() const { return m_deviceInfos; }

    QStringList exclusive;
    std::function<void(CTestDevice*)> onCreate;
};
