#pragma once

#include <QAbstractSpinBox>

namespace Viewer {

// A spin box for a feature's number, integer (64 bits) or floating point. It takes whatever
// number a person types and hands it on as it stands, in committed(): judging it is its owner's
// business, which refuses a value out of range or off the increment with a reason rather than
// bend it into another value, as a QSpinBox would clamp or cut it. The arrows and the keys step
// by the increment within the range, and each step is committed.
class CNumberBox : public QAbstractSpinBox
{
    Q_OBJECT
public:
    // An integer box.
    CNumberBox(qint64 minimum, qint64 maximum, qint64 increment, QWidget* parent = nullptr);
    // A floating-point box; a step of the arrows is 1.
    CNumberBox(double minimum, double maximum, QWidget* parent = nullptr);

    // Shows a value as the camera has it, without committing it.
    void showValue(const QString& text);
    QString value() const { return m_value; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    void stepBy(int steps) override;
    QValidator::State validate(QString& input, int& position) const override;
    void fixup(QString& input) const override;

signals:
    // A person typed a number and pressed Enter or left the box, or stepped: the text as it stands.
    void committed(const QString& text);

protected:
    StepEnabled stepEnabled() const override;

private:
    void commitTyped();

    const bool m_integer;
    const qint64 m_intMinimum = 0;
    const qint64 m_intMaximum = 0;
    const qint64 m_increment = 1;
    const double m_floatMinimum = 0.0;
    const double m_floatMaximum = 0.0;
    QString m_value; // the value shown last, as the camera has it
};

} // namespace Viewer
