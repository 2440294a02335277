#include "recorddialog.h"

#include <cameraname.h>

#include <QComboBox>
#include <QDateTime>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>

namespace Viewer {

using Recording::ERecordingFormat;

namespace {

enum ELimit { NoLimit, ImageLimit, TimeLimit };

QString fileSafe(QString name)
{
    name.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9.-]+")), QStringLiteral("_"));
    name.remove(QRegularExpression(QStringLiteral("^_+|_+$")));
    return name;
}

} // namespace

CRecordDialog::CRecordDialog(const Core::OptiRosterComponents::CameraInfoPtr& camera, const Recording::COrientation& orientation,
                             const QString& folder, ERecordingFormat format, QWidget* parent)
    : QDialog(parent)
    , m_baseName(fileSafe(camera->getSerialNumber().isEmpty() ? camera->getDisplayName() : camera->getSerialNumber()))
    , m_orientation(orientation)
    , m_folder(folder)
    , m_pFormat(new QComboBox(this))
    , m_pTarget(new QLineEdit(this))
    , m_pLimit(new QComboBox(this))
    , m_pLimitValue(new QSpinBox(this))
{
    setObjectName(QStringLiteral("recordDialog"));
    setWindowTitle(tr("Record %1").arg(cameraName(*camera)));
    m_pFormat->setObjectName(QStringLiteral("recordFormat"));
    m_pTarget->setObjectName(QStringLiteral("recordTarget"));
    m_pLimit->setObjectName(QStringLiteral("recordLimit"));
    m_pLimitValue->setObjectName(QStringLiteral("recordLimitValue"));
    for (const QString& name : Recording::formatNames()) {
        ERecordingFormat f;
        Recording::formatFromName(name, f);
        m_pFormat->addItem(Recording::formatDescription(f), name);
    }
    m_pFormat->setCurrentIndex(m_pFormat->findData(Recording::formatName(format)));
    m_pLimit->addItem(tr("until stopped"), NoLimit);
    m_pLimit->addItem(tr("images"), ImageLimit);
    m_pLimit->addItem(tr("seconds"), TimeLimit);
    m_pLimitValue->setRange(1, 100000000);
    m_pLimitValue->setValue(100);
    m_pLimitValue->setEnabled(false);
    auto* browse = new QPushButton(tr("Browse..."), this);
    auto* target = new QHBoxLayout;
    target->addWidget(m_pTarget, 1);
    target->addWidget(browse);
    auto* limit = new QHBoxLayout;
    limit->addWidget(m_pLimitValue);
    limit->addWidget(m_pLimit, 1);
    auto* form = new QFormLayout;
    form->addRow(tr("Format:"), m_pFormat);
    form->addRow(tr("Save to:"), target);
    form->addRow(tr("Record:"), limit);
    const QString turned = orientation.text();
    if (!turned.isEmpty())
        form->addRow(tr("Images:"), new QLabel(tr("%1, as shown").arg(turned), this));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(tr("Record"));
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);

    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(browse, &QPushButton::clicked, this, &CRecordDialog::browse);
    connect(m_pFormat, qOverload<int>(&QComboBox::currentIndexChanged), this, &CRecordDialog::updateTarget);
    connect(m_pTarget, &QLineEdit::textEdited, this, [this] { m_targetEdited = true; });
    connect(m_pLimit, qOverload<int>(&QComboBox::currentIndexChanged), this,
            [this] { m_pLimitValue->setEnabled(m_pLimit->currentData().toInt() != NoLimit); });
    updateTarget();
    resize(560, sizeHint().height());
}

void CRecordDialog::updateTarget()
{
    ERecordingFormat format = ERecordingFormat::Png;
    Recording::formatFromName(m_pFormat->currentData().toString(), format);
    if (m_targetEdited) {
        // The person's own name keeps its place, with the format's extension for a video.
        QFileInfo info(m_pTarget->text());
        if (Recording::isVideo(format))
            m_pTarget->setText(info.dir().filePath(info.completeBaseName() + QLatin1Char('.') + Recording::fileExtension(format)));
        return;
    }
    QString name = m_baseName + QDateTime::currentDateTime().toString(QStringLiteral("-yyyyMMdd-HHmmss"));
    name += Recording::isVideo(format) ? QLatin1Char('.') + Recording::fileExtension(format) : QLatin1Char('-') + Recording::formatName(format);
    m_pTarget->setText(QDir::toNativeSeparators(QDir(m_folder).filePath(name)));
}

void CRecordDialog::browse()
{
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Record Into"), QFileInfo(m_pTarget->text()).absolutePath());
    if (folder.isEmpty())
        return;
    m_folder = folder;
    m_pTarget->setText(QDir(folder).filePath(QFileInfo(m_pTarget->text()).fileName()));
}

CRecordings::CRequest CRecordDialog::request() const
{
    CRecordings::CRequest request;
    Recording::formatFromName(m_pFormat->currentData().toString(), request.options.format);
    request.options.target = QDir::fromNativeSeparators(m_pTarget->text().trimmed());
    request.options.baseName = m_baseName;
    request.options.orientation = m_orientation;
    const int limit = m_pLimit->currentData().toInt();
    if (limit == ImageLimit)
        request.options.maxImages = m_pLimitValue->value();
    else if (limit == TimeLimit)
        request.seconds = m_pLimitValue->value();
    return request;
}

} // namespace Viewer
