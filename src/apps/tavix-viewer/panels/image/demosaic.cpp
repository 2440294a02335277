#include "demosaic.h"

#include <algorithm>

namespace Viewer {

namespace {

enum EChannel { Red, Green, Blue };

// The colour at each place of the 2 x 2 tile, row by row, for each mosaic.
EChannel channelAt(Tavix::EBayerOrder order, int x, int y)
{
    static const EChannel tiles[][4] = {
        /* None */ {Green, Green, Green, Green}, /* RG */ {Red, Green, Green, Blue}, /* GR */ {Green, Red, Blue, Green},
        /* GB */ {Green, Blue, Red, Green},      /* BG */ {Blue, Green, Green, Red},
    };
    return tiles[order][(y & 1) * 2 + (x & 1)];
}

// A neighbour's index beyond the edge is mirrored back inside, which keeps its colour in the
// mosaic (the tile repeats every two pixels).
int mirrored(int i, int size)
{
    if (i < 0)
        i = -i;
    if (i >= size)
        i = 2 * size - 2 - i;
    return std::clamp(i, 0, size - 1);
}

} // namespace

QImage demosaicBilinear(const QImage& mosaic, Tavix::EBayerOrder order)
{
    if (mosaic.isNull() || mosaic.format() != QImage::Format_Grayscale8)
        return {};
    const int width = mosaic.width();
    const int height = mosaic.height();
    QImage colour(width, height, QImage::Format_RGB32);
    const auto at = [&](int x, int y) {
        return int(mosaic.constScanLine(mirrored(y, height))[mirrored(x, width)]);
    };
    for (int y = 0; y < height; ++y) {
        auto* out = reinterpret_cast<QRgb*>(colour.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int own = at(x, y);
            const int cross = (at(x - 1, y) + at(x + 1, y) + at(x, y - 1) + at(x, y + 1) + 2) / 4;
            const int diagonal = (at(x - 1, y - 1) + at(x + 1, y - 1) + at(x - 1, y + 1) + at(x + 1, y + 1) + 2) / 4;
            const int across = (at(x - 1, y) + at(x + 1, y) + 1) / 2; // the neighbours in the row
            const int along = (at(x, y - 1) + at(x, y + 1) + 1) / 2;  // those in the column
            int rgb[3] = {0, 0, 0};
            switch (channelAt(order, x, y)) {
            case Red:
                rgb[Red] = own;
                rgb[Green] = cross;
                rgb[Blue] = diagonal;
                break;
            case Blue:
                rgb[Blue] = own;
                rgb[Green] = cross;
                rgb[Red] = diagonal;
                break;
            case Green: {
                // A green pixel has red either beside it in its row or above and below it.
                const bool redInRow = channelAt(order, x + 1, y) == Red;
                rgb[Green] = own;
                rgb[Red] = redInRow ? across : along;
                rgb[Blue] = redInRow ? along : across;
                break;
            }
            }
            out[x] = qRgb(rgb[Red], rgb[Green], rgb[Blue]);
        }
    }
    return colour;
}

} // namespace Viewer
