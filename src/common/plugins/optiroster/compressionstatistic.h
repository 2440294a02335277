#pragma once

#include <QMetaType>

namespace Plugin::OptiRoster {

/// The compression figures of one grab; copied whole into each statistic signal.
class CCompressionStatistic
{
public:
    /// No compression information yet.
    CCompressionStatistic();

    bool hasCompressionInfo = false; ///< whether the camera compresses; the other figures count only then
    double currentRatio = 0.0;       ///< the compression ratio of the last image
    double minRatio = 100.0;         ///< the lowest ratio of the grab
    double maxRatio = 0.0;           ///< the highest ratio of the grab
    int losslessCount = 0;           ///< images compressed without loss
    int lossyCount = 0;              ///< images compressed with loss
    int errorCount = 0;              ///< images whose compression information couldn't be read
};

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(Plugin::OptiRoster::CCompressionStatistic)
