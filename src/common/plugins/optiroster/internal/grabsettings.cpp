#include "grabsettings.h"

#include <QSettings>

namespace Plugin::OptiRoster::Internal {

namespace {

const QString Group = QStringLiteral("Grab");
const QString MinNumBuffersKey = QStringLiteral("MinNumBuffersContinuousShot");
const QString MaxNumBuffersKey = QStringLiteral("MaxNumBuffersContinuousShot");
const QString UsedBufferMemoryKey = QStringLiteral("UsedBufferMemory");

struct SharedRead
{
    int depth = 0;
    CGrabSettings values;
    bool allStored = false; // every key is in the settings, with the value in values
};

thread_local SharedRead sharedRead;

} // namespace

bool CGrabSettings::operator==(const CGrabSettings& other) const
{
    return minNumBuffers == other.minNumBuffers && maxNumBuffers == other.maxNumBuffers
        && usedBufferMemory == other.usedBufferMemory;
}

CGrabSettings CGrabSettings::readStored(bool& allStored)
{
    QSettings settings;
    settings.beginGroup(Group);
    CGrabSettings values;
    values.minNumBuffers = settings.value(MinNumBuffersKey, values.minNumBuffers).toInt();
    values.maxNumBuffers = settings.value(MaxNumBuffersKey, values.maxNumBuffers).toInt();
    values.usedBufferMemory = settings.value(UsedBufferMemoryKey, values.usedBufferMemory).toUInt();
    allStored = settings.contains(MinNumBuffersKey) && settings.contains(MaxNumBuffersKey)
             && settings.contains(UsedBufferMemoryKey);
    return values;
}

CGrabSettings CGrabSettings::read()
{
    if (sharedRead.depth > 0)
        return sharedRead.values;
    bool allStored = false;
    return readStored(allStored);
}

void CGrabSettings::writeBack() const
{
    if (sharedRead.depth > 0 && sharedRead.allStored && sharedRead.values == *this)
        return;
    QSettings settings;
    settings.beginGroup(Group);
    // A key that holds the value already is left alone, so that a pool of many cameras doesn't
    // rewrite the settings file once for each of them.
    const auto write = [&settings](const QString& key, const QVariant& value) {
        if (settings.value(key) != value)
            settings.setValue(key, value);
    };
    write(MinNumBuffersKey, minNumBuffers);
    write(MaxNumBuffersKey, maxNumBuffers);
    write(UsedBufferMemoryKey, usedBufferMemory);
    if (sharedRead.depth > 0) { // the cameras made after this one read what is stored now
        sharedRead.values = *this;
        sharedRead.allStored = true;
    }
}

CGrabSettings::CSharedRead::CSharedRead()
{
    if (sharedRead.depth++ == 0)
        sharedRead.values = readStored(sharedRead.allStored);
}

CGrabSettings::CSharedRead::~CSharedRead()
{
    --sharedRead.depth;
}

} // namespace Plugin::OptiRoster::Internal
