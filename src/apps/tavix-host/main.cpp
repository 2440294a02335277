#include "commands.h"
#include "host.h"
#include "interruptwatcher.h"

#include <core/plugin/alocalizedplugin.h>
#include <tavix/sim/simcontrol.h>

#include <QCommandLineParser>

#include <tavix/backendcontrol.h>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTextStream>

namespace {

const QStringList Languages{QStringLiteral("ja"), QStringLiteral("zh"), QStringLiteral("en"), QStringLiteral("ko")};

// ../plugins beside the program in the build tree; the plug-in folder of the installed tree
// otherwise.
QString defaultPluginDir()
{
    const QDir programDir(QCoreApplication::applicationDirPath());
    const QString buildTreeDir = programDir.absoluteFilePath(QStringLiteral("../plugins"));
    if (QFileInfo(buildTreeDir).isDir())
        return buildTreeDir;
    return QDir::cleanPath(programDir.absoluteFilePath(QStringLiteral(TAVIX_HOST_INSTALLED_PLUGIN_DIR)));
}

struct CHostOptions
{
    QCommandLineOption scenario{QStringLiteral("scenario"),
                                QStringLiteral("The simulated world's scenario file (as TAVIX_SIM_SCENARIO)."),
                                QStringLiteral("file")};
    QCommandLineOption plugin{QStringLiteral("plugin"), QStringLiteral("The roster plug-in's file, instead of the one in the plug-in folder."),
                              QStringLiteral("file")};
    QCommandLineOption pluginDir{QStringLiteral("plugin-dir"), QStringLiteral("The folder to search for the plug-in."),
                                 QStringLiteral("folder"), defaultPluginDir()};
    QCommandLineOption client{QStringLiteral("client"),
                              QStringLiteral("A client plug-in to load after the roster (repeatable); see the serve command. A "
                                             "name with a slash is a path; a bare name is looked for in the current folder, "
                                             "then in the plug-in folder."),
                              QStringLiteral("file")};
    QCommandLineOption lang{QStringLiteral("lang"), QStringLiteral("The language of the plug-in's messages: ja, zh, en or ko."),
                            QStringLiteral("language")};
    QCommandLineOption backends{QStringLiteral("backends"),
                                QStringLiteral("The camera worlds, comma-separated: sim (the simulated one), aravis (real "
                                               "GigE Vision and USB3 Vision cameras); as TAVIX_BACKENDS."),
                                QStringLiteral("list")};
    QList<QCommandLineOption> all() const { return {scenario, backends, plugin, pluginDir, client, lang, verbose, logRules}; }

    QCommandLineOption verbose{QStringLiteral("verbose"), QStringLiteral("Show the plug-in's log lines on standard error.")};
    QCommandLineOption logRules{QStringLiteral("log-rules"),
                                QStringLiteral("Logging rules in the syntax of QT_LOGGING_RULES, e.g. \"tavix.*.enumeration=true\"; "
                                               "QT_LOGGING_RULES wins over them."),
                                QStringLiteral("rules")};
};

// The plug-in's log lines are for whoever debugs it, not for the user of a command.
const QString QuietLogRules = QStringLiteral("tavix.*=false");

void setUpParser(QCommandLineParser& parser, const CHostOptions& hostOptions, const CCommandOptions& commandOptions)
{
    parser.setApplicationDescription(
        QStringLiteral("Loads the camera roster plug-in as a host application does, and lists, watches and drives the "
                       "cameras through its services.\n\n")
        + commandHelpText());
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions(hostOptions.all());
    parser.addOptions(commandOptions.all());
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("One of the commands above; none for the default run."),
                                 QStringLiteral("[command]"));
    parser.addPositionalArgument(QStringLiteral("arguments"), QStringLiteral("The command's arguments."),
                                 QStringLiteral("[arguments...]"));
}

// A value such as "-1" reads as an option to the parser; every positional argument goes behind
// "--", in its order, so that a negative number stays a value.
QStringList positionalNumbersLast(const QList<QCommandLineOption>& declared, const QStringList& arguments)
{
    QStringList valueOptions;
    for (const QCommandLineOption& option : declared) {
        if (!option.valueName().isEmpty())
            valueOptions += option.names();
    }
    static const QRegularExpression number(QStringLiteral("^-[0-9.]"));
    QStringList options{arguments.value(0)};
    QStringList positional;
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--")) {
            positional += arguments.mid(i + 1);
            break;
        }
        if (!argument.startsWith(QLatin1Char('-')) || number.match(argument).hasMatch()) {
            positional << argument;
            continue;
        }
        options << argument;
        const QString name = argument.mid(argument.startsWith(QLatin1String("--")) ? 2 : 1);
        if (!name.contains(QLatin1Char('=')) && valueOptions.contains(name)) {
            if (i + 1 == arguments.size())
                return arguments; // the parser says that the value is missing
            options << arguments.at(++i);
        }
    }
    return options + QStringList{QStringLiteral("--")} + positional;
}

