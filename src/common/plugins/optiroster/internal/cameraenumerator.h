#pragma once

#include <plugins/optiroster/itransportlayerinfo.h>

#include <QFuture>
#include <QObject>
#include <QVector>

namespace Plugin::OptiRoster::Internal {

// Runs one enumeration pass at a time on Qt's global thread pool and hands the result back by
// a signal. It holds the enumeration's share of the SDK's lifetime.
class CCameraEnumerator : public QObject
{
    Q_OBJECT
public:
    explicit CCameraEnumerator(QObject* parent = nullptr);
    // Waits for a running pass, gives back the kept CoaXPress layer, then ends its share of the SDK.
    ~CCameraEnumerator() override;

    // Starts a pass unless one runs; a request during a pass is dropped, not queued.
    void startEnumeration();

signals:
    void enumerationStarted();
    void enumerationFinished(QVector<TransportLayerInfoPtr> transportLayers);

private:
    void enumerationPass();

    QFuture<void> m_enumerationFuture;
};

} // namespace Plugin::OptiRoster::Internal
