#pragma once

#include <tavix/genicam.h>

#include <cstdint>
#include <vector>

namespace GenApi {

using GenICam::gcstring;
using GenICam::gcstring_vector;

/// A node's access now: not implemented, not available, write-only, read-only, read and write.
enum EAccessMode { NI, NA, WO, RO, RW };

/// The type of a node's value.
enum EInterfaceType {
    intfIValue,
    intfIInteger,
    intfIBoolean,
    intfICommand,
    intfIFloat,
    intfIString,
    intfIEnumeration,
    intfICategory,
};

/// Who a feature is meant for: a graphical client shows the features of a level and those below
/// it; invisible features are for programs alone.
enum EVisibility { Beginner, Expert, Guru, Invisible };

/// How a number is best shown and entered.
enum ERepresentation { Linear, Logarithmic, Boolean, PureNumber, HexNumber, IPV4Address, MACAddress, _UndefinedRepresentation };

class INode;

/// A list of nodes.
using NodeList_t = std::vector<INode*>;

/// One feature of a node map. The typed interfaces below derive from it; a node is of the
/// type it can be cast to.
class INode
{
public:
    virtual ~INode() = default;
    /// The feature's name.
    virtual gcstring GetName() const = 0;
    /// The type of the node's value.
    virtual EInterfaceType GetPrincipalInterfaceType() const = 0;
    /// The node's access now.
    virtual EAccessMode GetAccessMode() const = 0;
    /// The value as text.
    virtual gcstring ToString() const = 0;
    /// Writes the value from text; throws when it can't.
    virtual void FromString(const gcstring& value) = 0;

    /// The name a person reads ("Exposure Time"); the feature's name when the description gives
    /// none.
    virtual gcstring GetDisplayName() const { return GetName(); }
    /// One line about the feature, for a tooltip; may be empty.
    virtual gcstring GetToolTip() const { return {}; }
    /// What the feature does, at length; may be empty.
    virtual gcstring GetDescription() const { return {}; }
    /// Who the feature is meant for.
    virtual EVisibility GetVisibility() const { return Beginner; }
    /// The features whose value, limits or access may change when this one changes: those it
    /// selects and those computed from it. Empty when the description tells of none.
    virtual void GetDependents(NodeList_t& dependents) const { dependents.clear(); }
};

/// A category: a named group of features and further categories, as a client shows them as a
/// tree. A node map whose description has categories has the root category "Root".
class ICategory : virtual public INode
{
public:
    /// The features and categories the category lists, in the description's order.
    virtual void GetFeatures(NodeList_t& features) const = 0;
};

/// An integer node.
class IInteger : virtual public INode
{
public:
    /// The value.
    virtual int64_t GetValue() const = 0;
    /// Writes the value; throws when it is out of range or not writable.
    virtual void SetValue(int64_t value) = 0;
    /// The lowest value.
    virtual int64_t GetMin() const = 0;
    /// The highest value.
    virtual int64_t GetMax() const = 0;
    /// The step between values.
    virtual int64_t GetInc() const = 0;
    /// The unit of the value ("us"), empty when the feature names none.
    virtual gcstring GetUnit() const { return {}; }
    /// How the value is best shown.
    virtual ERepresentation GetRepresentation() const { return _UndefinedRepresentation; }
};

/// A floating-point node.
class IFloat : virtual public INode
{
public:
    /// The value.
    virtual double GetValue() const = 0;
    /// Writes the value; throws when it is out of range or not writable.
    virtual void SetValue(double value) = 0;
    /// The lowest value.
    virtual double GetMin() const = 0;
    /// The highest value.
    virtual double GetMax() const = 0;
    /// Whether the value goes in steps.
    virtual bool HasInc() const { return false; }
    /// The step between values, when it has one.
    virtual double GetInc() const { return 0.0; }
    /// The unit of the value ("us"), empty when the feature names none.
    virtual gcstring GetUnit() const { return {}; }
    /// How the value is best shown.
    virtual ERepresentation GetRepresentation() const { return _UndefinedRepresentation; }
};

/// A boolean node.
class IBoolean : virtual public INode
{
public:
    /// The value.
    virtual bool GetValue() const = 0;
    /// Writes the value; throws when it is not writable.
    virtual void SetValue(bool value) = 0;
};

/// A command node.
class ICommand : virtual public INode
{
public:
    /// Runs the command.
    virtual void Execute() = 0;
    /// Whether the last run has finished.
    virtual bool IsDone() const = 0;
};

/// A string node.
class IString : virtual public INode
{
public:
    /// The value.
    virtual gcstring GetValue() const = 0;
    /// Writes the value; throws when it is not writable.
    virtual void SetValue(const gcstring& value) = 0;
};

/// An enumeration node, whose entries have symbolic names and integer values.
class IEnumeration : virtual public INode
{
public:
    /// The entries that are available now, in the node's order.
    virtual void GetSymbolics(gcstring_vector& symbolics) const = 0;
    /// The current entry's integer value.
    virtual int64_t GetIntValue() const = 0;
    /// Selects the entry of the integer value.
    virtual void SetIntValue(int64_t value) = 0;
    /// The integer value of an entry; false when the node has no such entry.
    virtual bool GetEntryValue(const gcstring& symbolic, int64_t& value) const = 0;
};

/// The features of one module of a device, by name.
class INodeMap
{
public:
    virtual ~INodeMap() = default;
    /// The node of the name; null when the map has none.
    virtual INode* GetNode(const gcstring& name) const = 0;
    /// Every feature of the map, in the description's order; categories are reached from the
    /// root category ("Root") alone.
    virtual void GetNodes(NodeList_t& nodes) const = 0;
    /// The name of the device the map belongs to.
    virtual gcstring GetDeviceName() const = 0;
};

/// Whether the node exists in the device.
inline bool IsImplemented(const INode* node) { return node && node->GetAccessMode() != NI; }
/// Whether the node can be used now.
inline bool IsAvailable(const INode* node) { return node && node->GetAccessMode() != NI && node->GetAccessMode() != NA; }
/// Whether the node can be read now.
inline bool IsReadable(const INode* node) { return node && (node->GetAccessMode() == RO || node->GetAccessMode() == RW); }
/// Whether the node can be written now.
inline bool IsWritable(const INode* node) { return node && (node->GetAccessMode() == WO || node->GetAccessMode() == RW); }

/// The cache of parsed node map descriptions, shared by the devices of one model.
class CNodeMapFactory
{
public:
    /// Empties the cache; the next device of each model parses its description again.
    static bool ClearCache();
};

} // namespace GenApi
