#include <tavix/defectpixelcorrection.h>
#include <tavix/parameters.h>

#include <algorithm>
#include <sstream>

namespace Tavix {
namespace {

constexpr char ModeFeature[] = "VrlStaticDefectPixelCorrectionMode";
constexpr char ReloadFeature[] = "VrlStaticDefectPixelCorrectionReload";

const char* listFeature(CStaticDefectPixelCorrection::EListType type)
{
    switch (type) {
    case CStaticDefectPixelCorrection::ListType_Factory:
        return "VrlStaticDefectPixelListFactory";
    case CStaticDefectPixelCorrection::ListType_User:
        return "VrlStaticDefectPixelListUser";
    }
    throw GenICam::InvalidArgumentException("Unknown defect pixel list type.", __FILE__, __LINE__);
}

GenApi::INodeMap& checkedNodeMap(GenApi::INodeMap* nodeMap)
{
    if (!nodeMap)
        throw GenICam::InvalidArgumentException("The node map must not be null.", __FILE__, __LINE__);
    const bool supported = GenApi::IsImplemented(nodeMap->GetNode(ModeFeature))
                           && GenApi::IsImplemented(nodeMap->GetNode(ReloadFeature));
    if (!supported)
        throw GenICam::LogicalErrorException("The camera doesn't support static defect pixel correction.", __FILE__, __LINE__);
    return *nodeMap;
}

bool lessByRow(const StaticDefectPixel& a, const StaticDefectPixel& b)
{
    return a.y != b.y ? a.y < b.y : a.x < b.x;
}

// The sensor's size in pixels: the full sensor where the camera tells it, else the largest
// image, else the current one.
void sensorSize(GenApi::INodeMap& nodeMap, int64_t& width, int64_t& height)
{
    auto first = [&](std::initializer_list<const char*> names) -> int64_t {
        for (const char* name : names) {
            CIntegerParameter parameter(nodeMap, name);
            if (parameter.IsReadable())
                return parameter.GetValue();
        }
        return 0;
    };
    width = first({"SensorWidth", "WidthMax", "Width"});
    height = first({"SensorHeight", "HeightMax", "Height"});
}

bool isNormal(GenApi::INodeMap& nodeMap, const StaticDefectPixelList& list)
{
    int64_t width = 0;
    int64_t height = 0;
    sensorSize(nodeMap, width, height);
    for (size_t i = 0; i < list.size(); ++i) {
        if (int64_t(list[i].x) >= width || int64_t(list[i].y) >= height)
            return false;
        if (i > 0 && !lessByRow(list[i - 1], list[i]))
            return false;
    }
    return true;
}

} // namespace

bool CStaticDefectPixelCorrection::GetDefectPixelList(GenApi::INodeMap* nodeMap, StaticDefectPixelList& list, EListType type)
{
    GenApi::INodeMap& map = checkedNodeMap(nodeMap);
    CStringParameter stored(map, listFeature(type));
    list = FromText(stored.GetValue().toStdString());
    return true;
}

bool CStaticDefectPixelCorrection::SetDefectPixelList(GenApi::INodeMap* nodeMap, StaticDefectPixelList& list, EListType type)
{
    GenApi::INodeMap& map = checkedNodeMap(nodeMap);
    if (type == ListType_Factory)
        throw GenICam::AccessException("The factory's defect pixel list is read-only.", __FILE__, __LINE__);
    if (!isNormal(map, list))
        throw GenICam::InvalidArgumentException("The defect pixel list is not in normal form. Normalize it first.", __FILE__,
                                                __LINE__);
    CStringParameter(map, listFeature(type)).SetValue(ToText(list).c_str());
    // The camera corrects with the new list from the next image on.
    CCommandParameter(map, ReloadFeature).Execute();
    return true;
}

bool CStaticDefectPixelCorrection::NormalizePixelList(GenApi::INodeMap* nodeMap, StaticDefectPixelList& list)
{
    GenApi::INodeMap& map = checkedNodeMap(nodeMap);
    int64_t width = 0;
    int64_t height = 0;
    sensorSize(map, width, height);
    list.erase(std::remove_if(list.begin(), list.end(),
                              [&](const StaticDefectPixel& p) { return int64_t(p.x) >= width || int64_t(p.y) >= height; }),
               list.end());
    std::sort(list.begin(), list.end(), lessByRow);
    list.erase(std::unique(list.begin(), list.end()), list.end());
    return true;
}

std::string CStaticDefectPixelCorrection::ToText(const StaticDefectPixelList& list)
{
    std::string text;
    for (const auto& pixel : list) {
        if (!text.empty())
            text += ';';
        text += std::to_string(pixel.x) + ',' + std::to_string(pixel.y);
    }
    return text;
}

StaticDefectPixelList CStaticDefectPixelCorrection::FromText(const std::string& text)
{
    StaticDefectPixelList list;
    std::istringstream entries(text);
    std::string entry;
    while (std::getline(entries, entry, ';')) {
        std::istringstream fields(entry);
        StaticDefectPixel pixel;
        char comma = 0;
        std::string rest;
        if (!(fields >> pixel.x >> comma >> pixel.y) || comma != ',' || (fields >> rest)) {
            const std::string message = "The defect pixel list holds a malformed entry: '" + entry + "'.";
            throw GenICam::FormatException(message.c_str(), __FILE__, __LINE__);
        }
        list.push_back(pixel);
    }
    return list;
}

} // namespace Tavix
