#pragma once

// Which camera worlds the SDK layer serves: "sim" (the default), "aravis" where the build has
// it, or both. TAVIX_BACKENDS sets the start value, e.g. "sim,aravis". For tests, tools and
// the host's command line; application code never needs it.

#include <string>
#include <vector>

namespace TavixBackends {

// The backends this build knows, in their listing order.
std::vector<std::string> availableBackends();
std::vector<std::string> activeBackends();
// Takes a comma-separated list. An unknown or empty list changes nothing and gives an error
// text naming what is wrong.
bool setActiveBackends(const std::string& list, std::string* error = nullptr);

} // namespace TavixBackends
