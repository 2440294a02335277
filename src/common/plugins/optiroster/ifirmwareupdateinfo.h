#pragma once

#include <QObject>
#include <QSharedPointer>
#include <QString>

namespace Plugin::OptiRoster {

// One update of a firmware update file, as a client sees it. Immutable.
class IFirmwareUpdateInfo : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    virtual QString getVersion() const = 0;
    virtual QString getDescription() const = 0;
    virtual QString getReleaseNotes() const = 0;
    virtual QString getUpdateFilename() const = 0;
};

using FirmwareUpdateInfoPtr = QSharedPointer<IFirmwareUpdateInfo>;

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(QSharedPointer<Plugin::OptiRoster::IFirmwareUpdateInfo>)
