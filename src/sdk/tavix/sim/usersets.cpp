#include <tavix/sim/usersets.h>

#include <tavix/sim/world.h>

#include <algorithm>

namespace TavixSim {
namespace {

const FeatureDesc* described(const NodeMapDescription& description, const char* name)
{
    const auto it = std::find_if(description.begin(), description.end(), [&](const FeatureDesc& f) { return f.name == name; });
    return it == description.end() ? nullptr : &*it;
}

} // namespace

CUserSets::CUserSets(CNodeMap& camera, std::string deviceFullName, const NodeMapDescription& description)
    : m_camera(camera)
    , m_deviceFullName(std::move(deviceFullName))
    , m_defaults(writableValues(camera))
{
    const auto install = [&](const char* name, std::function<void()> action) {
        FeatureDesc command = *described(description, name);
        camera.addCommand(command, std::move(action));
    };
    install("UserSetSave", [this] { save(); });
    install("UserSetLoad", [this] { load(); });
    camera.setLockRule("UserSetSave", [this] {
        return selected() == "Default" ? std::string("while the UserSetSelector is Default: the factory's set can't be saved over.")
                                       : std::string();
    });
    camera.setLockRule("UserSetLoad", [this] {
        return m_camera.isStreamingLocked() ? std::string("while the camera streams images; stop the grab to load a set.")
                                            : std::string();
    });
}

std::string CUserSets::selected() const
{
    return m_camera.enumValue("UserSetSelector");
}

CUserSets::FeatureValues CUserSets::writableValues(const CNodeMap& camera)
{
    FeatureValues values;
    GenApi::NodeList_t nodes;
    camera.GetNodes(nodes);
    for (const GenApi::INode* node : nodes) {
        const std::string name = node->GetName().toStdString();
        if (node->GetAccessMode() != GenApi::RW || node->GetPrincipalInterfaceType() == GenApi::intfICommand
            || name.compare(0, 7, "UserSet") == 0)
            continue;
        try {
            values.emplace_back(name, node->ToString().toStdString());
        } catch (const GenICam::GenericException&) {
            // A value that can't be read now isn't part of the set.
        }
    }
    return values;
}

void CUserSets::writeValues(CNodeMap& camera, const FeatureValues& values)
{
    FeatureValues pending = values;
    std::string failures;
    for (int pass = 0; pass < 2 && !pending.empty(); ++pass) {
        FeatureValues failed;
        failures.clear();
        for (const auto& value : pending) {
            GenApi::INode* node = camera.GetNode(value.first.c_str());
            try {
                if (!node)
                    throw GenICam::LogicalErrorException(("The camera has no feature '" + value.first + "'.").c_str(), __FILE__, __LINE__);
                if (node->ToString() != value.second.c_str())
                    node->FromString(value.second.c_str());
            } catch (const GenICam::GenericException& e) {
                failed.push_back(value);
                failures += (failures.empty() ? "" : "; ") + value.first + ": " + e.GetDescription();
            }
        }
        pending = std::move(failed);
    }
    if (!pending.empty())
        throw GenICam::RuntimeException(("Not every value could be written: " + failures).c_str(), __FILE__, __LINE__);
}

void CUserSets::save()
{
    CWorld::instance().setUserSet(m_deviceFullName, selected(), writableValues(m_camera));
}

void CUserSets::load()
{
    const std::string set = selected();
    const FeatureValues saved = set == "Default" ? FeatureValues() : CWorld::instance().userSet(m_deviceFullName, set);
    writeValues(m_camera, saved.empty() ? m_defaults : saved);
}

} // namespace TavixSim
