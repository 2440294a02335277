#pragma once

#include <clientservices.h>

#include <QFuture>
#include <QObject>
#include <QString>

namespace Viewer {

// What `--camera NAME` asks at start-up: once the first enumeration is in, the named camera
// becomes the active device (the first of several named), opens and grabs, on a worker so that the
// window comes up at once.
class CStartupCamera : public QObject
{
    Q_OBJECT
public:
    CStartupCamera(CClientServices services, QString name, bool makeActive = true, QObject* parent = nullptr);
    // Waits for an open or grab start under way: the services must outlive it.
    ~CStartupCamera() override;

signals:
    // The camera grabs, or error says why not.
    void finished(const QString& error);

private:
    void start();

    CClientServices m_services;
    const QString m_name;
    const bool m_makeActive;
    QMetaObject::Connection m_firstEnumeration;
    QFuture<QString> m_future;
};

} // namespace Viewer
