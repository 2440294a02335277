#pragma once

#include <tavix/compression.h>
#include <tavix/deviceinfo.h>
#include <tavix/genapi.h>

#include <atomic>
#include <cstdint>
#include <functional>

namespace Tavix {

enum EPayloadType {
    PayloadType_Undefined = -1,
    PayloadType_Image = 0,
    PayloadType_RawData = 1,
    PayloadType_File = 2,
    PayloadType_ChunkData = 3,
};

// Feeds chunk data of a buffer into the camera's node map.
class IChunkParser
{
public:
    virtual ~IChunkParser() = default;
    virtual void AttachBuffer(const void* buffer, size_t bufferSize, void* attachStatistics = nullptr) = 0;
    virtual void DetachBuffer() = 0;
};

// One frame as a stream grabber delivers it into a buffer.
struct FrameResult
{
    // Idle: no frame within the grabber's short wait; the loop goes round and asks again.
    enum EStatus { Frame, Error, Stopped, Idle };

    EStatus status = Stopped;
    bool succeeded = true;
    uint32_t errorCode = 0;
    GenICam::gcstring errorDescription; // also the message of an Error without a frame
    EPayloadType payloadType = PayloadType_Image;
    size_t payloadSize = 0;
    int64_t imageNumber = 0;
    uint64_t timestamp = 0;
    uint64_t skippedImages = 0; // frames lost before this one for want of a buffer
    bool hasCompressionInfo = false;
    CompressionInfo_t compressionInfo;
    void* filledBuffer = nullptr; // the queued buffer that holds the frame, for a queueing grabber
};

class IStreamGrabber
{
public:
    virtual ~IStreamGrabber() = default;
    virtual GenApi::INodeMap& GetNodeMap() = 0;
    // Prepares a grab of at most maxImages images (0: no limit) into buffers of bufferSize.
    virtual void PrepareGrab(size_t bufferSize, size_t maxImages) = 0;
    // Blocks until the next frame is due and writes it into the buffer, or returns Stopped
    // once stop is set. An Error carries a message and no frame.
    virtual FrameResult AcquireFrame(void* buffer, size_t bufferSize, const std::atomic<bool>& stop) = 0;
    // Wakes a blocked AcquireFrame after stop has been set.
    virtual void CancelWait() = 0;

    // A driver that fills buffers of its own choosing from a queue takes each free buffer ahead
    // with QueueBuffer; its AcquireFrame then ignores its buffer argument and names the filled
    // one in FrameResult::filledBuffer, so that no image is copied.
    virtual bool QueuesBuffers() const { return false; }
    virtual void QueueBuffer(void* /*buffer*/, size_t /*bufferSize*/) {}
    // The grab has ended: the driver stops and gives up every queued buffer before it returns.
    virtual void FinishGrab() {}
};

class ITavixDevice
{
public:
    virtual ~ITavixDevice() = default;
    virtual const CDeviceInfo& GetDeviceInfo() const = 0;
    virtual void Open() = 0;
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;
    virtual bool IsRemoved() const = 0;
    virtual GenApi::INodeMap& GetNodeMap() = 0;
    virtual GenApi::INodeMap& GetTLNodeMap() = 0;
    virtual GenApi::INodeMap& GetEventGrabberNodeMap() = 0;
    virtual IStreamGrabber& GetStreamGrabber() = 0;
    virtual IChunkParser* CreateChunkParser() = 0;
    virtual void DestroyChunkParser(IChunkParser* parser) = 0;
    // The callback runs on a thread of the SDK's own once the device is lost. Deregistering
    // waits for a callback that is running.
    virtual int RegisterRemovalCallback(std::function<void()> callback) = 0;
    virtual void DeregisterRemovalCallback(int id) = 0;
};

class IInterface
{
public:
    virtual ~IInterface() = default;
    virtual const CInterfaceInfo& GetInterfaceInfo() const = 0;
    virtual void Open() = 0;
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;
    virtual GenApi::INodeMap* GetNodeMap() = 0;
};

class ITransportLayer
{
public:
    virtual ~ITransportLayer() = default;
    virtual const CTlInfo& GetTlInfo() const = 0;
    virtual int EnumerateInterfaces(InterfaceInfoList& list, bool addToList = false) = 0;
    virtual int EnumerateDevices(DeviceInfoList& list, bool addToList = false) = 0;
    virtual IInterface* CreateInterface(const CInterfaceInfo& info) = 0;
    virtual void DestroyInterface(IInterface* pInterface) = 0;
    virtual CDeviceInfo CreateDeviceInfo() = 0;
    virtual ITavixDevice* CreateDevice(const CDeviceInfo& info) = 0;
    virtual void DestroyDevice(ITavixDevice* device) = 0;
};

// One device's answer to an action command.
struct ActionCommandResult
{
    char DeviceAddress[16]; // the device's address as text, zero-terminated
    int32_t Status;         // 0: success; otherwise one of EActionCommandStatus or the device's own code
};

enum EActionCommandStatus : int32_t {
    ActionCommandStatus_Success = 0,
    // The device key matched, but neither the group key nor the group mask did.
    ActionCommandStatus_AccessDenied = int32_t(0x8006),
    // A scheduled command reached a device whose clock is not synchronised.
    ActionCommandStatus_NoReferenceTime = int32_t(0x8013),
};

// A GigE Vision layer, reached from ITransportLayer by dynamic_cast.
class IGigETransportLayer : public virtual ITransportLayer
{
public:
    // Lists the devices in all subnets, also those the host can't reach with its configuration.
    virtual int EnumerateAllDevices(DeviceInfoList& list, bool addToList = false) = 0;
    // Makes a device known by its address; true when a device answered there.
    virtual bool AnnounceRemoteDevice(const GenICam::gcstring& ipAddress, CDeviceInfo* pInfo = nullptr) = 0;
    // Sends an action command to the devices of the subnet that broadcastAddress names and
    // collects their answers for up to timeoutMs: *pNumResults says on entry how many records
    // results has room for and on return how many answers came. With a null pNumResults or a
    // time-out of 0 no answers are collected. Throws InvalidArgumentException for an address
    // that is no IPv4 address.
    virtual bool IssueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                    const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs,
                                    uint32_t* pNumResults, ActionCommandResult* results) = 0;
    // The same for a command that the devices carry out at actionTimeNs of their synchronised
    // clocks.
    virtual bool IssueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, uint64_t actionTimeNs,
                                             const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs,
                                             uint32_t* pNumResults, ActionCommandResult* results) = 0;
};

} // namespace Tavix
