#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>

namespace Tavix {
class CDeviceInfo;
}

namespace Core::OptiRosterComponents {

/// The description of a camera: one object for each camera for the life of the process, so that
/// two descriptions name the same camera exactly when the pointers are equal.
class ICameraInfo : public IDeviceBaseInfo
{
    Q_OBJECT
public:
    using IDeviceBaseInfo::IDeviceBaseInfo;

    /// The SDK's device factory that created the camera.
    virtual QString getDeviceFactory() const = 0;
    /// The camera's device version.
    virtual QString getDeviceVersion() const = 0;
    /// The model name.
    virtual QString getModelName() const = 0;
    /// The serial number.
    virtual QString getSerialNumber() const = 0;
    /// The name a user gave the camera; may be empty.
    virtual QString getUserDefinedName() const = 0;
    /// The SDK's record of the camera, as the last enumeration found it.
    virtual const Tavix::CDeviceInfo& getDeviceInfo() const = 0;
};

using CameraInfoPtr = QSharedPointer<ICameraInfo>;

} // namespace Core::OptiRosterComponents
