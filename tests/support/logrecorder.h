#pragma once

#include <core/logging/logging.h>

#include <QMutex>
#include <QString>
#include <QStringList>
#include <QVector>

// Records every log entry, exactly as written, while it lives.
class CLogRecorder : public Core::Logging::ILogSink
{
public:
    struct Entry
    {
        int level;
        QString category;
        QString message;
    };

    CLogRecorder();
    ~CLogRecorder() override;

    void write(int level, const QString& category, const QString& message) override;

    QVector<Entry> entries() const;
    QStringList messages(const QString& category = QString()) const;
    bool contains(const QString& message) const;
    void clear();

private:
    Core::Logging::ILogSink* m_pPrevious;
    mutable QMutex m_mutex;
    QVector<Entry> m_entries;
};
