#pragma once

#include <tavix/pixeltype.h>

#include <QImage>
#include <QMetaType>
#include <QRect>
#include <QVector>

#include <cstdint>

namespace Viewer {

// The figures of a picture's values, of the whole or of a rectangle of it: per channel (one for
// monochrome, red, green and blue for colour) a histogram of at most 256 bins over the values the
// depth allows, the smallest and largest value, the mean and the standard deviation, and the
// count of saturated pixels (a value at the top of the depth, in any channel).
struct CImageStatistics
{
    struct CChannel
    {
        QVector<quint32> histogram;
        int minimum = 0;
        int maximum = 0;
        double mean = 0.0;
        double standardDeviation = 0.0;
    };

    QVector<CChannel> channels;
    QRect region;          // of the picture, in its own pixels
    bool wholeImage = true;
    int topValue = 255;    // the largest value of the depth: a pixel there is saturated
    int binWidth = 1;      // values a bin holds
    quint64 pixels = 0;
    quint64 saturated = 0;

    bool isNull() const { return channels.isEmpty(); }

    // The figures of raw within region; an empty or outside region means the whole. Grayscale8 and
    // Grayscale16 (read by depth bits) are one channel, or, for a Bayer mosaic, red, green and blue
    // by the sites of each colour, with the camera's values; other formats are read as 8-bit red,
    // green and blue.
    static CImageStatistics of(const QImage& raw, int depth, Tavix::EBayerOrder bayer = Tavix::BayerOrder_None,
                               const QRect& region = {});
};

} // namespace Viewer

Q_DECLARE_METATYPE(Viewer::CImageStatistics)
