#include <tavix/sim/nodemap.h>

#include <tavix/featurevalue.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sstream>

namespace TavixSim {
namespace {

using GenApi::gcstring;
using Lock = std::lock_guard<std::recursive_mutex>;

[[noreturn]] void fail(const char* type, const std::string& text)
{
    GenICam::throwException(type, text, __FILE__, __LINE__);
}

class CNodeBase : public virtual GenApi::INode
{
public:
    CNodeBase(const CNodeMap* map, const FeatureDesc& desc)
        : m_pMap(map)
        , m_desc(desc)
        , m_lockable(CNodeMap::isLockedWhileStreaming(desc.name))
    {
    }

    gcstring GetName() const override { return m_desc.name; }
    GenApi::EAccessMode GetAccessMode() const override
    {
        return m_desc.access == GenApi::RW && lockedNow() ? GenApi::RO : m_desc.access;
    }

protected:
    void checkReadable() const
    {
        m_pMap->checkAccess("Read", m_desc.name);
        if (!GenApi::IsReadable(this))
            fail("AccessException", "Node '" + m_desc.name + "' is not readable.");
    }
    void checkWritable() const
    {
        m_pMap->checkAccess("Write", m_desc.name);
        if (m_desc.access == GenApi::RW && lockedNow())
            fail("AccessException", "Node '" + m_desc.name + "' is locked while the camera streams images; stop the grab to change it.");
        if (!GenApi::IsWritable(this))
            fail("AccessException", "Node '" + m_desc.name + "' is not writable.");
    }
    bool lockedNow() const { return m_lockable && m_pMap->isStreamingLocked(); }

    const CNodeMap* m_pMap;
    FeatureDesc m_desc;
    const bool m_lockable;
};

class CIntegerNode : public CNodeBase, public GenApi::IInteger
{
public:
    using CNodeBase::CNodeBase;
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfIInteger; }
    int64_t GetValue() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        return current();
    }
    void SetValue(int64_t value) override
    {
        Lock lock(m_pMap->mutex());
        checkWritable();
        if (value < m_desc.intMin || value > m_desc.intMax)
            fail("OutOfRangeException", "Value " + std::to_string(value) + " of '" + m_desc.name + "' is out of range.");
        if (m_desc.intInc > 1 && (value - m_desc.intMin) % m_desc.intInc != 0)
            fail("InvalidArgumentException", "Value " + std::to_string(value) + " of '" + m_desc.name + "' doesn't fit its increment.");
        m_desc.intValue = value;
    }
    int64_t GetMin() const override { return m_desc.intMin; }
    int64_t GetMax() const override { return m_desc.intMax; }
    int64_t GetInc() const override { return m_desc.intInc; }
    gcstring GetUnit() const override { return m_desc.unit; }
    gcstring ToString() const override { return std::to_string(GetValue()); }
    void FromString(const gcstring& value) override { SetValue(Tavix::integerFromText(value, m_desc.name)); }

    void setInternal(int64_t value) { m_desc.intValue = value; }
    virtual int64_t current() const { return m_desc.intValue; }
};

class CComputedIntegerNode : public CIntegerNode
{
public:
    CComputedIntegerNode(const CNodeMap* map, const FeatureDesc& desc, std::function<int64_t()> compute)
        : CIntegerNode(map, desc)
        , m_compute(std::move(compute))
    {
    }
    int64_t current() const override { return m_compute(); }

private:
    std::function<int64_t()> m_compute;
};

class CFloatNode : public CNodeBase, public GenApi::IFloat
{
public:
    using CNodeBase::CNodeBase;
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfIFloat; }
    double GetValue() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        return m_desc.floatValue;
    }
    void SetValue(double value) override
    {
        Lock lock(m_pMap->mutex());
        checkWritable();
        if (std::isnan(value) || value < m_desc.floatMin || value > m_desc.floatMax)
            fail("OutOfRangeException", "Value of '" + m_desc.name + "' is out of range.");
        m_desc.floatValue = value;
    }
    double GetMin() const override { return m_desc.floatMin; }
    double GetMax() const override { return m_desc.floatMax; }
    gcstring GetUnit() const override { return m_desc.unit; }
    gcstring ToString() const override
    {
        std::ostringstream text;
        text << GetValue();
        return text.str();
    }
    void FromString(const gcstring& value) override { SetValue(Tavix::floatFromText(value, m_desc.name)); }
};

class CBooleanNode : public CNodeBase, public GenApi::IBoolean
{
public:
    using CNodeBase::CNodeBase;
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfIBoolean; }
    bool GetValue() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        return m_desc.boolValue;
    }
    void SetValue(bool value) override
    {
        Lock lock(m_pMap->mutex());
        checkWritable();
        m_desc.boolValue = value;
    }
    gcstring ToString() const override { return GetValue() ? "true" : "false"; }
    void FromString(const gcstring& value) override { SetValue(Tavix::booleanFromText(value, m_desc.name)); }
};

