#include <tavix/sim/nodemap.h>

#include <tavix/featurevalue.h>
#include <tavix/sim/featurecatalogue.h>

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
        if (m_desc.access != GenApi::RW && m_desc.access != GenApi::WO)
            return m_desc.access;
        Lock lock(m_pMap->mutex());
        if (!lockReason().empty())
            return m_desc.access == GenApi::RW ? GenApi::RO : GenApi::NA;
        return m_desc.access;
    }
    gcstring GetDisplayName() const override { return m_desc.displayName.empty() ? m_desc.name : m_desc.displayName; }
    gcstring GetToolTip() const override { return m_desc.toolTip; }
    gcstring GetDescription() const override { return m_desc.description; }
    GenApi::EVisibility GetVisibility() const override { return m_desc.visibility.value_or(GenApi::Beginner); }
    void GetDependents(GenApi::NodeList_t& dependents) const override
    {
        Lock lock(m_pMap->mutex());
        m_pMap->listDependents(m_desc.name, dependents);
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
        if (m_desc.access == GenApi::RW || m_desc.access == GenApi::WO) {
            const std::string reason = lockReason();
            if (!reason.empty())
                fail("AccessException", "Node '" + m_desc.name + "' is locked " + reason);
        }
        if (!GenApi::IsWritable(this))
            fail("AccessException", "Node '" + m_desc.name + "' is not writable.");
    }
    // Why the feature can't be written now, or an empty text; under the map's mutex.
    std::string lockReason() const
    {
        if (m_lockable && m_pMap->isStreamingLocked())
            return "while the camera streams images; stop the grab to change it.";
        return m_pMap->lockReason(m_desc.name);
    }
    void changed() const { const_cast<CNodeMap*>(m_pMap)->changed(m_desc.name); }

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
        if (value < m_desc.intMin || value > GetMax())
            fail("OutOfRangeException", "Value " + std::to_string(value) + " of '" + m_desc.name + "' is out of range ("
                                            + std::to_string(m_desc.intMin) + " to " + std::to_string(GetMax()) + ").");
        if (m_desc.intInc > 1 && (value - m_desc.intMin) % m_desc.intInc != 0)
            fail("InvalidArgumentException", "Value " + std::to_string(value) + " of '" + m_desc.name + "' doesn't fit its increment.");
        m_desc.intValue = value;
        changed();
    }
    int64_t GetMin() const override { return m_desc.intMin; }
    int64_t GetMax() const override
    {
        Lock lock(m_pMap->mutex());
        const std::optional<int64_t> rule = m_pMap->maximumOf(m_desc.name);
        return rule ? std::max(m_desc.intMin, std::min(*rule, m_desc.intMax)) : m_desc.intMax;
    }
    int64_t GetInc() const override { return m_desc.intInc; }
    gcstring GetUnit() const override { return m_desc.unit; }
    GenApi::ERepresentation GetRepresentation() const override { return m_desc.representation; }
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
        if (m_desc.floatInc > 0) {
            const double steps = (value - m_desc.floatMin) / m_desc.floatInc;
            if (std::abs(steps - std::round(steps)) > 1e-6)
                fail("InvalidArgumentException", "Value of '" + m_desc.name + "' doesn't fit its increment.");
        }
        m_desc.floatValue = value;
        changed();
    }
    double GetMin() const override { return m_desc.floatMin; }
    double GetMax() const override { return m_desc.floatMax; }
    bool HasInc() const override { return m_desc.floatInc > 0; }
    double GetInc() const override { return m_desc.floatInc; }
    gcstring GetUnit() const override { return m_desc.unit; }
    GenApi::ERepresentation GetRepresentation() const override { return m_desc.representation; }
    gcstring ToString() const override
    {
        std::ostringstream text;
        text << GetValue();
        return text.str();
    }
    void FromString(const gcstring& value) override { SetValue(Tavix::floatFromText(value, m_desc.name)); }

    void setInternal(double value) { m_desc.floatValue = value; }
    virtual double current() const { return m_desc.floatValue; }
};

