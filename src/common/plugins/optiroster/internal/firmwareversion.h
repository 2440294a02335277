#pragma once

#include <QRegExp>

#include <array>
#include <cstdint>

namespace Plugin::OptiRoster::Internal {

// A firmware version text in parsed form: four components, most significant first, absent ones 0.
struct CFirmwareVersion
{
    std::array<int32_t, 4> components{};
    bool endReached = false; // carried along, never compared
};

// Whether a version text can be compared: two to four dot-separated groups of up to nine digits.
QRegExp firmwareVersionPattern();
CFirmwareVersion parseFirmwareVersion(const char* text);

// By the components alone, from the first to the last.
bool operator<(const CFirmwareVersion& left, const CFirmwareVersion& right);
bool operator==(const CFirmwareVersion& left, const CFirmwareVersion& right);

} // namespace Plugin::OptiRoster::Internal
