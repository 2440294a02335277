#include "cameraenumerationservice.h"

#include <plugins/optiroster/internal/grabsettings.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/internal/transportlayerinfo.h>

#include <QMutexLocker>
#include <QThread>
#include <QTimer>

#include <utility>

namespace Plugin::OptiRoster::Internal {

namespace {
constexpr int EnumerationPeriodMs = 10000;
}

CCameraEnumerationService::CCameraEnumerationService(QPointer<COptiRoster> optiRoster, QPointer<CInterfacePool> interfacePool)
    : ICameraEnumerationService(nullptr)
    , m_enumerator(this)
    , m_optiRoster(std::move(optiRoster))
    , m_interfacePool(std::move(interfacePool))
    , m_timer(new QTimer)
    , m_mutex(QMutex::Recursive)
{
    connect(m_timer, &QTimer::timeout, this, &CCameraEnumerationService::triggerEnumeration);
    connect(&m_enumerator, &CCameraEnumerator::enumerationFinished, this, &CCameraEnumerationService::onEnumerationFinished);
    if (m_optiRoster)
        connect(m_optiRoster, &COptiRoster::cameraConnectionLost, this, &CCameraEnumerationService::removeDevice);
}

CCameraEnumerationService::~CCameraEnumerationService()
{
    // The enumerator goes last and waits for its pass, which may then run on this very thread:
    // its result must not reach this object while it is taken apart.
    disconnect(&m_enumerator, nullptr, this, nullptr);
    m_timer->stop();
    delete m_timer;
    // The enumerator, declared first, goes last: it waits for a running pass.
}

QStringList CCameraEnumerationService::queryEnumeration(QString /*name*/)
{
    QMutexLocker locker(&m_mutex);
    return {};
}

QVector<TransportLayerInfoPtr> CCameraEnumerationService::getTransportLayers()
{
    QMutexLocker locker(&m_mutex);
    return m_transportLayers;
}

QVector<CameraInfoPtr> CCameraEnumerationService::getOpenCameras()
{
    return m_optiRoster ? m_optiRoster->getOpenCameras() : QVector<CameraInfoPtr>();
}

void CCameraEnumerationService::requestEnumeration()
{
    QMutexLocker locker(&m_mutex);
    m_enumerator.startEnumeration();
}

bool CCameraEnumerationService::isEnumerationEnabled()
{
    return m_timer->isActive();
}

void CCameraEnumerationService::setEnumerationEnabled(bool enabled)
{
    // A timer is started and stopped on its own thread; a client on another one is served there.
    if (QThread::currentThread() != m_timer->thread()) {
        QMetaObject::invokeMethod(this, [this, enabled] { setEnumerationEnabled(enabled); }, Qt::QueuedConnection);
        return;
    }
    QMutexLocker locker(&m_mutex);
    if (enabled)
        m_timer->start(EnumerationPeriodMs);
    else
        m_timer->stop();
}

void CCameraEnumerationService::onInitializationDone()
{
    requestEnumeration();
}

void CCameraEnumerationService::triggerEnumeration()
{
    requestEnumeration();
}

void CCameraEnumerationService::onEnumerationFinished(QVector<TransportLayerInfoPtr> transportLayerList)
{
    mergeEnumerationResult(std::move(transportLayerList), false);
}

void CCameraEnumerationService::mergeEnumerationResult(QVector<TransportLayerInfoPtr> list, bool force)
{
    QMutexLocker locker(&m_mutex);
    if (m_merging) {
        // A receiver of this merge's signals runs a nested event loop (a modal dialog), in which a
        // pass ended or a camera was lost: the result waits for the merge, whose changes to the
        // pools it would otherwise undo halfway.
        m_waitingResult = std::move(list);
        m_waitingResultForced = m_waitingResultForced || force;
        m_resultWaiting = true;
        return;
    }
    m_merging = true;
    mergeOne(std::move(list), force);
    while (m_resultWaiting) {
        m_resultWaiting = false;
        const bool forced = std::exchange(m_waitingResultForced, false);
        mergeOne(std::exchange(m_waitingResult, {}), forced);
    }
    m_merging = false;
}

void CCameraEnumerationService::mergeOne(QVector<TransportLayerInfoPtr> list, bool force)
{
    // Layer objects are reused pass after pass: pointers at an index differ only when a layer
    // came, went or moved, and a layer's content is told by its changed flag alone.
    bool changed = list.size() != m_transportLayers.size();
    for (int i = 0; !changed && i < list.size(); ++i)
        changed = list.at(i) != m_transportLayers.at(i);
    // Every layer's flag is consumed, not only up to the first difference, and only then are
    // its lists published: a list that a running pass stores after this still raises the flag
    // for the merge of its own result. Passes stage their lists instead of assigning what
    // clients read, so that the lists change on this thread alone.
    for (const auto& layer : qAsConst(list)) {
        if (const auto concrete = layer.objectCast<CTransportLayerInfo>()) {
            changed = concrete->takeHaveContainedCamerasChanged() || changed;
            concrete->publishLists();
        }
    }
    if (!force && !changed)
        return;
    m_transportLayers = std::move(list);
    m_enumerationChangePending = true;
    notifyEnumerationChanged();
}

void CCameraEnumerationService::notifyEnumerationChanged()
{
    QMutexLocker locker(&m_mutex);
    if (!m_enumerationChangePending)
        return;
    updatePools();
    // Emitted with the lock held: a client called directly may read the result at once.
    emit enumerationChanged();
    m_enumerationChangePending = false;
}

void CCameraEnumerationService::updatePools()
{
    if (!m_optiRoster || !m_interfacePool)
        return;
    const CGrabSettings::CSharedRead grabSettings; // for the cameras that come and go now
    m_optiRoster->clearDeviceInfos();
    m_interfacePool->clearDeviceInfos();
    for (const auto& layer : qAsConst(m_transportLayers)) {
        m_optiRoster->addDevices(layer->getCameraInfoList().toDeviceBaseInfoVector());
        CInterfaceInfoList interfaces = layer->getInterfaceInfoList(); // its conversion is not const
        m_interfacePool->addDevices(interfaces.toDeviceBaseInfoVector());
    }
    m_optiRoster->removeVanishedDevices();
    m_interfacePool->removeVanishedDevices();
}

void CCameraEnumerationService::removeDevice(CameraInfoPtr ptrDeviceInfo)
{
    QMutexLocker locker(&m_mutex);
    const QVector<TransportLayerInfoPtr> layers = m_transportLayers;
    for (const auto& layer : layers) {
        const auto concrete = layer.objectCast<CTransportLayerInfo>();
        if (!concrete)
            continue;
        CCameraInfoList cameras = concrete->cameraInfoListCopy(); // the latest, which a pass may be writing
        if (!cameras.removeOne(ptrDeviceInfo))
            continue;
        concrete->setCameraInfoList(cameras);
        break;
    }
    // Published again in any case: a lost camera leaves the lists at once.
    mergeEnumerationResult(layers, true);
}

} // namespace Plugin::OptiRoster::Internal
