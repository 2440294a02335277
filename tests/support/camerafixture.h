#pragma once

#include "simscenario.h"

#include <plugins/optiroster/internal/camerainfo.h>

#include <tavix/tlfactory.h>

#include <QMutex>
#include <QObject>
#include <QVector>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

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

// Holds each image on its grab thread until the test's thread has received that many
// statistics, so that the test's thread keeps up with a camera of any speed however loaded the
// machine is. Call waitForStatistic(n) on the grab thread with the image's count, received() on
// the test's thread with each statistic.
class CKeepUpGate
{
public:
    void received() { m_received.fetch_add(1); }
    // Lets every image through from now on, as before a stop, which waits for the grab thread.
    void open() { m_open.store(true); }
    // False when the test's thread didn't turn for 10 s.
    bool waitForStatistic(int count)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (m_received.load() < count && !m_open.load()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        return true;
    }

private:
    std::atomic<int> m_received{0};
    std::atomic<bool> m_open{false};
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
