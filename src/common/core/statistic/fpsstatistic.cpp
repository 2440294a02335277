#include "fpsstatistic.h"

#include <QElapsedTimer>

#include <algorithm>
#include <limits>

namespace {
constexpr qint64 NoTime = std::numeric_limits<qint64>::min();
}

FpsStatistic::FpsStatistic()
    : m_firstSampleMs(NoTime)
    , m_lastActivityMs(NoTime)
{
}

FpsStatistic::~FpsStatistic() = default;

qint64 FpsStatistic::now()
{
    static const QElapsedTimer clock = [] {
        QElapsedTimer timer;
        timer.start();
        return timer;
    }();
    return clock.elapsed();
}

void FpsStatistic::addSample(uint64_t payloadSize)
{
    addSampleAt(now(), payloadSize);
}

void FpsStatistic::addNoSample()
{
    addNoSampleAt(now());
}

void FpsStatistic::computeResult(double& fps, uint64_t& bytesPerSecond) const
{
    computeResultAt(now(), fps, bytesPerSecond);
}

void FpsStatistic::addSampleAt(qint64 msecs, uint64_t payloadSize)
{
    const qint64 slot = msecs / BucketMs;
    Bucket& bucket = m_buckets[std::size_t(slot % BucketCount)];
    if (bucket.slot.load(std::memory_order_relaxed) != slot) {
        // Only this thread turns buckets over; the reader skips a bucket while it has no slot.
        bucket.slot.store(-1, std::memory_order_release);
        bucket.count.store(0, std::memory_order_relaxed);
        bucket.bytes.store(0, std::memory_order_relaxed);
        bucket.slot.store(slot, std::memory_order_release);
    }
    bucket.count.fetch_add(1, std::memory_order_relaxed);
    bucket.bytes.fetch_add(payloadSize, std::memory_order_relaxed);
    qint64 expected = NoTime;
    m_firstSampleMs.compare_exchange_strong(expected, msecs, std::memory_order_acq_rel);
    m_lastActivityMs.store(msecs, std::memory_order_release);
}

void FpsStatistic::addNoSampleAt(qint64 msecs)
{
    // A tick without an image moves the end of the window; the sums need no change.
    m_lastActivityMs.store(std::max(m_lastActivityMs.load(std::memory_order_acquire), msecs),
                           std::memory_order_release);
}

void FpsStatistic::computeResultAt(qint64 msecs, double& fps, uint64_t& bytesPerSecond) const
{
    fps = 0.0;
    bytesPerSecond = 0;
    const qint64 first = m_firstSampleMs.load(std::memory_order_acquire);
    if (first == NoTime)
        return;
    const qint64 end = std::max(msecs, m_lastActivityMs.load(std::memory_order_acquire));
    const qint64 endSlot = end / BucketMs;
    uint64_t count = 0;
    uint64_t bytes = 0;
    for (const Bucket& bucket : m_buckets) {
        const qint64 slot = bucket.slot.load(std::memory_order_acquire);
        if (slot < 0 || slot > endSlot || slot <= endSlot - BucketCount)
            continue;
        count += bucket.count.load(std::memory_order_relaxed);
        bytes += bucket.bytes.load(std::memory_order_relaxed);
    }
    // Until a full window has passed, the rate is taken over the time the stream has run,
    // counted in whole buckets so that the first image alone doesn't give an absurd rate.
    const qint64 covered = (endSlot - first / BucketMs + 1) * BucketMs;
    const double seconds = double(std::min(covered, WindowMs)) / 1000.0;
    fps = double(count) / seconds;
    bytesPerSecond = uint64_t(double(bytes) / seconds);
}

void FpsStatistic::reset()
{
    for (Bucket& bucket : m_buckets) {
        bucket.slot.store(-1, std::memory_order_release);
        bucket.count.store(0, std::memory_order_relaxed);
        bucket.bytes.store(0, std::memory_order_relaxed);
    }
    m_firstSampleMs.store(NoTime, std::memory_order_release);
    m_lastActivityMs.store(NoTime, std::memory_order_release);
}
