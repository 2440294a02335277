#pragma once

#include <tavix/pixeltype.h>

#include <QImage>
#include <QPoint>
#include <QSize>

#include <cstddef>

namespace Recording {

/// How an image is turned for a person: mirrored left to right first when mirrored is set, then
/// turned clockwise by quarterTurns quarters. Every placement of a camera on a rig is one of these
/// eight. The same orientation is used by the display, snapshots and recordings.
struct COrientation
{
    int quarterTurns = 0; ///< 0 to 3, clockwise
    bool mirrored = false;

    bool isIdentity() const { return quarterTurns == 0 && !mirrored; }
    bool operator==(const COrientation& other) const
    {
        return quarterTurns == other.quarterTurns && mirrored == other.mirrored;
    }
    bool operator!=(const COrientation& other) const { return !(*this == other); }

    /// The orientation after one more turn of the shown picture: right (clockwise) or left.
    COrientation rotatedRight() const { return {(quarterTurns + 1) % 4, mirrored}; }
    COrientation rotatedLeft() const { return {(quarterTurns + 3) % 4, mirrored}; }
    /// The orientation after flipping the shown picture left to right, or top to bottom.
    COrientation flippedHorizontally() const { return {(4 - quarterTurns) % 4, !mirrored}; }
    COrientation flippedVertically() const { return {(6 - quarterTurns) % 4, !mirrored}; }

    /// The size of an image of that size once turned.
    QSize orientedSize(const QSize& source) const { return quarterTurns % 2 ? source.transposed() : source; }
    /// Where a pixel of the source lands in the turned image, and back.
    QPoint map(const QPoint& source, const QSize& sourceSize) const;
    QPoint sourceOf(const QPoint& oriented, const QSize& sourceSize) const;

    /// Copies pixels of bytesPerPixel bytes (1, 2, 3, 4, 6 or 8) from a width x height image into
    /// the turned image, whose rows are destinationStride bytes apart.
    void apply(const uchar* source, int width, int height, size_t sourceStride, int bytesPerPixel, uchar* destination,
               size_t destinationStride) const;
    /// The turned copy of a picture in its own format; the picture itself when nothing turns.
    QImage apply(const QImage& image) const;
    /// A Bayer mosaic's type once turned: the colour of the first pixels changes with the turn. Other
    /// types stay as they are.
    Tavix::EPixelType orientedPixelType(Tavix::EPixelType pixelType, const QSize& sourceSize) const;
    /// "rotated 90° clockwise, mirrored" and the like; empty for none.
    QString text() const;
};

} // namespace Recording
