#pragma once

// Control of the simulated camera world, for tests and tools. Not part of the SDK's names.

namespace TavixSim {

struct RuntimeCounters
{
    int initializeCalls = 0;
    int terminateCalls = 0;
    int users = 0; // initialisations not yet matched by a termination
};

RuntimeCounters runtimeCounters();

} // namespace TavixSim
