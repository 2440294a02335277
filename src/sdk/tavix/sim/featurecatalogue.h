#pragma once

#include <tavix/sim/nodemap.h>

namespace TavixSim {

// The simulated cameras describe the features of the standard names as real cameras do: each in
// its standard category, with a display name, a tooltip, a description, a visibility, a unit and
// the features it depends on. What a scenario gives itself stays; this fills in the rest. A
// category of a standard name gets its display name and description likewise.
void describeStandardFeature(FeatureDesc& feature);

} // namespace TavixSim
