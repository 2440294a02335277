#include "imagestatistics.h"

#include <cmath>

namespace Viewer {

namespace {

// Sums of one channel, turned into its figures at the end.
struct CAccumulator
{
    QVector<quint32> histogram;
    int minimum = INT_MAX;
    int maximum = INT_MIN;
    double sum = 0.0;
    double squares = 0.0;

    void add(int value, int shift)
    {
        ++histogram[value >> shift];
        minimum = std::min(minimum, value);
        maximum = std::max(maximum, value);
        sum += value;
        squares += double(value) * double(value);
    }
    CImageStatistics::CChannel result(quint64 count) const
    {
        CImageStatistics::CChannel channel;
        channel.histogram = histogram;
        if (count == 0)
            return channel;
        channel.minimum = minimum;
        channel.maximum = maximum;
        channel.mean = sum / double(count);
        channel.standardDeviation = std::sqrt(std::max(0.0, squares / double(count) - channel.mean * channel.mean));
        return channel;
    }
};

// The colour of a mosaic's site: 0 red, 1 green, 2 blue.
int bayerChannel(Tavix::EBayerOrder order, int x, int y)
{
    static const int colours[5][2][2] = {
        {{1, 1}, {1, 1}}, {{0, 1}, {1, 2}}, {{1, 0}, {2, 1}}, {{1, 2}, {0, 1}}, {{2, 1}, {1, 0}},
    };
    return colours[order][y % 2][x % 2];
}

quint64 siteCount(Tavix::EBayerOrder order, const QRect& r, int channel)
{
    quint64 count = 0;
    for (int dy = 0; dy < std::min(2, r.height()); ++dy) {
        for (int dx = 0; dx < std::min(2, r.width()); ++dx) {
            if (bayerChannel(order, r.left() + dx, r.top() + dy) == channel)
                count += quint64((r.width() - dx + 1) / 2) * quint64((r.height() - dy + 1) / 2);
        }
    }
    return count;
}

} // namespace

CImageStatistics CImageStatistics::of(const QImage& raw, int depth, Tavix::EBayerOrder bayer, const QRect& region)
{
    CImageStatistics statistics;
    if (raw.isNull())
        return statistics;
    const QRect area = region.isEmpty() ? raw.rect() : region.intersected(raw.rect());
    statistics.wholeImage = area == raw.rect();
    statistics.region = area.isEmpty() ? raw.rect() : area;
    const QRect r = statistics.region;
    const bool grey = raw.format() == QImage::Format_Grayscale8 || raw.format() == QImage::Format_Grayscale16;
    const bool wide = raw.format() == QImage::Format_Grayscale16;
    const int bits = wide ? std::clamp(depth, 9, 16) : 8;
    statistics.topValue = (1 << bits) - 1;
    // At most 256 bins: a 12-bit image's bin holds 16 values.
    const int shift = bits - 8;
    statistics.binWidth = 1 << shift;
    const bool mosaic = grey && bayer != Tavix::BayerOrder_None;
    QVector<CAccumulator> sums(grey && !mosaic ? 1 : 3);
    for (auto& sum : sums)
        sum.histogram.fill(0, 256);
    quint64 saturated = 0;
    const quint64 all = quint64(r.width()) * quint64(r.height());
    QVector<quint64> counts(sums.size(), all);
    const int top = statistics.topValue;
    if (grey) {
        for (int y = r.top(); y <= r.bottom(); ++y) {
            // A mosaic's row holds two colours, which alternate.
            CAccumulator* even = &sums[mosaic ? bayerChannel(bayer, r.left(), y) : 0];
            CAccumulator* odd = &sums[mosaic ? bayerChannel(bayer, r.left() + 1, y) : 0];
            if (wide) {
                const auto* row = reinterpret_cast<const quint16*>(raw.constScanLine(y));
                for (int x = r.left(); x <= r.right(); ++x) {
                    // A value beyond the depth (a camera's stray bits) counts as the top.
                    const int value = std::min<int>(row[x], top);
                    ((x - r.left()) % 2 ? odd : even)->add(value, shift);
                    saturated += value == top;
                }
            } else {
                const uchar* row = raw.constScanLine(y);
                for (int x = r.left(); x <= r.right(); ++x) {
                    ((x - r.left()) % 2 ? odd : even)->add(row[x], 0);
                    saturated += row[x] == 255;
                }
            }
        }
        if (mosaic) // the count of each channel is its sites'
            counts = {siteCount(bayer, r, 0), siteCount(bayer, r, 1), siteCount(bayer, r, 2)};
    } else {
        const QImage colour = raw.format() == QImage::Format_RGB32 || raw.format() == QImage::Format_ARGB32
                                  ? raw
                                  : raw.convertToFormat(QImage::Format_RGB32);
        for (int y = r.top(); y <= r.bottom(); ++y) {
            const auto* row = reinterpret_cast<const QRgb*>(colour.constScanLine(y));
            for (int x = r.left(); x <= r.right(); ++x) {
                const int red = qRed(row[x]);
                const int green = qGreen(row[x]);
                const int blue = qBlue(row[x]);
                sums[0].add(red, 0);
                sums[1].add(green, 0);
                sums[2].add(blue, 0);
                saturated += red == 255 || green == 255 || blue == 255;
            }
        }
    }
    statistics.pixels = all;
    statistics.saturated = saturated;
    for (int channel = 0; channel < sums.size(); ++channel)
        statistics.channels << sums[channel].result(counts[channel]);
    return statistics;
}

} // namespace Viewer
