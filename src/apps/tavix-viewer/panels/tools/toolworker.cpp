#include "toolworker.h"

namespace Viewer {

CToolWorker::CToolWorker(QObject* parent)
    : QObject(parent)
{
    m_pool.setMaxThreadCount(1);
}

CToolWorker::~CToolWorker()
{
    m_pool.waitForDone();
}

} // namespace Viewer
