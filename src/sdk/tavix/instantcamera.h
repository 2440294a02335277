#pragma once

#include <tavix/eventhandlers.h>
#include <tavix/parameters.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Tavix {

enum ECleanup { Cleanup_None = 0, Cleanup_Delete = 1 };
enum ERegistrationMode { RegistrationMode_Append = 0, RegistrationMode_ReplaceAll = 1 };
enum EGrabStrategy { GrabStrategy_OneByOne = 0 };
enum EGrabLoop { GrabLoop_ProvidedByInstantCamera = 0 };
enum ETimeoutHandling { TimeoutHandling_Return = 0, TimeoutHandling_ThrowException = 1 };

} // namespace Tavix

namespace Vorlan_InstantCameraParams {

// The instant camera's own parameters, each a handle on a feature of its node map.
class CInstantCameraParams_Params
{
protected:
    CInstantCameraParams_Params();
    ~CInstantCameraParams_Params();

    // Declared first: the parameters below are handles on its features.
    std::unique_ptr<GenApi::INodeMap> m_pParamsNodeMap;

public:
    Tavix::CBooleanParameter GrabCameraEvents;
    Tavix::CIntegerParameter GrabLoopThreadPriority;
    Tavix::CBooleanParameter GrabLoopThreadPriorityOverride;
    Tavix::CIntegerParameter GrabLoopThreadTimeout;
    Tavix::CBooleanParameter GrabLoopThreadUseTimeout;
    Tavix::CIntegerParameter MaxNumBuffer;
    Tavix::CIntegerParameter MaxNumQueuedBuffer;
    Tavix::CBooleanParameter MonitorModeActive;
};

} // namespace Vorlan_InstantCameraParams

namespace Tavix {

class CGrabEngine;

// Drives one device: open, close, and a grab loop on a thread of its own that hands each
// image to the image event handlers. Configuration handlers hear of every turn of its life.
// Open, Close and the start and stop of grabs are to be serialised by the caller.
class CInstantCamera : public Vorlan_InstantCameraParams::CInstantCameraParams_Params
{
public:
    CInstantCamera();
    explicit CInstantCamera(ITavixDevice* device, ECleanup cleanup = Cleanup_Delete);
    virtual ~CInstantCamera();

    virtual void Attach(ITavixDevice* device, ECleanup cleanup = Cleanup_Delete);
    virtual bool IsTavixDeviceAttached() const;
    virtual bool IsCameraDeviceRemoved() const;
    virtual bool HasOwnership() const;
    virtual void DestroyDevice();
    virtual ITavixDevice* DetachDevice();
    virtual void Open();
    virtual bool IsOpen() const;
    virtual void Close();
    virtual void StartGrabbing(size_t maxImages, EGrabStrategy strategy = GrabStrategy_OneByOne,
                               EGrabLoop grabLoop = GrabLoop_ProvidedByInstantCamera);
    virtual void StartGrabbing(EGrabStrategy strategy = GrabStrategy_OneByOne,
                               EGrabLoop grabLoop = GrabLoop_ProvidedByInstantCamera);
    virtual void StopGrabbing();
    virtual bool IsGrabbing() const;
    virtual void RegisterConfiguration(CConfigurationEventHandler* handler, ERegistrationMode mode, ECleanup cleanup);
    virtual bool DeregisterConfiguration(CConfigurationEventHandler* handler);
    virtual void RegisterImageEventHandler(CImageEventHandler* handler, ERegistrationMode mode, ECleanup cleanup);
    virtual bool DeregisterImageEventHandler(CImageEventHandler* handler);
    virtual const CDeviceInfo& GetDeviceInfo() const;
    virtual GenApi::INodeMap& GetNodeMap();
    virtual GenApi::INodeMap& GetTLNodeMap();
    virtual GenApi::INodeMap& GetStreamGrabberNodeMap();
    virtual GenApi::INodeMap& GetEventGrabberNodeMap();
    virtual GenApi::INodeMap& GetInstantCameraNodeMap();
    // The attached device; handlers reach it through the camera they are called with.
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
    // Guards m_pDevice for the state questions and node map lookups, which come from any
    // thread, against the attach and detach of a device; held for no more than a question, and
    // a device is destroyed after it is let go.
    mutable std::mutex m_devicePointerMutex;
    ECleanup m_deviceCleanup = Cleanup_None;
    int m_removalCallbackId = 0;
    std::vector<Registration<CConfigurationEventHandler>> m_configurations;
    std::vector<Registration<CImageEventHandler>> m_imageHandlers;
    std::unique_ptr<CGrabEngine> m_pGrabEngine;

    friend class CGrabEngine;
};

} // namespace Tavix
