#pragma once

#include <QString>

namespace GenApi {
class CFirmwareUpdateInfo;
class IFirmwareUpdateProgressObserver;
}

namespace Plugin::OptiRoster::Internal {

// A device whose firmware can be updated.
class IFirmwareUpdatable
{
public:
    virtual ~IFirmwareUpdatable() = default;
    virtual bool updateFirmware(const GenApi::CFirmwareUpdateInfo& info, GenApi::IFirmwareUpdateProgressObserver* observer,
                                const QString& path) = 0;
    // True when the question could be answered; the answer is in matches.
    virtual bool firmwareUpdateMatchesDevice(const GenApi::CFirmwareUpdateInfo& info, bool& matches) = 0;
};

} // namespace Plugin::OptiRoster::Internal
