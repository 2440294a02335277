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

// The three rows around one row of the mosaic, and how the colours of that row lie.
struct CRows
{
    const uchar* up;
    const uchar* mid;
    const uchar* down;
    int width;
    EChannel even; // the colour of the row's even pixels
    EChannel odd;  // of its odd pixels
};

// The colour of one pixel; left and right are the indices of its neighbours in the row.
QRgb colourOf(const CRows& rows, int x, int left, int right, EChannel own)
{
    const int self = rows.mid[x];
    const int cross = (rows.mid[left] + rows.mid[right] + rows.up[x] + rows.down[x] + 2) >> 2;
    const int diagonal = (rows.up[left] + rows.up[right] + rows.down[left] + rows.down[right] + 2) >> 2;
    const int across = (rows.mid[left] + rows.mid[right] + 1) >> 1; // the neighbours in the row
    const int along = (rows.up[x] + rows.down[x] + 1) >> 1;         // those in the column
    switch (own) {
    case Red:
        return qRgb(self, cross, diagonal);
    case Blue:
        return qRgb(diagonal, cross, self);
    case Green:
        break;
    }
    // A green pixel has red either beside it in its row or above and below it.
    const bool redInRow = rows.even == Red || rows.odd == Red;
    return redInRow ? qRgb(across, self, along) : qRgb(along, self, across);
}

void demosaicRow(const CRows& rows, QRgb* out)
{
    const int width = rows.width;
    const auto edge = [&](int x) {
        out[x] = colourOf(rows, x, mirrored(x - 1, width), mirrored(x + 1, width), x % 2 == 0 ? rows.even : rows.odd);
    };
    edge(0);
    // Inside the row the neighbours are where they are; the colours alternate.
    for (int x = 1; x + 1 < width; ++x)
        out[x] = colourOf(rows, x, x - 1, x + 1, x % 2 == 0 ? rows.even : rows.odd);
    if (width > 1)
        edge(width - 1);
}

} // namespace

QImage demosaicBilinear(const QImage& mosaic, Tavix::EBayerOrder order)
{
    if (mosaic.isNull() || mosaic.format() != QImage::Format_Grayscale8)
        return {};
    const int width = mosaic.width();
    const int height = mosaic.height();
    QImage colour(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        const CRows rows{mosaic.constScanLine(mirrored(y - 1, height)), mosaic.constScanLine(y),
                         mosaic.constScanLine(mirrored(y + 1, height)), width, channelAt(order, 0, y), channelAt(order, 1, y)};
        demosaicRow(rows, reinterpret_cast<QRgb*>(colour.scanLine(y)));
    }
    return colour;
}

} // namespace Viewer
