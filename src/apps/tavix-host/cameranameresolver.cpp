#include "cameranameresolver.h"

CCameraNameResolver::CCameraNameResolver(QVector<CameraInfoPtr> cameras)
    : m_cameras(std::move(cameras))
{
}

CCameraNameResolver::Result CCameraNameResolver::resolve(const QString& name) const
{
    QVector<CameraInfoPtr> exact;
    QVector<CameraInfoPtr> prefixed;
    for (const auto& camera : m_cameras) {
        if (camera->getDisplayName() == name || camera->getFullName() == name || camera->getSerialNumber() == name)
            exact.append(camera);
        else if (!name.isEmpty() && (camera->getDisplayName().startsWith(name) || camera->getFullName().startsWith(name)))
            prefixed.append(camera);
    }
    const QVector<CameraInfoPtr>& matches = exact.isEmpty() ? prefixed : exact;
    Result result;
    if (matches.size() == 1) {
        result.camera = matches.first();
        return result;
    }
    if (matches.isEmpty()) {
        result.error = QStringLiteral("No camera is named '%1'.").arg(name);
        result.candidates = describe(m_cameras);
    } else {
        result.error = QStringLiteral("'%1' names more than one camera.").arg(name);
        result.candidates = describe(matches);
    }
    return result;
}

QStringList CCameraNameResolver::describe(const QVector<CameraInfoPtr>& cameras)
{
    QStringList lines;
    for (const auto& camera : cameras)
        lines << QStringLiteral("%1  [%2]").arg(camera->getDisplayName(), camera->getFullName());
    return lines;
}