// The settings that must be in place before the plug-in loads; false after printing the reason.
bool applyHostOptions(const QCommandLineParser& parser, const CHostOptions& options, QTextStream& err)
{
    // Rules set here rank below QT_LOGGING_RULES, which so stays the last word.
    if (parser.isSet(options.logRules))
        QLoggingCategory::setFilterRules(parser.value(options.logRules).replace(QLatin1Char(';'), QLatin1Char('\n')));
    else if (!parser.isSet(options.verbose))
        QLoggingCategory::setFilterRules(QuietLogRules);
    if (parser.isSet(options.lang) && !Languages.contains(parser.value(options.lang))) {
        err << "--lang takes one of " << Languages.join(QStringLiteral(", ")) << ", not '" << parser.value(options.lang) << "'.\n";
        return false;
    }
    // Chosen before the plug-in makes its first call to the SDK.
    QString error;
    if (!CHost::chooseCameraWorld(parser.value(options.backends), parser.value(options.scenario), &error)) {
        err << error << '\n';
        return false;
    }
    return true;
}

bool loadPlugin(CHost& host, const QCommandLineParser& parser, const CHostOptions& options, QTextStream& err)
{
    host.setPluginFolder(parser.value(options.pluginDir));
    const QString path = parser.isSet(options.plugin) ? parser.value(options.plugin)
                                                      : CHost::findPlugin(parser.value(options.pluginDir));
    if (path.isEmpty()) {
        err << "No plug-in was found in " << parser.value(options.pluginDir) << ".\n";
        return false;
    }
    if (!host.load(path)) {
        err << "The plug-in could not be loaded: " << host.errorString() << '\n';
        return false;
    }
    for (const QString& client : parser.values(options.client)) {
        if (!host.load(client)) {
            err << "The client plug-in could not be loaded: " << host.errorString() << '\n';
            return false;
        }
    }
    if (parser.isSet(options.lang)) {
        auto* localized = qobject_cast<Core::Plugin::ALocalizedPlugin*>(host.plugin());
        if (!localized || !localized->setLanguage(parser.value(options.lang)))
            err << "The plug-in has no messages in '" << parser.value(options.lang) << "'; they stay in English.\n";
    }
    return true;
}

int runCommand(const CCommand& command, const QCommandLineParser& parser, const CCommandOptions& options, CHost& host,
               CInterruptWatcher& interrupt, QTextStream& out, QTextStream& err)
{
    QStringList arguments = parser.positionalArguments();
    if (!arguments.isEmpty())
        arguments.removeFirst();
    CCommandContext context{parser, options, arguments, host, CClientServices::find(host.registry()), interrupt, out, err};
    const QStringList missing = context.services.missing();
    if (!missing.isEmpty()) {
        err << "The plug-in registered no " << missing.join(QStringLiteral(", ")) << ".\n";
        return ExitFailure;
    }
    if (command.needsDeviceList)
        waitForEnumeration(context);
    if (interrupt.isInterrupted())
        return ExitSuccess;
    if (command.needsDeviceList && context.services.enumeration->getTransportLayers().isEmpty()) {
        err << "No transport layer was found: the camera world is empty.\n";
        return ExitFailure;
    }
    return command.run(context);
}

// Once the plug-in is gone, every initialisation of the SDK must have been matched and every
// camera object released; anything else is a fault of the plug-in or of this program.
bool checkSdkBalance(QTextStream& err)
{
    const int users = TavixSim::runtimeCounters().users;
    const int cameras = TavixSim::liveObjects(TavixSim::LiveInstantCamera);
    if (users == 0 && cameras == 0)
        return true;
    err << "The SDK's counters are not balanced after unloading: " << users << " initialisations unmatched, " << cameras
        << " camera objects alive.\n";
    return false;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Tavix"));
    QCoreApplication::setApplicationName(QStringLiteral("TavixViewer"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TAVIX_HOST_VERSION));

    QCommandLineParser parser;
    const CHostOptions hostOptions;
    const CCommandOptions commandOptions;
    setUpParser(parser, hostOptions, commandOptions);

    QTextStream out(stdout);
    QTextStream err(stderr);
    if (!parser.parse(positionalNumbersLast(hostOptions.all() + commandOptions.all(), QCoreApplication::arguments()))) {
        // Qt's texts end with a full stop, which the pointer to the help would follow.
        QString error = parser.errorText();
        if (error.endsWith(QLatin1Char('.')))
            error.chop(1);
        err << error << "; see tavix-host --help.\n";
        return ExitUsage;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << parser.helpText();
        return ExitSuccess;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        out << QCoreApplication::applicationName() << ' ' << QCoreApplication::applicationVersion() << '\n';
        return ExitSuccess;
    }
    const QString name = parser.positionalArguments().value(0);
    const CCommand* command = findCommand(name);
    if (!command) {
        err << "'" << name << "' is no command of tavix-host; see tavix-host --help.\n";
        return ExitUsage;
    }
    if (!applyHostOptions(parser, hostOptions, err))
        return ExitUsage;

    CInterruptWatcher interrupt;
    int status = ExitSuccess;
    bool released = true;
    {
        CHost host;
        if (!loadPlugin(host, parser, hostOptions, err))
            return ExitFailure;
        if (!host.start()) {
            err << "The plug-in failed to initialise.\n";
            return ExitFailure;
        }
        // The services are released before the plug-in goes: their code is in its library.
        status = runCommand(*command, parser, commandOptions, host, interrupt, out, err);
        out.flush();
        host.stop();
        // A service that a client keeps past the roster's end keeps the roster in memory, and
        // the SDK in use: said here, instead of a crash when the client lets go at exit.
        released = host.unload();
        for (const QString& line : host.heldServices())
            err << line << '\n';
    }
    if (!released)
        return ExitFailure;
    return checkSdkBalance(err) ? status : ExitFailure;
}
