#pragma once

namespace Plugin::OptiRoster {

/// Empties the SDK's cache of node map descriptions. Whatever the SDK throws reaches the caller.
class CGenicamCacheHelper
{
public:
    /// Empties the cache.
    static void clearGenicamCache();
};

} // namespace Plugin::OptiRoster
