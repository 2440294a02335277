#pragma once

#include "recordings.h"

#include <QDialog>

class QComboBox;
class QLineEdit;
class QSpinBox;

namespace Viewer {

// Asks how to record a camera: the format, where to, and until when (stopped by hand, a number of
// images, or a time). The images are turned as they are shown.
class CRecordDialog : public QDialog
{
    Q_OBJECT
public:
    // folder: where the last recording went; format: its format.
    CRecordDialog(const Core::OptiRosterComponents::CameraInfoPtr& camera, const Recording::COrientation& orientation,
                  const QString& folder, Recording::ERecordingFormat format, QWidget* parent = nullptr);

    CRecordings::CRequest request() const;

private:
    void updateTarget();
    void browse();

    const QString m_baseName;
    const Recording::COrientation m_orientation;
    QString m_folder;
    QComboBox* m_pFormat;
    QLineEdit* m_pTarget;
    QComboBox* m_pLimit;
    QSpinBox* m_pLimitValue;
    bool m_targetEdited = false;
};

} // namespace Viewer
