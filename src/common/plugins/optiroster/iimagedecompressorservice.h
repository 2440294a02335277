#pragma once

#include <core/optirostercomponents/icamerainfo.h>
#include <core/service/iservice.h>
#include <plugins/optiroster/idevice.h>

#include <tavix/imagedecompressor.h>

#include <QSharedPointer>
#include <QVector>

namespace Plugin::OptiRoster {

/// Keeps a decompressor ready for each camera that grabs compressed images, set up at the
/// camera's grab start from its compression settings of that moment.
class IImageDecompressorService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// The camera's decompressor, or null when it doesn't compress. Safe on the image path: it
    /// never touches the camera.
    virtual QSharedPointer<const Tavix::CImageDecompressor> getImageDecompressor(const DeviceBaseInfoPtr& info) = 0;
    /// The camera's current compression descriptor, read from the camera. Throws
    /// Core::Exception::InvalidArgumentException for an empty info, RuntimeException for a camera
    /// the roster doesn't know or an invalid descriptor, AccessException for a camera in another
    /// client's exclusive use, and the SDK's failures translated to the host's types.
    virtual QVector<unsigned char> getCompressionDescriptor(const Core::OptiRosterComponents::CameraInfoPtr& info) = 0;
};

} // namespace Plugin::OptiRoster
