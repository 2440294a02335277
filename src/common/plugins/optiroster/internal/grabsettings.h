#pragma once

namespace Plugin::OptiRoster::Internal {

// The group "Grab" of the settings: the buffer limits of a camera. A camera reads it when it is
// made and writes it back when it ends, so that a missing key is present with its default after
// the first run.
//
// Opening the settings costs a look at each settings file; a pass that makes or ends thousands
// of cameras holds a CSharedRead meanwhile, and its cameras take the values that it read at its
// start instead of opening the files each.
class CGrabSettings
{
public:
    int minNumBuffers = 15;
    int maxNumBuffers = 450;
    unsigned int usedBufferMemory = 8388608;

    // The values of the shared read on this thread, if one is held, else of the settings now.
    static CGrabSettings read();
    // Writes the values back, unless the shared read on this thread found them all stored as
    // they are.
    void writeBack() const;

    // One read of the settings for the cameras that this thread makes or ends while it lives.
    // It may nest; the outermost one reads.
    class CSharedRead
    {
    public:
        CSharedRead();
        ~CSharedRead();
        CSharedRead(const CSharedRead&) = delete;
        CSharedRead& operator=(const CSharedRead&) = delete;
    };

private:
    bool operator==(const CGrabSettings& other) const;
    static CGrabSettings readStored(bool& allStored);
};

} // namespace Plugin::OptiRoster::Internal
