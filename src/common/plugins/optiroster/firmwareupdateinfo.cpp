#include "firmwareupdateinfo.h"

namespace Plugin::OptiRoster {

namespace InfoKeys {
// The vocabulary of an update's info block. The plug-in reads the first three; the others are
// the SDK's business and are named here only so that they are known.
constexpr char Version[] = "Version";
constexpr char Description[] = "Description";
constexpr char ReleaseNotes[] = "ReleaseNotes";
[[maybe_unused]] constexpr char VersionStyle[] = "VersionStyle";
[[maybe_unused]] constexpr char VersionExtractionPattern[] = "VersionExtractionPattern";
[[maybe_unused]] constexpr char ReleaseNotesURL[] = "ReleaseNotesURL";
[[maybe_unused]] constexpr char UserSetPersistence[] = "UserSetPersistence";
[[maybe_unused]] constexpr char SequencerSetPersistence[] = "SequencerSetPersistence";
} // namespace InfoKeys

CFirmwareUpdateInfo::CFirmwareUpdateInfo(GenApi::CFirmwareUpdateInfo info, QObject* parent)
    : IFirmwareUpdateInfo(parent)
    , m_info(std::move(info))
{
}

QString CFirmwareUpdateInfo::infoText(const char* key) const
{
    return QString::fromUtf8(m_info.GetInfo(key, "").c_str());
}

QString CFirmwareUpdateInfo::getVersion() const
{
    return infoText(InfoKeys::Version);
}

QString CFirmwareUpdateInfo::getDescription() const
{
    return infoText(InfoKeys::Description);
}

QString CFirmwareUpdateInfo::getReleaseNotes() const
{
    return infoText(InfoKeys::ReleaseNotes);
}

QString CFirmwareUpdateInfo::getUpdateFilename() const
{
    return QString::fromUtf8(m_info.GetUpdateFilename().c_str());
}

} // namespace Plugin::OptiRoster
