#include "commands.h"

#include "cameranameresolver.h"
#include "devicetree.h"
#include "eventwatcher.h"
#include "interruptwatcher.h"

#include <core/exception/exceptions.h>
#include <core/parametercollection/parametercollection.h>

#include <tavix/genapi.h>

#include <QEventLoop>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QThreadPool>
#include <QTimer>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

CDeviceTree deviceTree(const CCommandContext& context)
{
    return CDeviceTree(context.services.enumeration->getTransportLayers(), context.services.status);
}

// Every readable feature of every node map of the camera, as "@Map/Feature" to its text.
QList<QPair<QString, QString>> allParameters(const CCommandContext& context, const CameraInfoPtr& camera)
{
    QList<QPair<QString, QString>> values;
    const auto collection = context.services.parameters->findParameterCollection(camera);
    if (!collection)
        return values;
    for (const QString& mapName : collection->getNodeMapNames()) {
        const GenApi::INodeMap* nodeMap = collection->getNodeMap(mapName);
        if (!nodeMap)
            continue;
        GenApi::NodeList_t nodes;
        nodeMap->GetNodes(nodes);
        for (const GenApi::INode* node : nodes) {
            if (!GenApi::IsReadable(node) || node->GetPrincipalInterfaceType() == GenApi::intfICommand)
                continue;
            values.append({QStringLiteral("%1/%2").arg(mapName, QString::fromUtf8(node->GetName().c_str())),
                           QString::fromUtf8(node->ToString().c_str())});
        }
    }
    return values;
}

void printParameters(CCommandContext& context, const QList<QPair<QString, QString>>& values)
{
    if (context.parser.isSet(context.options.json)) {
        QJsonObject object;
        for (const auto& value : values)
            object.insert(value.first, value.second);
        context.out << QJsonDocument(object).toJson(QJsonDocument::Indented);
        return;
    }
    for (const auto& value : values)
        context.out << value.first << " = " << value.second << '\n';
}

} // namespace

const QVector<CCommand>& commandTable()
{
    static const QVector<CCommand> commands{
        {QString(), QString(),
         QStringLiteral("Lists the devices, grabs a few images from the first camera, prints its figures and writes one snapshot."),
         &runDefault},
        {QStringLiteral("list"), QStringLiteral("list [--json]"),
         QStringLiteral("The transport layers, interfaces and cameras with their state."), &runList},
        {QStringLiteral("watch"), QStringLiteral("watch [--json] [--seconds N] [--interval MS]"),
         QStringLiteral("One line for each device event until Ctrl-C or the time is up."), &runWatch, false},
        {QStringLiteral("grab"), QStringLiteral("grab --camera NAME [--count N] [--png DIR] [--every N] [--monitor] [--exclusive]"),
         QStringLiteral("Grabs images, optionally writes PNG snapshots, and prints the camera's figures."), &runGrab},
        {QStringLiteral("record"),
         QStringLiteral("record --camera NAME [--count N|--seconds S] [--format png|tiff|raw|ffv1|h264] [--output PATH] "
                        "[--rotate DEGREES] [--mirror] [--monitor] [--exclusive]"),
         QStringLiteral("Records images into a sequence of files or a video until the count, the time or Ctrl-C; exits with 3 "
                        "when images had to be dropped."),
         &runRecord},
        {QStringLiteral("params"), QStringLiteral("params --camera NAME [--json] [PATH...]"),
         QStringLiteral("Parameter values, such as @CameraDevice/Width; all readable ones without a path."), &runParams},
        {QStringLiteral("set"), QStringLiteral("set --camera NAME PATH VALUE"), QStringLiteral("Writes one parameter."), &runSet},
        {QStringLiteral("active"), QStringLiteral("active [NAME]"),
         QStringLiteral("Makes a camera the active device, on which every operation without a device acts."), &runActive},
        {QStringLiteral("firmware"), QStringLiteral("firmware --camera NAME FILE [--apply N]"),
         QStringLiteral("The updates of an update file that fit the camera, newest first; --apply N runs the Nth of them."),
         &runFirmware},
        {QStringLiteral("action"), QStringLiteral("action --device-key K --group-key G --group-mask M [--at TIME] [--broadcast ADDRESS]"),
         QStringLiteral("Sends an action command to the GigE cameras (at a time in ns of their clocks) and shows who answered."),
         &runAction},
        {QStringLiteral("defects"), QStringLiteral("defects --camera NAME [--user|--factory] [--write FILE]"),
         QStringLiteral("Shows a static defect pixel list; --write replaces the user list with the \"x,y\" lines of a file."),
         &runDefects},
        {QStringLiteral("serve"), QStringLiteral("serve [--seconds N] (with --client FILE)"),
         QStringLiteral("Hosts the roster and the client plug-ins until Ctrl-C, the time is up, or each client that has a "
                        "finished(int) signal has sent it; exits with the highest status they sent."),
         &runServe, false},
    };
    return commands;
}

