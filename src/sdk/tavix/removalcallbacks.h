#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace Tavix {

// The callbacks a device calls when it finds itself lost. They run without the list's lock, so
// that a callback may deregister itself or another one, as closing a camera does; a deregistration
// on another thread waits until the callbacks that run have returned, and a deregistered callback
// is not called afterwards.
class CRemovalCallbacks
{
public:
    int add(std::function<void()> callback);
    void remove(int id);
    // Calls each callback registered, in order of registration, on the calling thread.
    void notify();

private:
    std::mutex m_mutex;
    std::condition_variable m_notified;
    std::map<int, std::function<void()>> m_callbacks;
    int m_nextId = 1;
    std::thread::id m_notifyingThread;
};

} // namespace Tavix
