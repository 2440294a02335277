#pragma once

#include <core/optirostercomponents/icamerainfo.h>
#include <plugins/optiroster/compressionstatistic.h>
#include <plugins/optiroster/idevice.h>

#include <tavix/grabresult.h>

#include <cstdint>

Q_DECLARE_METATYPE(Tavix::CGrabResultPtr)

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::CameraInfoPtr;

/// A camera: a device that grabs images.
class ICamera : public IDevice
{
    Q_OBJECT
public:
    using IDevice::IDevice;

    /// Whether the camera is grabbing now.
    virtual bool isGrabbing() = 0;
    /// Open, and opened to listen to a stream that another application controls.
    virtual bool isMonitorMode() = 0;

public slots:
    /// Starts a continuous grab; images come to cameraImageGrabbed() on the grab thread.
    virtual void startGrabbing() = 0;
    /// Stops the grab and waits for the grab thread to end.
    virtual void stopGrabbing() = 0;
    /// Grabs one image, waiting at most timeout ms for it.
    virtual void singleShot(uint timeout = 4294967294u) = 0;

signals:
    /// Sent before the grab starts, while the camera is still idle.
    void cameraGrabStart();
    /// Sent once the camera grabs.
    void cameraGrabStarted();
    /// Sent once the grab has stopped.
    void cameraGrabStopped();
    /// Sent on the SDK's thread that finds the camera's loss. The roster then drops a camera it
    /// shares; one in exclusive use stays with its holder, who closes it.
    void cameraConnectionLost();
    /// Sent for each image on the grab thread, connected directly: what a receiver does there
    /// delays the next image. The pixels are in result, valid while a CGrabResultPtr holds them.
    void cameraImageGrabbed(const Core::OptiRosterComponents::CameraInfoPtr& info, const Tavix::CGrabResultPtr& result);
    /// Sent for each image that failed.
    void cameraImageGrabFailed();
    /// The figures of the grab so far: images grabbed and failed, images and bytes per second,
    /// and the compression figures; sent for each image and once more when the grab goes quiet.
    void cameraStatisticChanged(int imagesGrabbedCount, int imagesFailedCount, double fps, uint64_t bps,
                                Plugin::OptiRoster::CCompressionStatistic compressionStatistic);
};

} // namespace Plugin::OptiRoster
