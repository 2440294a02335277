#include <tavix/sim/acquisitioncontrols.h>

#include <algorithm>
#include <cmath>
#include <mutex>

namespace TavixSim {
namespace {

// Within this the picture counts as plainly lit, and "Once" is done.
constexpr double Tolerance = 0.02;
// Each frame an automatic mode goes this share of the way (in a logarithmic sense).
constexpr double Damping = 0.5;
// The range of a raw gain, in decibels.
constexpr double GainRawDecibels = 36.0;

double numberOf(const CNodeMap& map, const std::string& name)
{
    if (name.empty())
        return 0.0;
    GenApi::INode* node = map.GetNode(name.c_str());
    if (dynamic_cast<GenApi::IFloat*>(node))
        return map.floatValue(name, 0.0);
    return double(map.integerValue(name, 0));
}

// The value's limits, as the feature has them now.
std::pair<double, double> limitsOf(const CNodeMap& map, const std::string& name)
{
    GenApi::INode* node = map.GetNode(name.c_str());
    if (auto* floating = dynamic_cast<GenApi::IFloat*>(node))
        return {floating->GetMin(), floating->GetMax()};
    if (auto* integer = dynamic_cast<GenApi::IInteger*>(node))
        return {double(integer->GetMin()), double(integer->GetMax())};
    return {0.0, 0.0};
}

void setNumber(CNodeMap& map, const std::string& name, double value)
{
    std::lock_guard<std::recursive_mutex> lock(map.mutex());
    GenApi::INode* node = map.GetNode(name.c_str());
    if (dynamic_cast<GenApi::IFloat*>(node)) {
        map.setFloatInternal(name, value);
    } else if (dynamic_cast<GenApi::IInteger*>(node)) {
        map.setIntegerInternal(name, std::llround(value));
        map.changed(name);
    }
}

} // namespace

CAcquisitionControls::CAcquisitionControls(CNodeMap& camera, double streamFrameRate)
    : m_camera(camera)
    , m_streamFrameRate(streamFrameRate)
    , m_exposure(camera.firstOf({"ExposureTime", "ExposureTimeAbs"}))
    , m_gain(camera.firstOf({"Gain", "GainRaw"}))
    , m_blackLevel(camera.firstOf({"BlackLevel", "BlackLevelRaw"}))
    , m_frameRate(camera.firstOf({"AcquisitionFrameRate", "AcquisitionFrameRateAbs"}))
{
    m_plainExposure = numberOf(camera, m_exposure);
    m_plainGain = numberOf(camera, m_gain);
    m_plainBlackLevel = numberOf(camera, m_blackLevel);
    if (m_gain == "GainRaw") {
        const auto limits = limitsOf(camera, m_gain);
        m_gainRawRange = std::max(1.0, limits.second - limits.first);
    }
    lockWhileAuto(m_exposure, "ExposureAuto");
    lockWhileAuto(m_gain, "GainAuto");
    if (!m_frameRate.empty() && GenApi::IsImplemented(camera.GetNode("AcquisitionFrameRateEnable"))) {
        camera.setLockRule(m_frameRate, [this] {
            return m_camera.booleanValue("AcquisitionFrameRateEnable", true)
                       ? std::string()
                       : std::string("while AcquisitionFrameRateEnable is false; enable it to set a frame rate.");
        });
    }
    if (GenApi::IsImplemented(camera.GetNode("TriggerSoftware"))) {
        camera.setLockRule("TriggerSoftware", [this] {
            if (m_camera.enumValue("TriggerMode") != "On")
                return std::string("while TriggerMode is Off.");
            if (m_camera.enumValue("TriggerSource") != "Software")
                return "while the TriggerSource is " + m_camera.enumValue("TriggerSource") + ".";
            return std::string();
        });
    }
}

void CAcquisitionControls::lockWhileAuto(const std::string& value, const char* automatic)
{
    if (value.empty() || !GenApi::IsImplemented(m_camera.GetNode(automatic)))
        return;
    const std::string name = automatic;
    m_camera.setLockRule(value, [this, name] {
        const std::string mode = m_camera.enumValue(name);
        return mode.empty() || mode == "Off" ? std::string() : "while " + name + " is " + mode + ".";
    });
}

std::string CAcquisitionControls::autoMode(const char* feature) const
{
    const std::string mode = m_camera.enumValue(feature);
    return mode.empty() ? std::string("Off") : mode;
}

double CAcquisitionControls::brightness() const
{
    double factor = 1.0;
    if (!m_exposure.empty() && m_plainExposure > 0)
        factor *= std::max(0.0, numberOf(m_camera, m_exposure)) / m_plainExposure;
    if (!m_gain.empty()) {
        const double decibels = m_gain == "GainRaw" ? (numberOf(m_camera, m_gain) - m_plainGain) / m_gainRawRange * GainRawDecibels
                                                    : numberOf(m_camera, m_gain) - m_plainGain;
        factor *= std::pow(10.0, decibels / 20.0);
    }
    return factor;
}

CTestPattern::Response CAcquisitionControls::response() const
{
    CTestPattern::Response response;
    response.gain = brightness();
    if (!m_blackLevel.empty())
        response.offset = numberOf(m_camera, m_blackLevel) - m_plainBlackLevel;
    return response;
}

double CAcquisitionControls::frameRate() const
{
    if (m_frameRate.empty() || !m_camera.booleanValue("AcquisitionFrameRateEnable", true))
        return m_streamFrameRate;
    const double wanted = numberOf(m_camera, m_frameRate);
    if (wanted <= 0)
        return m_streamFrameRate;
    return m_streamFrameRate > 0 ? std::min(wanted, m_streamFrameRate) : wanted;
}

CAcquisitionControls::ETrigger CAcquisitionControls::trigger() const
{
    if (m_camera.enumValue("TriggerMode") != "On")
        return ETrigger::FreeRun;
    const std::string source = m_camera.enumValue("TriggerSource");
    if (source == "Software")
        return ETrigger::Software;
    if (source.compare(0, 6, "Action") == 0)
        return ETrigger::Action;
    return ETrigger::External;
}

bool CAcquisitionControls::adjustAutomatically()
{
    const std::string exposureMode = m_exposure.empty() ? "Off" : autoMode("ExposureAuto");
    const std::string gainMode = m_gain.empty() ? "Off" : autoMode("GainAuto");
    if (exposureMode == "Off" && gainMode == "Off")
        return false;
    const double factor = brightness();
    const bool reached = std::abs(factor - 1.0) <= Tolerance;
    bool changed = false;
    // The exposure goes first; the gain makes up for what the exposure's limits leave.
    if (exposureMode != "Off" && !reached) {
        const auto limits = limitsOf(m_camera, m_exposure);
        const double now = numberOf(m_camera, m_exposure);
        const double next = std::clamp(now * std::pow(1.0 / std::max(factor, 1e-9), Damping), limits.first, limits.second);
        if (next != now) {
            setNumber(m_camera, m_exposure, next);
            changed = true;
        }
    }
    if (gainMode != "Off" && !reached && !changed) {
        const auto limits = limitsOf(m_camera, m_gain);
        const double stepDecibels = -20.0 * std::log10(std::max(factor, 1e-9)) * Damping;
        const double step = m_gain == "GainRaw" ? stepDecibels / GainRawDecibels * m_gainRawRange : stepDecibels;
        const double now = numberOf(m_camera, m_gain);
        const double next = std::clamp(now + step, limits.first, limits.second);
        if (next != now) {
            setNumber(m_camera, m_gain, next);
            changed = true;
        }
    }
    // "Once" ends when the picture is plain, or when nothing more can be done.
    if (reached || !changed) {
        if (exposureMode == "Once")
            m_camera.setEnumInternal("ExposureAuto", "Off");
        if (gainMode == "Once")
            m_camera.setEnumInternal("GainAuto", "Off");
    }
    return changed;
}

} // namespace TavixSim
