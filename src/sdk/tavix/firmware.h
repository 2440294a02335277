#pragma once

#include <tavix/genapi.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace GenApi {

/// The record of one update of an update file: its info block of key and value texts, the file
/// it came from and its payload. Copies share the read data, which never changes.
class CFirmwareUpdateInfo
{
public:
    /// What the reader hands over; the record keeps it unchanged for its lifetime.
    struct Data
    {
        /// the info block's keys and values
        std::map<std::string, std::string> info;
        /// the update file
        std::string updateFilename;
        /// the update's entry in the file
        std::string entryName;
        /// the firmware to write
        std::string payload;
        std::string payloadSha256; ///< lower-case hexadecimal
    };

    /// A record that isn't valid.
    CFirmwareUpdateInfo();
    /// A record of the read data.
    explicit CFirmwareUpdateInfo(std::shared_ptr<const Data> data);
    ///@{
    /// Copies share the read data.
    CFirmwareUpdateInfo(const CFirmwareUpdateInfo& other);
    CFirmwareUpdateInfo& operator=(const CFirmwareUpdateInfo& other);
    ~CFirmwareUpdateInfo();
    ///@}

    /// Whether the record holds read data.
    bool IsValid() const;
    /// The update file the record was read from.
    gcstring GetUpdateFilename() const;
    /// The value of a key of the info block, or defaultValue when the block doesn't have it.
    gcstring GetInfo(const char* key, const char* defaultValue) const;
    /// The part of a device's firmware version text that is a version in this update's terms.
    gcstring ExtractVersionFromDeviceFirmwareVersion(const gcstring& deviceFirmwareVersion) const;

    /// The read data; null for a record that isn't valid.
    const Data* GetData() const { return m_data.get(); }

private:
    std::shared_ptr<const Data> m_data;
};

/// Takes the updates of a file one by one; false stops the reading.
class IFirmwareUpdateInfoCollector
{
public:
    virtual ~IFirmwareUpdateInfoCollector() = default;
    /// Takes one update; false stops the reading.
    virtual bool OnUpdateRead(const CFirmwareUpdateInfo& info) = 0;
};

/// The steps of an update.
enum EFirmwareUpdateProgressStepType {
    FirmwareUpdateProgressStepType_CheckPreconditions = 0,
    FirmwareUpdateProgressStepType_AcquireUpdateData = 1,
    FirmwareUpdateProgressStepType_FeatureWrite = 2,
    FirmwareUpdateProgressStepType_FeatureExecute = 3,
    FirmwareUpdateProgressStepType_FeatureAssert = 4,
    FirmwareUpdateProgressStepType_FileUpload = 5,
    FirmwareUpdateProgressStepType_DeviceReset = 6,
    FirmwareUpdateProgressStepType_Invalid = 7,
};

/// Hears of an update's course, on the thread that runs ApplyUpdate. Times are milliseconds.
class IFirmwareUpdateProgressObserver
{
public:
    virtual ~IFirmwareUpdateProgressObserver() = default;
    /// The update begins; estimatedDuration in ms.
    virtual void OnFirmwareUpdateBegin(const CFirmwareUpdateInfo& info, unsigned int estimatedDuration) = 0;
    /// A step begins.
    virtual void OnFirmwareUpdateProgressStepBegin(EFirmwareUpdateProgressStepType step, unsigned int estimatedUpdateTime,
                                                   const char* description) = 0;
    /// A step's progress, in percent.
    virtual void OnFirmwareUpdateProgressStepPartialProgress(EFirmwareUpdateProgressStepType step, double percentDone) = 0;
    /// A step has ended.
    virtual void OnFirmwareUpdateProgressStepEnd(EFirmwareUpdateProgressStepType step, unsigned int updateTime) = 0;
    /// The update has succeeded.
    virtual void OnFirmwareUpdateEnd() = 0;
    /// The update failed with the exception, which is thrown next.
    virtual void OnFirmwareUpdateError(const GenICam::GenericException& e) = 0;
};

/// The device as the updater sees it: the application opens it, gives its node map, and resets
/// it and finds it again after the new firmware has been written.
class IFirmwareUpdatableDevice
{
public:
    virtual ~IFirmwareUpdatableDevice() = default;
    /// Opens the device.
    virtual void open() = 0;
    /// The open device's node map.
    virtual INodeMap* getNodeMap() = 0;
    /// Resets the device and finds it again; nodeMapBeforeReset is the node map of the device that
    /// is reset. Returns the node map of the reopened device.
    virtual INodeMap* resetAndReconnect(INodeMap* nodeMapBeforeReset, uint32_t waitTimeMs) = 0;
    /// Called after a successful update.
    virtual void finish() = 0;
    /// The device's name, for messages.
    virtual gcstring getDeviceName() = 0;
};

/// Reads update files and writes updates into devices.
class CFirmwareUpdater
{
public:
    ///@{
    /// An updater.
    CFirmwareUpdater();
    ~CFirmwareUpdater();
    ///@}

    /// Writes the update into the device, resets it and waits for it to come back. path, when not
    /// null, names a payload file to use instead of the one the record was read with; it must have
    /// the record's checksum. Throws on failure, after telling the observer.
    void ApplyUpdate(IFirmwareUpdatableDevice* device, const CFirmwareUpdateInfo& info,
                     IFirmwareUpdateProgressObserver* observer, const char* path);
    /// Reads the whole file first and hands the updates that pass the filter (a wildcard pattern on
    /// the model names, null for all) to the collector; a bad file throws and hands over nothing.
    void ReadFirmwareUpdateInfos(const gcstring& fileName, IFirmwareUpdateInfoCollector& collector,
                                 const char* filter) const;
    /// Whether the update fits the device of the node map.
    bool FirmwareUpdateMatchesDevice(INodeMap* nodeMap, const CFirmwareUpdateInfo& info) const;
};

} // namespace GenApi
