#include "genicamcachehelper.h"

#include <tavix/genapi.h>

namespace Plugin::OptiRoster {

void CGenicamCacheHelper::clearGenicamCache()
{
    GenApi::CNodeMapFactory::ClearCache();
}

} // namespace Plugin::OptiRoster
