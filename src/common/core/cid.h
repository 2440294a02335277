#pragma once

#include <QByteArray>

namespace Core {

/// Identifier of a context; compared by its bytes.
class CId
{
public:
    /// An identifier of the bytes of id.
    explicit CId(const char* id = "");
    virtual ~CId();

    /// The identifier's bytes.
    QByteArray toByteArray() const { return m_id; }
    /// Whether both have the same bytes.
    bool operator==(const CId& other) const { return m_id == other.m_id; }
    /// Whether the bytes differ.
    bool operator!=(const CId& other) const { return !(*this == other); }

private:
    QByteArray m_id;
};

} // namespace Core
