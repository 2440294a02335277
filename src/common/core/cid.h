#pragma once

#include <QByteArray>

namespace Core {

// Identifier of a context; compared by its bytes.
class CId
{
public:
    explicit CId(const char* id = "");
    virtual ~CId();

    QByteArray toByteArray() const { return m_id; }
    bool operator==(const CId& other) const { return m_id == other.m_id; }
    bool operator!=(const CId& other) const { return !(*this == other); }

private:
    QByteArray m_id;
};

} // namespace Core
