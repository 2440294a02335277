#pragma once

#include <tavix/deviceinfo.h>
#include <tavix/sim/nodemap.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/sim/timeline.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace TavixSim {

struct FrameFailure
{
    int64_t frame = 0; // 1-based index within a grab; 0 with every set
    int64_t every = 0; // every n-th frame fails
    uint32_t code = 0;
    std::string text;
};

struct GrabError
{
    int64_t afterFrame = 0;
    std::string message;
};

// What a simulated camera can be. A scenario beyond these is refused: no camera sends faster,
// slower than once in a quarter of an hour (but for 0, free-running), or larger images.
constexpr double MaxFrameRate = 1e6;
constexpr double MinFrameRate = 1e-3;
constexpr int64_t MaxImageBytes = int64_t(1) << 30;

// The bytes a pixel of a format takes in the simulated cameras' images.
int64_t bytesPerPixel(const std::string& pixelFormat);

struct StreamDesc
{
    double frameRate = 0.0; // 0: free-running
    std::string payloadType = "auto"; // "auto" follows ChunkModeActive, "image", "chunk"
    int64_t firstImageNumber = 1;
    int64_t frameLimit = 0; // the device sends no more than this many frames in one grab (0: no limit)
    int64_t chunkTrailerMissingEvery = 0; // every n-th chunk frame comes without its trailer (0: never)
    std::vector<FrameFailure> failures;
    std::vector<GrabError> errors;
};

struct CompressionDesc
{
    bool enabled = false;  // the camera can compress; its descriptor follows its image format
    int64_t imageSize = -1; // -1: computed from the image format
    bool lossy = false;    // "ImageCompressionMode" starts as "Lossy" rather than "Lossless"
    std::vector<int64_t> statusErrorFrames;
};

// The static defect pixel lists of a camera, in the text form "x,y;x,y". The sensor's defect
// pixels are those of the factory list and those of sensor.
struct DefectPixelsDesc
{
    bool enabled = false;
    std::string factory;
    std::string user;
    std::string sensor; // defect pixels that the factory list misses
};

struct DeviceDesc
{
    Tavix::CDeviceInfo info;
    bool reachable = true; // false: on a subnet the host can't reach until announced
    bool plugged = true;
    std::string model;     // key of the shared node map description, empty for none
    NodeMapDescription features;
    NodeMapDescription tlFeatures;
    NodeMapDescription streamFeatures;
    NodeMapDescription eventFeatures;
    StreamDesc stream;
    CompressionDesc compression;
    DefectPixelsDesc defectPixels;
    bool resettable = true;   // the camera has the command "DeviceReset", which reboots it
    int64_t rebootTime = 4000; // milliseconds of the simulator's clock until a reset device is back; -1: never
    std::vector<Fault> faults; // operations that always fail on this device, as another application holding it makes them
};

struct InterfaceDesc
{
    Tavix::CInterfaceInfo info;
    NodeMapDescription features;
};

struct LayerDesc
{
    Tavix::CTlInfo info;
    bool gige = false;
    std::vector<InterfaceDesc> interfaces;
    std::vector<DeviceDesc> devices;
};

struct Scenario
{
    std::vector<LayerDesc> layers;
    std::map<std::string, QJsonArray> models; // parsed on first use, see CWorld
    std::vector<TimelineEvent> timeline;
};

// Parses a scenario document. On failure returns false and sets error to a text that names
// the source, the JSON path and what is wrong.
bool parseScenario(const QByteArray& json, const QString& source, Scenario& scenario, QString& error);

// Parses the features of a node map; path prefixes the JSON path in errors.
bool parseFeatures(const QJsonArray& array, const QString& path, NodeMapDescription& features, QString& error);

} // namespace TavixSim
