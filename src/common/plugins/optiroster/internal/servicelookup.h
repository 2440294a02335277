#pragma once

#include <core/plugin/servicelookup.h>

namespace Plugin::OptiRoster::Internal {

using Core::Plugin::findService;

} // namespace Plugin::OptiRoster::Internal
