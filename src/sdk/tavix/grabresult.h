#pragma once

#include <tavix/transportlayer.h>

#include <atomic>

namespace Tavix {

class CBufferPool;

// One grabbed image. The object and its buffer belong to a buffer pool and go back to it
// when the last CGrabResultPtr lets go.
class CGrabResultData
{
public:
    bool GrabSucceeded() const { return m_frame.succeeded; }
    unsigned int GetErrorCode() const { return m_frame.errorCode; }
    GenICam::gcstring GetErrorDescription() const { return m_frame.errorDescription; }
    EPayloadType GetPayloadType() const { return m_frame.payloadType; }
    size_t GetPayloadSize() const { return m_frame.payloadSize; }
    void* GetBuffer() const { return m_pBuffer; }
    size_t GetBufferSize() const { return m_bufferSize; }
    int64_t GetImageNumber() const { return m_frame.imageNumber; }
    uint64_t GetTimeStamp() const { return m_frame.timestamp; }
    uint64_t GetNumberOfSkippedImages() const { return m_frame.skippedImages; }

    // The compression information of the image, if it carries any.
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

// A reference-counted handle on a grab result. Copies may be held and dropped on any thread.
class CGrabResultPtr
{
public:
    CGrabResultPtr() = default;
    explicit CGrabResultPtr(CGrabResultData* data);
    CGrabResultPtr(const CGrabResultPtr& other);
    CGrabResultPtr(CGrabResultPtr&& other) noexcept;
    CGrabResultPtr& operator=(const CGrabResultPtr& other);
    CGrabResultPtr& operator=(CGrabResultPtr&& other) noexcept;
    ~CGrabResultPtr();

    bool IsValid() const { return m_pData != nullptr; }
    explicit operator bool() const { return IsValid(); }
    void Release();
    CGrabResultData* operator->() const { return m_pData; }

    bool operator==(const CGrabResultPtr& other) const { return m_pData == other.m_pData; }

private:
    CGrabResultData* m_pData = nullptr;
};

} // namespace Tavix
