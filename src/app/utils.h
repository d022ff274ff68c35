#pragma once

#include <glib.h>

#include <string>
#include <vector>

#include "geometry/point.h"

/// Generic helpers. Those that speak of a status are in app/status.h, the one that needs device
/// information is in events/event_nice_name.h.
namespace utils {

std::string intToString(int value);

/// Whether the text is digits with at most one "." after at most one leading sign. A lone sign is
/// not a number.
bool isNumber(const std::string& text);

/// The number of characters of a UTF-8 text: its bytes that are not continuation bytes.
int lengthInUtf8(const std::string& text);

/// The pieces between separators; empty pieces are dropped.
std::vector<std::string> splitString(const std::string& text, char separator);

/// The text without leading and trailing characters of the set.
std::string trimString(const std::string& text, const std::string& characters);

/// dirname(3) of the path.
std::string getDirName(const std::string& path);

/// True for 0, 90, 180 and 270 degrees.
bool isValidCameraRotation(int rotation);

/// The point as seen in an image rotated by `rotation` degrees: (-y, x) at 90, (y, -x) at 270 and
/// (-y, -x) at 180, with 16-bit negation; the point itself at any other rotation.
Point convertViewedCoordinate(Point point, int rotation);

/// The monotonic time, in microseconds, that corresponds to a UTC time.
long convertUTC_ToMonotonicTime(GDateTime* time);

/// The UTC time that corresponds to a monotonic time in microseconds. The caller unrefs it.
GDateTime* convertMonotonicToUTC_Time(const long* monotonic);

/// Replaces the file whole and durably: after a crash or a loss of power it holds either its old or
/// its new content, and after a return of true the new one. A failure is logged and gives false.
bool saveAndSyncFile(const char* content, const std::string& path);

/// Makes the process a daemon: forks, ends the parent and starts a new session.
void daemonize(const std::string& name);

/// "Camera1Profile2".
std::string generateEventName(int camera, int profile);
/// "Camera1ProfileANY".
std::string generateAnyEventName(int camera);
/// "CameraANY".
std::string generateGlobalEventName();
/// Both texts joined by an underscore: the key of a declared event.
std::string generateEventLookupKey(const std::string& niceName, const std::string& name);
/// Name and number joined by an underscore: the key of a filter's data on a tracked object.
std::string generateFilterDataKey(const std::string& name, int id);

}  // namespace utils
