#pragma once

#include <tavix/sim/nodemap.h>

#include <string>
#include <utility>
#include <vector>

namespace TavixSim {

// The user sets of a simulated camera that has "UserSetSelector", "UserSetLoad" and
// "UserSetSave": a save keeps every value the camera can be given now (the user set features
// aside) in the selected set, for the rest of the run of the scenario, across closing and
// opening; a load writes them back in their order. The set "Default" holds the values the
// camera started with and can't be saved over; a set never saved loads as the default one.
// A load is refused while the camera streams, as it would change what shapes the images.
class CUserSets
{
public:
    using FeatureValues = std::vector<std::pair<std::string, std::string>>;

    // Installs the two commands in place of the described ones.
    CUserSets(CNodeMap& camera, std::string deviceFullName, const NodeMapDescription& description);

    // Every value the camera can be given now, in the map's order.
    static FeatureValues writableValues(const CNodeMap& camera);
    // Writes the values in their order, and once more those that failed, since one may depend
    // on another written later; throws RuntimeException naming what failed even so.
    static void writeValues(CNodeMap& camera, const FeatureValues& values);

private:
    void save();
    void load();
    std::string selected() const;

    CNodeMap& m_camera;
    std::string m_deviceFullName;
    FeatureValues m_defaults;
};

} // namespace TavixSim
