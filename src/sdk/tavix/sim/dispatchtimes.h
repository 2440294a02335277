#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace TavixSim {

struct DispatchTimes;

// A histogram of how long the image event handlers take with one image, filled by every grab loop
// when measuring is on. Buckets are log-linear (16 per power of two), so a percentile is exact to
// about 6 %, and recording is two relaxed atomic additions: cheap enough to leave on in a soak.
class CDispatchTimes
{
public:
    static CDispatchTimes& instance();

    bool measuring() const { return m_measuring.load(std::memory_order_relaxed); }
    // Turning it on empties the histogram.
    void setMeasuring(bool on);
    void record(std::chrono::nanoseconds time);
    void setProbe(void (*probe)(bool inside)) { m_probe.store(probe, std::memory_order_relaxed); }
    void probe(bool inside) const
    {
        if (const auto probe = m_probe.load(std::memory_order_relaxed))
            probe(inside);
    }
    DispatchTimes summary() const;

private:
    static constexpr int SubBuckets = 16;
    static constexpr int BucketCount = SubBuckets + 48 * SubBuckets;

    static int bucketOf(uint64_t ns);
    static uint64_t lowerBoundOf(int bucket);
    uint64_t percentile(double fraction, uint64_t count) const;

    std::atomic<bool> m_measuring{false};
    std::atomic<void (*)(bool)> m_probe{nullptr};
    std::atomic<uint64_t> m_max{0};
    std::atomic<uint64_t> m_buckets[BucketCount] = {};
};

} // namespace TavixSim
