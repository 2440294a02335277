#pragma once

#include <plugins/optiroster/compressionstatistic.h>
#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/idevicestatusservice.h>
#include <plugins/optiroster/imagegrabbedinfo.h>

#include <cstddef>
#include <cstdint>

namespace Plugin::OptiRoster {

/// The cameras' side of the status: their grabs, statistics, failures, exclusive use and loss,
/// and the connection and disconnection of devices that enumeration finds. Signals arrive on the
/// thread the service lives on, the host's main thread.
class ICameraStatusService : public IDeviceStatusService
{
    Q_OBJECT
public:
    using IDeviceStatusService::IDeviceStatusService;

    /// Whether the camera is in exclusive use by a client.
    virtual bool isExclusive(CameraInfoPtr info) = 0;
    /// Whether the camera grabs now.
    virtual bool isCameraGrabbing(CameraInfoPtr info) = 0;
    /// How many cameras grab now.
    virtual size_t getNumberOfGrabbingCameras() = 0;

signals:
    /// A camera is about to start grabbing, still idle.
    void cameraGrabStart(Core::OptiRosterComponents::CameraInfoPtr info);
    /// A camera grabs.
    void cameraGrabStarted(Core::OptiRosterComponents::CameraInfoPtr info);
    /// A camera's grab has stopped.
    void cameraGrabStopped(Core::OptiRosterComponents::CameraInfoPtr info);
    /// Declared for clients that connect to it; it is never emitted.
    void cameraGraphStopped(Core::OptiRosterComponents::CameraInfoPtr info);
    /// How one image of a camera ended, without its pixels; observers of the notifier get those.
    void cameraImageGrabbedInfo(Core::OptiRosterComponents::CameraInfoPtr info, Plugin::OptiRoster::ImageGrabbedInfo imageGrabbedInfo);
    /// One image of a camera failed.
    void cameraImageGrabFailed(Core::OptiRosterComponents::CameraInfoPtr info);
    /// A camera's figures: images grabbed and failed, images and bytes per second, and the
    /// compression figures; queued from the grab thread for each image.
    void cameraStatisticUpdated(Core::OptiRosterComponents::CameraInfoPtr cameraInfo, int imagesGrabbedCount,
                                int imagesFailedCount, double fps, uint64_t bps,
                                Plugin::OptiRoster::CCompressionStatistic compressionStatistic);
    /// A camera went into exclusive use; it has left the shared view.
    void cameraDetached(Core::OptiRosterComponents::CameraInfoPtr info);
    /// A camera came back from exclusive use.
    void cameraAttached(Core::OptiRosterComponents::CameraInfoPtr info);
    /// A camera's loss was found while it was open.
    void cameraConnectionLost(Core::OptiRosterComponents::CameraInfoPtr info);
    /// Enumeration found a new device.
    void deviceConnected(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    /// Enumeration no longer finds a device.
    void deviceDisconnected(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
};

} // namespace Plugin::OptiRoster
