#pragma once

#include <plugins/optiroster/firmwareupdatetypes.h>

#include <QString>

namespace Viewer {

// The order of firmware versions as the viewer shows an update file's updates: a version of two
// to four dot-separated numbers of up to nine digits compares by its numbers, most significant
// first, absent ones 0; any other text can't be ordered.

// Whether target is newer, older or the same as what the device has; two texts that can't be
// ordered are still the same when they are equal.
Plugin::OptiRoster::EFirmwareUpdateDirection directionOf(const QString& deviceVersion, const QString& target);
// Whether left comes before right from newest to oldest: a version that can be ordered comes
// before one that can't; two that can't keep their order.
bool newerFirst(const QString& left, const QString& right);
// Whether the text can be ordered.
bool isOrderedVersion(const QString& version);

} // namespace Viewer
