#pragma once

#include <tavix/genapi.h>

namespace Tavix {

using GenICam::gcstring;
using GenICam::gcstring_vector;

/// A handle on one feature of a node map. It may refer to a missing feature: the tests then
/// answer false, Try... operations return false, and the other operations throw.
class CParameter
{
public:
    /// A handle on no feature.
    CParameter();
    /// A handle on the named feature of the node map; invalid when the map has none.
    CParameter(GenApi::INodeMap& nodeMap, const char* name);
    /// A handle on the node; invalid when it is null.
    explicit CParameter(GenApi::INode* node);
    virtual ~CParameter();

    /// Whether the handle refers to a feature.
    bool IsValid() const { return m_pNode != nullptr; }
    /// Whether the feature is available now.
    bool IsAvailable() const { return GenApi::IsAvailable(m_pNode); }
    /// Whether the feature can be read now.
    bool IsReadable() const { return GenApi::IsReadable(m_pNode); }
    /// Whether the feature can be written now.
    bool IsWritable() const { return GenApi::IsWritable(m_pNode); }
    /// The feature's node; null for an invalid handle.
    GenApi::INode* GetNode() const { return m_pNode; }
    /// The feature's name.
    gcstring GetName() const { return m_name; }

    /// The value as text.
    gcstring ToString() const;
    /// Writes the value from text.
    void FromString(const gcstring& value);

protected:
    template <typename Interface>
    /// The node as the given interface; throws when it is missing or of another type.
    Interface* typed() const;
    /// Throws the exception for a missing feature.
    [[noreturn]] void throwMissing() const;

    /// The feature's node; null when missing.
    GenApi::INode* m_pNode;
    /// The feature's name.
    gcstring m_name;
};

/// An integer feature.
class CIntegerParameter : public CParameter
{
public:
    /// The constructors of CParameter.
    using CParameter::CParameter;
    /// The value.
    int64_t GetValue() const;
    /// Writes the value; throws when it is out of range or not writable.
    void SetValue(int64_t value);
    /// Writes the value if it can; false otherwise.
    bool TrySetValue(int64_t value);
    /// The lowest value.
    int64_t GetMin() const;
    /// The highest value.
    int64_t GetMax() const;
    /// The step between values.
    int64_t GetInc() const;
};

/// A floating-point feature.
class CFloatParameter : public CParameter
{
public:
    /// The constructors of CParameter.
    using CParameter::CParameter;
    /// The value.
    double GetValue() const;
    /// Writes the value; throws when it is out of range or not writable.
    void SetValue(double value);
    /// Writes the value if it can; false otherwise.
    bool TrySetValue(double value);
};

/// A boolean feature.
class CBooleanParameter : public CParameter
{
public:
    /// The constructors of CParameter.
    using CParameter::CParameter;
    /// The value.
    bool GetValue() const;
    /// The value, or defaultValue when the feature can't be read.
    bool GetValueOrDefault(bool defaultValue) const;
    /// Writes the value; throws when it is not writable.
    void SetValue(bool value);
    /// Writes the value if it can; false otherwise.
    bool TrySetValue(bool value);
};

/// An enumeration feature, by the symbolic names of its entries.
class CEnumParameter : public CParameter
{
public:
    /// The constructors of CParameter.
    using CParameter::CParameter;
    /// The current entry's name.
    gcstring GetValue() const;
    /// Writes the value; throws when it can't.
    void SetValue(const gcstring& value);
    /// Writes the value if it can; false otherwise.
    bool TrySetValue(const gcstring& value);
    /// Whether the entry of that name can be set now.
    bool CanSetValue(const gcstring& value) const;
    /// The names of the entries that can be set now.
    void GetSettableValues(gcstring_vector& values) const;
    /// The current entry's integer value.
    int64_t GetIntValue() const;
};

/// A command feature.
class CCommandParameter : public CParameter
{
public:
    /// The constructors of CParameter.
    using CParameter::CParameter;
    /// Runs the command; throws when it can't.
    void Execute();
    /// Runs the command if it can; false otherwise.
    bool TryExecute();
    /// Whether the last run has finished.
    bool IsDone() const;
};

/// A string feature.
class CStringParameter : public CParameter
{
public:
    /// The constructors of CParameter.
    using CParameter::CParameter;
    /// The value.
    gcstring GetValue() const;
    /// Writes the value; throws when it can't.
    void SetValue(const gcstring& value);
    /// Writes the value if it can; false otherwise.
    bool TrySetValue(const gcstring& value);
};

} // namespace Tavix
