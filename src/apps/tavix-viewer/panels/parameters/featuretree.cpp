#include "featuretree.h"

#include "featureeditor.h"

#include <QEvent>
#include <QHeaderView>
#include <QStyle>

namespace Viewer {

namespace {

constexpr int MaxFeatureWidth = 200;
// The reason column shows the start of a reason; its tooltip and the message below show it whole.
constexpr int ShownReasonLength = 40;
constexpr int VisibilityRole = Qt::UserRole + 1;
constexpr int NameRole = Qt::UserRole + 2;
const QString CameraMap = QStringLiteral("@CameraDevice");

// The key of a group: the map, and the names of the categories that lead to it.
QString groupKey(const QString& mapName, const QVector<CCategorySnapshot>& categories, int depth)
{
    QString key = mapName;
    for (int i = 0; i < depth; ++i)
        key += QLatin1Char('/') + categories[i].name;
    return key;
}

} // namespace

CFeatureTree::CFeatureTree(QWidget* parent)
    : QTreeWidget(parent)
{
    setHeaderLabels({tr("Feature"), tr("Value"), tr("Message")});
    // The editors keep their room whatever a message says: the message column has a width of its
    // own and shows the start of a message, its tooltip and the line below the whole of it.
    header()->setSectionResizeMode(FeatureColumn, QHeaderView::Interactive);
    header()->setSectionResizeMode(ValueColumn, QHeaderView::Stretch);
    header()->setSectionResizeMode(ReasonColumn, QHeaderView::Interactive);
    header()->setStretchLastSection(false);
    header()->setMinimumSectionSize(fontMetrics().averageCharWidth() * 4);
    setColumnWidth(ReasonColumn, fontMetrics().averageCharWidth() * 8 + style()->pixelMetric(QStyle::PM_SmallIconSize));
    setTextElideMode(Qt::ElideRight);
    setSelectionMode(QAbstractItemView::NoSelection);
    viewport()->installEventFilter(this);
    connect(this, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem* item) { m_collapsed.insert(item->data(0, PathRole).toString()); });
    connect(this, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* item) { m_collapsed.remove(item->data(0, PathRole).toString()); });
}

void CFeatureTree::showFeatures(const QVector<CFeatureSnapshot>& features)
{
    if (!showsSameKinds(features)) {
        rebuild(features);
        return;
    }
    for (const CFeatureSnapshot& feature : features) {
        m_editors.value(feature.path)->showFeature(feature);
        setReason(feature.path, feature.readError);
    }
}

bool CFeatureTree::showsSameKinds(const QVector<CFeatureSnapshot>& features) const
{
    if (features.size() != m_editors.size())
        return false;
    for (const CFeatureSnapshot& feature : features) {
        const CFeatureEditor* editor = m_editors.value(feature.path);
        if (!editor || !editor->feature().sameKind(feature))
            return false;
    }
    return true;
}

void CFeatureTree::rebuild(const QVector<CFeatureSnapshot>& features)
{
    const QSignalBlocker quiet(this); // the groups that go are not closed by a person
    clear();
    m_editors.clear();
    m_items.clear();
    m_groups.clear();
    for (const CFeatureSnapshot& feature : features)
        addFeature(groupOf(feature), feature);
    resizeColumnToContents(FeatureColumn);
    m_featureWidth = qMin(columnWidth(FeatureColumn), MaxFeatureWidth);
    applyFilter();
    fitColumns();
}

QTreeWidgetItem* CFeatureTree::groupOf(const CFeatureSnapshot& feature)
{
    // The camera's categories stand at the top; the other maps, and the camera's features of no
    // category, under the map's name.
    const bool camera = feature.mapName == CameraMap;
    QTreeWidgetItem* parent = nullptr;
    if (!camera || feature.categories.isEmpty()) {
        QTreeWidgetItem*& map = m_groups[feature.mapName];
        if (!map) {
            map = new QTreeWidgetItem(this, {feature.mapName});
            map->setData(0, PathRole, feature.mapName);
            map->setFirstColumnSpanned(true);
            map->setExpanded(!m_collapsed.contains(feature.mapName));
        }
        parent = map;
    }
    for (int depth = 1; depth <= feature.categories.size(); ++depth) {
        const QString key = groupKey(feature.mapName, feature.categories, depth);
        QTreeWidgetItem*& group = m_groups[key];
        if (!group) {
            const CCategorySnapshot& category = feature.categories[depth - 1];
            const QString title = category.displayName.isEmpty() ? category.name : category.displayName;
            group = parent ? new QTreeWidgetItem(parent, {title}) : new QTreeWidgetItem(this, {title});
            group->setData(0, PathRole, key);
            group->setData(0, NameRole, category.name);
            group->setToolTip(FeatureColumn, category.description.isEmpty() ? category.name
                                                                            : category.name + QLatin1Char('\n') + category.description);
            group->setFirstColumnSpanned(true);
            group->setExpanded(!m_collapsed.contains(key));
        }
        parent = group;
    }
    return parent;
}

CFeatureEditor* CFeatureTree::makeEditor(const CFeatureSnapshot& feature)
{
    auto* editor = new CFeatureEditor(feature, this);
    connect(editor, &CFeatureEditor::writeRequested, this, &CFeatureTree::writeRequested);
    connect(editor, &CFeatureEditor::executeRequested, this, &CFeatureTree::executeRequested);
    connect(editor, &CFeatureEditor::writeRefused, this, &CFeatureTree::writeRefused);
    return editor;
}

