#pragma once

#include <clientservices.h>

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QTableWidget;

namespace Viewer {

class CSerialWorker;
struct CActionAnswers;

// Sends a GigE Vision action command: the device key, group key and group mask in hexadecimal,
// the broadcast address, at once or at a time of the cameras' synchronised clock, and lists
// the answer of each camera that heard it. A refusal of the roster is shown with its reason.
class CActionCommandDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CActionCommandDialog(QSharedPointer<const CClientServices> services, QWidget* parent = nullptr);
    ~CActionCommandDialog() override;

signals:
    // A line for the viewer's tools log.
    void logged(const QString& text);

private:
    void createWidgets();
    void send();
    void showAnswers(const CActionAnswers& answers);
    void showStatus(const QString& text, bool failure);
    void updateButtons();

    QSharedPointer<const CClientServices> m_ptrServices;
    CSerialWorker* m_pWorker;
    QLineEdit* m_pDeviceKey = nullptr;
    QLineEdit* m_pGroupKey = nullptr;
    QLineEdit* m_pGroupMask = nullptr;
    QLineEdit* m_pBroadcast = nullptr;
    QRadioButton* m_pNow = nullptr;
    QRadioButton* m_pScheduled = nullptr;
    QLineEdit* m_pTime = nullptr;
    QPushButton* m_pSend = nullptr;
    QTableWidget* m_pAnswers = nullptr;
    QLabel* m_pStatus = nullptr;
};

} // namespace Viewer
