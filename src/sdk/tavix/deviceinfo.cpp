#include <tavix/deviceinfo.h>

namespace Tavix {

gcstring CInfoBase::GetPropertyValue(const gcstring& name) const
{
    const auto it = m_properties.find(name);
    return it == m_properties.end() ? gcstring() : it->second;
}

bool CInfoBase::IsPropertyAvailable(const gcstring& name) const
{
    return m_properties.count(name) != 0;
}

CInfoBase& CInfoBase::SetPropertyValue(const gcstring& name, const gcstring& value)
{
    m_properties[name] = value;
    return *this;
}

void CInfoBase::GetPropertyNames(GenICam::gcstring_vector& names) const
{
    names.clear();
    for (const auto& property : m_properties)
        names.push_back(property.first);
}

} // namespace Tavix
