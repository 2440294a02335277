#include "histogramwidget.h"

#include "imageanalysis.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cmath>

namespace Viewer {

namespace {

const QColor ChannelColours[] = {QColor(220, 50, 47), QColor(60, 170, 60), QColor(38, 110, 210)};

QColor colourOf(const CImageStatistics& statistics, int channel)
{
    return statistics.channels.size() == 1 ? QColor(90, 90, 90) : ChannelColours[channel % 3];
}

} // namespace

CHistogramPlot::CHistogramPlot(QWidget* parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("histogramPlot"));
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
}

void CHistogramPlot::setStatistics(const CImageStatistics& statistics)
{
    m_statistics = statistics;
    update();
}

void CHistogramPlot::setLogarithmic(bool logarithmic)
{
    m_logarithmic = logarithmic;
    update();
}

void CHistogramPlot::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QRect plot = rect().adjusted(4, 4, -4, -16);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(plot.adjusted(0, 0, -1, -1));
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(rect().adjusted(4, 0, -4, 0), Qt::AlignLeft | Qt::AlignBottom, QStringLiteral("0"));
    painter.drawText(rect().adjusted(4, 0, -4, 0), Qt::AlignRight | Qt::AlignBottom, QString::number(m_statistics.topValue));
    if (m_statistics.isNull())
        return;
    quint32 highest = 1;
    for (const auto& channel : m_statistics.channels) {
        for (quint32 count : channel.histogram)
            highest = std::max(highest, count);
    }
    const auto height = [&](quint32 count) {
        if (count == 0)
            return 0.0;
        return m_logarithmic ? std::log1p(double(count)) / std::log1p(double(highest)) : double(count) / double(highest);
    };
    painter.setRenderHint(QPainter::Antialiasing);
    for (int c = 0; c < m_statistics.channels.size(); ++c) {
        const QVector<quint32>& bins = m_statistics.channels[c].histogram;
        QPainterPath path(QPointF(plot.left(), plot.bottom()));
        const double step = double(plot.width()) / bins.size();
        for (int i = 0; i < bins.size(); ++i) {
            const double y = plot.bottom() - height(bins[i]) * (plot.height() - 2);
            path.lineTo(plot.left() + i * step, y);
            path.lineTo(plot.left() + (i + 1) * step, y);
        }
        path.lineTo(plot.right(), plot.bottom());
        QColor fill = colourOf(m_statistics, c);
        painter.setPen(fill.darker(120));
        fill.setAlpha(m_statistics.channels.size() == 1 ? 160 : 90);
        painter.setBrush(fill);
        painter.drawPath(path);
    }
}

CHistogramWidget::CHistogramWidget(CImageAnalysis* analysis, QWidget* parent)
    : QWidget(parent)
    , m_pAnalysis(analysis)
    , m_pPlot(new CHistogramPlot(this))
    , m_pArea(new QLabel(this))
    , m_pFigures(new QTableWidget(0, 5, this))
    , m_pSaturated(new QLabel(this))
    , m_pLogarithmic(new QCheckBox(tr("Logarithmic"), this))
    , m_pMarkSaturated(new QCheckBox(tr("Mark saturated pixels"), this))
    , m_pWholeImage(new QPushButton(tr("Whole Image"), this))
{
    setObjectName(QStringLiteral("histogramPanel"));
    m_pArea->setObjectName(QStringLiteral("histogramArea"));
    m_pFigures->setObjectName(QStringLiteral("histogramFigures"));
    m_pSaturated->setObjectName(QStringLiteral("saturatedPixels"));
    m_pLogarithmic->setObjectName(QStringLiteral("histogramLogarithmic"));
    m_pMarkSaturated->setObjectName(QStringLiteral("markSaturated"));
    m_pWholeImage->setObjectName(QStringLiteral("histogramWholeImage"));
    m_pArea->setWordWrap(true);
    m_pWholeImage->setToolTip(tr("Forget the rectangle drawn on the image: the figures of all of it"));
    m_pMarkSaturated->setToolTip(tr("Paint the pixels at the top of the camera's range red on the image"));
    m_pFigures->setHorizontalHeaderLabels({tr("Channel"), tr("Min"), tr("Max"), tr("Mean"), tr("Std. dev.")});
    m_pFigures->verticalHeader()->hide();
    m_pFigures->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_pFigures->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pFigures->setSelectionMode(QAbstractItemView::NoSelection);

    auto* area = new QHBoxLayout;
    area->addWidget(m_pArea, 1);
    area->addWidget(m_pWholeImage);
    auto* options = new QHBoxLayout;
    options->addWidget(m_pLogarithmic);
    options->addWidget(m_pMarkSaturated);
    options->addStretch(1);
    m_pArea->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(area);
    layout->addWidget(m_pPlot, 1);
    layout->addLayout(options);
    layout->addWidget(m_pFigures);
    layout->addWidget(m_pSaturated);

    connect(m_pLogarithmic, &QCheckBox::toggled, m_pPlot, &CHistogramPlot::setLogarithmic);
    if (!m_pAnalysis)
        return;
    connect(m_pMarkSaturated, &QCheckBox::toggled, m_pAnalysis, &CImageAnalysis::setMarkSaturated);
    connect(m_pWholeImage, &QPushButton::clicked, m_pAnalysis, &CImageAnalysis::clearRegion);
    connect(m_pAnalysis, &CImageAnalysis::statisticsChanged, this, &CHistogramWidget::showStatistics);
    showStatistics();
}

