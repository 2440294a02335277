#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// The viewer program as a person starts it.
class TestViewerProgram : public QObject
{
    Q_OBJECT

private:
    struct CRun
    {
        int exitCode = -1;
        QString errorOutput;
    };

    static CRun run(const QStringList& arguments, const QProcessEnvironment& environment)
    {
        QProcess viewer;
        viewer.setProcessEnvironment(environment);
        viewer.start(QStringLiteral(TAVIX_VIEWER_PROGRAM), arguments);
        if (!viewer.waitForFinished(120000))
            viewer.kill();
        return {viewer.exitStatus() == QProcess::NormalExit ? viewer.exitCode() : -1,
                QString::fromLocal8Bit(viewer.readAllStandardError())};
    }
    static QProcessEnvironment offscreen()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        return environment;
    }

private slots:
    void withoutADisplayItSaysHowToGetOne()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            environment.remove(QString::fromLatin1(name));
        const CRun result = run({}, environment);
        QCOMPARE(result.exitCode, 1);
        QVERIFY2(result.errorOutput.contains("needs a display") && result.errorOutput.contains("QT_QPA_PLATFORM=offscreen"),
                 qPrintable(result.errorOutput));
    }

    // The picture the README shows is made this way: a camera grabbing, then the window's picture.
    void takesAScreenshotOfTheWindowWithALiveCamera()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("viewer.png"));
        const CRun result = run({"--camera", "Inspection top", "--screenshot", file, "--screenshot-after", "1500"}, offscreen());
        QCOMPARE(result.exitCode, 0);
        const QImage picture(file);
        QVERIFY2(!picture.isNull(), qPrintable(result.errorOutput));
        QVERIFY(picture.width() >= 800 && picture.height() >= 600);
    }

    // The help and the version are text: they need no display.
    void helpNeedsNoDisplay()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            environment.remove(QString::fromLatin1(name));
        QProcess viewer;
        viewer.setProcessEnvironment(environment);
        viewer.start(QStringLiteral(TAVIX_VIEWER_PROGRAM), {QStringLiteral("--help")});
        QVERIFY(viewer.waitForFinished(60000));
        QCOMPARE(viewer.exitCode(), 0);
        const QString help = QString::fromLocal8Bit(viewer.readAllStandardOutput());
        QVERIFY2(help.contains("--scenario") && help.contains("--camera"), qPrintable(help));
    }

    // A scenario that can't be used, given by option or by TAVIX_SIM_SCENARIO, leaves the viewer
    // up without simulated cameras, and says why (in a message box, and on standard error).
    void aBadScenarioLeavesAnEmptyWorldAndSaysWhy_data()
    {
        QTest::addColumn<bool>("byEnvironment");
        QTest::newRow("--scenario") << false;
        QTest::newRow("TAVIX_SIM_SCENARIO") << true;
    }
    void aBadScenarioLeavesAnEmptyWorldAndSaysWhy()
    {
        QFETCH(bool, byEnvironment);
        QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("broken.json"));
        QFile broken(file);
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("{\"transportLayers\": [");
        broken.close();
        const QString picture = folder.filePath(QStringLiteral("window.png"));
        QProcessEnvironment environment = offscreen();
        QStringList arguments{"--screenshot", picture, "--screenshot-after", "1500"};
        if (byEnvironment)
            environment.insert(QStringLiteral("TAVIX_SIM_SCENARIO"), file);
        else
            arguments << "--scenario" << file;
        const CRun result = run(arguments, environment);
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.errorOutput.contains("broken.json") && result.errorOutput.contains("not valid JSON"),
                 qPrintable(result.errorOutput));
        QVERIFY2(!QImage(picture).isNull(), "the window was not shown");
    }
};

QTEST_GUILESS_MAIN(TestViewerProgram)
#include "tst_viewerprogram.moc"
