#include "failurerule.h"

namespace Plugin::OptiRoster::Internal {

CFailureReport::CFailureReport(quint64 categoryId, QString prefix, ETextForm form, LastErrorSink lastError)
    : m_categoryId(categoryId)
    , m_prefix(std::move(prefix))
    , m_form(form)
    , m_lastError(std::move(lastError))
{
}

QString CFailureReport::text(const QString& longReason) const
{
    const QString form = m_form == PrefixAndReason ? QStringLiteral("%1 %2") : QStringLiteral("%1 Reason: %2");
    return form.arg(m_prefix, longReason);
}

void CFailureReport::report(const char* shortReason, const char* longReason) const
{
    if (m_lastError)
        m_lastError(QString::fromUtf8(shortReason));
    writeLog(m_categoryId, text(QString::fromUtf8(longReason)));
}

} // namespace Plugin::OptiRoster::Internal
