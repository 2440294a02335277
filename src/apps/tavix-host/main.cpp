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
    QCommandLineOption plugin{QStringLiteral("plugin"), QStringLiteral("The plug-in file to load."), QStringLiteral("file")};
    QCommandLineOption pluginDir{QStringLiteral("plugin-dir"), QStringLiteral("The folder to search for the plug-in."),
                                 QStringLiteral("folder"), defaultPluginDir()};
    QCommandLineOption client{QStringLiteral("client"),
                              QStringLiteral("A client plug-in to load after the roster (repeatable); see the serve command."),
                              QStringLiteral("file")};
    QCommandLineOption lang{QStringLiteral("lang"), QStringLiteral("The language of the plug-in's messages: ja, zh, en or ko."),
                            QStringLiteral("language")};
    QCommandLineOption backends{QStringLiteral("backends"),
                                QStringLiteral("The camera worlds, comma-separated: sim (the simulated one), aravis (real "
                                               "GigE Vision and USB3 Vision cameras); as TAVIX_BACKENDS."),
                                QStringLiteral("list")};
    QCommandLineOption logRules{QStringLiteral("log-rules"),
                                QStringLiteral("Logging rules in the syntax of QT_LOGGING_RULES, e.g. \"tavix.*=false\"."),
                                QStringLiteral("rules")};
};

void setUpParser(QCommandLineParser& parser, const CHostOptions& hostOptions, const CCommandOptions& commandOptions)
{
    parser.setApplicationDescription(
        QStringLiteral("Loads the camera roster plug-in as a host application does, and lists, watches and drives the "
                       "cameras through its services.\n\n")
        + commandHelpText());
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({hostOptions.scenario, hostOptions.backends, hostOptions.plugin, hostOptions.pluginDir, hostOptions.client,
                       hostOptions.lang,
                       hostOptions.logRules});
    commandOptions.addTo(parser);
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("One of the commands above; none for the default run."),
                                 QStringLiteral("[command]"));
    parser.addPositionalArgument(QStringLiteral("arguments"), QStringLiteral("The command's arguments."),
                                 QStringLiteral("[arguments...]"));
}

// The settings that must be in place before the plug-in loads; false after printing the reason.
bool applyHostOptions(const QCommandLineParser& parser, const CHostOptions& options, QTextStream& err)
{
    if (parser.isSet(options.logRules))
        QLoggingCategory::setFilterRules(parser.value(options.logRules).replace(QLatin1Char(';'), QLatin1Char('\n')));
    if (parser.isSet(options.lang) && !Languages.contains(parser.value(options.lang))) {
        err << "--lang takes one of " << Languages.join(QStringLiteral(", ")) << ", not '" << parser.value(options.lang) << "'.\n";
        return false;
    }
    // Chosen before the plug-in makes its first call to the SDK.
    if (parser.isSet(options.backends)) {
        std::string error;
        if (!TavixBackends::setActiveBackends(parser.value(options.backends).toStdString(), &error)) {
            err << QString::fromStdString(error) << '\n';
            return false;
        }
    }
    if (parser.isSet(options.scenario)) {
        QString error;
        if (!TavixSim::loadScenarioFile(parser.value(options.scenario), &error)) {
            err << error << '\n';
            return false;
        }
    }
    return true;
}

bool loadPlugin(CHost& host, const QCommandLineParser& parser, const CHostOptions& options, QTextStream& err)
{
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
    parser.process(app);

    QTextStream out(stdout);
    QTextStream err(stderr);
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
    }
    return checkSdkBalance(err) ? status : ExitFailure;
}
