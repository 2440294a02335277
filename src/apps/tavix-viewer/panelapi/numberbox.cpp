#include "numberbox.h"

#include <QLineEdit>
#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace Viewer {

namespace {

// The number a text holds, whole, or nothing.
bool parseInteger(const QString& text, qint64& value)
{
    bool ok = false;
    value = text.trimmed().toLongLong(&ok);
    return ok;
}

bool parseFloat(const QString& text, double& value)
{
    bool ok = false;
    value = text.trimmed().toDouble(&ok);
    return ok && std::isfinite(value);
}

} // namespace

CNumberBox::CNumberBox(qint64 minimum, qint64 maximum, qint64 increment, QWidget* parent)
    : QAbstractSpinBox(parent)
    , m_integer(true)
    , m_intMinimum(minimum)
    , m_intMaximum(maximum)
    , m_increment(qMax<qint64>(1, increment))
{
    setKeyboardTracking(false);
    connect(this, &QAbstractSpinBox::editingFinished, this, &CNumberBox::commitTyped);
}

CNumberBox::CNumberBox(double minimum, double maximum, QWidget* parent)
    : QAbstractSpinBox(parent)
    , m_integer(false)
    , m_floatMinimum(minimum)
    , m_floatMaximum(maximum)
{
    setKeyboardTracking(false);
    connect(this, &QAbstractSpinBox::editingFinished, this, &CNumberBox::commitTyped);
}

QSize CNumberBox::sizeHint() const
{
    // Room for the longer of the range's edges, within reason, and the arrows.
    const int widest = m_integer ? qMax(QString::number(m_intMinimum).size(), QString::number(m_intMaximum).size())
                                 : qMax(QString::number(m_floatMinimum, 'g', 12).size(), QString::number(m_floatMaximum, 'g', 12).size());
    const int characters = qBound(8, widest + 1, 16);
    QSize size = QAbstractSpinBox::sizeHint();
    size.setWidth(fontMetrics().horizontalAdvance(QLatin1Char('9')) * characters + size.height() + 8);
    return size;
}

QSize CNumberBox::minimumSizeHint() const
{
    // A value of six digits stays readable however narrow the list is.
    QSize size = QAbstractSpinBox::minimumSizeHint();
    size.setWidth(fontMetrics().horizontalAdvance(QLatin1Char('9')) * 6 + size.height() + 8);
    return size;
}

void CNumberBox::showValue(const QString& text)
{
    m_value = text;
    lineEdit()->setText(text);
}

void CNumberBox::commitTyped()
{
    const QString text = lineEdit()->text().trimmed();
    // Leaving the box without a change is no write.
    if (text.isEmpty() || text == m_value)
        return;
    emit committed(text);
}

QValidator::State CNumberBox::validate(QString& input, int&) const
{
    const QString text = input.trimmed();
    if (text.isEmpty() || text == QLatin1String("-") || text == QLatin1String("+"))
        return QValidator::Intermediate;
    if (m_integer) {
        // Digits alone, so that a typed value is never read as a part of itself.
        static const QRegularExpression digits(QStringLiteral("^[+-]?\\d+$"));
        return digits.match(text).hasMatch() ? QValidator::Acceptable : QValidator::Invalid;
    }
    static const QRegularExpression number(QStringLiteral("^[+-]?(\\d+\\.?\\d*|\\.\\d+)([eE][+-]?\\d*)?$"));
    return number.match(text).hasMatch() ? QValidator::Acceptable : QValidator::Invalid;
}

void CNumberBox::fixup(QString&) const
{
    // Nothing is made of an incomplete text: it stays for its owner to judge.
}

void CNumberBox::stepBy(int steps)
{
    QString next;
    if (m_integer) {
        qint64 current = 0;
        if (!parseInteger(m_value, current))
            current = m_intMinimum;
        // A step beyond the range stops at its edge, on the increment.
        const long double wanted = static_cast<long double>(current) + static_cast<long double>(steps) * m_increment;
        qint64 value = wanted < m_intMinimum ? m_intMinimum : wanted > m_intMaximum ? m_intMaximum : qint64(wanted);
        // The range's span may need all 64 bits: it is taken as unsigned.
        const qint64 beyondLastStep = qint64((quint64(m_intMaximum) - quint64(m_intMinimum)) % quint64(m_increment));
        if (value == m_intMaximum)
            value -= beyondLastStep;
        next = QString::number(value);
    } else {
        double current = 0.0;
        if (!parseFloat(m_value, current))
            current = m_floatMinimum;
        next = QString::number(qBound(m_floatMinimum, current + steps, m_floatMaximum), 'g', 12);
    }
    if (next == m_value)
        return;
    lineEdit()->setText(next);
    emit committed(next);
}

QAbstractSpinBox::StepEnabled CNumberBox::stepEnabled() const
{
    if (isReadOnly())
        return StepNone;
    StepEnabled enabled = StepNone;
    if (m_integer) {
        qint64 current = 0;
        if (!parseInteger(m_value, current))
            return StepUpEnabled | StepDownEnabled;
        if (current > m_intMinimum)
            enabled |= StepDownEnabled;
        if (current < m_intMaximum)
            enabled |= StepUpEnabled;
        return enabled;
    }
    double current = 0.0;
    if (!parseFloat(m_value, current))
        return StepUpEnabled | StepDownEnabled;
    if (current > m_floatMinimum)
        enabled |= StepDownEnabled;
    if (current < m_floatMaximum)
        enabled |= StepUpEnabled;
    return enabled;
}

} // namespace Viewer
