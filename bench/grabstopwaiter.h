#pragma once

#include <tavix/eventhandlers.h>

#include <condition_variable>
#include <mutex>

// A configuration handler that lets the benchmark's thread wait until a grab of a set number of
// images has ended on the grab thread.
class CGrabStopWaiter : public Tavix::CConfigurationEventHandler
{
public:
    void OnGrabStopped(Tavix::CInstantCamera&) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
        m_done.notify_all();
    }
    void waitForStop()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_done.wait(lock, [this] { return m_stopped; });
        m_stopped = false;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_stopped = false;
};
