#include "startupcamera.h"

#include <cameranameresolver.h>

#include <QFutureWatcher>
#include <QtConcurrent>

namespace Viewer {

using Core::OptiRosterComponents::CameraInfoPtr;

CStartupCamera::CStartupCamera(CClientServices services, QString name, bool makeActive, QObject* parent)
    : QObject(parent)
    , m_services(std::move(services))
    , m_name(std::move(name))
    , m_makeActive(makeActive)
{
    if (!m_services.enumeration->getTransportLayers().isEmpty()) {
        QMetaObject::invokeMethod(this, &CStartupCamera::start, Qt::QueuedConnection);
        return;
    }
    m_firstEnumeration = connect(m_services.enumeration.data(),
                                 &Plugin::OptiRoster::ICameraEnumerationService::enumerationChanged, this,
                                 &CStartupCamera::start);
}

CStartupCamera::~CStartupCamera()
{
    m_future.waitForFinished();
}

void CStartupCamera::start()
{
    disconnect(m_firstEnumeration);
    QVector<CameraInfoPtr> cameras;
    for (const TransportLayerInfoPtr& layer : m_services.enumeration->getTransportLayers()) {
        for (const CameraInfoPtr& camera : layer->getCameraInfoList())
            cameras << camera;
    }
    const CCameraNameResolver::Result found = CCameraNameResolver(cameras).resolve(m_name);
    if (!found.camera) {
        emit finished(found.error);
        return;
    }
    const CameraInfoPtr camera = found.camera;
    if (m_makeActive)
        m_services.status->setActiveDevice(camera);
    const CClientServices services = m_services;
    auto* watcher = new QFutureWatcher<QString>(this);
    connect(watcher, &QFutureWatcher<QString>::finished, this, [this, watcher] {
        emit finished(watcher->result());
        watcher->deleteLater();
    });
    m_future = QtConcurrent::run([services, camera] {
        if (!services.status->isDeviceOpen(camera) && !services.control->open(camera, false))
            return tr("%1 could not be opened: %2").arg(camera->getDisplayName(), camera->getLastError());
        services.stream->startGrabbing(camera);
        if (!services.status->isCameraGrabbing(camera))
            return tr("%1 does not grab: %2").arg(camera->getDisplayName(), camera->getLastError());
        return QString();
    });
    watcher->setFuture(m_future);
}

} // namespace Viewer
