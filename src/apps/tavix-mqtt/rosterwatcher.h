#pragma once

#include "commandexecutor.h"
#include "messages.h"
#include "skippedimagecounter.h"

#include <plugins/optiroster/compressionstatistic.h>
#include <plugins/optiroster/imagegrabbedinfo.h>

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QTimer>

namespace MqttBridge {

class CStationBridge;
struct CCommandRequest;
struct CReplyAddress;

// The station's side of the bridge: it listens to the roster's status and enumeration services
// as any client does and tells the bridge each camera's state when it changes, its figures at
// each interval while it grabs, and what happened (a camera came, went or was lost, a grab
// started or stopped, an image failed, exclusive use began or ended, the firmware changed). It
// carries out the commands the bridge hands on. All of it on the thread the services' signals
// reach, the host's main thread.
class CRosterWatcher : public QObject
{
    Q_OBJECT
public:
    // Figures go out every statisticsIntervalMs; every enumerationIntervalMs (unless 0) the
    // roster is asked to look for cameras that came or went.
    CRosterWatcher(const CClientServices& services, CStationBridge* bridge, int statisticsIntervalMs, int enumerationIntervalMs,
                   QObject* parent = nullptr);
    ~CRosterWatcher() override;

    // Connects to the services and takes in the cameras there are now.
    void start();
    // Lets go of the services: no signal of theirs arrives afterwards, and the observer is out.
    void stop();

private:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    struct CCamera
    {
        CameraInfoPtr info;
        QString key;
        bool lost = false;
        QString firmware;
        CCameraFigures figures;
        bool hasFigures = false;
        // Failed images: the first of an interval is told at once, the others together at its end.
        qint64 failureWindowStart = 0;
        int failuresHeld = 0;
        unsigned long heldErrorCode = 0;
        QString heldErrorText;
    };

    void connectServices();
    void refreshCameras();
    CCamera* cameraOf(const DeviceBaseInfoPtr& info);
    CCamera* cameraOf(const CameraInfoPtr& info);
    CCamera& addCamera(const CameraInfoPtr& info);
    QString keyFor(const CameraInfoPtr& info);
    CCameraState stateOf(const CCamera& camera) const;
    void publishState(CCamera& camera);
    void publishAllStates();
    void tell(const QString& event, const CCamera& camera, const QJsonObject& details = {});

    void onDeviceOpened(const DeviceBaseInfoPtr& info);
    void onDeviceClosed(const DeviceBaseInfoPtr& info);
    void onDeviceConnected(const DeviceBaseInfoPtr& info);
    void onDeviceDisconnected(const DeviceBaseInfoPtr& info);
    void onGrabStarted(const CameraInfoPtr& info);
    void onGrabStopped(const CameraInfoPtr& info);
    void onConnectionLost(const CameraInfoPtr& info);
    void onDetached(const CameraInfoPtr& info);
    void onAttached(const CameraInfoPtr& info);
    void onImageGrabbedInfo(const CameraInfoPtr& info, Plugin::OptiRoster::ImageGrabbedInfo result);
    void onStatisticUpdated(const CameraInfoPtr& info, int grabbed, int failed, double fps, uint64_t bps,
                            const Plugin::OptiRoster::CCompressionStatistic& compression);
    void onInterval();
    void publishFigures(CCamera& camera);
    void tellHeldFailures(CCamera& camera);
    void onCommand(const QString& key, const MqttBridge::CCommandRequest& request, const MqttBridge::CReplyAddress& replyTo);

    CClientServices m_services;
    CStationBridge* m_pBridge;
    CCommandExecutor m_executor;
    CSkippedImageCounter m_skipped;
    QTimer m_interval;
    QTimer m_enumerationPace;
    // By description: one object stands for one camera for the life of the process.
    QHash<const Core::OptiRosterComponents::ICameraInfo*, CCamera> m_cameras;
    QHash<const Core::OptiRosterComponents::ICameraInfo*, QString> m_keys;
    bool m_observing = false;
};

} // namespace MqttBridge
