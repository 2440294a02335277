#pragma once

#include <featuresnapshot.h>

#include <QHash>
#include <QSet>
#include <QTreeWidget>

namespace Viewer {

class CFeatureEditor;

// The features of a device as its description groups them: the camera's categories at the top,
// each with its features and further categories, and each other node map under its name. A
// feature shows its display name, an editor of its type, and the reason of its last refusal; its
// tooltip tells what its description says. A filter shows the features of a visibility and those
// below it whose name or display name holds a text, and the categories that hold any of them.
class CFeatureTree : public QTreeWidget
{
    Q_OBJECT
public:
    enum EColumn { FeatureColumn = 0, ValueColumn = 1, ReasonColumn = 2 };
    // The item data that holds a feature's path.
    static constexpr int PathRole = Qt::UserRole;

    explicit CFeatureTree(QWidget* parent = nullptr);

    // Shows these features: in place with the new values when they are of the same kinds as
    // those shown, anew otherwise, keeping which categories are open.
    void showFeatures(const QVector<CFeatureSnapshot>& features);
    // Shows the new state of features already shown; one whose kind changed gets a new editor.
    void updateFeatures(const QVector<CFeatureSnapshot>& features);
    void showValue(const QString& path, const QString& value);
    void setReason(const QString& path, const QString& reason);
    // The features shown whose values may change with the feature of the path: itself and its
    // dependents, as paths.
    QStringList affectedBy(const QString& path) const;
    bool isShown(const QString& path) const { return m_editors.contains(path); }
    int featureCount() const { return m_editors.size(); }

    void setVisibilityLevel(GenApi::EVisibility level);
    void setSearchText(const QString& text);
    // How many features the filter lets through.
    int shownFeatureCount() const;

signals:
    void writeRequested(const QString& path, const QString& value);
    void executeRequested(const QString& path);
    void writeRefused(const QString& path, const QString& reason);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool showsSameKinds(const QVector<CFeatureSnapshot>& features) const;
    void rebuild(const QVector<CFeatureSnapshot>& features);
    QTreeWidgetItem* groupOf(const CFeatureSnapshot& feature);
    void addFeature(QTreeWidgetItem* group, const CFeatureSnapshot& feature);
    CFeatureEditor* makeEditor(const CFeatureSnapshot& feature);
    // Hides what the filter leaves out; returns whether anything below item is shown.
    bool applyFilter(QTreeWidgetItem* item);
    void applyFilter();
    bool passes(const CFeatureSnapshot& feature) const;
    void fitColumns();

    QHash<QString, CFeatureEditor*> m_editors; // by path
    QHash<QString, QTreeWidgetItem*> m_items;  // features by path
    QHash<QString, QTreeWidgetItem*> m_groups; // categories and maps by key
    QSet<QString> m_collapsed;                 // keys of the groups a person closed
    GenApi::EVisibility m_level = GenApi::Beginner;
    QString m_search;
    int m_featureWidth = 0; // what the longest feature name needs, within reason
};

} // namespace Viewer
