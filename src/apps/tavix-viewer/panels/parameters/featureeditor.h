#pragma once

#include "featuresnapshot.h"

#include <QWidget>

namespace Viewer {

// The editor of one feature, its kind chosen by the feature's type: a spin box or a checked line
// for integers, a double spin box for floats, a combo box for enumerations, a check box for
// booleans, a line for strings, a button for commands, and plain text when the feature can't
// be written. It asks for a write when a person changes the value, and shows what it is told.
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

private:
    QWidget* createEditor();
    QWidget* createIntegerEditor();
    QWidget* createFloatEditor();
    QWidget* createEnumerationEditor();
    QWidget* createTextEditor();
    void requestWrite(const QString& value);
    qint64 snapToIncrement(qint64 value) const;

    CFeatureSnapshot m_feature;
    QWidget* m_pEditor = nullptr;
};

} // namespace Viewer
