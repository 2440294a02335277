#pragma once

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <memory>

#include <pwd.h>
#include <unistd.h>

// A Mosquitto broker of the test's own on a free loopback port, ended with the test. Other
// brokers on the machine don't matter: the port is found free, and every test uses a station
// name of its own.
class CTestBroker
{
public:
    struct CTls
    {
        QString caFile;
        QString certFile;
        QString keyFile;
    };

    ~CTestBroker() { stop(); }

    // Extra lines of mosquitto.conf for the listener (password file, ACL, ...).
    void setListenerOptions(const QString& lines) { m_listenerOptions = lines; }
    void setTls(const CTls& tls) { m_tls = tls; }
    // A second listener for MQTT over WebSockets.
    void setWebSockets(bool on) { m_webSockets = on; }

    static QString program() { return QStandardPaths::findExecutable(QStringLiteral("mosquitto"), {"/usr/sbin", "/usr/bin"}); }

    // Starts on a free port, or again on the port of the last start.
    bool start()
    {
        if (program().isEmpty()) {
            m_error = QStringLiteral("mosquitto is not installed");
            return false;
        }
        for (int attempt = 0; attempt < 5; ++attempt) {
            if (m_port == 0 || attempt > 0) {
                m_port = freePort();
                m_webSocketPort = m_webSockets ? freePort() : 0;
            }
            if (startOn())
                return true;
        }
        return false;
    }

    void stop()
    {
        if (!m_process)
            return;
        m_process->terminate();
        if (!m_process->waitForFinished(5000)) {
            m_process->kill();
            m_process->waitForFinished(5000);
        }
        m_process.reset();
    }

    quint16 port() const { return m_port; }
    quint16 webSocketPort() const { return m_webSocketPort; }
    QString error() const { return m_error; }
    QString log() const { return m_process ? QString::fromUtf8(m_process->readAllStandardError()) : QString(); }
    QString folder() const { return m_dir.path(); }
    qint64 processId() const { return m_process ? m_process->processId() : 0; }

    static quint16 freePort()
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        return probe.serverPort();
    }

private:
    static QString currentUser()
    {
        const passwd* entry = getpwuid(geteuid());
        return entry ? QString::fromLocal8Bit(entry->pw_name) : QStringLiteral("root");
    }

    bool startOn()
    {
        const QString config = m_dir.filePath(QStringLiteral("mosquitto.conf"));
        QFile file(config);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return false;
        QTextStream out(&file);
        // Started by root, Mosquitto would become the user "mosquitto", who can't read the
        // test's files: it stays who runs the test.
        out << "user " << currentUser() << '\n';
        out << "per_listener_settings false\n"
            << "persistence false\n"
            << "log_dest stderr\n"
            << "log_type error\nlog_type warning\n";
        out << m_listenerOptions << '\n';
        out << "listener " << m_port << " 127.0.0.1\n";
        if (!m_tls.caFile.isEmpty())
            out << "cafile " << m_tls.caFile << "\ncertfile " << m_tls.certFile << "\nkeyfile " << m_tls.keyFile << '\n';
        if (m_webSockets)
            out << "listener " << m_webSocketPort << " 127.0.0.1\nprotocol websockets\n";
        file.close();
        m_process = std::make_unique<QProcess>();
        m_process->setProgram(program());
        m_process->setArguments({QStringLiteral("-c"), config});
        m_process->start();
        if (!m_process->waitForStarted(5000))
            return false;
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < 10000) {
            if (m_process->state() != QProcess::Running) {
                m_error = QString::fromUtf8(m_process->readAllStandardError());
                m_process.reset();
                return false;
            }
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, m_port);
            if (socket.waitForConnected(200))
                return true;
            QTest::qWait(50);
        }
        m_error = QStringLiteral("the broker did not listen within 10 s");
        stop();
        return false;
    }

    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
    quint16 m_webSocketPort = 0;
    QString m_listenerOptions = QStringLiteral("allow_anonymous true");
    CTls m_tls;
    bool m_webSockets = false;
    QString m_error;
};
