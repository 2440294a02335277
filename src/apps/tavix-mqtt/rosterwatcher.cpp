#include "rosterwatcher.h"

#include "stationbridge.h"
#include "topics.h"

#include <tavix/deviceinfo.h>

#include <QSet>

namespace MqttBridge {

using Core::OptiRosterComponents::CameraInfoPtr;
using Core::OptiRosterComponents::DeviceBaseInfoPtr;
using Core::OptiRosterComponents::ICameraInfo;
using Plugin::OptiRoster::ICameraEnumerationService;
using Plugin::OptiRoster::ICameraStatusService;
using Plugin::OptiRoster::IDeviceStatusService;

namespace {

QString ipAddress(const CameraInfoPtr& camera)
{
    const Tavix::CDeviceInfo& record = camera->getDeviceInfo();
    return record.IsPropertyAvailable("IpAddress") ? QString::fromUtf8(record.GetPropertyValue("IpAddress").c_str()) : QString();
}

} // namespace

CRosterWatcher::CRosterWatcher(const CClientServices& services, CStationBridge* bridge, int statisticsIntervalMs,
                               int enumerationIntervalMs, QObject* parent)
    : QObject(parent)
    , m_services(services)
    , m_pBridge(bridge)
    , m_executor(m_services)
{
    m_interval.setInterval(statisticsIntervalMs);
    connect(&m_interval, &QTimer::timeout, this, &CRosterWatcher::onInterval);
    m_enumerationPace.setInterval(enumerationIntervalMs);
    connect(&m_enumerationPace, &QTimer::timeout, this, [this] { m_services.enumeration->requestEnumeration(); });
    connect(m_pBridge, &CStationBridge::commandReceived, this, &CRosterWatcher::onCommand);
}

CRosterWatcher::~CRosterWatcher()
{
    stop();
}

void CRosterWatcher::start()
{
    connectServices();
    m_services.notifier->addObserver(&m_skipped);
    m_observing = true;
    m_interval.start();
    if (m_enumerationPace.interval() > 0)
        m_enumerationPace.start();
    refreshCameras();
}

void CRosterWatcher::stop()
{
    m_interval.stop();
    m_enumerationPace.stop();
    if (m_services.enumeration)
        disconnect(m_services.enumeration.data(), nullptr, this, nullptr);
    if (m_services.status)
        disconnect(m_services.status.data(), nullptr, this, nullptr);
    if (m_observing) {
        // Waits for a call in progress: the notifier holds its lock while observers run.
        m_services.notifier->removeObserver(&m_skipped);
        m_observing = false;
    }
}

void CRosterWatcher::connectServices()
{
    ICameraStatusService* status = m_services.status.data();
    connect(m_services.enumeration.data(), &ICameraEnumerationService::enumerationChanged, this, &CRosterWatcher::refreshCameras);
    connect(status, &IDeviceStatusService::deviceOpened, this, &CRosterWatcher::onDeviceOpened);
    connect(status, &IDeviceStatusService::deviceClosed, this, &CRosterWatcher::onDeviceClosed);
    connect(status, &IDeviceStatusService::activeDeviceChanged, this, &CRosterWatcher::publishAllStates);
    connect(status, &ICameraStatusService::deviceConnected, this, &CRosterWatcher::onDeviceConnected);
    connect(status, &ICameraStatusService::deviceDisconnected, this, &CRosterWatcher::onDeviceDisconnected);
    connect(status, &ICameraStatusService::cameraGrabStarted, this, &CRosterWatcher::onGrabStarted);
    connect(status, &ICameraStatusService::cameraGrabStopped, this, &CRosterWatcher::onGrabStopped);
    connect(status, &ICameraStatusService::cameraConnectionLost, this, &CRosterWatcher::onConnectionLost);
    connect(status, &ICameraStatusService::cameraDetached, this, &CRosterWatcher::onDetached);
    connect(status, &ICameraStatusService::cameraAttached, this, &CRosterWatcher::onAttached);
    connect(status, &ICameraStatusService::cameraImageGrabbedInfo, this, &CRosterWatcher::onImageGrabbedInfo);
    connect(status, &ICameraStatusService::cameraStatisticUpdated, this, &CRosterWatcher::onStatisticUpdated);
}

// The station's cameras: those enumeration lists, those that are open (an open camera may drop
// out of the list) and those in exclusive use or lost while open, which may be in neither.
void CRosterWatcher::refreshCameras()
{
    QSet<const ICameraInfo*> present;
    auto keep = [&](const CameraInfoPtr& info) {
        if (!info || present.contains(info.data()))
            return;
        present.insert(info.data());
        if (!m_cameras.contains(info.data()))
            addCamera(info);
    };
    for (const auto& layer : m_services.enumeration->getTransportLayers()) {
        for (const CameraInfoPtr& info : layer->getCameraInfoList())
            keep(info);
    }
    for (const CameraInfoPtr& info : m_services.enumeration->getOpenCameras())
        keep(info);
    for (const CCamera& camera : qAsConst(m_cameras)) {
        if (m_services.status->isExclusive(camera.info) || (camera.lost && m_services.status->isDeviceOpen(camera.info)))
            keep(camera.info);
    }
    for (auto it = m_cameras.begin(); it != m_cameras.end();) {
        if (present.contains(it.key())) {
            publishState(*it);
            ++it;
        } else {
            m_pBridge->removeCamera(it->key);
            it = m_cameras.erase(it);
        }
    }
}

CRosterWatcher::CCamera& CRosterWatcher::addCamera(const CameraInfoPtr& info)
{
    CCamera& camera = m_cameras[info.data()];
    camera.info = info;
    camera.key = keyFor(info);
    camera.firmware = info->getDeviceVersion();
    m_skipped.watch(info.data());
    publishState(camera);
    return camera;
}

// The serial number names a camera on the broker; a second camera with the same one (on
// another transport layer, say) gets a suffix. A camera keeps its name for the process's life.
QString CRosterWatcher::keyFor(const CameraInfoPtr& info)
{
    const auto known = m_keys.constFind(info.data());
    if (known != m_keys.constEnd())
        return *known;
    const QString serial = info->getSerialNumber();
    const QString base = topicLevel(serial.isEmpty() ? info->getFullName() : serial);
    const QList<QString> taken = m_keys.values();
    QString key = base;
    for (int n = 2; taken.contains(key); ++n)
        key = QStringLiteral("%1-%2").arg(base).arg(n);
    m_keys.insert(info.data(), key);
    return key;
}

CRosterWatcher::CCamera* CRosterWatcher::cameraOf(const CameraInfoPtr& info)
{
    const auto it = m_cameras.find(info.data());
    return it == m_cameras.end() ? nullptr : &*it;
}

CRosterWatcher::CCamera* CRosterWatcher::cameraOf(const DeviceBaseInfoPtr& info)
{
    const CameraInfoPtr camera = info.objectCast<ICameraInfo>();
    return camera ? cameraOf(camera) : nullptr;
}

CCameraState CRosterWatcher::stateOf(const CCamera& camera) const
{
    const CameraInfoPtr& info = camera.info;
    ICameraStatusService* status = m_services.status.data();
    CCameraState state;
    state.camera = camera.key;
    state.name = info->getDisplayName();
    state.fullName = info->getFullName();
    state.layer = info->getTlType();
    state.address = ipAddress(info);
    state.vendor = info->getVendorName();
    state.model = info->getModelName();
    state.serial = info->getSerialNumber();
    state.firmware = info->getDeviceVersion();
    state.open = status->isDeviceOpen(info);
    state.grabbing = status->isCameraGrabbing(info);
    state.exclusive = status->isExclusive(info);
    state.lost = camera.lost;
    state.active = status->getActiveDevice() == info;
    state.lastError = info->getLastError();
    return state;
}

void CRosterWatcher::publishState(CCamera& camera)
{
    const CCameraState state = stateOf(camera);
    if (state.firmware != camera.firmware) {
        tell(QStringLiteral("firmwareChanged"), camera,
             {{QStringLiteral("from"), camera.firmware}, {QStringLiteral("to"), state.firmware}});
        camera.firmware = state.firmware;
    }
    m_pBridge->setCameraState(state);
}

void CRosterWatcher::publishAllStates()
{
    for (CCamera& camera : m_cameras)
        publishState(camera);
}

void CRosterWatcher::tell(const QString& event, const CCamera& camera, const QJsonObject& details)
{
    m_pBridge->publishEvent(CStationEvent{event, camera.key, camera.info->getDisplayName(), details});
}

void CRosterWatcher::onDeviceOpened(const DeviceBaseInfoPtr& info)
{
    if (CCamera* camera = cameraOf(info)) {
        camera->lost = false;
        publishState(*camera);
        tell(QStringLiteral("opened"), *camera);
    }
}

void CRosterWatcher::onDeviceClosed(const DeviceBaseInfoPtr& info)
{
    if (CCamera* camera = cameraOf(info)) {
        publishState(*camera);
        tell(QStringLiteral("closed"), *camera);
        // A lost camera that closes may have nothing left to keep it.
        if (camera->lost)
            refreshCameras();
    }
}

void CRosterWatcher::onDeviceConnected(const DeviceBaseInfoPtr& info)
{
    const CameraInfoPtr cameraInfo = info.objectCast<ICameraInfo>();
    if (!cameraInfo)
        return;
    CCamera* camera = cameraOf(cameraInfo);
    if (!camera)
        camera = &addCamera(cameraInfo);
    camera->lost = false;
    publishState(*camera);
    tell(QStringLiteral("connected"), *camera);
}

void CRosterWatcher::onDeviceDisconnected(const DeviceBaseInfoPtr& info)
{
    if (CCamera* camera = cameraOf(info)) {
        tell(QStringLiteral("disconnected"), *camera);
        refreshCameras();
    }
}

void CRosterWatcher::onGrabStarted(const CameraInfoPtr& info)
{
    if (CCamera* camera = cameraOf(info)) {
        camera->hasFigures = false;
        camera->figures = CCameraFigures{};
        publishState(*camera);
        tell(QStringLiteral("grabStarted"), *camera);
    }
}

void CRosterWatcher::onGrabStopped(const CameraInfoPtr& info)
{
    if (CCamera* camera = cameraOf(info)) {
        // The figures of the last images came before the stop: they close the grab.
        tellHeldFailures(*camera);
        if (camera->hasFigures)
            publishFigures(*camera);
        publishState(*camera);
        tell(QStringLiteral("grabStopped"), *camera,
             {{QStringLiteral("grabbed"), camera->figures.grabbed}, {QStringLiteral("failed"), camera->figures.failed}});
    }
}

void CRosterWatcher::onConnectionLost(const CameraInfoPtr& info)
{
    CCamera* camera = cameraOf(info);
    if (!camera)
        camera = &addCamera(info);
    camera->lost = true;
    publishState(*camera);
    tell(QStringLiteral("lost"), *camera, {{QStringLiteral("reason"), info->getLastError()}});
}

void CRosterWatcher::onDetached(const CameraInfoPtr& info)
{
    if (CCamera* camera = cameraOf(info)) {
        publishState(*camera);
        tell(QStringLiteral("exclusive"), *camera);
    }
}

void CRosterWatcher::onAttached(const CameraInfoPtr& info)
{
    if (CCamera* camera = cameraOf(info)) {
        publishState(*camera);
        tell(QStringLiteral("released"), *camera);
    }
}

void CRosterWatcher::onImageGrabbedInfo(const CameraInfoPtr& info, Plugin::OptiRoster::ImageGrabbedInfo result)
{
    // Called for every image: a good one costs one test.
    if (result.grabSucceeded())
        return;
    CCamera* camera = cameraOf(info);
    if (!camera)
        return;
    const qint64 now = nowMs();
    if (now - camera->failureWindowStart >= m_interval.interval()) {
        tellHeldFailures(*camera);
        camera->failureWindowStart = now;
        tell(QStringLiteral("imageFailed"), *camera,
             {{QStringLiteral("code"), double(result.getErrorCode())},
              {QStringLiteral("text"), result.getErrorDescription()},
              {QStringLiteral("count"), 1}});
        return;
    }
    ++camera->failuresHeld;
    camera->heldErrorCode = result.getErrorCode();
    camera->heldErrorText = result.getErrorDescription();
}

void CRosterWatcher::tellHeldFailures(CCamera& camera)
{
    if (camera.failuresHeld == 0)
        return;
    tell(QStringLiteral("imageFailed"), camera,
         {{QStringLiteral("code"), double(camera.heldErrorCode)},
          {QStringLiteral("text"), camera.heldErrorText},
          {QStringLiteral("count"), camera.failuresHeld}});
    camera.failuresHeld = 0;
    camera.failureWindowStart = nowMs();
}

void CRosterWatcher::onStatisticUpdated(const CameraInfoPtr& info, int grabbed, int failed, double fps, uint64_t bps,
                                        const Plugin::OptiRoster::CCompressionStatistic& compression)
{
    CCamera* camera = cameraOf(info);
    if (!camera)
        return;
    CCameraFigures& figures = camera->figures;
    figures.camera = camera->key;
    figures.grabbed = grabbed;
    figures.failed = failed;
    figures.rate = fps;
    figures.bandwidth = bps;
    figures.compressed = compression.hasCompressionInfo;
    figures.compressionRatio = compression.currentRatio;
    figures.minCompressionRatio = compression.minRatio;
    figures.maxCompressionRatio = compression.maxRatio;
    camera->hasFigures = true;
}

void CRosterWatcher::onInterval()
{
    for (CCamera& camera : m_cameras) {
        if (camera.failuresHeld > 0 && nowMs() - camera.failureWindowStart >= m_interval.interval())
            tellHeldFailures(camera);
        if (camera.hasFigures && m_services.status->isCameraGrabbing(camera.info))
            publishFigures(camera);
    }
}

void CRosterWatcher::publishFigures(CCamera& camera)
{
    camera.figures.camera = camera.key;
    camera.figures.skipped = m_skipped.count(camera.info.data());
    m_pBridge->publishStatistics(camera.figures);
}

void CRosterWatcher::onCommand(const QString& key, const CCommandRequest& request, const CReplyAddress& replyTo)
{
    CameraInfoPtr info;
    for (const CCamera& camera : qAsConst(m_cameras)) {
        if (camera.key == key)
            info = camera.info;
    }
    if (!info) {
        m_pBridge->answer(replyTo, CCommandAnswer::failure(request.command, QStringLiteral("unknownCamera"),
                                                           QStringLiteral("This station has no camera %1.").arg(key)));
        return;
    }
    const CCommandAnswer answer = m_executor.execute(info, request);
    // The camera may be gone by now: a command can end in a nested event loop.
    if (CCamera* camera = cameraOf(info))
        publishState(*camera);
    m_pBridge->answer(replyTo, answer);
}

} // namespace MqttBridge
