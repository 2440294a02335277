#include <tavix/aravis/arvnodemap.h>

#include <tavix/featurevalue.h>

#include <cfloat>
#include <functional>

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
    GenICam::gcstring GetDisplayName() const override { return displayName(); }
    GenICam::gcstring GetToolTip() const override { return toolTip(); }
    GenICam::gcstring GetDescription() const override { return description(); }
    GenApi::EVisibility GetVisibility() const override { return visibility(); }
    void GetDependents(GenApi::NodeList_t& dependents) const override { m_map.listDependents(m_name, dependents); }
};

GenApi::ERepresentation representationOf(ArvGcRepresentation representation)
{
    switch (representation) {
    case ARV_GC_REPRESENTATION_LINEAR:
        return GenApi::Linear;
    case ARV_GC_REPRESENTATION_LOGARITHMIC:
        return GenApi::Logarithmic;
    case ARV_GC_REPRESENTATION_BOOLEAN:
        return GenApi::Boolean;
    case ARV_GC_REPRESENTATION_PURE_NUMBER:
        return GenApi::PureNumber;
    case ARV_GC_REPRESENTATION_HEX_NUMBER:
        return GenApi::HexNumber;
    case ARV_GC_REPRESENTATION_IPV4_ADDRESS:
        return GenApi::IPV4Address;
    case ARV_GC_REPRESENTATION_MAC_ADDRESS:
        return GenApi::MACAddress;
    default:
        return GenApi::_UndefinedRepresentation;
    }
}

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
    GenApi::ERepresentation GetRepresentation() const override
    {
        const auto held = lock();
        return m_pNode ? representationOf(arv_gc_integer_get_representation(ARV_GC_INTEGER(m_pNode))) : GenApi::_UndefinedRepresentation;
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
    GenApi::ERepresentation GetRepresentation() const override
    {
        const auto held = lock();
        return m_pNode ? representationOf(arv_gc_float_get_representation(ARV_GC_FLOAT(m_pNode))) : GenApi::_UndefinedRepresentation;
    }
    // A description without an increment leaves a float free between its limits.
    bool HasInc() const override { return GetInc() > 0.0; }
    double GetInc() const override
    {
        const auto held = lock();
        if (!m_pNode)
            return 0.0;
        CErrorTrap error;
        const double increment = arv_gc_float_get_inc(ARV_GC_FLOAT(m_pNode), error.out());
        return error.failed() || !(increment > DBL_MIN) ? 0.0 : increment;
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

class CArvCategory : public TArvNode<GenApi::ICategory, GenApi::intfICategory>
{
public:
    using TArvNode::TArvNode;

    void GetFeatures(GenApi::NodeList_t& features) const override { m_map.listCategory(m_name, features); }
};

// The typed node for an Aravis feature, or null for one that is no feature (an entry, a port).
std::unique_ptr<CArvFeature> makeNode(ArvGcFeatureNode* node, const std::string& name, const CArvNodeMap& map,
                                      std::recursive_mutex& mutex, GenApi::INode*& asNode)
{
    auto make = [&](auto* typed) {
        asNode = typed;
        return std::unique_ptr<CArvFeature>(typed);
    };
    if (ARV_IS_GC_ENUM_ENTRY(node))
        return nullptr;
    if (ARV_IS_GC_CATEGORY(node))
        return make(new CArvCategory(name, map, mutex));
    if (ARV_IS_GC_ENUMERATION(node))
        return make(new CArvEnumeration(name, map, mutex));
    if (ARV_IS_GC_BOOLEAN(node))
        return make(new CArvBoolean(name, map, mutex));
    if (ARV_IS_GC_COMMAND(node))
        return make(new CArvCommand(name, map, mutex));
    if (ARV_IS_GC_INTEGER(node))
        return make(new CArvInteger(name, map, mutex));
    if (ARV_IS_GC_FLOAT(node))
        return make(new CArvFloat(name, map, mutex));
    if (ARV_IS_GC_STRING(node))
        return make(new CArvString(name, map, mutex));
    return make(new CArvValue(name, map, mutex));
}

GenApi::EVisibility visibilityOf(ArvGcVisibility visibility)
{
    switch (visibility) {
    case ARV_GC_VISIBILITY_INVISIBLE:
        return GenApi::Invisible;
    case ARV_GC_VISIBILITY_GURU:
        return GenApi::Guru;
    case ARV_GC_VISIBILITY_EXPERT:
        return GenApi::Expert;
    default: // a description that says nothing shows the feature to all
        return GenApi::Beginner;
    }
}

GenICam::gcstring textOr(const char* text, const std::string& fallback)
{
    return text && *text ? GenICam::gcstring(text) : GenICam::gcstring(fallback);
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

GenICam::gcstring CArvFeature::displayName() const
{
    const auto held = lock();
    return m_pNode ? textOr(arv_gc_feature_node_get_display_name(m_pNode), m_name) : GenICam::gcstring(m_name);
}

GenICam::gcstring CArvFeature::toolTip() const
{
    const auto held = lock();
    return m_pNode ? textOr(arv_gc_feature_node_get_tooltip(m_pNode), std::string()) : GenICam::gcstring();
}

GenICam::gcstring CArvFeature::description() const
{
    const auto held = lock();
    return m_pNode ? textOr(arv_gc_feature_node_get_description(m_pNode), std::string()) : GenICam::gcstring();
}

GenApi::EVisibility CArvFeature::visibility() const
{
    const auto held = lock();
    return m_pNode ? visibilityOf(arv_gc_feature_node_get_visibility(m_pNode)) : GenApi::Beginner;
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
    std::unique_ptr<CArvFeature> typed = makeNode(feature, name.toStdString(), *this, m_mutex, node);
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
        ArvGcFeatureNode* listed = lookUp(name);
        if (listed && ARV_IS_GC_CATEGORY(listed)) {
            collect(name, nodes, seen);
        } else if (GenApi::INode* feature = GetNode(name.c_str())) {
            if (!seen[name])
                nodes.push_back(feature);
            seen[name] = true;
        }
    }
}

void CArvNodeMap::listCategory(const std::string& category, GenApi::NodeList_t& nodes) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    nodes.clear();
    ArvGcFeatureNode* node = lookUp(category);
    if (!node || !ARV_IS_GC_CATEGORY(node))
        return;
    for (const GSList* item = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); item; item = item->next) {
        if (GenApi::INode* listed = GetNode(static_cast<const char*>(item->data)))
            nodes.push_back(listed);
    }
}