class CCommandNode : public CNodeBase, public GenApi::ICommand
{
public:
    using CNodeBase::CNodeBase;
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfICommand; }
    void Execute() override
    {
        Lock lock(m_pMap->mutex());
        checkWritable();
        ++m_desc.intValue; // counts executions
    }
    bool IsDone() const override { return true; }
    gcstring ToString() const override { return std::to_string(m_desc.intValue); }
    void FromString(const gcstring&) override { Execute(); }
};

// A command that acts when executed; the action runs outside the map's mutex, since it may
// reach beyond the map.
class CActionCommandNode : public CCommandNode
{
public:
    CActionCommandNode(const CNodeMap* map, const FeatureDesc& desc, std::function<void()> action)
        : CCommandNode(map, desc)
        , m_action(std::move(action))
    {
    }
    void Execute() override
    {
        CCommandNode::Execute();
        m_action();
    }

private:
    std::function<void()> m_action;
};

class CStringNode : public CNodeBase, public GenApi::IString
{
public:
    using CNodeBase::CNodeBase;
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfIString; }
    gcstring GetValue() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        return m_desc.stringValue;
    }
    void SetValue(const gcstring& value) override
    {
        Lock lock(m_pMap->mutex());
        checkWritable();
        m_desc.stringValue = value.toStdString();
    }
    gcstring ToString() const override { return GetValue(); }
    void FromString(const gcstring& value) override { SetValue(value); }
};

// A string whose value belongs to someone else: read and written through callbacks, under the
// map's mutex, so that it can show the device's current state or keep what outlives the map.
class CComputedStringNode : public CNodeBase, public GenApi::IString
{
public:
    CComputedStringNode(const CNodeMap* map, const FeatureDesc& desc, std::function<std::string()> read,
                        std::function<void(const std::string&)> write)
        : CNodeBase(map, desc)
        , m_read(std::move(read))
        , m_write(std::move(write))
    {
    }
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfIString; }
    gcstring GetValue() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        return m_read();
    }
    void SetValue(const gcstring& value) override
    {
        Lock lock(m_pMap->mutex());
        checkWritable();
        m_write(value.toStdString());
    }
    gcstring ToString() const override { return GetValue(); }
    void FromString(const gcstring& value) override { SetValue(value); }

private:
    std::function<std::string()> m_read;
    std::function<void(const std::string&)> m_write;
};

class CEnumerationNode : public CNodeBase, public GenApi::IEnumeration
{
public:
    using CNodeBase::CNodeBase;
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfIEnumeration; }
    void GetSymbolics(GenApi::gcstring_vector& symbolics) const override
    {
        Lock lock(m_pMap->mutex());
        symbolics.clear();
        for (const auto& entry : m_desc.entries) {
            if (entry.available)
                symbolics.emplace_back(entry.name);
        }
    }
    int64_t GetIntValue() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        const EnumEntryDesc* entry = find(m_desc.stringValue);
        return entry ? entry->value : 0;
    }
    void SetIntValue(int64_t value) override
    {
        Lock lock(m_pMap->mutex());
        for (const auto& entry : m_desc.entries) {
            if (entry.value == value)
                return FromString(entry.name);
        }
        fail("InvalidArgumentException", "No entry of '" + m_desc.name + "' has the value " + std::to_string(value) + ".");
    }
    bool GetEntryValue(const gcstring& symbolic, int64_t& value) const override
    {
        Lock lock(m_pMap->mutex());
        const EnumEntryDesc* entry = find(symbolic.toStdString());
        if (entry)
            value = entry->value;
        return entry != nullptr;
    }
    gcstring ToString() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        return m_desc.stringValue;
    }
    void FromString(const gcstring& value) override
    {
        Lock lock(m_pMap->mutex());
        checkWritable();
        const EnumEntryDesc* entry = find(value.toStdString());
        if (!entry)
            fail("InvalidArgumentException", "'" + value.toStdString() + "' is no entry of '" + m_desc.name + "'.");
        if (!entry->available)
            fail("AccessException", "Entry '" + value.toStdString() + "' of '" + m_desc.name + "' is not available.");
        m_desc.stringValue = entry->name;
    }

private:
    const EnumEntryDesc* find(const std::string& name) const
    {
        for (const auto& entry : m_desc.entries) {
            if (entry.name == name)
                return &entry;
        }
        return nullptr;
    }
};

std::unique_ptr<GenApi::INode> makeNode(const CNodeMap* map, const FeatureDesc& desc)
{
    switch (desc.type) {
    case GenApi::intfIFloat:
        return std::make_unique<CFloatNode>(map, desc);
    case GenApi::intfIBoolean:
        return std::make_unique<CBooleanNode>(map, desc);
    case GenApi::intfICommand:
        return std::make_unique<CCommandNode>(map, desc);
    case GenApi::intfIString:
        return std::make_unique<CStringNode>(map, desc);
    case GenApi::intfIEnumeration:
        return std::make_unique<CEnumerationNode>(map, desc);
    default:
        return std::make_unique<CIntegerNode>(map, desc);
    }
}

} // namespace

