#pragma once

#include <tavix/aravis/arvsupport.h>

#include <tavix/genapi.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace TavixAravis {

class CArvNodeMap;

// What every typed node shares: the Aravis feature behind it, which is null while the device
// is closed, and the access checks the layer reports as GenICam exceptions.
class CArvFeature
{
public:
    CArvFeature(std::string name, const CArvNodeMap& map, std::recursive_mutex& mutex)
        : m_name(std::move(name))
        , m_map(map)
        , m_mutex(mutex)
    {
    }
    virtual ~CArvFeature() = default;

    void bind(ArvGcFeatureNode* node) { m_pNode = node; }
    const std::string& name() const { return m_name; }
    GenApi::EAccessMode accessMode() const;
    GenICam::gcstring toString() const;
    void fromString(const GenICam::gcstring& value);
    // What the description says of the feature; the defaults while the device is closed.
    GenICam::gcstring displayName() const;
    GenICam::gcstring toolTip() const;
    GenICam::gcstring description() const;
    GenApi::EVisibility visibility() const;

protected:
    // Aravis's GenICam evaluation isn't thread-safe: each use of a feature holds its map's mutex.
    std::unique_lock<std::recursive_mutex> lock() const { return std::unique_lock<std::recursive_mutex>(m_mutex); }
    // The feature, after the check that it may be read or written now.
    ArvGcFeatureNode* readable() const;
    ArvGcFeatureNode* writable() const;

    std::string m_name;
    const CArvNodeMap& m_map;
    std::recursive_mutex& m_mutex;
    ArvGcFeatureNode* m_pNode = nullptr;
};

// A node map over the GenICam description that Aravis parsed for one device. Nodes are made
// on first use and keep their address for the life of the map; they refer to nothing (and
// report NI) while the device is closed.
class CArvNodeMap : public GenApi::INodeMap
{
public:
    explicit CArvNodeMap(std::string deviceName);
    ~CArvNodeMap() override;

    GenApi::INode* GetNode(const GenICam::gcstring& name) const override;
    void GetNodes(GenApi::NodeList_t& nodes) const override;
    GenICam::gcstring GetDeviceName() const override { return m_deviceName; }

    // Binds the map to the description of an opened device, or to none with null.
    void attach(ArvGc* genicam);
    // Makes the chunk data of a grabbed image readable as features, or none with null.
    void attachChunks(ArvBuffer* buffer);

    // The nodes a category lists, categories included, in the description's order.
    void listCategory(const std::string& category, GenApi::NodeList_t& nodes) const;
    // The features whose value, limits or access may change when the named one changes: those
    // it selects, those that read it, and those that read what it writes.
    void listDependents(const std::string& feature, GenApi::NodeList_t& nodes) const;

private:
    struct Entry
    {
        std::unique_ptr<CArvFeature> feature;
        GenApi::INode* node;
    };

    // Under m_mutex.
    ArvGcFeatureNode* lookUp(const std::string& name) const;
    void collect(const std::string& category, GenApi::NodeList_t& nodes, std::map<std::string, bool>& seen) const;
    // The dependencies of every feature, worked out from the description once it is asked for.
    void findDependents() const;

    std::string m_deviceName;
    mutable std::recursive_mutex m_mutex;
    ArvGc* m_pGenicam = nullptr;
    mutable std::map<std::string, Entry> m_entries;
    mutable bool m_dependentsFound = false;
    mutable std::map<std::string, std::set<std::string>> m_dependents;
};

} // namespace TavixAravis