const CCommand* findCommand(const QString& name)
{
    for (const auto& command : commandTable()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

QString commandHelpText()
{
    QString text = QStringLiteral("Commands:\n");
    for (const auto& command : commandTable()) {
        const QString synopsis = command.name.isEmpty() ? QStringLiteral("(none)") : command.synopsis;
        text += QStringLiteral("  %1\n      %2\n").arg(synopsis, command.summary);
    }
    return text;
}

void waitForEnumeration(CCommandContext& context, int timeoutMs)
{
    if (!context.services.enumeration->getTransportLayers().isEmpty())
        return;
    // A pass that finds nothing is no news and so emits nothing; the pass runs on a worker of
    // the global pool, whose falling idle tells that an empty result is in.
    QEventLoop loop;
    QObject::connect(context.services.enumeration.data(), &Plugin::OptiRoster::ICameraEnumerationService::enumerationChanged,
                     &loop, &QEventLoop::quit);
    QObject::connect(&context.interrupt, &CInterruptWatcher::interrupted, &loop, &QEventLoop::quit);
    QTimer idleCheck;
    QObject::connect(&idleCheck, &QTimer::timeout, &loop, [&loop] {
        if (QThreadPool::globalInstance()->activeThreadCount() == 0)
            loop.quit();
    });
    idleCheck.start(20);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    // The result of a pass that ended just now is still queued to this thread.
    QCoreApplication::processEvents();
}

CScopedOpen::CScopedOpen(const CClientServices& services, CameraInfoPtr camera)
    : m_services(services)
    , m_ptrCamera(std::move(camera))
{
    if (!m_services.status->isDeviceOpen(m_ptrCamera)) {
        m_ptrCamera->clearLastError();
        m_opened = m_services.control->open(m_ptrCamera, false);
    }
}

CScopedOpen::~CScopedOpen()
{
    if (m_opened)
        m_services.control->close(m_ptrCamera);
}

bool CScopedOpen::isOpen() const
{
    return m_services.status->isDeviceOpen(m_ptrCamera);
}

QString openError(const CameraInfoPtr& camera)
{
    const QString reason = camera->getLastError();
    return QStringLiteral("%1 could not be opened%2\n")
        .arg(camera->getDisplayName(), reason.isEmpty() ? QStringLiteral(".") : QStringLiteral(": ") + reason);
}

CameraInfoPtr resolveCamera(CCommandContext& context, const QString& name, int& status)
{
    if (name.isEmpty()) {
        context.err << "Name a camera with --camera NAME.\n";
        status = ExitUsage;
        return {};
    }
    const auto result = CCameraNameResolver(deviceTree(context).cameras()).resolve(name);
    if (result.camera)
        return result.camera;
    context.err << result.error << '\n';
    context.err << (result.candidates.isEmpty() ? QStringLiteral("No camera was found.\n") : QStringLiteral("Cameras:\n"));
    for (const auto& candidate : result.candidates)
        context.err << "  " << candidate << '\n';
    status = ExitUsage;
    return {};
}

int integerOption(CCommandContext& context, const QCommandLineOption& option, int& status)
{
    bool ok = false;
    const int value = context.parser.value(option).toInt(&ok);
    if (!ok || value < 0) {
        context.err << "--" << option.names().first() << " needs a whole number of 0 or more, not '"
                    << context.parser.value(option) << "'.\n";
        status = ExitUsage;
        return 0;
    }
    return value;
}

int runList(CCommandContext& context)
{
    const CDeviceTree tree = deviceTree(context);
    if (context.parser.isSet(context.options.json))
        context.out << QJsonDocument(tree.toJson()).toJson(QJsonDocument::Indented);
    else
        tree.print(context.out);
    return ExitSuccess;
}

int runWatch(CCommandContext& context)
{
    int status = ExitSuccess;
    const int seconds = context.parser.isSet(context.options.seconds) ? integerOption(context, context.options.seconds, status) : 0;
    const int interval = integerOption(context, context.options.interval, status);
    if (status != ExitSuccess)
        return status;
    if (!context.parser.isSet(context.options.json))
        context.err << "Watching; Ctrl-C stops." << Qt::endl;
    CEventWatcher watcher(context.services, context.out, context.parser.isSet(context.options.json));
    watcher.startPolling(interval);
    QEventLoop loop;
    QObject::connect(&context.interrupt, &CInterruptWatcher::interrupted, &loop, &QEventLoop::quit);
    if (seconds > 0)
        QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    if (!context.interrupt.isInterrupted())
        loop.exec();
    return ExitSuccess;
}

int runParams(CCommandContext& context)
{
    int status = ExitSuccess;
    const CameraInfoPtr camera = resolveCamera(context, context.parser.value(context.options.camera), status);
    if (!camera)
        return status;
    CScopedOpen open(context.services, camera);
    if (!open.isOpen()) {
        context.err << openError(camera);
        return ExitFailure;
    }
    if (context.arguments.isEmpty()) {
        printParameters(context, allParameters(context, camera));
        return ExitSuccess;
    }
    QList<QPair<QString, QString>> values;
    for (const QString& path : context.arguments) {
        try {
            values.append({path, context.services.parameters->getParameterText(camera, path)});
        } catch (const Core::Exception::BaseException& e) {
            context.err << path << ": " << e.getMessage() << '\n';
            status = ExitFailure;
        }
    }
    printParameters(context, values);
    return status;
}

int runSet(CCommandContext& context)
{
    int status = ExitSuccess;
    if (context.arguments.size() != 2) {
        context.err << "set needs a parameter path and a value: set --camera NAME PATH VALUE\n";
        return ExitUsage;
    }
    const CameraInfoPtr camera = resolveCamera(context, context.parser.value(context.options.camera), status);
    if (!camera)
        return status;
    CScopedOpen open(context.services, camera);
    if (!open.isOpen()) {
        context.err << openError(camera);
        return ExitFailure;
    }
    const QString& path = context.arguments.at(0);
    try {
        context.services.parameters->setParameterText(camera, path, context.arguments.at(1));
        context.out << path << " = " << context.services.parameters->getParameterText(camera, path) << '\n';
    } catch (const Core::Exception::BaseException& e) {
        context.err << path << ": " << e.getMessage() << '\n';
        return ExitFailure;
    }
    return ExitSuccess;
}

int runActive(CCommandContext& context)
{
    int status = ExitSuccess;
    if (context.arguments.size() > 1) {
        context.err << "active takes one camera name.\n";
        return ExitUsage;
    }
    if (!context.arguments.isEmpty()) {
        const CameraInfoPtr camera = resolveCamera(context, context.arguments.first(), status);
        if (!camera)
            return status;
        context.services.status->setActiveDevice(camera);
    }
    const auto active = context.services.status->getActiveDevice();
    context.out << "Active device: " << (active ? active->getDisplayName() : QStringLiteral("none")) << '\n';
    // The choice lasts for this process; the device tree shows it among the others.
    deviceTree(context).print(context.out);
    return ExitSuccess;
}
