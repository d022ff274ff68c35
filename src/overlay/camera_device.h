#pragma once

/// The camera device: the memory that overlay buffers are mapped from.
///
/// A buffer is written to while the service has it too, so nothing is mapped that could become
/// shorter behind the application's back: a file must be sealed against shrinking and hold the
/// whole buffer. A device node answers for itself.
namespace CameraDevice {

/// A descriptor that the graphics service hands out or, when it cannot (a note in the log), the
/// device node itself. The caller closes it. Throws std::runtime_error when there is neither.
int open(const char* deviceNode = "/dev/cam0");

/// Why that much cannot be mapped safely from the descriptor at this offset, as an errno; 0 when it
/// can.
int findMappingError(int descriptor, int length, int offset);

}  // namespace CameraDevice
