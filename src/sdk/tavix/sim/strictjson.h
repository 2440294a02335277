#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>

namespace TavixSim {

// Reads a JSON document as QJsonDocument::fromJson does, and refuses as well an object that names
// a key twice. Qt keeps the last of such values without a word (and Qt 5.15 loses the memory of an
// object or array it drops that way); in a hand-written file a repeated key is a mistake worth
// telling. On failure the document is null and error and offset say what and where.
QJsonDocument parseJsonStrictly(const QByteArray& bytes, QString& error, int& offset);

// "byte 12 (line 2, column 5)": where a fault at the offset is, bytes counted from 0, lines and
// columns from 1.
QString positionText(const QByteArray& bytes, int offset);

} // namespace TavixSim
