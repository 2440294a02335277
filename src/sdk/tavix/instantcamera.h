#pragma once

#include <tavix/eventhandlers.h>
#include <tavix/parameters.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Tavix {

/// Whether the camera deletes what it is given when it lets it go.
enum ECleanup { Cleanup_None = 0, Cleanup_Delete = 1 };
/// Whether a handler joins those registered or replaces them.
enum ERegistrationMode { RegistrationMode_Append = 0, RegistrationMode_ReplaceAll = 1 };
/// The order in which images reach the handlers: one by one, as they come.
enum EGrabStrategy { GrabStrategy_OneByOne = 0 };
/// Who runs the grab loop: the camera, on a thread of its own.
enum EGrabLoop { GrabLoop_ProvidedByInstantCamera = 0 };
/// What a wait that times out does: return, or throw.
enum ETimeoutHandling { TimeoutHandling_Return = 0, TimeoutHandling_ThrowException = 1 };

} // namespace Tavix

namespace Vorlan_InstantCameraParams {

/// The instant camera's own parameters, each a handle on a feature of its node map.
class CInstantCameraParams_Params
{
protected:
    ///@{
    /// Creates the parameters' node map and the handles on it, and destroys them.
    CInstantCameraParams_Params();
    ~CInstantCameraParams_Params();
    ///@}

    /// Declared first: the parameters below are handles on its features.
    std::unique_ptr<GenApi::INodeMap> m_pParamsNodeMap;

public:
    /// whether the device's events are grabbed too
    Tavix::CBooleanParameter GrabCameraEvents;
    /// the grab thread's real-time priority, when overridden
    Tavix::CIntegerParameter GrabLoopThreadPriority;
    /// whether GrabLoopThreadPriority applies
    Tavix::CBooleanParameter GrabLoopThreadPriorityOverride;
    /// the grab loop's wait for an image, in ms, when used
    Tavix::CIntegerParameter GrabLoopThreadTimeout;
    /// whether GrabLoopThreadTimeout applies
    Tavix::CBooleanParameter GrabLoopThreadUseTimeout;
    /// the number of buffers a grab allocates
    Tavix::CIntegerParameter MaxNumBuffer;
    /// the number of buffers queued at the device at once
    Tavix::CIntegerParameter MaxNumQueuedBuffer;
    /// whether the camera only listens to a stream another application controls
    Tavix::CBooleanParameter MonitorModeActive;
};

} // namespace Vorlan_InstantCameraParams

namespace Tavix {

class CGrabEngine;

/// Drives one device: open, close, and a grab loop on a thread of its own that hands each
/// image to the image event handlers. Configuration handlers hear of every turn of its life.
/// Open, Close and the start and stop of grabs are to be serialised by the caller.
class CInstantCamera : public Vorlan_InstantCameraParams::CInstantCameraParams_Params
{
public:
    /// A camera without a device.
    CInstantCamera();
    /// A camera of the device; Cleanup_Delete makes it the device's owner.
    explicit CInstantCamera(ITavixDevice* device, ECleanup cleanup = Cleanup_Delete);
    virtual ~CInstantCamera();

