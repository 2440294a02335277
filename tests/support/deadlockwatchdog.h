#pragma once

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

// Ends the test process with a message when the scope it guards has not ended in time: a test
// whose fault is a deadlock would otherwise hang until CTest's own limit, and say nothing.
class CDeadlockWatchdog
{
public:
    CDeadlockWatchdog(const char* what, std::chrono::seconds limit)
        : m_thread([this, what, limit] {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (!m_ended.wait_for(lock, limit, [this] { return m_done; }))
                qFatal("Deadlock: %s did not end within %lld s", what, static_cast<long long>(limit.count()));
        })
    {
    }

    ~CDeadlockWatchdog()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_done = true;
        }
        m_ended.notify_one();
        m_thread.join();
    }

    CDeadlockWatchdog(const CDeadlockWatchdog&) = delete;
    CDeadlockWatchdog& operator=(const CDeadlockWatchdog&) = delete;

private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_done = false;
    std::thread m_thread; // last: it starts once the rest is made
};
