#include "shownformats.h"

#include <QCoreApplication>

namespace Viewer {

bool canShowPixelType(Tavix::EPixelType pixelType)
{
    using namespace Tavix;
    if (GetBayerOrder(pixelType) != BayerOrder_None)
        return true;
    switch (pixelType) {
    case PixelType_Mono8:
    case PixelType_Mono10:
    case PixelType_Mono12:
    case PixelType_Mono14:
    case PixelType_Mono16:
    case PixelType_Coord3D_C16:
    case PixelType_RGB8:
    case PixelType_BGR8:
    case PixelType_RGBA8:
    case PixelType_BGRA8:
        return true;
    default:
        return false;
    }
}

QString whyPixelFormatCantBeShown(const QString& pixelFormat)
{
    const Tavix::EPixelType type = Tavix::GetPixelTypeFromName(pixelFormat.toLatin1().constData());
    if (canShowPixelType(type))
        return {};
    return QCoreApplication::translate("Viewer::CImagePanelWidget", "The viewer can't show images in %1: it has no converter "
                                                                    "for that pixel format. Other clients may use them.")
        .arg(pixelFormat);
}

QString pixelTypeText(Tavix::EPixelType pixelType)
{
    if (const char* name = Tavix::GetPixelTypeName(pixelType))
        return QString::fromLatin1(name);
    return QCoreApplication::translate("Viewer::CImagePanelWidget", "pixel format 0x%1").arg(uint(pixelType), 8, 16, QLatin1Char('0'));
}

} // namespace Viewer
