#pragma once

#include <tavix/genapi.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Tavix {

/// A pixel of the sensor, by column and row.
struct StaticDefectPixel
{
    /// the column
    uint32_t x = 0;
    /// the row
    uint32_t y = 0;

    /// Whether both are the same pixel.
    bool operator==(const StaticDefectPixel& other) const { return x == other.x && y == other.y; }
    /// Whether the pixels differ.
    bool operator!=(const StaticDefectPixel& other) const { return !(*this == other); }
};

/// A list of defect pixels.
using StaticDefectPixelList = std::vector<StaticDefectPixel>;

/// The lists of static defect pixels that a camera corrects itself: the factory's, read-only,
/// and the user's. A camera takes a list only in its normal form: sorted by row and column,
/// without duplicates, every pixel on the sensor.
class CStaticDefectPixelCorrection
{
public:
    /// Which of the lists.
    enum EListType {
        /// the factory's list, read-only
        ListType_Factory = 0,
        /// the user's list
        ListType_User = 1,
    };

    ///@{
    /// Reads a list, writes one, or brings a list into normal form in place. Each throws a
    /// GenICam exception when the camera can't do it: LogicalErrorException for a camera without
    /// the feature, AccessException for a write of the factory list, InvalidArgumentException
    /// for a list not in normal form or a null node map.
    static bool GetDefectPixelList(GenApi::INodeMap* nodeMap, StaticDefectPixelList& list, EListType type);
    static bool SetDefectPixelList(GenApi::INodeMap* nodeMap, StaticDefectPixelList& list, EListType type);
    static bool NormalizePixelList(GenApi::INodeMap* nodeMap, StaticDefectPixelList& list);
    ///@}

    ///@{
    /// The text form in which a camera holds a list: "x,y" pairs separated by ";". Malformed
    /// text throws FormatException.
    static std::string ToText(const StaticDefectPixelList& list);
    static StaticDefectPixelList FromText(const std::string& text);
    ///@}
};

} // namespace Tavix
