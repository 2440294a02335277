#pragma once

#include <QMetaType>

namespace Plugin::OptiRoster {

enum EFirmwareUpdateDirection {
    Upgrade = 0,
    Downgrade = 1,
    Sidegrade = 2,
    Unknown = 3,
};

/// The values are the SDK's progress step types, unchanged.
enum EFirmwareUpdateStep {
    CheckPreconditions = 0,
    AcquireUpdateData = 1,
    FeatureWrite = 2,
    FeatureExecute = 3,
    FeatureAssert = 4,
    FileUpload = 5,
    DeviceReset = 6,
    Invalid = 7,
};

/// What an update run did to the device, as far as the run can tell.
enum EFirmwareUpdateOutcome {
    /// apply() hasn't run.
    NotRun = 0,
    /// The run ended before the new firmware was written and verified: the device keeps its own.
    NotApplied = 1,
    /// Written and verified, and the device came back from its restart with it.
    Applied = 2,
    /// Written and verified, and the device was told to restart with it, but it wasn't found again
    /// (it may be on a subnet the host can't reach, or slow to come back). It likely runs the new
    /// firmware, which it reports once an enumeration finds it again.
    AppliedNotRediscovered = 3,
};

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(Plugin::OptiRoster::EFirmwareUpdateDirection)
Q_DECLARE_METATYPE(Plugin::OptiRoster::EFirmwareUpdateOutcome)
Q_DECLARE_METATYPE(Plugin::OptiRoster::EFirmwareUpdateStep)
