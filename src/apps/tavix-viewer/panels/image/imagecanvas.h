#pragma once

#include <QImage>
#include <QWidget>

namespace Viewer {

// Paints the picture, fitted to the widget with its aspect kept or at a zoom of its own (the
// scroll area around it then scrolls), smoothly when it is made smaller and pixel by pixel when
// it is made much larger; a text in its place while there is none. A mark over the picture says
// that it is not live any more ("Stopped", "Lost"). Tells which pixel of the picture the cursor is
// over, the wheel's turns for a zoom around the cursor, and the rectangle a person draws on the
// picture with the left button (a click without a drag takes it away).
class CImageCanvas : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString mark READ mark)
    Q_PROPERTY(double zoom READ zoom)
    Q_PROPERTY(QImage image READ image)
public:
    explicit CImageCanvas(QWidget* parent = nullptr);

    void setImage(const QImage& image);
    const QImage& image() const { return m_image; }
    void setPlaceholder(const QString& text);
    // A banner over the picture; empty for none.
    void setMark(const QString& text);
    const QString& mark() const { return m_mark; }
    void setFitToWindow(bool fit);
    bool fitsToWindow() const { return m_fit; }
    // Screen pixels per pixel of the picture: the fitted one while it fits.
    double zoom() const;
    void setZoom(double zoom);
    // The rectangle drawn on the picture, in its pixels; empty for none.
    void setRegion(const QRect& region);
    const QRect& region() const { return m_region; }
    // Where the picture is painted, in the widget.
    QRect imageRect() const;
    // The pixel of the picture under a point of the widget; (-1, -1) outside it.
    QPoint pixelAt(const QPoint& position) const;
    QSize sizeHint() const override;

signals:
    // The pixel under the cursor; (-1, -1) when it is over none.
    void pixelHovered(const QPoint& pixel);
    // The wheel turned over the widget at position, by angleDelta eighths of a degree.
    void wheelTurned(int angleDelta, const QPoint& position);
    // A person drew a rectangle on the picture, or took it away (empty).
    void regionDrawn(const QRect& region);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void paintMark(QPainter& painter, const QRect& target);
    QRect widgetRectOf(const QRect& pixels) const;
    QRect draggedRegion(const QPoint& to) const;

    QImage m_image;
    QString m_placeholder;
    QString m_mark;
    bool m_fit = true;
    double m_zoom = 1.0;
    QRect m_region;
    QPoint m_dragStart{-1, -1};
};

} // namespace Viewer
