#include "firmwareversion.h"

#include <sstream>

namespace Plugin::OptiRoster::Internal {

QRegExp firmwareVersionPattern()
{
    return QRegExp(QStringLiteral("^(\\d{1,9}\\.){1,3}(\\d{1,9})?$"), Qt::CaseSensitive, QRegExp::RegExp);
}

CFirmwareVersion parseFirmwareVersion(const char* text)
{
    CFirmwareVersion version;
    std::istringstream stream(text ? text : "");
    stream >> version.components[0];
    size_t filled = 1;
    while (!stream.eof() && filled < version.components.size()) {
        char dot = 0;
        stream.get(dot);
        if (!stream.eof())
            stream >> version.components[filled++];
    }
    version.endReached = stream.eof();
    return version;
}

bool operator<(const CFirmwareVersion& left, const CFirmwareVersion& right)
{
    return left.components < right.components;
}

bool operator==(const CFirmwareVersion& left, const CFirmwareVersion& right)
{
    return left.components == right.components;
}

} // namespace Plugin::OptiRoster::Internal
