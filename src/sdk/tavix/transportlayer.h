#pragma once

#include <tavix/compression.h>
#include <tavix/deviceinfo.h>
#include <tavix/genapi.h>
#include <tavix/pixeltype.h>

#include <atomic>
#include <cstdint>
#include <functional>

namespace Tavix {

/// What a buffer holds.
enum EPayloadType {
    /// not known
    PayloadType_Undefined = -1,
    /// an image
    PayloadType_Image = 0,
    /// data without a layout
    PayloadType_RawData = 1,
    /// a file
    PayloadType_File = 2,
    /// chunk data only
    PayloadType_ChunkData = 3,
};

/// Feeds chunk data of a buffer into the camera's node map.
class IChunkParser
{
public:
    virtual ~IChunkParser() = default;
    /// Makes the chunks of the buffer readable through the node map.
    virtual void AttachBuffer(const void* buffer, size_t bufferSize, void* attachStatistics = nullptr) = 0;
    /// Lets go of the attached buffer.
    virtual void DetachBuffer() = 0;
};

/// One frame as a stream grabber delivers it into a buffer.
struct FrameResult
{
    /// Idle: no frame within the grabber's short wait; the loop goes round and asks again.
    /// Frame: a frame is in the buffer; Error: the grabber failed; Stopped: the grab ends.
    enum EStatus { Frame, Error, Stopped, Idle };

    /// how the wait ended
    EStatus status = Stopped;
    /// whether the frame arrived whole
    bool succeeded = true;
    /// the grabber's code of a failed frame
    uint32_t errorCode = 0;
    GenICam::gcstring errorDescription; ///< also the message of an Error without a frame
    /// what the buffer holds
    EPayloadType payloadType = PayloadType_Image;
    /// the bytes of the frame
    size_t payloadSize = 0;
    /// the number of the frame in the grab, from 1
    int64_t imageNumber = 0;
    /// the device's time stamp of the frame
    uint64_t timestamp = 0;
    uint64_t skippedImages = 0; ///< frames lost before this one for want of a buffer
    /// whether compressionInfo holds the frame's compression
    bool hasCompressionInfo = false;
    /// the frame's compression, for a compressing device
    CompressionInfo_t compressionInfo;
    /// the image's shape as the stream reports it with the frame; that of the decompressed image
    /// for a compressed frame
    ImageShape shape;
    void* filledBuffer = nullptr; ///< the queued buffer that holds the frame, for a queueing grabber
};

/// The stream of a device: the images it delivers into buffers.
class IStreamGrabber
{
public:
    virtual ~IStreamGrabber() = default;
    /// The stream's node map ("@StreamGrabber0").
    virtual GenApi::INodeMap& GetNodeMap() = 0;
    /// Prepares a grab of at most maxImages images (0: no limit) into buffers of bufferSize.
    virtual void PrepareGrab(size_t bufferSize, size_t maxImages) = 0;
    /// Blocks until the next frame is due and writes it into the buffer, or returns Stopped
    /// once stop is set. An Error carries a message and no frame.
    virtual FrameResult AcquireFrame(void* buffer, size_t bufferSize, const std::atomic<bool>& stop) = 0;
    /// Wakes a blocked AcquireFrame after stop has been set.
    virtual void CancelWait() = 0;

