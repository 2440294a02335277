#pragma once

#include <tavix/grabresult.h>

namespace Tavix {

class CInstantCamera;

/// Base of image event handlers: every operation does nothing until overridden.
class CImageEventHandler
{
public:
    /// Images were dropped for want of a buffer before the next one.
    virtual void OnImagesSkipped(CInstantCamera& /*camera*/, size_t /*countOfSkippedImages*/) {}
    /// An image, on the grab thread; the handler may keep result, which holds the buffer.
    virtual void OnImageGrabbed(CInstantCamera& /*camera*/, const CGrabResultPtr& /*result*/) {}
    /// The handler has been registered with the camera.
    virtual void OnImageEventHandlerRegistered(CInstantCamera& /*camera*/) {}
    /// The handler has been removed from the camera.
    virtual void OnImageEventHandlerDeregistered(CInstantCamera& /*camera*/) {}
    /// Destroys the handler, for a camera that owns it.
    virtual void DestroyImageEventHandler() { delete this; }
    /// A handler may be destroyed through its base.
    virtual ~CImageEventHandler() = default;
};

/// Base of configuration event handlers: every operation does nothing until overridden.
class CConfigurationEventHandler
{
public:
    /// A device is about to be attached; OnAttached() follows.
    virtual void OnAttach(CInstantCamera& /*camera*/) {}
    /// A device has been attached.
    virtual void OnAttached(CInstantCamera& /*camera*/) {}
    /// The device is about to be detached.
    virtual void OnDetach(CInstantCamera& /*camera*/) {}
    /// The device has been detached.
    virtual void OnDetached(CInstantCamera& /*camera*/) {}
    /// The device is about to be destroyed.
    virtual void OnDestroy(CInstantCamera& /*camera*/) {}
    /// The device has been destroyed.
    virtual void OnDestroyed(CInstantCamera& /*camera*/) {}
    /// The device is about to open.
    virtual void OnOpen(CInstantCamera& /*camera*/) {}
    /// The device is open.
    virtual void OnOpened(CInstantCamera& /*camera*/) {}
    /// The device is about to close.
    virtual void OnClose(CInstantCamera& /*camera*/) {}
    /// The device is closed.
    virtual void OnClosed(CInstantCamera& /*camera*/) {}
    /// A grab is about to start; the camera is still idle.
    virtual void OnGrabStart(CInstantCamera& /*camera*/) {}
    /// The grab runs.
    virtual void OnGrabStarted(CInstantCamera& /*camera*/) {}
    /// The grab is about to stop.
    virtual void OnGrabStop(CInstantCamera& /*camera*/) {}
    /// The grab has stopped, on the thread that stopped it or the grab thread.
    virtual void OnGrabStopped(CInstantCamera& /*camera*/) {}
    /// The grab loop failed with the message.
    virtual void OnGrabError(CInstantCamera& /*camera*/, const char* /*errorMessage*/) {}
    /// The device's loss was found, on a thread of the SDK's own.
    virtual void OnCameraDeviceRemoved(CInstantCamera& /*camera*/) {}
    /// The handler has been registered with the camera.
    virtual void OnConfigurationRegistered(CInstantCamera& /*camera*/) {}
    /// The handler has been removed from the camera.
    virtual void OnConfigurationDeregistered(CInstantCamera& /*camera*/) {}
    /// Destroys the handler, for a camera that owns it.
    virtual void DestroyConfiguration() { delete this; }
    /// A handler may be destroyed through its base.
    virtual ~CConfigurationEventHandler() = default;
};

} // namespace Tavix
