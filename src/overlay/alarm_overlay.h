#pragma once

class AlarmDataContainer;
class AlarmOverlayMessage;
struct AlarmOverlayConfigurationContainer;

/// The way in to the alarm overlay, which draws alarming objects into the video streams, and keeps
/// that alive when the device's overlay services fail.
///
///          enableIfSupported            a frame fails
///     Off -------------------> Running ---------------> Resetting
///                                      <---------------
///                                       every 25th frame, until it works
///
/// disable leads back to Off from anywhere. Any thread may call, with one lock for all entries. A
/// frame is drawn without it; messages, configurations and disable wait for the one in progress.
namespace AlarmOverlay {

/// Goes over to Running when the device supports it and the services can be reached; what cannot
/// be done is logged, undone, and leaves it Off. Nothing happens when it is not Off.
void enableIfSupported();

/// Ends the feature: its overlays are gone when this returns.
void disable();

/// Whether it is Running or Resetting.
bool isEnabled();

/// Takes the profiles to be shown and the streams to show them in; dropped in Off.
void setNewConfiguration(const AlarmOverlayConfigurationContainer& configuration);

/// Shows the verdicts of one scene; `time` is the scene's, in monotonic microseconds. Failures of
/// the services lead to Resetting and are not passed on.
void handleAlarmResult(const AlarmDataContainer& alarms, const long& time);

/// Takes news of streams and overlays; dropped unless Running. Throws std::runtime_error when the
/// services fail it, for whoever brings the message to log.
void handleMessage(const AlarmOverlayMessage& message);

}  // namespace AlarmOverlay
