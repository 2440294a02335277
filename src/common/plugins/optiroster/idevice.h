#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>
#include <core/parametercollection/parametercollection.h>

#include <QObject>
#include <QSharedPointer>

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::DeviceBaseInfoPtr;

// A device that can be opened: a camera or a transport interface.
class IDevice : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    virtual DeviceBaseInfoPtr getInfo() const = 0;
    virtual bool isConnected() = 0;
    virtual bool isOpen() = 0;
    virtual QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection() const = 0;

public slots:
    virtual bool open(bool monitorMode = false) = 0;
    virtual void close() = 0;

signals:
    void deviceOpening();
    void deviceOpened();
    void deviceClosing();
    void deviceClosed();
};

} // namespace Plugin::OptiRoster
