#pragma once

#include <tavix/genapi.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace TavixSim {

struct EnumEntryDesc
{
    std::string name;
    int64_t value = 0;
    bool available = true;
};

// One feature as a scenario describes it.
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
    bool boolValue = false;
    std::string stringValue; // also the current entry of an enumeration
    std::string unit;        // of an integer or a float, such as "us"; may be empty
    std::vector<EnumEntryDesc> entries;
};

using NodeMapDescription = std::vector<FeatureDesc>;

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

    void addFeature(const FeatureDesc& feature);
    // A read-only integer whose value is computed at each read, under the map's mutex.
    void addComputedInteger(const std::string& name, std::function<int64_t()> compute);
    // A string read, and written if write is given, through the callbacks at each access.
    void addComputedString(const std::string& name, std::function<std::string()> read,
                           std::function<void(const std::string&)> write = {});
    // A write-only command that runs action after each execution.
    void addCommand(const std::string& name, std::function<void()> action);
    void setAccessHook(AccessHook hook);

    // Writes that bypass access modes, for the device's own updates (chunk values, ...).
    void setIntegerInternal(const std::string& name, int64_t value);
    int64_t integerValue(const std::string& name, int64_t defaultValue) const;
    bool booleanValue(const std::string& name, bool defaultValue) const;
    std::string enumValue(const std::string& name) const;
    std::string stringValue(const std::string& name) const;

    std::recursive_mutex& mutex() const { return m_mutex; }
    void checkAccess(const char* access, const std::string& feature) const;

    // While a grab runs the features that shape the image (Width, Height, PixelFormat, binning
    // and decimation) are locked: read-only, and a write is refused with the reason, as the
    // GenICam rule for a streaming camera has it.
    void setStreamingLocked(bool locked) { m_streamingLocked.store(locked, std::memory_order_release); }
    bool isStreamingLocked() const { return m_streamingLocked.load(std::memory_order_acquire); }
    static bool isLockedWhileStreaming(const std::string& feature);

private:
    std::string m_deviceName;
    mutable std::recursive_mutex m_mutex;
    std::vector<std::unique_ptr<GenApi::INode>> m_nodes;
    std::map<std::string, GenApi::INode*> m_byName;
    AccessHook m_accessHook;
    std::atomic<bool> m_streamingLocked{false};
};

} // namespace TavixSim
