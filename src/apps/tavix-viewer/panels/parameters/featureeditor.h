#pragma once

#include "featuresnapshot.h"

#include <QWidget>

namespace Viewer {

// The editor of one feature, its kind chosen by the feature's type: a number box for integers
// and floats, a combo box for enumerations, a check box for booleans, a line for strings, a
// button for commands, and plain text when the feature can't be written. It asks for a write when
// a person changes the value, and shows what it is told. A typed number out of the feature's range
// or off its increment is refused with the range and increment named, and never written; the
// tooltip gives the range, increment and unit. The mouse wheel over an editor without focus
// scrolls the list instead of changing the value.
class CFeatureEditor : public QWidget
{
    Q_OBJECT
public:
    explicit CFeatureEditor(const CFeatureSnapshot& feature, QWidget* parent = nullptr);

    const CFeatureSnapshot& feature() const { return m_feature; }
    // Shows the value of a feature of the same kind without asking for a write.
    void showFeature(const CFeatureSnapshot& feature);
    // Shows a value read back after a write.
    void showValue(const QString& value);

signals:
    void writeRequested(const QString& path, const QString& value);
    void executeRequested(const QString& path);
    // A value the editor refused before asking the camera, and why.
    void writeRefused(const QString& path, const QString& reason);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* createEditor();
    QWidget* createNumberEditor();
    QWidget* createEnumerationEditor();
    QWidget* createTextEditor();
    void requestWrite(const QString& value);

    CFeatureSnapshot m_feature;
    QWidget* m_pEditor = nullptr;
};

} // namespace Viewer
