#pragma once

#include <tavix/grabresult.h>

namespace Tavix {

class CInstantCamera;

// Base of image event handlers: every operation does nothing until overridden.
class CImageEventHandler
{
public:
    virtual void OnImagesSkipped(CInstantCamera& /*camera*/, size_t /*countOfSkippedImages*/) {}
    virtual void OnImageGrabbed(CInstantCamera& /*camera*/, const CGrabResultPtr& /*result*/) {}
    virtual void OnImageEventHandlerRegistered(CInstantCamera& /*camera*/) {}
    virtual void OnImageEventHandlerDeregistered(CInstantCamera& /*camera*/) {}
    virtual void DestroyImageEventHandler() { delete this; }
    virtual ~CImageEventHandler() = default;
};

// Base of configuration event handlers: every operation does nothing until overridden.
class CConfigurationEventHandler
{
public:
    virtual void OnAttach(CInstantCamera& /*camera*/) {}
    virtual void OnAttached(CInstantCamera& /*camera*/) {}
    virtual void OnDetach(CInstantCamera& /*camera*/) {}
    virtual void OnDetached(CInstantCamera& /*camera*/) {}
    virtual void OnDestroy(CInstantCamera& /*camera*/) {}
    virtual void OnDestroyed(CInstantCamera& /*camera*/) {}
    virtual void OnOpen(CInstantCamera& /*camera*/) {}
    virtual void OnOpened(CInstantCamera& /*camera*/) {}
    virtual void OnClose(CInstantCamera& /*camera*/) {}
    virtual void OnClosed(CInstantCamera& /*camera*/) {}
    virtual void OnGrabStart(CInstantCamera& /*camera*/) {}
    virtual void OnGrabStarted(CInstantCamera& /*camera*/) {}
    virtual void OnGrabStop(CInstantCamera& /*camera*/) {}
    virtual void OnGrabStopped(CInstantCamera& /*camera*/) {}
    virtual void OnGrabError(CInstantCamera& /*camera*/, const char* /*errorMessage*/) {}
    virtual void OnCameraDeviceRemoved(CInstantCamera& /*camera*/) {}
    virtual void OnConfigurationRegistered(CInstantCamera& /*camera*/) {}
    virtual void OnConfigurationDeregistered(CInstantCamera& /*camera*/) {}
    virtual void DestroyConfiguration() { delete this; }
    virtual ~CConfigurationEventHandler() = default;
};

} // namespace Tavix
