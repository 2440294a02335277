#pragma once

#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/internal/cameraenumerator.h>

#include <QMutex>
#include <QPointer>

class QTimer;

namespace Plugin::OptiRoster::Internal {

class COptiRoster;
class CInterfacePool;

// Owns the background enumerator, the timer that paces it and the last published result. It
// decides whether a result is news, feeds both pools with it, and tells clients.
class CCameraEnumerationService : public ICameraEnumerationService
{
    Q_OBJECT
public:
    CCameraEnumerationService(QPointer<COptiRoster> optiRoster, QPointer<CInterfacePool> interfacePool);
    ~CCameraEnumerationService() override;

    QStringList queryEnumeration(QString name) override;
    QVector<TransportLayerInfoPtr> getTransportLayers() override;
    QVector<CameraInfoPtr> getOpenCameras() override;
    void requestEnumeration() override;
    bool isEnumerationEnabled() override;

public slots:
    void setEnumerationEnabled(bool enabled) override;
    void onInitializationDone();

private slots:
    void notifyEnumerationChanged();
    void triggerEnumeration();
    void removeDevice(Core::OptiRosterComponents::CameraInfoPtr ptrDeviceInfo);
    void onEnumerationFinished(QVector<TransportLayerInfoPtr> transportLayerList);

private:
    // Merges the result, and one that arrives during the merge after it.
    void mergeEnumerationResult(QVector<TransportLayerInfoPtr> list, bool force);
    void mergeOne(QVector<TransportLayerInfoPtr> list, bool force);
    void updatePools();

    CCameraEnumerator m_enumerator;
    QPointer<COptiRoster> m_optiRoster;
    QPointer<CInterfacePool> m_interfacePool;
    QTimer* m_timer;
    QMutex m_mutex;
    bool m_enumerationChangePending = false;
    QVector<TransportLayerInfoPtr> m_transportLayers;
    // A merge runs (on this thread), and the result that waits for it.
    bool m_merging = false;
    bool m_resultWaiting = false;
    bool m_waitingResultForced = false;
    QVector<TransportLayerInfoPtr> m_waitingResult;
};

} // namespace Plugin::OptiRoster::Internal
