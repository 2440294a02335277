#pragma once

#include <clientservices.h>

#include <QDialog>

class QLabel;
class QPushButton;
class QTableWidget;

namespace Viewer {

class CSerialWorker;
struct CDefectLists;

// Reads the active camera's static defect pixel lists, the factory's and the user's, lets a
// person add and remove pixels of the user list, and writes it back in the form the camera
// takes, reading both lists again after. The camera is opened for the work if it is closed.
class CDefectPixelDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CDefectPixelDialog(QSharedPointer<const CClientServices> services, QWidget* parent = nullptr);
    ~CDefectPixelDialog() override;

signals:
    // A line for the viewer's tools log.
    void logged(const QString& text);

private:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    void createWidgets();
    void followActiveDevice();
    void readLists();
    void writeUserList();
    void addPixel();
    void removePixels();
    void showLists(const QString& cameraName, const CDefectLists& lists);
    void showStatus(const QString& text, bool failure);
    void updateButtons();

    QSharedPointer<const CClientServices> m_ptrServices;
    CSerialWorker* m_pWorker;
    CameraInfoPtr m_ptrCamera;
    QLabel* m_pCamera = nullptr;
    QTableWidget* m_pFactory = nullptr;
    QTableWidget* m_pUser = nullptr;
    QPushButton* m_pRead = nullptr;
    QPushButton* m_pAdd = nullptr;
    QPushButton* m_pRemove = nullptr;
    QPushButton* m_pWrite = nullptr;
    QLabel* m_pStatus = nullptr;
};

} // namespace Viewer
