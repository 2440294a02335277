#pragma once

#include "simscenario.h"

#include <plugins/optiroster/internal/camerainfo.h>

#include <tavix/tlfactory.h>

#include <QMutex>
#include <QObject>
#include <QVector>

#include <functional>

// The description of a scenario camera, as enumeration would make it.
inline Core::OptiRosterComponents::CameraInfoPtr cameraInfo(const QString& serial)
{
    Tavix::DeviceInfoList devices;
    Tavix::DeviceInfoList filter(1);
    filter[0].SetSerialNumber(serial.toUtf8().constData());
    Tavix::CTlFactory::GetInstance().EnumerateDevices(devices, filter, false);
    if (devices.empty())
        return {};
    return Core::OptiRosterComponents::CameraInfoPtr(new Plugin::OptiRoster::Internal::CCameraInfo(devices[0], nullptr));
}

// Collects what signals carry on the test's thread: a receiver on this thread gets signals of
// other threads queued, so the values are read without racing their writer.
template <typename Value>
class CQueuedRecorder : public QObject
{
public:
    template <typename Sender, typename Signal, typename Make>
    CQueuedRecorder(Sender* sender, Signal signal, Make make)
    {
        connect(sender, signal, this, [this, make](auto&&... args) { values.append(make(args...)); });
    }
    QVector<Value> values;
};

// Collects on the emitting thread, under a lock, for signals whose order across threads matters.
class CDirectLog
{
public:
    void append(const QString& entry)
    {
        QMutexLocker locker(&m_mutex);
        m_entries.append(entry);
    }
    QStringList entries() const
    {
        QMutexLocker locker(&m_mutex);
        return m_entries;
    }
    int count() const { return entries().size(); }

private:
    mutable QMutex m_mutex;
    QStringList m_entries;
};
