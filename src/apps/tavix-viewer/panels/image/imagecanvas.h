#pragma once

#include <QImage>
#include <QWidget>

namespace Viewer {

// Paints the picture, fitted to the widget with its aspect kept or at its own size, and a text
// in its place while there is none. A mark over the picture says that it is not live any more
// ("Stopped", "Lost"). Tells which pixel of the picture the cursor is over.
class CImageCanvas : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString mark READ mark)
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
    QSize sizeHint() const override;

signals:
    // The pixel under the cursor; (-1, -1) when it is over none.
    void pixelHovered(const QPoint& pixel);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QRect imageRect() const;

    QImage m_image;
    QString m_placeholder;
    QString m_mark;
    bool m_fit = true;
};

} // namespace Viewer
