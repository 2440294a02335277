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

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(Plugin::OptiRoster::EFirmwareUpdateDirection)
Q_DECLARE_METATYPE(Plugin::OptiRoster::EFirmwareUpdateStep)
