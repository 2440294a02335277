#include "staticdefectpixelcorrectionservice.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/failurerule.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <exception>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

quint64 logCategoryId()
{
    return onceCategoryId<LogCategories::StaticDefectPixelCorrectionService>();
}

// Runs one list operation; a failure, the roster's refusals among them, answers false.
template <typename Operation>
bool guarded(const CameraInfoPtr& info, const char* failure, Operation operation)
{
    const CFailureReport report(logCategoryId(), QString::fromLatin1(failure), CFailureReport::SentenceAndReason,
                                CFailureReport::lastErrorOf<CCameraInfo>(info));
    try {
        return operation();
    } catch (const Core::Exception::BaseException& e) {
        report.report(e.getMessage().toUtf8().constData(), e.what());
    } catch (const std::exception& e) {
        report.report(e.what(), e.what());
    }
    return false;
}

} // namespace

CStaticDefectPixelCorrectionService::CStaticDefectPixelCorrectionService(QPointer<COptiRoster> pool, QObject* parent)
    : IStaticDefectPixelCorrectionService(parent)
    , m_pool(pool)
{
}

COptiRoster& CStaticDefectPixelCorrectionService::pool() const
{
    // A service kept beyond the plug-in refuses instead of reaching into a destroyed pool.
    if (!m_pool)
        throw Core::Exception::RuntimeException(QStringLiteral("The camera roster is no longer available."));
    return *m_pool;
}

bool CStaticDefectPixelCorrectionService::getDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list,
                                                             EStaticDefectPixelListType type)
{
    return guarded(info, "Could not get defect pixel list.", [&] { return pool().getDefectPixelList(info, list, type); });
}

bool CStaticDefectPixelCorrectionService::setDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list,
                                                             EStaticDefectPixelListType type)
{
    return guarded(info, "Could not set defect pixel list.", [&] { return pool().setDefectPixelList(info, list, type); });
}

bool CStaticDefectPixelCorrectionService::normalizeDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list)
{
    return guarded(info, "Could not normalize defect pixel list.", [&] { return pool().normalizeDefectPixelList(info, list); });
}

bool CStaticDefectPixelCorrectionService::isDefectPixelCorrectionSupported(const CameraInfoPtr& info)
{
    return pool().isDefectPixelCorrectionSupported(info);
}

} // namespace Plugin::OptiRoster::Internal
