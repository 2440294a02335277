#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>
#include <core/parametercollection/parametercollection.h>

#include <QObject>
#include <QSharedPointer>

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::DeviceBaseInfoPtr;

/// A device that can be opened: a camera or a transport interface.
class IDevice : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// The description of the device, which names it to every service.
    virtual DeviceBaseInfoPtr getInfo() const = 0;
    /// Whether the device can be reached: true from its creation until its loss is found.
    virtual bool isConnected() = 0;
    /// Whether the device is open.
    virtual bool isOpen() = 0;
    /// The parameters of the open device, by node map and feature; empty while it is closed.
    virtual QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection() const = 0;

public slots:
    /// Opens the device; monitorMode opens a camera only to listen to a stream that another
    /// application controls. False on failure, with the reason in the description's last error.
    virtual bool open(bool monitorMode = false) = 0;
    /// Closes the device; a grabbing camera stops first. Does nothing when it is closed.
    virtual void close() = 0;

signals:
    /// Sent before the device opens, on the thread that opens it.
    void deviceOpening();
    /// Sent once the device is open.
    void deviceOpened();
    /// Sent before the device closes.
    void deviceClosing();
    /// Sent once the device is closed.
    void deviceClosed();
};

} // namespace Plugin::OptiRoster
