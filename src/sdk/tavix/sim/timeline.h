#pragma once

#include <tavix/sim/reapedthreads.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace TavixSim {

// One change of the world at a time on the simulator's clock, counted from the moment the
// scenario is loaded.
struct TimelineEvent
{
    enum Action { Plug, Unplug, Lose };

    int64_t atMs = 0;
    Action action = Plug;
    std::string device; // the device's full name
};

// Plays the timelines of scenarios, one thread for each loaded scenario that has one. Loading
// another scenario cancels the running timeline: the events that are not yet due are dropped.
class CTimeline
{
public:
    using Apply = std::function<void(const TimelineEvent&)>;
    using Scale = std::function<double()>; // the factor of the simulator's clock

    CTimeline(Apply apply, Scale scale);
    ~CTimeline();

    void start(std::vector<TimelineEvent> events);
    void cancel();
    // Cancels and waits until no event is being applied any more.
    void stop();

private:
    void play(const std::vector<TimelineEvent>& events, int generation);
    // Waits until the event is due; false when the timeline was cancelled meanwhile.
    bool waitFor(const TimelineEvent& event, std::chrono::steady_clock::time_point start, int generation);

    Apply m_apply;
    Scale m_scale;
    std::mutex m_mutex;
    std::condition_variable m_cancelled;
    std::atomic<int> m_generation{0};
    CReapedThreads m_runs;
};

} // namespace TavixSim
