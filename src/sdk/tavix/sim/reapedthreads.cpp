#include <tavix/sim/reapedthreads.h>

#include <algorithm>
#include <iterator>

namespace TavixSim {

void CReapedThreads::joinAll()
{
    std::vector<std::unique_ptr<CEntry>> entries;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        entries.swap(m_entries);
    }
    for (auto& entry : entries) {
        if (entry->thread.get_id() == std::this_thread::get_id())
            entry->thread.detach();
        else if (entry->thread.joinable())
            entry->thread.join();
    }
}

void CReapedThreads::joinEnded()
{
    std::vector<std::unique_ptr<CEntry>> ended;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto split = std::stable_partition(m_entries.begin(), m_entries.end(),
                                                 [](const auto& entry) { return !entry->ended.load(std::memory_order_acquire); });
        std::move(split, m_entries.end(), std::back_inserter(ended));
        m_entries.erase(split, m_entries.end());
    }
    for (auto& entry : ended)
        entry->thread.join();
}

} // namespace TavixSim
