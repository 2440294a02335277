#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/itransportlayerinfo.h>

#include <QStringList>
#include <QVector>

namespace Plugin::OptiRoster {

/// What clients see of enumeration: the last result, the open cameras, and the pace of passes.
/// enumerationChanged() tells that the result and the pools have changed.
class ICameraEnumerationService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// Has no effect; the result is always empty.
    virtual QStringList queryEnumeration(QString name) = 0;
    /// The last enumeration result: the transport layers, sorted by name, each with its
    /// interfaces and cameras. Empty before the first pass is in.
    virtual QVector<TransportLayerInfoPtr> getTransportLayers() = 0;
    /// Open cameras that are not in exclusive use; a camera that a pass no longer reports while
    /// it is open is found here rather than in getTransportLayers().
    virtual QVector<CameraInfoPtr> getOpenCameras() = 0;
    /// Starts a pass unless one runs.
    virtual void requestEnumeration() = 0;
    /// Whether passes run on the timer.
    virtual bool isEnumerationEnabled() = 0;

public slots:
    /// On: a pass every 10 s, the first one a full period ahead. Off: passes only on request.
    virtual void setEnumerationEnabled(bool enabled) = 0;

signals:
    /// Sent on the main thread when a pass has found something new and the pools have taken it.
    void enumerationChanged();
};

} // namespace Plugin::OptiRoster
