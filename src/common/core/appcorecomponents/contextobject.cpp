#include "contextobject.h"

namespace Core::AppCoreComponents {

CContextObject::CContextObject(QObject* parent)
    : QObject(parent)
{
}

CContextObject::~CContextObject() = default;

void CContextObject::setContext(const CContext& context)
{
    m_context = context;
}

} // namespace Core::AppCoreComponents