    /// A driver that fills buffers of its own choosing from a queue takes each free buffer ahead
    /// with QueueBuffer; its AcquireFrame then ignores its buffer argument and names the filled
    /// one in FrameResult::filledBuffer, so that no image is copied.
    virtual bool QueuesBuffers() const { return false; }
    /// Hands a free buffer to a queueing driver; see QueuesBuffers().
    virtual void QueueBuffer(void* /*buffer*/, size_t /*bufferSize*/) {}
    /// The grab has ended: the driver stops and gives up every queued buffer before it returns.
    virtual void FinishGrab() {}
};

/// A device of a transport layer: a camera, with its node maps and its stream.
class ITavixDevice
{
public:
    virtual ~ITavixDevice() = default;
    /// The device's record.
    virtual const CDeviceInfo& GetDeviceInfo() const = 0;
    /// Opens the device; throws when it can't.
    virtual void Open() = 0;
    /// Closes the device.
    virtual void Close() = 0;
    /// Whether the device is open.
    virtual bool IsOpen() const = 0;
    /// Whether the device's loss has been found.
    virtual bool IsRemoved() const = 0;
    /// The device's own node map ("@CameraDevice").
    virtual GenApi::INodeMap& GetNodeMap() = 0;
    /// The node map of the device's transport layer side ("@DeviceTransportLayer").
    virtual GenApi::INodeMap& GetTLNodeMap() = 0;
    /// The node map of the device's events ("@EventGrabber").
    virtual GenApi::INodeMap& GetEventGrabberNodeMap() = 0;
    /// The device's stream.
    virtual IStreamGrabber& GetStreamGrabber() = 0;
    /// A chunk parser for the device's buffers; give it back with DestroyChunkParser().
    virtual IChunkParser* CreateChunkParser() = 0;
    /// Destroys a parser of CreateChunkParser().
    virtual void DestroyChunkParser(IChunkParser* parser) = 0;
    /// The callback runs on a thread of the SDK's own once the device is lost. Deregistering
    /// waits for a callback that is running.
    virtual int RegisterRemovalCallback(std::function<void()> callback) = 0;
    /// Removes the callback of that id.
    virtual void DeregisterRemovalCallback(int id) = 0;
};

/// An interface of a transport layer, such as a network port.
class IInterface
{
public:
    virtual ~IInterface() = default;
    /// The interface's record.
    virtual const CInterfaceInfo& GetInterfaceInfo() const = 0;
    /// Opens the interface; throws when it can't.
    virtual void Open() = 0;
    /// Closes the interface.
    virtual void Close() = 0;
    /// Whether the interface is open.
    virtual bool IsOpen() const = 0;
    /// The interface's node map ("@Interface"); null while it is closed.
    virtual GenApi::INodeMap* GetNodeMap() = 0;
};

/// A transport layer: the interfaces and devices it reaches.
class ITransportLayer
{
public:
    virtual ~ITransportLayer() = default;
    /// The layer's record.
    virtual const CTlInfo& GetTlInfo() const = 0;
    /// Lists the layer's interfaces into list (after what it holds when addToList); returns
    /// how many it found.
    virtual int EnumerateInterfaces(InterfaceInfoList& list, bool addToList = false) = 0;
    /// Lists the devices the layer reaches, in the same way.
    virtual int EnumerateDevices(DeviceInfoList& list, bool addToList = false) = 0;
    /// The interface of a record; give it back with DestroyInterface().
    virtual IInterface* CreateInterface(const CInterfaceInfo& info) = 0;
    /// Destroys an interface of CreateInterface().
    virtual void DestroyInterface(IInterface* pInterface) = 0;
    /// An empty record of the layer's device class.
    virtual CDeviceInfo CreateDeviceInfo() = 0;
    /// The device of a record; throws when none fits. Give it back with DestroyDevice().
    virtual ITavixDevice* CreateDevice(const CDeviceInfo& info) = 0;
    /// Destroys a device of CreateDevice().
    virtual void DestroyDevice(ITavixDevice* device) = 0;
};

/// One device's answer to an action command.
struct ActionCommandResult
{
    char DeviceAddress[16]; ///< the device's address as text, zero-terminated
    int32_t Status;         ///< 0: success; otherwise one of EActionCommandStatus or the device's own code
};

/// The status codes of an action command's answer.
enum EActionCommandStatus : int32_t {
    /// the device carried it out
    ActionCommandStatus_Success = 0,
    /// The device key matched, but neither the group key nor the group mask did.
    ActionCommandStatus_AccessDenied = int32_t(0x8006),
    /// A scheduled command reached a device whose clock is not synchronised.
    ActionCommandStatus_NoReferenceTime = int32_t(0x8013),
};

/// A GigE Vision layer, reached from ITransportLayer by dynamic_cast.
class IGigETransportLayer : public virtual ITransportLayer
{
public:
    /// Lists the devices in all subnets, also those the host can't reach with its configuration.
    virtual int EnumerateAllDevices(DeviceInfoList& list, bool addToList = false) = 0;
    /// Makes a device known by its address; true when a device answered there.
    virtual bool AnnounceRemoteDevice(const GenICam::gcstring& ipAddress, CDeviceInfo* pInfo = nullptr) = 0;
    /// Sends an action command to the devices of the subnet that broadcastAddress names and
    /// collects their answers for up to timeoutMs: *pNumResults says on entry how many records
    /// results has room for and on return how many answers came. With a null pNumResults or a
    /// time-out of 0 no answers are collected. Throws InvalidArgumentException for an address
    /// that is no IPv4 address.
    virtual bool IssueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                    const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs,
                                    uint32_t* pNumResults, ActionCommandResult* results) = 0;
    /// The same for a command that the devices carry out at actionTimeNs of their synchronised
    /// clocks.
    virtual bool IssueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, uint64_t actionTimeNs,
                                             const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs,
                                             uint32_t* pNumResults, ActionCommandResult* results) = 0;
};

} // namespace Tavix
