#include "cid.h"

namespace Core {

CId::CId(const char* id)
    : m_id(id ? id : "")
{
}

CId::~CId() = default;

} // namespace Core
