#include "defectpixeldialog.h"

#include <cameraname.h>

#include <failureof.h>
#include <serialworker.h>

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace Viewer {

// Both lists of a camera as read, or why they could not be.
struct CDefectLists
{
    Tavix::StaticDefectPixelList factory;
    Tavix::StaticDefectPixelList user;
    bool userRead = false;
    int leftOut = 0; // pixels of the written list that the camera's form left out
    QString error;
};

namespace {

using namespace Plugin::OptiRoster;
using Core::OptiRosterComponents::CameraInfoPtr;

// The roster's reason, or the rule of the lists when it gave none.
QString reasonOf(const CameraInfoPtr& camera, const QString& fallback = QString())
{
    const QString reason = camera->getLastError();
    if (!reason.isEmpty())
        return reason;
    return fallback.isEmpty() ? CDefectPixelDialog::tr("the camera takes its lists only while it is open and not grabbing.") : fallback;
}

// Opens the camera for the work when nobody has, and closes it again after.
class CScopedCameraOpen
{
public:
    CScopedCameraOpen(const CClientServices& services, CameraInfoPtr camera)
        : m_services(services)
        , m_ptrCamera(std::move(camera))
    {
        if (!m_services.status->isDeviceOpen(m_ptrCamera))
            m_opened = m_services.control->open(m_ptrCamera, false);
    }
    ~CScopedCameraOpen()
    {
        if (m_opened)
            m_services.control->close(m_ptrCamera);
    }
    bool isOpen() const { return m_opened || m_services.status->isDeviceOpen(m_ptrCamera); }

private:
    const CClientServices& m_services;
    CameraInfoPtr m_ptrCamera;
    bool m_opened = false;
};

void readBoth(IStaticDefectPixelCorrectionService& service, const CameraInfoPtr& camera, CDefectLists& lists)
{
    if (!service.getDefectPixelList(camera, lists.factory, ListType_Factory)) {
        lists.error = CDefectPixelDialog::tr("The factory list can't be read: %1")
                          .arg(reasonOf(camera));
        return;
    }
    lists.userRead = service.getDefectPixelList(camera, lists.user, ListType_User);
    if (!lists.userRead)
        lists.error = CDefectPixelDialog::tr("The user list can't be read: %1").arg(reasonOf(camera));
}

// Writes the user list when one is given, then reads both lists; on the worker.
CDefectLists work(const CClientServices& services, const CameraInfoPtr& camera, const Tavix::StaticDefectPixelList* write)
{
    CDefectLists lists;
    if (!services.defects) {
        lists.error = CDefectPixelDialog::tr("The camera roster offers no defect pixel correction.");
        return lists;
    }
    const QString failure = failureOf([&] {
        camera->clearLastError();
        const CScopedCameraOpen open(services, camera);
        if (!open.isOpen()) {
            lists.error = CDefectPixelDialog::tr("The camera can't be opened: %1")
                              .arg(reasonOf(camera, CDefectPixelDialog::tr("it is in use elsewhere or gone.")));
            return;
        }
        if (services.status->isCameraGrabbing(camera)) {
            lists.error = CDefectPixelDialog::tr("Stop the grab first: the camera reads and writes its lists only while it isn't grabbing.");
            return;
        }
        if (write) {
            Tavix::StaticDefectPixelList list = *write;
            if (!services.defects->normalizeDefectPixelList(camera, list) || !services.defects->setDefectPixelList(camera, list, ListType_User)) {
                lists.error = CDefectPixelDialog::tr("The user list was not written: %1")
                                  .arg(reasonOf(camera));
                return;
            }
            lists.leftOut = int(write->size()) - int(list.size());
        }
        readBoth(*services.defects, camera, lists);
    });
    if (!failure.isEmpty())
        lists.error = failure;
    return lists;
}

void fillTable(QTableWidget* table, const Tavix::StaticDefectPixelList& list, bool editable)
{
    table->setRowCount(int(list.size()));
    for (int row = 0; row < int(list.size()); ++row) {
        for (int column = 0; column < 2; ++column) {
            auto* item = new QTableWidgetItem(QString::number(column == 0 ? list[size_t(row)].x : list[size_t(row)].y));
            if (!editable)
                item->setFlags(item->flags() & ~Qt::ItemIsEditable);
            table->setItem(row, column, item);
        }
    }
}

QTableWidget* createTable(const QString& name, QWidget* parent)
{
    auto* table = new QTableWidget(0, 2, parent);
    table->setObjectName(name);
    table->setHorizontalHeaderLabels({QStringLiteral("x"), QStringLiteral("y")});
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
    return table;
}

} // namespace

CDefectPixelDialog::CDefectPixelDialog(QSharedPointer<const CClientServices> services, QWidget* parent)
    : QDialog(parent)
    , m_ptrServices(std::move(services))
    , m_pWorker(new CSerialWorker(this))
{
    setObjectName(QStringLiteral("defectPixelDialog"));
    setWindowTitle(tr("Defect Pixels"));
    createWidgets();
    connect(m_pWorker, &CSerialWorker::busyChanged, this, &CDefectPixelDialog::updateButtons);
    connect(m_ptrServices->status.data(), &ICameraStatusService::activeDeviceChanged, this, &CDefectPixelDialog::followActiveDevice);
    followActiveDevice();
    resize(520, 460);
}

CDefectPixelDialog::~CDefectPixelDialog() = default;

void CDefectPixelDialog::createWidgets()
{
    m_pCamera = new QLabel(this);
    m_pCamera->setObjectName(QStringLiteral("defectCamera"));
    m_pFactory = createTable(QStringLiteral("defectFactory"), this);
    m_pFactory->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pUser = createTable(QStringLiteral("defectUser"), this);
    m_pRead = new QPushButton(tr("Read Lists"), this);
    m_pRead->setObjectName(QStringLiteral("defectRead"));
    m_pAdd = new QPushButton(tr("Add Pixel"), this);
    m_pAdd->setObjectName(QStringLiteral("defectAdd"));
    m_pRemove = new QPushButton(tr("Remove"), this);
    m_pRemove->setObjectName(QStringLiteral("defectRemove"));
    m_pWrite = new QPushButton(tr("Write User List"), this);
    m_pWrite->setObjectName(QStringLiteral("defectWrite"));
    m_pStatus = new QLabel(this);
    m_pStatus->setObjectName(QStringLiteral("defectStatus"));
    m_pStatus->setWordWrap(true);
    m_pStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* factoryBox = new QGroupBox(tr("Factory list (read-only)"), this);
    (new QVBoxLayout(factoryBox))->addWidget(m_pFactory);
    auto* userBox = new QGroupBox(tr("User list"), this);
    auto* userLayout = new QVBoxLayout(userBox);
    userLayout->addWidget(m_pUser);
    auto* userButtons = new QHBoxLayout;
    userButtons->addWidget(m_pAdd);
    userButtons->addWidget(m_pRemove);
    userButtons->addStretch();
    userButtons->addWidget(m_pWrite);
    userLayout->addLayout(userButtons);
    auto* lists = new QHBoxLayout;
    lists->addWidget(factoryBox);
    lists->addWidget(userBox);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->addButton(m_pRead, QDialogButtonBox::ActionRole);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pCamera);
    layout->addLayout(lists, 1);
    layout->addWidget(m_pStatus);
    layout->addWidget(buttons);

    connect(m_pRead, &QPushButton::clicked, this, &CDefectPixelDialog::readLists);
    connect(m_pAdd, &QPushButton::clicked, this, &CDefectPixelDialog::addPixel);
    connect(m_pRemove, &QPushButton::clicked, this, &CDefectPixelDialog::removePixels);
    connect(m_pWrite, &QPushButton::clicked, this, &CDefectPixelDialog::writeUserList);
    connect(m_pUser, &QTableWidget::itemSelectionChanged, this, &CDefectPixelDialog::updateButtons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void CDefectPixelDialog::followActiveDevice()
{
    m_ptrCamera = m_ptrServices->status->getActiveDevice().objectCast<Core::OptiRosterComponents::ICameraInfo>();
    m_pCamera->setText(m_ptrCamera ? tr("Camera: %1").arg(cameraName(*m_ptrCamera))
                                   : tr("No active camera: set one in the device tree."));
    // The lists shown were another camera's.
    m_pFactory->setRowCount(0);
    m_pUser->setRowCount(0);
    showStatus(QString(), false);
    updateButtons();
    // What the camera holds is shown at once, as a person opening the dialog expects to see it.
    if (m_ptrCamera)
        readLists();
}

void CDefectPixelDialog::readLists()
{
    if (!m_ptrCamera || m_pWorker->isBusy())
        return;
    showStatus(tr("Reading..."), false);
    const auto services = m_ptrServices;
    const CameraInfoPtr camera = m_ptrCamera;
    const QString name = cameraName(*camera);
    m_pWorker->run<CDefectLists>([services, camera] { return work(*services, camera, nullptr); },
                                 [this, name](const CDefectLists& lists) { showLists(name, lists); });
}

void CDefectPixelDialog::writeUserList()
{
    if (!m_ptrCamera || m_pWorker->isBusy())
        return;
    Tavix::StaticDefectPixelList list;
    for (int row = 0; row < m_pUser->rowCount(); ++row) {
        bool xOk = false;
        bool yOk = false;
        const uint x = m_pUser->item(row, 0) ? m_pUser->item(row, 0)->text().trimmed().toUInt(&xOk) : 0;
        const uint y = m_pUser->item(row, 1) ? m_pUser->item(row, 1)->text().trimmed().toUInt(&yOk) : 0;
        if (!xOk || !yOk) {
            showStatus(tr("Row %1: x and y are whole numbers from 0.").arg(row + 1), true);
            return;
        }
        list.push_back({x, y});
    }
    showStatus(tr("Writing..."), false);
    const auto services = m_ptrServices;
    const CameraInfoPtr camera = m_ptrCamera;
    const QString name = cameraName(*camera);
    emit logged(tr("%1: writing a user list of %n pixel(s)", nullptr, int(list.size())).arg(name));
    m_pWorker->run<CDefectLists>([services, camera, list] { return work(*services, camera, &list); },
                                 [this, name](const CDefectLists& lists) { showLists(name, lists); });
}

void CDefectPixelDialog::addPixel()
{
    const int row = m_pUser->rowCount();
    m_pUser->insertRow(row);
    m_pUser->setItem(row, 0, new QTableWidgetItem(QStringLiteral("0")));
    m_pUser->setItem(row, 1, new QTableWidgetItem(QStringLiteral("0")));
    m_pUser->setCurrentCell(row, 0);
    m_pUser->editItem(m_pUser->item(row, 0));
}

void CDefectPixelDialog::removePixels()
{
    QList<int> rows;
    for (const QModelIndex& index : m_pUser->selectionModel()->selectedRows())
        rows << index.row();
    if (rows.isEmpty() && m_pUser->currentRow() >= 0)
        rows << m_pUser->currentRow();
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    for (int row : qAsConst(rows))
        m_pUser->removeRow(row);
    updateButtons();
}

void CDefectPixelDialog::showLists(const QString& cameraName, const CDefectLists& lists)
{
    if (!lists.error.isEmpty()) {
        showStatus(lists.error, true);
        emit logged(tr("%1: %2").arg(cameraName, lists.error));
        return;
    }
    fillTable(m_pFactory, lists.factory, false);
    fillTable(m_pUser, lists.user, true);
    QString text = tr("Read %1 factory and %2 user pixel(s).").arg(lists.factory.size()).arg(lists.user.size());
    if (lists.leftOut > 0)
        text += QLatin1Char(' ') + tr("%n pixel(s) of the written list were left out: outside the sensor or listed twice.", nullptr, lists.leftOut);
    showStatus(text, lists.leftOut > 0);
    emit logged(tr("%1: %2").arg(cameraName, text));
}

void CDefectPixelDialog::showStatus(const QString& text, bool failure)
{
    m_pStatus->setText(text);
    m_pStatus->setStyleSheet(failure ? QStringLiteral("color: #b00020;") : QString());
}

void CDefectPixelDialog::updateButtons()
{
    const bool ready = m_ptrCamera && !m_pWorker->isBusy();
    m_pRead->setEnabled(ready);
    m_pWrite->setEnabled(ready);
    m_pAdd->setEnabled(bool(m_ptrCamera));
    m_pRemove->setEnabled(m_ptrCamera && m_pUser->currentRow() >= 0);
}

} // namespace Viewer
