#pragma once

#include <plugins/optiroster/camerainfolist.h>
#include <plugins/optiroster/interfaceinfolist.h>

#include <QObject>
#include <QSharedPointer>
#include <QVector>

namespace Plugin::OptiRoster {

// One transport layer with what the last enumeration found on it.
class ITransportLayerInfo : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    virtual const CCameraInfoList& getCameraInfoList() const = 0;
    virtual const CInterfaceInfoList& getInterfaceInfoList() const = 0;
    virtual QString getClass() const = 0;
    virtual QString getTlType() const = 0;
    virtual QString getFriendlyName() const = 0;
    virtual QString getFullName() const = 0;
    virtual bool haveContainedCamerasChanged() const = 0;
};

using TransportLayerInfoPtr = QSharedPointer<ITransportLayerInfo>;

} // namespace Plugin::OptiRoster

using TransportLayerInfoPtr = Plugin::OptiRoster::TransportLayerInfoPtr;
