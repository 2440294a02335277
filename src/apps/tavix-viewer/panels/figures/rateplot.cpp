#include "rateplot.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace Viewer {

namespace {

// Room for a minute of samples at up to ten a second.
constexpr int RingCapacity = 600;
const QColor FpsColour(31, 119, 180);
const QColor BandwidthColour(214, 110, 20);

// The smallest of 1, 2 and 5 times a power of ten that is at least value: a readable axis top.
double niceCeiling(double value)
{
    if (value <= 0.0)
        return 1.0;
    const double power = std::pow(10.0, std::floor(std::log10(value)));
    for (double step : {1.0, 2.0, 5.0, 10.0}) {
        if (step * power >= value)
            return step * power;
    }
    return 10.0 * power;
}

} // namespace

CRatePlot::CRatePlot(QWidget* parent)
    : QWidget(parent)
    , m_ring(RingCapacity)
{
    setObjectName(QStringLiteral("ratePlot"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_clock.start();
}

void CRatePlot::addPoint(double framesPerSecond, double megabytesPerSecond)
{
    m_ring[m_next] = CPoint{m_clock.elapsed(), framesPerSecond, megabytesPerSecond};
    m_next = (m_next + 1) % RingCapacity;
    m_size = qMin(m_size + 1, RingCapacity);
    update();
}

void CRatePlot::clear()
{
    m_next = 0;
    m_size = 0;
    update();
}

QVector<CRatePlot::CPoint> CRatePlot::recentPoints() const
{
    QVector<CPoint> points;
    points.reserve(m_size);
    const qint64 since = m_clock.elapsed() - WindowMs;
    for (int i = 0; i < m_size; ++i) {
        const CPoint& point = m_ring.at((m_next - m_size + i + RingCapacity) % RingCapacity);
        if (point.atMs >= since)
            points.append(point);
    }
    return points;
}

int CRatePlot::pointCount() const
{
    return recentPoints().size();
}

void CRatePlot::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().base());
    const QFontMetrics metrics = fontMetrics();
    const int textHeight = metrics.height();
    const int axisWidth = metrics.horizontalAdvance(QStringLiteral("00000")) + 6;
    const QRect area = rect().adjusted(axisWidth, textHeight + 4, -axisWidth, -textHeight - 4);
    if (area.width() < 10 || area.height() < 10)
        return;

    const QVector<CPoint> points = recentPoints();
    double fpsTop = 0.0;
    double bandwidthTop = 0.0;
    for (const CPoint& point : points) {
        fpsTop = qMax(fpsTop, point.fps);
        bandwidthTop = qMax(bandwidthTop, point.megabytesPerSecond);
    }
    fpsTop = niceCeiling(fpsTop);
    bandwidthTop = niceCeiling(bandwidthTop);

    const QPen gridPen(palette().color(QPalette::Mid), 1, Qt::DotLine);
    painter.setPen(gridPen);
    for (int i = 1; i < 4; ++i) {
        const int y = area.top() + area.height() * i / 4;
        painter.drawLine(area.left(), y, area.right(), y);
    }
    painter.setPen(palette().color(QPalette::Text));
    painter.drawRect(area);

    // Axis labels: frame rate on the left, bandwidth on the right, time below.
    const QRect leftAxis(0, area.top() - textHeight / 2, axisWidth - 4, textHeight);
    const QRect rightAxis(area.right() + 4, area.top() - textHeight / 2, axisWidth - 4, textHeight);
    painter.setPen(FpsColour);
    painter.drawText(leftAxis, Qt::AlignRight | Qt::AlignVCenter, QString::number(fpsTop));
    painter.drawText(leftAxis.translated(0, area.height()), Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("0"));
    painter.drawText(QRect(area.left(), 0, area.width() / 2, textHeight + 2), Qt::AlignLeft | Qt::AlignVCenter, tr("images/s"));
    painter.setPen(BandwidthColour);
    painter.drawText(rightAxis, Qt::AlignLeft | Qt::AlignVCenter, QString::number(bandwidthTop));
    painter.drawText(rightAxis.translated(0, area.height()), Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("0"));
    painter.drawText(QRect(area.center().x(), 0, area.width() / 2, textHeight + 2), Qt::AlignRight | Qt::AlignVCenter, tr("MB/s"));
    painter.setPen(palette().color(QPalette::Text));
    const QRect timeAxis(area.left(), area.bottom() + 2, area.width(), textHeight + 2);
    painter.drawText(timeAxis, Qt::AlignLeft | Qt::AlignVCenter, tr("-60 s"));
    painter.drawText(timeAxis, Qt::AlignHCenter | Qt::AlignVCenter, tr("-30 s"));
    painter.drawText(timeAxis, Qt::AlignRight | Qt::AlignVCenter, tr("now"));

    painter.setRenderHint(QPainter::Antialiasing);
    drawSeries(painter, area, points, bandwidthTop, &CPoint::megabytesPerSecond, BandwidthColour);
    drawSeries(painter, area, points, fpsTop, &CPoint::fps, FpsColour);
}

void CRatePlot::drawSeries(QPainter& painter, const QRect& area, const QVector<CPoint>& points, double top,
                           double CPoint::*value, const QColor& colour) const
{
    if (points.isEmpty())
        return;
    const qint64 now = m_clock.elapsed();
    QPainterPath path;
    for (int i = 0; i < points.size(); ++i) {
        const double x = area.right() - double(now - points.at(i).atMs) * area.width() / WindowMs;
        const double y = area.bottom() - points.at(i).*value / top * area.height();
        if (i == 0)
            path.moveTo(x, y);
        else
            path.lineTo(x, y);
    }
    painter.setPen(QPen(colour, 2));
    if (points.size() == 1)
        painter.drawPoint(path.currentPosition());
    else
        painter.drawPath(path);
}

} // namespace Viewer
