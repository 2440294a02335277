#include "featureeditor.h"

#include "numberbox.h"

#include <shownformats.h>

#include <QAbstractScrollArea>
#include <QCheckBox>
#include <QCoreApplication>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>

#include <limits>

namespace Viewer {

namespace {

bool isInteger(const CFeatureSnapshot& feature)
{
    return feature.type == GenApi::intfIInteger;
}

// How far value lies past the last step from minimum (value >= minimum), without an overflow
// for limits as far apart as 64 bits allow.
qint64 stepRemainder(qint64 value, qint64 minimum, qint64 increment)
{
    return qint64((quint64(value) - quint64(minimum)) % quint64(increment));
}

// A float's limits in the shortest form that is still exact enough to read.
QString number(double value)
{
    return QString::number(value, 'g', 12);
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
    m_pEditor->setToolTip(toolTipText());
    // The wheel over an editor scrolls the list, unless a person has clicked into the editor.
    m_pEditor->setFocusPolicy(m_pEditor->focusPolicy() == Qt::NoFocus ? Qt::NoFocus : Qt::StrongFocus);
    m_pEditor->installEventFilter(this);
    layout->addWidget(m_pEditor);
    showFeature(feature);
}

bool CFeatureEditor::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Wheel && watched == m_pEditor && !m_pEditor->hasFocus()) {
        // The list around scrolls instead.
        for (QWidget* parent = parentWidget(); parent; parent = parent->parentWidget()) {
            if (auto* list = qobject_cast<QAbstractScrollArea*>(parent)) {
                QCoreApplication::sendEvent(list->viewport(), event);
                break;
            }
        }
        return true;
    }
    return QWidget::eventFilter(watched, event);
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
    case GenApi::intfIFloat:
        return createNumberEditor();
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

QWidget* CFeatureEditor::createNumberEditor()
{
    auto* box = isInteger(m_feature) ? new CNumberBox(m_feature.intMin, m_feature.intMax, m_feature.intInc, this)
                                     : new CNumberBox(m_feature.floatMin, m_feature.floatMax, this);
    connect(box, &CNumberBox::committed, this, [this, box](const QString& text) {
        const QString refusal = refusalOf(text);
        if (refusal.isEmpty()) {
            requestWrite(text);
            return;
        }
        // Nothing is written: the box shows the camera's value again, and the person why.
        box->showValue(m_feature.value);
        emit writeRefused(m_feature.path, refusal);
    });
    return box;
}

QString CFeatureEditor::rangeText() const
{
    const QString unit = m_feature.unit.isEmpty() ? QString() : QLatin1Char(' ') + m_feature.unit;
    if (isInteger(m_feature)) {
        const bool bounded = m_feature.intMin != std::numeric_limits<qint64>::min()
                             || m_feature.intMax != std::numeric_limits<qint64>::max();
        const QString range = bounded ? tr("%1 to %2").arg(m_feature.intMin).arg(m_feature.intMax) : tr("any whole number");
        return m_feature.intInc > 1 ? tr("%1 in steps of %2%3").arg(range).arg(m_feature.intInc).arg(unit) : range + unit;
    }
    if (m_feature.type == GenApi::intfIFloat)
        return tr("%1 to %2%3").arg(number(m_feature.floatMin), number(m_feature.floatMax), unit);
    return {};
}

QString CFeatureEditor::refusalOf(const QString& text) const
{
    const QString takes = tr("%1 takes %2.").arg(m_feature.name, rangeText());
    if (isInteger(m_feature)) {
        bool ok = false;
        const qint64 value = text.toLongLong(&ok);
        if (!ok)
            return tr("%1 is not a whole number: %2").arg(text, takes);
        if (value < m_feature.intMin || value > m_feature.intMax)
            return tr("%1 is out of range: %2").arg(text, takes);
        const qint64 offGrid = stepRemainder(value, m_feature.intMin, m_feature.intInc);
        if (offGrid != 0)
            return tr("%1 is off the increment: %2 The nearest are %3 and %4.")
                .arg(text, takes)
                .arg(value - offGrid)
                .arg(value - offGrid + m_feature.intInc);
        return {};
    }
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok)
        return tr("%1 is not a number: %2").arg(text, takes);
    if (value < m_feature.floatMin || value > m_feature.floatMax)
        return tr("%1 is out of range: %2").arg(text, takes);
    return {};
}

QString CFeatureEditor::toolTipText() const
{
    const QString range = rangeText();
    return range.isEmpty() ? m_feature.path : tr("%1\nTakes %2").arg(m_feature.path, range);
}

QWidget* CFeatureEditor::createEnumerationEditor()
{
    auto* box = new QComboBox(this);
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setMinimumContentsLength(6);
    box->addItems(m_feature.entries);
    if (m_feature.name == QLatin1String("PixelFormat")) {
        // A format the viewer can't show is there to be chosen, for other clients, but looks it.
        for (int i = 0; i < box->count(); ++i) {
            const QString reason = whyPixelFormatCantBeShown(box->itemText(i));
            if (reason.isEmpty())
                continue;
            box->setItemData(i, palette().brush(QPalette::Disabled, QPalette::Text), Qt::ForegroundRole);
            box->setItemData(i, reason, Qt::ToolTipRole);
        }
    }
    connect(box, QOverload<int>::of(&QComboBox::activated), this, [this, box](int index) { requestWrite(box->itemText(index)); });
    return box;
}

QWidget* CFeatureEditor::createTextEditor()
{
    auto* line = new QLineEdit(this);
    connect(line, &QLineEdit::editingFinished, this, [this, line] { requestWrite(line->text()); });
    return line;
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
    else if (auto* box = qobject_cast<CNumberBox*>(m_pEditor))
        box->showValue(value);
    else if (auto* combo = qobject_cast<QComboBox*>(m_pEditor))
        combo->setCurrentText(value);
    else if (auto* check = qobject_cast<QCheckBox*>(m_pEditor))
        check->setChecked(value == QLatin1String("true") || value == QLatin1String("1"));
    else if (auto* line = qobject_cast<QLineEdit*>(m_pEditor))
        line->setText(value);
}

} // namespace Viewer
