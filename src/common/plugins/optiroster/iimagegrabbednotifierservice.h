#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/iimagegrabbedobserver.h>

namespace Plugin::OptiRoster {

/// Hands each image to the registered observers. Observers are not owned: remove one before it
/// goes.
class IImageGrabbedNotifierService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// Adds an observer; it is called for every image of every camera from then on.
    virtual void addObserver(IImageGrabbedObserver* observer) = 0;
    /// Removes an observer; once this returns, it is called no more.
    virtual void removeObserver(IImageGrabbedObserver* observer) = 0;
};

} // namespace Plugin::OptiRoster
