#pragma once

#include <QSharedPointer>
#include <QVector>

#include <algorithm>

namespace Plugin::OptiRoster::Internal {

// Returns the known object with the candidate's key, or makes the candidate the known one.
// The lists of known objects only grow: one object stands for one identity for ever.
template <typename Object, typename Key>
QSharedPointer<Object> adoptKnown(QVector<QSharedPointer<Object>>& known, const QSharedPointer<Object>& candidate, Key key,
                                  bool* wasKnown = nullptr)
{
    const auto found = std::find_if(known.cbegin(), known.cend(),
                                    [&](const QSharedPointer<Object>& object) { return key(object) == key(candidate); });
    if (wasKnown)
        *wasKnown = found != known.cend();
    if (found != known.cend())
        return *found;
    known.append(candidate);
    return candidate;
}

} // namespace Plugin::OptiRoster::Internal