CHistogramWidget::~CHistogramWidget()
{
    if (m_pAnalysis)
        m_pAnalysis->setWanted(false);
}

void CHistogramWidget::showEvent(QShowEvent* event)
{
    if (m_pAnalysis)
        m_pAnalysis->setWanted(true);
    QWidget::showEvent(event);
}

void CHistogramWidget::hideEvent(QHideEvent* event)
{
    if (m_pAnalysis)
        m_pAnalysis->setWanted(false);
    QWidget::hideEvent(event);
}

void CHistogramWidget::showStatistics()
{
    const CImageStatistics& statistics = m_pAnalysis->statistics();
    m_pPlot->setStatistics(statistics);
    if (statistics.isNull()) {
        m_pArea->setText(tr("No image is shown."));
        m_pFigures->setRowCount(0);
        m_pSaturated->clear();
        return;
    }
    const QRect& r = statistics.region;
    const QString area = statistics.wholeImage ? tr("Whole image, %1 x %2").arg(r.width()).arg(r.height())
                                               : tr("Region x %1, y %2, %3 x %4 (drawn on the image; a click takes it away)")
                                                     .arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
    m_pArea->setText(m_pAnalysis->source().isEmpty() ? area : m_pAnalysis->source() + QStringLiteral(": ") + area);
    static const QStringList colourNames{tr("Red"), tr("Green"), tr("Blue")};
    m_pFigures->setRowCount(statistics.channels.size());
    for (int c = 0; c < statistics.channels.size(); ++c) {
        const auto& channel = statistics.channels[c];
        const QStringList cells{statistics.channels.size() == 1 ? tr("Grey") : colourNames[c], QString::number(channel.minimum),
                                QString::number(channel.maximum), QString::number(channel.mean, 'f', 2),
                                QString::number(channel.standardDeviation, 'f', 2)};
        for (int column = 0; column < cells.size(); ++column) {
            auto* item = m_pFigures->item(c, column);
            if (!item) {
                item = new QTableWidgetItem;
                m_pFigures->setItem(c, column, item);
            }
            item->setText(cells[column]);
        }
    }
    // As high as its rows: the plot takes the rest.
    m_pFigures->resizeRowsToContents();
    int height = m_pFigures->horizontalHeader()->height() + 2 * m_pFigures->frameWidth();
    for (int row = 0; row < m_pFigures->rowCount(); ++row)
        height += m_pFigures->rowHeight(row);
    m_pFigures->setFixedHeight(height);
    const double share = statistics.pixels ? 100.0 * double(statistics.saturated) / double(statistics.pixels) : 0.0;
    m_pSaturated->setText(tr("Saturated: %1 of %2 pixels (%3 %) at %4")
                              .arg(statistics.saturated).arg(statistics.pixels).arg(share, 0, 'f', 2).arg(statistics.topValue));
}

} // namespace Viewer
