#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/iimagegrabbedobserver.h>

namespace Plugin::OptiRoster {

/// Hands each image to the registered observers, on the grab thread of its camera. Observers are
/// not owned: hold one through a CObserverRegistration, which removes it before it goes.
///
/// Both operations wait for an observer's call in progress on a grab thread. Called on a grab
/// thread from inside onImageGrabbed() of any observer, where that wait could never end, either
/// is refused: the notifier logs an error and throws Core::Exception::InvalidOperationException.
class IImageGrabbedNotifierService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// Adds an observer; it is called for every image of every camera from then on. Adding one
    /// twice keeps one entry; a null pointer does nothing.
    virtual void addObserver(IImageGrabbedObserver* observer) = 0;
    /// Removes an observer; once this returns, it is called no more. Removing one that isn't
    /// registered does nothing.
    virtual void removeObserver(IImageGrabbedObserver* observer) = 0;
};

} // namespace Plugin::OptiRoster
