#include <tavix/aravis/arvnodemap.h>

#include <tavix/featurevalue.h>

#include <cfloat>

namespace TavixAravis {
namespace {

[[noreturn]] void refuse(const std::string& text)
{
    throw GenICam::AccessException(text.c_str(), __FILE__, __LINE__);
}

template <typename Interface, GenApi::EInterfaceType Type>
class TArvNode : public Interface, public CArvFeature
{
public:
    using CArvFeature::CArvFeature;

    GenICam::gcstring GetName() const override { return m_name; }
    GenApi::EInterfaceType GetPrincipalInterfaceType() const override { return Type; }
    GenApi::EAccessMode GetAccessMode() const override { return accessMode(); }
    GenICam::gcstring ToString() const override { return toString(); }
    void FromString(const GenICam::gcstring& value) override { fromString(value); }
};

class CArvValue : public TArvNode<GenApi::INode, GenApi::intfIValue>
{
public:
    using TArvNode::TArvNode;
};

class CArvInteger : public TArvNode<GenApi::IInteger, GenApi::intfIInteger>
{
public:
    using TArvNode::TArvNode;

    int64_t GetValue() const override { return call("Reading", arv_gc_integer_get_value); }
    void SetValue(int64_t value) override
    {
        const auto held = lock();
        CErrorTrap error;
        arv_gc_integer_set_value(ARV_GC_INTEGER(writable()), value, error.out());
        error.throwIfFailed("Writing '" + m_name + "'");
    }
    // A description may leave a limit out: GenICam takes the type's own limits and a step of 1.
    int64_t GetMin() const override { return call("Reading the minimum of", arv_gc_integer_get_min, INT64_MIN); }
    int64_t GetMax() const override { return call("Reading the maximum of", arv_gc_integer_get_max, INT64_MAX); }
    int64_t GetInc() const override { return call("Reading the increment of", arv_gc_integer_get_inc, 1); }
    GenICam::gcstring GetUnit() const override
    {
        const auto held = lock();
        const char* unit = arv_gc_integer_get_unit(ARV_GC_INTEGER(readable()));
        return unit ? unit : "";
    }
    // Aravis would take a number's prefix ("1600.7" as 1600) and C's other bases ("0x100").
    void FromString(const GenICam::gcstring& value) override { SetValue(Tavix::integerFromText(value, m_name)); }

private:
    int64_t call(const char* what, gint64 (*get)(ArvGcInteger*, GError**)) const
    {
        const auto held = lock();
        CErrorTrap error;
        const gint64 value = get(ARV_GC_INTEGER(readable()), error.out());
        error.throwIfFailed(std::string(what) + " '" + m_name + "'");
        return value;
    }
    int64_t call(const char* what, gint64 (*get)(ArvGcInteger*, GError**), int64_t whenLeftOut) const
    {
        const auto held = lock();
        CErrorTrap error;
        const gint64 value = get(ARV_GC_INTEGER(readable()), error.out());
        if (error.failedForMissingProperty())
            return whenLeftOut;
        error.throwIfFailed(std::string(what) + " '" + m_name + "'");
        return value;
    }
};

class CArvFloat : public TArvNode<GenApi::IFloat, GenApi::intfIFloat>
{
public:
    using TArvNode::TArvNode;

    double GetValue() const override { return call("Reading", arv_gc_float_get_value); }
    void SetValue(double value) override
    {
        const auto held = lock();
        CErrorTrap error;
        arv_gc_float_set_value(ARV_GC_FLOAT(writable()), value, error.out());
        error.throwIfFailed("Writing '" + m_name + "'");
    }
    double GetMin() const override { return call("Reading the minimum of", arv_gc_float_get_min, -DBL_MAX); }
    double GetMax() const override { return call("Reading the maximum of", arv_gc_float_get_max, DBL_MAX); }
    GenICam::gcstring GetUnit() const override
    {
        const auto held = lock();
        const char* unit = arv_gc_float_get_unit(ARV_GC_FLOAT(readable()));
        return unit ? unit : "";
    }
    void FromString(const GenICam::gcstring& value) override { SetValue(Tavix::floatFromText(value, m_name)); }

private:
    double call(const char* what, double (*get)(ArvGcFloat*, GError**), double whenLeftOut = 0.0) const
    {
        const auto held = lock();
        CErrorTrap error;
        const double value = get(ARV_GC_FLOAT(readable()), error.out());
        if (whenLeftOut != 0.0 && error.failedForMissingProperty())
            return whenLeftOut;
        error.throwIfFailed(std::string(what) + " '" + m_name + "'");
        return value;
    }
};

class CArvBoolean : public TArvNode<GenApi::IBoolean, GenApi::intfIBoolean>
{
public:
    using TArvNode::TArvNode;

