// The commands of the firmware update, action commands and defect pixel services.
#include "commands.h"
#include "interruptwatcher.h"

#include <core/exception/exceptions.h>

#include <tavix/defectpixelcorrection.h>

#include <QEventLoop>
#include <QFile>

#include <thread>
#include <unistd.h>

using namespace Plugin::OptiRoster;
using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

// A parsed 32-bit number option, decimal or 0x hexadecimal; on failure prints an error.
uint32_t numberOption(CCommandContext& context, const QCommandLineOption& option, int& status)
{
    bool ok = false;
    const qulonglong value = context.parser.value(option).toULongLong(&ok, 0);
    if (!context.parser.isSet(option) || !ok || value > 0xFFFFFFFFull) {
        context.err << "--" << option.names().first() << " needs a number from 0 to 0xFFFFFFFF.\n";
        status = ExitUsage;
    }
    return uint32_t(value);
}

// Shows an update's progress: a bar on a terminal, plain lines otherwise.
void connectProgress(CCommandContext& context, IDeviceFirmwareUpdate& update, QObject& receiver)
{
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    QTextStream& out = context.out;
    QObject::connect(&update, &IDeviceFirmwareUpdate::firmwareUpdateProgressStepBegin, &receiver,
                     [&out, terminal](EFirmwareUpdateStep, uint, const QString& description) {
                         out << (terminal ? "\n" : "") << description << '\n';
                         out.flush();
                     });
    QObject::connect(&update, &IDeviceFirmwareUpdate::firmwareUpdateProgressStepProgressChanged, &receiver,
                     [&out, terminal](EFirmwareUpdateStep, double percent) {
                         if (!terminal) {
                             out << QStringLiteral("  %1 %\n").arg(percent, 0, 'f', 0);
                         } else {
                             const int filled = int(percent / 100.0 * 40.0);
                             out << '\r' << '[' << QString(filled, QLatin1Char('#')) << QString(40 - filled, QLatin1Char(' '))
                                 << QStringLiteral("] %1 %").arg(percent, 3, 'f', 0);
                         }
                         out.flush();
                     });
    QObject::connect(&update, &IDeviceFirmwareUpdate::firmwareUpdateError, &receiver,
                     [&context](const QString& message) { context.err << "\nThe update failed: " << message << '\n'; });
}

// Runs the update on a thread of its own, since it blocks through the device's reboot, while
// this thread's loop keeps the plug-in's main-thread work going.
bool applyUpdate(CCommandContext& context, IDeviceFirmwareUpdate& update)
{
    QObject receiver;
    connectProgress(context, update, receiver);
    QEventLoop loop;
    bool applied = false;
    std::thread worker([&] {
        applied = update.apply();
        QMetaObject::invokeMethod(&loop, "quit", Qt::QueuedConnection);
    });
    loop.exec();
    worker.join();
    QCoreApplication::processEvents(); // the last progress signals
    context.out << '\n';
    return applied;
}

} // namespace

int runFirmware(CCommandContext& context)
{
    int status = ExitSuccess;
    if (context.arguments.size() != 1) {
        context.err << "firmware needs an update file: firmware --camera NAME FILE [--apply N]\n";
        return ExitUsage;
    }
    const CameraInfoPtr camera = resolveCamera(context, context.parser.value(context.options.camera), status);
    if (!camera)
        return status;
    QVector<QSharedPointer<IFirmwareUpdateInfo>> updates;
    try {
        updates = context.services.firmware->getUpdates(context.arguments.first(), QString());
    } catch (const Core::Exception::BaseException& e) {
        context.err << e.getMessage() << '\n';
        return ExitFailure;
    }
    QVector<QSharedPointer<IFirmwareUpdateInfo>> matching;
    bool sorted = false;
    if (!context.services.firmware->getUpdatesMatchingTheDevice(camera, updates, matching, sorted))
        context.err << "Not every update could be tested: " << camera->getLastError() << '\n';
    context.out << matching.size() << " of " << updates.size() << " updates fit " << camera->getDisplayName()
                << (sorted || matching.isEmpty() ? "" : " (some versions can't be ordered)") << ":\n";
    for (int i = 0; i < matching.size(); ++i)
        context.out << "  " << i + 1 << ". " << matching[i]->getVersion() << "  " << matching[i]->getDescription() << '\n';
    if (!context.parser.isSet(context.options.apply))
        return ExitSuccess;

    const int chosen = integerOption(context, context.options.apply, status);
    if (status != ExitSuccess || chosen < 1 || chosen > matching.size()) {
        context.err << "--apply needs the number of one of the updates listed.\n";
        return ExitUsage;
    }
    const QSharedPointer<IDeviceFirmwareUpdate> update = context.services.firmware->update(camera, matching[chosen - 1]);
    if (!update) {
        context.err << "The camera can't be taken for the update: " << camera->getLastError() << '\n';
        return ExitFailure;
    }
    context.out << "Updating from " << update->getDeviceVersionRaw() << " to " << matching[chosen - 1]->getVersion() << '\n';
    const bool applied = applyUpdate(context, *update);
    switch (update->getOutcome()) {
    case Plugin::OptiRoster::Applied:
        context.out << "Updated; the camera now reports " << update->getDeviceVersionRaw() << '\n';
        break;
    case Plugin::OptiRoster::AppliedNotRediscovered:
        // Not a plain failure: the camera most likely runs the new firmware, and must not be
        // updated again on the word of a version read before its restart.
        context.out << "Written and verified, and the camera restarted with " << matching[chosen - 1]->getVersion()
                    << ", but it wasn't found again afterwards: " << camera->getLastError() << '\n'
                    << "It likely runs the new firmware; list it again once it shows up (on a subnet this host can't reach, "
                       "announce it by its address) to see the version it reports.\n";
        break;
    default:
        context.out << "Not updated; the camera keeps its firmware " << update->getDeviceVersionRaw() << '\n';
        break;
    }
    return applied ? ExitSuccess : ExitFailure;
}

