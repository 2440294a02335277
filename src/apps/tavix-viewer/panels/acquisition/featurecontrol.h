#pragma once

#include <featuresnapshot.h>

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSlider;

namespace Viewer {

class CNumberBox;

// The control of one feature a person touches every minute, under the first of its names the
// camera has ("ExposureTime", else "ExposureTimeAbs"): a number gets a slider (logarithmic where
// the camera says so or the range spans decades) and a box with its unit, its range in the
// tooltip; an enumeration a list, a boolean a check box, a command a button. A typed number the
// feature can't take is refused with the reason and never written. A value that can't be written
// now shows greyed, with the reason in its tooltip. The control hides itself while the camera has
// none of its names.
class CFeatureControl : public QWidget
{
    Q_OBJECT
public:
    // whileStopped: the camera takes the feature only while it doesn't grab (its size, format,
    // binning, the load of a user set), so a write asks for the grab to be stopped meanwhile.
    CFeatureControl(QStringList names, bool whileStopped, QWidget* parent = nullptr);

    const QStringList& names() const { return m_names; }
    bool isPresent() const { return !m_feature.path.isEmpty(); }
    // The path of the feature shown; empty while the camera has none of the names.
    QString path() const { return m_feature.path; }
    // The name a person reads, from the camera's description.
    QString label() const;
    const CFeatureSnapshot& feature() const { return m_feature; }
    bool isWrittenWhileStopped() const { return m_whileStopped; }

    // Shows the feature, which is of one of the names; a change of kind makes the editor anew.
    void showFeature(const CFeatureSnapshot& feature);
    // The camera has none of the names.
    void showMissing();
    // Shows a value read back after a write.
    void showValue(const QString& value);

    // The slider's position of a value of the feature, and the value of a position.
    int positionOf(double value) const;
    double valueAt(int position) const;

signals:
    void writeRequested(const QString& path, const QString& value, bool whileStopped);
    void executeRequested(const QString& path, bool whileStopped);
    // A value the control refused before asking the camera, and why.
    void refused(const QString& path, const QString& reason);

private:
    void rebuild();
    void dropEditor();
    QWidget* createNumber();
    void commitNumber(const QString& text);
    void showCurrent();
    bool isLogarithmic() const;
    double minimum() const;
    double maximum() const;
    // An integer's increment, at least 1.
    qint64 increment() const;
    QString textOf(double value) const;
    QString whyNotWritable() const;

    const QStringList m_names;
    const bool m_whileStopped;
    CFeatureSnapshot m_feature;
    QWidget* m_pEditor = nullptr;
    QSlider* m_pSlider = nullptr;
    CNumberBox* m_pBox = nullptr;
    QComboBox* m_pChoice = nullptr;
    QCheckBox* m_pCheck = nullptr;
    QPushButton* m_pButton = nullptr;
    QLabel* m_pText = nullptr;
};

} // namespace Viewer
