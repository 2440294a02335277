#pragma once

#include <core/appcorecomponents/contextobject.h>

namespace Core::AppCoreComponents {

/// Root of every description object that the host shows to its user.
class IBaseInfo : public CContextObject
{
    Q_OBJECT
public:
    using CContextObject::CContextObject;
};

} // namespace Core::AppCoreComponents
