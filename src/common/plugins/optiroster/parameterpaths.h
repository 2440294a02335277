#pragma once

/// Parameter paths, "<node map>/<feature>", shared by the plug-in and its clients. A path with
/// two names, "first|second", finds whichever of the two a device has.

namespace Plugin::OptiRoster::ParameterPaths {

///@{
/// The node maps of a device.
constexpr char CameraDevice[] = "@CameraDevice";
constexpr char DeviceTransportLayer[] = "@DeviceTransportLayer";
constexpr char StreamGrabber0[] = "@StreamGrabber0";
constexpr char EventGrabber[] = "@EventGrabber";
constexpr char Interface[] = "@Interface";
///@}

///@{
/// Action commands.
constexpr char ActionSelector[] = "@CameraDevice/ActionSelector";
constexpr char ActionDeviceKey[] = "@CameraDevice/ActionDeviceKey";
constexpr char ActionGroupKey[] = "@CameraDevice/ActionGroupKey";
constexpr char ActionGroupMask[] = "@CameraDevice/ActionGroupMask";
///@}

///@{
/// The clock synchronisation and its latch, under their current and their older names.
constexpr char PtpEnable[] = "@CameraDevice/PtpEnable";
constexpr char GevIEEE1588[] = "@CameraDevice/GevIEEE1588";
constexpr char PtpDataSetLatch[] = "@CameraDevice/PtpDataSetLatch";
constexpr char GevIEEE1588DataSetLatch[] = "@CameraDevice/GevIEEE1588DataSetLatch";
///@}

/// The template of a key that names one parameter by either of two names.
constexpr char AlternativeNames[] = "%1|%2";

} // namespace Plugin::OptiRoster::ParameterPaths