class CComputedFloatNode : public CFloatNode
{
public:
    CComputedFloatNode(const CNodeMap* map, const FeatureDesc& desc, std::function<double()> compute)
        : CFloatNode(map, desc)
        , m_compute(std::move(compute))
    {
    }
    double GetValue() const override
    {
        Lock lock(m_pMap->mutex());
        checkReadable();
        return m_compute();
    }
    double current() const override { return m_compute(); }

private:
    std::function<double()> m_compute;
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
        changed();
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
        changed();
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
        changed();
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
        changed();
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
        changed();
    }

    // For the device's own changes: an entry it has, whatever the access.
    bool setInternal(const std::string& name)
    {
        if (!find(name))
            return false;
        m_desc.stringValue = name;
        return true;
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

class CCategoryNode : public CNodeBase, public GenApi::ICategory
{
public:
    using CNodeBase::CNodeBase;
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return GenApi::intfICategory; }
    gcstring ToString() const override { return {}; }
    void FromString(const gcstring&) override { fail("AccessException", "Node '" + m_desc.name + "' is a category."); }
    void GetFeatures(GenApi::NodeList_t& features) const override
    {
        Lock lock(m_pMap->mutex());
        m_pMap->listCategory(m_desc.name == RootCategory ? std::string() : m_desc.name, features);
    }
};

