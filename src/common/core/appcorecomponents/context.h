#pragma once

#include <core/cid.h>

namespace Core::AppCoreComponents {

/// The key that stamps a description object: an identifier, such as a camera's full name.
class CContext
{
public:
    /// An empty context.
    CContext() = default;
    /// A context of the identifier.
    explicit CContext(const Core::CId& id)
        : m_id(id)
    {
    }

    /// The identifier.
    const Core::CId& getId() const { return m_id; }

private:
    Core::CId m_id;
};

} // namespace Core::AppCoreComponents
