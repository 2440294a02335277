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


namespace Viewer {

CFeatureEditor::CFeatureEditor(const CFeatureSnapshot& feature, QWidget* parent)
    : QWidget(parent)
    , m_feature(feature)
{
    setObjectName(feature.path);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_pEditor = createEditor();
    m_pEditor->setToolTip(m_feature.toolTipText());
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
    auto* box = m_feature.type == GenApi::intfIInteger ? new CNumberBox(m_feature.intMin, m_feature.intMax, m_feature.intInc, this)
                                     : new CNumberBox(m_feature.floatMin, m_feature.floatMax, this);
    connect(box, &CNumberBox::committed, this, [this, box](const QString& text) {
        const QString refusal = m_feature.refusalOf(text);
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
