#include <tavix/sim/featurecatalogue.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>

namespace TavixSim {
namespace {

using GenApi::Beginner;
using GenApi::Expert;
using GenApi::Guru;
using GenApi::Invisible;
using GenApi::HexNumber;

struct CategoryEntry
{
    const char* name;
    const char* displayName;
    const char* description;
};

const CategoryEntry Categories[] = {
    {"DeviceControl", "Device Control", "What the device is and how it runs: its names, versions, temperature and reset."},
    {"ImageFormatControl", "Image Format Control", "The size, region, binning and pixel format of the images."},
    {"AcquisitionControl", "Acquisition Control", "How images are taken: the mode, the frame rate, the exposure and the trigger."},
    {"AnalogControl", "Analog Control", "How the sensor's signal becomes pixel values: gain, black level and gamma."},
    {"UserSetControl", "User Set Control", "Settings kept in the camera: load them, save them, and choose those it starts with."},
    {"ChunkDataControl", "Chunk Data Control", "Data the camera sends along with each image."},
    {"ActionControl", "Action Control", "Action commands: the keys and groups by which a command on the network reaches the camera."},
    {"TransportLayerControl", "Transport Layer Control", "How images travel to the host: payload, transmission and clock synchronisation."},
    {"ImageCompressionControl", "Image Compression Control", "Whether and how the camera compresses its images."},
    {"DefectPixelCorrection", "Defect Pixel Correction", "The camera's lists of defect pixels and their correction."},
};

struct FeatureEntry
{
    const char* name;
    const char* category;
    const char* displayName;
    const char* toolTip;
    const char* description;
    GenApi::EVisibility visibility;
    const char* unit;
    GenApi::ERepresentation representation;
    std::initializer_list<const char*> dependsOn;
};

constexpr auto Undefined = GenApi::_UndefinedRepresentation;
constexpr auto Log = GenApi::Logarithmic;
constexpr auto Linear = GenApi::Linear;

const FeatureEntry Features[] = {
    // Device control
    {"DeviceVendorName", "DeviceControl", "Vendor Name", "Who made the device.", "The name of the device's maker.", Beginner, "", Undefined, {}},
    {"DeviceModelName", "DeviceControl", "Model Name", "The device's model.", "The model of the device, as its maker names it. Settings saved from one camera load onto others of the same model.", Beginner, "", Undefined, {}},
    {"DeviceManufacturerInfo", "DeviceControl", "Manufacturer Info", "More about the device from its maker.", "Further information about the device from its maker.", Expert, "", Undefined, {}},
    {"DeviceVersion", "DeviceControl", "Device Version", "The device's hardware version.", "The version of the device.", Beginner, "", Undefined, {}},
    {"DeviceFirmwareVersion", "DeviceControl", "Firmware Version", "The firmware the device runs.", "The version of the firmware the device runs; a firmware update changes it.", Beginner, "", Undefined, {}},
    {"DeviceSerialNumber", "DeviceControl", "Serial Number", "The device's serial number.", "The serial number that tells this device from others of its model.", Beginner, "", Undefined, {}},
    {"DeviceUserID", "DeviceControl", "Device User ID", "A name of your own for the device.", "A name of the user's choice, kept in the device, by which programs can find it.", Beginner, "", Undefined, {}},
    {"DeviceScanType", "DeviceControl", "Scan Type", "Area or line scan.", "Whether the sensor takes whole areas or single lines.", Expert, "", Undefined, {}},
    {"DeviceTemperature", "DeviceControl", "Device Temperature", "The temperature inside the device.", "The temperature of the device's main board.", Expert, "C", Undefined, {}},
    {"DeviceReset", "DeviceControl", "Device Reset", "Restarts the device.", "Restarts the device: a grab ends, the device is gone for a while and comes back closed, with the settings it starts with.", Guru, "", Undefined, {}},
    // Image format
    {"SensorWidth", "ImageFormatControl", "Sensor Width", "The sensor's width.", "The number of pixels of a row of the sensor.", Expert, "px", Undefined, {}},
    {"SensorHeight", "ImageFormatControl", "Sensor Height", "The sensor's height.", "The number of rows of the sensor.", Expert, "px", Undefined, {}},
    {"WidthMax", "ImageFormatControl", "Width Max", "The widest image at the present binning.", "The widest image the camera can send, after binning and decimation.", Expert, "px", Undefined, {"BinningHorizontal", "DecimationHorizontal"}},
    {"HeightMax", "ImageFormatControl", "Height Max", "The tallest image at the present binning.", "The tallest image the camera can send, after binning and decimation.", Expert, "px", Undefined, {"BinningVertical", "DecimationVertical"}},
    {"Width", "ImageFormatControl", "Width", "Width of the image.", "The width of the image the camera sends, in pixels. With Offset X it selects the region of the sensor that is read out; it can't be changed while the camera streams.", Beginner, "px", Linear, {"OffsetX", "BinningHorizontal", "DecimationHorizontal"}},
    {"Height", "ImageFormatControl", "Height", "Height of the image.", "The height of the image the camera sends, in rows. With Offset Y it selects the region of the sensor that is read out; it can't be changed while the camera streams.", Beginner, "px", Linear, {"OffsetY", "BinningVertical", "DecimationVertical"}},
    {"OffsetX", "ImageFormatControl", "Offset X", "Left edge of the region.", "The distance of the region's left edge from the sensor's, in pixels.", Beginner, "px", Linear, {"Width", "BinningHorizontal", "DecimationHorizontal"}},
    {"OffsetY", "ImageFormatControl", "Offset Y", "Top edge of the region.", "The distance of the region's top edge from the sensor's, in rows.", Beginner, "px", Linear, {"Height", "BinningVertical", "DecimationVertical"}},
    {"PixelFormat", "ImageFormatControl", "Pixel Format", "How each pixel is coded.", "The format of the pixels in the images: the number of bits and, for a colour camera, the arrangement of the colours. It can't be changed while the camera streams.", Beginner, "", Undefined, {}},
    {"BinningHorizontal", "ImageFormatControl", "Binning Horizontal", "Pixels joined into one, across.", "The number of neighbouring pixels of a row that the sensor joins into one: the image gets narrower and brighter.", Beginner, "", Undefined, {}},
    {"BinningVertical", "ImageFormatControl", "Binning Vertical", "Rows joined into one.", "The number of neighbouring rows that the sensor joins into one: the image gets lower and brighter.", Beginner, "", Undefined, {}},
    {"DecimationHorizontal", "ImageFormatControl", "Decimation Horizontal", "Pixels skipped across.", "Sends only every n-th pixel of a row.", Expert, "", Undefined, {}},
    {"DecimationVertical", "ImageFormatControl", "Decimation Vertical", "Rows skipped.", "Sends only every n-th row.", Expert, "", Undefined, {}},
    {"ReverseX", "ImageFormatControl", "Reverse X", "Mirrors the image left to right.", "Mirrors the image about its vertical axis, in the camera.", Expert, "", Undefined, {}},
    {"ReverseY", "ImageFormatControl", "Reverse Y", "Mirrors the image top to bottom.", "Mirrors the image about its horizontal axis, in the camera.", Expert, "", Undefined, {}},
    {"TestPattern", "ImageFormatControl", "Test Pattern", "A pattern instead of the scene.", "Makes the camera send a test pattern of its own instead of what the sensor sees.", Guru, "", Undefined, {}},
    {"ComponentSelector", "ImageFormatControl", "Component Selector", "The part of a multi-part image that Component Enable acts on.", "Selects the component of the image, such as range or intensity, that the other component features act on.", Expert, "", Undefined, {}},
    {"ComponentEnable", "ImageFormatControl", "Component Enable", "Whether the selected component is sent.", "Whether the camera sends the component that the Component Selector selects.", Expert, "", Undefined, {"ComponentSelector"}},
    {"GenDCStreamingMode", "ImageFormatControl", "GenDC Streaming Mode", "Whether images travel as GenDC containers.", "Whether the camera sends its images as GenDC containers of several parts.", Guru, "", Undefined, {}},
    // Acquisition
    {"AcquisitionMode", "AcquisitionControl", "Acquisition Mode", "One image or a stream.", "Whether a grab takes a single frame or runs continuously until it is stopped.", Beginner, "", Undefined, {}},
    {"AcquisitionStart", "AcquisitionControl", "Acquisition Start", "Starts the acquisition.", "Starts taking images, as the acquisition mode says.", Expert, "", Undefined, {}},
    {"AcquisitionStop", "AcquisitionControl", "Acquisition Stop", "Stops the acquisition.", "Stops taking images after the frame under way.", Expert, "", Undefined, {}},
    {"AcquisitionFrameRateEnable", "AcquisitionControl", "Acquisition Frame Rate Enable", "Whether the frame rate is limited.", "Limits the frame rate to Acquisition Frame Rate; without it the camera runs as fast as it can.", Beginner, "", Undefined, {}},
    {"AcquisitionFrameRate", "AcquisitionControl", "Acquisition Frame Rate", "The frame rate the camera keeps.", "The rate at which the camera takes images while Acquisition Frame Rate Enable is on. The camera can't go faster than its exposure and readout allow: Resulting Frame Rate tells what it reaches.", Beginner, "Hz", Linear, {"AcquisitionFrameRateEnable"}},
    {"AcquisitionFrameRateAbs", "AcquisitionControl", "Acquisition Frame Rate", "The frame rate the camera keeps.", "The rate at which the camera takes images while Acquisition Frame Rate Enable is on.", Beginner, "Hz", Linear, {"AcquisitionFrameRateEnable"}},
    {"ResultingFrameRate", "AcquisitionControl", "Resulting Frame Rate", "The frame rate the camera reaches.", "The rate at which the camera takes images with its present settings.", Expert, "Hz", Undefined, {"AcquisitionFrameRate", "AcquisitionFrameRateAbs", "AcquisitionFrameRateEnable", "ExposureTime", "ExposureTimeAbs", "TriggerMode"}},
    {"ExposureMode", "AcquisitionControl", "Exposure Mode", "How the exposure is timed.", "Whether the exposure lasts the time set or as long as the trigger signal.", Expert, "", Undefined, {}},
    {"ExposureTime", "AcquisitionControl", "Exposure Time", "How long the sensor collects light.", "The time for which the sensor collects light for an image. A longer exposure brightens the image; the camera's frame rate can't exceed what it leaves room for. Read-only while Exposure Auto is on.", Beginner, "us", Log, {"ExposureAuto"}},
    {"ExposureTimeAbs", "AcquisitionControl", "Exposure Time", "How long the sensor collects light.", "The time for which the sensor collects light for an image. Read-only while Exposure Auto is on.", Beginner, "us", Log, {"ExposureAuto"}},
    {"ExposureAuto", "AcquisitionControl", "Exposure Auto", "The camera sets the exposure itself.", "Off: the exposure time stays as set. Once: the camera adjusts it until the image is as bright as it should be, then turns to Off. Continuous: the camera keeps adjusting it.", Beginner, "", Undefined, {}},
    {"TriggerSelector", "AcquisitionControl", "Trigger Selector", "The trigger the other trigger features set.", "Selects the trigger, such as the start of a frame, that Trigger Mode, Trigger Source and the others act on.", Expert, "", Undefined, {}},
    {"TriggerMode", "AcquisitionControl", "Trigger Mode", "Whether images wait for a trigger.", "On: the camera takes an image for each trigger from the Trigger Source. Off: it runs freely.", Beginner, "", Undefined, {"TriggerSelector"}},
    {"TriggerSource", "AcquisitionControl", "Trigger Source", "Where the trigger comes from.", "The signal that triggers an image: the Trigger Software command, an input line, or an action command.", Beginner, "", Undefined, {"TriggerSelector"}},
    {"TriggerActivation", "AcquisitionControl", "Trigger Activation", "Which edge of the signal triggers.", "Whether the rising or the falling edge of the trigger signal takes an image.", Expert, "", Undefined, {"TriggerSelector"}},
    {"TriggerSoftware", "AcquisitionControl", "Trigger Software", "Triggers one image now.", "Triggers an image now, while Trigger Mode is On and the Trigger Source is Software.", Beginner, "", Undefined, {"TriggerMode", "TriggerSource"}},
    {"TriggerDelay", "AcquisitionControl", "Trigger Delay", "Time from the trigger to the exposure.", "The time between a trigger and the start of the exposure.", Expert, "us", Undefined, {"TriggerSelector"}},
    // Analog
    {"GainSelector", "AnalogControl", "Gain Selector", "The gain that Gain sets.", "Selects the gain, all channels or one colour, that Gain sets.", Expert, "", Undefined, {}},
    {"Gain", "AnalogControl", "Gain", "Amplification of the sensor's signal.", "The amplification of the sensor's signal: each 6 dB doubles the brightness, and the noise with it. Read-only while Gain Auto is on.", Beginner, "dB", Linear, {"GainAuto", "GainSelector"}},
    {"GainRaw", "AnalogControl", "Gain (Raw)", "Amplification of the sensor's signal, in the camera's steps.", "The amplification of the sensor's signal in the camera's own steps. Read-only while Gain Auto is on.", Beginner, "", Linear, {"GainAuto", "GainSelector"}},
    {"GainAuto", "AnalogControl", "Gain Auto", "The camera sets the gain itself.", "Off: the gain stays as set. Once: the camera adjusts it until the image is as bright as it should be, then turns to Off. Continuous: the camera keeps adjusting it.", Beginner, "", Undefined, {}},
    {"BlackLevelSelector", "AnalogControl", "Black Level Selector", "The black level that Black Level sets.", "Selects the black level, all channels or one colour, that Black Level sets.", Expert, "", Undefined, {}},
    {"BlackLevel", "AnalogControl", "Black Level", "The value of black.", "An offset added to every pixel: it lifts the darkest parts of the image.", Beginner, "DN", Linear, {"BlackLevelSelector"}},
    {"BlackLevelRaw", "AnalogControl", "Black Level (Raw)", "The value of black, in the camera's steps.", "An offset added to every pixel, in the camera's own steps.", Beginner, "", Linear, {"BlackLevelSelector"}},
    {"Gamma", "AnalogControl", "Gamma", "The curve from light to pixel value.", "The exponent of the curve by which the camera maps the light to pixel values.", Expert, "", Undefined, {}},
    {"GammaEnable", "AnalogControl", "Gamma Enable", "Whether the gamma curve is applied.", "Whether the camera applies the gamma curve.", Expert, "", Undefined, {}},
    // User sets
    {"UserSetSelector", "UserSetControl", "User Set Selector", "The set that Load and Save act on.", "Selects the set of settings that User Set Load and User Set Save act on. The Default set is the factory's and can't be overwritten.", Beginner, "", Undefined, {}},
    {"UserSetLoad", "UserSetControl", "User Set Load", "Loads the selected set.", "Loads the settings of the selected set into the camera. The camera must not stream meanwhile.", Beginner, "", Undefined, {"UserSetSelector"}},
    {"UserSetSave", "UserSetControl", "User Set Save", "Saves into the selected set.", "Saves the camera's present settings into the selected set, which keeps them across restarts.", Beginner, "", Undefined, {"UserSetSelector"}},
    {"UserSetDefault", "UserSetControl", "User Set Default", "The set the camera starts with.", "The set of settings the camera loads when it starts.", Expert, "", Undefined, {}},
    // Chunks
    {"ChunkModeActive", "ChunkDataControl", "Chunk Mode Active", "Whether images carry chunk data.", "Whether the camera sends chunk data, such as the frame id and a time stamp, with each image.", Expert, "", Undefined, {}},
    {"ChunkSelector", "ChunkDataControl", "Chunk Selector", "The chunk that Chunk Enable acts on.", "Selects the chunk that Chunk Enable turns on or off.", Expert, "", Undefined, {}},
    {"ChunkEnable", "ChunkDataControl", "Chunk Enable", "Whether the selected chunk is sent.", "Whether the camera sends the selected chunk with each image.", Expert, "", Undefined, {"ChunkSelector"}},
    {"ChunkFrameID", "ChunkDataControl", "Chunk Frame ID", "The frame id of the last image's chunk data.", "The frame id carried by the chunk data of the image last parsed.", Expert, "", Undefined, {}},
    {"ChunkTimestamp", "ChunkDataControl", "Chunk Timestamp", "The time stamp of the last image's chunk data.", "The time stamp carried by the chunk data of the image last parsed.", Expert, "ns", Undefined, {}},
    // Actions
    {"ActionSelector", "ActionControl", "Action Selector", "The action that the keys belong to.", "Selects the action whose keys and group the other action features set.", Guru, "", Undefined, {}},
    {"ActionDeviceKey", "ActionControl", "Action Device Key", "The key an action command must carry.", "The device key that an action command must carry to reach this camera. It can be written, never read.", Guru, "", Undefined, {}},
    {"ActionGroupKey", "ActionControl", "Action Group Key", "The group of the selected action.", "The group key that an action command must carry for the selected action.", Guru, "", HexNumber, {"ActionSelector"}},
    {"ActionGroupMask", "ActionControl", "Action Group Mask", "The group mask of the selected action.", "An action command must share a bit of this mask to trigger the selected action.", Guru, "", HexNumber, {"ActionSelector"}},
    // Transport layer
    {"PayloadSize", "TransportLayerControl", "Payload Size", "Bytes of an image's payload.", "The number of bytes the camera sends for each image, chunk data included.", Expert, "B", Undefined, {"Width", "Height", "PixelFormat", "BinningHorizontal", "BinningVertical", "DecimationHorizontal", "DecimationVertical", "ChunkModeActive"}},
    {"TLParamsLocked", "TransportLayerControl", "TL Params Locked", "1 while the camera streams.", "1 while the camera streams and the features that shape its images are locked.", Invisible, "", Undefined, {}},
    {"TransmissionType", "TransportLayerControl", "Transmission Type", "How images travel on the network.", "Whether the camera sends its images to one host, to a multicast group, or as its own configuration says.", Guru, "", Undefined, {}},
    {"PtpEnable", "TransportLayerControl", "PTP Enable", "Whether the clock follows PTP.", "Whether the camera synchronises its clock with others by the precision time protocol (IEEE 1588).", Expert, "", Undefined, {}},
    {"PtpDataSetLatch", "TransportLayerControl", "PTP Data Set Latch", "Latches the PTP state.", "Latches the state of the clock synchronisation so that it can be read.", Guru, "", Undefined, {}},
    {"GevIEEE1588", "TransportLayerControl", "IEEE 1588", "Whether the clock follows PTP.", "Whether the camera synchronises its clock with others by the precision time protocol (IEEE 1588).", Expert, "", Undefined, {}},
    // Compression and defect pixels
    {"ImageCompressionMode", "ImageCompressionControl", "Image Compression Mode", "Whether images are compressed.", "Off: plain images. Lossless: compressed images that decompress to the same pixels. Lossy: smaller ones that don't.", Beginner, "", Undefined, {}},
    {"ImageCompressionImageSize", "ImageCompressionControl", "Image Compression Image Size", "Bytes of a decompressed image.", "The size of an image after decompression.", Expert, "B", Undefined, {"Width", "Height", "PixelFormat"}},
    {"ImageCompressionDescriptor", "ImageCompressionControl", "Image Compression Descriptor", "What a decompressor needs.", "The description of the compressed images that a decompressor is set up with.", Invisible, "", Undefined, {"Width", "Height", "PixelFormat", "ImageCompressionMode"}},
    {"VrlStaticDefectPixelCorrectionMode", "DefectPixelCorrection", "Static Defect Pixel Correction", "Whether listed defect pixels are corrected.", "On: the camera replaces each pixel of its factory and user lists by the mean of its neighbours.", Expert, "", Undefined, {}},
    {"VrlStaticDefectPixelCorrectionReload", "DefectPixelCorrection", "Reload Defect Pixel Lists", "Takes the lists anew.", "Makes the camera take its defect pixel lists anew.", Guru, "", Undefined, {}},
    {"VrlStaticDefectPixelListFactory", "DefectPixelCorrection", "Factory Defect Pixels", "The factory's list.", "The defect pixels the factory found, as x,y pairs.", Guru, "", Undefined, {}},
    {"VrlStaticDefectPixelListUser", "DefectPixelCorrection", "User Defect Pixels", "The user's list.", "Defect pixels the user added, as x,y pairs.", Guru, "", Undefined, {}},
};

template <typename Entry, size_t Count>
const Entry* findEntry(const Entry (&table)[Count], const std::string& name)
{
    const auto it = std::find_if(std::begin(table), std::end(table), [&](const Entry& e) { return name == e.name; });
    return it == std::end(table) ? nullptr : it;
}

void fill(std::string& field, const char* standard)
{
    if (field.empty())
        field = standard;
}

} // namespace

void describeStandardFeature(FeatureDesc& feature)
{
    if (feature.type == GenApi::intfICategory) {
        if (const CategoryEntry* category = findEntry(Categories, feature.name)) {
            fill(feature.displayName, category->displayName);
            fill(feature.description, category->description);
        }
        return;
    }
    const FeatureEntry* standard = findEntry(Features, feature.name);
    if (!standard)
        return;
    fill(feature.category, standard->category);
    fill(feature.displayName, standard->displayName);
    fill(feature.toolTip, standard->toolTip);
    fill(feature.description, standard->description);
    if (!feature.visibility)
        feature.visibility = standard->visibility;
    if (feature.type == GenApi::intfIInteger || feature.type == GenApi::intfIFloat) {
        fill(feature.unit, standard->unit);
        if (feature.representation == GenApi::_UndefinedRepresentation)
            feature.representation = standard->representation;
    }
    for (const char* dependency : standard->dependsOn) {
        if (std::find(feature.dependsOn.begin(), feature.dependsOn.end(), dependency) == feature.dependsOn.end())
            feature.dependsOn.push_back(dependency);
    }
}

} // namespace TavixSim
