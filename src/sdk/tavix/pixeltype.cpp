#include <tavix/pixeltype.h>

#include <cstring>

namespace Tavix {
namespace {

struct PixelTypeEntry
{
    EPixelType type;
    const char* name;
    uint32_t colorDepth;
    EBayerOrder bayer;
};

constexpr PixelTypeEntry Entries[] = {
    {PixelType_Mono8, "Mono8", 8, BayerOrder_None},
    {PixelType_Mono10, "Mono10", 10, BayerOrder_None},
    {PixelType_Mono12, "Mono12", 12, BayerOrder_None},
    {PixelType_Mono14, "Mono14", 14, BayerOrder_None},
    {PixelType_Mono16, "Mono16", 16, BayerOrder_None},
    {PixelType_BayerGR8, "BayerGR8", 8, BayerOrder_GR},
    {PixelType_BayerRG8, "BayerRG8", 8, BayerOrder_RG},
    {PixelType_BayerGB8, "BayerGB8", 8, BayerOrder_GB},
    {PixelType_BayerBG8, "BayerBG8", 8, BayerOrder_BG},
    {PixelType_BayerGR10, "BayerGR10", 10, BayerOrder_GR},
    {PixelType_BayerRG10, "BayerRG10", 10, BayerOrder_RG},
    {PixelType_BayerGB10, "BayerGB10", 10, BayerOrder_GB},
    {PixelType_BayerBG10, "BayerBG10", 10, BayerOrder_BG},
    {PixelType_BayerGR12, "BayerGR12", 12, BayerOrder_GR},
    {PixelType_BayerRG12, "BayerRG12", 12, BayerOrder_RG},
    {PixelType_BayerGB12, "BayerGB12", 12, BayerOrder_GB},
    {PixelType_BayerBG12, "BayerBG12", 12, BayerOrder_BG},
    {PixelType_BayerGR16, "BayerGR16", 16, BayerOrder_GR},
    {PixelType_BayerRG16, "BayerRG16", 16, BayerOrder_RG},
    {PixelType_BayerGB16, "BayerGB16", 16, BayerOrder_GB},
    {PixelType_BayerBG16, "BayerBG16", 16, BayerOrder_BG},
    {PixelType_RGB8, "RGB8", 8, BayerOrder_None},
    {PixelType_BGR8, "BGR8", 8, BayerOrder_None},
    {PixelType_RGBA8, "RGBA8", 8, BayerOrder_None},
    {PixelType_BGRA8, "BGRA8", 8, BayerOrder_None},
    {PixelType_YUV422_8, "YUV422_8", 8, BayerOrder_None},
    {PixelType_Coord3D_C16, "Coord3D_C16", 16, BayerOrder_None},
};

// The names the older convention gave the same layouts.
constexpr struct
{
    const char* name;
    EPixelType type;
} OlderNames[] = {
    {"RGB8Packed", PixelType_RGB8},
    {"BGR8Packed", PixelType_BGR8},
    {"RGBA8Packed", PixelType_RGBA8},
    {"BGRA8Packed", PixelType_BGRA8},
    {"YUV422Packed", PixelType_YUV422_8},
};

const PixelTypeEntry* entryOf(EPixelType pixelType)
{
    for (const PixelTypeEntry& entry : Entries) {
        if (entry.type == pixelType)
            return &entry;
    }
    return nullptr;
}

} // namespace

const char* GetPixelTypeName(EPixelType pixelType)
{
    const PixelTypeEntry* entry = entryOf(pixelType);
    return entry ? entry->name : nullptr;
}

EPixelType GetPixelTypeFromName(const char* name)
{
    if (!name)
        return PixelType_Undefined;
    for (const PixelTypeEntry& entry : Entries) {
        if (std::strcmp(entry.name, name) == 0)
            return entry.type;
    }
    for (const auto& older : OlderNames) {
        if (std::strcmp(older.name, name) == 0)
            return older.type;
    }
    return PixelType_Undefined;
}

uint32_t GetPixelColorDepth(EPixelType pixelType)
{
    const PixelTypeEntry* entry = entryOf(pixelType);
    return entry ? entry->colorDepth : GetBitsPerPixel(pixelType);
}

EBayerOrder GetBayerOrder(EPixelType pixelType)
{
    const PixelTypeEntry* entry = entryOf(pixelType);
    return entry ? entry->bayer : BayerOrder_None;
}

} // namespace Tavix
