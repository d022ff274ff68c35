#pragma once

#include <string>

/// The opening tag of a frame's group. `matrix` is 3 by 3 by rows and leads from the unit square of
/// the client's picture to the stream; the tag maps back, and turns y over so that it points up.
/// Without nine values, or with a matrix that cannot be inverted, the tag only turns y over, and a
/// warning is logged.
std::string createSVGTransform(const double* matrix, int count);
