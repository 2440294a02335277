#pragma once

#include <QMetaType>

namespace Plugin::OptiRoster {

// The compression figures of one grab; copied whole into each statistic signal.
class CCompressionStatistic
{
public:
    CCompressionStatistic();

    bool hasCompressionInfo = false;
    double currentRatio = 0.0;
    double minRatio = 100.0;
    double maxRatio = 0.0;
    int losslessCount = 0;
    int lossyCount = 0;
    int errorCount = 0;
};

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(Plugin::OptiRoster::CCompressionStatistic)
