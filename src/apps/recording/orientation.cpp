#include "orientation.h"

#include <QCoreApplication>

#include <cstring>

namespace Recording {

namespace {

// One quarter turn clockwise of a point in an image of that size; the size becomes transposed.
QPoint turnedRight(const QPoint& p, const QSize& size)
{
    return {size.height() - 1 - p.y(), p.x()};
}

// The inverse: one quarter turn anticlockwise of a point in an image of that size.
QPoint turnedLeft(const QPoint& p, const QSize& size)
{
    return {p.y(), size.width() - 1 - p.x()};
}

template <int Bytes>
struct CPixel
{
    uchar bytes[Bytes];
};

template <typename Pixel>
void copyTurned(const uchar* source, size_t sourceStride, const QPoint& origin, ptrdiff_t stepX, ptrdiff_t stepY,
                int width, int height, uchar* destination, size_t destinationStride)
{
    // Each step along a row of the turned image is a fixed step through the source.
    const uchar* start = source + size_t(origin.y()) * sourceStride + size_t(origin.x()) * sizeof(Pixel);
    for (int y = 0; y < height; ++y) {
        const uchar* in = start + ptrdiff_t(y) * stepY;
        auto* out = reinterpret_cast<Pixel*>(destination + size_t(y) * destinationStride);
        for (int x = 0; x < width; ++x, in += stepX)
            std::memcpy(&out[x], in, sizeof(Pixel));
    }
}

// The colour of a mosaic's pixel by the parity of its place: 0 red, 1 green, 2 blue.
int bayerColour(Tavix::EBayerOrder order, int x, int y)
{
    static const int colours[5][2][2] = {
        {{0, 0}, {0, 0}},
        {{0, 1}, {1, 2}}, // RG
        {{1, 0}, {2, 1}}, // GR
        {{1, 2}, {0, 1}}, // GB
        {{2, 1}, {1, 0}}, // BG
    };
    return colours[order][y % 2][x % 2];
}

struct CBayerFamily
{
    Tavix::EPixelType rg, gr, gb, bg;
};

constexpr CBayerFamily BayerFamilies[] = {
    {Tavix::PixelType_BayerRG8, Tavix::PixelType_BayerGR8, Tavix::PixelType_BayerGB8, Tavix::PixelType_BayerBG8},
    {Tavix::PixelType_BayerRG10, Tavix::PixelType_BayerGR10, Tavix::PixelType_BayerGB10, Tavix::PixelType_BayerBG10},
    {Tavix::PixelType_BayerRG12, Tavix::PixelType_BayerGR12, Tavix::PixelType_BayerGB12, Tavix::PixelType_BayerBG12},
    {Tavix::PixelType_BayerRG16, Tavix::PixelType_BayerGR16, Tavix::PixelType_BayerGB16, Tavix::PixelType_BayerBG16},
};

} // namespace

QPoint COrientation::map(const QPoint& source, const QSize& sourceSize) const
{
    QPoint p = mirrored ? QPoint(sourceSize.width() - 1 - source.x(), source.y()) : source;
    QSize size = sourceSize;
    for (int turn = 0; turn < quarterTurns; ++turn) {
        p = turnedRight(p, size);
        size.transpose();
    }
    return p;
}

QPoint COrientation::sourceOf(const QPoint& oriented, const QSize& sourceSize) const
{
    QPoint p = oriented;
    QSize size = orientedSize(sourceSize);
    for (int turn = 0; turn < quarterTurns; ++turn) {
        p = turnedLeft(p, size);
        size.transpose();
    }
    return mirrored ? QPoint(sourceSize.width() - 1 - p.x(), p.y()) : p;
}

void COrientation::apply(const uchar* source, int width, int height, size_t sourceStride, int bytesPerPixel,
                         uchar* destination, size_t destinationStride) const
{
    if (width <= 0 || height <= 0)
        return;
    const QSize sourceSize(width, height);
    const QSize size = orientedSize(sourceSize);
    // The source pixels of the turned image's first pixel and of its two neighbours give the steps.
    const QPoint origin = sourceOf({0, 0}, sourceSize);
    const QPoint right = size.width() > 1 ? sourceOf({1, 0}, sourceSize) : origin;
    const QPoint below = size.height() > 1 ? sourceOf({0, 1}, sourceSize) : origin;
    auto step = [&](const QPoint& to) {
        return ptrdiff_t(to.y() - origin.y()) * ptrdiff_t(sourceStride) + ptrdiff_t(to.x() - origin.x()) * bytesPerPixel;
    };
    const ptrdiff_t stepX = step(right);
    const ptrdiff_t stepY = step(below);
    const int w = size.width();
    const int h = size.height();
    switch (bytesPerPixel) {
    case 1:
        return copyTurned<CPixel<1>>(source, sourceStride, origin, stepX, stepY, w, h, destination, destinationStride);
    case 2:
        return copyTurned<CPixel<2>>(source, sourceStride, origin, stepX, stepY, w, h, destination, destinationStride);
    case 3:
        return copyTurned<CPixel<3>>(source, sourceStride, origin, stepX, stepY, w, h, destination, destinationStride);
    case 4:
        return copyTurned<CPixel<4>>(source, sourceStride, origin, stepX, stepY, w, h, destination, destinationStride);
    case 6:
        return copyTurned<CPixel<6>>(source, sourceStride, origin, stepX, stepY, w, h, destination, destinationStride);
    case 8:
        return copyTurned<CPixel<8>>(source, sourceStride, origin, stepX, stepY, w, h, destination, destinationStride);
    default:
        break;
    }
}

QImage COrientation::apply(const QImage& image) const
{
    if (isIdentity() || image.isNull() || image.depth() % 8 != 0)
        return image;
    QImage turned(orientedSize(image.size()), image.format());
    apply(image.constBits(), image.width(), image.height(), size_t(image.bytesPerLine()), image.depth() / 8,
          turned.bits(), size_t(turned.bytesPerLine()));
    return turned;
}

Tavix::EPixelType COrientation::orientedPixelType(Tavix::EPixelType pixelType, const QSize& sourceSize) const
{
    const Tavix::EBayerOrder order = Tavix::GetBayerOrder(pixelType);
    if (order == Tavix::BayerOrder_None || isIdentity())
        return pixelType;
    // The turned image's first two pixels of its first row say its order.
    const QPoint first = sourceOf({0, 0}, sourceSize);
    const QPoint second = sourceOf({1, 0}, sourceSize);
    const int a = bayerColour(order, first.x(), first.y());
    const int b = bayerColour(order, second.x(), second.y());
    for (const auto& family : BayerFamilies) {
        for (Tavix::EPixelType candidate : {family.rg, family.gr, family.gb, family.bg}) {
            if (candidate != pixelType)
                continue;
            for (Tavix::EPixelType turned : {family.rg, family.gr, family.gb, family.bg}) {
                const Tavix::EBayerOrder turnedOrder = Tavix::GetBayerOrder(turned);
                if (bayerColour(turnedOrder, 0, 0) == a && bayerColour(turnedOrder, 1, 0) == b)
                    return turned;
            }
        }
    }
    return pixelType;
}

QString COrientation::text() const
{
    QStringList parts;
    if (quarterTurns != 0)
        parts << QCoreApplication::translate("Recording", "rotated %1° clockwise").arg(quarterTurns * 90);
    if (mirrored)
        parts << QCoreApplication::translate("Recording", "mirrored");
    return parts.join(QStringLiteral(", "));
}

} // namespace Recording
