#pragma once

#include <clientservices.h>

#include <QObject>
#include <QThreadPool>

#include <functional>

namespace Viewer {

// Writes features and runs commands on a worker thread of its own, one after the other in the
// order asked: a write is camera access, and the GUI thread never waits on a camera. Each write
// reads the value back and ends in written() on the GUI thread.
class CParameterWriter : public QObject
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CParameterWriter(QSharedPointer<const CClientServices> services, QObject* parent = nullptr);
    // Waits for the writes under way.
    ~CParameterWriter() override;

    void write(const DeviceBaseInfoPtr& device, const QString& path, const QString& value);
    void execute(const DeviceBaseInfoPtr& device, const QString& path);
    bool isBusy() const { return m_pending > 0; }

signals:
    // error is empty when the write succeeded; readBack is the value afterwards, empty when it
    // can't be read.
    void written(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device, const QString& path, const QString& error,
                 const QString& readBack);

private:
    // Runs work on the worker; work returns the reason of a refusal, or nothing.
    void run(const DeviceBaseInfoPtr& device, const QString& path, std::function<QString()> work);

    QSharedPointer<const CClientServices> m_ptrServices;
    int m_pending = 0;
    QThreadPool m_worker;
};

} // namespace Viewer