CNodeMap::CNodeMap(std::string deviceName, const NodeMapDescription& description)
    : m_deviceName(std::move(deviceName))
{
    m_nodes.reserve(description.size());
    for (const auto& feature : description)
        addFeature(feature);
}

CNodeMap::~CNodeMap() = default;

GenApi::INode* CNodeMap::GetNode(const GenApi::gcstring& name) const
{
    Lock lock(m_mutex);
    const auto it = m_byName.find(name.toStdString());
    return it == m_byName.end() ? nullptr : it->second;
}

void CNodeMap::GetNodes(GenApi::NodeList_t& nodes) const
{
    Lock lock(m_mutex);
    nodes.clear();
    for (const auto& node : m_nodes)
        nodes.push_back(node.get());
}

GenApi::gcstring CNodeMap::GetDeviceName() const
{
    return m_deviceName;
}

void CNodeMap::addFeature(const FeatureDesc& feature)
{
    Lock lock(m_mutex);
    auto node = makeNode(this, feature);
    GenApi::INode* raw = node.get();
    const auto existing = m_byName.find(feature.name);
    if (existing != m_byName.end()) {
        for (auto& slot : m_nodes) {
            if (slot.get() == existing->second)
                slot = std::move(node);
        }
    } else {
        m_nodes.push_back(std::move(node));
    }
    m_byName[feature.name] = raw;
}

void CNodeMap::addComputedInteger(const std::string& name, std::function<int64_t()> compute)
{
    Lock lock(m_mutex);
    FeatureDesc desc;
    desc.name = name;
    desc.access = GenApi::RO;
    auto node = std::make_unique<CComputedIntegerNode>(this, desc, std::move(compute));
    m_byName[name] = node.get();
    m_nodes.push_back(std::move(node));
}

void CNodeMap::addComputedString(const std::string& name, std::function<std::string()> read,
                                 std::function<void(const std::string&)> write)
{
    Lock lock(m_mutex);
    FeatureDesc desc;
    desc.name = name;
    desc.type = GenApi::intfIString;
    desc.access = write ? GenApi::RW : GenApi::RO;
    auto node = std::make_unique<CComputedStringNode>(this, desc, std::move(read), std::move(write));
    m_byName[name] = node.get();
    m_nodes.push_back(std::move(node));
}

void CNodeMap::addCommand(const std::string& name, std::function<void()> action)
{
    Lock lock(m_mutex);
    FeatureDesc desc;
    desc.name = name;
    desc.type = GenApi::intfICommand;
    desc.access = GenApi::WO;
    auto node = std::make_unique<CActionCommandNode>(this, desc, std::move(action));
    m_byName[name] = node.get();
    m_nodes.push_back(std::move(node));
}

bool CNodeMap::isLockedWhileStreaming(const std::string& feature)
{
    static const char* const locked[] = {"Width", "Height", "PixelFormat", "BinningHorizontal", "BinningVertical",
                                         "DecimationHorizontal", "DecimationVertical"};
    return std::any_of(std::begin(locked), std::end(locked), [&](const char* name) { return feature == name; });
}

void CNodeMap::setAccessHook(AccessHook hook)
{
    Lock lock(m_mutex);
    m_accessHook = std::move(hook);
}

void CNodeMap::checkAccess(const char* access, const std::string& feature) const
{
    if (m_accessHook)
        m_accessHook(access, feature);
}

void CNodeMap::setIntegerInternal(const std::string& name, int64_t value)
{
    Lock lock(m_mutex);
    if (auto node = dynamic_cast<CIntegerNode*>(GetNode(name.c_str())))
        node->setInternal(value);
}

int64_t CNodeMap::integerValue(const std::string& name, int64_t defaultValue) const
{
    Lock lock(m_mutex);
    auto node = dynamic_cast<CIntegerNode*>(GetNode(name.c_str()));
    return node && GenApi::IsAvailable(node) ? node->current() : defaultValue;
}

bool CNodeMap::booleanValue(const std::string& name, bool defaultValue) const
{
    Lock lock(m_mutex);
    auto node = dynamic_cast<GenApi::IBoolean*>(GetNode(name.c_str()));
    if (!node || !GenApi::IsReadable(node))
        return defaultValue;
    return node->GetValue();
}

std::string CNodeMap::enumValue(const std::string& name) const
{
    Lock lock(m_mutex);
    auto node = dynamic_cast<GenApi::IEnumeration*>(GetNode(name.c_str()));
    return node && GenApi::IsReadable(node) ? node->ToString().toStdString() : std::string();
}

std::string CNodeMap::stringValue(const std::string& name) const
{
    Lock lock(m_mutex);
    auto node = GetNode(name.c_str());
    return node && GenApi::IsReadable(node) ? node->ToString().toStdString() : std::string();
}

} // namespace TavixSim
