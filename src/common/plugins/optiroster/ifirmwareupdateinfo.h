#pragma once

#include <QObject>
#include <QSharedPointer>
#include <QString>

namespace Plugin::OptiRoster {

/// One update of a firmware update file, as a client sees it. Immutable.
class IFirmwareUpdateInfo : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// The version the update installs.
    virtual QString getVersion() const = 0;
    /// What the update is, in a line.
    virtual QString getDescription() const = 0;
    /// The update's release notes.
    virtual QString getReleaseNotes() const = 0;
    /// The file that holds the update.
    virtual QString getUpdateFilename() const = 0;
};

using FirmwareUpdateInfoPtr = QSharedPointer<IFirmwareUpdateInfo>;

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(QSharedPointer<Plugin::OptiRoster::IFirmwareUpdateInfo>)
