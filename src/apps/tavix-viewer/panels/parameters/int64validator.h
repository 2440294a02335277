#pragma once

#include <QValidator>

namespace Viewer {

// Decimal 64-bit integers within a feature's limits, for the features whose range a QSpinBox's
// int can't hold.
class CInt64Validator : public QValidator
{
    Q_OBJECT
public:
    CInt64Validator(qint64 minimum, qint64 maximum, QObject* parent = nullptr);

    State validate(QString& input, int& position) const override;

private:
    qint64 m_minimum;
    qint64 m_maximum;
};

} // namespace Viewer
