#pragma once

#include <plugins/optiroster/camerainfolist.h>
#include <plugins/optiroster/interfaceinfolist.h>

#include <QObject>
#include <QSharedPointer>
#include <QVector>

namespace Plugin::OptiRoster {

/// One transport layer with what the last enumeration found on it.
class ITransportLayerInfo : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// The cameras the last pass found on the layer, sorted by display name. The reference
    /// stays valid, and shows later passes, while the layer's pointer is held.
    virtual const CCameraInfoList& getCameraInfoList() const = 0;
    /// The layer's interfaces, sorted by display name.
    virtual const CInterfaceInfoList& getInterfaceInfoList() const = 0;
    /// The SDK's device class of the layer.
    virtual QString getClass() const = 0;
    /// The transport layer type, such as "GEV" or "U3V".
    virtual QString getTlType() const = 0;
    /// The name to show.
    virtual QString getFriendlyName() const = 0;
    /// The full name: the layer's identity.
    virtual QString getFullName() const = 0;
    /// Whether the last pass changed the layer's cameras.
    virtual bool haveContainedCamerasChanged() const = 0;
};

using TransportLayerInfoPtr = QSharedPointer<ITransportLayerInfo>;

} // namespace Plugin::OptiRoster

using TransportLayerInfoPtr = Plugin::OptiRoster::TransportLayerInfoPtr;
