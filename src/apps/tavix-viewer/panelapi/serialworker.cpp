#include "serialworker.h"

namespace Viewer {

CSerialWorker::CSerialWorker(QObject* parent)
    : QObject(parent)
{
    m_pool.setMaxThreadCount(1);
}

CSerialWorker::~CSerialWorker()
{
    m_pool.waitForDone();
}

} // namespace Viewer
