#pragma once

#include <core/optirostercomponents/icamerainfo.h>
#include <plugins/optiroster/compressionstatistic.h>
#include <plugins/optiroster/idevice.h>

#include <tavix/grabresult.h>

#include <cstdint>

Q_DECLARE_METATYPE(Tavix::CGrabResultPtr)

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::CameraInfoPtr;

// A camera: a device that grabs images.
class ICamera : public IDevice
{
    Q_OBJECT
public:
    using IDevice::IDevice;

    virtual bool isGrabbing() = 0;
    // Open, and opened to listen to a stream that another application controls.
    virtual bool isMonitorMode() = 0;

public slots:
    virtual void startGrabbing() = 0;
    virtual void stopGrabbing() = 0;
    virtual void singleShot(uint timeout = 4294967294u) = 0;

signals:
    void cameraGrabStart();
    void cameraGrabStarted();
    void cameraGrabStopped();
    void cameraConnectionLost();
    void cameraImageGrabbed(const Core::OptiRosterComponents::CameraInfoPtr& info, const Tavix::CGrabResultPtr& result);
    void cameraImageGrabFailed();
    void cameraStatisticChanged(int imagesGrabbedCount, int imagesFailedCount, double fps, uint64_t bps,
                                Plugin::OptiRoster::CCompressionStatistic compressionStatistic);
};

} // namespace Plugin::OptiRoster
