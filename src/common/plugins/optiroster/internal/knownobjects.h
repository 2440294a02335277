#pragma once

#include <QHash>
#include <QSharedPointer>
#include <QString>
#include <QVector>

namespace Plugin::OptiRoster::Internal {

// An index of a list of known objects by identity, beside the list, so that a pass finds a
// known object without walking the list and costs the same however many devices the process
// has seen.
template <typename Object>
using KnownIndex = QHash<QString, QSharedPointer<Object>>;

// Returns the known object of the identity key, or makes one with makeCandidate and enters it.
// The lists of known objects only grow: one object stands for one identity for ever. A
// candidate is made only for an identity seen for the first time; for a known one it would be
// thrown away unused.
template <typename Object, typename Make>
QSharedPointer<Object> adoptKnown(QVector<QSharedPointer<Object>>& known, KnownIndex<Object>& index, const QString& key,
                                  Make makeCandidate, bool* wasKnown = nullptr)
{
    const auto found = index.constFind(key);
    if (wasKnown)
        *wasKnown = found != index.cend();
    if (found != index.cend())
        return found.value();
    const QSharedPointer<Object> candidate = makeCandidate();
    known.append(candidate);
    index.insert(key, candidate);
    return candidate;
}

} // namespace Plugin::OptiRoster::Internal
