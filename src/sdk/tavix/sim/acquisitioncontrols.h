#pragma once

#include <tavix/sim/nodemap.h>
#include <tavix/sim/testpattern.h>

#include <string>

namespace TavixSim {

// The features of a simulated camera that change its images and their pace, as a real camera's
// do, for those of them the camera has:
// - the exposure ("ExposureTime" or "ExposureTimeAbs"), the gain ("Gain" in dB, or "GainRaw") and
//   the black level ("BlackLevel", "BlackLevelRaw") light the picture: twice the exposure is twice
//   as bright, 6 dB more gain too, and the black level adds its difference in 8-bit steps. The
//   values the camera starts with give the plain picture;
// - "ExposureAuto" and "GainAuto" ("Off", "Once", "Continuous") bring the picture back to its
//   plain brightness while the camera grabs, a step with each frame, "Once" turning to "Off" when
//   it is reached; the exposure or gain they adjust reads as read-only meanwhile;
// - "AcquisitionFrameRate" (or "...Abs"), while "AcquisitionFrameRateEnable" is true or missing,
//   paces the stream, up to the scenario's stream rate (the fastest the camera goes);
// - "TriggerMode" "On" makes the stream wait for a trigger from its "TriggerSource": "Software"
//   for each run of "TriggerSoftware", "Action..." for action commands; other sources never come.
// Everything is read from the camera's node map at the moment it is asked for.
class CAcquisitionControls
{
public:
    enum class ETrigger { FreeRun, Software, Action, External };

    // Takes the camera's present values as those of the plain picture and installs the access
    // rules: the automatic modes lock their values, a disabled frame rate locks the rate, and
    // "TriggerSoftware" is available only where it triggers.
    explicit CAcquisitionControls(CNodeMap& camera, double streamFrameRate);

    CTestPattern::Response response() const;
    // Frames per second, 0 for as fast as buffers come back.
    double frameRate() const;
    ETrigger trigger() const;
    // One step of the automatic modes that are on; true when it changed a value.
    bool adjustAutomatically();

private:
    double brightness() const;
    std::string autoMode(const char* feature) const;
    void lockWhileAuto(const std::string& value, const char* automatic);

    CNodeMap& m_camera;
    double m_streamFrameRate;
    std::string m_exposure; // the names the camera has, empty for none
    std::string m_gain;
    std::string m_blackLevel;
    std::string m_frameRate;
    double m_plainExposure = 0.0;
    double m_plainGain = 0.0;
    double m_plainBlackLevel = 0.0;
    double m_gainRawRange = 1.0; // of GainRaw: its whole range is 36 dB
};

} // namespace TavixSim