    bool GetValue() const override
    {
        const auto held = lock();
        CErrorTrap error;
        const bool value = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(readable()), error.out());
        error.throwIfFailed("Reading '" + m_name + "'");
        return value;
    }
    void SetValue(bool value) override
    {
        const auto held = lock();
        CErrorTrap error;
        arv_gc_boolean_set_value(ARV_GC_BOOLEAN(writable()), value, error.out());
        error.throwIfFailed("Writing '" + m_name + "'");
    }
    void FromString(const GenICam::gcstring& value) override { SetValue(Tavix::booleanFromText(value, m_name)); }
};

class CArvCommand : public TArvNode<GenApi::ICommand, GenApi::intfICommand>
{
public:
    using TArvNode::TArvNode;

    void Execute() override
    {
        const auto held = lock();
        CErrorTrap error;
        arv_gc_command_execute(ARV_GC_COMMAND(writable()), error.out());
        error.throwIfFailed("Executing '" + m_name + "'");
    }
    // Aravis doesn't poll a command's completion; it returns once the command is written.
    bool IsDone() const override { return true; }
};

class CArvString : public TArvNode<GenApi::IString, GenApi::intfIString>
{
public:
    using TArvNode::TArvNode;

    GenICam::gcstring GetValue() const override
    {
        const auto held = lock();
        CErrorTrap error;
        const char* value = arv_gc_string_get_value(ARV_GC_STRING(readable()), error.out());
        error.throwIfFailed("Reading '" + m_name + "'");
        return value ? value : "";
    }
    void SetValue(const GenICam::gcstring& value) override
    {
        const auto held = lock();
        CErrorTrap error;
        arv_gc_string_set_value(ARV_GC_STRING(writable()), value.c_str(), error.out());
        error.throwIfFailed("Writing '" + m_name + "'");
    }
};

class CArvEnumeration : public TArvNode<GenApi::IEnumeration, GenApi::intfIEnumeration>
{
public:
    using TArvNode::TArvNode;

    void GetSymbolics(GenICam::gcstring_vector& symbolics) const override
    {
        const auto held = lock();
        symbolics.clear();
        for (const GSList* item = arv_gc_enumeration_get_entries(enumeration(readable())); item; item = item->next) {
            ArvGcFeatureNode* entry = ARV_GC_FEATURE_NODE(item->data);
            CErrorTrap implemented;
            CErrorTrap available;
            if (arv_gc_feature_node_is_implemented(entry, implemented.out())
                && arv_gc_feature_node_is_available(entry, available.out()))
                symbolics.push_back(arv_gc_feature_node_get_name(entry));
        }
    }
    int64_t GetIntValue() const override
    {
        const auto held = lock();
        CErrorTrap error;
        const gint64 value = arv_gc_enumeration_get_int_value(enumeration(readable()), error.out());
        error.throwIfFailed("Reading '" + m_name + "'");
        return value;
    }
    void SetIntValue(int64_t value) override
    {
        const auto held = lock();
        CErrorTrap error;
        arv_gc_enumeration_set_int_value(enumeration(writable()), value, error.out());
        error.throwIfFailed("Writing '" + m_name + "'");
    }
    bool GetEntryValue(const GenICam::gcstring& symbolic, int64_t& value) const override
    {
        const auto held = lock();
        if (!m_pNode)
            return false;
        for (const GSList* item = arv_gc_enumeration_get_entries(enumeration(m_pNode)); item; item = item->next) {
            ArvGcFeatureNode* entry = ARV_GC_FEATURE_NODE(item->data);
            if (symbolic != arv_gc_feature_node_get_name(entry))
                continue;
            CErrorTrap error;
            value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(entry), error.out());
            return !error.failed();
        }
        return false;
    }

private:
    static ArvGcEnumeration* enumeration(ArvGcFeatureNode* node) { return ARV_GC_ENUMERATION(node); }
};

// The typed node for an Aravis feature, or null for one that is no value (a category, a port).
std::unique_ptr<CArvFeature> makeNode(ArvGcFeatureNode* node, const std::string& name, std::recursive_mutex& mutex,
                                      GenApi::INode*& asNode)
{
    auto make = [&](auto* typed) {
        asNode = typed;
        return std::unique_ptr<CArvFeature>(typed);
    };
    if (ARV_IS_GC_CATEGORY(node) || ARV_IS_GC_ENUM_ENTRY(node))
        return nullptr;
    if (ARV_IS_GC_ENUMERATION(node))
        return make(new CArvEnumeration(name, mutex));
    if (ARV_IS_GC_BOOLEAN(node))
        return make(new CArvBoolean(name, mutex));
    if (ARV_IS_GC_COMMAND(node))
        return make(new CArvCommand(name, mutex));
    if (ARV_IS_GC_INTEGER(node))
        return make(new CArvInteger(name, mutex));
    if (ARV_IS_GC_FLOAT(node))
        return make(new CArvFloat(name, mutex));
    if (ARV_IS_GC_STRING(node))
        return make(new CArvString(name, mutex));
    return make(new CArvValue(name, mutex));
}

} // namespace

