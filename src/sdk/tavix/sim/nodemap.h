#pragma once

#include <tavix/genapi.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace TavixSim {

struct EnumEntryDesc
{
    std::string name;
    int64_t value = 0;
    bool available = true;
};

// One feature, or a category (type intfICategory), as a scenario describes it.
struct FeatureDesc
{
    std::string name;
    GenApi::EInterfaceType type = GenApi::intfIInteger;
    GenApi::EAccessMode access = GenApi::RW;
    int64_t intValue = 0;
    int64_t intMin = INT64_MIN;
    int64_t intMax = INT64_MAX;
    int64_t intInc = 1;
    double floatValue = 0.0;
    double floatMin = -1e300;
    double floatMax = 1e300;
    double floatInc = 0.0;   // 0: any value in the range
    bool boolValue = false;
    std::string stringValue; // also the current entry of an enumeration
    std::string unit;        // of an integer or a float, such as "us"; may be empty
    std::vector<EnumEntryDesc> entries;

    // How a client shows it. Left empty, a feature of the standard names gets the standard
    // description (see featurecatalogue.h), any other its name and the root category.
    std::string category;    // the category that lists it; empty: the root
    std::string displayName;
    std::string toolTip;
    std::string description;
    std::optional<GenApi::EVisibility> visibility;
    GenApi::ERepresentation representation = GenApi::_UndefinedRepresentation;
    std::vector<std::string> dependsOn; // features whose change may change its value, limits or access
};

using NodeMapDescription = std::vector<FeatureDesc>;

// The name of the category that lists the top categories, and the features of none.
constexpr const char* RootCategory = "Root";

// A live node map built from a description. Every node locks the map's mutex, so nodes may
// be used from any thread.
class CNodeMap : public GenApi::INodeMap
{
public:
    // Called before each read or write of a feature with "Read"/"Write" and its name; it may
    // throw to inject a fault.
    using AccessHook = std::function<void(const char* access, const std::string& feature)>;

    CNodeMap(std::string deviceName, const NodeMapDescription& description);
    ~CNodeMap() override;

    GenApi::INode* GetNode(const GenApi::gcstring& name) const override;
    void GetNodes(GenApi::NodeList_t& nodes) const override;
    GenApi::gcstring GetDeviceName() const override;

    // Adds a feature or a category, or replaces the one of the same name in its place. A feature
    // of a category that isn't there yet brings the category along.
    void addFeature(const FeatureDesc& feature);
    // A read-only integer whose value is computed at each read, under the map's mutex.
    void addComputedInteger(const std::string& name, std::function<int64_t()> compute);
    // A read-only float, likewise.
    void addComputedFloat(const std::string& name, std::function<double()> compute);
    // A string read, and written if write is given, through the callbacks at each access.
    void addComputedString(const std::string& name, std::function<std::string()> read,
                           std::function<void(const std::string&)> write = {});
    // A write-only command that runs action after each execution, outside the map's mutex.
    void addCommand(const std::string& name, std::function<void()> action);
    // The same for a command as a scenario describes it, in the place of one of its name.
    void addCommand(const FeatureDesc& command, std::function<void()> action);
    void setAccessHook(AccessHook hook);
    // The feature reads as read-only, and a write is refused with the reason, while reason()
    // gives one; it is asked under the map's mutex.
    void setLockRule(const std::string& name, std::function<std::string()> reason);
    // The highest value of an integer feature, worked out at each use instead of the fixed one.
    void setMaximumRule(const std::string& name, std::function<int64_t()> maximum);
    // Called after each write of a value or run of a command that changed the map, with the
    // feature's name, under the map's mutex.
    void setChangeListener(std::function<void(const std::string& feature)> listener);
    // Counts the changes of the map's values, the device's own ones included.
    uint64_t changeCount() const { return m_changeCount.load(std::memory_order_acquire); }

    // Writes that bypass access modes, for the device's own updates (chunk values, ...).
    void setIntegerInternal(const std::string& name, int64_t value);
    void setFloatInternal(const std::string& name, double value);
    void setEnumInternal(const std::string& name, const std::string& entry);
    int64_t integerValue(const std::string& name, int64_t defaultValue) const;
    double floatValue(const std::string& name, double defaultValue) const;
    bool booleanValue(const std::string& name, bool defaultValue) const;
    std::string enumValue(const std::string& name) const;
    std::string stringValue(const std::string& name) const;
    // The name of the first of the names the map has, or an empty text.
    std::string firstOf(std::initializer_list<const char*> names) const;

    std::recursive_mutex& mutex() const { return m_mutex; }
    void checkAccess(const char* access, const std::string& feature) const;
    // Under the mutex: the reason the feature is locked now, or an empty text.
    std::string lockReason(const std::string& feature) const;
    std::optional<int64_t> maximumOf(const std::string& feature) const;
    // Under the mutex: a value or command of the feature changed.
    void changed(const std::string& feature);
    // Under the mutex: the nodes listed by the category, and those that depend on the feature.
    void listCategory(const std::string& category, GenApi::NodeList_t& nodes) const;
    void listDependents(const std::string& feature, GenApi::NodeList_t& nodes) const;

    // While a grab runs the features that shape the image (Width, Height, PixelFormat, binning
    // and decimation) are locked: read-only, and a write is refused with the reason, as the
    // GenICam rule for a streaming camera has it.
    void setStreamingLocked(bool locked) { m_streamingLocked.store(locked, std::memory_order_release); }
    bool isStreamingLocked() const { return m_streamingLocked.load(std::memory_order_acquire); }
    static bool isLockedWhileStreaming(const std::string& feature);

private:
    // Adds the node in its place, or in the place of the one of its name.
    void place(std::unique_ptr<GenApi::INode> node, const FeatureDesc& desc);
    void ensureCategory(const std::string& name);

    struct Entry
    {
        std::unique_ptr<GenApi::INode> node;
        std::string category;
        std::vector<std::string> dependsOn;
        bool isCategory = false;
    };

    std::string m_deviceName;
    mutable std::recursive_mutex m_mutex;
    std::vector<Entry> m_entries; // features and categories, in the description's order
    std::map<std::string, GenApi::INode*> m_byName;
    AccessHook m_accessHook;
    std::map<std::string, std::function<std::string()>> m_lockRules;
    std::map<std::string, std::function<int64_t()>> m_maximumRules;
    std::function<void(const std::string&)> m_changeListener;
    std::atomic<uint64_t> m_changeCount{0};
    std::atomic<bool> m_streamingLocked{false};
};

} // namespace TavixSim