int runAction(CCommandContext& context)
{
    int status = ExitSuccess;
    const uint32_t deviceKey = numberOption(context, context.options.deviceKey, status);
    const uint32_t groupKey = numberOption(context, context.options.groupKey, status);
    const uint32_t groupMask = numberOption(context, context.options.groupMask, status);
    if (status != ExitSuccess)
        return status;
    QVector<CActionCommandResult> results(64); // room for as many answers
    uint32_t answers = uint32_t(results.size());
    const QString broadcast = context.parser.value(context.options.broadcast);
    bool sent = false;
    try {
        if (context.parser.isSet(context.options.at)) {
            bool ok = false;
            const qulonglong time = context.parser.value(context.options.at).toULongLong(&ok, 0);
            if (!ok) {
                context.err << "--at needs a time in nanoseconds.\n";
                return ExitUsage;
            }
            QVector<CActionCommandResult> scheduled; // answers are appended to what is passed in
            scheduled.reserve(results.size());
            scheduled.resize(results.size());
            sent = context.services.actions->issueScheduledActionCommand(deviceKey, groupKey, groupMask, time, scheduled, broadcast,
                                                                         500, &answers);
            results = scheduled.mid(results.size());
        } else {
            sent = context.services.actions->issueActionCommand(deviceKey, groupKey, groupMask, results, broadcast, 500, &answers);
        }
    } catch (const Core::Exception::BaseException& e) {
        context.err << e.getMessage() << '\n';
        return ExitFailure;
    }
    context.out << (sent ? "Sent" : "Not sent") << "; " << results.size() << " devices answered.\n";
    context.out << QStringLiteral("  %1  %2\n").arg(QStringLiteral("Address"), -16).arg(QStringLiteral("Status"));
    for (const auto& result : results)
        context.out << QStringLiteral("  %1  %2 (status %3)\n")
                           .arg(QString::fromLatin1(result.deviceAddress), -16)
                           .arg(result.status == 0 ? "ok" : "refused")
                           .arg(result.status);
    return sent ? ExitSuccess : ExitFailure;
}

int runDefects(CCommandContext& context)
{
    int status = ExitSuccess;
    const CameraInfoPtr camera = resolveCamera(context, context.parser.value(context.options.camera), status);
    if (!camera)
        return status;
    const bool factory = context.parser.isSet(context.options.factory);
    if (factory && context.parser.isSet(context.options.write)) {
        context.err << "Only the user list can be written.\n";
        return ExitUsage;
    }
    CScopedOpen open(context.services, camera);
    if (!open.isOpen()) {
        context.err << openError(camera);
        return ExitFailure;
    }
    Tavix::StaticDefectPixelList list;
    if (context.parser.isSet(context.options.write)) {
        QFile file(context.parser.value(context.options.write));
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            context.err << file.fileName() << ": " << file.errorString() << '\n';
            return ExitFailure;
        }
        try {
            list = Tavix::CStaticDefectPixelCorrection::FromText(file.readAll().simplified().replace(' ', ';').toStdString());
        } catch (const GenICam::GenericException& e) {
            context.err << file.fileName() << ": " << e.GetDescription() << '\n';
            return ExitFailure;
        }
        if (!context.services.defects->normalizeDefectPixelList(camera, list)
            || !context.services.defects->setDefectPixelList(camera, list, ListType_User)) {
            context.err << "The list was not written: " << camera->getLastError() << '\n';
            return ExitFailure;
        }
    }
    list.clear();
    if (!context.services.defects->getDefectPixelList(camera, list, factory ? ListType_Factory : ListType_User)) {
        context.err << "The list can't be read: " << camera->getLastError() << '\n';
        return ExitFailure;
    }
    context.out << (factory ? "Factory" : "User") << " list of " << camera->getDisplayName() << ": " << list.size() << " pixels\n";
    for (const auto& pixel : list)
        context.out << "  " << pixel.x << ',' << pixel.y << '\n';
    return ExitSuccess;
}