namespace {

// The nodes a node refers to through its properties (its value, limits, availability,
// address, selectors and invalidators), but for its port and a category's features.
std::vector<ArvGcNode*> referencedNodes(ArvGcNode* node, bool valuesOnly)
{
    std::vector<ArvGcNode*> referenced;
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child; child = arv_dom_node_get_next_sibling(child)) {
        if (!ARV_IS_GC_PROPERTY_NODE(child))
            continue;
        const ArvGcPropertyNodeType type = arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(child));
        if (type < ARV_GC_PROPERTY_NODE_TYPE_P_UNKNONW || type == ARV_GC_PROPERTY_NODE_TYPE_P_PORT
            || type == ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE)
            continue;
        if (valuesOnly && type != ARV_GC_PROPERTY_NODE_TYPE_P_VALUE)
            continue;
        if (ArvGcNode* linked = arv_gc_property_node_get_linked_node(ARV_GC_PROPERTY_NODE(child)))
            referenced.push_back(linked);
    }
    return referenced;
}

const char* nameOf(ArvGcNode* node)
{
    return ARV_IS_GC_FEATURE_NODE(node) ? arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node)) : nullptr;
}

} // namespace

void CArvNodeMap::findDependents() const
{
    m_dependents.clear();
    m_dependentsFound = true;
    if (!m_pGenicam)
        return;
    GenApi::NodeList_t features;
    std::map<std::string, bool> seen;
    collect("Root", features, seen);
    std::set<std::string> featureNames;
    for (GenApi::INode* feature : features)
        featureNames.insert(feature->GetName().toStdString());
    const auto isFeature = [&](ArvGcNode* node) { return nameOf(node) && featureNames.count(nameOf(node)); };

    // What each feature reads: the features it refers to, and the nodes between (registers,
    // formulas) that no feature is.
    std::map<std::string, std::set<ArvGcNode*>> reads;
    std::map<ArvGcNode*, std::set<std::string>> readers;
    for (const std::string& name : featureNames) {
        std::vector<ArvGcNode*> pending = referencedNodes(ARV_GC_NODE(lookUp(name)), false);
        std::set<ArvGcNode*>& visited = reads[name];
        while (!pending.empty()) {
            ArvGcNode* node = pending.back();
            pending.pop_back();
            if (!visited.insert(node).second)
                continue;
            if (isFeature(node)) {
                if (nameOf(node) != name)
                    m_dependents[nameOf(node)].insert(name);
                continue;
            }
            readers[node].insert(name);
            const std::vector<ArvGcNode*> further = referencedNodes(node, false);
            pending.insert(pending.end(), further.begin(), further.end());
        }
    }
    // A feature that writes a node another one reads changes that one: a width and the payload
    // size computed from the width's register.
    for (const std::string& name : featureNames) {
        std::vector<ArvGcNode*> pending = referencedNodes(ARV_GC_NODE(lookUp(name)), true);
        std::set<ArvGcNode*> written;
        while (!pending.empty()) {
            ArvGcNode* node = pending.back();
            pending.pop_back();
            if (isFeature(node) || !written.insert(node).second)
                continue;
            for (const std::string& reader : readers[node]) {
                if (reader != name)
                    m_dependents[name].insert(reader);
            }
            const std::vector<ArvGcNode*> further = referencedNodes(node, true);
            pending.insert(pending.end(), further.begin(), further.end());
        }
        // A selector changes what the features it selects show.
        ArvGcFeatureNode* node = lookUp(name);
        if (ARV_IS_GC_SELECTOR(node) && arv_gc_selector_is_selector(ARV_GC_SELECTOR(node))) {
            for (const GSList* item = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(node)); item; item = item->next) {
                if (const char* selected = nameOf(ARV_GC_NODE(item->data)))
                    m_dependents[name].insert(selected);
            }
        }
    }
}

void CArvNodeMap::listDependents(const std::string& feature, GenApi::NodeList_t& nodes) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    nodes.clear();
    if (!m_dependentsFound)
        findDependents();
    const auto found = m_dependents.find(feature);
    if (found == m_dependents.end())
        return;
    for (const std::string& name : found->second) {
        if (GenApi::INode* node = GetNode(name.c_str()))
            nodes.push_back(node);
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
    m_dependentsFound = false;
    if (genicam) {
        arv_gc_set_range_check_policy(genicam, ARV_RANGE_CHECK_POLICY_ENABLE);
        arv_gc_set_access_check_policy(genicam, ARV_ACCESS_CHECK_POLICY_ENABLE);
    }
    for (auto& entry : m_entries)
        entry.second.feature->bind(lookUp(entry.first));
}

} // namespace TavixAravis
