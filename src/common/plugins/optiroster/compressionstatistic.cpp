#include "compressionstatistic.h"

namespace Plugin::OptiRoster {

CCompressionStatistic::CCompressionStatistic()
{
    // Registered wherever one is made, so that queued statistic signals can carry it.
    static const int registered = qRegisterMetaType<CCompressionStatistic>("CCompressionStatistic");
    Q_UNUSED(registered)
}

} // namespace Plugin::OptiRoster
