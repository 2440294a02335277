#include <tavix/bufferpool.h>

#include <cstring>

namespace Tavix {

CBufferPool* CBufferPool::create(size_t bufferCount, size_t bufferSize)
{
    return new CBufferPool(bufferCount, bufferSize);
}

CBufferPool::CBufferPool(size_t bufferCount, size_t bufferSize)
    : m_bufferSize(bufferSize)
{
    m_buffers.reserve(bufferCount);
    m_results.reserve(bufferCount);
    m_free.reserve(bufferCount);
    for (size_t i = 0; i < bufferCount; ++i) {
        m_buffers.emplace_back(new unsigned char[bufferSize]);
        std::memset(m_buffers.back().get(), 0, bufferSize);
        m_results.emplace_back(new CGrabResultData(this, m_buffers.back().get(), bufferSize));
        m_free.push_back(m_results.back().get());
    }
}

CBufferPool::~CBufferPool() = default;

CGrabResultData* CBufferPool::acquire(const std::atomic<bool>& stop)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_freed.wait(lock, [&] { return !m_free.empty() || stop.load(std::memory_order_acquire); });
    return takeFree();
}

CGrabResultData* CBufferPool::tryAcquire()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return takeFree();
}

CGrabResultData* CBufferPool::takeFree()
{
    if (m_free.empty())
        return nullptr;
    CGrabResultData* result = m_free.back();
    m_free.pop_back();
    m_references.fetch_add(1, std::memory_order_relaxed);
    return result;
}

void CBufferPool::wake()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_freed.notify_all();
}

void CBufferPool::giveBack(CGrabResultData* result)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_free.push_back(result);
        m_freed.notify_one();
    }
    unref();
}

void CBufferPool::release()
{
    unref();
}

void CBufferPool::unref()
{
    if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

CGrabResultPtr::CGrabResultPtr(CGrabResultData* data)
    : m_pData(data)
{
    if (m_pData)
        m_pData->m_references.fetch_add(1, std::memory_order_relaxed);
}

CGrabResultPtr::CGrabResultPtr(const CGrabResultPtr& other)
    : CGrabResultPtr(other.m_pData)
{
}

CGrabResultPtr::CGrabResultPtr(CGrabResultPtr&& other) noexcept
    : m_pData(other.m_pData)
{
    other.m_pData = nullptr;
}

CGrabResultPtr& CGrabResultPtr::operator=(const CGrabResultPtr& other)
{
    if (m_pData != other.m_pData) {
        CGrabResultPtr copy(other);
        std::swap(m_pData, copy.m_pData);
    }
    return *this;
}

CGrabResultPtr& CGrabResultPtr::operator=(CGrabResultPtr&& other) noexcept
{
    if (this != &other) {
        Release();
        m_pData = other.m_pData;
        other.m_pData = nullptr;
    }
    return *this;
}

CGrabResultPtr::~CGrabResultPtr()
{
    Release();
}

void CGrabResultPtr::Release()
{
    CGrabResultData* data = m_pData;
    m_pData = nullptr;
    if (data && data->m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        data->m_pPool->giveBack(data);
}

} // namespace Tavix
