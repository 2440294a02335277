#include "cameraenumerator.h"

#include <plugins/optiroster/internal/logcategories.h>
#include <plugins/optiroster/transportlayerlist.h>

#include <tavix/runtime.h>

#include <QtConcurrent>

namespace Plugin::OptiRoster::Internal {

namespace {
quint64 logCategoryId()
{
    return onceCategoryId<LogCategories::CameraEnumeration>();
}
} // namespace

CCameraEnumerator::CCameraEnumerator(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<QVector<TransportLayerInfoPtr>>("QVector<TransportLayerInfoPtr>");
    Tavix::TavixInitialize();
}

CCameraEnumerator::~CCameraEnumerator()
{
    m_enumerationFuture.waitForFinished();
    // The kept layer must be back before the SDK may end.
    CTransportLayerList::releaseDornProducer();
    Tavix::TavixTerminate(true);
}

void CCameraEnumerator::startEnumeration()
{
    if (!m_enumerationFuture.isFinished())
        return;
    m_enumerationFuture = QtConcurrent::run(this, &CCameraEnumerator::enumerationPass);
}

void CCameraEnumerator::enumerationPass()
{
    CTransportLayerList list;
    emit enumerationStarted();
    try {
        CTransportLayerList::refreshTransportLayerList(list, false, true);
    } catch (...) {
        writeLog(logCategoryId(), QStringLiteral("CCameraEnumerator has errors."));
    }
    // After a failure the list is empty: the receiver sees a machine without cameras.
    emit enumerationFinished(list);
}

} // namespace Plugin::OptiRoster::Internal
