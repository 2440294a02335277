#include "imagecanvas.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

namespace Viewer {

CImageCanvas::CImageCanvas(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setBackgroundRole(QPalette::Dark);
    setCursor(Qt::CrossCursor);
}

void CImageCanvas::setImage(const QImage& image)
{
    const bool resized = image.size() != m_image.size();
    m_image = image;
    if (resized) {
        m_region = QRect();
        updateGeometry();
    }
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

double CImageCanvas::zoom() const
{
    if (!m_fit || m_image.isNull())
        return m_zoom;
    return double(imageRect().width()) / double(m_image.width());
}

void CImageCanvas::setZoom(double zoom)
{
    m_zoom = zoom;
    m_fit = false;
    updateGeometry();
    update();
}

void CImageCanvas::setRegion(const QRect& region)
{
    m_region = region.intersected(m_image.rect());
    update();
}

QSize CImageCanvas::sizeHint() const
{
    if (m_image.isNull() || m_fit)
        return QSize(640, 480);
    return QSize(int(std::ceil(m_image.width() * m_zoom)), int(std::ceil(m_image.height() * m_zoom)));
}

QRect CImageCanvas::imageRect() const
{
    if (m_image.isNull())
        return {};
    const QSize size = m_fit ? m_image.size().scaled(this->size(), Qt::KeepAspectRatio) : sizeHint();
    QRect target(QPoint(0, 0), size);
    // Centred in a widget larger than the picture.
    target.moveLeft(std::max(0, (width() - size.width()) / 2));
    target.moveTop(std::max(0, (height() - size.height()) / 2));
    return target;
}

QPoint CImageCanvas::pixelAt(const QPoint& position) const
{
    const QRect target = imageRect();
    if (!target.contains(position))
        return {-1, -1};
    const QPointF offset = position - target.topLeft();
    return {std::min(m_image.width() - 1, int(offset.x() * m_image.width() / target.width())),
            std::min(m_image.height() - 1, int(offset.y() * m_image.height() / target.height()))};
}

QRect CImageCanvas::widgetRectOf(const QRect& pixels) const
{
    const QRect target = imageRect();
    const double sx = double(target.width()) / m_image.width();
    const double sy = double(target.height()) / m_image.height();
    return QRectF(target.left() + pixels.left() * sx, target.top() + pixels.top() * sy, pixels.width() * sx,
                  pixels.height() * sy)
        .toAlignedRect();
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
    // Smooth when made smaller or a little larger; each pixel a sharp square once it is large
    // enough to be looked at one by one.
    const double scale = double(target.width()) / m_image.width();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, scale < 3.0 && scale != 1.0);
    if (scale == 1.0) {
        painter.drawImage(target.topLeft(), m_image);
    } else {
        // Only the part that shows: a zoomed picture may be many times the screen.
        const QRect visible = target.intersected(event->rect());
        const QRectF source((visible.left() - target.left()) / scale, (visible.top() - target.top()) / scale,
                            visible.width() / scale, visible.height() / scale);
        painter.drawImage(QRectF(visible), m_image, source);
    }
    if (!m_region.isEmpty()) {
        QPen pen(QColor(255, 210, 0), 0, Qt::DashLine);
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(widgetRectOf(m_region).adjusted(0, 0, -1, -1));
    }
    if (!m_mark.isEmpty())
        paintMark(painter, target);
}

void CImageCanvas::paintMark(QPainter& painter, const QRect& target)
{
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

QRect CImageCanvas::draggedRegion(const QPoint& to) const
{
    const QRect target = imageRect();
    const QPoint end(std::clamp(to.x(), target.left(), target.right()), std::clamp(to.y(), target.top(), target.bottom()));
    const QPoint a = pixelAt(m_dragStart);
    const QPoint b = pixelAt(end);
    return QRect(a, b).normalized();
}

void CImageCanvas::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && pixelAt(event->pos()).x() >= 0)
        m_dragStart = event->pos();
    QWidget::mousePressEvent(event);
}

void CImageCanvas::mouseMoveEvent(QMouseEvent* event)
{
    emit pixelHovered(pixelAt(event->pos()));
    if (m_dragStart.x() >= 0) {
        m_region = draggedRegion(event->pos());
        update();
    }
}

void CImageCanvas::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || m_dragStart.x() < 0)
        return QWidget::mouseReleaseEvent(event);
    // A click, not a drag, takes the rectangle away.
    const bool dragged = (event->pos() - m_dragStart).manhattanLength() >= QApplication::startDragDistance();
    m_region = dragged ? draggedRegion(event->pos()) : QRect();
    m_dragStart = QPoint(-1, -1);
    update();
    emit regionDrawn(m_region);
}

void CImageCanvas::wheelEvent(QWheelEvent* event)
{
    if (m_image.isNull())
        return QWidget::wheelEvent(event);
    emit wheelTurned(event->angleDelta().y(), event->position().toPoint());
    event->accept();
}

void CImageCanvas::leaveEvent(QEvent* event)
{
    emit pixelHovered(QPoint(-1, -1));
    QWidget::leaveEvent(event);
}

} // namespace Viewer