GenApi::EAccessMode CArvFeature::accessMode() const
{
    const auto held = lock();
    if (!m_pNode)
        return GenApi::NI;
    CErrorTrap implemented;
    if (!arv_gc_feature_node_is_implemented(m_pNode, implemented.out()) || implemented.failed())
        return GenApi::NI;
    CErrorTrap available;
    if (!arv_gc_feature_node_is_available(m_pNode, available.out()) || available.failed())
        return GenApi::NA;
    CErrorTrap locked;
    const bool isLocked = arv_gc_feature_node_is_locked(m_pNode, locked.out()) && !locked.failed();
    switch (arv_gc_feature_node_get_actual_access_mode(m_pNode)) {
    case ARV_GC_ACCESS_MODE_RO:
        return GenApi::RO;
    case ARV_GC_ACCESS_MODE_WO:
        return isLocked ? GenApi::NA : GenApi::WO;
    default:
        return isLocked ? GenApi::RO : GenApi::RW;
    }
}

ArvGcFeatureNode* CArvFeature::readable() const
{
    if (!GenApi::IsReadable(dynamic_cast<const GenApi::INode*>(this)))
        refuse("Node '" + m_name + "' is not readable.");
    return m_pNode;
}

ArvGcFeatureNode* CArvFeature::writable() const
{
    if (!GenApi::IsWritable(dynamic_cast<const GenApi::INode*>(this)))
        refuse("Node '" + m_name + "' is not writable.");
    return m_pNode;
}

GenICam::gcstring CArvFeature::toString() const
{
    const auto held = lock();
    CErrorTrap error;
    const char* value = arv_gc_feature_node_get_value_as_string(readable(), error.out());
    error.throwIfFailed("Reading '" + m_name + "'");
    return value ? value : "";
}

void CArvFeature::fromString(const GenICam::gcstring& value)
{
    const auto held = lock();
    CErrorTrap error;
    arv_gc_feature_node_set_value_from_string(writable(), value.c_str(), error.out());
    error.throwIfFailed("Writing '" + m_name + "'");
}

CArvNodeMap::CArvNodeMap(std::string deviceName)
    : m_deviceName(std::move(deviceName))
{
}

CArvNodeMap::~CArvNodeMap() = default;

ArvGcFeatureNode* CArvNodeMap::lookUp(const std::string& name) const
{
    if (!m_pGenicam)
        return nullptr;
    ArvGcNode* node = arv_gc_get_node(m_pGenicam, name.c_str());
    return node && ARV_IS_GC_FEATURE_NODE(node) ? ARV_GC_FEATURE_NODE(node) : nullptr;
}

GenApi::INode* CArvNodeMap::GetNode(const GenICam::gcstring& name) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto known = m_entries.find(name.toStdString());
    if (known != m_entries.end())
        return known->second.node;
    ArvGcFeatureNode* feature = lookUp(name.toStdString());
    if (!feature)
        return nullptr;
    GenApi::INode* node = nullptr;
    std::unique_ptr<CArvFeature> typed = makeNode(feature, name.toStdString(), m_mutex, node);
    if (!typed)
        return nullptr;
    typed->bind(feature);
    m_entries[name.toStdString()] = Entry{std::move(typed), node};
    return node;
}

void CArvNodeMap::collect(const std::string& category, GenApi::NodeList_t& nodes, std::map<std::string, bool>& seen) const
{
    ArvGcFeatureNode* node = lookUp(category);
    if (!node || !ARV_IS_GC_CATEGORY(node) || seen[category])
        return;
    seen[category] = true;
    for (const GSList* item = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); item; item = item->next) {
        const std::string name = static_cast<const char*>(item->data);
        if (GenApi::INode* feature = GetNode(name.c_str())) {
            if (!seen[name])
                nodes.push_back(feature);
            seen[name] = true;
        } else {
            collect(name, nodes, seen);
        }
    }
}

void CArvNodeMap::GetNodes(GenApi::NodeList_t& nodes) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    nodes.clear();
    std::map<std::string, bool> seen;
    collect("Root", nodes, seen);
}

void CArvNodeMap::attachChunks(ArvBuffer* buffer)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (m_pGenicam)
        arv_gc_set_buffer(m_pGenicam, buffer);
}

void CArvNodeMap::attach(ArvGc* genicam)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_pGenicam = genicam;
    if (genicam) {
        arv_gc_set_range_check_policy(genicam, ARV_RANGE_CHECK_POLICY_ENABLE);
        arv_gc_set_access_check_policy(genicam, ARV_ACCESS_CHECK_POLICY_ENABLE);
    }
    for (auto& entry : m_entries)
        entry.second.feature->bind(lookUp(entry.first));
}

} // namespace TavixAravis
