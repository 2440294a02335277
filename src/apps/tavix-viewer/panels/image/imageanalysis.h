#pragma once

#include "imagestatistics.h"

#include <QObject>

namespace Viewer {

// What the image panel and the histogram panel share, on the GUI thread: the figures of the
// shown picture (of the rectangle drawn on it, or all of it), whether they are wanted at all, and
// whether saturated pixels are marked on the picture.
class CImageAnalysis : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    const CImageStatistics& statistics() const { return m_statistics; }
    // The image panel: the figures of the picture it shows now; empty once it shows none.
    void publish(const CImageStatistics& statistics, const QString& source);
    const QString& source() const { return m_source; }

    // The histogram panel: whether it is seen, so that figures are worth computing.
    void setWanted(bool wanted);
    bool isWanted() const { return m_wanted; }
    void setMarkSaturated(bool mark);
    bool marksSaturated() const { return m_markSaturated; }
    // Asks the image panel to forget the rectangle drawn on the picture.
    void clearRegion() { emit regionClearRequested(); }

signals:
    void statisticsChanged();
    void settingsChanged();
    void regionClearRequested();

private:
    CImageStatistics m_statistics;
    QString m_source;
    bool m_wanted = false;
    bool m_markSaturated = false;
};

} // namespace Viewer
