#pragma once

class AlarmDataContainer;
struct AlarmOverlayConfigurationContainer;

/// The way in to the alarm overlay, which draws alarming objects into the video streams.
///
/// States: Off, until something enables the feature. While it is Off, configurations and alarm
/// results are dropped. Nothing enables it in this version. Any thread may call.
namespace AlarmOverlay {

bool isEnabled();

void setNewConfiguration(const AlarmOverlayConfigurationContainer& configuration);

/// Takes the verdicts of one scene; `time` is the scene's, in monotonic microseconds.
void handleAlarmResult(const AlarmDataContainer& alarms, const long& time);

}  // namespace AlarmOverlay
