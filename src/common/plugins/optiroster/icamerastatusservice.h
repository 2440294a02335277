#pragma once

#include <plugins/optiroster/compressionstatistic.h>
#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/idevicestatusservice.h>
#include <plugins/optiroster/imagegrabbedinfo.h>

#include <cstddef>
#include <cstdint>

namespace Plugin::OptiRoster {

// The cameras' side of the status: their grabs, statistics, failures, exclusive use and loss,
// and the connection and disconnection of devices that enumeration finds. Signals arrive on the
// thread the service lives on, the host's main thread.
class ICameraStatusService : public IDeviceStatusService
{
    Q_OBJECT
public:
    using IDeviceStatusService::IDeviceStatusService;

    virtual bool isExclusive(CameraInfoPtr info) = 0;
    virtual bool isCameraGrabbing(CameraInfoPtr info) = 0;
    virtual size_t getNumberOfGrabbingCameras() = 0;

signals:
    void cameraGrabStart(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraGrabStarted(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraGrabStopped(Core::OptiRosterComponents::CameraInfoPtr info);
    // Declared for clients that connect to it; it is never emitted.
    void cameraGraphStopped(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraImageGrabbedInfo(Core::OptiRosterComponents::CameraInfoPtr info, Plugin::OptiRoster::ImageGrabbedInfo imageGrabbedInfo);
    void cameraImageGrabFailed(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraStatisticUpdated(Core::OptiRosterComponents::CameraInfoPtr cameraInfo, int imagesGrabbedCount,
                                int imagesFailedCount, double fps, uint64_t bps,
                                Plugin::OptiRoster::CCompressionStatistic compressionStatistic);
    void cameraDetached(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraAttached(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraConnectionLost(Core::OptiRosterComponents::CameraInfoPtr info);
    void deviceConnected(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceDisconnected(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
};

} // namespace Plugin::OptiRoster
