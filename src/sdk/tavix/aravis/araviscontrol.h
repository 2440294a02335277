#pragma once

// Control of the Aravis backend, for tests, benchmarks and tools; application code never needs
// it. Exists where the build has Aravis (TAVIX_WITH_ARAVIS).

#include <string>
#include <vector>

namespace TavixAravis {

// The Aravis interfaces that appear as transport layers: "GigEVision", "USB3Vision" and
// "Fake", Aravis's in-process fake camera. The default is GigEVision and USB3Vision, or the
// comma-separated list of TAVIX_ARAVIS_INTERFACES. Unknown names are refused with an error.
bool setInterfaces(const std::vector<std::string>& interfaceIds, std::string* error = nullptr);
std::vector<std::string> interfaces();

} // namespace TavixAravis
