#pragma once

struct _ZQEventKeyValueSet;

/// The only place that declares and sends events on the device's event bus and reads the device's
/// parameters. It adds what the platform lacks: declarations are known by a text key and counted,
/// are removed 50 ms after their last user gave them up, and failed sends can be kept quiet.
///
/// All functions may be called from any thread. One mutex, the innermost of the system and not
/// recursive, covers each of them, the platform's calls included. None throws: failures are logged
/// and returned, 1 standing for success and 0 for failure. All texts are borrowed for the call.
///
///     unknown --add--> declared (count 1) --add--> declared (count n)
///     declared (count n) --remove--> declared (count n - 1)
///     declared (count 0) --50 ms--> unknown
///     declared (count 0) --add--> declared (count 1), and stays

/// Flags of a declaration.
enum SdkWrapperEventFlags_e : int {
    /// The first five failed sends in a row are logged at level info, later ones at level error.
    SdkWrapperEventQuiet = 1,
    /// The event has a bool "active", its state; without this flag it is stateless.
    SdkWrapperEventStateful = 2,
    SdkWrapperEventApplicationData = 4,
    SdkWrapperEventDeprecated = 8,
};

/// Starts the platform's main loop and connects to the event bus and the parameter store, trying
/// each ten times, 100 ms apart. Without a connection all use of it is refused.
void sdk_wrapper_init(const char* application_name_p, const char* nice_name_p,
                      const char* platform_name_p);

/// Undeclares everything and disconnects from the parameter store. The connection to the event bus
/// goes with the process.
void sdk_wrapper_cleanup();

/// Declares an event below the application's own topics, or counts one more user of a declaration
/// with the same flags and data key. `data_key_p` names the text property that carries a send's
/// data; null for none, at most 127 characters.
int sdk_wrapper_event_add(const char* key_p, const char* name_p, const char* nice_name_p, int flags,
                          const char* data_key_p);

/// The same with the properties given by `set_p`, which is transferred and freed in any case.
int sdk_wrapper_event_add(const char* key_p, const char* nice_name_p, int flags,
                          const char* data_key_p, _ZQEventKeyValueSet* set_p);

/// Declares the ONVIF motion alarm of a video source, counted from 0, in the given state.
int sdk_wrapper_event_add_onvif_motion_alarm_event(const char* key_p, int video_source, int state);

/// Declares the ONVIF motion region event of a rule on a video source, counted from 0, in the given
/// state.
int sdk_wrapper_event_add_onvif_motion_region_alarm_event(const char* key_p,
                                                          const char* rule_name_p, int video_source,
                                                          int state);

/// Gives one use of a declaration back; 0 for an unknown key. The last one undeclares the event
/// 50 ms later unless it has been added again by then.
int sdk_wrapper_event_remove(const char* key_p);

/// Sends a declared event. `value` is the state of a stateful event; `data_p` goes into its data
/// property, if both exist. `time_p` is monotonic microseconds: null stands for now, 0 for the
/// epoch.
int sdk_wrapper_event_send(const char* key_p, int value, const char* data_p, const long* time_p);

/// Sends a declared ONVIF motion alarm. `time_p` is monotonic microseconds; null stands for now.
int sdk_wrapper_onvif_motion_alarm_event_send(const char* key_p, int state, const long* time_p);

/// Sends a declared ONVIF motion region event. `time_p` is monotonic microseconds; null stands for
/// now.
int sdk_wrapper_onvif_motion_region_alarm_event_send(const char* key_p, int state,
                                                     const char* rule_name_p, const long* time_p);

/// Reads a device parameter into `buffer_p`, cut to `size` bytes with the final zero, and returns
/// `buffer_p`. A parameter that cannot be read gives the empty text.
char* sdk_wrapper_param_get(const char* name_p, char* buffer_p, int size);
