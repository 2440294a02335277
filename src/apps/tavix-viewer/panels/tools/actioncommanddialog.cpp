#include "actioncommanddialog.h"

#include <failureof.h>
#include <serialworker.h>

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpressionValidator>
#include <QTableWidget>
#include <QVBoxLayout>

namespace Viewer {

// What a sent command brought back.
struct CActionAnswers
{
    bool sent = false;
    QVector<Plugin::OptiRoster::CActionCommandResult> results;
    QString error; // the roster's refusal; empty when it took the command
};

namespace {

using Plugin::OptiRoster::CActionCommandResult;

// Room for as many answers as a subnet of cameras sends back.
constexpr int AnswerRoom = 256;
// How long the answers are awaited.
constexpr uint32_t AnswerTimeoutMs = 500;

struct CActionCommand
{
    uint32_t deviceKey = 0;
    uint32_t groupKey = 0;
    uint32_t groupMask = 0;
    bool scheduled = false;
    uint64_t timeNs = 0;
    QString broadcast;
};

QLineEdit* createHexEdit(const QString& name, const QString& value, QWidget* parent)
{
    auto* edit = new QLineEdit(value, parent);
    edit->setObjectName(name);
    edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("(0[xX])?[0-9A-Fa-f]{1,8}")), edit));
    edit->setPlaceholderText(QStringLiteral("0x00000000"));
    return edit;
}

uint32_t hexValue(const QLineEdit* edit, bool& ok)
{
    QString text = edit->text().trimmed();
    if (text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        text = text.mid(2);
    bool parsed = false;
    const uint value = text.toUInt(&parsed, 16);
    ok = ok && parsed;
    return value;
}

CActionAnswers issue(Plugin::OptiRoster::ICameraActionCommandsService& service, const CActionCommand& command)
{
    CActionAnswers answers;
    uint32_t count = AnswerRoom;
    answers.error = failureOf([&] {
        if (command.scheduled) {
            // The scheduled call appends its answers behind the room it is given.
            QVector<CActionCommandResult> room(AnswerRoom);
            answers.sent = service.issueScheduledActionCommand(command.deviceKey, command.groupKey, command.groupMask, command.timeNs,
                                                               room, command.broadcast, AnswerTimeoutMs, &count);
            answers.results = room.mid(AnswerRoom);
        } else {
            answers.results.resize(AnswerRoom);
            answers.sent = service.issueActionCommand(command.deviceKey, command.groupKey, command.groupMask, answers.results,
                                                      command.broadcast, AnswerTimeoutMs, &count);
        }
    });
    if (!answers.error.isEmpty())
        answers.results.clear();
    return answers;
}

} // namespace

CActionCommandDialog::CActionCommandDialog(QSharedPointer<const CClientServices> services, QWidget* parent)
    : QDialog(parent)
    , m_ptrServices(std::move(services))
    , m_pWorker(new CSerialWorker(this))
{
    setObjectName(QStringLiteral("actionCommandDialog"));
    setWindowTitle(tr("Action Commands"));
    createWidgets();
    connect(m_pWorker, &CSerialWorker::busyChanged, this, &CActionCommandDialog::updateButtons);
    updateButtons();
    resize(520, 480);
}

CActionCommandDialog::~CActionCommandDialog() = default;

