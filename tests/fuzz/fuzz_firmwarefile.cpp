// Feeds arbitrary bytes to the firmware update file reader, as a file beside a payload it may
// name: it must give updates or the SDK's exception with a text, never crash or hang.
#include <tavix/sim/firmwarefile.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QTemporaryDir folder;
    static const bool payload = [] {
        QFile file(QDir(folder.path()).filePath(QStringLiteral("payload.bin")));
        return file.open(QIODevice::WriteOnly) && file.write("payload") == 7;
    }();
    (void)payload;
    const QString path = QDir(folder.path()).filePath(QStringLiteral("updates.json"));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return 0;
        file.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    try {
        TavixSim::readFirmwareFile(path);
    } catch (const GenICam::GenericException& e) {
        if (!*e.GetDescription())
            __builtin_trap(); // a refusal always says why
    }
    return 0;
}
