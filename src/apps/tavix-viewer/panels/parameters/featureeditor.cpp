#include "featureeditor.h"

#include "int64validator.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>

#include <limits>

namespace Viewer {

namespace {

bool fitsInt(qint64 value)
{
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

} // namespace

CFeatureEditor::CFeatureEditor(const CFeatureSnapshot& feature, QWidget* parent)
    : QWidget(parent)
    , m_feature(feature)
{
    setObjectName(feature.path);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_pEditor = createEditor();
    m_pEditor->setToolTip(feature.path);
    layout->addWidget(m_pEditor);
    showFeature(feature);
}

QWidget* CFeatureEditor::createEditor()
{
    if (m_feature.type == GenApi::intfICommand) {
        auto* button = new QPushButton(tr("Execute"), this);
        button->setEnabled(m_feature.isWritable());
        connect(button, &QPushButton::clicked, this, [this] { emit executeRequested(m_feature.path); });
        return button;
    }
    if (!m_feature.isWritable()) {
        // Shown as text, so that nobody takes a feature that can't be written for an editor.
        auto* label = new QLabel(this);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setEnabled(m_feature.access == GenApi::RO);
        return label;
    }
    switch (m_feature.type) {
    case GenApi::intfIInteger:
        return createIntegerEditor();
    case GenApi::intfIFloat:
        return createFloatEditor();
    case GenApi::intfIEnumeration:
        return createEnumerationEditor();
    case GenApi::intfIBoolean: {
        auto* box = new QCheckBox(this);
        connect(box, &QCheckBox::clicked, this,
                [this](bool on) { requestWrite(on ? QStringLiteral("true") : QStringLiteral("false")); });
        return box;
    }
    default:
        return createTextEditor();
    }
}

QWidget* CFeatureEditor::createIntegerEditor()
{
    if (fitsInt(m_feature.intMin) && fitsInt(m_feature.intMax)) {
        auto* box = new QSpinBox(this);
        box->setRange(int(m_feature.intMin), int(m_feature.intMax));
        box->setSingleStep(int(qMin<qint64>(m_feature.intInc, std::numeric_limits<int>::max())));
        // One write when a person has finished typing, and one for each step of the arrows.
        box->setKeyboardTracking(false);
        connect(box, QOverload<int>::of(&QSpinBox::valueChanged), this, [this, box](int value) {
            const qint64 snapped = snapToIncrement(value);
            if (snapped != value) {
                const QSignalBlocker blocker(box);
                box->setValue(int(snapped));
            }
            requestWrite(QString::number(snapped));
        });
        return box;
    }
    auto* line = new QLineEdit(this);
    line->setValidator(new CInt64Validator(m_feature.intMin, m_feature.intMax, line));
    connect(line, &QLineEdit::editingFinished, this, [this, line] {
        const qint64 snapped = snapToIncrement(line->text().toLongLong());
        line->setText(QString::number(snapped));
        requestWrite(line->text());
    });
    return line;
}

QWidget* CFeatureEditor::createFloatEditor()
{
    auto* box = new QDoubleSpinBox(this);
    box->setDecimals(3);
    box->setRange(m_feature.floatMin, m_feature.floatMax);
    box->setKeyboardTracking(false);
    connect(box, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this,
            [this](double value) { requestWrite(QString::number(value, 'g', 12)); });
    return box;
}

QWidget* CFeatureEditor::createEnumerationEditor()
{
    auto* box = new QComboBox(this);
    box->addItems(m_feature.entries);
    connect(box, QOverload<int>::of(&QComboBox::activated), this, [this, box](int index) { requestWrite(box->itemText(index)); });
    return box;
}

QWidget* CFeatureEditor::createTextEditor()
{
    auto* line = new QLineEdit(this);
    connect(line, &QLineEdit::editingFinished, this, [this, line] { requestWrite(line->text()); });
    return line;
}

qint64 CFeatureEditor::snapToIncrement(qint64 value) const
{
    const qint64 inc = m_feature.intInc;
    if (inc <= 1 || value < m_feature.intMin)
        return value;
    const qint64 steps = (value - m_feature.intMin + inc / 2) / inc;
    const qint64 snapped = m_feature.intMin + steps * inc;
    return snapped > m_feature.intMax ? snapped - inc : snapped;
}

void CFeatureEditor::requestWrite(const QString& value)
{
    // Leaving a field without a change is no write.
    if (value != m_feature.value)
        emit writeRequested(m_feature.path, value);
}

void CFeatureEditor::showFeature(const CFeatureSnapshot& feature)
{
    m_feature = feature;
    showValue(feature.readError.isEmpty() ? feature.value : feature.readError);
    m_feature.value = feature.value;
}

void CFeatureEditor::showValue(const QString& value)
{
    m_feature.value = value;
    const QSignalBlocker blocker(m_pEditor);
    if (auto* label = qobject_cast<QLabel*>(m_pEditor))
        label->setText(m_feature.access == GenApi::NA ? tr("(not available)") : value);
    else if (auto* spin = qobject_cast<QSpinBox*>(m_pEditor))
        spin->setValue(value.toInt());
    else if (auto* spin = qobject_cast<QDoubleSpinBox*>(m_pEditor))
        spin->setValue(value.toDouble());
    else if (auto* combo = qobject_cast<QComboBox*>(m_pEditor))
        combo->setCurrentText(value);
    else if (auto* box = qobject_cast<QCheckBox*>(m_pEditor))
        box->setChecked(value == QLatin1String("true") || value == QLatin1String("1"));
    else if (auto* line = qobject_cast<QLineEdit*>(m_pEditor))
        line->setText(value);
}

} // namespace Viewer
