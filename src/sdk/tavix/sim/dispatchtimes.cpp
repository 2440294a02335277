#include <tavix/sim/dispatchtimes.h>
#include <tavix/sim/simcontrol.h>

namespace TavixSim {

CDispatchTimes& CDispatchTimes::instance()
{
    static CDispatchTimes times;
    return times;
}

void CDispatchTimes::setMeasuring(bool on)
{
    if (on) {
        for (auto& bucket : m_buckets)
            bucket.store(0, std::memory_order_relaxed);
        m_max.store(0, std::memory_order_relaxed);
    }
    m_measuring.store(on, std::memory_order_relaxed);
}

int CDispatchTimes::bucketOf(uint64_t ns)
{
    if (ns < SubBuckets)
        return int(ns);
    const int exponent = 63 - __builtin_clzll(ns); // at least 4
    const int bucket = SubBuckets + (exponent - 4) * SubBuckets + int((ns >> (exponent - 4)) & (SubBuckets - 1));
    return bucket < BucketCount ? bucket : BucketCount - 1;
}

uint64_t CDispatchTimes::lowerBoundOf(int bucket)
{
    if (bucket < SubBuckets)
        return uint64_t(bucket);
    const int exponent = (bucket - SubBuckets) / SubBuckets + 4;
    const uint64_t sub = uint64_t((bucket - SubBuckets) % SubBuckets);
    return (uint64_t(SubBuckets) + sub) << (exponent - 4);
}

void CDispatchTimes::record(std::chrono::nanoseconds time)
{
    const uint64_t ns = time.count() > 0 ? uint64_t(time.count()) : 0;
    m_buckets[bucketOf(ns)].fetch_add(1, std::memory_order_relaxed);
    uint64_t max = m_max.load(std::memory_order_relaxed);
    while (ns > max && !m_max.compare_exchange_weak(max, ns, std::memory_order_relaxed)) {
    }
}

uint64_t CDispatchTimes::percentile(double fraction, uint64_t count) const
{
    const auto rank = uint64_t(fraction * double(count));
    uint64_t seen = 0;
    for (int bucket = 0; bucket < BucketCount; ++bucket) {
        seen += m_buckets[bucket].load(std::memory_order_relaxed);
        if (seen > rank)
            return lowerBoundOf(bucket);
    }
    return m_max.load(std::memory_order_relaxed);
}

DispatchTimes CDispatchTimes::summary() const
{
    DispatchTimes times;
    for (const auto& bucket : m_buckets)
        times.count += bucket.load(std::memory_order_relaxed);
    if (times.count == 0)
        return times;
    times.p50Ns = percentile(0.50, times.count);
    times.p90Ns = percentile(0.90, times.count);
    times.p99Ns = percentile(0.99, times.count);
    times.p999Ns = percentile(0.999, times.count);
    times.maxNs = m_max.load(std::memory_order_relaxed);
    return times;
}

void measureDispatch(bool on) { CDispatchTimes::instance().setMeasuring(on); }
DispatchTimes dispatchTimes() { return CDispatchTimes::instance().summary(); }
void setDispatchProbe(DispatchProbe probe) { CDispatchTimes::instance().setProbe(probe); }

} // namespace TavixSim
