#include "imageanalysis.h"

namespace Viewer {

void CImageAnalysis::publish(const CImageStatistics& statistics, const QString& source)
{
    m_statistics = statistics;
    m_source = source;
    emit statisticsChanged();
}

void CImageAnalysis::setWanted(bool wanted)
{
    if (wanted == m_wanted)
        return;
    m_wanted = wanted;
    emit settingsChanged();
}

void CImageAnalysis::setMarkSaturated(bool mark)
{
    if (mark == m_markSaturated)
        return;
    m_markSaturated = mark;
    emit settingsChanged();
}

} // namespace Viewer
