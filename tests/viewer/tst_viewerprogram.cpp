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

    void refusesABadScenario()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("broken.json"));
        QFile broken(file);
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("{\"transportLayers\": [");
        broken.close();
        const CRun result = run({"--scenario", file}, offscreen());
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.errorOutput.contains("broken.json"), qPrintable(result.errorOutput));
    }
};

QTEST_GUILESS_MAIN(TestViewerProgram)
#include "tst_viewerprogram.moc"
