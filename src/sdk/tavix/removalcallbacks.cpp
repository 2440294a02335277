#include <tavix/removalcallbacks.h>

#include <vector>

namespace Tavix {

int CRemovalCallbacks::add(std::function<void()> callback)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const int id = m_nextId++;
    m_callbacks.emplace(id, std::move(callback));
    return id;
}

void CRemovalCallbacks::remove(int id)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_callbacks.erase(id);
    // A callback that removes itself or another one while it runs must not wait for itself.
    m_notified.wait(lock, [this] {
        return m_notifyingThread == std::thread::id() || m_notifyingThread == std::this_thread::get_id();
    });
}

void CRemovalCallbacks::notify()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_notified.wait(lock, [this] { return m_notifyingThread == std::thread::id(); });
    m_notifyingThread = std::this_thread::get_id();
    std::vector<int> ids;
    for (const auto& entry : m_callbacks)
        ids.push_back(entry.first);
    for (const int id : ids) {
        const auto it = m_callbacks.find(id);
        if (it == m_callbacks.end())
            continue; // removed by an earlier callback
        const std::function<void()> callback = it->second;
        lock.unlock();
        callback();
        lock.lock();
    }
    m_notifyingThread = std::thread::id();
    lock.unlock();
    m_notified.notify_all();
}

} // namespace Tavix
