#pragma once

#include <QtGlobal>

#include <array>
#include <atomic>
#include <cstdint>

/// Frame rate and data rate of an image stream over a sliding window of one second.
///
/// Samples are counted in 20 buckets of 50 ms each; a result sums the buckets of the last
/// second and divides by the time they cover, which is the full second once the stream has run
/// that long and the time since the first sample before that. The byte figure is in bytes per
/// second. A stream that stops thus shows a falling rate, and zero one second after its last
/// image.
///
/// One writer thread (addSample, the image thread) and one reader thread (addNoSample,
/// computeResult) may use an object at the same time without a lock; a result read while a
/// bucket turns over may be one sample off. reset() must not race with addSample.
class FpsStatistic
{
public:
    /// The length of a bucket in ms.
    static constexpr qint64 BucketMs = 50;
    /// The number of buckets.
    static constexpr int BucketCount = 20;
    /// The length of the window in ms.
    static constexpr qint64 WindowMs = BucketMs * BucketCount;

    /// An empty statistic.
    FpsStatistic();
    ~FpsStatistic();

    /// Counts one image of payloadSize bytes now.
    void addSample(uint64_t payloadSize);
    /// Moves the window on to now without an image.
    void addNoSample();
    /// The images and bytes per second over the window that ends now.
    void computeResult(double& fps, uint64_t& bytesPerSecond) const;
    /// Forgets every sample.
    void reset();

    /// The same with an explicit time in milliseconds of a monotonic clock, for replaying a
    /// known series.
    void addSampleAt(qint64 msecs, uint64_t payloadSize);
    /// @copydoc addNoSample
    void addNoSampleAt(qint64 msecs);
    /// @copydoc computeResult
    void computeResultAt(qint64 msecs, double& fps, uint64_t& bytesPerSecond) const;

private:
    struct Bucket
    {
        std::atomic<qint64> slot{-1};
        std::atomic<uint64_t> count{0};
        std::atomic<uint64_t> bytes{0};
    };

    static qint64 now();

    std::array<Bucket, BucketCount> m_buckets;
    std::atomic<qint64> m_firstSampleMs;
    std::atomic<qint64> m_lastActivityMs;
};
