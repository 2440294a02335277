// Feeds arbitrary texts to the firmware version pattern and parser: a text that passes the
// pattern parses, and the order compares it with itself as equal.
#include <plugins/optiroster/internal/firmwareversion.h>

#include <QByteArray>
#include <QRegExp>
#include <QString>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    const QString text = QString::fromUtf8(bytes);
    QRegExp pattern = Plugin::OptiRoster::Internal::firmwareVersionPattern();
    if (!pattern.exactMatch(text))
        return 0;
    const QByteArray utf8 = text.toUtf8();
    const auto version = Plugin::OptiRoster::Internal::parseFirmwareVersion(utf8.constData());
    if (version < version || !(version == version))
        __builtin_trap();
    return 0;
}
