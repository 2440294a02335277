#pragma once

#include <QElapsedTimer>
#include <QVector>
#include <QWidget>

namespace Viewer {

// Frame rate and bandwidth over the last minute, as two lines with an axis each, painted by
// hand: two series of a few hundred points need no chart library.
class CRatePlot : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(int pointCount READ pointCount)
public:
    // The plot keeps this much history; older points fall out of the ring.
    static constexpr qint64 WindowMs = 60000;

    explicit CRatePlot(QWidget* parent = nullptr);

    // One sample now; the caller decides the pace, and each sample repaints once.
    void addPoint(double framesPerSecond, double megabytesPerSecond);
    void clear();
    // The points within the last minute.
    int pointCount() const;

    QSize sizeHint() const override { return {320, 180}; }
    QSize minimumSizeHint() const override { return {200, 120}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct CPoint
    {
        qint64 atMs = 0;
        double fps = 0.0;
        double megabytesPerSecond = 0.0;
    };
    // The points of the last minute, oldest first.
    QVector<CPoint> recentPoints() const;
    void drawSeries(QPainter& painter, const QRect& area, const QVector<CPoint>& points, double top,
                    double CPoint::*value, const QColor& colour) const;

    QElapsedTimer m_clock;
    QVector<CPoint> m_ring; // fixed capacity; m_next is where the next point goes
    int m_next = 0;
    int m_size = 0;
};

} // namespace Viewer
