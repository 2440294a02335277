#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace TavixSim {

// Threads that run to their end on their own. Starting one first joins those that have ended,
// so that a process that runs for days doesn't keep the stack of every thread it ever started.
class CReapedThreads
{
public:
    CReapedThreads() = default;
    CReapedThreads(const CReapedThreads&) = delete;
    CReapedThreads& operator=(const CReapedThreads&) = delete;
    ~CReapedThreads() { joinAll(); }

    template <typename Function>
    void start(Function function)
    {
        joinEnded();
        auto entry = std::make_unique<CEntry>();
        CEntry* pEntry = entry.get();
        pEntry->thread = std::thread([pEntry, function = std::move(function)]() mutable {
            function();
            pEntry->ended.store(true, std::memory_order_release);
        });
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.push_back(std::move(entry));
    }

    // Waits for every thread but the calling one, which is let go to end on its own.
    void joinAll();

private:
    struct CEntry
    {
        std::thread thread;
        std::atomic<bool> ended{false};
    };

    // An ended thread has left its function: joining it waits for no lock.
    void joinEnded();

    std::mutex m_mutex;
    std::vector<std::unique_ptr<CEntry>> m_entries;
};

} // namespace TavixSim
