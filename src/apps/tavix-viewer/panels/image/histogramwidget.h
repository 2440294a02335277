#pragma once

#include "imagestatistics.h"

#include <QPointer>
#include <QWidget>

class QCheckBox;
class QLabel;
class QPushButton;
class QTableWidget;

namespace Viewer {

class CImageAnalysis;

// The histogram of the shown picture, per channel, on a linear or a logarithmic scale.
class CHistogramPlot : public QWidget
{
    Q_OBJECT
public:
    explicit CHistogramPlot(QWidget* parent = nullptr);
    void setStatistics(const CImageStatistics& statistics);
    void setLogarithmic(bool logarithmic);
    bool isLogarithmic() const { return m_logarithmic; }
    QSize sizeHint() const override { return {320, 160}; }
    QSize minimumSizeHint() const override { return {160, 90}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    CImageStatistics m_statistics;
    bool m_logarithmic = false;
};

// The histogram panel: the plot, the figures of each channel (minimum, maximum, mean, standard
// deviation) and the count of saturated pixels, of the rectangle drawn on the picture or of all
// of it; a logarithmic scale, the marking of saturated pixels on the picture.
class CHistogramWidget : public QWidget
{
    Q_OBJECT
public:
    CHistogramWidget(CImageAnalysis* analysis, QWidget* parent = nullptr);
    ~CHistogramWidget() override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void showStatistics();

    QPointer<CImageAnalysis> m_pAnalysis;
    CHistogramPlot* m_pPlot;
    QLabel* m_pArea;
    QTableWidget* m_pFigures;
    QLabel* m_pSaturated;
    QCheckBox* m_pLogarithmic;
    QCheckBox* m_pMarkSaturated;
    QPushButton* m_pWholeImage;
};

} // namespace Viewer
