#pragma once

#include <plugins/optiroster/itransportlayerinfo.h>

#include <QMutex>
#include <QVector>

namespace Tavix {
class CTlInfo;
class ITransportLayer;
}

namespace Plugin::OptiRoster {

namespace Internal {
class CCameraEnumerator;
class CTransportLayerInfo;
}

// The result of one enumeration pass: the transport layers sorted by friendly name, each with
// its cameras and interfaces. The descriptions in it are the known objects of the process, so
// that the same device is the same object in every pass.
class CTransportLayerList
{
public:
    CTransportLayerList();
    ~CTransportLayerList();

    // One pass of discovery. list is written once, at the very end; a pass that leaves by an
    // exception leaves it untouched.
    static void refreshTransportLayerList(CTransportLayerList& list, bool skipDeviceScan, bool logFindings);

    operator QVector<TransportLayerInfoPtr>() const { return m_transportLayers; }
    const QVector<TransportLayerInfoPtr>& transportLayers() const { return m_transportLayers; }

private:
    friend class Internal::CCameraEnumerator;

    // Gives back the CoaXPress layer that is kept open between passes.
    static void releaseDornProducer();

    QVector<TransportLayerInfoPtr> m_transportLayers;
    QMutex m_mutex;

    static Tavix::ITransportLayer* m_pCxpTransportLayer;
    static QVector<QSharedPointer<Internal::CTransportLayerInfo>>* m_pKnownTransportLayers;
};

} // namespace Plugin::OptiRoster
