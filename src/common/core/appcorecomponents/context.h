#pragma once

#include <core/cid.h>

namespace Core::AppCoreComponents {

class CContext
{
public:
    CContext() = default;
    explicit CContext(const Core::CId& id)
        : m_id(id)
    {
    }

    const Core::CId& getId() const { return m_id; }

private:
    Core::CId m_id;
};

} // namespace Core::AppCoreComponents
