#pragma once

#include <tavix/genapi.h>

namespace Tavix {

using GenICam::gcstring;
using GenICam::gcstring_vector;

// A handle on one feature of a node map. It may refer to a missing feature: the tests then
// answer false, Try... operations return false, and the other operations throw.
class CParameter
{
public:
    CParameter();
    CParameter(GenApi::INodeMap& nodeMap, const char* name);
    explicit CParameter(GenApi::INode* node);
    virtual ~CParameter();

    bool IsValid() const { return m_pNode != nullptr; }
    bool IsAvailable() const { return GenApi::IsAvailable(m_pNode); }
    bool IsReadable() const { return GenApi::IsReadable(m_pNode); }
    bool IsWritable() const { return GenApi::IsWritable(m_pNode); }
    GenApi::INode* GetNode() const { return m_pNode; }
    gcstring GetName() const { return m_name; }

    gcstring ToString() const;
    void FromString(const gcstring& value);

protected:
    template <typename Interface>
    Interface* typed() const;
    [[noreturn]] void throwMissing() const;

    GenApi::INode* m_pNode;
    gcstring m_name;
};

class CIntegerParameter : public CParameter
{
public:
    using CParameter::CParameter;
    int64_t GetValue() const;
    void SetValue(int64_t value);
    bool TrySetValue(int64_t value);
    int64_t GetMin() const;
    int64_t GetMax() const;
    int64_t GetInc() const;
};

class CFloatParameter : public CParameter
{
public:
    using CParameter::CParameter;
    double GetValue() const;
    void SetValue(double value);
    bool TrySetValue(double value);
};

class CBooleanParameter : public CParameter
{
public:
    using CParameter::CParameter;
    bool GetValue() const;
    // The value, or defaultValue when the feature can't be read.
    bool GetValueOrDefault(bool defaultValue) const;
    void SetValue(bool value);
    bool TrySetValue(bool value);
};

class CEnumParameter : public CParameter
{
public:
    using CParameter::CParameter;
    gcstring GetValue() const;
    void SetValue(const gcstring& value);
    bool TrySetValue(const gcstring& value);
    bool CanSetValue(const gcstring& value) const;
    void GetSettableValues(gcstring_vector& values) const;
    int64_t GetIntValue() const;
};

class CCommandParameter : public CParameter
{
public:
    using CParameter::CParameter;
    void Execute();
    bool TryExecute();
    bool IsDone() const;
};

class CStringParameter : public CParameter
{
public:
    using CParameter::CParameter;
    gcstring GetValue() const;
    void SetValue(const gcstring& value);
    bool TrySetValue(const gcstring& value);
};

} // namespace Tavix
