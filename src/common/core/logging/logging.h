#pragma once

#include <QString>
#include <QtGlobal>

namespace Core::Logging {

/// Level 0 is the everyday level; 3 marks an entry that ends a sequence of failures.
enum ELogLevel {
    LogLevelInfo = 0,
    LogLevelNotice = 1,
    LogLevelWarning = 2,
    LogLevelError = 3,
};

/// Returns the id of a category, creating it on first use. Ids stay valid for the process.
quint64 getCatId(const char* categoryName);

/// The name of a category id, or an empty text for an unknown id.
QString getCatName(quint64 categoryId);

/// Writes one entry through Qt's logging under the category's exact name, so that
/// QT_LOGGING_RULES filters it, and hands it to the installed sink, if any.
void createLogEntry(ELogLevel level, quint64 categoryId, const QString& message);

/// Receives every entry exactly as written, whatever the logging rules filter.
class ILogSink
{
public:
    virtual ~ILogSink() = default;
    /// Takes one entry; called on the thread that writes it.
    virtual void write(int level, const QString& category, const QString& message) = 0;
};

/// Installs a sink (null removes it) and returns the one it replaces, once no entry is being
/// written to that one any more. A sink may be called from any thread.
ILogSink* setLogSink(ILogSink* sink);

} // namespace Core::Logging
