#include "versionorder.h"

#include <QRegularExpression>
#include <QStringList>

#include <array>

namespace Viewer {

namespace {

using Parts = std::array<qint64, 4>;

bool parse(const QString& text, Parts& parts)
{
    static const QRegularExpression pattern(QStringLiteral("^\\d{1,9}(\\.\\d{1,9}){1,3}$"));
    if (!pattern.match(text).hasMatch())
        return false;
    parts.fill(0);
    const QStringList numbers = text.split(QLatin1Char('.'));
    for (int i = 0; i < numbers.size(); ++i)
        parts[size_t(i)] = numbers[i].toLongLong();
    return true;
}

} // namespace

bool isOrderedVersion(const QString& version)
{
    Parts parts;
    return parse(version, parts);
}

Plugin::OptiRoster::EFirmwareUpdateDirection directionOf(const QString& deviceVersion, const QString& target)
{
    using namespace Plugin::OptiRoster;
    Parts device;
    Parts update;
    if (!parse(deviceVersion, device) || !parse(target, update))
        return !deviceVersion.isEmpty() && deviceVersion == target ? Sidegrade : Unknown;
    return device == update ? Sidegrade : device < update ? Upgrade : Downgrade;
}

bool newerFirst(const QString& left, const QString& right)
{
    Parts l;
    Parts r;
    const bool leftOrdered = parse(left, l);
    const bool rightOrdered = parse(right, r);
    if (leftOrdered != rightOrdered)
        return leftOrdered;
    return leftOrdered && r < l;
}

} // namespace Viewer
