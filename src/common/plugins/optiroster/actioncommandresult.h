#pragma once

#include <cstdint>

namespace Plugin::OptiRoster {

/// One device's answer to an action command.
class CActionCommandResult
{
public:
    uint32_t status = 0;          ///< 0: the device acknowledged with success; 1: it reported anything else
    char deviceAddress[16] = {}; ///< the device's address as text, zero-terminated
};

} // namespace Plugin::OptiRoster
