#include "featurecontrol.h"

#include <numberbox.h>

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>

#include <cmath>

namespace Viewer {

namespace {

constexpr int Positions = 1000;
// A range beyond these is no slider's: the box alone takes the value.
constexpr double WidestSliderRange = 1e15;
// A float's range of this many decades or more is shown on a logarithmic slider.
constexpr double LogarithmicSpan = 1000.0;

} // namespace

CFeatureControl::CFeatureControl(QStringList names, bool whileStopped, QWidget* parent)
    : QWidget(parent)
    , m_names(std::move(names))
    , m_whileStopped(whileStopped)
{
    setObjectName(QStringLiteral("acquisition/") + m_names.first());
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    hide();
}

QString CFeatureControl::label() const
{
    if (!isPresent())
        return m_names.first();
    return m_feature.displayName.isEmpty() ? m_feature.name : m_feature.displayName;
}

void CFeatureControl::showMissing()
{
    m_feature = CFeatureSnapshot();
    dropEditor();
    hide();
}

void CFeatureControl::showFeature(const CFeatureSnapshot& feature)
{
    const bool sameKind = m_pEditor && m_feature.sameKind(feature);
    m_feature = feature;
    if (!sameKind)
        rebuild();
    showCurrent();
    show();
}

void CFeatureControl::showValue(const QString& value)
{
    if (!isPresent() || !m_feature.isReadable())
        return;
    m_feature.value = value;
    showCurrent();
}

QString CFeatureControl::whyNotWritable() const
{
    if (m_feature.access == GenApi::NA)
        return tr("%1 is not available now.").arg(label());
    return tr("%1 can't be written now: the camera sets it itself or keeps it as it is.").arg(label());
}

void CFeatureControl::dropEditor()
{
    delete m_pEditor;
    m_pEditor = nullptr;
    m_pSlider = nullptr;
    m_pBox = nullptr;
    m_pChoice = nullptr;
    m_pCheck = nullptr;
    m_pButton = nullptr;
    m_pText = nullptr;
}

void CFeatureControl::rebuild()
{
    dropEditor();
    // While the camera grabs, what it takes only while stopped reads as read-only: the control
    // stays in use, and a change stops the grab for the write.
    const bool writable = m_feature.isWritable() || (m_whileStopped && m_feature.access == GenApi::RO);
    if (m_feature.type == GenApi::intfICommand) {
        m_pButton = new QPushButton(label(), this);
        m_pButton->setObjectName(QStringLiteral("button"));
        m_pButton->setEnabled(writable);
        connect(m_pButton, &QPushButton::clicked, this, [this] { emit executeRequested(m_feature.path, m_whileStopped); });
        m_pEditor = m_pButton;
    } else if (!writable || m_feature.type == GenApi::intfIString) {
        m_pText = new QLabel(this);
        m_pText->setObjectName(QStringLiteral("text"));
        m_pText->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_pEditor = m_pText;
        if (m_feature.isNumber() && m_feature.access != GenApi::NA) {
            // A number the camera sets itself still shows where it stands.
            m_pEditor = createNumber();
            if (m_pSlider)
                m_pSlider->setEnabled(false);
            m_pBox->setReadOnly(true);
            m_pBox->setButtonSymbols(QAbstractSpinBox::NoButtons);
            delete m_pText;
            m_pText = nullptr;
        }
    } else if (m_feature.isNumber()) {
        m_pEditor = createNumber();
    } else if (m_feature.type == GenApi::intfIEnumeration) {
        m_pChoice = new QComboBox(this);
        m_pChoice->setObjectName(QStringLiteral("choice"));
        m_pChoice->addItems(m_feature.entries);
        connect(m_pChoice, QOverload<int>::of(&QComboBox::activated), this, [this](int index) {
            const QString value = m_pChoice->itemText(index);
            if (value != m_feature.value)
                emit writeRequested(m_feature.path, value, m_whileStopped);
        });
        m_pEditor = m_pChoice;
    } else {
        m_pCheck = new QCheckBox(this);
        m_pCheck->setObjectName(QStringLiteral("check"));
        connect(m_pCheck, &QCheckBox::clicked, this,
                [this](bool on) { emit writeRequested(m_feature.path, on ? QStringLiteral("true") : QStringLiteral("false"), m_whileStopped); });
        m_pEditor = m_pCheck;
    }
    QString tip = m_feature.toolTipText();
    if (!writable && m_feature.type != GenApi::intfIString)
        tip += QLatin1Char('\n') + whyNotWritable();
    else if (m_whileStopped)
        tip += QLatin1Char('\n') + tr("The camera takes this only while it doesn't grab: a change during a grab stops it, "
                                      "writes, and starts it again.");
    m_pEditor->setToolTip(tip);
    layout()->addWidget(m_pEditor);
}

QWidget* CFeatureControl::createNumber()
{
    auto* holder = new QWidget(this);
    auto* row = new QHBoxLayout(holder);
    row->setContentsMargins(0, 0, 0, 0);
    if (std::isfinite(maximum() - minimum()) && maximum() - minimum() < WidestSliderRange && maximum() > minimum()) {
        m_pSlider = new QSlider(Qt::Horizontal, holder);
        m_pSlider->setObjectName(QStringLiteral("slider"));
        // Room to move by hand, even beside a long name.
        m_pSlider->setMinimumWidth(fontMetrics().averageCharWidth() * 10);
        const bool integerSteps = m_feature.type == GenApi::intfIInteger && (maximum() - minimum()) / increment() <= Positions;
        m_pSlider->setRange(0, integerSteps ? int((m_feature.intMax - m_feature.intMin) / increment()) : Positions);
        // What stops the grab is written once the slider is let go, not at each step on the way.
        m_pSlider->setTracking(!m_whileStopped);
        connect(m_pSlider, &QSlider::valueChanged, this, [this](int position) {
            const QString text = textOf(valueAt(position));
            m_pBox->showValue(text);
            if (text != m_feature.value)
                emit writeRequested(m_feature.path, text, m_whileStopped);
        });
        row->addWidget(m_pSlider, 1);
    }
    m_pBox = m_feature.type == GenApi::intfIInteger ? new CNumberBox(m_feature.intMin, m_feature.intMax, m_feature.intInc, holder)
                                                    : new CNumberBox(m_feature.floatMin, m_feature.floatMax, holder);
    m_pBox->setObjectName(QStringLiteral("box"));
    connect(m_pBox, &CNumberBox::committed, this, &CFeatureControl::commitNumber);
    row->addWidget(m_pBox);
    if (!m_feature.unit.isEmpty()) {
        auto* unit = new QLabel(m_feature.unit, holder);
        unit->setObjectName(QStringLiteral("unit"));
        row->addWidget(unit);
    }
    return holder;
}

void CFeatureControl::commitNumber(const QString& text)
{
    const QString refusal = m_feature.refusalOf(text);
    if (!refusal.isEmpty()) {
        // Nothing is written: the control shows the camera's value again, and the person why.
        showCurrent();
        emit refused(m_feature.path, refusal);
        return;
    }
    if (text != m_feature.value)
        emit writeRequested(m_feature.path, text, m_whileStopped);
}

void CFeatureControl::showCurrent()
{
    const QString& value = m_feature.readError.isEmpty() ? m_feature.value : m_feature.readError;
    if (m_pBox)
        m_pBox->showValue(value);
    // The slider a person holds stays where the hand is.
    if (m_pSlider && !m_pSlider->isSliderDown()) {
        const QSignalBlocker quiet(m_pSlider);
        bool ok = false;
        const double number = m_feature.value.toDouble(&ok);
        if (ok)
            m_pSlider->setValue(positionOf(number));
    }
    if (m_pChoice) {
        const QSignalBlocker quiet(m_pChoice);
        if (m_pChoice->findText(value) < 0)
            m_pChoice->addItem(value); // an entry not available now, still the camera's value
        m_pChoice->setCurrentText(value);
    }
    if (m_pCheck) {
        const QSignalBlocker quiet(m_pCheck);
        m_pCheck->setChecked(value == QLatin1String("true") || value == QLatin1String("1"));
    }
    if (m_pText) {
        const QString shown = m_feature.access == GenApi::NA ? tr("(not available)")
                                                              : m_feature.unit.isEmpty() ? value : value + QLatin1Char(' ') + m_feature.unit;
        m_pText->setText(shown);
    }
}

double CFeatureControl::minimum() const
{
    return m_feature.type == GenApi::intfIInteger ? double(m_feature.intMin) : m_feature.floatMin;
}

double CFeatureControl::maximum() const
{
    return m_feature.type == GenApi::intfIInteger ? double(m_feature.intMax) : m_feature.floatMax;
}

qint64 CFeatureControl::increment() const
{
    return qMax<qint64>(1, m_feature.intInc);
}

bool CFeatureControl::isLogarithmic() const
{
    if (minimum() <= 0)
        return false;
    return m_feature.logarithmic || (m_feature.type == GenApi::intfIFloat && maximum() / minimum() >= LogarithmicSpan);
}

double CFeatureControl::valueAt(int position) const
{
    const double share = m_pSlider ? double(position) / qMax(1, m_pSlider->maximum()) : 0.0;
    double value = isLogarithmic() ? minimum() * std::pow(maximum() / minimum(), share) : minimum() + share * (maximum() - minimum());
    if (m_feature.type == GenApi::intfIInteger) {
        const double steps = std::round((value - minimum()) / double(increment()));
        value = minimum() + steps * double(increment());
    } else if (m_feature.floatInc > 0) {
        value = minimum() + std::round((value - minimum()) / m_feature.floatInc) * m_feature.floatInc;
    }
    return qBound(minimum(), value, maximum());
}

int CFeatureControl::positionOf(double value) const
{
    if (!m_pSlider || maximum() <= minimum())
        return 0;
    const double clamped = qBound(minimum(), value, maximum());
    const double share = isLogarithmic() ? std::log(clamped / minimum()) / std::log(maximum() / minimum())
                                         : (clamped - minimum()) / (maximum() - minimum());
    return int(std::lround(share * m_pSlider->maximum()));
}

QString CFeatureControl::textOf(double value) const
{
    if (m_feature.type == GenApi::intfIInteger)
        return QString::number(qint64(std::llround(value)));
    // As many digits as a person reads off a slider.
    return QString::number(value, 'g', 6);
}

} // namespace Viewer