void CActionCommandDialog::createWidgets()
{
    m_pDeviceKey = createHexEdit(QStringLiteral("actionDeviceKey"), QStringLiteral("0x00000001"), this);
    m_pGroupKey = createHexEdit(QStringLiteral("actionGroupKey"), QStringLiteral("0x00000001"), this);
    m_pGroupMask = createHexEdit(QStringLiteral("actionGroupMask"), QStringLiteral("0xFFFFFFFF"), this);
    // No validator here: what is an address is the roster's to say, and its refusal is shown.
    m_pBroadcast = new QLineEdit(QStringLiteral("255.255.255.255"), this);
    m_pBroadcast->setObjectName(QStringLiteral("actionBroadcast"));
    m_pNow = new QRadioButton(tr("Now"), this);
    m_pNow->setObjectName(QStringLiteral("actionNow"));
    m_pNow->setChecked(true);
    m_pScheduled = new QRadioButton(tr("At device time (ns):"), this);
    m_pScheduled->setObjectName(QStringLiteral("actionScheduled"));
    m_pScheduled->setToolTip(tr("A time of the cameras' synchronised (PTP) clock, in nanoseconds"));
    auto* when = new QButtonGroup(this);
    when->addButton(m_pNow);
    when->addButton(m_pScheduled);
    m_pTime = new QLineEdit(QStringLiteral("0"), this);
    m_pTime->setObjectName(QStringLiteral("actionTime"));
    m_pTime->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]{1,19}")), m_pTime));
    m_pAnswers = new QTableWidget(0, 2, this);
    m_pAnswers->setObjectName(QStringLiteral("actionAnswers"));
    m_pAnswers->setHorizontalHeaderLabels({tr("Camera address"), tr("Answer")});
    m_pAnswers->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_pAnswers->verticalHeader()->hide();
    m_pAnswers->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pStatus = new QLabel(this);
    m_pStatus->setObjectName(QStringLiteral("actionStatus"));
    m_pStatus->setWordWrap(true);
    m_pStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    m_pSend = buttons->addButton(tr("Send"), QDialogButtonBox::ActionRole);
    m_pSend->setObjectName(QStringLiteral("actionSend"));

    auto* timeRow = new QHBoxLayout;
    timeRow->addWidget(m_pNow);
    timeRow->addWidget(m_pScheduled);
    timeRow->addWidget(m_pTime, 1);
    auto* form = new QFormLayout;
    form->addRow(tr("Device key:"), m_pDeviceKey);
    form->addRow(tr("Group key:"), m_pGroupKey);
    form->addRow(tr("Group mask:"), m_pGroupMask);
    form->addRow(tr("Broadcast address:"), m_pBroadcast);
    form->addRow(tr("When:"), timeRow);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_pAnswers, 1);
    layout->addWidget(m_pStatus);
    layout->addWidget(buttons);

    connect(m_pSend, &QPushButton::clicked, this, &CActionCommandDialog::send);
    connect(m_pScheduled, &QRadioButton::toggled, this, &CActionCommandDialog::updateButtons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void CActionCommandDialog::send()
{
    if (!m_ptrServices->actions) {
        showStatus(tr("The camera roster offers no action commands."), true);
        return;
    }
    CActionCommand command;
    bool ok = true;
    command.deviceKey = hexValue(m_pDeviceKey, ok);
    command.groupKey = hexValue(m_pGroupKey, ok);
    command.groupMask = hexValue(m_pGroupMask, ok);
    if (!ok) {
        showStatus(tr("The keys and the mask are hexadecimal numbers of up to 8 digits."), true);
        return;
    }
    command.scheduled = m_pScheduled->isChecked();
    command.timeNs = m_pTime->text().toULongLong(&ok);
    if (command.scheduled && !ok) {
        showStatus(tr("The time is a number of nanoseconds of the cameras' clock."), true);
        return;
    }
    command.broadcast = m_pBroadcast->text().trimmed();
    m_pAnswers->setRowCount(0);
    showStatus(tr("Sending..."), false);
    const auto services = m_ptrServices;
    m_pWorker->run<CActionAnswers>([services, command] { return issue(*services->actions, command); },
                                   [this](const CActionAnswers& answers) { showAnswers(answers); });
}

void CActionCommandDialog::showAnswers(const CActionAnswers& answers)
{
    if (!answers.error.isEmpty()) {
        showStatus(tr("The command was refused: %1").arg(answers.error), true);
        emit logged(tr("Action command refused: %1").arg(answers.error));
        return;
    }
    m_pAnswers->setRowCount(answers.results.size());
    int acknowledged = 0;
    for (int row = 0; row < answers.results.size(); ++row) {
        const CActionCommandResult& result = answers.results.at(row);
        const bool ok = result.status == 0;
        acknowledged += ok ? 1 : 0;
        m_pAnswers->setItem(row, 0, new QTableWidgetItem(QString::fromLatin1(result.deviceAddress)));
        auto* answer = new QTableWidgetItem(ok ? tr("acknowledged (status 0)") : tr("refused (status %1)").arg(result.status));
        // The roster passes on success or not; the camera's own code of a refusal stays in its log.
        answer->setToolTip(ok ? tr("The camera carried the command out.")
                              : tr("The camera answered with a status other than success (the roster reports every such "
                                   "status as %1). Check the camera's device key, group key and group mask, and for a "
                                   "scheduled command that its clock is synchronised.")
                                    .arg(result.status));
        m_pAnswers->setItem(row, 1, answer);
    }
    const QString text = answers.sent
                             ? tr("Sent; %n camera(s) answered, %1 acknowledged.", nullptr, answers.results.size()).arg(acknowledged)
                             : tr("The command could not be sent: no GigE transport layer took it.");
    showStatus(text, !answers.sent);
    emit logged(tr("Action command: %1").arg(text));
}

void CActionCommandDialog::showStatus(const QString& text, bool failure)
{
    m_pStatus->setText(text);
    m_pStatus->setStyleSheet(failure ? QStringLiteral("color: #b00020;") : QString());
}

void CActionCommandDialog::updateButtons()
{
    m_pTime->setEnabled(m_pScheduled->isChecked());
    m_pSend->setEnabled(!m_pWorker->isBusy());
}

} // namespace Viewer