std::unique_ptr<GenApi::INode> makeNode(const CNodeMap* map, const FeatureDesc& desc)
{
    switch (desc.type) {
    case GenApi::intfICategory:
        return std::make_unique<CCategoryNode>(map, desc);
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
    FeatureDesc root;
    root.name = RootCategory;
    root.type = GenApi::intfICategory;
    root.access = GenApi::RO;
    place(makeNode(this, root), root);
    m_entries.reserve(description.size() + 1);
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
    for (const auto& entry : m_entries) {
        if (!entry.isCategory)
            nodes.push_back(entry.node.get());
    }
}

GenApi::gcstring CNodeMap::GetDeviceName() const
{
    return m_deviceName;
}

void CNodeMap::place(std::unique_ptr<GenApi::INode> node, const FeatureDesc& desc)
{
    Entry entry{std::move(node), desc.category, desc.dependsOn, desc.type == GenApi::intfICategory};
    GenApi::INode* raw = entry.node.get();
    const auto existing = m_byName.find(desc.name);
    const auto slot = existing == m_byName.end()
                          ? m_entries.end()
                          : std::find_if(m_entries.begin(), m_entries.end(),
                                         [&](const Entry& e) { return e.node.get() == existing->second; });
    if (slot != m_entries.end())
        *slot = std::move(entry);
    else
        m_entries.push_back(std::move(entry));
    m_byName[desc.name] = raw;
}

void CNodeMap::ensureCategory(const std::string& name)
{
    if (name.empty() || m_byName.count(name))
        return;
    FeatureDesc category;
    category.name = name;
    category.type = GenApi::intfICategory;
    addFeature(category);
}

void CNodeMap::addFeature(const FeatureDesc& feature)
{
    Lock lock(m_mutex);
    FeatureDesc described = feature;
    describeStandardFeature(described);
    if (described.type == GenApi::intfICategory)
        described.access = GenApi::RO;
    // Only a category lists features: one named after a feature leaves this one to the root.
    const auto parent = m_byName.find(described.category);
    if (parent != m_byName.end() && !dynamic_cast<GenApi::ICategory*>(parent->second))
        described.category.clear();
    if (described.category == described.name || described.category == RootCategory)
        described.category.clear();
    ensureCategory(described.category);
    place(makeNode(this, described), described);
}

namespace {

FeatureDesc computedFeature(const std::string& name, GenApi::EInterfaceType type, GenApi::EAccessMode access)
{
    FeatureDesc desc;
    desc.name = name;
    desc.type = type;
    desc.access = access;
    describeStandardFeature(desc);
    return desc;
}

} // namespace

void CNodeMap::addComputedInteger(const std::string& name, std::function<int64_t()> compute)
{
    Lock lock(m_mutex);
    const FeatureDesc desc = computedFeature(name, GenApi::intfIInteger, GenApi::RO);
    ensureCategory(desc.category);
    place(std::make_unique<CComputedIntegerNode>(this, desc, std::move(compute)), desc);
}

void CNodeMap::addComputedFloat(const std::string& name, std::function<double()> compute)
{
    Lock lock(m_mutex);
    const FeatureDesc desc = computedFeature(name, GenApi::intfIFloat, GenApi::RO);
    ensureCategory(desc.category);
    place(std::make_unique<CComputedFloatNode>(this, desc, std::move(compute)), desc);
}

void CNodeMap::addComputedString(const std::string& name, std::function<std::string()> read,
                                 std::function<void(const std::string&)> write)
{
    Lock lock(m_mutex);
    const FeatureDesc desc = computedFeature(name, GenApi::intfIString, write ? GenApi::RW : GenApi::RO);
    ensureCategory(desc.category);
    place(std::make_unique<CComputedStringNode>(this, desc, std::move(read), std::move(write)), desc);
}

void CNodeMap::addCommand(const std::string& name, std::function<void()> action)
{
    addCommand(computedFeature(name, GenApi::intfICommand, GenApi::WO), std::move(action));
}

void CNodeMap::addCommand(const FeatureDesc& command, std::function<void()> action)
{
    Lock lock(m_mutex);
    FeatureDesc desc = command;
    desc.type = GenApi::intfICommand;
    describeStandardFeature(desc);
    ensureCategory(desc.category);
    place(std::make_unique<CActionCommandNode>(this, desc, std::move(action)), desc);
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

void CNodeMap::setLockRule(const std::string& name, std::function<std::string()> reason)
{
    Lock lock(m_mutex);
    m_lockRules[name] = std::move(reason);
}

void CNodeMap::setMaximumRule(const std::string& name, std::function<int64_t()> maximum)
{
    Lock lock(m_mutex);
    m_maximumRules[name] = std::move(maximum);
}

void CNodeMap::setChangeListener(std::function<void(const std::string&)> listener)
{
    Lock lock(m_mutex);
    m_changeListener = std::move(listener);
}

void CNodeMap::checkAccess(const char* access, const std::string& feature) const
{
    if (m_accessHook)
        m_accessHook(access, feature);
}

std::string CNodeMap::lockReason(const std::string& feature) const
{
    const auto rule = m_lockRules.find(feature);
    return rule == m_lockRules.end() ? std::string() : rule->second();
}

std::optional<int64_t> CNodeMap::maximumOf(const std::string& feature) const
{
    const auto rule = m_maximumRules.find(feature);
    return rule == m_maximumRules.end() ? std::nullopt : std::optional<int64_t>(rule->second());
}

void CNodeMap::changed(const std::string& feature)
{
    m_changeCount.fetch_add(1, std::memory_order_acq_rel);
    if (m_changeListener)
        m_changeListener(feature);
}

void CNodeMap::listCategory(const std::string& category, GenApi::NodeList_t& nodes) const
{
    nodes.clear();
    for (const auto& entry : m_entries) {
        if (entry.category == category && entry.node->GetName() != RootCategory)
            nodes.push_back(entry.node.get());
    }
}

void CNodeMap::listDependents(const std::string& feature, GenApi::NodeList_t& nodes) const
{
    nodes.clear();
    for (const auto& entry : m_entries) {
        if (std::find(entry.dependsOn.begin(), entry.dependsOn.end(), feature) != entry.dependsOn.end())
            nodes.push_back(entry.node.get());
    }
}

void CNodeMap::setIntegerInternal(const std::string& name, int64_t value)
{
    Lock lock(m_mutex);
    if (auto node = dynamic_cast<CIntegerNode*>(GetNode(name.c_str())))
        node->setInternal(value);
}

void CNodeMap::setFloatInternal(const std::string& name, double value)
{
    Lock lock(m_mutex);
    if (auto node = dynamic_cast<CFloatNode*>(GetNode(name.c_str()))) {
        node->setInternal(value);
        changed(name);
    }
}

void CNodeMap::setEnumInternal(const std::string& name, const std::string& entry)
{
    Lock lock(m_mutex);
    if (auto node = dynamic_cast<CEnumerationNode*>(GetNode(name.c_str())); node && node->setInternal(entry))
        changed(name);
}

int64_t CNodeMap::integerValue(const std::string& name, int64_t defaultValue) const
{
    Lock lock(m_mutex);
    auto node = dynamic_cast<CIntegerNode*>(GetNode(name.c_str()));
    return node && GenApi::IsAvailable(node) ? node->current() : defaultValue;
}

double CNodeMap::floatValue(const std::string& name, double defaultValue) const
{
    Lock lock(m_mutex);
    auto node = dynamic_cast<CFloatNode*>(GetNode(name.c_str()));
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

std::string CNodeMap::firstOf(std::initializer_list<const char*> names) const
{
    Lock lock(m_mutex);
    for (const char* name : names) {
        if (GenApi::IsImplemented(GetNode(name)))
            return name;
    }
    return std::string();
}

} // namespace TavixSim