void CFeatureTree::addFeature(QTreeWidgetItem* group, const CFeatureSnapshot& feature)
{
    const QString title = feature.displayName.isEmpty() ? feature.name : feature.displayName;
    auto* item = new QTreeWidgetItem(group, {title});
    item->setData(0, PathRole, feature.path);
    item->setData(0, NameRole, feature.name);
    item->setData(0, VisibilityRole, int(feature.visibility));
    item->setToolTip(FeatureColumn, feature.toolTipText());
    CFeatureEditor* editor = makeEditor(feature);
    setItemWidget(item, ValueColumn, editor);
    m_editors.insert(feature.path, editor);
    m_items.insert(feature.path, item);
    setReason(feature.path, feature.readError);
}

void CFeatureTree::updateFeatures(const QVector<CFeatureSnapshot>& features)
{
    for (const CFeatureSnapshot& feature : features) {
        QTreeWidgetItem* item = m_items.value(feature.path);
        CFeatureEditor* editor = m_editors.value(feature.path);
        if (!item || !editor)
            continue;
        if (editor->feature().sameKind(feature)) {
            editor->showFeature(feature);
        } else {
            // Writable now, or no longer: the feature gets the editor of its new kind.
            CFeatureEditor* replacement = makeEditor(feature);
            setItemWidget(item, ValueColumn, replacement); // deletes the old one
            m_editors.insert(feature.path, replacement);
            item->setToolTip(FeatureColumn, feature.toolTipText());
        }
        setReason(feature.path, feature.readError);
    }
}

void CFeatureTree::showValue(const QString& path, const QString& value)
{
    if (CFeatureEditor* editor = m_editors.value(path); editor && editor->feature().isReadable())
        editor->showValue(value);
}

void CFeatureTree::setReason(const QString& path, const QString& reason)
{
    QTreeWidgetItem* item = m_items.value(path);
    if (!item)
        return;
    item->setText(ReasonColumn, reason.length() > ShownReasonLength ? reason.left(ShownReasonLength - 1) + QChar(0x2026) : reason);
    item->setToolTip(ReasonColumn, reason);
    item->setIcon(ReasonColumn, reason.isEmpty() ? QIcon() : style()->standardIcon(QStyle::SP_MessageBoxWarning));
}

QStringList CFeatureTree::affectedBy(const QString& path) const
{
    QStringList paths{path};
    const CFeatureEditor* editor = m_editors.value(path);
    if (!editor)
        return paths;
    for (const QString& name : editor->feature().dependents) {
        const QString dependent = editor->feature().mapName + QLatin1Char('/') + name;
        if (m_editors.contains(dependent) && !paths.contains(dependent))
            paths << dependent;
    }
    return paths;
}

void CFeatureTree::setVisibilityLevel(GenApi::EVisibility level)
{
    m_level = level;
    applyFilter();
}

void CFeatureTree::setSearchText(const QString& text)
{
    m_search = text.trimmed();
    applyFilter();
}

bool CFeatureTree::passes(const CFeatureSnapshot& feature) const
{
    if (int(feature.visibility) > int(m_level))
        return false;
    return m_search.isEmpty() || feature.name.contains(m_search, Qt::CaseInsensitive)
           || feature.displayName.contains(m_search, Qt::CaseInsensitive);
}

bool CFeatureTree::applyFilter(QTreeWidgetItem* item)
{
    if (const CFeatureEditor* editor = m_editors.value(item->data(0, PathRole).toString()); editor && item->childCount() == 0) {
        const bool shown = passes(editor->feature());
        item->setHidden(!shown);
        return shown;
    }
    bool anyShown = false;
    for (int i = 0; i < item->childCount(); ++i)
        anyShown = applyFilter(item->child(i)) || anyShown;
    item->setHidden(!anyShown);
    // A search opens every group that holds a match; without one, groups are as a person left them.
    if (anyShown) {
        const QSignalBlocker quiet(this);
        item->setExpanded(!m_search.isEmpty() || !m_collapsed.contains(item->data(0, PathRole).toString()));
    }
    return anyShown;
}

void CFeatureTree::applyFilter()
{
    for (int i = 0; i < topLevelItemCount(); ++i)
        applyFilter(topLevelItem(i));
}

int CFeatureTree::shownFeatureCount() const
{
    int shown = 0;
    for (QTreeWidgetItem* item : m_items) {
        bool visible = !item->isHidden();
        for (QTreeWidgetItem* parent = item->parent(); visible && parent; parent = parent->parent())
            visible = !parent->isHidden();
        shown += visible ? 1 : 0;
    }
    return shown;
}

void CFeatureTree::fitColumns()
{
    // Long feature names must not squeeze the editors out of a narrow dock: the names give way
    // first, down to a few characters, and the editors keep what they need to show a value.
    // Room for a value of a dozen characters, and the arrows of a box.
    const int editorWidth = fontMetrics().averageCharWidth() * 12 + style()->pixelMetric(QStyle::PM_ScrollBarExtent) * 2;
    const int room = viewport()->width() - columnWidth(ReasonColumn) - editorWidth;
    const int fewCharacters = fontMetrics().averageCharWidth() * 8;
    setColumnWidth(FeatureColumn, qBound(fewCharacters, room, qMax(fewCharacters, m_featureWidth)));
}

bool CFeatureTree::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == viewport() && event->type() == QEvent::Resize)
        fitColumns();
    return QTreeWidget::eventFilter(watched, event);
}

} // namespace Viewer
