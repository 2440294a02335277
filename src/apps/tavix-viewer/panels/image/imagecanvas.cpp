#include "imagecanvas.h"

#include <QMouseEvent>
#include <QPainter>

namespace Viewer {

CImageCanvas::CImageCanvas(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setBackgroundRole(QPalette::Dark);
}

void CImageCanvas::setImage(const QImage& image)
{
    const bool resized = image.size() != m_image.size();
    m_image = image;
    if (resized)
        updateGeometry();
    update();
}

void CImageCanvas::setPlaceholder(const QString& text)
{
    m_placeholder = text;
    update();
}

void CImageCanvas::setMark(const QString& text)
{
    if (text == m_mark)
        return;
    m_mark = text;
    update();
}

void CImageCanvas::setFitToWindow(bool fit)
{
    m_fit = fit;
    updateGeometry();
    update();
}

QSize CImageCanvas::sizeHint() const
{
    return m_image.isNull() || m_fit ? QSize(640, 480) : m_image.size();
}

QRect CImageCanvas::imageRect() const
{
    if (m_image.isNull())
        return {};
    if (!m_fit)
        return QRect(QPoint(0, 0), m_image.size());
    QRect fitted(QPoint(0, 0), m_image.size().scaled(size(), Qt::KeepAspectRatio));
    fitted.moveCenter(rect().center());
    return fitted;
}

void CImageCanvas::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    const QRect target = imageRect();
    if (target.isNull()) {
        painter.fillRect(event->rect(), palette().dark());
        painter.setPen(palette().color(QPalette::BrightText));
        painter.drawText(rect().adjusted(12, 12, -12, -12), Qt::AlignCenter | Qt::TextWordWrap, m_placeholder);
        return;
    }
    // Only the borders around the picture are filled: it covers the rest.
    const QRegion around = QRegion(event->rect()) - target;
    for (const QRect& part : around)
        painter.fillRect(part, palette().dark());
    painter.drawImage(target, m_image);
    if (!m_mark.isEmpty()) {
        // A band across the top of the visible picture, readable on any image.
        QFont font = painter.font();
        font.setBold(true);
        font.setPointSizeF(font.pointSizeF() * 1.3);
        painter.setFont(font);
        const QRect visible = target.intersected(visibleRegion().boundingRect());
        const QRect band(visible.left(), visible.top(), visible.width(), painter.fontMetrics().height() * 2);
        painter.fillRect(band, QColor(0, 0, 0, 170));
        painter.setPen(Qt::white);
        const QRect text = band.adjusted(8, 0, -8, 0);
        painter.drawText(text, Qt::AlignCenter | Qt::TextSingleLine,
                         painter.fontMetrics().elidedText(m_mark, Qt::ElideRight, text.width()));
    }
}

void CImageCanvas::mouseMoveEvent(QMouseEvent* event)
{
    const QRect target = imageRect();
    if (!target.contains(event->pos())) {
        emit pixelHovered(QPoint(-1, -1));
        return;
    }
    const QPointF offset = event->pos() - target.topLeft();
    emit pixelHovered(QPoint(int(offset.x() * m_image.width() / target.width()),
                             int(offset.y() * m_image.height() / target.height())));
}

void CImageCanvas::leaveEvent(QEvent* event)
{
    emit pixelHovered(QPoint(-1, -1));
    QWidget::leaveEvent(event);
}

} // namespace Viewer
