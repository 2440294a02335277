#pragma once

#include <tavix/grabresult.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace Tavix {

// The buffers of one grab, each with its result object. Results go back to the pool on
// whatever thread drops their last handle; the pool lives until its owner has let go and
// every result has come back.
class CBufferPool
{
public:
    static CBufferPool* create(size_t bufferCount, size_t bufferSize);

    // Blocks until a buffer is free or the pool is woken; null when woken without a buffer.
    CGrabResultData* acquire(const std::atomic<bool>& stop);
    // A free buffer, or null at once when none is free.
    CGrabResultData* tryAcquire();
    void wake();
    // The owner lets go; the pool deletes itself once every result is back.
    void release();

    size_t bufferCount() const { return m_results.size(); }
    size_t bufferSize() const { return m_bufferSize; }

private:
    friend class CGrabResultPtr;

    CBufferPool(size_t bufferCount, size_t bufferSize);
    ~CBufferPool();
    void giveBack(CGrabResultData* result);
    // Under m_mutex.
    CGrabResultData* takeFree();
    void unref();

    const size_t m_bufferSize;
    std::vector<std::unique_ptr<unsigned char[]>> m_buffers;
    std::vector<std::unique_ptr<CGrabResultData>> m_results;
    std::mutex m_mutex;
    std::condition_variable m_freed;
    std::vector<CGrabResultData*> m_free;
    std::atomic<int> m_references{1};
};

} // namespace Tavix
