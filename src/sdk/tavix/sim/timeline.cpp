#include <tavix/sim/timeline.h>

#include <algorithm>
#include <chrono>

namespace TavixSim {

CTimeline::CTimeline(Apply apply, Scale scale)
    : m_apply(std::move(apply))
    , m_scale(std::move(scale))
{
}

CTimeline::~CTimeline()
{
    stop();
}

void CTimeline::stop()
{
    cancel();
    std::vector<std::unique_ptr<Run>> runs;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        runs.swap(m_runs);
    }
    for (auto& run : runs) {
        if (run->thread.joinable())
            run->thread.join();
    }
}

void CTimeline::start(std::vector<TimelineEvent> events)
{
    if (events.empty())
        return;
    std::stable_sort(events.begin(), events.end(),
                     [](const TimelineEvent& a, const TimelineEvent& b) { return a.atMs < b.atMs; });
    joinFinishedRuns();
    std::lock_guard<std::mutex> lock(m_mutex);
    auto run = std::make_unique<Run>();
    Run* pRun = run.get();
    run->thread = std::thread(&CTimeline::play, this, std::move(events), m_generation.load(), pRun);
    m_runs.push_back(std::move(run));
}

void CTimeline::cancel()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_generation;
    m_cancelled.notify_all();
}

void CTimeline::play(std::vector<TimelineEvent> events, int generation, Run* run)
{
    const auto start = std::chrono::steady_clock::now();
    for (const auto& event : events) {
        if (!waitFor(event, start, generation))
            break;
        // The world takes its own locks; none of the timeline's is held here.
        m_apply(event);
    }
    run->done = true;
}

bool CTimeline::waitFor(const TimelineEvent& event, std::chrono::steady_clock::time_point start, int generation)
{
    const auto offset = std::chrono::duration<double, std::milli>(double(event.atMs) * std::max(0.0, m_scale()));
    const auto due = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(offset);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cancelled.wait_until(lock, due, [&] { return m_generation.load() != generation; });
    return m_generation.load() == generation;
}

// A finished run's thread has left play(): joining it doesn't wait for any lock.
void CTimeline::joinFinishedRuns()
{
    std::vector<std::unique_ptr<Run>> finished;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto split = std::stable_partition(m_runs.begin(), m_runs.end(), [](const auto& run) { return !run->done.load(); });
        std::move(split, m_runs.end(), std::back_inserter(finished));
        m_runs.erase(split, m_runs.end());
    }
    for (auto& run : finished)
        run->thread.join();
}

} // namespace TavixSim
