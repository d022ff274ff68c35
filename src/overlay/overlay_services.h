#pragma once

namespace AlarmOverlay {

/// Whether the device's overlay and graphics services are on the system bus. Asked once, at the
/// first call; a bus that cannot be asked counts as no, with a warning. Any thread may call.
bool doDBusNamesExist();

/// Forgets the answer, so that the next call asks anew. For tests: on a device it does not change.
void forgetDBusNames();

}  // namespace AlarmOverlay
