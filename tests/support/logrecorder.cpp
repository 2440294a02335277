#include "logrecorder.h"

#include <QMutexLocker>

CLogRecorder::CLogRecorder()
    : m_pPrevious(Core::Logging::setLogSink(this))
{
}

CLogRecorder::~CLogRecorder()
{
    Core::Logging::setLogSink(m_pPrevious);
}

void CLogRecorder::write(int level, const QString& category, const QString& message)
{
    QMutexLocker locker(&m_mutex);
    m_entries.append({level, category, message});
}

QVector<CLogRecorder::Entry> CLogRecorder::entries() const
{
    QMutexLocker locker(&m_mutex);
    return m_entries;
}

QStringList CLogRecorder::messages(const QString& category) const
{
    QMutexLocker locker(&m_mutex);
    QStringList result;
    for (const Entry& entry : m_entries) {
        if (category.isNull() || entry.category == category)
            result.append(entry.message);
    }
    return result;
}

bool CLogRecorder::contains(const QString& message) const
{
    return messages().contains(message);
}

void CLogRecorder::clear()
{
    QMutexLocker locker(&m_mutex);
    m_entries.clear();
}
