#include "int64validator.h"

namespace Viewer {

CInt64Validator::CInt64Validator(qint64 minimum, qint64 maximum, QObject* parent)
    : QValidator(parent)
    , m_minimum(minimum)
    , m_maximum(maximum)
{
}

QValidator::State CInt64Validator::validate(QString& input, int&) const
{
    const QString text = input.trimmed();
    if (text.isEmpty() || text == QLatin1String("-") || text == QLatin1String("+"))
        return Intermediate;
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    if (!ok)
        return Invalid;
    if (value >= m_minimum && value <= m_maximum)
        return Acceptable;
    // A number on its way into the range (a first digit of a larger lower limit) may be typed on.
    return (value > 0 && value < m_minimum) || (value < 0 && value > m_maximum) ? Intermediate : Invalid;
}

} // namespace Viewer