    /// Attaches a device in place of the current one, which is destroyed if owned.
    virtual void Attach(ITavixDevice* device, ECleanup cleanup = Cleanup_Delete);
    /// Whether a device is attached.
    virtual bool IsTavixDeviceAttached() const;
    /// Whether the attached device's loss has been found.
    virtual bool IsCameraDeviceRemoved() const;
    /// Whether the camera destroys the device when it lets it go.
    virtual bool HasOwnership() const;
    /// Closes and destroys the attached device (when owned) and lets go of it.
    virtual void DestroyDevice();
    /// Lets go of the device without destroying it and returns it.
    virtual ITavixDevice* DetachDevice();
    /// Opens the device; throws when it can't.
    virtual void Open();
    /// Whether the device is open.
    virtual bool IsOpen() const;
    /// Stops a grab and closes the device.
    virtual void Close();
    ///@{
    /// Starts a grab on the camera's own thread; with maxImages, it stops by itself after as
    /// many images. Throws when the camera is not open or grabs already.
    virtual void StartGrabbing(size_t maxImages, EGrabStrategy strategy = GrabStrategy_OneByOne,
                               EGrabLoop grabLoop = GrabLoop_ProvidedByInstantCamera);
    virtual void StartGrabbing(EGrabStrategy strategy = GrabStrategy_OneByOne,
                               EGrabLoop grabLoop = GrabLoop_ProvidedByInstantCamera);
    ///@}
    /// Stops the grab and waits for the grab thread to end. From a handler on the grab thread it
    /// only asks for the stop: the grab ends, and reports its stop, once the image's handlers
    /// have returned.
    virtual void StopGrabbing();
    /// Whether the camera grabs.
    virtual bool IsGrabbing() const;
    /// Adds a configuration event handler; with Cleanup_Delete the camera destroys it.
    virtual void RegisterConfiguration(CConfigurationEventHandler* handler, ERegistrationMode mode, ECleanup cleanup);
    /// Removes a configuration event handler; false when it wasn't registered.
    virtual bool DeregisterConfiguration(CConfigurationEventHandler* handler);
    /// Adds an image event handler; with Cleanup_Delete the camera destroys it.
    virtual void RegisterImageEventHandler(CImageEventHandler* handler, ERegistrationMode mode, ECleanup cleanup);
    /// Removes an image event handler; false when it wasn't registered.
    virtual bool DeregisterImageEventHandler(CImageEventHandler* handler);
    /// The attached device's record.
    virtual const CDeviceInfo& GetDeviceInfo() const;
    /// The device's node map.
    virtual GenApi::INodeMap& GetNodeMap();
    /// The node map of the device's transport layer side.
    virtual GenApi::INodeMap& GetTLNodeMap();
    /// The stream's node map.
    virtual GenApi::INodeMap& GetStreamGrabberNodeMap();
    /// The node map of the device's events.
    virtual GenApi::INodeMap& GetEventGrabberNodeMap();
    /// The node map of the camera's own parameters.
    virtual GenApi::INodeMap& GetInstantCameraNodeMap();
    /// The attached device; handlers reach it through the camera they are called with.
    virtual ITavixDevice* GetDevice();

private:
    template <typename Handler>
    struct Registration
    {
        Handler* handler;
        ECleanup cleanup;
    };

    template <typename Call>
    void forEachConfiguration(Call&& call)
    {
        for (const auto& registration : m_configurations)
            call(registration.handler);
    }
    void throwIfGrabbing(const char* operation) const;
    template <typename Handler>
    void addHandler(std::vector<Registration<Handler>>& list, Handler* handler, ERegistrationMode mode, ECleanup cleanup);
    template <typename Handler>
    bool removeHandler(std::vector<Registration<Handler>>& list, Handler* handler);
    template <typename Handler>
    void dropHandler(const Registration<Handler>& registration);
    void releaseHandlers();
    void startGrabbing(size_t maxImages);
    void onDeviceRemoved();
    ITavixDevice* devicePointer() const;

    ITavixDevice* m_pDevice = nullptr;
    /// Guards m_pDevice for the state questions and node map lookups, which come from any
    /// thread, against the attach and detach of a device; held for no more than a question, and
    /// a device is destroyed after it is let go.
    mutable std::mutex m_devicePointerMutex;
    ECleanup m_deviceCleanup = Cleanup_None;
    int m_removalCallbackId = 0;
    std::vector<Registration<CConfigurationEventHandler>> m_configurations;
    std::vector<Registration<CImageEventHandler>> m_imageHandlers;
    std::unique_ptr<CGrabEngine> m_pGrabEngine;

    friend class CGrabEngine;
};

} // namespace Tavix
