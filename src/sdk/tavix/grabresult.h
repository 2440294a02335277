#pragma once

#include <tavix/transportlayer.h>

#include <atomic>

namespace Tavix {

class CBufferPool;

/// One grabbed image. The object and its buffer belong to a buffer pool and go back to it
/// when the last CGrabResultPtr lets go.
class CGrabResultData
{
public:
    /// Whether the image arrived whole.
    bool GrabSucceeded() const { return m_frame.succeeded; }
    /// The grabber's code of a failed image; 0 otherwise.
    unsigned int GetErrorCode() const { return m_frame.errorCode; }
    /// The grabber's description of a failure.
    GenICam::gcstring GetErrorDescription() const { return m_frame.errorDescription; }
    /// What the buffer holds.
    EPayloadType GetPayloadType() const { return m_frame.payloadType; }
    /// The bytes of the image in the buffer.
    size_t GetPayloadSize() const { return m_frame.payloadSize; }
    /// The buffer; valid while a CGrabResultPtr holds the result.
    void* GetBuffer() const { return m_pBuffer; }
    /// The size of the buffer.
    size_t GetBufferSize() const { return m_bufferSize; }
    /// The number of the image in the grab, from 1.
    int64_t GetImageNumber() const { return m_frame.imageNumber; }
    /// The device's time stamp of the image.
    uint64_t GetTimeStamp() const { return m_frame.timestamp; }
    /// How many images were lost before this one for want of a buffer.
    uint64_t GetNumberOfSkippedImages() const { return m_frame.skippedImages; }

    ///@{
    /// The shape of the image, as the stream sent it with the image: the camera's settings may
    /// have changed since. Of a compressed image, the shape it has once decompressed. All 0 for a
    /// result without an image.
    uint32_t GetWidth() const { return m_frame.shape.width; }
    uint32_t GetHeight() const { return m_frame.shape.height; }
    uint32_t GetOffsetX() const { return m_frame.shape.offsetX; }
    uint32_t GetOffsetY() const { return m_frame.shape.offsetY; }
    /// The bytes after each row's pixels.
    uint32_t GetPaddingX() const { return m_frame.shape.paddingX; }
    EPixelType GetPixelType() const { return m_frame.shape.pixelType; }
    /// All of the above in one record.
    const ImageShape& GetImageShape() const { return m_frame.shape; }
    ///@}

    /// The compression information of the image, if it carries any.
    const CompressionInfo_t* GetCompressionInfo() const
    {
        return m_frame.hasCompressionInfo ? &m_frame.compressionInfo : nullptr;
    }

private:
    friend class CBufferPool;
    friend class CGrabResultPtr;
    friend class CGrabEngine;

    CGrabResultData(CBufferPool* pool, void* buffer, size_t bufferSize)
        : m_pPool(pool), m_pBuffer(buffer), m_bufferSize(bufferSize)
    {
    }

    CBufferPool* m_pPool;
    void* m_pBuffer;
    size_t m_bufferSize;
    std::atomic<int> m_references{0};
    FrameResult m_frame;
};

/// A reference-counted handle on a grab result. Copies may be held and dropped on any thread.
class CGrabResultPtr
{
public:
    /// An empty handle.
    CGrabResultPtr() = default;
    /// A handle that holds the result; used by the grab engine.
    explicit CGrabResultPtr(CGrabResultData* data);
    ///@{
    /// Copies share the result; the last one to let go gives it back to its pool.
    CGrabResultPtr(const CGrabResultPtr& other);
    CGrabResultPtr(CGrabResultPtr&& other) noexcept;
    CGrabResultPtr& operator=(const CGrabResultPtr& other);
    CGrabResultPtr& operator=(CGrabResultPtr&& other) noexcept;
    ~CGrabResultPtr();
    ///@}

    /// Whether the handle holds a result.
    bool IsValid() const { return m_pData != nullptr; }
    /// Whether the handle holds a result.
    explicit operator bool() const { return IsValid(); }
    /// Lets go of the result; the handle is empty afterwards.
    void Release();
    /// The result.
    CGrabResultData* operator->() const { return m_pData; }

    /// Whether both hold the same result.
    bool operator==(const CGrabResultPtr& other) const { return m_pData == other.m_pData; }

private:
    CGrabResultData* m_pData = nullptr;
};

} // namespace Tavix
