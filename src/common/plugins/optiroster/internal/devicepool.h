#pragma once

#include <core/callbacks/callbackhold.h>
#include <plugins/optiroster/idevice.h>

#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QSet>
#include <QObject>
#include <QSharedPointer>
#include <QVector>

#include <atomic>
#include <functional>
#include <optional>

class QThread;

namespace Plugin::OptiRoster::Internal {

// What the camera roster and the interface pool have in common: the live device objects,
// the descriptions of the last enumeration, the lookup of a device by its description,
// open and close bookkeeping, the relay of device signals and the active device.
class ADevicePool : public QObject
{
    Q_OBJECT
public:
    explicit ADevicePool(QObject* parent = nullptr);
    ~ADevicePool() override;

    virtual QSharedPointer<IDevice> getDevice(const DeviceBaseInfoPtr& info);
    virtual bool openActiveDevice(bool monitorMode);
    virtual bool openDevice(const DeviceBaseInfoPtr& info, bool monitorMode);
    virtual bool isDeviceOpen(const DeviceBaseInfoPtr& info);
    virtual void closeActiveDevice();
    virtual void closeDevice(const DeviceBaseInfoPtr& info);
    virtual void closeDevice(const QSharedPointer<IDevice>& device);
    virtual void closeAllDevices();
    virtual void addDevice(const DeviceBaseInfoPtr& info);
    virtual void addDevices(const QVector<DeviceBaseInfoPtr>& infos);
    virtual void clearDeviceInfos();
    virtual void removeVanishedDevices();
    // Returns the existing device for info, or creates, enters and wires a new one.
    virtual QSharedPointer<IDevice> createDevice(const DeviceBaseInfoPtr& info) = 0;
    virtual bool isDeviceExclusive(const DeviceBaseInfoPtr& info);
    virtual bool isDeviceGrabbing(const DeviceBaseInfoPtr& info);

    // The pool of a description: the camera pool for a camera's, the interface pool for an
    // interface's, null for anything else. A pool that has gone is passed as null.
    static ADevicePool* poolFor(const DeviceBaseInfoPtr& info, ADevicePool* cameraPool, ADevicePool* interfacePool);

    static DeviceBaseInfoPtr getActiveDevice();
    static void setActiveDevice(const DeviceBaseInfoPtr& info);

signals:
    void deviceOpening(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceOpened(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceClosing(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceClosed(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void activeDeviceChanged(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceDisconnected(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceConnected(Core::OptiRosterComponents::DeviceBaseInfoPtr info);

protected slots:
    // These relay a device's signal with its description; they rely on sender().
    void onDeviceOpening();
    void onDeviceClosing();
    void onDeviceOpened();
    void onDeviceClosed();

protected:
    // Holds m_mutex and, for a pool that holdsClientCallsWhileLocked(), the calls to client code
    // that the thread makes meanwhile (the pool's signals, and the devices' and parameters' that an
    // open or close emits inside it) until the outermost lock of the plug-in is let go: a receiver
    // that is called directly (the status service and its clients on the main thread) may then
    // take the status service's lock, which comes before this one, without closing a cycle with a
    // client thread that holds the status lock and waits for this one. On another thread the
    // signals wait as well, so that they keep their order with the news of the cameras, which goes
    // out at the same moment.
    class CPoolLocker
    {
    public:
        explicit CPoolLocker(ADevicePool* pool);
        CPoolLocker(const CPoolLocker&) = delete;
        CPoolLocker& operator=(const CPoolLocker&) = delete;

    private:
        std::optional<Core::CCallbackHold> m_hold; // first: let go after the lock
        QMutexLocker m_locker;
    };

    // Whether the lock holds the calls to client code made under it (see CPoolLocker). A pool
    // whose lock no thread waits for while it holds the status service's lock needn't.
    virtual bool holdsClientCallsWhileLocked() const { return false; }

    // Emits at once, or, while this thread holds a lock of the plug-in, once it lets go.
    static void emitUnlocked(const std::function<void()>& emission);
    // Keeps the device until what its operation told while this thread held a lock has gone out:
    // the caller's own reference may end first, and the pool's thread may drop the device.
    static void keepUntilTold(QSharedPointer<IDevice> device);

    // Connects the four relays of a new device; the derived class calls it from createDevice.
    void connectDeviceSignals(IDevice* device);

    // The list changes on the pool's thread alone, but clients' threads read it: they walk a
    // snapshot, and the list itself is touched only under m_devicesMutex, which no other lock
    // is ever taken under.
    QVector<QSharedPointer<IDevice>> devices() const;
    // Owns a new device and moves it to the pool's thread, where its timers and queued signals
    // run whichever thread created it. Its last reference may drop on a client's thread while the
    // pool has let go meanwhile: it is destroyed on its own thread, at once when that is the
    // current one.
    QSharedPointer<IDevice> own(IDevice* device) const;
    void appendDevice(const QSharedPointer<IDevice>& device);
    void removeDevice(const QSharedPointer<IDevice>& device);

    QMutex m_mutex;
    QVector<QSharedPointer<IDevice>> m_devices;
    QVector<DeviceBaseInfoPtr> m_deviceInfos;
    bool m_destroying;

private:
    IDevice* senderDevice() const;
    // Decided once deviceDisconnected has returned: its receivers may have opened the device.
    void removeIfStillVanished(const QSharedPointer<IDevice>& device);
    bool forgetAnnouncedGone(IDevice* device);
    void indexDevice(const QSharedPointer<IDevice>& device, bool add);
    void reindexIfIdentitiesChanged();

    mutable QMutex m_devicesMutex;
    // The devices of m_devices by identity: a camera by its full name, an interface by its id.
    // The lookup thus costs the same however many devices the pool holds.
    QHash<QString, QSharedPointer<IDevice>> m_camerasByFullName;
    QHash<QString, QSharedPointer<IDevice>> m_interfacesById;
    quint64 m_indexedIdentityChanges = 0;

    // Devices whose deviceDisconnected went out while a receiver kept them: they are announced
    // again when a pass reports them. Under m_devicesMutex.
    QSet<IDevice*> m_announcedGone;

    static DeviceBaseInfoPtr m_activeDevice;
    // A leaf lock for the copy of the shared pointer alone: a client's thread may set it while
    // another reads it, and a torn copy would hold a description that is being let go.
    static QMutex m_activeDeviceMutex;
};

} // namespace Plugin::OptiRoster::Internal
