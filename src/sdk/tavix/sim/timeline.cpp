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
    m_runs.joinAll();
}

void CTimeline::start(std::vector<TimelineEvent> events)
{
    if (events.empty())
        return;
    std::stable_sort(events.begin(), events.end(),
                     [](const TimelineEvent& a, const TimelineEvent& b) { return a.atMs < b.atMs; });
    const int generation = m_generation.load();
    m_runs.start([this, events = std::move(events), generation] { play(events, generation); });
}

void CTimeline::cancel()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_generation;
    m_cancelled.notify_all();
}

void CTimeline::play(const std::vector<TimelineEvent>& events, int generation)
{
    const auto start = std::chrono::steady_clock::now();
    for (const auto& event : events) {
        if (!waitFor(event, start, generation))
            break;
        // The world takes its own locks; none of the timeline's is held here.
        m_apply(event);
    }
}

bool CTimeline::waitFor(const TimelineEvent& event, std::chrono::steady_clock::time_point start, int generation)
{
    const auto offset = std::chrono::duration<double, std::milli>(double(event.atMs) * std::max(0.0, m_scale()));
    const auto due = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(offset);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cancelled.wait_until(lock, due, [&] { return m_generation.load() != generation; });
    return m_generation.load() == generation;
}

} // namespace TavixSim
