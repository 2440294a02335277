#pragma once

#include <plugins/optiroster/ifirmwareupdateinfo.h>

#include <tavix/firmware.h>

namespace Plugin::OptiRoster {

/// The plug-in's own update object: a wrapper of the SDK's record, so that the record travels as
/// a shared pointer while the SDK gets the record itself back.
class CFirmwareUpdateInfo : public IFirmwareUpdateInfo
{
    Q_OBJECT
public:
    /// Wraps the SDK's record.
    CFirmwareUpdateInfo(GenApi::CFirmwareUpdateInfo info, QObject* parent);

    QString getVersion() const override;
    QString getDescription() const override;
    QString getReleaseNotes() const override;
    QString getUpdateFilename() const override;

    /// The SDK's record, as the SDK's updater takes it.
    const GenApi::CFirmwareUpdateInfo& getGenApiInfo() const { return m_info; }

private:
    QString infoText(const char* key) const;

    GenApi::CFirmwareUpdateInfo m_info;
};

} // namespace Plugin::OptiRoster
