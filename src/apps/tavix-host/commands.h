#pragma once

#include "clientservices.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QTextStream>
#include <QVector>

class CGrabSession;
class CHost;
class CInterruptWatcher;
class QEventLoop;

// Exit statuses of the host program.
// ExitDropped: a recording that is whole but for images it had to drop.
enum EExitStatus { ExitSuccess = 0, ExitFailure = 1, ExitUsage = 2, ExitDropped = 3 };

// The options that commands read; all are declared on one parser so that --help lists them.
struct CCommandOptions
{
    QCommandLineOption json{QStringLiteral("json"), QStringLiteral("list, watch, params: JSON output (JSON Lines for watch).")};
    QCommandLineOption camera{QStringLiteral("camera"),
                              QStringLiteral("The camera: its display name, full name, serial number, or a prefix of a name that only it has."),
                              QStringLiteral("name")};
    QCommandLineOption count{QStringLiteral("count"), QStringLiteral("grab, record: the number of images (0: until Ctrl-C)."),
                             QStringLiteral("n"), QStringLiteral("10")};
    QCommandLineOption png{QStringLiteral("png"), QStringLiteral("grab and the default run: write PNG snapshots into this folder."),
                           QStringLiteral("folder")};
    QCommandLineOption every{QStringLiteral("every"), QStringLiteral("grab: a snapshot of every Nth image."),
                             QStringLiteral("n"), QStringLiteral("1")};
    QCommandLineOption monitor{QStringLiteral("monitor"), QStringLiteral("grab, record: open in monitor mode.")};
    QCommandLineOption exclusive{QStringLiteral("exclusive"), QStringLiteral("grab, record: take the camera into exclusive use.")};
    QCommandLineOption format{QStringLiteral("format"),
                              QStringLiteral("record: png, tiff or raw (a folder of images; raw with a JSON file for each), "
                                             "ffv1 (lossless video, .mkv) or h264 (video to share, .mp4)."),
                              QStringLiteral("format"), QStringLiteral("ffv1")};
    QCommandLineOption output{QStringLiteral("output"),
                              QStringLiteral("record: the folder of a sequence or the file of a video (by default named after "
                                             "the camera and the time, in the current folder)."),
                              QStringLiteral("path")};
    QCommandLineOption rotate{QStringLiteral("rotate"), QStringLiteral("record: turn each image clockwise by 0, 90, 180 or 270 degrees."),
                              QStringLiteral("degrees"), QStringLiteral("0")};
    QCommandLineOption mirror{QStringLiteral("mirror"), QStringLiteral("record: mirror each image left to right (before turning it).")};
    QCommandLineOption seconds{QStringLiteral("seconds"),
                               QStringLiteral("watch, serve, record: stop after this many seconds (0, the default: until Ctrl-C)."),
                               QStringLiteral("s")};
    QCommandLineOption apply{QStringLiteral("apply"), QStringLiteral("firmware: run the update of this number in the list."),
                             QStringLiteral("n")};
    QCommandLineOption deviceKey{QStringLiteral("device-key"), QStringLiteral("action: the device key."), QStringLiteral("k")};
    QCommandLineOption groupKey{QStringLiteral("group-key"), QStringLiteral("action: the group key."), QStringLiteral("g")};
    QCommandLineOption groupMask{QStringLiteral("group-mask"), QStringLiteral("action: the group mask."), QStringLiteral("m")};
    QCommandLineOption at{QStringLiteral("at"), QStringLiteral("action: the time in ns of the cameras' clocks."), QStringLiteral("time")};
    QCommandLineOption broadcast{QStringLiteral("broadcast"), QStringLiteral("action: the broadcast address."),
                                 QStringLiteral("address"), QStringLiteral("255.255.255.255")};
    QCommandLineOption user{QStringLiteral("user"), QStringLiteral("defects: the user list (the default).")};
    QCommandLineOption factory{QStringLiteral("factory"), QStringLiteral("defects: the factory list.")};
    QCommandLineOption write{QStringLiteral("write"), QStringLiteral("defects: replace the user list with this file's pixels."),
                             QStringLiteral("file")};
    QCommandLineOption interval{QStringLiteral("interval"), QStringLiteral("watch: ask for an enumeration pass this often."),
                                QStringLiteral("ms"), QStringLiteral("500")};

    QList<QCommandLineOption> all() const
    {
        return {json, camera, count, png, every, monitor, exclusive, seconds, interval, format, output, rotate, mirror,
                apply, deviceKey, groupKey, groupMask, at, broadcast, user, factory, write};
    }
};

// What a command works with.
struct CCommandContext
{
    const QCommandLineParser& parser;
    const CCommandOptions& options;
    QStringList arguments; // the positional arguments after the command's name
    CHost& host;
    CClientServices services;
    CInterruptWatcher& interrupt;
    QTextStream& out;
    QTextStream& err;
};

using CommandFunction = int (*)(CCommandContext& context);

struct CCommand
{
    QString name;      // empty: the run without a command
    QString synopsis;
    QString summary;
    CommandFunction run;
    // Runs once the first enumeration pass is in; a watch starts before it so as to show it.
    bool needsDeviceList = true;
};

// Every command of the program; a command joins by one entry here and one function.
const QVector<CCommand>& commandTable();
const CCommand* findCommand(const QString& name);
QString commandHelpText();

// Commands, in commands.cpp and grabcommands.cpp.
int runDefault(CCommandContext& context);
int runList(CCommandContext& context);
int runWatch(CCommandContext& context);
int runGrab(CCommandContext& context);
int runRecord(CCommandContext& context); // in recordcommand.cpp
int runParams(CCommandContext& context);
int runSet(CCommandContext& context);
int runActive(CCommandContext& context);
int runFirmware(CCommandContext& context); // in devicecommands.cpp
int runAction(CCommandContext& context);
int runDefects(CCommandContext& context);
int runServe(CCommandContext& context); // in servecommand.cpp

// Helpers that commands share.
// Opens a closed camera for the length of a command and closes it again; one that was open
// already is left as it was.
class CScopedOpen
{
public:
    CScopedOpen(const CClientServices& services, Core::OptiRosterComponents::CameraInfoPtr camera);
    ~CScopedOpen();
    bool isOpen() const;

private:
    const CClientServices& m_services;
    Core::OptiRosterComponents::CameraInfoPtr m_ptrCamera;
    bool m_opened = false;
};
QString openError(const Core::OptiRosterComponents::CameraInfoPtr& camera);
// Waits until the first enumeration pass has published its result, or the time-out.
void waitForEnumeration(CCommandContext& context, int timeoutMs = 10000);
// The camera that --camera (or the given name) names; on failure prints the error and the
// candidates, and sets status to ExitUsage.
Core::OptiRosterComponents::CameraInfoPtr resolveCamera(CCommandContext& context, const QString& name, int& status);
// Starts the session's grab and runs loop until the grab ends by itself, Ctrl-C, or whatever else
// the caller connected to the loop's quit(); false, with the reason printed, when the grab doesn't
// start. The caller stops the session.
bool runSession(CCommandContext& context, CGrabSession& session, QEventLoop& loop, qint64& elapsedMs);
// Parses a non-negative integer option; on failure prints an error and sets status to ExitUsage.
int integerOption(CCommandContext& context, const QCommandLineOption& option, int& status);
