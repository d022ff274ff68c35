#pragma once

#include <string_view>

/// The geometry library with its real answers, counted, and able to fail at will. Linked instead of
/// libgeometry. Functions are named as in the contract, such as "gm_clip_pp". Safe to call from
/// several threads.
namespace GeometryDouble {

/// Forgets all counts and failures.
void reset();

/// Lets the n-th of the following calls of the function fail, counted from 1, once: it returns -1
/// and stores nothing.
void failCall(std::string_view function, int n);

/// Lets every following call of the function fail.
void failEveryCall(std::string_view function);

/// The calls of the function since reset().
int calls(std::string_view function);

}  // namespace GeometryDouble
