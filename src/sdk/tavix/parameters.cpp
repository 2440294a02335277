#include <tavix/parameters.h>

#include <string>

namespace Tavix {

CParameter::CParameter()
    : m_pNode(nullptr)
{
}

CParameter::CParameter(GenApi::INodeMap& nodeMap, const char* name)
    : m_pNode(nodeMap.GetNode(name))
    , m_name(name)
{
}

CParameter::CParameter(GenApi::INode* node)
    : m_pNode(node)
    , m_name(node ? node->GetName() : gcstring())
{
}

CParameter::~CParameter() = default;

void CParameter::throwMissing() const
{
    const std::string text = "The feature '" + m_name.toStdString() + "' does not exist or has another type.";
    throw GenICam::LogicalErrorException(text.c_str(), __FILE__, __LINE__);
}

template <typename Interface>
Interface* CParameter::typed() const
{
    auto node = dynamic_cast<Interface*>(m_pNode);
    if (!node)
        throwMissing();
    return node;
}

gcstring CParameter::ToString() const
{
    if (!m_pNode)
        throwMissing();
    return m_pNode->ToString();
}

void CParameter::FromString(const gcstring& value)
{
    if (!m_pNode)
        throwMissing();
    m_pNode->FromString(value);
}

// Each Try... operation answers false for what its plain form would throw.
template <typename Operation>
static bool attempt(Operation&& operation)
{
    try {
        operation();
        return true;
    } catch (const GenICam::GenericException&) {
        return false;
    }
}

int64_t CIntegerParameter::GetValue() const { return typed<GenApi::IInteger>()->GetValue(); }
void CIntegerParameter::SetValue(int64_t value) { typed<GenApi::IInteger>()->SetValue(value); }
bool CIntegerParameter::TrySetValue(int64_t value) { return attempt([&] { SetValue(value); }); }
int64_t CIntegerParameter::GetMin() const { return typed<GenApi::IInteger>()->GetMin(); }
int64_t CIntegerParameter::GetMax() const { return typed<GenApi::IInteger>()->GetMax(); }
int64_t CIntegerParameter::GetInc() const { return typed<GenApi::IInteger>()->GetInc(); }

double CFloatParameter::GetValue() const { return typed<GenApi::IFloat>()->GetValue(); }
void CFloatParameter::SetValue(double value) { typed<GenApi::IFloat>()->SetValue(value); }
bool CFloatParameter::TrySetValue(double value) { return attempt([&] { SetValue(value); }); }

bool CBooleanParameter::GetValue() const { return typed<GenApi::IBoolean>()->GetValue(); }
bool CBooleanParameter::GetValueOrDefault(bool defaultValue) const
{
    if (!IsReadable() || !dynamic_cast<GenApi::IBoolean*>(m_pNode))
        return defaultValue;
    try {
        return GetValue();
    } catch (const GenICam::GenericException&) {
        return defaultValue;
    }
}
void CBooleanParameter::SetValue(bool value) { typed<GenApi::IBoolean>()->SetValue(value); }
bool CBooleanParameter::TrySetValue(bool value) { return attempt([&] { SetValue(value); }); }

gcstring CEnumParameter::GetValue() const { return typed<GenApi::IEnumeration>()->ToString(); }
void CEnumParameter::SetValue(const gcstring& value) { typed<GenApi::IEnumeration>()->FromString(value); }
bool CEnumParameter::TrySetValue(const gcstring& value) { return attempt([&] { SetValue(value); }); }
bool CEnumParameter::CanSetValue(const gcstring& value) const
{
    if (!IsWritable())
        return false;
    gcstring_vector values;
    GetSettableValues(values);
    for (const auto& candidate : values) {
        if (candidate == value)
            return true;
    }
    return false;
}
void CEnumParameter::GetSettableValues(gcstring_vector& values) const
{
    values.clear();
    if (auto node = dynamic_cast<GenApi::IEnumeration*>(m_pNode))
        node->GetSymbolics(values);
}
int64_t CEnumParameter::GetIntValue() const { return typed<GenApi::IEnumeration>()->GetIntValue(); }

void CCommandParameter::Execute() { typed<GenApi::ICommand>()->Execute(); }
bool CCommandParameter::TryExecute() { return attempt([&] { Execute(); }); }
bool CCommandParameter::IsDone() const { return typed<GenApi::ICommand>()->IsDone(); }

gcstring CStringParameter::GetValue() const { return typed<GenApi::IString>()->GetValue(); }
void CStringParameter::SetValue(const gcstring& value) { typed<GenApi::IString>()->SetValue(value); }
bool CStringParameter::TrySetValue(const gcstring& value) { return attempt([&] { SetValue(value); }); }

} // namespace Tavix
