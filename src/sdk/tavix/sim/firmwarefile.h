#pragma once

#include <tavix/firmware.h>

#include <QString>

#include <vector>

namespace TavixSim {

// Reads an update file (docs/firmware.md) whole. A file that can't be read, isn't an update
// file, has a bad entry or a payload that doesn't match its checksum throws the SDK's exception,
// with a text that names the file and the entry.
std::vector<GenApi::CFirmwareUpdateInfo> readFirmwareFile(const QString& fileName);

// Whether text matches one of the comma-separated wildcard patterns of list.
bool matchesWildcardList(const QString& list, const QString& text);

// The version part of a device's firmware version text, by the update's VersionStyle and
// VersionExtractionPattern; the whole text when nothing matches.
QString extractVersion(const GenApi::CFirmwareUpdateInfo::Data& data, const QString& deviceText);

// Compares dotted versions numerically, component by component, absent ones being 0. ok is set
// to false when one of them isn't a dotted version.
int compareDottedVersions(const QString& left, const QString& right, bool& ok);

} // namespace TavixSim
