#pragma once

#include <tavix/genicam.h>

#include <cstdint>
#include <vector>

namespace GenApi {

using GenICam::gcstring;
using GenICam::gcstring_vector;

enum EAccessMode { NI, NA, WO, RO, RW };

enum EInterfaceType {
    intfIValue,
    intfIInteger,
    intfIBoolean,
    intfICommand,
    intfIFloat,
    intfIString,
    intfIEnumeration,
};

// One feature of a node map. The typed interfaces below derive from it; a node is of the
// type it can be cast to.
class INode
{
public:
    virtual ~INode() = default;
    virtual gcstring GetName() const = 0;
    virtual EInterfaceType GetPrincipalInterfaceType() const = 0;
    virtual EAccessMode GetAccessMode() const = 0;
    virtual gcstring ToString() const = 0;
    virtual void FromString(const gcstring& value) = 0;
};

class IInteger : virtual public INode
{
public:
    virtual int64_t GetValue() const = 0;
    virtual void SetValue(int64_t value) = 0;
    virtual int64_t GetMin() const = 0;
    virtual int64_t GetMax() const = 0;
    virtual int64_t GetInc() const = 0;
};

class IFloat : virtual public INode
{
public:
    virtual double GetValue() const = 0;
    virtual void SetValue(double value) = 0;
    virtual double GetMin() const = 0;
    virtual double GetMax() const = 0;
};

class IBoolean : virtual public INode
{
public:
    virtual bool GetValue() const = 0;
    virtual void SetValue(bool value) = 0;
};

class ICommand : virtual public INode
{
public:
    virtual void Execute() = 0;
    virtual bool IsDone() const = 0;
};

class IString : virtual public INode
{
public:
    virtual gcstring GetValue() const = 0;
    virtual void SetValue(const gcstring& value) = 0;
};

class IEnumeration : virtual public INode
{
public:
    // The entries that are available now, in the node's order.
    virtual void GetSymbolics(gcstring_vector& symbolics) const = 0;
    virtual int64_t GetIntValue() const = 0;
    virtual void SetIntValue(int64_t value) = 0;
    // The integer value of an entry; false when the node has no such entry.
    virtual bool GetEntryValue(const gcstring& symbolic, int64_t& value) const = 0;
};

using NodeList_t = std::vector<INode*>;

class INodeMap
{
public:
    virtual ~INodeMap() = default;
    virtual INode* GetNode(const gcstring& name) const = 0;
    virtual void GetNodes(NodeList_t& nodes) const = 0;
    virtual gcstring GetDeviceName() const = 0;
};

inline bool IsImplemented(const INode* node) { return node && node->GetAccessMode() != NI; }
inline bool IsAvailable(const INode* node) { return node && node->GetAccessMode() != NI && node->GetAccessMode() != NA; }
inline bool IsReadable(const INode* node) { return node && (node->GetAccessMode() == RO || node->GetAccessMode() == RW); }
inline bool IsWritable(const INode* node) { return node && (node->GetAccessMode() == WO || node->GetAccessMode() == RW); }

// The cache of parsed node map descriptions, shared by the devices of one model.
class CNodeMapFactory
{
public:
    // Empties the cache; the next device of each model parses its description again.
    static bool ClearCache();
};

} // namespace GenApi
