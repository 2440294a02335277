#pragma once

#include <QObject>

namespace Plugin::OptiRoster {

Q_NAMESPACE

/// Which of a camera's static defect pixel lists; the values are the SDK's list types.
enum EStaticDefectPixelListType {
    ListType_Factory = 0,
    ListType_User = 1,
};
Q_ENUM_NS(EStaticDefectPixelListType)

} // namespace Plugin::OptiRoster
