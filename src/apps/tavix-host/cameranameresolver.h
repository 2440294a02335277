#pragma once

#include <core/optirostercomponents/icamerainfo.h>

#include <QString>
#include <QStringList>
#include <QVector>

// Finds a camera by what a person types: its display name, its full name, its serial number, or
// a prefix of the display or full name that only one camera has. An exact name wins over prefixes.
class CCameraNameResolver
{
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    struct Result
    {
        CameraInfoPtr camera;   // empty when the name is unknown or ambiguous
        QStringList candidates; // what the name could have meant: the matches, or every camera
        QString error;
    };

    explicit CCameraNameResolver(QVector<CameraInfoPtr> cameras);

    Result resolve(const QString& name) const;

private:
    static QStringList describe(const QVector<CameraInfoPtr>& cameras);

    QVector<CameraInfoPtr> m_cameras;
};
