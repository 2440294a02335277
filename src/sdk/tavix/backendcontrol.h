#pragma once

/// \file
/// Which camera worlds the SDK layer serves: "sim" (the default), "aravis" where the build has
/// it, or both. TAVIX_BACKENDS sets the start value, e.g. "sim,aravis". For tests, tools and the
/// host's command line; a plug-in never needs it. In the kit with TavixViewer::SimControl.

#include <string>
#include <vector>

/// The choice of camera worlds.
namespace TavixBackends {

/// The backends this build knows, in their listing order.
std::vector<std::string> availableBackends();
/// The backends that serve now.
std::vector<std::string> activeBackends();
/// Takes a comma-separated list. An unknown or empty list changes nothing and gives an error
/// text naming what is wrong.
bool setActiveBackends(const std::string& list, std::string* error = nullptr);

} // namespace TavixBackends
